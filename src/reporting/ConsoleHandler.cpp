#include <rdx/reporting/ConsoleHandler.h>

#include <rdx/foundation/Object.h>
#include <rdx/foundation/Status.h>

#include "reporting/ReportFormatter.h"

#include <cstdio>

namespace QUORVAN::Rendix::Global {

void ConsoleHandler::Log(const char* line) {
  if (line == nullptr) return;
  try {
    GeneralUtilityLib::Status status;
    status.Append(std::string(line));
    const std::string text =
        rdx::reporting::FormatWithoutArguments(Object::GetAsReportText(status));
    std::fwrite(text.data(), 1, text.size(), stdout);
  } catch (...) {
  }
}

}  // namespace QUORVAN::Rendix::Global
