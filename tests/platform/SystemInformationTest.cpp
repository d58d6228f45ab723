#include <rdx/application/ExportedFunctions.h>
#include <rdx/platform/SystemInformation.h>
#include <rdx/platform/XMLProperties.h>

#include "platform/os/HostInfo.h"
#include "platform/os/LastError.h"
#include "support/FifoInPlace.h"
#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>

#include <sys/stat.h>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <tuple>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

const std::string kProductKey = "SOFTWARE/QUORVAN/Rendix";
const std::string kNotFound = "The system cannot find the file specified.";

// The folder, code and text GetRendixCommonFilesFolder gives for a machine.
using CommonFiles = std::tuple<std::string, std::int32_t, std::string>;
CommonFiles CommonFilesOf(const std::string& machine) {
  CommonFiles result{"", -7, "stale"};
  std::get<0>(result) =
      GetRendixCommonFilesFolder(machine, std::get<1>(result), std::get<2>(result));
  return result;
}

TEST(RegistryValues, ReadFromTheStoreWithFallbacks) {
  rdx::test::IsolatedEnvironment env;
  EXPECT_EQ(GetRendixProductVersion(), "0.0.0.0");  // no store at all
  env.WriteRegistry(kProductKey,
                    "Version=5.2.0.17\r\nClientVersion=\r\nLong=" + std::string(511, 'x') +
                        "\nTooLong=" + std::string(512, 'x') + "\n");
  EXPECT_EQ(GetRendixProductVersion(), "5.2.0.17");
  EXPECT_EQ(GetRendixClientVersion(), "0.0.0.0");  // present but empty
  // Key paths, cases, folders, size and access limits are RegistryStoreTest's (the same
  // lookup); here the 512-byte buffer, a values file taken for a key, and hostile bytes.
  for (const auto& [key, name, expected] :
       {std::tuple{"SOFTWARE\\QUORVAN\\Rendix", "VERSION", std::string("5.2.0.17")},
        std::tuple{"SOFTWARE\\QUORVAN\\Rendix", "Long", std::string(511, 'x')},
        std::tuple{"SOFTWARE\\QUORVAN\\Rendix", "TooLong", std::string()},
        std::tuple{"SOFTWARE\\QUORVAN\\Rendix\\values", "Version", std::string()}}) {
    EXPECT_EQ(GetRegistryValue(key, name), expected) << key << " " << name;
  }
  env.WriteRegistry(kProductKey, std::string("\xff\xfe\0\0=\n=\n\n", 9) + "Version=1.0\n");
  EXPECT_EQ(GetRendixProductVersion(), "1.0");
}

TEST(RegistryValues, AnythingButARegularFileReadsAsMissingWithoutWaiting) {
  rdx::test::IsolatedEnvironment env;
  const std::string values = env.Root() + "/registry/" + kProductKey + "/values";
  const std::string dirs = env.Root() + "/home/.config/user-dirs.dirs";
  std::string version = "unset", documents = "unset";
  bool loaded = true;
  struct Row {
    const char* name;
    std::string path;
    std::function<void()> use;
  };
  const Row rows[] = {
      {"registry values", values, [&] { version = GetRendixProductVersion(); }},
      {"user-dirs.dirs", dirs, [&] { documents = getShellFolder(5); }},
      {"XML document", env.Root() + "/cfg.xml",
       [&] {
         XMLProperties xml;
         loaded = xml.init(env.Root() + "/cfg.xml");
       }},
  };
  env.Set("XDG_DOCUMENTS_DIR", "");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_TRUE(rdx::test::ReturnsBesideFifo(row.path, row.use));
  }
  EXPECT_EQ(version, "0.0.0.0");
  EXPECT_EQ(documents, env.Root() + "/home/Documents/");
  EXPECT_FALSE(loaded);
}

