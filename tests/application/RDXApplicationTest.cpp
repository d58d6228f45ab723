#include <rdx/application/ExportedFunctions.h>
#include <rdx/application/IApplicationFramework.h>
#include <rdx/application/IRDXApplication.h>

#include "application/RDXApplication.h"
#include "platform/os/FileSystem.h"
#include "support/FifoInPlace.h"
#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <chrono>

namespace QUORVAN::Rendix::Global {
namespace {

std::string ConfigurationFolder(const rdx::test::IsolatedEnvironment& env) {
  return env.Root() + "/home/.local/share/QUORVAN/Rendix/";
}

std::string WriteConfiguration(const rdx::test::IsolatedEnvironment& env, const std::string& xml) {
  return env.WriteFile(ConfigurationFolder(env) + "Global.RXConfig", xml);
}

// Each test gets its own environment and a fresh application object, destroyed at the end.
class ApplicationTest : public ::testing::Test {
 protected:
  void TearDown() override { DestroyRDXApplicationObject(); }
  rdx::test::IsolatedEnvironment env_;
};

struct CountingFramework : IApplicationFramework {
  explicit CountingFramework(bool succeeds) : startSucceeds(succeeds) {}
  bool Start() override {
    ++starts;
    return startSucceeds;
  }
  void Shutdown() override { ++shutdowns; }
  bool startSucceeds;
  int starts = 0, shutdowns = 0;
};

TEST_F(ApplicationTest, OneSharedObjectUntilDestroyed) {
  IRDXApplication* first = GetRDXApplicationObject();
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(GetRDXApplicationObject(), first);
  EXPECT_EQ(first->SetProperty("Mode", "batch"), 1);
  EXPECT_EQ(first->GetProperty("MODE"), "batch");
  DestroyRDXApplicationObject();
  DestroyRDXApplicationObject();  // a second destroy has nothing to delete
  IRDXApplication* second = GetRDXApplicationObject();
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(second->GetProperty("Mode"), "");  // a fresh, empty property map
}

TEST_F(ApplicationTest, LogsFolderFollowsTheOverride) {
  const std::string systemLogs = ConfigurationFolder(env_) + "Logs/";
  struct Row {
    const char* name;
    std::string configuration, expectedLogs;
  };  // "" = no file
  const Row rows[] = {
      {"no file", "", systemLogs},
      {"override",
       "<Cfg><FolderPathOverride><DefaultLogs>/srv/logs</DefaultLogs>"
       "</FolderPathOverride></Cfg>",
       "/srv/logs/"},
      {"override with separator, any case",
       "<Cfg><FolderPathOverride><defaultlogs>/srv/logs/</defaultlogs></FolderPathOverride></Cfg>",
       "/srv/logs/"},
      {"empty override", "<Cfg><FolderPathOverride><DefaultLogs/></FolderPathOverride></Cfg>",
       systemLogs},
      {"other section", "<Cfg><StatusFilter><DefaultLogs>/x</DefaultLogs></StatusFilter></Cfg>",
       systemLogs},
      {"malformed", "<Cfg><FolderPathOverride><DefaultLogs>/srv/logs</Default", systemLogs},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::filesystem::remove(ConfigurationFolder(env_) + "Global.RXConfig");
    if (!row.configuration.empty()) WriteConfiguration(env_, row.configuration);
    IRDXApplication* app = GetRDXApplicationObject();
    std::string message;
    EXPECT_EQ(app->Initialize(&message), 1);
    EXPECT_NE(message.find(ConfigurationFolder(env_) + "Global.RXConfig"), std::string::npos);
    EXPECT_EQ(app->GetSpecialFolderPath(IRDXApplication::UserLogs), row.expectedLogs);
    // Only the logs folder is overridden.
    EXPECT_EQ(app->GetSpecialFolderPath(IRDXApplication::UserProductAppData),
              ConfigurationFolder(env_));
    DestroyRDXApplicationObject();
  }
  // The first folder question loads the configuration without Initialize.
  WriteConfiguration(env_, "<C><FolderPathOverride><DefaultLogs>/l</DefaultLogs>"
                           "</FolderPathOverride></C>");
  EXPECT_EQ(GetRDXApplicationObject()->GetSpecialFolderPath(IRDXApplication::UserLogs), "/l/");
  EXPECT_EQ(GetRDXApplicationObject()->GetSpecialFolderPath(
                static_cast<IRDXApplication::SpecialFolderNameEnum>(21)),
            "/");
}

TEST_F(ApplicationTest, FrameworkStartsOnlyWhenAskedAndOnce) {
  struct Row {
    const char* initializeGf;  // nullptr = property not set
    bool startSucceeds;
    int starts, shutdowns;  // after two Initialize and two Shutdown calls
  };
  const Row rows[] = {
      {nullptr, true, 0, 0},
      {"no", true, 0, 0},
      {" Yes ", true, 1, 1},
      {"true", false, 2, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.initializeGf != nullptr ? row.initializeGf : "(unset)");
    CountingFramework framework(row.startSucceeds);
    InstallApplicationFramework(&framework);
    IRDXApplication* app = GetRDXApplicationObject();
    if (row.initializeGf != nullptr) app->SetProperty("Initialize_GF", row.initializeGf);
    EXPECT_EQ(app->Initialize(nullptr), 1);
    EXPECT_EQ(app->Initialize(nullptr), 1);  // a running framework is not started again
    EXPECT_EQ(framework.starts, row.starts);
    EXPECT_EQ(app->Shutdown(), 1);
    EXPECT_EQ(app->Shutdown(), 1);
    EXPECT_EQ(framework.shutdowns, row.shutdowns);
    DestroyRDXApplicationObject();
    InstallApplicationFramework(nullptr);
  }
  // Without an installed framework Initialize still succeeds.
  GetRDXApplicationObject()->SetProperty("Initialize_GF", "1");
  EXPECT_EQ(GetRDXApplicationObject()->Initialize(nullptr), 1);
}

TEST_F(ApplicationTest, EachConfigurationChangeIsReportedOnce) {
  RDXApplication app;
  EXPECT_FALSE(app.HasConfigFileChanged());  // nothing loaded, no file
  const std::string path = WriteConfiguration(env_, "<Cfg/>");
  // Written before the load: not a change.
  ASSERT_EQ(
      rdx::os::SetLastWriteTime(path, std::chrono::system_clock::now() - std::chrono::seconds(10)),
      0u);
  ASSERT_EQ(app.Initialize(nullptr), 1);
  EXPECT_EQ(app.ConfigurationPath(), path);
  EXPECT_FALSE(app.HasConfigFileChanged());

  // Rewritten later: reported by the next call only.
  WriteConfiguration(env_, "<Cfg><A>1</A></Cfg>");
  ASSERT_EQ(
      rdx::os::SetLastWriteTime(path, std::chrono::system_clock::now() + std::chrono::seconds(5)),
      0u);
  EXPECT_TRUE(app.HasConfigFileChanged());
  EXPECT_FALSE(app.HasConfigFileChanged());

  std::filesystem::remove(path);
  EXPECT_FALSE(app.HasConfigFileChanged());
}

TEST_F(ApplicationTest, AFifoInPlaceOfTheConfigurationReadsAsNoFile) {
  const std::string path = ConfigurationFolder(env_) + "Global.RXConfig";
  RDXApplication app;
  int initialized = -1;
  std::string logs;
  bool changed = true;
  EXPECT_TRUE(rdx::test::ReturnsBesideFifo(path, [&] {
    initialized = app.Initialize(nullptr);
    logs = app.GetSpecialFolderPath(IRDXApplication::UserLogs);
    changed = app.HasConfigFileChanged();
  }));
  EXPECT_EQ(initialized, 1);
  EXPECT_EQ(logs, ConfigurationFolder(env_) + "Logs/");
  EXPECT_FALSE(changed);
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
