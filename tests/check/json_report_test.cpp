#include "check/report/json_report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>
#include <string>

#include "support/scratch_directory.h"

namespace check {
namespace {

using testing::HasSubstr;

/// How the report writes a text.
std::string Written(const std::string& text) {
  Report report;
  report.verdict = text;
  const std::string json = JsonReport(report, "1.0.0");
  const std::string before = "\"verdict\": ";
  const std::string after = ",\n  \"exit_code\"";
  const std::size_t begin = json.find(before) + before.size();
  return json.substr(begin, json.find(after) - begin);
}

TEST(JsonReport, WithoutAnything) {
  Report report;
  report.verdict = "The run ends by itself.";

  EXPECT_EQ(JsonReport(report, "1.2.3"), R"({
  "format": "bw_db_check report",
  "version": 2,
  "program_version": "1.2.3",
  "command": "before",
  "facts": [],
  "general": [],
  "tables": [],
  "findings": 0,
  "run_ends_in": null,
  "verdict": "The run ends by itself.",
  "exit_code": 0
}
)");
}

TEST(JsonReport, WithEverything) {
  Report report;
  report.command = Command::After;
  report.facts = {"Source: Microsoft SQL Server", "Destination: PostgreSQL"};
  report.general = {Finding(finding::LogMissing)};
  Finding missing(finding::RowsMissing);
  missing.columns = {"Comment", "ClientCode"};
  missing.rows = 18446744073709551615U;
  missing.keys = {"ClientCode = A", "ClientCode = B"};
  missing.arrives = {"'a' arrives as 'b'"};
  missing.text = "They are not there.";
  missing.query = Query{Side::Destination, "SELECT 1\nFROM \"Clients\";"};
  report.tables = {{.table = "Clients",
                    .sourceRows = 24,
                    .arrivingRows = 20,
                    .destinationRows = 19,
                    .unchangedRows = std::nullopt,
                    .refusedRows = std::nullopt,
                    .milliseconds = 12,
                    .findings = {Finding(finding::TextCut), missing}},
                   {.table = "Orders",
                    .sourceRows = std::nullopt,
                    .arrivingRows = std::nullopt,
                    .destinationRows = std::nullopt,
                    .unchangedRows = 0,
                    .refusedRows = 7,
                    .milliseconds = 0,
                    .findings = {}}};
  report.runEndsIn = "Orders";
  report.verdict = "different";

  EXPECT_EQ(JsonReport(report, "1.0.0"), R"({
  "format": "bw_db_check report",
  "version": 2,
  "program_version": "1.0.0",
  "command": "after",
  "facts": [
    "Source: Microsoft SQL Server",
    "Destination: PostgreSQL"
  ],
  "general": [
    {
      "id": "log-missing",
      "cost": "cannot-foresee",
      "columns": [],
      "rows": null,
      "keys": [],
      "arrives": [],
      "text": "",
      "query": null
    }
  ],
  "tables": [
    {
      "table": "Clients",
      "source_rows": 24,
      "arriving_rows": 20,
      "unchanged_rows": null,
      "refused_rows": null,
      "destination_rows": 19,
      "milliseconds": 12,
      "findings": [
        {
          "id": "rows-missing",
          "cost": "rows-lost",
          "columns": [
            "Comment",
            "ClientCode"
          ],
          "rows": 18446744073709551615,
          "keys": [
            "ClientCode = A",
            "ClientCode = B"
          ],
          "arrives": [
            "'a' arrives as 'b'"
          ],
          "text": "They are not there.",
          "query": {
            "side": "destination",
            "text": "SELECT 1\nFROM \"Clients\";"
          }
        },
        {
          "id": "text-cut",
          "cost": "text-cut",
          "columns": [],
          "rows": null,
          "keys": [],
          "arrives": [],
          "text": "",
          "query": null
        }
      ]
    },
    {
      "table": "Orders",
      "source_rows": null,
      "arriving_rows": null,
      "unchanged_rows": 0,
      "refused_rows": 7,
      "destination_rows": null,
      "milliseconds": 0,
      "findings": []
    }
  ],
  "findings": 3,
  "run_ends_in": "Orders",
  "verdict": "different",
  "exit_code": 1
}
)");
}

