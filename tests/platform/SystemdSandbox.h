#pragma once
// A real systemd for the service tests, booted with systemd-nspawn (systemd/sandbox.sh) the
// first time a test asks for it and powered off when the test program ends. Where it cannot
// boot (no root, no systemd-nspawn) the test is skipped with the reason, or fails when
// RDX_REQUIRE_SYSTEMD=1 (CI sets it: a skipped integration test proves nothing there).

#include <gtest/gtest.h>

#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace rdx::test {

class SystemdSandbox {
 public:
  // The sandbox of this test program, booted on first use; null with `whyNot` on failure.
  static SystemdSandbox* Get(std::string& whyNot) {
    static std::unique_ptr<SystemdSandbox> sandbox;
    static std::string failure;
    static bool tried = false;
    if (!tried) {
      tried = true;
      sandbox.reset(new SystemdSandbox);
      if (!sandbox->Boot(failure)) sandbox.reset();
      ::testing::AddGlobalTestEnvironment(new Teardown(sandbox.get()));
    }
    whyNot = failure;
    return sandbox.get();
  }

  int Leader() const { return leader_; }
  // The sandbox's root seen from the host.
  std::string Root() const { return "/proc/" + std::to_string(leader_) + "/root"; }
  std::string BusAddress() const { return "unix:path=" + Root() + "/run/dbus/system_bus_socket"; }
  std::string UnitDir() const { return Root() + "/etc/systemd/system"; }

  void PowerOff() {
    if (state_.empty()) return;
    Run("'" + Script() + "' teardown '" + state_ + "' 2>&1");
    state_.clear();
  }
  ~SystemdSandbox() { PowerOff(); }

 private:
  // Powers the sandbox off after the last test (environments' TearDown runs then).
  class Teardown : public ::testing::Environment {
   public:
    explicit Teardown(SystemdSandbox* sandbox) : sandbox_(sandbox) {}
    void TearDown() override {
      if (sandbox_ != nullptr) sandbox_->PowerOff();
    }

   private:
    SystemdSandbox* sandbox_;
  };

  static std::string Script() { return std::string(RDX_SYSTEMD_SANDBOX_DIR) + "/sandbox.sh"; }

  static std::string Run(const std::string& command) {
    std::string output;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
      char buffer[512];
      while (std::fgets(buffer, sizeof buffer, pipe) != nullptr) output += buffer;
      ::pclose(pipe);
    }
    return output;
  }

  bool Boot(std::string& whyNot) {
    if (::geteuid() != 0) {
      whyNot = "booting systemd with systemd-nspawn needs root";
      return false;
    }
    // One sandbox per test process, so tests may run in parallel.
    state_ = "/var/tmp/rdx-sb-" + std::to_string(::getpid());
    const std::string output =
        Run("mkdir -p '" + state_ + "' && RDX_SANDBOX_OWNER=" + std::to_string(::getpid()) + " '" +
            Script() + "' boot '" + state_ + "' --bind-ro='" + RDX_BINARY_DIR + "' 2>&1");
    const std::size_t at = output.rfind("leader=");
    if (at == std::string::npos) {
      whyNot = "systemd sandbox did not boot: " + output;
      PowerOff();  // removes what the boot left
      return false;
    }
    leader_ = std::atoi(output.c_str() + at + 7);
    return leader_ > 0;
  }

  std::string state_;
  int leader_ = 0;
};

}  // namespace rdx::test

// Binds `sandbox` to the booted sandbox or ends the test: skipped with the reason, or failed
// when RDX_REQUIRE_SYSTEMD=1.
#define RDX_USE_SYSTEMD_SANDBOX(sandbox)                                                \
  std::string sandbox##WhyNot;                                                          \
  rdx::test::SystemdSandbox* sandbox = rdx::test::SystemdSandbox::Get(sandbox##WhyNot); \
  if (sandbox == nullptr) {                                                             \
    const char* require = std::getenv("RDX_REQUIRE_SYSTEMD");                           \
    if (require != nullptr && std::string(require) == "1") {                            \
      FAIL() << sandbox##WhyNot;                                                        \
    }                                                                                   \
    GTEST_SKIP() << sandbox##WhyNot;                                                    \
  }
