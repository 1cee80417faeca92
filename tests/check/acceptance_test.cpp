#include "check/report/acceptance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "check/report/json_report.h"
#include "support/scratch_directory.h"

namespace check {
namespace {

Finding Found(const FindingKind& kind, std::vector<std::string> columns, std::optional<std::uint64_t> rows) {
  Finding finding(kind);
  finding.columns = std::move(columns);
  finding.rows = rows;
  return finding;
}

class AcceptanceTest : public testing::Test {
 protected:
  AcceptanceTest() {
    report_.identity.source.server = "sql1";
    report_.identity.source.database = "brantwell";
    report_.identity.source.schema = "dbo";
    report_.identity.destination.server = "pg1";
    report_.identity.destination.port = "5432";
    report_.identity.destination.database = "bw";
    report_.identity.destination.schema = "public";
    report_.tables.emplace_back().table = "Clients";
    report_.tables.emplace_back().table = "Orders";
  }

  std::vector<Finding>& Findings() { return report_.tables.front().findings; }

  /// The present report as the earlier one.
  Acceptance Accept() const { return Acceptance(directory_.Write("earlier.json", JsonReport(report_))); }

  std::string Refusal(const std::string& content) const {
    try {
      static_cast<void>(Acceptance(directory_.Write("earlier.json", content)));
    } catch (const std::runtime_error& refusal) {
      const std::string message = refusal.what();
      return message.substr(message.find(": ") + 2);
    }
    return "it is accepted";
  }

  std::string OtherDatabase(const Acceptance& acceptance) const {
    try {
      acceptance.RequireSame(report_.identity);
    } catch (const std::runtime_error& refusal) {
      const std::string message = refusal.what();
      return message.substr(message.find(": ") + 2);
    }
    return "it is the same";
  }

  /// Whether a finding of Clients is accepted when the earlier report had that other one.
  bool IsAccepted(const Finding& earlier, const Finding& now) {
    Findings() = {earlier};
    const Acceptance acceptance = Accept();
    Findings() = {now};
    acceptance.Apply(report_);
    return Findings().front().accepted;
  }

