#pragma once
#include <rdx/Export.h>
#include <rdx/reporting/IReporterSink.h>

namespace QUORVAN::Rendix::Global {

/// ConsoleHandler: a sink that prints each reported line on standard output in the report text
/// form ("\n<time> : [source] message" per item).
class RDX_API ConsoleHandler : public IReporterSink {
 public:
  ConsoleHandler() = default;
  ///@{
  /// Copies hold no state of their own: each prints to the same standard output.
  ConsoleHandler(const ConsoleHandler&) = default;
  ConsoleHandler& operator=(const ConsoleHandler&) = default;
  ///@}

  /// Parses line as status XML and prints its report text without adding a newline or flushing.
  /// The text goes through the formatter as a format, so "%d" in a report prints as "0" and "%%"
  /// as "%"; conversions read zero or empty values, never absent arguments. Null is ignored.
  void Log(const char* line) override;
  virtual ~ConsoleHandler() = default;
};

}  // namespace QUORVAN::Rendix::Global
