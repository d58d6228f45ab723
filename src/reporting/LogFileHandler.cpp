#include <rdx/reporting/LogFileHandler.h>

#include <rdx/foundation/Object.h>
#include <rdx/foundation/Status.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>

#include "platform/os/FileSystem.h"
#include "platform/os/LastError.h"

namespace QUORVAN::Rendix::Global {
namespace {

void CloseStream(std::FILE* stream) {
  std::fflush(stream);
  std::fclose(stream);
}

}  // namespace

LogFileHandler::~LogFileHandler() = default;  // the stream's deleter flushes and closes

int LogFileHandler::SetLogFile(const std::string& folder, const std::string& fileName) {
  if (fileName.empty()) return 0;
  try {
    std::string path = folder.empty() ? GeneralUtilityLib::GetSpecialFolderPath(
                                            GeneralUtilityLib::SpecialFolderPath::UserLogs)
                                      : folder;
    for (char& c : path) {
      if (c == '\\') c = '/';
    }
    if (path.empty() || path.back() != '/') path += '/';
    logPath_ = path;
    if (!GeneralUtilityLib::createDirectory(path)) return 0;
    logPath_ += fileName;
    return 1;
  } catch (...) {
    return 0;
  }
}

int LogFileHandler::Init() {
  if (logPath_.empty()) return 0;
  try {
    stream_.reset();
    // Binary modes: the snippets are written byte for byte, with no newline translation.
    // A FIFO or device in the log file's place is refused rather than waited on.
    const rdx::os::OsResult<std::FILE*> opened = rdx::os::OpenRegularFileForAppend(logPath_);
    if (!opened.ok()) {
      rdx::os::SetLastError(opened.code);  // as a failed CreateFile leaves it
      return 0;
    }
    stream_.reset(opened.value, &CloseStream);
    return 1;
  } catch (...) {
    return 0;
  }
}

void LogFileHandler::Log(const char* line) {
  if (line == nullptr || !stream_) return;
  try {
    GeneralUtilityLib::Status status;
    status.Append(std::string(line));
    const std::string text = Object::GetAsReportText(status);
    std::fputs(text.c_str(), stdout);  // the echo is text, printed as an argument
    const std::string time = GeneralUtilityLib::getFormattedTime();
    const std::string snippet = status.ToXmlSnippet(time.c_str());
    std::fwrite(snippet.data(), 1, snippet.size(), stream_.get());
    // Flushed per line: whatever was logged survives the process being killed.
    std::fflush(stream_.get());
  } catch (...) {
  }
}

}  // namespace QUORVAN::Rendix::Global
