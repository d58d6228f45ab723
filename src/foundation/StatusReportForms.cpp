// Report forms of a Status, rendered for Object's static report functions.
#include "foundation/StatusReportForms.h"

#include <rdx/foundation/StringUtility.h>

namespace rdx::foundation {

using QUORVAN::Rendix::GeneralUtilityLib::getFormattedTime;
using QUORVAN::Rendix::GeneralUtilityLib::Status;
using QUORVAN::Rendix::GeneralUtilityLib::StatusItem;
using QUORVAN::Rendix::GeneralUtilityLib::StringUtility::printToString;

std::string GetStatusAsReportText(const Status& status) {
  std::string text;
  for (const StatusItem& item : status.items) {
    text +=
        printToString("\n%s : %s", getFormattedTime().c_str(), item.ToTextString(nullptr).c_str());
  }
  return text;
}

std::string GetStatusAsReportXml(const Status& status) {
  std::string text;
  for (const StatusItem& item : status.items) {
    // Texts are inserted as they are: readers of this form have always taken it unescaped.
    text += printToString("\n\t<Item><Time>%s</Time>\n\t\t<ID>%06X</ID>\n\t\t<Source>%s</Source>"
                          "\n\t\t<Message>%s</Message>\n\t\t<Details>%s</Details></Item>",
                          getFormattedTime().c_str(), static_cast<unsigned>(item.id),
                          item.source.c_str(), item.message.c_str(), item.details.c_str());
  }
  return text;
}

}  // namespace rdx::foundation
