#include "platform/os/RegistryStore.h"

#include <gtest/gtest.h>

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
                             "Nul=ab" + std::string(1, '\0') + "cd\n"
                             "Last=no line end";
  const struct Row {
    const char* name;
    std::size_t capacity;
    std::uint32_t code;
    std::string value;
  } rows[] = {
      {"VERSION", 512, 0, "5.2.0.17"},       // names ignore case; the first one wins
      {"padded", 512, 0, "  kept as is "},   // blanks around the name only
      {"Equals", 512, 0, "a=b"},             // everything after the first "="
      {"Empty", 512, 0, ""},
      {"Nul", 512, 0, "ab"},                 // up to the first NUL
      {"Last", 512, 0, "no line end"},
      {"NoEquals", 512, 2, ""},
      {"Missing", 512, 2, ""},
      {"# written by the installer", 512, 2, ""},
      {"Version", 9, 0, "5.2.0.17"},         // eight bytes and the NUL fit
      {"Version", 8, 234, ""},               // one byte short
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.name) + " into " + std::to_string(row.capacity));
    const RegistryRead read = FindRegistryValue(values, row.name, row.capacity);
    EXPECT_EQ(read.code, row.code);
    EXPECT_EQ(read.value, row.value);
  }
}

}  // namespace
}  // namespace rdx::os
