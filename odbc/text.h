#ifndef BW_ODBC_TEXT_H
#define BW_ODBC_TEXT_H

#include <sql.h>

#include <string_view>

namespace odbc {

/// The text as the ODBC functions take it: they ask for bytes that may be written, but only read an input text.
inline SQLCHAR* AsSqlText(std::string_view text) noexcept {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

}  // namespace odbc

#endif  // BW_ODBC_TEXT_H
