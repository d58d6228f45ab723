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
    text.append("\n").append(getFormattedTime()).append(" : ").append(item.ToTextString(nullptr));
  }
  return text;
}

std::string GetStatusAsReportXml(const Status& status) {
  std::string text;
  for (const StatusItem& item : status.items) {
    // Texts are inserted as they are: readers of this form have always taken it unescaped.
    text.append("\n\t<Item><Time>").append(getFormattedTime());
    text.append(printToString("</Time>\n\t\t<ID>%06X</ID>\n\t\t<Source>",
                              static_cast<unsigned>(item.id)));
    text.append(item.source).append("</Source>\n\t\t<Message>").append(item.message);
    text.append("</Message>\n\t\t<Details>").append(item.details).append("</Details></Item>");
  }
  return text;
}

}  // namespace rdx::foundation
