#include "check/cli/passwords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <streambuf>
#include <string>
#include <utility>

namespace check {
namespace {

/// Reads two passwords from a text; notes the prompts.
class PasswordsTest : public testing::Test {
 protected:
  void Read(const std::string& typed) {
    std::istringstream input(typed);
    ReadPasswords(
        input, [this](std::string_view prompt) { prompts_ += prompt; }, passwords_);
  }

  std::string Failure(const std::string& typed) {
    try {
      Read(typed);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "none";
  }

  Passwords passwords_;
  std::string prompts_;
};

TEST_F(PasswordsTest, AreOneLineEach) {
  Read("night desk 1\n\tday;desk\\2\nmore\n");
  EXPECT_EQ(passwords_.source, "night desk 1");
  EXPECT_EQ(passwords_.destination, "\tday;desk\\2");
  EXPECT_EQ(prompts_, "Password for the source database: \nPassword for the destination database: ");
}

TEST_F(PasswordsTest, LastLineNeedsNoEnd) {
  Read("one\ntwo");
  EXPECT_EQ(passwords_.source, "one");
  EXPECT_EQ(passwords_.destination, "two");
}

TEST_F(PasswordsTest, MayBeEmpty) {
  Read("\n\n");
  EXPECT_EQ(passwords_.source, "");
  EXPECT_EQ(passwords_.destination, "");
}

TEST_F(PasswordsTest, KeepAllBytes) {
  Read("\xEF\xE0\xF0\xEE\xEB\xFC\np\xC3\xA4ssw\xC3\xB6rd\n");
  EXPECT_EQ(passwords_.source, "\xEF\xE0\xF0\xEE\xEB\xFC");
  EXPECT_EQ(passwords_.destination, "p\xC3\xA4ssw\xC3\xB6rd");
}

TEST_F(PasswordsTest, OneLineIsNotEnough) {
  EXPECT_EQ(Failure(""), "standard input ends before the password of the source");
  EXPECT_EQ(Failure("night-desk-1\n"), "standard input ends before the password of the destination");
}

/// Gives its bytes one by one, as standard input without a buffer does.
class Typed final : public std::streambuf {
 public:
  explicit Typed(std::string text) : text_(std::move(text)) {}

 protected:
  int_type underflow() override {
    if (next_ == text_.size()) {
      return traits_type::eof();
    }
    setg(&text_[next_], &text_[next_], &text_[next_] + 1);
    ++next_;
    return traits_type::to_int_type(*gptr());
  }

 private:
  std::string text_;
  std::size_t next_ = 0;
};

TEST_F(PasswordsTest, GrowWithoutLeavingCopiesBehind) {
  // A text that outgrows its storage gets one of about twice the size, which is never this one.
  const std::string longest(32'767, 'x');
  Typed typed(longest + "\n" + longest + "\n");
  std::istream input(&typed);
  ReadPasswords(
      input, [](std::string_view) {}, passwords_);
  EXPECT_EQ(passwords_.source, longest);
  EXPECT_EQ(passwords_.source.capacity(), longest.size());
  EXPECT_EQ(passwords_.destination, longest);
  EXPECT_EQ(passwords_.destination.capacity(), longest.size());
}

}  // namespace
}  // namespace check
