#include "db/identifier_maps.h"

#include <stdexcept>

namespace db {

IdentifierMap GroupIdMap;
IdentifierMap GroupOrderIdMap;
IdentifierMap PoolIdMap;
std::int32_t nextPoolId = 1;

void Record(IdentifierMap& map, std::int32_t key, std::int32_t value) {
  map.emplace(key, value);
}

std::int32_t LookUp(const IdentifierMap& map, std::int32_t key) {
  const auto entry = map.find(key);
  if (entry == map.end()) {
    // The operators look for exactly this text in the log; std::map::at words it differently here.
    throw std::out_of_range("invalid map<K, T> key");
  }
  return entry->second;
}

}  // namespace db
