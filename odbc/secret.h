#ifndef BW_ODBC_SECRET_H
#define BW_ODBC_SECRET_H

#include <string>

namespace odbc {

/// Overwrites the whole storage of the text with zeros, in a way that the compiler may not leave out, and empties it.
void Wipe(std::string& secret) noexcept;

}  // namespace odbc

#endif  // BW_ODBC_SECRET_H