TEST(RegistryValues, WritesReplaceTheLineReadersSeeAndListingsFollowTheStore) {
  rdx::test::IsolatedEnvironment env;
  // A hand-written file: a comment line, a duplicate name (the first one wins) and blanks.
  env.WriteRegistry("SOFTWARE\\QUORVAN\\Rendix",
                    "# kept\n Version = 1.0\nversion=2.0\nHome=/opt\n");
  std::filesystem::create_directories(env.Root() + "/registry/SOFTWARE/QUORVAN/Rendix/Zeta");
  std::filesystem::create_directories(env.Root() + "/registry/SOFTWARE/QUORVAN/Rendix/Alpha");

  EXPECT_EQ(SetRegistryValue("software/quorvan/RENDIX", "VERSION", "3.0"), 0);
  EXPECT_EQ(GetRegistryValue("SOFTWARE\\QUORVAN\\Rendix", "Version"), "3.0");
  EXPECT_EQ(rdx::test::ReadFile(env.Root() + "/registry/SOFTWARE/QUORVAN/Rendix/values"),
            "# kept\n Version =3.0\nversion=2.0\nHome=/opt\n");

  std::vector<std::string> subkeys;
  std::vector<std::pair<std::string, std::string>> values;
  ASSERT_EQ(ListRegistryKey("SOFTWARE\\QUORVAN\\Rendix", subkeys, values), 0);
  EXPECT_EQ(subkeys, (std::vector<std::string>{"Alpha", "Zeta"}));
  EXPECT_EQ(values, (std::vector<std::pair<std::string, std::string>>{{"Version", "3.0"},
                                                                      {"Home", "/opt"}}));

  // New keys are created level by level; a value with blanks around it keeps them.
  EXPECT_EQ(SetRegistryValue("SOFTWARE\\New\\Deep", "Name", "  spaced  "), 0);
  EXPECT_EQ(GetRegistryValue("SOFTWARE/New/Deep", "Name"), "  spaced  ");

  const struct {
    const char* name;
    const char* value;
  } refused[] = {{"", "x"},      {"  ", "x"},   {"A=B", "x"}, {"Line\nBreak", "x"},
                 {"Ok", "a\nb"}, {"Ok", "a\rb"}};
  for (const auto& r : refused) {
    SCOPED_TRACE(r.name);
    EXPECT_EQ(SetRegistryValue("SOFTWARE\\QUORVAN\\Rendix", r.name, r.value), 87);
  }
  EXPECT_EQ(SetRegistryValue("SOFTWARE\\..\\..\\escape", "Name", "x"), 87);
  EXPECT_FALSE(std::filesystem::exists(env.Root() + "/escape"));
  EXPECT_EQ(ListRegistryKey("SOFTWARE\\Missing", subkeys, values), 2);

  // A store that may not be written: the write fails with its code and nothing changes.
  if (geteuid() != 0) {
    std::filesystem::permissions(env.Root() + "/registry/SOFTWARE/QUORVAN/Rendix",
                                 std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::remove);
    EXPECT_EQ(SetRegistryValue("SOFTWARE\\QUORVAN\\Rendix", "Version", "4.0"), 5);
    EXPECT_EQ(GetRegistryValue("SOFTWARE\\QUORVAN\\Rendix", "Version"), "3.0");
  }
}

TEST(CommonFilesFolder, ThisMachineIsReadLocally) {
  rdx::test::IsolatedEnvironment env;
  // No product key yet: code 2 and its system text, for every name of this machine.
  for (const std::string& machine :
       {std::string(""), std::string("localhost"), std::string("127.0.0.1"), GetHostName()}) {
    EXPECT_EQ(CommonFilesOf(machine), CommonFiles("", 2, kNotFound)) << machine;
  }
  env.WriteRegistry(kProductKey, "Version=1\n");  // the key is there, the value is not
  EXPECT_EQ(CommonFilesOf("localhost"), CommonFiles("", 2, kNotFound));
  env.WriteRegistry(kProductKey, "CommonHome= \tC:\\Common\\Files  \n");
  EXPECT_EQ(CommonFilesOf("LOCALHOST"), CommonFiles("C:/Common/Files/", 0, ""));
}

TEST(CommonFilesFolder, OtherMachinesAreReadOverSsh) {
  rdx::test::IsolatedEnvironment env;
  // Stands in for ssh: runs the remote command here, or fails as ssh does for a bad host.
  const std::string fakeSsh =
      env.WriteFile(env.Root() + "/bin/fake-ssh", "#!/bin/sh\n"
                                                  "for a; do host=$prev; prev=$a; last=$a; done\n"
                                                  "[ \"$host\" = unreachable ] && exit 255\n"
                                                  "exec sh -c \"$last\" >&1\n");
  std::filesystem::permissions(fakeSsh, std::filesystem::perms::owner_all);
  env.Set("RDX_SSH", fakeSsh);
  EXPECT_EQ(CommonFilesOf("unreachable"),
            CommonFiles("", 53, "The machine 'unreachable' is not reachable."));
  EXPECT_EQ(CommonFilesOf("far-away"), CommonFiles("", 2, kNotFound));
  env.WriteRegistry("Software/Quorvan/RENDIX", "CommonHome=\\\\srv\\share\\common\n");
  EXPECT_EQ(std::get<0>(CommonFilesOf("far-away")), "//srv/share/common/");
  if (geteuid() != 0) {
    const std::string key = env.Root() + "/registry/Software/Quorvan";
    chmod(key.c_str(), 0);
    EXPECT_EQ(CommonFilesOf("far-away"),
              CommonFiles("", 5,
                          "Access to machine 'far-away' is denied. Please check if you "
                          "have administrative rights on the machine"));
    chmod(key.c_str(), 0700);
  }
  env.Set("RDX_SSH", env.Root() + "/bin/no-such-program");
  EXPECT_EQ(std::get<1>(CommonFilesOf("far-away")), 53);
}

