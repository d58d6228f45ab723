#include <rdx/foundation/Object.h>

#include "foundation/StatusItemsMatch.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
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
  int Log(const char* line) override {
    lines.emplace_back(line);
    return 1;
  }
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
  EXPECT_TRUE(statusReporter.lines.empty());
  Status other;
  other.Append(1, "other", "Elsewhere", "");
  const StatusItem own{0x10, "Could not open.", "Proxy.Open", "path"};
  // Rows run in order on the one object; each sends one line, "" when no item is given.
  const struct Row {
    const char* name;
    std::function<void()> report;
    std::optional<StatusItem> item;
  } rows[] = {
      {"formatted", [&] { object.Report(nullptr, "%d items", 5); },
       StatusItem{0, "5 items", "", ""}},
      {"null format", [&] { object.Report("Src", nullptr); }, std::nullopt},
      {"message cut", [&] { object.Report("Long", "%s", std::string(6000, 'm').c_str()); },
       StatusItem{0, std::string(4999, 'm'), "Long", ""}},
      {"own status",
       [&] {
         object.Current().Append(own.id, own.message, own.source, own.details);
         object.ReportStatus();
       },
       own},
      {"own status again: not cleared", [&] { object.ReportStatus(); }, own},
      {"another status", [&] { EXPECT_EQ(object.Report(other), 1); }, other.items[0]},
      {"through a copy", [&] { Component(object).Report("Copy", "shares the reporter"); },
       StatusItem{0, "shares the reporter", "Copy", ""}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    statusReporter.lines.clear();
    row.report();
    ASSERT_EQ(statusReporter.lines.size(), 1u);
    if (!row.item) {
      EXPECT_EQ(statusReporter.lines[0], "");
      continue;
    }
    Status parsed;
    ASSERT_TRUE(parsed.Append(statusReporter.lines[0]));
    rdx::test::ExpectSameItems(parsed.items, {*row.item});
  }
  EXPECT_EQ(object.GetStatus().items.size(), 1u);  // Report(status) left its own alone
  EXPECT_TRUE(errorHandler.lines.empty());
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
