#include "lab/tds_server/functions.h"

#include <gmock/gmock.h>

#include "lab/tds_server/batch_reader.h"
#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/store.h"
#include "support/scratch_directory.h"

namespace tds {
namespace {

using testing::ElementsAre;

class FunctionsTest : public testing::Test {
 protected:
  FunctionsTest() { store_.DefineFunctions(collations_); }

  /// The values of the first row, as texts.
  std::vector<std::string> Row(const std::string& sql) {
    Statement statement = store_.Prepare(PassCollations(sql));
    std::vector<std::string> row;
    if (statement.Step()) {
      for (int i = 0; i < statement.ColumnCount(); ++i) {
        row.emplace_back(statement.Kind(i) == Statement::ValueKind::Null ? "NULL" : statement.Text(i));
      }
    }
    return row;
  }

  std::string Value(const std::string& expression) { return Row("SELECT " + expression).at(0); }

  std::string ErrorOf(const std::string& expression) {
    try {
      Row("SELECT " + expression);
    } catch (const SqlError& error) {
      return error.what();
    }
    return "";
  }

  support::ScratchDirectory directory_;
  Options options_;
  Collations collations_{options_};
  Store store_{directory_ / "store.sqlite", [] { return false; }};
};

TEST_F(FunctionsTest, NcharIsACharacterOfUtf16) {
  EXPECT_EQ(Value("NCHAR(65)"), "A");
  EXPECT_EQ(Value("NCHAR(233)"), "\u00e9");
  EXPECT_EQ(Value("NCHAR(8364)"), "\u20ac");
  EXPECT_EQ(Value("NCHAR(0)"), "NULL");
  EXPECT_EQ(Value("NCHAR(65536)"), "NULL");
}

TEST_F(FunctionsTest, ConcatJoinsSurrogatesAndLeavesNullOut) {
  EXPECT_EQ(Value("CONCAT('a', NULL, NCHAR(8364), 1)"), "a\u20ac1");
  EXPECT_EQ(Value("CONCAT(NCHAR(55357), NCHAR(56898))"), "\U0001F642");
}

TEST_F(FunctionsTest, ConvertsToACodePage) {
  // The server's, which has no Cyrillic.
  EXPECT_EQ(Value("CONVERT(varchar(9), CONCAT(NCHAR(252), NCHAR(1078)))"), "\u00fc?");
  EXPECT_EQ(Value("CONVERT(varchar(9), CONCAT(NCHAR(252), NCHAR(1078)) COLLATE Cyrillic_General_CI_AS)"), "?\u0436");
  EXPECT_EQ(Value("CONVERT(varchar(3), CONCAT(NCHAR(26085), NCHAR(26412)) COLLATE Japanese_CI_AS)"), "\u65e5");
  EXPECT_EQ(Value("CONVERT(varchar(3), NULL)"), "NULL");
}

TEST_F(FunctionsTest, AValueKnowsTheCodePageThatItWasConvertedTo) {
  Statement statement =
      store_.Prepare(PassCollations("SELECT CONVERT(varchar(9), NCHAR(1078) COLLATE Cyrillic_General_CI_AS), "
                                    "CONVERT(varchar(9), NCHAR(1078)), CONVERT(nvarchar(9), 'a')"));
  ASSERT_TRUE(statement.Step());
  EXPECT_EQ(statement.CodePageOfValue(0)->number, 1251);
  EXPECT_EQ(statement.CodePageOfValue(1), nullptr);
  EXPECT_EQ(statement.CodePageOfValue(2), nullptr);
}

TEST_F(FunctionsTest, ConvertsToUtf16AndItsBytes) {
  using namespace std::string_literals;
  EXPECT_EQ(Value("CONVERT(nvarchar(2), 'abc')"), "ab");
  EXPECT_EQ(Value("CONVERT(varbinary(8), CONVERT(nvarchar(4), '\u0436\U0001F642'))"), "\x36\x04\x3D\xD8\x42\xDE"s);
  EXPECT_EQ(Value("CONVERT(varbinary(2), CONVERT(nvarchar(4), 'ab'))"), "a\0"s);
  EXPECT_EQ(ErrorOf("CONVERT(varbinary(2), 'ab')"), "CONVERT to varbinary is supported for nvarchar only");
}

TEST_F(FunctionsTest, DataLengthCountsBytesOfTheEncoding) {
  EXPECT_EQ(Value("DATALENGTH('\u00fc\u20ac')"), "2");
  EXPECT_EQ(Value("DATALENGTH(CONVERT(nvarchar(9), 'abc'))"), "6");
  EXPECT_EQ(Value("DATALENGTH(CONVERT(varchar(9), NCHAR(1078) COLLATE Latin1_General_100_CI_AS_SC_UTF8))"), "2");
  EXPECT_EQ(Value("DATALENGTH(NULL)"), "NULL");
  EXPECT_EQ(ErrorOf("DATALENGTH(1)"), "DATALENGTH is supported for texts only");
}

TEST_F(FunctionsTest, PatIndexFindsPatterns) {
  const auto position = [this](const std::string& pattern, const std::string& text) {
    return Value("PATINDEX('" + pattern + "', '" + text + "' COLLATE Latin1_General_BIN2)");
  };
  EXPECT_EQ(position("%b%", "abc"), "2");
  EXPECT_EQ(position("b%", "abc"), "0");
  EXPECT_EQ(position("%c", "abc"), "3");
  EXPECT_EQ(position("a_c", "abc"), "1");
  EXPECT_EQ(position("%B%", "abc"), "0");
  EXPECT_EQ(position("%?%", "ab?"), "3");
  EXPECT_EQ(position("%[b-c]%", "abc"), "2");
  EXPECT_EQ(position("%[xc]%", "abc"), "3");
  EXPECT_EQ(position("%[^a-b]%", "abc"), "3");
  EXPECT_EQ(position("%[^a-c]%", "abc"), "0");
  EXPECT_EQ(position("%[\u20ac\u0436-\u0438]%", "ab\u0437"), "3");
  EXPECT_EQ(position("%\U0001F642%", "\U0001F643\U0001F642"), "3");
  EXPECT_EQ(Value("PATINDEX('%a%', NULL COLLATE Latin1_General_BIN2)"), "NULL");
  EXPECT_EQ(ErrorOf("PATINDEX('%a%', 'a')"), "PATINDEX is supported with the collation Latin1_General_BIN2 only");
}

TEST_F(FunctionsTest, SystemViewNamesCollationsOfColumns) {
  options_.collations = {{.table = "Texts", .column = "b", .codePage = &FindCodePage(1253)}};
  store_.Prepare("CREATE TABLE dbo.[Texts] ([A] varchar(4) NOT NULL, [B] char(1), [C] int, [D] float)").Step();
  Statement columns = store_.Prepare(
      "SELECT c.name, c.system_type_id, c.collation_name, COLLATIONPROPERTY(c.collation_name, 'CodePage')"
      " FROM sys.columns c WHERE c.object_id = OBJECT_ID('dbo.[texts]')");
  std::vector<std::string> lines;
  while (columns.Step()) {
    lines.push_back(std::string(columns.Text(0)) + " " + std::string(columns.Text(1)) + " " +
                    std::string(columns.Text(2)) + " " + std::string(columns.Text(3)));
  }
  EXPECT_THAT(lines,
              ElementsAre("A 167 SQL_Latin1_General_CP1_CI_AS 1252", "B 175 Greek_CI_AS 1253", "C 56  ", "D 62  "));
  EXPECT_EQ(Value("OBJECT_ID('dbo.[Nope]')"), "NULL");
}

}  // namespace
}  // namespace tds
