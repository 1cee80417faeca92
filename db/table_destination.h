#ifndef BW_DB_TABLE_DESTINATION_H
#define BW_DB_TABLE_DESTINATION_H

#include <sql.h>

#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "db/columns.h"
#include "db/statement_text.h"
#include "db/table_checks.h"
#include "logging/logger.h"
#include "odbc/connection.h"
#include "odbc/statement.h"
#include "odbc/text.h"

namespace db {

/// Writes the rows of one table to the destination, which its construction empties.
///
/// Call sequence: construct, Open once, Write for each row, ReleaseStatement. The bindings point into the object, so it
/// stays where it is; it must not outlive its connection.
template <class Row>
class DBTableDst {
  static_assert(std::is_trivially_copyable_v<Row> && std::is_standard_layout_v<Row>,
                "a row record is a plain record that the drivers read from");

 public:
  DBTableDst(const DBTableDst&) = delete;
  DBTableDst(DBTableDst&&) = delete;
  DBTableDst& operator=(const DBTableDst&) = delete;
  DBTableDst& operator=(DBTableDst&&) = delete;

  /// Prepares the statement and binds its parameters.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  virtual void Open() { PrepareAndBind(); }

  /// Writes one row. Returns true; an overriding Write may return false for a row that it leaves out.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  virtual bool Write(const Row& row) {
    Execute(row);
    return true;
  }

  /// Frees the statement, if it is still held. The object cannot be opened again.
  void ReleaseStatement() noexcept { odbc::FreeStatement(statement_); }

  /// The bound buffer, which each row is copied to before it is sent.
  const Row& row() const noexcept { return row_; }

 protected:
  /// Allocates the statement, empties the table and takes the statement and its parameters from the table's
  /// declaration (see TableChecks).
  ///
  /// The truncate notice is deliberately handed to the table source file's own channel, which nobody opens: it never
  /// shows.
  ///
  /// \throws std::runtime_error "SQL Error: " when the allocation fails, the statement's diagnostics when the table
  /// cannot be emptied.
  template <class Table>
  DBTableDst(const odbc::DBConnection& destination, Table /*declaration*/, Logger& tableLogger)
      : DBTableDst(destination) {
    static_cast<void>(detail::TableChecks<Row, Table>{});
    odbc::RequireSuccess(
        odbc::ExecuteDirect(statement_, TruncateStatement(destination.schema(), Table::name, Table::truncation)),
        statement_);
    tableLogger.Log("Truncate " + std::string(Table::name) + " table");
    query_ = WithSchema(Table::write, destination.schema());
    for (const Parameter<Row>& parameter : Table::parameters) {
      parameters_.push_back(BindParameter(parameters_.size() + 1, parameter, row_));
    }
  }

  ~DBTableDst() { ReleaseStatement(); }

  /// \throws std::runtime_error with the statement's diagnostics.
  void PrepareAndBind() {
    odbc::RequireSuccess(SQLPrepare(statement_, odbc::AsSqlText(query_), SQL_NTS), statement_);
    for (const ParameterBinding& parameter : parameters_) {
      odbc::RequireSuccess(SQLBindParameter(statement_, parameter.number, parameter.direction, parameter.cType,
                                            parameter.sqlType, parameter.columnSize, parameter.decimalDigits,
                                            parameter.buffer, parameter.bufferLength, parameter.indicator),
                           statement_);
    }
  }

  /// Copies the row to the bound buffer and executes the prepared statement.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  void Execute(const Row& row) {
    row_ = row;
    odbc::RequireSuccess(SQLExecute(statement_), statement_);
  }

  SQLHSTMT statement_ = SQL_NULL_HSTMT;
  SQLHDBC connection_ = SQL_NULL_HDBC;
  SQLHENV environment_ = SQL_NULL_HENV;
  Row row_;
  std::vector<ParameterBinding> parameters_;
  std::string query_;

 private:
  // Apart from the other constructor, so that the destructor frees the statement when that one fails.
  explicit DBTableDst(const odbc::DBConnection& destination)
      : statement_(odbc::AllocateStatement(destination.connection())),
        connection_(destination.connection()),
        environment_(destination.environment()) {
    std::memset(&row_, 0, sizeof(row_));
  }
};

}  // namespace db

#endif  // BW_DB_TABLE_DESTINATION_H
