#ifndef BW_DB_TABLE_SOURCE_H
#define BW_DB_TABLE_SOURCE_H

#include <sql.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "db/columns.h"
#include "db/statement_text.h"
#include "db/table_checks.h"
#include "odbc/connection.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace db {

/// Whether a source table's columns are bound to the row buffer, or read one by one by an overriding Next.
enum class ColumnAccess { Bound, OneByOne };

/// Reads the rows of one table from the source.
///
/// Call sequence: construct, Open once, Next until it returns nothing, ReleaseStatement. The bindings point into the
/// object, so it stays where it is; it must not outlive its connection.
template <class Row>
class DBTableSrc {
  static_assert(std::is_trivially_copyable_v<Row> && std::is_standard_layout_v<Row>,
                "a row record is a plain record that the drivers write into");

 public:
  using RowType = Row;

  DBTableSrc(const DBTableSrc&) = delete;
  DBTableSrc(DBTableSrc&&) = delete;
  DBTableSrc& operator=(const DBTableSrc&) = delete;
  DBTableSrc& operator=(DBTableSrc&&) = delete;

  /// Executes the SELECT and binds the result columns.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  virtual void Open() {
    if (!TryOpen()) {
      throw std::runtime_error(odbc::GetStatementDiagnostics(statement_));
    }
  }

  /// Fetches the next row; nothing at the end of the data.
  ///
  /// A fetch error, such as a NULL under a bound column, deliberately ends the table like the end of the data and
  /// without a message: the rows behind it are not migrated, and only the row totals tell.
  virtual std::optional<Row> Next() {
    if (!odbc::Succeeded(SQLFetch(statement_))) {
      static_cast<void>(odbc::GetStatementDiagnostics(statement_));
      return std::nullopt;
    }
    return row_;
  }

  /// Frees the statement, if it is still held. The object cannot be opened again.
  void ReleaseStatement() noexcept { odbc::FreeStatement(statement_); }

  const std::string& tableName() const noexcept { return tableName_; }

  /// The bound buffer, which each fetch writes to. What a driver does not write stays from the row before.
  const Row& row() const noexcept { return row_; }

 protected:
  /// Allocates the statement and takes the table's name, query and columns from its declaration (see TableChecks).
  ///
  /// \throws std::runtime_error "SQL Error: " when the allocation fails.
  template <class Table>
  DBTableSrc(const odbc::DBConnection& source, Table /*declaration*/, ColumnAccess access = ColumnAccess::Bound)
      : statement_(odbc::AllocateStatement(source.connection())),
        connection_(source.connection()),
        environment_(source.environment()),
        query_(WithSchema(Table::select, source.schema())),
        tableName_(Table::name) {
    static_cast<void>(detail::TableChecks<Row, Table>{});
    std::memset(&row_, 0, sizeof(row_));
    if (access == ColumnAccess::Bound) {
      for (const Column<Row>& column : Table::columns) {
        columns_.push_back(BindColumn(columns_.size() + 1, column, row_));
      }
    }
  }

  ~DBTableSrc() { ReleaseStatement(); }

  /// Executes the SELECT, passed with its length, and binds the result columns; false as soon as one of these fails.
  bool TryOpen() {
    return odbc::Succeeded(odbc::ExecuteDirect(statement_, query_)) &&
           std::all_of(columns_.begin(), columns_.end(), [this](const ColumnBinding& column) {
             return odbc::Succeeded(SQLBindCol(statement_, column.number, column.cType, column.buffer,
                                               column.bufferLength, column.indicator));
           });
  }

  SQLHSTMT statement_ = SQL_NULL_HSTMT;
  SQLHDBC connection_ = SQL_NULL_HDBC;
  SQLHENV environment_ = SQL_NULL_HENV;
  Row row_;
  std::vector<ColumnBinding> columns_;
  std::string query_;
  std::string tableName_;
};

}  // namespace db

#endif  // BW_DB_TABLE_SOURCE_H
