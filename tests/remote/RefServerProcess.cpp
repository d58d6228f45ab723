#include "remote/RefServerProcess.h"

#include <csignal>

#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc::test {

RefServerProcess::RefServerProcess(const std::vector<std::string>& options) {
  RefServerChild::Options child;
  child.arguments = options;
  server_ = RefServerChild::Start(child);
  if (server_ == nullptr) return;
  binding_ = std::make_unique<Binding>("127.0.0.1", server_->Endpoint());
  logged_ = server_->Log().size();
}

std::string RefServerProcess::LogSinceLastMark() {
  if (binding_ == nullptr) return "";
  const std::string mark = "mark-" + std::to_string(++marks_);
  (void)serviceprovider::StopServiceProvider(binding_->h, mark.c_str());
  std::string log;
  std::size_t markLine = std::string::npos, next = std::string::npos;
  const bool seen = WaitFor(
      [&] {
        log = server_->Log();
        markLine = log.find(mark, logged_);
        next = markLine == std::string::npos ? markLine : log.find('\n', markLine);
        return next != std::string::npos;
      },
      std::chrono::seconds(20));
  if (!seen) return "";
  const std::size_t lineStart = log.rfind('\n', markLine);
  const std::size_t begin = logged_;
  const std::size_t end =
      lineStart == std::string::npos || lineStart < begin ? begin : lineStart + 1;
  logged_ = next + 1;
  return log.substr(begin, end - begin);
}

std::size_t Count(const std::string& log, const std::string& needle) {
  std::size_t count = 0;
  for (std::size_t at = log.find(needle); at != std::string::npos; at = log.find(needle, at + 1)) {
    ++count;
  }
  return count;
}

std::string Answer(const std::string& operation, std::size_t size) {
  std::string text = operation.substr(0, size);
  text.resize(size, '.');
  return text;
}

void RefServerProcess::Kill() {
  binding_.reset();
  if (server_ != nullptr && server_->Running()) {
    ::kill(server_->Pid(), SIGKILL);
    server_->Stop();  // reaps it
  }
}

}  // namespace rdx::rpc::test
