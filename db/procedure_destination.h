#ifndef BW_DB_PROCEDURE_DESTINATION_H
#define BW_DB_PROCEDURE_DESTINATION_H

#include "db/table_destination.h"

namespace db {

/// The destination of a table whose rows are created by a stored procedure, one prepared, bound, executed and freed
/// statement for each row. A derived Write prepares the call, then executes it; in between it may change the row.
template <class Row>
class DBTableProcedureDst : public DBTableDst<Row> {
 public:
  /// Does nothing: each Write prepares the call itself, the first one on the statement that the construction allocated.
  void Open() override {}

 protected:
  using DBTableDst<Row>::DBTableDst;
  ~DBTableProcedureDst() = default;

  /// Prepares the call and binds its parameters, on a new statement if none is held.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  void PrepareCall() {
    if (this->statement_ == SQL_NULL_HSTMT) {
      this->statement_ = odbc::AllocateStatement(this->connection_);
    }
    this->PrepareAndBind();
  }

  /// Executes the prepared call with the row, then frees the statement. What the procedure returns is in the bound
  /// buffer afterwards.
  ///
  /// \throws std::runtime_error with the statement's diagnostics.
  void ExecuteCall(const Row& row) {
    this->Execute(row);
    this->ReleaseStatement();
  }
};

}  // namespace db

#endif  // BW_DB_PROCEDURE_DESTINATION_H
