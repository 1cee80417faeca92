#include "db/identifier_maps.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

std::string TextOfFailedLookUp(const db::IdentifierMap& map, std::int32_t key) {
  try {
    db::LookUp(map, key);
  } catch (const std::out_of_range& missing) {
    return missing.what();
  }
  return "no exception";
}

TEST(IdentifierMaps, GiveWhatWasRecorded) {
  db::IdentifierMap map;
  db::Record(map, 10, 1);
  db::Record(map, -20, 2);
  EXPECT_EQ(db::LookUp(map, 10), 1);
  EXPECT_EQ(db::LookUp(map, -20), 2);
}

TEST(IdentifierMaps, KeepTheFirstValueOfAKey) {
  db::IdentifierMap map;
  db::Record(map, 10, 1);
  db::Record(map, 10, 2);
  EXPECT_EQ(db::LookUp(map, 10), 1);
}

TEST(IdentifierMaps, RefuseAMissingKeyWithTheExactText) {
  db::IdentifierMap map;
  EXPECT_EQ(TextOfFailedLookUp(map, 0), "invalid map<K, T> key");
  db::Record(map, 1, 1);
  EXPECT_EQ(TextOfFailedLookUp(map, 2), "invalid map<K, T> key");
}

TEST(IdentifierMaps, AFailedLookUpRecordsNothing) {
  db::IdentifierMap map;
  EXPECT_THROW(db::LookUp(map, 5), std::out_of_range);
  EXPECT_TRUE(map.empty());
}

TEST(IdentifierMaps, StartEmptyWithPoolsCountedFromOne) {
  EXPECT_TRUE(db::GroupIdMap.empty());
  EXPECT_TRUE(db::GroupOrderIdMap.empty());
  EXPECT_TRUE(db::PoolIdMap.empty());
  EXPECT_EQ(db::nextPoolId, 1);
}

}  // namespace
