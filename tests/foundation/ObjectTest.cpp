#include <rdx/foundation/Object.h>

#include "foundation/StatusItemsMatch.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

using GeneralUtilityLib::Status;
using GeneralUtilityLib::StatusItem;

// Records the lines an object sends; Object uses nothing else of the contract.
struct RecordingReporter : IReporter {
  int Attach(IReporterSink*) override { return 1; }
  int Detach(IReporterSink*) override { return 1; }
  int Log(const char*, const char*) override { return 1; }
  int Log(const char* line) override { lines.emplace_back(line); return 1; }
  int WaitForNotifications() override { return 1; }
  int Close() override { return 1; }
  int Init() override { return 1; }
  std::vector<std::string> lines;
};

struct Component : Object {
  Status& Current() { return status_; }  // derived classes fill the status directly
};

TEST(Object, PropertyBagKeepsFirstSpellingAndIgnoresCase) {
  Object object;
  EXPECT_EQ(object.SetProperty("", ""), 0);
  EXPECT_EQ(object.SetProperty("", "x"), 1);
  EXPECT_EQ(object.SetProperty("Name", "a"), 1);
  EXPECT_EQ(object.SetProperty("NAME", "b"), 1);
  EXPECT_EQ(object.SetProperty("other", std::string("v\0w", 3)), 1);
  Object copy(object);  // the bag is copied, not shared
  copy.SetProperty("Name", "changed");
  const std::vector<std::pair<std::string, std::string>> expected = {
      {"", "x"}, {"name", "b"}, {"OTHER", "v"}, {"Nam", ""}, {"missing", ""}};
  for (const auto& [name, value] : expected) EXPECT_EQ(object.GetProperty(name), value) << name;
  EXPECT_EQ(copy.GetProperty("name"), "changed");
}

TEST(Object, ReportsGoToTheStatusReporterAsStatusXml) {
  RecordingReporter statusReporter, errorHandler;
  Component object;
  EXPECT_EQ(object.Report(Status()), 1);  // no reporter: nothing sent, still 1
  object.Report("Src", "%d items", 5);
  EXPECT_EQ(object.SetErrorHandler(&errorHandler), 0);
  EXPECT_EQ(object.SetStatusReporter(&statusReporter), 0);
  object.Report(nullptr, "%d items", 5);
  object.Report("Src", nullptr);
  object.Report("Long", "%s", std::string(6000, 'm').c_str());
  object.Current().Append(0x10, "Could not open.", "Proxy.Open", "path");
  object.ReportStatus();
  object.ReportStatus();  // not cleared by reporting it
  Status other;
  other.Append(1, "other", "Elsewhere", "");
  EXPECT_EQ(object.Report(other), 1);
  EXPECT_EQ(object.GetStatus().items.size(), 1u);  // Report(status) leaves its own alone
  Component(object).Report("Copy", "shares the reporter");

  EXPECT_TRUE(errorHandler.lines.empty());
  const auto& lines = statusReporter.lines;
  ASSERT_EQ(lines.size(), 7u);
  EXPECT_EQ(lines[1], "");  // a null format sends the empty status
  EXPECT_EQ(lines[3], lines[4]);
  const std::pair<std::size_t, StatusItem> items[] = {
      {0, {0, "5 items", "", ""}},
      {2, {0, std::string(4999, 'm'), "Long", ""}},
      {3, {0x10, "Could not open.", "Proxy.Open", "path"}},
      {5, {1, "other", "Elsewhere", ""}},
      {6, {0, "shares the reporter", "Copy", ""}}};
  for (const auto& [line, item] : items) {
    SCOPED_TRACE(line);
    Status parsed;
    ASSERT_TRUE(parsed.Append(lines[line]));
    rdx::test::ExpectSameItems(parsed.items, {item});
  }
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
