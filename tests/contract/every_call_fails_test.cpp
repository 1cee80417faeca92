#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "contract/expected_run.h"
#include "contract/run_fixture.h"

namespace {

using odbc_double::Diagnostic;
using odbc_double::Outcome;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr std::size_t kCallsAtLeast = 1000;

/// One run of the program over two rows in every table. Each has a double and a working directory of its own.
class FullRun final : public contract::RunTest {
 public:
  FullRun() { contract::FillEveryTable(); }

  void Run() { contract::RunTest::Run(); }

  const std::string& consoleText() const { return console; }
  const std::string& logText() const { return log; }

 private:
  void TestBody() override {}
};

/// The text with "#" in place of every number of milliseconds.
std::string WithoutTimes(std::string_view text) {
  constexpr std::string_view before = "Migration time is ";
  std::string result;
  for (std::size_t found = text.find(before); found != std::string_view::npos; found = text.find(before)) {
    result += text.substr(0, found + before.size());
    result += '#';
    text.remove_prefix(found + before.size());
    text.remove_prefix(std::min(text.find_first_not_of("0123456789"), text.size()));
  }
  return result += text;
}

/// The log with "@ " in place of every time stamp; a line without one stays as it is.
std::string WithoutStamps(std::string_view log) {
  constexpr std::string_view pattern = "0000-00-00 00:00:00 :: ";
  const auto hasStamp = [&](std::string_view line) {
    return line.size() >= pattern.size() &&
           std::equal(pattern.begin(), pattern.end(), line.begin(), [](char expected, char actual) {
             return expected == '0' ? std::isdigit(static_cast<unsigned char>(actual)) != 0 : expected == actual;
           });
  };
  std::string result;
  while (!log.empty()) {
    if (hasStamp(log)) {
      result += "@ ";
      log.remove_prefix(pattern.size());
    }
    const std::size_t lineEnd = std::min(log.find('\n'), log.size() - 1) + 1;
    result += log.substr(0, lineEnd);
    log.remove_prefix(lineEnd);
  }
  return result;
}

/// The recorded calls but for those for diagnostics.
std::vector<std::string> CallsOfTheRun() {
  std::vector<std::string> calls;
  std::copy_if(odbc_double::Calls().begin(), odbc_double::Calls().end(), std::back_inserter(calls),
               [](const std::string& call) { return !call.starts_with("SQLGetDiagRec("); });
  return calls;
}

/// Where the calls do not begin as they should, one behind the other; empty when all do.
std::string FirstDifference(const std::vector<std::string>& calls, const std::vector<std::string>& beginnings) {
  for (std::size_t i = 0; i < std::max(calls.size(), beginnings.size()); ++i) {
    const std::string_view call = i < calls.size() ? calls[i] : std::string_view("no call");
    const std::string_view beginning = i < beginnings.size() ? beginnings[i] : std::string_view("no call");
    if (!call.starts_with(beginning)) {
      std::ostringstream difference;
      difference << "call " << i + 1 << " is " << call << " instead of " << beginning;
      return difference.str();
    }
  }
  return "";
}

/// The first text that each successful SQLExecute sent; there is no other row with that text.
std::vector<std::string> WrittenRows() {
  std::vector<std::string> rows;
  for (const std::string& call : odbc_double::Calls()) {
    if (call.starts_with("SQLExecute(") && call.find(" -> ") == std::string::npos) {
      const std::size_t text = call.find("\"T");
      rows.push_back(text == std::string::npos ? "nothing" : call.substr(text + 1, 8));
    }
  }
  return rows;
}

/// The same text of each row in the log, in which it stands among others.
std::vector<std::string> LoggedRows(const std::string& log, const std::vector<std::string>& written) {
  std::vector<std::string> rows;
  for (std::size_t row = log.find("insert row("); row != std::string::npos; row = log.find("insert row(", row + 1)) {
    const std::string line = log.substr(row, log.find('\n', row) - row);
    const bool next = rows.size() < written.size() && line.find(written[rows.size()]) != std::string::npos;
    rows.push_back(next ? written[rows.size()] : line);
  }
  return rows;
}

/// The number of calls that a run makes when nothing disturbs it.
std::size_t CountCalls() {
  FullRun run;
  run.Run();
  return odbc_double::CallCount();
}

/// Says how much was tried, for the reader of the test's output.
void Report(const std::string& what, std::size_t count) {
  testing::Test::RecordProperty(what, std::to_string(count));
  std::cout << what << ": " << count << std::endl;
}

/// How a call fails.
struct Failure {
  const char* name;
  SQLRETURN result;
  bool leavesDiagnostics;
};

void PrintTo(const Failure& failure, std::ostream* stream) {
  *stream << failure.name;
}

Outcome OutcomeOf(const Failure& failure, std::size_t call) {
  const auto code = static_cast<SQLINTEGER>(call);
  return {.result = failure.result,
          .diagnostics = failure.leavesDiagnostics
                             ? std::vector<Diagnostic>{{"HY000", code, "fault " + std::to_string(call)}}
                             : std::vector<Diagnostic>{}};
}

std::string DiagnosticsOf(const Failure& failure, std::size_t call) {
  const std::string number = std::to_string(call);
  return failure.leavesDiagnostics ? "SQL Error: State = HY000 Code = " + number + " Message = fault " + number
                                   : "SQL Error: ";
}

/// Runs with the calls from first to last failing and compares everything that is to be seen of the run.
void ExpectOutcome(const Failure& failure, std::size_t first, std::size_t last) {
  FullRun run;
  for (std::size_t call = first; call <= last; ++call) {
    odbc_double::OnCallNumber(call, OutcomeOf(failure, call));
  }
  run.Run();

  const contract::ExpectedRun expected([=](std::size_t call) { return first <= call && call <= last; },
                                       [&](std::size_t call) { return DiagnosticsOf(failure, call); });
  const std::vector<std::string> calls = CallsOfTheRun();
  EXPECT_EQ(FirstDifference(calls, expected.calls()), "");
  ASSERT_LE(first, calls.size());
  EXPECT_NE(calls[first - 1].find(" -> "), std::string::npos) << calls[first - 1] << " should have failed";
  EXPECT_EQ(WithoutTimes(run.consoleText()), expected.console());
  EXPECT_EQ(WithoutTimes(WithoutStamps(run.logText())), expected.log());
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAreArray(expected.LiveHandles()));
  EXPECT_THAT(odbc_double::Violations(), ElementsAreArray(expected.violations()));

