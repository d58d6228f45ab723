// Uses the installed headers and library only (the umbrella header, so every public header
// is compiled): reads a status back from its XML form.
#include <rdx/RDXGlobalLib.h>

#include <cstdio>
#include <string>

int main() {
  QUORVAN::Rendix::GeneralUtilityLib::Status status;
  const std::string xml = "<Status><Item><ID>00FB17</ID><Source>Global.Reporter</Source>"
                          "<Message>Could not open.</Message><Details></Details></Item></Status>";
  if (!status.Append(xml) || status.items.size() != 1) return 1;
  const std::string text = status.ToTextString("Main");
  std::puts(text.c_str());
  return text == "[Main]: [Global.Reporter : 00FB17] Error: Could not open." ? 0 : 1;
}
