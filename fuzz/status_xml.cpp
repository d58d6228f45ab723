// Status XML from another process goes through Status::Append and Status::Prepend: any bytes
// must be refused or read, never crash, hang or read out of bounds. Whatever is read must
// survive being written and read once more, item for item.
#include <rdx/foundation/Status.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

using QUORVAN::Rendix::GeneralUtilityLib::Status;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  Status front;
  const bool prepended = front.Prepend(text);
  if (front.items.size() != (prepended ? 1u : 0u)) std::abort();

  Status status;
  if (!status.Append(text)) {
    if (!status.items.empty()) std::abort();  // a refused text adds nothing
    return 0;
  }
  Status again;
  if (!status.items.empty() && !again.Append(status.ToString(nullptr))) std::abort();
  if (again.items.size() != status.items.size()) std::abort();
  for (std::size_t i = 0; i < status.items.size(); ++i) {
    // Ids: -1 and 0 survive as they are; texts lose only what XML cannot carry (a NUL ends
    // a text, a lone CR is kept by its reference).
    if (again.items[i].id != status.items[i].id) std::abort();
    if (again.items[i].message != status.items[i].message.c_str()) std::abort();
    if (again.items[i].details != status.items[i].details.c_str()) std::abort();
  }
  return 0;
}
