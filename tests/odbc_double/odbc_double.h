#ifndef BW_TESTS_ODBC_DOUBLE_ODBC_DOUBLE_H
#define BW_TESTS_ODBC_DOUBLE_ODBC_DOUBLE_H

#include <sql.h>
#include <sqlext.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// A double of the ODBC functions that the program calls, linked in place of the driver manager.
///
/// It records every call as one line of text, serves scripted rows and output parameters as a driver does, and makes
/// chosen calls fail. Handles are called env1, dbc1, stmt1 and so on in the order of their allocation; addresses are
/// called what a test names them. One thread, one test at a time.
namespace odbc_double {

/// A value in a result set; std::monostate stands for NULL.
using Value = std::variant<std::monostate, std::int32_t, double, std::string>;
using ResultRow = std::vector<Value>;

struct Diagnostic {
  std::string state;
  SQLINTEGER nativeCode = 0;
  std::string message;
};

/// What a call gives instead of doing its work. With SQL_SUCCESS_WITH_INFO it does its work as well.
struct Outcome {
  SQLRETURN result = SQL_ERROR;
  std::vector<Diagnostic> diagnostics;
};

struct FieldName {
  std::string_view name;
  std::size_t offset;
};

/// The name and the place of a field, for NameFields.
#define BW_FIELD(Row, field)     \
  odbc_double::FieldName {       \
#field, offsetof(Row, field) \
  }

/// Forgets everything: records, scripts, names and handles.
void Reset();

// What the servers hold.

/// The name that a data source's server reports; "Microsoft SQL Server" unless told.
void SetServerName(const std::string& dataSource, const std::string& name);

/// The rows that every SELECT holding the text returns; none unless told. Of several texts the one set last counts.
void SetResult(const std::string& queryPart, std::vector<ResultRow> rows);

/// What the executions of a statement holding the text put into its output parameters, execution by execution.
void SetOutputs(const std::string& queryPart, std::vector<std::vector<std::int32_t>> outputs);

// Faults.

/// The outcome of the n-th call (from 1) of a function from now on.
void OnCall(const std::string& function, std::size_t n, Outcome outcome);

/// The outcome of the k-th call (from 1) of any function but SQLGetDiagRec since the last Reset.
void OnCallNumber(std::size_t k, Outcome outcome);

/// Every call that would return SQL_SUCCESS returns SQL_SUCCESS_WITH_INFO from now on.
void SucceedWithInfo();

/// SQLGetData of a NULL without indicator from now on succeeds and leaves the field as it was, as some drivers do,
/// instead of failing with state 22002.
void IgnoreNullsWithoutIndicator();

// Records.

/// The fields of a row buffer are shown as "prefix.Name" in the records.
void NameFields(const std::string& prefix, const void* row, const std::vector<FieldName>& fields);

/// Every call since the last Reset or ClearCalls, such as
///     SQLBindCol(stmt1, 1, SQL_C_CHAR, source.KeyName, 21, null)
///     SQLExecute(stmt2) sends "dbver", "29"
///     SQLFetch(stmt1) -> SQL_NO_DATA
/// with " -> " and the result behind those that did not return SQL_SUCCESS.
const std::vector<std::string>& Calls();
void ClearCalls();

/// The number of calls of any function but SQLGetDiagRec since the last Reset.
std::size_t CallCount();

/// The handles that are allocated and not freed, in the order of their allocation. Disconnecting frees a connection's
/// statements.
std::vector<std::string> LiveHandles();

/// What a driver manager would refuse: handles that were used or freed after they had been freed, and handles freed
/// before those that were allocated on them.
const std::vector<std::string>& Violations();

}  // namespace odbc_double

#endif  // BW_TESTS_ODBC_DOUBLE_ODBC_DOUBLE_H
