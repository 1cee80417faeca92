#include "db/text_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iomanip>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

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
  stream.ClearText();
  EXPECT_EQ(stream.text(), "");
  EXPECT_GE(stream.text().capacity(), 1000U);
}

TEST(TextStream, TakesPartsBesidesWhatIsInserted) {
  db::TextStream stream;
  stream.Append("a").Append(std::string_view("\0b", 2)) << 7;
  stream.Append(5, [](char* to) { return std::fill_n(to, 2, 'c'); }).Append("d");
  EXPECT_EQ(stream.text(), std::string("a\0b7ccd", 7));
}

/// A number's decimal point is a comma.
class DecimalComma : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
};

const std::locale kDecimalComma(std::locale::classic(), new DecimalComma);

TEST(TextStream, FormatsAsNewUntilItIsSetOtherwise) {
  db::TextStream stream;
  EXPECT_EQ(db::TextStream::FormattingAsNew(stream), &stream);
  const auto formatsAsNew = [&] { return db::TextStream::FormattingAsNew(stream) != nullptr; };
  stream << std::hex;
  EXPECT_FALSE(formatsAsNew());
  stream << std::dec;
  EXPECT_TRUE(formatsAsNew());
  stream << std::setprecision(5);
  EXPECT_FALSE(formatsAsNew());
  stream << std::setprecision(6);
  EXPECT_TRUE(formatsAsNew());
  stream << std::setw(3);
  EXPECT_FALSE(formatsAsNew());
  stream << "a";
  EXPECT_TRUE(formatsAsNew());
  stream.imbue(kDecimalComma);
  EXPECT_FALSE(formatsAsNew());
  stream.imbue(std::locale::classic());
  EXPECT_TRUE(formatsAsNew());
}

TEST(TextStream, FormatsOtherwiseWhenTheProgramDoes) {
  const std::locale before = std::locale::global(kDecimalComma);
  db::TextStream stream;
  std::locale::global(before);
  EXPECT_EQ(db::TextStream::FormattingAsNew(stream), nullptr);
}

TEST(TextStream, IsNoOtherStream) {
  std::ostringstream other;
  EXPECT_EQ(db::TextStream::FormattingAsNew(other), nullptr);
}

TEST(TextStream, HoldsZeroBytesAndCharactersPutOneByOne) {
  db::TextStream stream;
  stream.put('a');
  stream.put('\0');
  stream.put('\xFF');
  EXPECT_EQ(stream.text(), std::string("a\0\xFF", 3));
}

}  // namespace
