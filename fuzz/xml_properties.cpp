// Loads arbitrary text as an XML document and walks it the way the library's readers do:
// counting, selecting, reading text, contents, markup and attributes, editing text, and reading
// the document element as a NameValueMap and writing that back as XML. The first line of the
// input, when short, is used as an XPath as well.
#include <rdx/foundation/NameValueMap.h>
#include <rdx/platform/XMLProperties.h>

#include <cstddef>
#include <cstdint>
#include <string>

using QUORVAN::Rendix::GeneralUtilityLib::XMLProperties;
using QUORVAN::Rendix::Global::NameValueMap;

namespace {

void Walk(XMLProperties& xml, const std::string& xpath) {
  const std::uint32_t nodes = xml.getNumNodes(xpath);
  for (std::uint32_t i = 0; i < 8 && nodes != 0xFFFFFFFF && i <= nodes; ++i) {
    if (!xml.selectNode(xpath, i)) continue;
    xml.getNodeName();
    xml.getNodeText("d");
    xml.getNodeContents("d");
    xml.getNodeAsString();
    for (const auto& pair : xml.getAttributes()) (void)pair;
  }
  xml.getNumChildren(xpath);
  xml.getAttributes();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > (1u << 16)) return 0;
  const std::string text(reinterpret_cast<const char*>(data), size);
  // Text that names an existing file would be loaded from disk; fuzz input is always text.
  if (text.empty() || text[0] == '/' || text[0] == '.') return 0;

  XMLProperties xml;
  xml.init(text);
  XMLProperties copy(xml);
  Walk(xml, "//*");
  Walk(xml, "//@*");
  Walk(xml, "//comment()");
  const std::size_t lineEnd = text.find('\n');
  if (lineEnd != std::string::npos && lineEnd < 64) Walk(copy, text.substr(0, lineEnd));

  // Edit through one copy while the other still holds nodes of the same document.
  if (xml.selectNode("/*", 0)) xml.setNodeText("edited <&>");
  Walk(copy, "//*");
  xml.init("<x/>");
  copy.getNodeText("");

  NameValueMap map;
  if (map.LoadXml(text, "") == 1) {
    const std::string written = map.ToXmlString("Props");
    NameValueMap back;
    back.LoadXml(written, "");
  }
  return 0;
}