TEST(SystemUtilities, DigestsAndIdentifiers) {
  unsigned char* digest = nullptr;
  std::int32_t length = 0;
  make_hash("abc", &digest, &length);
  ASSERT_NE(digest, nullptr);
  ASSERT_EQ(length, 16);
  // MD5 of the four bytes a, b, c, NUL (a plain MD5 of "abc" starts 90 01 50 98).
  const unsigned char expected[16] = {0x14, 0x7a, 0x66, 0x4a, 0x2c, 0xa9, 0x41, 0x09,
                                      0x11, 0xe6, 0x19, 0x86, 0xd3, 0xf0, 0xd5, 0x2a};
  EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
  destroy_hash(&digest);
  unsigned char* untouched = nullptr;
  make_hash(nullptr, &untouched, &length);
  EXPECT_EQ(untouched, nullptr);
  destroy_hash(nullptr);

  std::set<std::string> ids;
  for (int i = 0; i < 20; ++i) ids.insert(CreateUUID());
  EXPECT_EQ(ids.size(), 20u);
  for (const std::string& id : ids) {
    EXPECT_TRUE(id.size() == 36 && id[8] == '-' &&
                id.find_first_not_of("0123456789abcdef-") == std::string::npos)
        << id;
  }
  EXPECT_EQ(GetRDXApplicationName(), "platform_tests");

  // Fixed stubs: host checks never fail and leave the text alone; no signature is made.
  std::string errorText = "untouched";
  EXPECT_TRUE(ValidateThisHostname("no such\x01host", errorText));
  EXPECT_EQ(errorText, "untouched");
  EXPECT_EQ(GenerateSignature(), 0);
  // This host's address is numeric text, not a name ("" where the resolver knows no address).
  const std::string address = GetIPAddress();
  unsigned char binary[16];
  EXPECT_TRUE(address.empty() || inet_pton(AF_INET, address.c_str(), binary) == 1 ||
              inet_pton(AF_INET6, address.c_str(), binary) == 1)
      << address;
}

TEST(SystemUtilities, FileSystemAndMemoryFigures) {
  rdx::test::IsolatedEnvironment env;
  Status status;
  status.Append(1, "kept", "Test", "");
  EXPECT_GT(getAvailableSpace(env.Root() + "/anything.dat", status), 0u);
  EXPECT_LT(getAvailableSpace(env.Root() + "\\anything.dat", status), 0xFFFFFFFFFFFFFFFFull);
  for (const std::string& bad : {std::string("Q:\\no\\such\\drive\\f.txt"), std::string("plain"),
                                 env.Root() + "/missing/f"}) {
    EXPECT_EQ(getAvailableSpace(bad, status), 18446744073709551615ull) << bad;
  }
  EXPECT_EQ(status.items.size(), 1u);

  std::size_t workingSet = 1, pagefile = 1;
  GetCurrentMemoryUsage(nullptr, &workingSet, &pagefile);
  EXPECT_TRUE(workingSet > 1 && pagefile > 1);
  // Pid 0x7FFFFFFF is above any pid_max the kernel allows: the figures stay untouched.
  workingSet = 7;
  GetCurrentMemoryUsage(reinterpret_cast<void*>(std::uintptr_t{0x7FFFFFFF}), &workingSet,
                        &pagefile);
  EXPECT_EQ(workingSet, 7u);
  struct Row {
    const char* text;
    bool ok;
    std::uint64_t rss, privateBytes;
  };
  const Row rows[] = {
      {"Name:\tx\nVmRSS:\t  100 kB\nRssAnon:\t  40 kB\nVmSwap:\t 2 kB\n", true, 102400, 43008},
      {"VmRSS: 1 kB\n", true, 1024, 0},
      {"Name:\tkthreadd\n", false, 0, 0},
      {"VmRSS:\t99999999999999999999 kB\n", false, 0, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    const auto parsed = rdx::os::ParseProcessStatus(row.text);
    ASSERT_EQ(parsed.has_value(), row.ok);
    if (row.ok) {
      EXPECT_EQ(std::make_pair(parsed->workingSetBytes, parsed->privateBytes),
                std::make_pair(row.rss, row.privateBytes));
    }
  }
}

TEST(SystemUtilities, PixelSizeIsTheMeanOfTheFourEdgeCellSizes) {
  struct Row {
    double c[8];
    int rows, columns;
    double expected;
  };
  const Row table[] = {
      {{0, 0, 100, 0, 100, 50, 0, 50}, 50, 100, 1.0},
      {{0, 0, 30, 40, 30, 140, 0, 100}, 10, 5, 0.25 * (200.0 / 10 + 100.0 / 5)},  // sheared
      {{0, 0, 10, 0, 10, 10, 0, 10}, 4, 2, 0.25 * (20.0 / 4 + 20.0 / 2)},         // rows vs columns
  };
  for (const Row& r : table) {
    EXPECT_DOUBLE_EQ(ComputePixelSize(r.c[0], r.c[1], r.c[2], r.c[3], r.c[4], r.c[5], r.c[6],
                                      r.c[7], r.rows, r.columns),
                     r.expected);
  }
  EXPECT_TRUE(std::isinf(ComputePixelSize(0, 0, 1, 0, 1, 1, 0, 1, 0, 1)));
}

}  // namespace
}  // namespace QUORVAN::Rendix::GeneralUtilityLib
