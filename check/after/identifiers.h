#ifndef BW_CHECK_AFTER_IDENTIFIERS_H
#define BW_CHECK_AFTER_IDENTIFIERS_H

#include <cstdint>
#include <map>
#include <optional>

/// Numbers of rows that the destination assigned, and what the rows behind them hold.
namespace check {

/// For one table and one side: a row's number to the token of what it holds. The first one that is recorded for a
/// number stays, as in the migrator's maps. 16 bytes and the map's own for each row: what grows with the groups and
/// group orders, and nothing else does.
class TokenMap {
 public:
  void Record(std::int32_t number, std::uint64_t token) { tokens_.emplace(number, token); }

  /// From now on the row counts as one that holds something else.
  void Replace(std::int32_t number, std::uint64_t token) { tokens_[number] = token; }

  std::optional<std::uint64_t> Find(std::int32_t number) const {
    const auto found = tokens_.find(number);
    return found == tokens_.end() ? std::nullopt : std::optional(found->second);
  }

 private:
  std::map<std::int32_t, std::uint64_t> tokens_;
};

/// The tables whose numbers other tables' rows follow.
struct TokenMaps {
  TokenMap groups;       ///< GroupDesc.GroupID
  TokenMap groupOrders;  ///< GroupOrders.ID
};

}  // namespace check

#endif  // BW_CHECK_AFTER_IDENTIFIERS_H
