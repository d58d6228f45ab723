#include "remote/RefServerProcess.h"

#include <chrono>
#include <random>

#include "remote/stubs/ServiceProviderClient.h"

namespace rdx::rpc::test {

RefServerProcess::RefServerProcess(const std::vector<std::string>& options) {
  // Below the kernel's ephemeral range, so no other test's bind(0) takes it first; a port
  // taken anyway makes the server exit, and the next one is tried.
  std::mt19937 random(std::random_device{}());
  std::uniform_int_distribution<int> ports(20000, 32000);
  for (int attempt = 0; attempt < 20 && binding_ == nullptr; ++attempt) {
    endpoint_ = std::to_string(ports(random));
    std::vector<std::string> argv = {RDX_REFSERVER, "--tcp", endpoint_};
    argv.insert(argv.end(), options.begin(), options.end());
    child_ = rdx::testing::ChildProcess::Start(argv, {});
    if (child_ == nullptr) return;
    if (child_->WaitForLine("listening", std::chrono::seconds(20))) {
      binding_ = std::make_unique<Binding>("127.0.0.1", endpoint_);
      logged_ = child_->Output().size();
    }
  }
}

std::string RefServerProcess::LogSinceLastMark() {
  if (child_ == nullptr || binding_ == nullptr) return "";
  const std::string mark = "mark-" + std::to_string(++marks_);
  (void)serviceprovider::StopServiceProvider(binding_->h, mark.c_str());
  if (!child_->WaitForLine(mark, std::chrono::seconds(20))) return "";
  const std::string& output = child_->Output();
  const std::size_t markLine = output.find(mark, logged_);
  const std::size_t lineStart = output.rfind('\n', markLine);
  const std::size_t begin = logged_;
  const std::size_t end = lineStart == std::string::npos || lineStart < begin ? begin
                                                                               : lineStart + 1;
  const std::size_t next = output.find('\n', markLine);
  logged_ = next == std::string::npos ? output.size() : next + 1;
  return output.substr(begin, end - begin);
}

std::size_t Count(const std::string& log, const std::string& needle) {
  std::size_t count = 0;
  for (std::size_t at = log.find(needle); at != std::string::npos;
       at = log.find(needle, at + 1)) {
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
  if (child_ != nullptr) child_->Stop(std::chrono::milliseconds(0));
}

}  // namespace rdx::rpc::test
