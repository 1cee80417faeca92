#ifndef BW_TESTS_CONTRACT_TABLES_EXPECTED_TABLE_H
#define BW_TESTS_CONTRACT_TABLES_EXPECTED_TABLE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "odbc_double/odbc_double.h"

namespace contract {

struct ExpectedColumn {
  std::string name;
  std::string readAs;  ///< C type.
  std::size_t size;    ///< Bytes.
  /// What the destination is sent in place of a NULL. Without it the column is read without an indicator.
  std::optional<std::string> nullValue;
  std::size_t parameter = 0;  ///< From 1; 0 for a column that is no parameter.
  std::string direction;      ///< "in" or "out".
  std::string sentAs;         ///< C type.
  std::string sqlType;
  std::string columnSize;
  std::array<std::string, 2> sent;  ///< Of the two rows.
};

/// What the program must do with one table, as the file "<table>.txt" in this directory says it. Such a file is written
/// by hand, apart from the program. Its first lines are
///
///     truncate   the statement that empties the destination
///     select     the statement that reads the source
///     write      the INSERT or CALL
///     columns    bound, or read one by one
///     statement  of the destination: prepared once, prepared for every row (the first time the one that the
///                construction allocated), or allocated for every row
///     GroupIdMap, GroupOrderIdMap, PoolIdMap  identifiers that earlier tables recorded
///     records    identifiers that the two rows record for later tables, and in which map
///     returns    what the procedure returns for the two rows
///     logs       the entry of the second row, migrated alone
///
/// Below them is a line for each column: how it is read, what a NULL becomes, its value in two rows, the parameter that
/// it is, and what is sent for the two rows where the record shows another text than the row has here.
class ExpectedTable {
 public:
  explicit ExpectedTable(const std::string& table);

  const std::vector<ExpectedColumn>& columns() const { return columns_; }
  const std::array<odbc_double::ResultRow, 2>& rows() const { return rows_; }
  bool bound() const { return Header("columns") == "bound"; }
  bool callsProcedure() const { return Header("write").starts_with("CALL "); }

  /// A line of the beginning; empty when there is none.
  std::string Header(const std::string& name) const;

  /// The numbers of such a line.
  std::vector<std::int32_t> Numbers(const std::string& name) const;

  /// What the procedure returns, row by row.
  std::vector<std::vector<std::int32_t>> Outputs() const;

  /// The place of each field in the row record, as a plain record has it. The names are those of this object.
  std::vector<odbc_double::FieldName> Fields() const;

  /// The calls that migrate the two rows, each on a line of its own.
  std::string Calls() const;

  /// The columns by their parameter.
  std::vector<const ExpectedColumn*> Parameters() const;

  /// The input parameters as SQLExecute sends them for a row.
  std::vector<std::string> SentFor(std::size_t row) const;

 private:
  std::string PrepareAndBind(const std::string& statement) const;

  std::map<std::string, std::string> headers_;
  std::vector<ExpectedColumn> columns_;
  std::array<odbc_double::ResultRow, 2> rows_;
};

/// The texts with ", " between them.
std::string Joined(const std::vector<std::string>& texts);

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_TABLES_EXPECTED_TABLE_H
