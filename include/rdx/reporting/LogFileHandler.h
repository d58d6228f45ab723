#pragma once
#include <rdx/Export.h>
#include <rdx/reporting/IReporterSink.h>

#include <cstdio>
#include <memory>
#include <string>

namespace QUORVAN::Rendix::Global {

/// LogFileHandler: a sink that appends each reported status, as time-stamped XML items, to a
/// log file, and echoes its report text on standard output.
///
///   LogFileHandler file;
///   file.SetLogFile("", "server.log");   // "" means the logs folder of the product
///   file.Init();                         // opens for appending, creating the file if needed
///   reporter.Attach(&file);
///
/// Every line is written and flushed before Log returns, so nothing logged is lost if the
/// process dies afterwards. The file grows without limit: there is no rotation.
class RDX_API LogFileHandler : public IReporterSink {
 public:
  LogFileHandler() = default;
  ///@{
  /// A copy shares the open stream; the stream closes when the last sharer lets it go.
  LogFileHandler(const LogFileHandler&) = default;
  LogFileHandler& operator=(const LogFileHandler&) = default;
  ///@}

  /// Parses line as status XML, prints its report text and appends its items with the current
  /// time to the file, flushed at once. Does nothing for a null line or when no file is open.
  void Log(const char* line) override;
  /// Flushes and closes the file (if this is its last sharer).
  virtual ~LogFileHandler();
  /// Sets the log path to folder + fileName, the folder with "/" for every "\" and a trailing
  /// "/", and creates the folder. An empty folder means the product's logs folder. 0 for an
  /// empty fileName (nothing changes) or a folder that cannot be created; 1 otherwise.
  virtual int SetLogFile(const std::string& folder, const std::string& fileName);
  /// Opens (or reopens) the log file for appending, creating it when missing; 1 when open, 0
  /// when no path is set or the file cannot be opened.
  virtual int Init();

  /// The full path of the log file; "" before SetLogFile succeeded.
  const std::string& GetLogPath() const { return logPath_; }

 private:
  std::string logPath_;
  std::shared_ptr<std::FILE> stream_;  ///< null until Init succeeds
};

}  // namespace QUORVAN::Rendix::Global
