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

Finding Found(const std::string& id, Cost cost) {
  Finding finding;
  finding.id = id;
  finding.cost = cost;
  return finding;
}

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
  "version": 1,
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
  report.general = {Found("log-missing", Cost::CannotForesee)};
  Finding missing = Found("rows-missing", Cost::RowsLost);
  missing.column = "Comment";
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
                    .milliseconds = 12,
                    .findings = {Found("text-cut", Cost::TextCut), missing}},
                   {.table = "Orders",
                    .sourceRows = std::nullopt,
                    .arrivingRows = std::nullopt,
                    .destinationRows = std::nullopt,
                    .unchangedRows = 0,
                    .milliseconds = 0,
                    .findings = {}}};
  report.runEndsIn = "Orders";
  report.verdict = "different";

  EXPECT_EQ(JsonReport(report, "1.0.0"), R"({
  "format": "bw_db_check report",
  "version": 1,
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
      "column": null,
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
      "destination_rows": 19,
      "milliseconds": 12,
      "findings": [
        {
          "id": "rows-missing",
          "cost": "rows-lost",
          "column": "Comment",
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
          "column": null,
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
  Report report;
  report.general = {Found("1", Cost::RunRefused),   Found("2", Cost::RunEnds),      Found("3", Cost::RowsLost),
                    Found("4", Cost::WrongRow),     Found("5", Cost::ValueChanged), Found("6", Cost::TextCut),
                    Found("7", Cost::CannotForesee)};

  const std::string json = JsonReport(report, "1.0.0");
  for (const std::string finding : {R"("id": "1",
      "cost": "run-refused")",
                                    R"("id": "2",
      "cost": "run-ends")",
                                    R"("id": "3",
      "cost": "rows-lost")",
                                    R"("id": "4",
      "cost": "wrong-row")",
                                    R"("id": "5",
      "cost": "value-changed")",
                                    R"("id": "6",
      "cost": "text-cut")",
                                    R"("id": "7",
      "cost": "cannot-foresee")"}) {
    EXPECT_THAT(json, HasSubstr(finding));
  }
}

TEST(JsonReport, FindingOfOneTableMakesTheExitCode) {
  Report report;
  report.tables.emplace_back();
  EXPECT_THAT(JsonReport(report, "1.0.0"), HasSubstr("\"exit_code\": 0\n"));
  report.tables.front().findings = {Found("a", Cost::TextCut)};
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
