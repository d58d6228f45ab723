// The application object read from a sample "Global.RXConfig", and a status report filtered
// by that file's settings.
#include "DemoSection.h"

#include <rdx/RDXGlobalLib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;
using QUORVAN::Rendix::Global::IRDXApplication;
using QUORVAN::Rendix::Global::StatusFilter;

const char* const kSampleConfiguration =
    "<Configuration>\n"
    "  <FolderPathOverride>\n"
    "    <DefaultLogs>/var/tmp/rendix-demo-logs</DefaultLogs>\n"
    "  </FolderPathOverride>\n"
    "  <StatusFilter>\n"
    "    <ExcludeMatch>Heartbeat;TileCache</ExcludeMatch>\n"
    "    <ExcludeIfMessageHasPipes>true</ExcludeIfMessageHasPipes>\n"
    "  </StatusFilter>\n"
    "</Configuration>\n";

void ShowApplication() {
  // The configuration folder follows XDG_DATA_HOME; point it at a scratch folder for the demo.
  const std::filesystem::path data =
      std::filesystem::temp_directory_path() / ("rdx-demo-" + gul::CreateUUID());
  const std::filesystem::path folder = data / "QUORVAN" / "Rendix";
  std::filesystem::create_directories(folder);
  std::ofstream(folder / "Global.RXConfig") << kSampleConfiguration;
  const char* previous = std::getenv("XDG_DATA_HOME");
  const std::string saved = previous != nullptr ? previous : "";
  setenv("XDG_DATA_HOME", data.c_str(), 1);

  IRDXApplication* app = GetRDXApplicationObject();
  std::string message;
  const int initialized = app->Initialize(&message);
  std::printf("Initialize: %d (%s)\n", initialized, message.c_str());
  std::printf("configuration folder: %s\n",
              app->GetSpecialFolderPath(IRDXApplication::UserProductAppData).c_str());
  std::printf("logs folder (overridden): %s\n",
              app->GetSpecialFolderPath(IRDXApplication::UserLogs).c_str());

  gul::Status report;
  report.Append(0, "alive", "Reporter.Heartbeat", "");
  report.Append(0, "Opened session 42", "ServerProxy.OpenSession", "");
  report.Append(0, "tile 3|4 from cache", "TileCache.Lookup", "");
  report.Append(0, "columns a|b|c", "ServiceProviderProxy.SetAOI", "");
  report.Append(0x120, "Extraction failed", "ServiceProviderProxy.ExtractAOI", "out of range");
  StatusFilter filter;
  filter.Initialize("");
  std::puts("report before filtering:");
  std::puts(report.ToString(nullptr).c_str());
  std::puts("after the configured filter (heartbeats, tile cache and piped messages removed):");
  std::puts(filter.Clean(report.ToString(nullptr)).c_str());

  app->Shutdown();
  DestroyRDXApplicationObject();
  if (previous != nullptr) {
    setenv("XDG_DATA_HOME", saved.c_str(), 1);
  } else {
    unsetenv("XDG_DATA_HOME");
  }
  std::error_code ignored;
  std::filesystem::remove_all(data, ignored);
}

const bool kRegistered = rdx::demo::RegisterSection(
    500, "Application: configuration and status filter", ShowApplication);

}  // namespace
