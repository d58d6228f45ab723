#pragma once
// The two report forms of a Status that Object offers as statics (GetAsReportText and
// GetAsReportXml): one entry per item, each stamped with its own reading of the clock, no
// envelope, "" for an empty Status. Texts are formatted as C strings, so each ends at its
// first NUL byte.

#include <rdx/foundation/Status.h>

#include <string>

namespace rdx::foundation {

// Per item: "\n" + local time + " : " + the item's one-line text form without prefix.
std::string GetStatusAsReportText(const QUORVAN::Rendix::GeneralUtilityLib::Status& status);

// Per item: "\n\t<Item><Time>..</Time>\n\t\t<ID>%06X</ID>\n\t\t<Source>..</Source>
// \n\t\t<Message>..</Message>\n\t\t<Details>..</Details></Item>". An older format kept as it
// is: nothing is escaped, the source is raw and -1 prints as FFFFFFFF.
std::string GetStatusAsReportXml(const QUORVAN::Rendix::GeneralUtilityLib::Status& status);

}  // namespace rdx::foundation
