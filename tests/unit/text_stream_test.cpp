#include "db/text_stream.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

TEST(TextStream, HoldsWhatIsInserted) {
  db::TextStream stream;
  stream << "row(" << 7 << "): " << 1.5 << ';' << std::endl;
  EXPECT_EQ(stream.text(), "row(7): 1.5;\n");
}

TEST(TextStream, StartsAgainWhenItIsCleared) {
  db::TextStream stream;
  stream << "first";
  stream.ClearText();
  EXPECT_EQ(stream.text(), "");
  stream << "second";
  EXPECT_EQ(stream.text(), "second");
}

TEST(TextStream, KeepsItsStorageWhenItIsCleared) {
  db::TextStream stream;
  stream << std::string(1000, 'x');
  const char* storage = stream.text().data();
  stream.ClearText();
  stream << std::string(1000, 'y');
  EXPECT_EQ(stream.text().data(), storage);
}

TEST(TextStream, HoldsZeroBytesAndCharactersPutOneByOne) {
  db::TextStream stream;
  stream.put('a');
  stream.put('\0');
  stream.put('\xFF');
  EXPECT_EQ(stream.text(), std::string("a\0\xFF", 3));
}

}  // namespace
