#include "application/RDXApplication.h"

#include <rdx/application/ExportedFunctions.h>
#include <rdx/foundation/StringUtility.h>
#include <rdx/platform/SystemInformation.h>

#include "platform/os/FileSystem.h"

#include <atomic>

namespace QUORVAN::Rendix::Global {
namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

const char* const kConfigurationFile = "Global.RXConfig";

std::atomic<IApplicationFramework*> gInstalledFramework{nullptr};

}  // namespace

void InstallApplicationFramework(IApplicationFramework* framework) {
  gInstalledFramework.store(framework);
}

int RDXApplication::Initialize(std::string* message) {
  try {
    { std::lock_guard<std::mutex> entered(applicationLock_); }
    if (LoadConfigFile() == 0) return 0;
    if (framework_ == nullptr) {
      // Read without entering the name: asking must not add a property.
      const NameValueMap& properties = properties_;
      if (gul::StringUtility::toBoolean(properties["Initialize_GF"], false)) {
        InitializeGeoframe();  // the outcome does not depend on it
      }
    }
    if (message != nullptr) {
      *message = (gul::doesFileExist(configurationPath_) ? "Configuration read from "
                                                         : "No configuration file at ") +
                 configurationPath_;
    }
    return 1;
  } catch (...) {
    return 0;
  }
}

int RDXApplication::LoadConfigFile() {
  configurationPath_ =
      gul::GetSpecialFolderPath(gul::SpecialFolderPath::UserProductAppData) + kConfigurationFile;
  // A missing or malformed file leaves the overrides empty: the system folders apply.
  folderOverrides_.LoadXml(configurationPath_, "//FolderPathOverride");
  configurationLoaded_ = true;
  lastLoadTime_ = rdx::os::FileTimeNow();
  return 1;
}

bool RDXApplication::HasConfigFileChanged() {
  const auto written = rdx::os::LastWriteTime(configurationPath_);
  const bool changed = written.ok() && written.value > lastLoadTime_;
  lastLoadTime_ = rdx::os::FileTimeNow();
  // A file stamped ahead of the clock (a finer file time, a copied future date) would
  // otherwise read as changed on every call; each change is reported once.
  if (changed && written.value > lastLoadTime_) lastLoadTime_ = written.value;
  return changed;
}

std::string RDXApplication::GetSpecialFolderPath(SpecialFolderNameEnum folder) {
  try {
    if (!configurationLoaded_ && LoadConfigFile() == 0) return "";
    std::string answer;
    if (folder == UserLogs) {
      const NameValueMap& overrides = folderOverrides_;
      answer = overrides["DefaultLogs"];
    }
    if (answer.empty()) {
      answer =
          gul::GetSpecialFolderPath(static_cast<gul::SpecialFolderPath::SpecialFolder>(folder));
    }
    // An override may be written with Windows separators; either counts as the trailing one.
    if (answer.empty() || (answer.back() != '/' && answer.back() != '\\')) answer += '/';
    return answer;
  } catch (...) {
    return "";
  }
}

std::string RDXApplication::ToString() { return ""; }

int RDXApplication::SetProperty(const std::string& name, const std::string& value) {
  try {
    { std::lock_guard<std::mutex> entered(applicationLock_); }
    properties_[name] = value;
    return 1;
  } catch (...) {
    return 0;
  }
}

std::string RDXApplication::GetProperty(const std::string& name) {
  try {
    { std::lock_guard<std::mutex> entered(applicationLock_); }
    return properties_[name];
  } catch (...) {
    return "";
  }
}

int RDXApplication::InitializeGeoframe() {
  IApplicationFramework* framework = gInstalledFramework.load();
  if (framework == nullptr || !framework->Start()) return 0;
  framework_ = framework;
  return 1;
}

int RDXApplication::Shutdown() {
  try {
    { std::lock_guard<std::mutex> entered(applicationLock_); }
    if (framework_ != nullptr) {
      IApplicationFramework* framework = framework_;
      framework_ = nullptr;
      framework->Shutdown();
    }
    return 1;
  } catch (...) {
    return 0;
  }
}

}  // namespace QUORVAN::Rendix::Global

namespace {
std::atomic<QUORVAN::Rendix::Global::RDXApplication*> gApplication{nullptr};
}  // namespace

extern "C" {

QUORVAN::Rendix::Global::IRDXApplication* GetRDXApplicationObject() {
  if (auto* existing = gApplication.load()) return existing;
  try {
    // The lock is made afresh for each call, so it keeps no callers apart; the exchange below
    // does: should two first callers both create, one object is installed and the other
    // deleted, so every caller gets the same one.
    std::mutex creation;
    std::lock_guard<std::mutex> entered(creation);
    if (gApplication.load() == nullptr) {
      auto* created = new QUORVAN::Rendix::Global::RDXApplication();
      QUORVAN::Rendix::Global::RDXApplication* none = nullptr;
      if (!gApplication.compare_exchange_strong(none, created)) delete created;
    }
  } catch (...) {
    return nullptr;
  }
  return gApplication.load();
}

void DestroyRDXApplicationObject() { delete gApplication.exchange(nullptr); }

}  // extern "C"
