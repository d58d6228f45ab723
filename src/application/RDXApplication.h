#pragma once
// The application object behind IRDXApplication.

#include <rdx/application/IApplicationFramework.h>
#include <rdx/application/IRDXApplication.h>
#include <rdx/foundation/NameValueMap.h>

#include <chrono>
#include <mutex>
#include <string>

namespace QUORVAN::Rendix::Global {

class RDXApplication : public IRDXApplication {
 public:
  // Empty maps, nothing loaded: the configuration is read by Initialize or the first folder
  // question.
  RDXApplication() = default;
  RDXApplication(const RDXApplication&) = delete;
  RDXApplication& operator=(const RDXApplication&) = delete;
  // Does not call Shutdown: a started framework is the host's to stop.
  ~RDXApplication() override = default;

  int Initialize(std::string* message) override;
  int Shutdown() override;
  std::string GetSpecialFolderPath(SpecialFolderNameEnum folder) override;
  std::string ToString() override;
  int SetProperty(const std::string& name, const std::string& value) override;
  std::string GetProperty(const std::string& name) override;

  // True when "Global.RXConfig" was written after the last load or the last call; each
  // change is reported once. False when the file cannot be opened or read.
  bool HasConfigFileChanged();
  // The full path of "Global.RXConfig" once the configuration was loaded.
  const std::string& ConfigurationPath() const { return configurationPath_; }

 private:
  int LoadConfigFile();
  int InitializeGeoframe();

  NameValueMap properties_;       // the process-wide property map
  NameValueMap folderOverrides_;  // the "//FolderPathOverride" section
  bool configurationLoaded_ = false;
  std::string configurationPath_;
  // When the configuration was last read or tested for change, on the clock file times use.
  std::chrono::system_clock::time_point lastLoadTime_{};
  IApplicationFramework* framework_ = nullptr;  // borrowed; set while the framework runs
  // Marks entry into Initialize, Shutdown, SetProperty and GetProperty; it is released at
  // once and guards nothing else, so nothing may rely on it for the maps.
  std::mutex applicationLock_;
};

}  // namespace QUORVAN::Rendix::Global
