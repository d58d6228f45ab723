#include <rdx/application/ExportedFunctions.h>
#include <rdx/reporting/StatusFilter.h>

#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

using GeneralUtilityLib::Status;

struct Item {
  std::int32_t id;
  const char* source;
  const char* message;
};

std::string Report(const std::vector<Item>& items) {
  Status status;
  for (const Item& item : items) status.Append(item.id, item.message, item.source, "");
  return status.ToString(nullptr);
}

// The messages that survive filtering, in order.
std::vector<std::string> Survivors(StatusFilter& filter, const std::vector<Item>& items) {
  Status parsed;
  parsed.Append(filter.Clean(Report(items)));
  std::vector<std::string> messages;
  for (const auto& item : parsed.items) messages.push_back(item.message);
  return messages;
}

class StatusFilterTest : public ::testing::Test {
 protected:
  void SetUp() override { DestroyRDXApplicationObject(); }
  void TearDown() override { DestroyRDXApplicationObject(); }
  rdx::test::IsolatedEnvironment env_;
};

const std::vector<Item> kReport = {
    {0, "Reporter.Heartbeat", "alive"},       {1, "Reporter.Heartbeat", "error kept"},
    {0, "ServerProxy.Open", "a|b"},           {0, "Tile.CACHE.Hit", "hit"},
    {0, "ServiceProviderProxy.SetAOI", "ok"}, {0x10, "Tile.Cache", "x|y"},
};

std::string Section(const std::string& element, const std::string& value) {
  return "<StatusFilter><" + element + ">" + value + "</" + element + "></StatusFilter>";
}

TEST_F(StatusFilterTest, RemovesOnlyInformationalItemsTheSettingsExclude) {
  struct Row {
    const char* name;
    std::string fileSection;  // in Global.RXConfig; "" = no file
    std::string callerText;
    std::vector<std::string> survivors;
  };
  const std::vector<std::string> all = {"alive", "error kept", "a|b", "hit", "ok", "x|y"};
  const Row rows[] = {
      {"no configuration", "", "", all},
      {"file patterns, three separators",
       Section("ExcludeMatch", "heartbeat;nothing,cache"),
       "",
       {"error kept", "a|b", "ok", "x|y"}},
      {"line breaks separate too",
       "",
       Section("ExcludeMatch", "heartbeat\r\ncache\nSetAOI"),
       {"error kept", "a|b", "x|y"}},
      {"pipes",
       "",
       Section("ExcludeIfMessageHasPipes", "true"),
       {"alive", "error kept", "hit", "ok", "x|y"}},
      {"caller overrides the file",
       Section("ExcludeMatch", "cache"),
       Section("ExcludeMatch", "SetAOI"),
       {"alive", "error kept", "a|b", "hit", "x|y"}},
      {"an empty caller value keeps the file's",
       Section("ExcludeMatch", "cache"),
       Section("ExcludeMatch", ""),
       {"alive", "error kept", "a|b", "ok", "x|y"}},
      {"other sections are not read",
       "<FolderPathOverride><ExcludeMatch>cache</ExcludeMatch></FolderPathOverride>", "", all},
      {"malformed file", "<StatusFilter><ExcludeMatch>cache</Exclu", "", all},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    const std::string file = env_.Root() + "/home/.local/share/QUORVAN/Rendix/Global.RXConfig";
    std::filesystem::remove(file);
    if (!row.fileSection.empty()) env_.WriteFile(file, "<Config>" + row.fileSection + "</Config>");
    DestroyRDXApplicationObject();  // the application reads the file anew
    StatusFilter filter;
    ASSERT_EQ(filter.Initialize(row.callerText), 1);
    EXPECT_EQ(Survivors(filter, kReport), row.survivors);
  }
}

TEST_F(StatusFilterTest, PatternsAccumulateAndBadInputGivesNothing) {
  StatusFilter filter;
  EXPECT_EQ(filter.Initialize(Section("ExcludeMatch", "heartbeat")), 1);
  // A caller text without the section, or not XML at all, is refused and changes nothing.
  EXPECT_EQ(filter.Initialize("<Other/>"), 0);
  EXPECT_EQ(filter.Initialize("not < xml"), 0);
  EXPECT_EQ(filter.Initialize(Section("ExcludeMatch", "cache")), 1);
  EXPECT_EQ(Survivors(filter, kReport),
            (std::vector<std::string>{"error kept", "a|b", "ok", "x|y"}));

  EXPECT_EQ(filter.Clean(""), "");
  EXPECT_EQ(filter.Clean("<Status><Item><ID>"), "");
  EXPECT_EQ(filter.Clean(Report({{0, "Reporter.Heartbeat", "gone"}})), "");
  // Survivors are re-rendered exactly as the status XML form gives them.
  const std::string kept = Report({{0, "Other", "stays"}});
  EXPECT_EQ(filter.Clean(kept), kept);

  // Copies keep the patterns.
  StatusFilter copy(filter);
  EXPECT_EQ(copy.Clean(Report({{0, "x.CACHE", "m"}})), "");
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
