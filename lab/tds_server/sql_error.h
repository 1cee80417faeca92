#ifndef BW_LAB_TDS_SERVER_SQL_ERROR_H
#define BW_LAB_TDS_SERVER_SQL_ERROR_H

#include <cstdint>
#include <stdexcept>
#include <string>

namespace tds {

/// A failure that the client is told of with the server's error number. The connection stays usable.
class SqlError : public std::runtime_error {
 public:
  SqlError(int number, std::uint8_t severity, std::uint8_t state, const std::string& message)
      : std::runtime_error(message), number_(number), severity_(severity), state_(state) {}

  int number() const { return number_; }
  std::uint8_t severity() const { return severity_; }
  std::uint8_t state() const { return state_; }

 private:
  int number_;
  std::uint8_t severity_;
  std::uint8_t state_;
};

/// Error 102 at the given piece of the statement.
inline SqlError SyntaxError(const std::string& near) {
  return {102, 15, 1, "Incorrect syntax near '" + near + "'."};
}

/// Turns a failure of SQLite into the error that the server gives in its place.
SqlError TranslateSqliteError(int extendedCode, const std::string& message);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_SQL_ERROR_H
