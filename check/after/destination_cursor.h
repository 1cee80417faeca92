#ifndef BW_CHECK_AFTER_DESTINATION_CURSOR_H
#define BW_CHECK_AFTER_DESTINATION_CURSOR_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/sql/query.h"
#include "odbc/connection.h"
#include "odbc/statement.h"

namespace check {

/// Reads a query of any size in constant memory: through a cursor in a read-only transaction of its own, a few thousand
/// rows at a time. The driver holds what it is given at once in memory. One on a connection at a time.
///
/// A row comes as one value: the driver takes a multiple of the time for a row of many columns.
class DestinationCursor {
 public:
  /// The columns of the rows are those of the SELECT list `list`; `rest` is what follows it, from FROM on.
  ///
  /// \throws std::runtime_error with the diagnostics.
  DestinationCursor(const odbc::DBConnection& destination, std::string_view list, std::string_view rest);
  ~DestinationCursor();
  DestinationCursor(const DestinationCursor&) = delete;
  DestinationCursor(DestinationCursor&&) = delete;
  DestinationCursor& operator=(const DestinationCursor&) = delete;
  DestinationCursor& operator=(DestinationCursor&&) = delete;

  /// Goes to the next row; false behind the last one.
  ///
  /// \throws std::runtime_error with the diagnostics.
  bool Fetch();

  /// The next field of the row; nothing for NULL. The view holds until the next call.
  ///
  /// \throws std::runtime_error when there is none.
  std::optional<std::string_view> NextField();

 private:
  void FetchMore();
  void ReadRecord();
  void Take(char expected);
  std::string_view TakeQuoted();

  odbc::Statement statement_;
  bool asBytes_;  ///< How rows are read: as texts, or as bytes where the driver would change texts.
  std::vector<char> buffer_;
  std::size_t fetched_ = 0;  ///< Rows read of those that were asked for last.
  std::string_view rest_;    ///< Of the row, what was not taken yet: see TakeQuoted.
  bool atFirstField_ = true;
  std::string unquoted_;
};

}  // namespace check

#endif  // BW_CHECK_AFTER_DESTINATION_CURSOR_H
