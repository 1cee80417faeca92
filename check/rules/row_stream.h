#ifndef BW_CHECK_RULES_ROW_STREAM_H
#define BW_CHECK_RULES_ROW_STREAM_H

#include <cstdint>
#include <string>
#include <vector>

/// Rows as both sides are compared: the values that the migrator sends, in the order of its parameters.
namespace check {

/// One value of a row. A reference to a row whose number the destination assigned is compared by what that row holds,
/// its token, and not by its number.
struct Value {
  enum class Kind : std::uint8_t { Null, Int32, Double, Text, Token };

  Kind kind = Kind::Null;
  std::int32_t number = 0;  ///< Int32; of a Token the number that stands in the row, for showing it.
  double real = 0;
  std::uint64_t token = 0;
  std::string text;  ///< Bytes in the client encoding.

  bool operator==(const Value& other) const;

  /// As the report shows it; a text in quotes, NULL as NULL.
  std::string Shown() const;
};

using Values = std::vector<Value>;

/// A hash of 128 bits. The sum over all rows does not depend on their order.
struct RowHash {
  std::uint64_t high = 0;
  std::uint64_t low = 0;

  bool operator==(const RowHash&) const = default;
  bool operator<(const RowHash& other) const { return high != other.high ? high < other.high : low < other.low; }
};

/// The hash of a row: equal for equal values only, as far as 128 bits go.
RowHash HashOf(const Values& values);

/// Reads the rows of one table once, from the first to the last.
class RowStream {
 public:
  virtual ~RowStream() = default;
  RowStream() = default;
  RowStream(const RowStream&) = delete;
  RowStream(RowStream&&) = delete;
  RowStream& operator=(const RowStream&) = delete;
  RowStream& operator=(RowStream&&) = delete;

  /// Reads the next row into `values`, whose storage is used again; false behind the last row.
  ///
  /// \throws std::runtime_error when the server fails.
  virtual bool Next(Values& values) = 0;
};

}  // namespace check

#endif  // BW_CHECK_RULES_ROW_STREAM_H
