#include "platform/os/RegistryStore.h"
#include "platform/os/Win32Error.h"
#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <unistd.h>
#include <filesystem>
#include <string>

namespace rdx::os {
namespace {

TEST(RegistryStore, FindsAValueInAKeysText) {
  const std::string values = std::string("# written by the installer\r\n") +
                             "Version=5.2.0.17\r\n"
                             "  Padded\t=  kept as is \n"
                             "version=later spelling loses\n"
                             "NoEquals\n"
                             "Empty=\n"
                             "Equals=a=b\n"
                             "Nul=ab" +
                             std::string(1, '\0') +
                             "cd\n"
                             "Last=no line end";
  const struct Row {
    const char* name;
    std::size_t capacity;
    std::uint32_t code;
    std::string value;
  } rows[] = {
      {"VERSION", 512, 0, "5.2.0.17"},      // names ignore case; the first one wins
      {"padded", 512, 0, "  kept as is "},  // blanks around the name only
      {"Equals", 512, 0, "a=b"},            // everything after the first "="
      {"Empty", 512, 0, ""},
      {"Nul", 512, 0, "ab"},  // up to the first NUL
      {"Last", 512, 0, "no line end"},
      {"NoEquals", 512, 2, ""},
      {"Missing", 512, 2, ""},
      {"# written by the installer", 512, 2, ""},
      {"Version", 9, 0, "5.2.0.17"},  // eight bytes and the NUL fit
      {"Version", 8, 234, ""},        // one byte short
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.name) + " into " + std::to_string(row.capacity));
    const RegistryRead read = FindRegistryValue(values, row.name, row.capacity);
    EXPECT_EQ(read.code, row.code);
    EXPECT_EQ(read.value, row.value);
  }
}

// The whole lookup on a store: the key path, its values file, then the value.
TEST(RegistryStore, ReadsValuesThroughTheKeyTree) {
  rdx::test::IsolatedEnvironment env;
  const std::string root = env.Root() + "/registry";
  env.WriteRegistry("SOFTWARE/QUORVAN/Rendix",
                    "=the default value\nVersion=5.2\nPort=3982\nHome=/opt/q r/\nEmpty=\n");
  env.WriteRegistry("SOFTWARE/Case", "Which=folded\n");
  env.WriteRegistry("SOFTWARE/CASE", "Which=exact\n");
  std::filesystem::create_directories(root + "/SOFTWARE/QUORVAN/Rendix/NoValues");
  std::filesystem::create_directories(root + "/SOFTWARE/Folder/values");
  env.WriteRegistry("SOFTWARE/Big", "Version=1\n" + std::string(kMaxRegistryFileBytes, '#'));
  env.WriteRegistry("SOFTWARE/Locked", "Version=1\n");
  const bool root_user = ::geteuid() == 0;
  if (!root_user)
    std::filesystem::permissions(root + "/SOFTWARE/Locked/values", std::filesystem::perms::none);
  const struct Row {
    std::string key, name;
    std::uint32_t code;
    std::string value;
    std::size_t capacity = 512;
  } rows[] = {
      {"SOFTWARE\\QUORVAN\\Rendix", "", 0, "the default value"},  // the unnamed value
      {"SOFTWARE\\QUORVAN\\Rendix", "Version", 0, "5.2"},
      {"software/quorvan/RENDIX/", "PORT", 0, "3982"},  // any case, any separator
      {"SOFTWARE\\QUORVAN\\Rendix", "Home", 0, "/opt/q r/"},
      {"SOFTWARE\\QUORVAN\\Rendix", "Empty", 0, ""},
      {"SOFTWARE\\QUORVAN\\Rendix", "Missing", kErrorFileNotFound, ""},
      {"SOFTWARE\\QUORVAN\\Rendix", "Home", kErrorMoreData, "", 9},
      {"SOFTWARE\\QUORVAN\\Missing", "Version", kErrorFileNotFound, ""},
      {"SOFTWARE\\QUORVAN\\Rendix\\NoValues", "Version", kErrorFileNotFound, ""},
      {"SOFTWARE\\Folder", "Version", kErrorFileNotFound, ""},  // "values" is a folder
      {"SOFTWARE\\CASE", "Which", 0, "exact"},  // an exact spelling wins over a folded one
      {"SOFTWARE\\Big", "Version", kErrorAccessDenied, ""},
      {"SOFTWARE\\Locked", "Version", root_user ? 0u : kErrorAccessDenied, root_user ? "1" : ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.key + " " + row.name);
    const RegistryRead read = ReadRegistryValue(root, row.key, row.name, row.capacity);
    EXPECT_EQ(read.code, row.code);
    EXPECT_EQ(read.code == 0 ? read.value : "", row.value);  // the value means nothing otherwise
  }
  EXPECT_EQ(ReadRegistryValue(env.Root() + "/none", "SOFTWARE", "Version", 512).code,
            kErrorFileNotFound);  // no store at all
}

}  // namespace
}  // namespace rdx::os
