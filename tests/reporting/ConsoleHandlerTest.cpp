#include <rdx/foundation/Status.h>
#include <rdx/reporting/ConsoleHandler.h>
#include <rdx/reporting/LogFileHandler.h>

#include "reporting/ReportFormatter.h"
#include "support/IsolatedEnvironment.h"

#include <gtest/gtest.h>

#include <regex>
#include <string>

namespace QUORVAN::Rendix::Global {
namespace {

std::string OneItem(const std::string& source, const std::string& message) {
  GeneralUtilityLib::Status status;
  status.Append(0, message, source, "");
  return status.ToString(nullptr);
}

TEST(ConsoleHandler, ReportPercentSequencesAreInterpretedSafely) {
  const std::vector<std::pair<std::string, std::string>> cases = {  // report text, printed
      {"%d items", "0 items"},
      {"[%5d|%-3s|%05x|%+i]", "[    0|   |00000|+0]"},
      {"%lld %hhu|%*d|%.*f", "0 0|0|0"},  // a star reads zero
      {"100%% sure <%s>", "100% sure <>"},
      {"a%nb%cc", "abc"},  // no write-back, no character
      {"%y and %", "%y and %"},  // unknown or unfinished: printed as they stand
      {std::string("ab\0%d", 5), "ab"},
  };
  for (const auto& [format, printed] : cases) {
    EXPECT_EQ(rdx::reporting::FormatWithoutArguments(format), printed) << format;
  }
  // A hostile width is capped rather than honoured.
  EXPECT_EQ(rdx::reporting::FormatWithoutArguments("%999999999d").size(), 4096u);
}

TEST(ConsoleHandler, PrintsReportTextWhereTheLogFileEchoesVerbatim) {
  rdx::test::IsolatedEnvironment environment;
  const std::string line = OneItem("Src", "50%d done %s");
  const std::string time = R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3})";

  ConsoleHandler console;
  ::testing::internal::CaptureStdout();
  console.Log(line.c_str());
  console.Log(nullptr);
  const std::string consoleText = ::testing::internal::GetCapturedStdout();
  EXPECT_TRUE(std::regex_match(consoleText, std::regex("\n" + time + R"( : \[Src\] 500 done )")))
      << consoleText;

  LogFileHandler file;
  ASSERT_EQ(file.SetLogFile(environment.Root(), "echo.log"), 1);
  ASSERT_EQ(file.Init(), 1);
  ::testing::internal::CaptureStdout();
  file.Log(line.c_str());
  const std::string fileEcho = ::testing::internal::GetCapturedStdout();
  EXPECT_TRUE(std::regex_match(fileEcho, std::regex("\n" + time + R"( : \[Src\] 50%d done %s)")))
      << fileEcho;
}

}  // namespace
}  // namespace QUORVAN::Rendix::Global
