#include <algorithm>
#include <limits>
#include <string>
#include <vector>

#include "contract/run_fixture.h"

namespace {

using odbc_double::Diagnostic;
using testing::EndsWith;

/// What the log shows after a run that ends at a login which leaves these records.
class ExtremeDiagnostics : public contract::RunTest {
 protected:
  std::string LogAfter(std::vector<Diagnostic> records) {
    odbc_double::OnCall("SQLConnect", 1, {.result = SQL_ERROR, .diagnostics = std::move(records)});
    Run();
    return log;
  }
};

TEST_F(ExtremeDiagnostics, AHundredRecordsAreAllShown) {
  std::vector<Diagnostic> records;
  std::string text = ":: SQL Error: ";
  for (int record = 1; record <= 100; ++record) {
    const std::string number = std::to_string(record);
    records.push_back({"01000", record, "message " + number});
    text += "State = 01000 Code = ";
    text += number;
    text += " Message = message ";
    text += number;
  }
  EXPECT_THAT(LogAfter(records), EndsWith(text));
}

TEST_F(ExtremeDiagnostics, AHundredLongMessagesAreEachCutTo511Bytes) {
  std::vector<Diagnostic> records;
  std::string text = ":: SQL Error: ";
  for (int record = 1; record <= 100; ++record) {
    const auto letter = static_cast<char>('a' + record % 26);
    const auto length = 500 + static_cast<std::size_t>(record);
    records.push_back({"HY000", record, std::string(length, letter)});
    text += "State = HY000 Code = ";
    text += std::to_string(record);
    text += " Message = ";
    text.append(std::min<std::size_t>(length, 511), letter);
  }
  EXPECT_THAT(LogAfter(records), EndsWith(text));
}

TEST_F(ExtremeDiagnostics, AMessageThatIsLongerThanItsLengthCanTellIsCutTo511Bytes) {
  EXPECT_THAT(LogAfter({{"HY000", 1, std::string(100'000, 'x')}, {"HY000", 2, "y"}}),
              EndsWith(":: SQL Error: State = HY000 Code = 1 Message = " + std::string(511, 'x') +
                       "State = HY000 Code = 2 Message = y"));
}

TEST_F(ExtremeDiagnostics, TheSmallestAndTheLargestCodeAreShown) {
  EXPECT_THAT(LogAfter({{"HY000", std::numeric_limits<SQLINTEGER>::min(), "low"},
                        {"HY000", -1, "below"},
                        {"HY000", 0, "none"},
                        {"HY000", std::numeric_limits<SQLINTEGER>::max(), "high"}}),
              EndsWith(":: SQL Error: State = HY000 Code = -2147483648 Message = lowState = HY000 Code = -1 Message = "
                       "belowState = HY000 Code = 0 Message = noneState = HY000 Code = 2147483647 Message = high"));
}

TEST_F(ExtremeDiagnostics, LineEndsInAMessageArriveAsTheyAre) {
  EXPECT_THAT(LogAfter({{"23505", 1, "ERROR: duplicate key\nDETAIL: Key (a)=(1)\r\n\texists.\n"}, {"HY000", 2, ""}}),
              EndsWith(":: SQL Error: State = 23505 Code = 1 Message = ERROR: duplicate key\nDETAIL: Key (a)=(1)\r\n"
                       "\texists.\nState = HY000 Code = 2 Message = "));
}

TEST_F(ExtremeDiagnostics, LettersBeyondAsciiAndPercentSignsArriveAsTheyAre) {
  EXPECT_THAT(LogAfter({{"HY000", 1, "\xCF\xEE\x80 \x1B[0m %s %n 100%"}}),
              EndsWith(":: SQL Error: State = HY000 Code = 1 Message = \xCF\xEE\x80 \x1B[0m %s %n 100%"));
}

}  // namespace
