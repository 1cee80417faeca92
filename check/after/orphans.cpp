#include "check/after/orphans.h"

#include <sqlext.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>

#include "check/after/destination_cursor.h"
#include "check/rules/catalogue.h"
#include "check/rules/source_rows.h"
#include "check/rules/table_rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace check {

namespace {

constexpr std::size_t kKeysShown = 5;

/// From FROM on: the rows whose reference is to no row.
std::string FromOrphans(const odbc::DBConnection& connection, Side side, const db::TableDescription& table,
                        const Reference& reference) {
  const auto name = [side](std::string_view text) { return QuotedName(side, text); };
  return " FROM " + connection.schema() + name(table.name) + " t WHERE t." + name(reference.column) +
         " IS NOT NULL AND NOT EXISTS (SELECT 1 FROM " + connection.schema() + name(reference.table) + " r WHERE r." +
         name(reference.tableColumn) + " = t." + name(reference.column) + ")";
}

/// The numbers in the source that refer to no row, in ascending order.
class SourceOrphans {
 public:
  SourceOrphans(const odbc::DBConnection& source, const db::TableDescription& table, const Reference& reference)
      : statement_(source) {
    const std::string column = "t." + QuotedName(Side::Source, reference.column);
    statement_.Execute("SELECT DISTINCT " + column + FromOrphans(source, Side::Source, table, reference) +
                       " ORDER BY " + column);
    odbc::RequireSuccess(SQLBindCol(statement_.handle(), 1, SQL_C_LONG, &number_, sizeof(number_), &indicator_),
                         statement_.handle());
    Fetch();
  }

  /// Whether the number is one of them. To be asked for in ascending order.
  bool Has(std::int64_t number) {
    while (there_ && number_ < number) {
      Fetch();
    }
    return there_ && number_ == number;
  }

 private:
  void Fetch() {
    const SQLRETURN result = SQLFetch(statement_.handle());
    there_ = result != SQL_NO_DATA;
    if (there_) {
      odbc::RequireSuccess(result, statement_.handle());
    }
  }

