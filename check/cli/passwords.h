#ifndef BW_CHECK_CLI_PASSWORDS_H
#define BW_CHECK_CLI_PASSWORDS_H

#include <functional>
#include <istream>
#include <string>
#include <string_view>

namespace check {

/// The passwords of the two sides, wiped when the object is gone.
struct Passwords {
  Passwords() = default;
  ~Passwords();
  Passwords(const Passwords&) = delete;
  Passwords(Passwords&&) = delete;
  Passwords& operator=(const Passwords&) = delete;
  Passwords& operator=(Passwords&&) = delete;

  std::string source;
  std::string destination;
};

/// Reads the two passwords, a line each; `prompt` shows what is asked for.
///
/// \throws std::runtime_error when there are no two lines.
void ReadPasswords(std::istream& input, const std::function<void(std::string_view)>& prompt, Passwords& passwords);

/// The same from standard input: asked for without echo where that is a terminal, and without a word where it is none.
///
/// \throws std::runtime_error when there are no two lines.
void AskPasswords(Passwords& passwords);

}  // namespace check

#endif  // BW_CHECK_CLI_PASSWORDS_H
