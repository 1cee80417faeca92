#ifndef BW_CHECK_BEFORE_RENUMBERING_H
#define BW_CHECK_BEFORE_RENUMBERING_H

#include <cstdint>
#include <map>

namespace check {

/// The old numbers of a table's rows in reading order; their new ones are 1, 2, 3 ... Numbers that follow each other as
/// the new ones do take the room of one.
class Renumbering {
 public:
  /// The next row's old number. Returns false when an earlier row had it as well; that one keeps it.
  bool Add(std::int32_t oldNumber);

  /// Rows added, which is the new number of the last one.
  std::uint32_t size() const noexcept { return count_; }

  /// Whether the row that was added last got another number.
  bool LastChanged() const noexcept { return lastOld_ != count_; }

  /// Whether a reference that keeps its number names the same row as before, or no row as before.
  bool KeepsMeaning(std::int32_t number) const;

 private:
  /// Rows whose old and new numbers both go up by one. The key in the map is the first old number.
  struct Run {
    std::int64_t firstNew;
    std::int64_t length;
  };
  using Runs = std::map<std::int64_t, Run>;

  Runs::const_iterator RunOf(std::int64_t oldNumber) const;

  std::uint32_t count_ = 0;
  std::int64_t lastOld_ = 0;
  Runs runs_;
};

}  // namespace check

#endif  // BW_CHECK_BEFORE_RENUMBERING_H
