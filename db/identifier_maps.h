#ifndef BW_DB_IDENTIFIER_MAPS_H
#define BW_DB_IDENTIFIER_MAPS_H

#include <cstdint>
#include <map>

/// How new identifiers get from the table that creates rows to the tables that refer to them. One table fills a map
/// while it is migrated, later ones read it; the order of the tables makes sure of that. The maps live as long as the
/// process.
namespace db {

using IdentifierMap = std::map<std::int32_t, std::int32_t>;

/// Source GroupID to the GroupID that the destination assigned. Filled by GroupDesc.
extern IdentifierMap GroupIdMap;

/// Source ID of a group order to the ID that the destination assigned. Filled by GroupOrders.
extern IdentifierMap GroupOrderIdMap;

/// Position in which a pool was read, from 1, to its source PoolID. Filled by PoolOrders.
///
/// OrdersInPool deliberately looks its source PoolID up as if it were a position. Only pools numbered 1, 2, 3 ... in
/// reading order keep their orders; otherwise an order gets another pool's number, or the run ends.
extern IdentifierMap PoolIdMap;

/// The next key of PoolIdMap; counts every pool that was read.
extern std::int32_t nextPoolId;

/// Records a new identifier. The first one that was recorded for a key stays.
void Record(IdentifierMap& map, std::int32_t key, std::int32_t value);

/// The value recorded for a key.
///
/// \throws std::out_of_range "invalid map<K, T> key" when there is none, which ends the run.
std::int32_t LookUp(const IdentifierMap& map, std::int32_t key);

}  // namespace db

#endif  // BW_DB_IDENTIFIER_MAPS_H
