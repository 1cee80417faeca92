// The ODBC functions, doing next to nothing and succeeding at once: what remains is the program's own work.
//
// A bound field gets a typical value when it is bound, and a fetch leaves it there, since no driver's work belongs into
// a measurement of the program. A field that is read by itself gets the value each time.
#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "bench/typical_values.h"

namespace {

int handle;

SQLLEN Store(SQLSMALLINT cType, SQLPOINTER buffer, SQLLEN bufferLength) {
  switch (cType) {
    case SQL_C_LONG:
      std::memcpy(buffer, &bench::kTypicalInteger, sizeof(bench::kTypicalInteger));
      return sizeof(bench::kTypicalInteger);
    case SQL_C_DOUBLE:
      std::memcpy(buffer, &bench::kTypicalDouble, sizeof(bench::kTypicalDouble));
      return sizeof(bench::kTypicalDouble);
    default: {
      const std::string_view text =
          bench::kTypicalText.substr(0, static_cast<std::size_t>(std::max<SQLLEN>(bufferLength, 1) - 1));
      char* const end = std::copy(text.begin(), text.end(), static_cast<char*>(buffer));
      *end = '\0';
      return static_cast<SQLLEN>(text.size());
    }
  }
}

}  // namespace

// The parameters have this project's names, not the header's.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)

SQLRETURN SQLAllocEnv(SQLHENV* environment) {
  *environment = &handle;
  return SQL_SUCCESS;
}

SQLRETURN SQLAllocHandle(SQLSMALLINT /*type*/, SQLHANDLE /*input*/, SQLHANDLE* output) {
  *output = &handle;
  return SQL_SUCCESS;
}

SQLRETURN SQLAllocStmt(SQLHDBC /*connection*/, SQLHSTMT* statement) {
  *statement = &handle;
  return SQL_SUCCESS;
}

SQLRETURN SQLConnect(SQLHDBC /*connection*/, SQLCHAR* /*dataSource*/, SQLSMALLINT /*dataSourceLength*/,
                     SQLCHAR* /*login*/, SQLSMALLINT /*loginLength*/, SQLCHAR* /*password*/,
                     SQLSMALLINT /*passwordLength*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLGetInfo(SQLHDBC /*connection*/, SQLUSMALLINT /*type*/, SQLPOINTER /*value*/, SQLSMALLINT /*bufferLength*/,
                     SQLSMALLINT* /*length*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLExecDirect(SQLHSTMT /*statement*/, SQLCHAR* /*text*/, SQLINTEGER /*length*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLPrepare(SQLHSTMT /*statement*/, SQLCHAR* /*text*/, SQLINTEGER /*length*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLBindCol(SQLHSTMT /*statement*/, SQLUSMALLINT /*column*/, SQLSMALLINT cType, SQLPOINTER buffer,
                     SQLLEN bufferLength, SQLLEN* /*indicator*/) {
  Store(cType, buffer, bufferLength);
  return SQL_SUCCESS;
}

SQLRETURN SQLBindParameter(SQLHSTMT /*statement*/, SQLUSMALLINT /*parameter*/, SQLSMALLINT /*direction*/,
                           SQLSMALLINT /*cType*/, SQLSMALLINT /*sqlType*/, SQLULEN /*columnSize*/,
                           SQLSMALLINT /*decimalDigits*/, SQLPOINTER /*buffer*/, SQLLEN /*bufferLength*/,
                           SQLLEN* /*indicator*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLExecute(SQLHSTMT /*statement*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLFetch(SQLHSTMT /*statement*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLGetData(SQLHSTMT /*statement*/, SQLUSMALLINT /*column*/, SQLSMALLINT cType, SQLPOINTER buffer,
                     SQLLEN bufferLength, SQLLEN* indicator) {
  const SQLLEN length = Store(cType, buffer, bufferLength);
  if (indicator != nullptr) {
    *indicator = length;
  }
  return SQL_SUCCESS;
}

SQLRETURN SQLGetDiagRec(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/, SQLSMALLINT /*record*/, SQLCHAR* /*state*/,
                        SQLINTEGER* /*nativeCode*/, SQLCHAR* /*message*/, SQLSMALLINT /*bufferLength*/,
                        SQLSMALLINT* /*length*/) {
  return SQL_NO_DATA;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT /*type*/, SQLHANDLE /*handle*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLDisconnect(SQLHDBC /*connection*/) {
  return SQL_SUCCESS;
}

SQLRETURN SQLFreeEnv(SQLHENV /*environment*/) {
  return SQL_SUCCESS;
}

// NOLINTEND(readability-inconsistent-declaration-parameter-name)
