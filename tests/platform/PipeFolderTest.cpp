#include "platform/os/LastError.h"
#include "platform/os/PipeFolder.h"
#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

namespace rdx::os {
namespace {

namespace fs = std::filesystem;

mode_t ModeOf(const std::string& path) {
  struct stat info {};
  return ::lstat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

// Under one temporary root: a link to a folder, a plain file, a 0700 folder of ours, and two
// folders that belong to another user when we are root (0755 and 1777).
struct Candidates {
  rdx::test::IsolatedEnvironment environment;
  const std::string base = environment.Root();
  const bool root = ::geteuid() == 0;
  Candidates() {
    fs::create_directories(base + "/target");
    fs::create_symlink(base + "/target", base + "/link");
    environment.WriteFile(base + "/file", "x");
    fs::create_directory(base + "/own");
    ::chmod((base + "/own").c_str(), 0700);
    for (const char* name : {"theirs-private", "theirs-shared"}) {
      fs::create_directory(base + "/" + name);
      if (root) (void)!::chown((base + "/" + name).c_str(), 65534, 65534);
    }
    ::chmod((base + "/theirs-private").c_str(), 0755);
    ::chmod((base + "/theirs-shared").c_str(), 01777);
  }
};

TEST(PipeFolder, MachineWideFoldersAreOpenToAllAndNeverFollowALink) {
  Candidates c;
  struct Row {
    const char* name;
    bool usable;
    mode_t mode;
  };
  const Row rows[] = {
      {"made/for/pipes", true, 01777},
      {"link", false, 0},
      {"file", false, 0},
      {"own", true, 01777},  // ours: put right
      // As root it belongs to another user and is refused; otherwise it is our own.
      {"theirs-private", !c.root, c.root ? mode_t{0755} : mode_t{01777}},
      {"theirs-shared", true, 01777},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string path = c.base + "/" + row.name;
    EXPECT_EQ(SharedPipeFolder(path), row.usable ? kErrorSuccess : kErrorAccessDenied);
    if (row.mode != 0) {
      EXPECT_EQ(ModeOf(path), row.mode);
    }
  }
  EXPECT_EQ(ModeOf(c.base + "/made"), 0755u);
  EXPECT_EQ(ModeOf(c.base + "/target"), 0755u);  // the link was not followed
}

// The configured folder, else the first usable machine-wide one (as /run/quorvan/pipes, then
// /tmp/quorvan-pipes), else none with the last refusal's code.
TEST(PipeFolder, ConfiguredThenEachMachineWideFolderInTurn) {
  Candidates c;
  struct Row {
    const char* name;
    const char* configured;  // null: not set
    std::vector<std::string> chain;
    std::string chosen;  // relative to the root; "" for none
    std::uint32_t error = 0;
  };
  const Row rows[] = {
      {"configured, made", "conf/pipes//", {"run"}, "conf/pipes/"},
      {"configured wins over usable ones", "own", {"run"}, "own/"},
      {"configured but a file: no fallback", "file", {"run"}, "", kErrorAccessDenied},
      {"configured empty: the chain", "", {"run", "tmp"}, "run/"},
      {"first made", nullptr, {"run/quorvan/pipes", "tmp"}, "run/quorvan/pipes/"},
      {"first a link", nullptr, {"link", "tmp"}, "tmp/"},
      {"first a file", nullptr, {"file", "tmp"}, "tmp/"},
      {"first cannot be made", nullptr, {"file/pipes", "tmp"}, "tmp/"},
      {"first another user's",
       nullptr,
       {"theirs-private", "tmp"},
       c.root ? "tmp/" : "theirs-private/"},
      {"first shared by another user", nullptr, {"theirs-shared", "tmp"}, "theirs-shared/"},
      {"none usable", nullptr, {"link", "file"}, "", kErrorAccessDenied},
      {"no candidates", nullptr, {}, "", kErrorPathNotFound},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    std::vector<std::string> chain;
    for (const std::string& folder : row.chain) chain.push_back(c.base + "/" + folder);
    const std::string configured =
        row.configured != nullptr && *row.configured != '\0' ? c.base + "/" + row.configured : "";
    const OsResult<std::string> chosen =
        ChoosePipeFolder(row.configured == nullptr ? nullptr : configured.c_str(), chain);
    EXPECT_EQ(chosen.value, row.chosen.empty() ? "" : c.base + "/" + row.chosen);
    EXPECT_EQ(chosen.code, row.error);
  }
  EXPECT_EQ(ModeOf(c.base + "/conf/pipes"), 01777u);  // a configured folder is made shared
  EXPECT_FALSE(fs::exists(c.base + "/target/pipes"));
}

}  // namespace
}  // namespace rdx::os