TEST(JsonReport, NamesEveryCost) {
  EXPECT_EQ(NameOf(Cost::RunRefused), "run-refused");
  EXPECT_EQ(NameOf(Cost::RunEnds), "run-ends");
  EXPECT_EQ(NameOf(Cost::RowsLost), "rows-lost");
  EXPECT_EQ(NameOf(Cost::WrongRow), "wrong-row");
  EXPECT_EQ(NameOf(Cost::ValueChanged), "value-changed");
  EXPECT_EQ(NameOf(Cost::TextCut), "text-cut");
  EXPECT_EQ(NameOf(Cost::CannotForesee), "cannot-foresee");
}

TEST(JsonReport, WritesTheCostOfTheCase) {
  Report report;
  report.general = {Finding(finding::MissingColumn)};
  report.general.front().cost = Cost::ValueChanged;
  EXPECT_THAT(JsonReport(report, "1.0.0"), HasSubstr("\"cost\": \"value-changed\""));
}

TEST(JsonReport, FindingOfOneTableMakesTheExitCode) {
  Report report;
  report.tables.emplace_back();
  EXPECT_THAT(JsonReport(report, "1.0.0"), HasSubstr("\"exit_code\": 0\n"));
  report.tables.front().findings = {Finding(finding::TextCut)};
  EXPECT_THAT(JsonReport(report, "1.0.0"), HasSubstr("\"exit_code\": 1\n"));
}

TEST(JsonReport, EscapesWhatJsonWantsEscaped) {
  EXPECT_EQ(Written(R"(a "quoted" back\slash /)"), R"("a \"quoted\" back\\slash /")");
  EXPECT_EQ(Written(std::string("\0\x01\b\t\n\f\r\x1F\x7F", 9)), R"("\u0000\u0001\u0008\u0009\n\u000c\u000d\u001f)"
                                                                 "\x7F\"");
}

TEST(JsonReport, KeepsUtf8) {
  EXPECT_EQ(Written("\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\x88"), "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\x88\"");
}

TEST(JsonReport, WritesBytesThatAreNoUtf8AsTheirNumbers) {
  EXPECT_EQ(Written("\xEF\xE0z\xFF"), R"("\u00ef\u00e0z\u00ff")");
  EXPECT_EQ(Written("caf\xC3"), R"("caf\u00c3")");
}

class JsonFileTest : public testing::Test {
 protected:
  std::string Failure(const std::filesystem::path& path) {
    try {
      JsonFile(path).Write("new");
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "none";
  }

  std::size_t Files() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory_.path()), {}));
  }

  support::ScratchDirectory directory_;
};

TEST_F(JsonFileTest, IsNotThereBeforeItIsWritten) {
  const JsonFile file(directory_ / "report.json");
  EXPECT_EQ(Files(), 0U);
  file.Write("new");
  EXPECT_EQ(support::ReadFile(directory_ / "report.json"), "new");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(JsonFileTest, ReplacesAnEarlierOneOnlyWhenItIsWritten) {
  const std::string path = directory_.Write("report.json", "an earlier, longer report");
  const JsonFile file(path);
  EXPECT_EQ(support::ReadFile(path), "an earlier, longer report");
  file.Write("new");
  EXPECT_EQ(support::ReadFile(path), "new");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(JsonFileTest, FollowsALink) {
  const std::string path = directory_.Write("report.json", "old");
  std::filesystem::create_symlink("report.json", directory_ / "link.json");
  JsonFile(directory_ / "link.json").Write("new");
  EXPECT_EQ(support::ReadFile(path), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "link.json"));
}

TEST_F(JsonFileTest, NeedsItsDirectory) {
  const std::string path = directory_ / "missing" / "report.json";
  EXPECT_EQ(Failure(path), "cannot write " + path + ": No such file or directory");
}

TEST_F(JsonFileTest, LeavesAloneWhatIsNoRegularFile) {
  const std::string directory = directory_ / "directory";
  std::filesystem::create_directory(directory);
  EXPECT_EQ(Failure(directory), "cannot write " + directory + ": it is no regular file");
  const std::string pipe = directory_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(Failure(pipe), "cannot write " + pipe + ": it is no regular file");
  EXPECT_EQ(Files(), 2U);
}

TEST_F(JsonFileTest, SaysWhenItCannotBeReplaced) {
  const std::string path = directory_ / "report.json";
  const JsonFile file(path);
  std::filesystem::create_directories(directory_ / "report.json" / "content");
  EXPECT_THROW(file.Write("new"), std::runtime_error);
  EXPECT_EQ(Files(), 1U);
}

}  // namespace
}  // namespace check