  const std::vector<std::string> written = WrittenRows();
  EXPECT_THAT(LoggedRows(run.logText(), written), ElementsAreArray(written));
  odbc_double::Reset();  // The violations have been looked at.
}

class EveryCallFails : public testing::TestWithParam<Failure> {};

TEST_P(EveryCallFails, AloneAndTheRunEndsAsItMust) {
  const std::size_t count = CountCalls();
  ASSERT_GE(count, kCallsAtLeast);
  for (std::size_t call = 1; call <= count && !HasFailure(); ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    ExpectOutcome(GetParam(), call, call);
  }
  Report("faults_injected", count);
}

TEST_P(EveryCallFails, TogetherWithAllBehindItAndTheRunEndsAsItMust) {
  const std::size_t count = CountCalls();
  ASSERT_GE(count, kCallsAtLeast);
  for (std::size_t call = 1; call <= count && !HasFailure(); ++call) {
    SCOPED_TRACE("call " + std::to_string(call) + " and all behind it");
    ExpectOutcome(GetParam(), call, count);
  }
  Report("faults_injected", count);
}

INSTANTIATE_TEST_SUITE_P(Results, EveryCallFails,
                         testing::Values(Failure{"Error", SQL_ERROR, true},
                                         Failure{"InvalidHandle", SQL_INVALID_HANDLE, false},
                                         Failure{"NoData", SQL_NO_DATA, false}),
                         [](const auto& failure) { return failure.param.name; });

TEST(EveryCall, OfAnUndisturbedRunIsAsExpectedAndLeavesNoHandle) {
  FullRun run;
  run.Run();
  const contract::ExpectedRun expected([](std::size_t) { return false; }, [](std::size_t) { return ""; });
  EXPECT_EQ(FirstDifference(CallsOfTheRun(), expected.calls()), "");
  EXPECT_EQ(WithoutTimes(run.consoleText()), expected.console());
  EXPECT_EQ(WithoutTimes(WithoutStamps(run.logText())), expected.log());
  EXPECT_THAT(odbc_double::LiveHandles(), IsEmpty());
  EXPECT_EQ(WrittenRows().size(), 44U);
}

class EveryCallSucceedsWithInformation : public testing::Test {
 protected:
  static void ExpectUndisturbed(const FullRun& run) {
    const contract::ExpectedRun expected([](std::size_t) { return false; }, [](std::size_t) { return ""; });
    EXPECT_EQ(FirstDifference(CallsOfTheRun(), expected.calls()), "");
    EXPECT_EQ(WithoutTimes(run.consoleText()), expected.console());
    EXPECT_EQ(WithoutTimes(WithoutStamps(run.logText())), expected.log());
    EXPECT_THAT(odbc_double::LiveHandles(), IsEmpty());
  }
};

TEST_F(EveryCallSucceedsWithInformation, AloneAndTheRunGoesOn) {
  const std::size_t count = CountCalls();
  ASSERT_GE(count, kCallsAtLeast);
  for (std::size_t call = 1; call <= count && !HasFailure(); ++call) {
    SCOPED_TRACE("call " + std::to_string(call));
    FullRun run;
    odbc_double::OnCallNumber(call,
                              {.result = SQL_SUCCESS_WITH_INFO, .diagnostics = {{"01000", 1, "nothing that matters"}}});
    run.Run();
    ExpectUndisturbed(run);
  }
  Report("warnings_injected", count);
}

TEST_F(EveryCallSucceedsWithInformation, TogetherAndTheRunGoesOn) {
  FullRun run;
  odbc_double::SucceedWithInfo();
  run.Run();
  ExpectUndisturbed(run);
}

}  // namespace