  odbc::Statement statement_;
  std::int32_t number_ = 0;
  SQLLEN indicator_ = 0;
  bool there_ = false;
};

/// The pools' numbers that arrive in orders of pools that are in the source. What arrives is the number of the pool
/// that is read at the position that the order's number says.
std::set<std::int32_t> NumbersOfKnownPools(const odbc::DBConnection& source, std::string_view pools) {
  const db::TableDescription& table = TableNamed(pools);
  SourceRows rows(source, table);
  std::vector<std::int32_t> numbers;
  while (rows.Next() == SourceRows::Result::Row && !rows.IsNull(0)) {
    numbers.push_back(rows.Number(0));
  }
  const std::set<std::int32_t> known(numbers.begin(), numbers.end());
  std::set<std::int32_t> arriving;
  for (const std::int32_t number : known) {
    if (number >= 1 && static_cast<std::size_t>(number) <= numbers.size()) {
      arriving.insert(numbers[static_cast<std::size_t>(number) - 1]);
    }
  }
  return arriving;
}

struct Orphans {
  std::uint64_t rows = 0;
  std::vector<std::string> numbers;  ///< The first few.
};

std::int64_t NumberIn(const std::optional<std::string_view>& text) {
  std::int64_t number = 0;
  if (text) {
    std::from_chars(text->data(), text->data() + text->size(), number);
  }
  return number;
}

/// Counts those of the destination's whose number refers to a row in the source.
Orphans CountOrphans(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                     const db::TableDescription& table, const Reference& reference) {
  const std::string column = "t." + QuotedName(Side::Destination, reference.column);
  DestinationCursor cursor(
      destination, column + ", count(*)",
      FromOrphans(destination, Side::Destination, table, reference) + " GROUP BY " + column + " ORDER BY " + column);
  Orphans orphans;
  std::optional<SourceOrphans> ofSource;
  std::optional<std::set<std::int32_t>> ofKnownPools;
  while (cursor.Fetch()) {
    const std::int64_t number = NumberIn(cursor.NextField());
    const std::int64_t rows = NumberIn(cursor.NextField());
    if (number == reference.ofNull) {
      continue;
    }
    if (reference.kind == Reference::Kind::Kept) {
      if (!ofSource) {
        ofSource.emplace(source, table, reference);
      }
      if (ofSource->Has(number)) {
        continue;
      }
    }
    if (reference.kind == Reference::Kind::ByPosition) {
      if (!ofKnownPools) {
        ofKnownPools = NumbersOfKnownPools(source, reference.table);
      }
      if (!ofKnownPools->contains(static_cast<std::int32_t>(number))) {
        continue;
      }
    }
    orphans.rows += static_cast<std::uint64_t>(rows);
    if (orphans.numbers.size() < kKeysShown) {
      orphans.numbers.push_back(std::to_string(number));
    }
  }
  return orphans;
}

std::vector<std::string> KeysOf(const odbc::DBConnection& destination, const db::TableDescription& table,
                                const Reference& reference, const std::vector<std::string>& numbers) {
  std::string numberList;
  for (const std::string& number : numbers) {
    numberList.append(numberList.empty() ? "" : ", ").append(number);
  }
  std::string columns;
  for (const std::string_view key : KeyColumns(table.name)) {
    columns.append(columns.empty() ? "" : ", ").append(QuotedName(Side::Destination, key));
  }
  std::string query = "SELECT ";
  query.append(columns).append(" FROM ").append(destination.schema());
  query.append(QuotedName(Side::Destination, table.name)).append(" WHERE ");
  query.append(QuotedName(Side::Destination, reference.column))
      .append(" IN (")
      .append(numberList)
      .append(") ORDER BY ");
  query.append(columns).append(" LIMIT ").append(std::to_string(kKeysShown));
  std::vector<std::string> keys;
  for (const TextRow& row : QueryRows(destination, query)) {
    std::string& key = keys.emplace_back();
    for (std::size_t i = 0; i < row.size(); ++i) {
      key.append(i == 0 ? "" : ", ").append(KeyColumns(table.name)[i]).append(" = ").append(row[i].value_or("NULL"));
    }
  }
  return keys;
}

}  // namespace

std::vector<Reference> ReferencesOf(const db::TableDescription& table) {
  std::vector<Reference> references;
  const auto add = [&references](std::string_view column, std::string_view referred, Reference::Kind kind) {
    references.push_back(
        {.column = column, .table = referred, .tableColumn = KeyColumns(referred).front(), .kind = kind});
  };
  for (const ColumnRule& rule : RulesFor(table.name).columns) {
    if (rule.treatment == Treatment::GroupNumber) {
      add(rule.column, "GroupDesc", Reference::Kind::Translated);
    } else if (rule.treatment == Treatment::GroupOrderNumber) {
      add(rule.column, "GroupOrders", Reference::Kind::Translated);
    } else if (rule.treatment == Treatment::PoolAtPosition) {
      add(rule.column, "PoolOrders", Reference::Kind::ByPosition);
    } else if (!rule.refersTo.empty()) {
      add(rule.column, rule.refersTo, Reference::Kind::Kept);
      if (rule.onNull == NullValue::MinusOne) {
        references.back().ofNull = -1;
      }
    }
  }
  if (table.name == "LoadedSecuritiesClientPrices") {
    add("SecID", "LoadedSecurities", Reference::Kind::Kept);
  }
  return references;
}

std::vector<Finding> CheckOrphans(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                                  const db::TableDescription& table, const Reference& reference) {
  const Orphans orphans = CountOrphans(source, destination, table, reference);
  if (orphans.rows == 0) {
    return {};
  }
  Finding finding(finding::Orphans);
  finding.columns = {std::string(reference.column)};
  finding.rows = orphans.rows;
  finding.keys = KeysOf(destination, table, reference, orphans.numbers);
  finding.text = "They refer to rows of " + std::string(reference.table) + " that do not exist.";
  finding.query = Query{.side = Side::Destination,
                        .text = "SELECT *" + FromOrphans(destination, Side::Destination, table, reference) + ";"};
  return {finding};
}

}  // namespace check