  Report report_;
  support::ScratchDirectory directory_;
};

TEST_F(AcceptanceTest, AcceptsTheSameFindings) {
  report_.general = {Finding(finding::LogMissing)};
  Findings() = {Found(finding::TextCut, {"Caf\xE9", "Comment"}, 3)};
  const Acceptance acceptance = Accept();
  EXPECT_TRUE(report_.HasNewFindings());

  acceptance.RequireSame(report_.identity);
  acceptance.Apply(report_);

  EXPECT_TRUE(report_.general.front().accepted);
  EXPECT_TRUE(Findings().front().accepted);
  EXPECT_FALSE(report_.HasNewFindings());
}

TEST_F(AcceptanceTest, AcceptsNoMoreRows) {
  const auto cut = [](std::optional<std::uint64_t> rows) { return Found(finding::TextCut, {"Comment"}, rows); };
  EXPECT_TRUE(IsAccepted(cut(3), cut(2)));
  EXPECT_TRUE(IsAccepted(cut(18446744073709551615U), cut(18446744073709551615U)));
  EXPECT_FALSE(IsAccepted(cut(3), cut(4)));
  EXPECT_TRUE(IsAccepted(cut(std::nullopt), cut(std::nullopt)));
  EXPECT_FALSE(IsAccepted(cut(std::nullopt), cut(1)));
  EXPECT_FALSE(IsAccepted(cut(1), cut(std::nullopt)));
}

TEST_F(AcceptanceTest, AcceptsTheSameSetOfColumnsOnly) {
  const auto refused = [](std::vector<std::string> columns) {
    return Found(finding::ForeignKey, std::move(columns), 1);
  };
  EXPECT_TRUE(IsAccepted(refused({"A", "B"}), refused({"B", "A"})));
  EXPECT_FALSE(IsAccepted(refused({"A", "B"}), refused({"A"})));
  EXPECT_FALSE(IsAccepted(refused({"A"}), refused({"A", "B"})));
  EXPECT_FALSE(IsAccepted(refused({}), refused({"A"})));
}

TEST_F(AcceptanceTest, AcceptsEachColumnOfWhatIsAboutEach) {
  const auto cut = [](std::vector<std::string> columns, std::uint64_t rows = 3) {
    return Found(finding::TextCut, std::move(columns), rows);
  };
  EXPECT_TRUE(IsAccepted(cut({"A", "B"}), cut({"A"}, 2)));
  EXPECT_FALSE(IsAccepted(cut({"A", "B"}), cut({"C"})));
  EXPECT_FALSE(IsAccepted(cut({"A"}), cut({"A", "B"})));

  Findings() = {cut({"A"}), cut({"B"}), cut({"C"}, 1)};
  const Acceptance acceptance = Accept();
  Findings() = {cut({"B", "A"}), cut({"C"}, 2), cut({"A"})};
  acceptance.Apply(report_);
  EXPECT_TRUE(Findings()[0].accepted);
  EXPECT_FALSE(Findings()[1].accepted);
  EXPECT_FALSE(Findings()[2].accepted);
}

TEST_F(AcceptanceTest, AcceptsTheSameKindInTheSameTableOnly) {
  EXPECT_FALSE(IsAccepted(Found(finding::TextCut, {"A"}, 1), Found(finding::ZeroByte, {"A"}, 1)));
  Findings() = {Found(finding::TextCut, {"A"}, 1)};
  const Acceptance acceptance = Accept();
  report_.tables.back().findings = std::exchange(Findings(), {});
  acceptance.Apply(report_);
  EXPECT_FALSE(report_.tables.back().findings.front().accepted);
}

TEST_F(AcceptanceTest, EachFindingAcceptsOne) {
  const auto refused = [](std::uint64_t rows) { return Found(finding::RowRefused, {}, rows); };
  Findings() = {refused(9), refused(2)};
  const Acceptance acceptance = Accept();
  Findings() = {refused(2), refused(9), refused(1)};

  acceptance.Apply(report_);

  EXPECT_TRUE(Findings()[0].accepted);
  EXPECT_TRUE(Findings()[1].accepted);
  EXPECT_FALSE(Findings()[2].accepted);
}

TEST_F(AcceptanceTest, RefusesReportsOfOtherDatabases) {
  const Acceptance acceptance = Accept();
  EXPECT_EQ(OtherDatabase(acceptance), "it is the same");
  report_.identity.source.login = "another login";
  EXPECT_EQ(OtherDatabase(acceptance), "it is the same");
  report_.identity.destination.database = "other";
  EXPECT_EQ(OtherDatabase(acceptance),
            "its destination is schema 'public' of database 'bw' on server 'pg1', port '5432', and now it is schema "
            "'public' of database 'other' on server 'pg1', port '5432'");
  report_.identity.source.server = "sql2";
  EXPECT_THAT(OtherDatabase(acceptance), testing::HasSubstr("its source is schema 'dbo' of database 'brantwell'"));
}

TEST_F(AcceptanceTest, RefusesPartialReports) {
  report_.onlyTables = {"Clients"};
  EXPECT_EQ(Refusal(JsonReport(report_)), "it is a partial report");
}

TEST_F(AcceptanceTest, RefusesWhatIsNoReport) {
  const std::string none = "it is not a report of this version of bw_db_check";
  const std::string whole = JsonReport(report_);
  for (const std::string& content :
       {std::string(), std::string("{}"), std::string("[1]"), std::string("nonsense"),
        whole.substr(0, whole.size() / 2), std::string(R"({"format": "bw_db_check report", "version": 1})"),
        whole + "more", std::string(R"({"format": "bw_db_check report", "version": 2, "partial": "no"})")}) {
    EXPECT_EQ(Refusal(content), none) << content;
  }
}

TEST_F(AcceptanceTest, SaysThatThereIsNoFile) {
  EXPECT_THAT([&] { Acceptance(directory_ / "missing.json"); },
              testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr("missing.json holds: No such file")));
}

}  // namespace
}  // namespace check
