#include "check/characters/source_texts.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <utility>

#include "check/characters/unicode.h"
#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "odbc/statement.h"

namespace check::characters {

namespace {

// Of one query, below the number of SELECTs that servers combine.
constexpr std::size_t kCharactersOfQuery = 250;

// CONCAT takes 254 arguments, and a range is three of them.
constexpr std::size_t kRangesOfPattern = 80;

// Patterns compare code units with this collation.
const std::string kBinary = "Latin1_General_BIN2";

std::string NameOf(const db::ColumnDescription& column) {
  return QuotedName(Side::Source, column.name);
}

std::string PathOf(const odbc::DBConnection& source, const db::TableDescription& table) {
  return source.schema() + QuotedName(Side::Source, table.name);
}

/// A character takes at least a byte of the field, and at most two units of UTF-16.
std::size_t Utf16Units(const db::ColumnDescription& column) {
  return 2 * (column.size - 1);
}

std::string Utf16Text(const db::ColumnDescription& column) {
  return "CONVERT(nvarchar(" + std::to_string(Utf16Units(column)) + "), " + NameOf(column) + ")";
}

std::string Unit(char32_t unit) {
  return "NCHAR(" + std::to_string(static_cast<std::uint32_t>(unit)) + ")";
}

/// The UTF-16 units of a character; the second one is 0 where there is only one.
std::pair<char32_t, char32_t> UnitsOf(char32_t character) {
  return character < 0x10000
             ? std::pair{character, U'\0'}
             : std::pair<char32_t, char32_t>{0xD7C0U + (character >> 10U), 0xDC00U + (character & 0x3FFU)};
}

/// Characters that follow one another.
using Range = std::pair<char32_t, char32_t>;

std::vector<Range> RangesOf(const std::set<char32_t>& characters) {
  std::vector<Range> ranges;
  for (const char32_t character : characters) {
    if (!ranges.empty() && ranges.back().second + 1 == character) {
      ranges.back().second = character;
    } else {
      ranges.emplace_back(character, character);
    }
  }
  return ranges;
}

std::string Matches(const db::ColumnDescription& column, const std::string& pattern) {
  return "PATINDEX(CONCAT('%', " + pattern + ", '%'), " + Utf16Text(column) + " COLLATE " + kBinary + ") > 0";
}

std::string MatchesRanges(const db::ColumnDescription& column, const std::vector<Range>& ranges) {
  std::string set = "'[', ";
  for (const auto& [first, last] : ranges) {
    set.append(Unit(first)).append(", ");
    if (first != last) {
      set.append("'-', ").append(Unit(last)).append(", ");
    }
  }
  return Matches(column, set.append("']'"));
}

std::string HoldsBeyondAscii(const db::ColumnDescription& column) {
  return MatchesRanges(column, {{0x80, 0xFFFF}});
}

/// The value of a character in a text of the collation, from its two units.
std::string CharacterOf(const std::string& units, std::string_view collation) {
  return collation.empty() ? "CONVERT(nvarchar(2), " + units + ")"
                           : "CONVERT(varchar(8), " + units + " COLLATE " + std::string(collation) + ")";
}

/// A collation's name is no identifier that could be quoted.
bool IsName(std::string_view collation) {
  return !collation.empty() && std::ranges::all_of(collation, [](char each) {
    return (each >= 'A' && each <= 'Z') || (each >= 'a' && each <= 'z') || (each >= '0' && each <= '9') || each == '_';
  });
}

}  // namespace

std::vector<TextColumn> TextColumnsOf(const db::TableDescription& table) {
  std::vector<TextColumn> columns;
  for (const db::ParameterDescription& parameter : table.parameters) {
    const std::size_t position = rules::ColumnPosition(table, parameter.column);
    if (table.columns[position].kind == db::ValueKind::Text && parameter.cType == SQL_C_CHAR &&
        parameter.direction == SQL_PARAM_INPUT &&
        rules::RuleOf(rules::RulesOf(table.name), parameter.column).reading == rules::Reading::Plain) {
      columns.push_back({.position = position});
    }
  }
  return columns;
}

std::vector<TextColumn> ReadTextColumns(const odbc::DBConnection& source, const db::TableDescription& table) {
  // 35, 167 and 175 are text, varchar and char. Of the types in UTF-16 the collation says nothing about the bytes.
  const std::vector<TextRow> rows =
      QueryRows(source,
                "SELECT c.name, c.collation_name, CAST(COLLATIONPROPERTY(c.collation_name, 'CodePage') AS int) FROM "
                "sys.columns c WHERE c.object_id = OBJECT_ID(" +
                    Literal(PathOf(source, table)) + ") AND c.system_type_id IN (35, 167, 175);");
  std::vector<TextColumn> columns = TextColumnsOf(table);
  for (TextColumn& column : columns) {
    const auto row = std::ranges::find_if(
        rows, [&](const TextRow& each) { return each.at(0) == table.columns[column.position].name; });
    if (row != rows.end() && IsName(Text(*row, 1))) {
      column.collation = *row->at(1);
      column.codePage = static_cast<int>(Number(*row, 2));
    }
  }
  return columns;
}

CharacterBytes CharactersOfCodePage(const odbc::DBConnection& source, std::string_view collation) {
  // A character that the code page lacks becomes another one in a varchar. What is left out are the Chinese, Japanese
  // and Korean characters, for which one byte is not enough.
  const std::string character = CharacterOf("NCHAR(n.n)", collation);
  std::string digits = "SELECT 0";
  for (int digit = 1; digit < 16; ++digit) {
    digits.append(" UNION ALL SELECT ").append(std::to_string(digit));
  }
  const std::string sql = "WITH d(v) AS (" + digits +
                          "), n(n) AS (SELECT d.v + 16 * e.v + 256 * f.v + 4096 * g.v FROM d CROSS JOIN d e CROSS JOIN "
                          "d f CROSS JOIN d g) SELECT n.n, " +
                          character + " FROM n WHERE (n.n BETWEEN 1 AND 11903 OR n.n >= 57344) AND UNICODE(" +
                          character + ") = n.n;";
  CharacterBytes characters;
  for (const TextRow& row : QueryRows(source, sql)) {
    characters.emplace(static_cast<char32_t>(Number(row, 0)), Text(row, 1));
  }
  return characters;
}

CharacterBytes BytesOf(const odbc::DBConnection& source, const std::set<char32_t>& characters,
                       std::string_view collation) {
  const std::string select =
      ") SELECT c.h, c.l, " + CharacterOf("CONCAT(NCHAR(c.h), NCHAR(NULLIF(c.l, 0)))", collation) + " FROM c;";
  CharacterBytes bytes;
  for (auto next = characters.begin(); next != characters.end();) {
    std::string list;
    for (std::size_t i = 0; i < kCharactersOfQuery && next != characters.end(); ++i, ++next) {
      const auto [high, low] = UnitsOf(*next);
      list.append(list.empty() ? "SELECT " : " UNION ALL SELECT ")
          .append(std::to_string(static_cast<std::uint32_t>(high)))
          .append(", ")
          .append(std::to_string(static_cast<std::uint32_t>(low)));
    }
    const std::string sql = "WITH c(h, l) AS (" + list + select;
    for (const TextRow& row : QueryRows(source, sql)) {
      const auto high = static_cast<char32_t>(Number(row, 0));
      const auto low = static_cast<char32_t>(Number(row, 1));
      bytes.emplace(low == 0 ? high : 0x10000U + ((high - 0xD800U) << 10U) + (low - 0xDC00U), Text(row, 2));
    }
  }
  return bytes;
}

std::vector<std::set<char32_t>> CharactersIn(const odbc::DBConnection& source, const db::TableDescription& table,
                                             const std::vector<TextColumn>& columns,
                                             const std::function<void()>& onRow) {
  struct Field {
    std::vector<char> buffer;
    SQLLEN indicator = 0;
  };
  std::vector<Field> fields(columns.size());
  const auto declared = [&table](const TextColumn& column) { return table.columns[column.position]; };
  const std::string list = Joined(columns, ", ", [&](const TextColumn& column) { return Utf16Of(declared(column)); });
  const std::string condition =
      Joined(columns, " OR ", [&](const TextColumn& column) { return HoldsBeyondAscii(declared(column)); });
  const odbc::Statement statement(source);
  statement.Execute("SELECT " + list + " FROM " + PathOf(source, table) + " WHERE " + condition + ";");
  for (std::size_t i = 0; i < fields.size(); ++i) {
    Field& field = fields[i];
    field.buffer.resize(Utf16Size(table.columns[columns[i].position]));
    statement.Require(SQLBindCol(statement.handle(), static_cast<SQLUSMALLINT>(i + 1), SQL_C_BINARY,
                                 field.buffer.data(), static_cast<SQLLEN>(field.buffer.size()), &field.indicator));
  }
  std::vector<std::set<char32_t>> characters(columns.size());
  for (SQLRETURN fetched = SQLFetch(statement.handle()); fetched != SQL_NO_DATA;
       fetched = SQLFetch(statement.handle())) {
    statement.Require(fetched);
    onRow();
    for (std::size_t i = 0; i < fields.size(); ++i) {
      const std::size_t size = fields[i].indicator < 0 ? 0 : static_cast<std::size_t>(fields[i].indicator);
      for (const char32_t character : FromUtf16({fields[i].buffer.data(), size})) {
        if (character >= 0x80) {
          characters[i].insert(character);
        }
      }
    }
  }
  return characters;
}

std::vector<bool> ColumnsThatHold(const odbc::DBConnection& source, const db::TableDescription& table,
                                  const std::vector<TextColumn>& columns,
                                  const std::vector<const std::set<char32_t>*>& characters) {
  std::string list;
  for (std::size_t i = 0; i < columns.size(); ++i) {
    list += (list.empty() ? "" : ", ") + std::string("MAX(CASE WHEN ") +
            HoldsOneOf(table.columns[columns[i].position], *characters[i]) + " THEN 1 ELSE 0 END)";
  }
  const std::vector<TextRow> rows = QueryRows(source, "SELECT " + list + " FROM " + PathOf(source, table) + ";");
  std::vector<bool> holds;
  for (const std::optional<std::string>& value : rows.at(0)) {
    holds.push_back(value == "1");
  }
  return holds;
}

std::string HoldsOneOf(const db::ColumnDescription& column, const std::set<char32_t>& characters) {
  const std::set<char32_t> ofOneUnit(characters.begin(), characters.lower_bound(0x10000));
  std::vector<Range> ranges = RangesOf(ofOneUnit);
  // These have a meaning of their own in a pattern's set.
  constexpr std::u32string_view kSpecial = U"[]^-";
  if (std::any_of(kSpecial.begin(), kSpecial.end(),
                  [&characters](char32_t special) { return characters.contains(special); })) {
    return Utf16Text(column) + " <> ''";
  }
  if (ranges.size() > kRangesOfPattern || characters.size() - ofOneUnit.size() > kRangesOfPattern) {
    return HoldsBeyondAscii(column);
  }
  std::string condition = ranges.empty() ? "" : MatchesRanges(column, ranges);
  for (auto each = characters.lower_bound(0x10000); each != characters.end(); ++each) {
    const auto [high, low] = UnitsOf(*each);
    condition += (condition.empty() ? "" : " OR ") + Matches(column, Unit(high) + ", " + Unit(low));
  }
  return condition;
}

std::string Utf16Of(const db::ColumnDescription& column) {
  return "CONVERT(varbinary(" + std::to_string(Utf16Size(column)) + "), " + Utf16Text(column) + ")";
}

std::size_t Utf16Size(const db::ColumnDescription& column) {
  return 2 * Utf16Units(column);
}

}  // namespace check::characters
