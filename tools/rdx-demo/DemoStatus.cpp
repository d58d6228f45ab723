// Demonstration: the status currency, its one-line text form and its XML form read back.
#include "DemoSection.h"

#include <rdx/foundation/Status.h>
#include <rdx/foundation/StringUtility.h>

#include <cstdio>

namespace {

using QUORVAN::Rendix::GeneralUtilityLib::Status;
using QUORVAN::Rendix::GeneralUtilityLib::StatusItem;
using QUORVAN::Rendix::GeneralUtilityLib::StringUtility::printToString;

void ShowStatus() {
  Status status;
  status.Clear("QUORVAN.Rendix.Demo");
  status.Append(0, "Started.", "Manager", "pid 12");
  status.Append(64279, "Could not open.", "QUORVAN.Rendix.Global.Reporter", "");
  status.Append(-5, printToString("Port %lu refused <%s> & gave up.", 3982ul, "imageserver"),
                "ServerCore::ServerProxy::OpenSession", "after 3 attempts");
  status.Append(-1, "An id nobody knows.", "", "");
  // Appended as an item, the empty source stays empty: the text form is the bare message.
  status.Append(StatusItem(10, "Lost.", "", ""));
  status.Prepend(0x10, "Session set-up failed.", "", "");

  std::printf("Text form (prefix \"Main\"):\n%s\n", status.ToTextString("Main").c_str());
  const std::string xml = status.ToString(nullptr);
  std::printf("\nXML form:\n%s\n", xml.c_str());

  Status back;
  const bool read = back.Append(xml);
  std::printf("\nRead back (%s, %zu items):\n", read ? "ok" : "failed", back.items.size());
  for (const auto& item : back.items) {
    std::printf("  id %d, source \"%s\", message \"%s\", details \"%s\"\n", item.id,
                item.source.c_str(), item.message.c_str(), item.details.c_str());
  }
  std::printf("\nWith time, one item:%s\n", status.items[1].ToString("").c_str());
}

const bool kRegistered =
    rdx::demo::RegisterSection(100, "Status and its text and XML forms", ShowStatus);

}  // namespace
