#include "odbc/secret.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

void ExpectWiped(std::string secret) {
  const char* storage = secret.data();
  const std::size_t capacity = secret.capacity();
  odbc::Wipe(secret);
  EXPECT_TRUE(secret.empty());
  ASSERT_EQ(secret.data(), storage);
  EXPECT_TRUE(std::all_of(storage, storage + capacity, [](char c) { return c == '\0'; }));
}

TEST(Secret, IsOverwrittenInsideAndOutsideTheObject) {
  ExpectWiped("short");
  ExpectWiped(std::string(1000, 'x'));
}

TEST(Secret, IsOverwrittenBehindAShorterContentToo) {
  std::string secret(1000, 'x');
  secret.resize(3);
  ExpectWiped(std::move(secret));
}

}  // namespace
