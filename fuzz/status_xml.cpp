// Status XML from another process goes through Status::Append and Status::Prepend: any bytes
// must be refused or read, never crash, hang or read out of bounds. Whatever is read must
// survive being written and read once more, item for item; the direct reading of the
// library's own layout must agree with the document route, and both with plain XPath queries.
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StringUtility.h>

#include "../tests/foundation/StatusXmlByQueries.h"
#include "foundation/StatusXmlReader.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

using QUORVAN::Rendix::GeneralUtilityLib::Status;
using QUORVAN::Rendix::GeneralUtilityLib::StatusItem;

namespace {

void AbortUnlessSame(const std::vector<StatusItem>& a, const std::vector<StatusItem>& b) {
  if (a.size() != b.size()) std::abort();
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].id != b[i].id || a[i].message != b[i].message || a[i].source != b[i].source ||
        a[i].details != b[i].details) {
      std::abort();
    }
  }
}

// Text the direct scan of the library's own layout accepts must read as the document reads it.
void CompareDirectWithDocument(const std::string& text) {
  std::vector<StatusItem> direct;
  if (!rdx::foundation::StatusXmlReader::ReadOwnLayout(text, direct)) return;
  std::vector<StatusItem> document;
  if (!rdx::foundation::AppendThroughDocument(text, document)) std::abort();
  AbortUnlessSame(direct, document);
}

// Append and Prepend must read what one XPath query per item and field reads. The queries'
// document takes a text naming an existing file as that file; such texts are skipped.
void CompareWithQueries(const std::string& text) {
  if (QUORVAN::Rendix::GeneralUtilityLib::doesFileExist(text)) return;
  for (const bool fold : {false, true}) {
    Status status;
    std::vector<StatusItem> expected;
    const bool read = fold ? status.Prepend(text) : status.Append(text);
    if (read != rdx::test::ReadByQueries(text, expected, fold)) std::abort();
    AbortUnlessSame(status.items, expected);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  CompareDirectWithDocument(text);
  CompareWithQueries(text);
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
