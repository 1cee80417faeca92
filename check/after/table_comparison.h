#ifndef BW_CHECK_AFTER_TABLE_COMPARISON_H
#define BW_CHECK_AFTER_TABLE_COMPARISON_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "check/after/comparison.h"
#include "check/after/expected_rows.h"
#include "check/after/identifiers.h"
#include "check/after/identities.h"
#include "check/cli/progress.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// One table on both sides.
struct TableComparison {
  const db::TableDescription* table = nullptr;
  std::uint64_t sourceRows = 0;
  bool isThere = true;                   ///< Whether the destination has the table.
  std::optional<std::string> runEnds;    ///< Why the rules end the run in it.
  std::optional<std::string> tableEnds;  ///< Why they end the table before the source does.
  Comparison rows;
  std::vector<Identity> identities;

  /// Rows of the destination that refer to one of several rows with the same content.
  std::uint64_t ambiguous = 0;
  std::vector<std::string> ambiguousKeys;  ///< Of the first few.
};

/// Compares tables, in the order in which they are migrated.
class TableComparer {
 public:
  /// The connections must outlive the object.
  TableComparer(const odbc::DBConnection& source, const odbc::DBConnection& destination);
  ~TableComparer();
  TableComparer(const TableComparer&) = delete;
  TableComparer(TableComparer&&) = delete;
  TableComparer& operator=(const TableComparer&) = delete;
  TableComparer& operator=(TableComparer&&) = delete;

  /// Compares a table. Those that its rows follow must have been compared before.
  ///
  /// \throws std::runtime_error when a side cannot be asked, or changes meanwhile.
  TableComparison Compare(const db::TableDescription& table, Progress& progress);

 private:
  class Keys;
  class ExpectedSide;
  class FoundSide;

  /// The numbers that the destination assigned to the rows of one table, by what the rows hold.
  using NumbersByToken = std::vector<std::pair<std::uint64_t, std::int32_t>>;

  void ReadNumbers(const db::TableDescription& table);
  std::int32_t AssignedNumberOf(const db::TableDescription& table, std::uint64_t position, std::uint64_t token) const;

  const odbc::DBConnection& source_;
  const odbc::DBConnection& destination_;
  ExpectedRows expected_;
  TokenMaps tokens_;
  NumbersByToken numbers_;                ///< Of the table that is being compared.
  Identity assigned_;                     ///< The same: what numbers it.
  std::vector<std::uint64_t> ambiguous_;  ///< Tokens that several rows have, of all tables so far, sorted.
};

/// The names of the columns that are compared.
std::vector<std::string_view> ComparedColumns(const db::TableDescription& table);

/// A row's key as it is shown, such as "GroupID = 1, ClientCode = A". `key` is the comparison's.
std::string KeyText(const db::TableDescription& table, const Values& values, std::uint64_t key);

}  // namespace check

#endif  // BW_CHECK_AFTER_TABLE_COMPARISON_H
