#include <rdx/platform/SystemInformation.h>

#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <filesystem>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

namespace fs = std::filesystem;
using Folder = SpecialFolderPath::SpecialFolder;

struct FolderRow {
  int value;
  std::string expected;
};

TEST(SpecialFolders, EveryValueUnderAnInstalledProduct) {
  rdx::test::IsolatedEnvironment env;
  env.WriteRegistry("SOFTWARE/QUORVAN/Rendix", "Home=\\opt\\quorvan\\rendix\n");
  const std::string home = "/opt/quorvan/rendix/";
  const std::string data = env.Root() + "/home/.local/share/QUORVAN/";
  const std::string docs = env.Root() + "/home/Documents/QUORVAN/Rendix/";
  const FolderRow rows[] = {
      {0, home + "XADefs/"},
      {1, home},
      {2, home + "XADefs/RPDef Generators/"},
      {3, home + "RPDef Generators/"},
      {4, home + "XADefs/Raster Formats/"},
      {5, home + "Raster Formats/"},
      {6, home + "XADefs/Raster Processes/"},
      {7, home + "Raster Processes/"},
      {8, data},
      {9, data + "Rendix/"},
      {10, home + "Format Runtime Data/"},
      {11, docs},
      {12, data + "Rendix/Logs/"},
      {13, home + "XADefs/GeoTransformers/"},
      {14, home + "Symbology/"},
      {15, "\\opt\\quorvan\\rendix/"},
      {16, home + "Help/"},
      {17, home + "Bitmaps/"},
      {18, data + "Rendix/Config/"},
      {19, home + "pedata/"},
      {20, home + "Bin/"},
      {21, ""},
      {-1, ""},
  };
  for (const FolderRow& row : rows) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(GetSpecialFolderPath(static_cast<Folder>(row.value)), row.expected);
  }
}

TEST(SpecialFolders, FollowTheInstallationAndTheXdgSettings) {
  rdx::test::IsolatedEnvironment env;
  // No registry at all: install-home folders become bare relative names.
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::InstallHome), "");
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::DefinitionsGeoTransformers),
            "XADefs/GeoTransformers/");

  // The installation suffix is appended to the key name without a separator.
  env.WriteRegistry("SOFTWARE/QUORVAN/Rendix", "Home=/wrong\n");
  env.WriteRegistry("SOFTWARE/QUORVAN/rendixbeta", " home =/srv/beta\\\n");
  env.Set("RDX_INSTALLATION", "Beta");
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::Help), "/srv/beta/Help/");
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::InstallHomeAsStored), "/srv/beta\\");

  // User folders follow the XDG settings.
  env.Set("XDG_DATA_HOME", "");
  env.Set("XDG_DOCUMENTS_DIR", "");
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::UserLogs),
            env.Root() + "/home/.local/share/QUORVAN/Rendix/Logs/");
  // user-dirs.dirs as xdg-user-dirs writes it.
  env.WriteFile(env.Root() + "/home/.config/user-dirs.dirs",
                "# comment\nXDG_DESKTOP_DIR=\"$HOME/Desk\"\nXDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n");
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::UserProductDocuments),
            env.Root() + "/home/Papers/QUORVAN/Rendix/");
  env.WriteFile(env.Root() + "/home/.config/user-dirs.dirs", "XDG_MUSIC_DIR=\"$HOME/M\"\n");
  EXPECT_EQ(getShellFolder(5), env.Root() + "/home/Documents/");
  // A file grown far past any real one is not read.
  env.WriteFile(env.Root() + "/home/.config/user-dirs.dirs",
                "XDG_DOCUMENTS_DIR=\"$HOME/Papers\"\n" + std::string(70000, '#'));
  EXPECT_EQ(getShellFolder(5), env.Root() + "/home/Documents/");
  EXPECT_EQ(getShellFolder(43), "/opt/");
  EXPECT_EQ(GetMachineCommonFilesFolder(), "/opt/");
  EXPECT_EQ(getShellFolder(9999), "");

  // Relative XDG values are ignored: the folders never depend on the current directory.
  const std::string home = env.Root() + "/home/";
  const struct {
    const char* variable;
    int shellFolder;
    std::string expected;
  } relative[] = {
      {"XDG_DATA_HOME", 28, home + ".local/share/"},
      {"XDG_CONFIG_HOME", 26, home + ".config/"},
      {"XDG_DOCUMENTS_DIR", 5, home + "Documents/"},
  };
  for (const auto& row : relative) {
    SCOPED_TRACE(row.variable);
    env.Set(row.variable, "relative/folder");
    EXPECT_EQ(getShellFolder(row.shellFolder), row.expected);
    env.Set(row.variable, "/abs/" + std::string(row.variable));
    EXPECT_EQ(getShellFolder(row.shellFolder), "/abs/" + std::string(row.variable) + "/");
    env.Set(row.variable, "");
  }
  env.Set("XDG_DATA_HOME", "data");
  EXPECT_EQ(GetSpecialFolderPath(SpecialFolderPath::UserLogs),
            home + ".local/share/QUORVAN/Rendix/Logs/");
}

TEST(CreateDirectory, CreatesEachMissingLevelAndStopsAtTheFirstFailure) {
  rdx::test::IsolatedEnvironment env;
  const std::string base = env.Root() + "/made";
  ASSERT_TRUE(createDirectory(base + "\\a\\b/c"));
  EXPECT_TRUE(fs::is_directory(base + "/a/b/c"));

  // A file in the way of a level: the level after it cannot be made, nothing beyond is tried.
  env.WriteFile(base + "/blocked", "x");
  EXPECT_FALSE(createDirectory(base + "/blocked/d/e"));
  EXPECT_FALSE(fs::exists(base + "/blocked/d"));

  // A level that may not be written: creation stops there.
  fs::create_directories(base + "/locked");
  fs::permissions(base + "/locked", fs::perms::owner_read | fs::perms::owner_exec);
  if (geteuid() != 0) {
    EXPECT_FALSE(createDirectory(base + "/locked/x/y"));
    EXPECT_FALSE(fs::exists(base + "/locked/x"));
  }
  fs::permissions(base + "/locked", fs::perms::owner_all);

  // The first level of a relative path is taken as given, never created.
  const fs::path cwd = fs::current_path();
  fs::current_path(env.Root());
  EXPECT_TRUE(createDirectory("single"));
  EXPECT_FALSE(fs::exists(env.Root() + "/single"));
  EXPECT_FALSE(createDirectory("nothere/sub"));
  EXPECT_TRUE(createDirectory("made/rel"));
  EXPECT_TRUE(fs::is_directory(env.Root() + "/made/rel"));
  fs::current_path(cwd);
  EXPECT_TRUE(createDirectory(""));
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
