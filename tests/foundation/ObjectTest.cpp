#include <rdx/foundation/Object.h>

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace QUORVAN::Rendix::Global {
namespace {

using GeneralUtilityLib::Status;

// Records the lines an object sends; the rest of the contract is not used by Object.
class RecordingReporter : public IReporter {
 public:
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

// Exposes the protected status for tests, as derived classes use it.
struct Component : Object {
  Status& Current() { return status_; }
};

TEST(Object, PropertyBagKeepsFirstSpellingAndIgnoresCase) {
  Object object;
  struct Step {
    const char* name;
    std::string value;
    int result;
  };
  const std::vector<Step> steps = {
      {"", "", 0},          // both empty: refused
      {"", "x", 1},         // empty name with a value: stored
      {"Name", "a", 1},
      {"NAME", "b", 1},     // same pair, first spelling kept
      {"other", std::string("v\0w", 3), 1},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(step.name);
    EXPECT_EQ(object.SetProperty(step.name, step.value), step.result);
  }
  EXPECT_EQ(object.GetProperty(""), "x");
  EXPECT_EQ(object.GetProperty("name"), "b");
  EXPECT_EQ(object.GetProperty("OTHER"), "v");  // cut at the zero byte
  EXPECT_EQ(object.GetProperty("Nam"), "");
  EXPECT_EQ(object.GetProperty("missing"), "");

  Object copy(object);
  copy.SetProperty("Name", "changed");
  EXPECT_EQ(object.GetProperty("Name"), "b");  // the bag is copied, not shared
  EXPECT_EQ(copy.GetProperty("name"), "changed");
}

TEST(Object, ReportsGoToTheStatusReporterOnly) {
  RecordingReporter statusReporter, errorHandler;
  Component object;
  EXPECT_EQ(object.Report(Status()), 1);  // no reporter: nothing to do, still 1
  object.Report("Src", "%d items", 5);
  object.ReportStatus();
  EXPECT_EQ(object.SetErrorHandler(&errorHandler), 0);
  EXPECT_EQ(object.SetStatusReporter(&statusReporter), 0);

  object.Report(nullptr, "%d items", 5);
  object.Report("Src", nullptr);
  object.Current().Append(0x10, "Could not open.", "Proxy.Open", "path");
  object.ReportStatus();
  object.ReportStatus();  // the status is not cleared by reporting it
  Status other;
  other.Append(1, "other", "Elsewhere", "");
  EXPECT_EQ(object.Report(other), 1);
  EXPECT_EQ(object.GetStatus().items.size(), 1u);  // Report(status) leaves its own alone

  EXPECT_TRUE(errorHandler.lines.empty());
  const auto& lines = statusReporter.lines;
  ASSERT_EQ(lines.size(), 5u);
  EXPECT_EQ(lines[0].rfind("<Status>", 0), 0u);
  EXPECT_TRUE(lines[0].ends_with("\n</Status>"));
  EXPECT_NE(lines[0].find("<ID>000000</ID>"), std::string::npos);
  EXPECT_EQ(lines[1], "");  // a null format sends the empty status
  EXPECT_EQ(lines[2], lines[3]);

  struct Expected {
    std::size_t line;
    std::int32_t id;
    const char* source;
    const char* message;
    const char* details;
  };
  for (const Expected& e : {Expected{0, 0, "", "5 items", ""},
                            Expected{2, 0x10, "Proxy.Open", "Could not open.", "path"},
                            Expected{4, 1, "Elsewhere", "other", ""}}) {
    SCOPED_TRACE(e.line);
    Status parsed;
    ASSERT_TRUE(parsed.Append(lines[e.line]));
    ASSERT_EQ(parsed.items.size(), 1u);
    EXPECT_EQ(parsed.items[0].id, e.id);
    EXPECT_EQ(parsed.items[0].source, e.source);
    EXPECT_EQ(parsed.items[0].message, e.message);
    EXPECT_EQ(parsed.items[0].details, e.details);
  }

  // A copy shares the borrowed reporter.
  Component copy(object);
  copy.Report("Copy", "x");
  EXPECT_EQ(statusReporter.lines.size(), 6u);
}

TEST(Object, LongReportMessagesAreCutToTheBuffer) {
  RecordingReporter reporter;
  Object object;
  object.SetStatusReporter(&reporter);
  const std::string longText(6000, 'm');
  object.Report("Src", "%s", longText.c_str());
  ASSERT_EQ(reporter.lines.size(), 1u);
  Status parsed;
  ASSERT_TRUE(parsed.Append(reporter.lines[0]));
  ASSERT_EQ(parsed.items.size(), 1u);
  EXPECT_EQ(parsed.items[0].message, std::string(4999, 'm'));
}

TEST(Object, StaticReportForms) {
  Status status;
  EXPECT_EQ(Object::GetAsReportText(status), "");
  EXPECT_EQ(Object::GetAsReportXml(status), "");
  status.Append(0xFB17, "a<b", "QUORVAN.Rendix.Global::Reporter", "d");
  status.Append(0, "Started.", "Manager", "");

  const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})";
  EXPECT_TRUE(std::regex_match(
      Object::GetAsReportText(status),
      std::regex("\n" + time + R"( : \[Global::Reporter : 00FB17\] Error: a<b)" + "\nd" +
                 "\n" + time + R"( : \[Manager\] Started\.)")))
      << Object::GetAsReportText(status);
  // The older layout: raw source, nothing escaped, Time on the Item line.
  EXPECT_TRUE(std::regex_match(
      Object::GetAsReportXml(status),
      std::regex("\n\t<Item><Time>" + time + "</Time>\n\t\t<ID>00FB17</ID>\n\t\t"
                 "<Source>QUORVAN\\.Rendix\\.Global::Reporter</Source>\n\t\t<Message>a<b</Message>"
                 "\n\t\t<Details>d</Details></Item>"
                 "\n\t<Item><Time>" + time + "</Time>\n\t\t<ID>000000</ID>\n\t\t"
                 "<Source>Manager</Source>\n\t\t<Message>Started\\.</Message>"
                 "\n\t\t<Details></Details></Item>")))
      << Object::GetAsReportXml(status);
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
