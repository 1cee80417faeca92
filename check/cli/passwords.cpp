#include "check/cli/passwords.h"

#include <sql.h>

#include <cstdio>
#include <iostream>
#include <limits>
#include <stdexcept>

#include "check/cli/platform.h"
#include "odbc/secret.h"

namespace check {

namespace {

/// The storage is made before, so that no text that was outgrown keeps a copy.
bool ReadLine(std::istream& input, std::string& line) {
  line.reserve(std::numeric_limits<SQLSMALLINT>::max());
  return static_cast<bool>(std::getline(input, line));
}

}  // namespace

Passwords::~Passwords() {
  odbc::Wipe(source);
  odbc::Wipe(destination);
}

void ReadPasswords(std::istream& input, const std::function<void(std::string_view)>& prompt, Passwords& passwords) {
  prompt("Password for the source database: ");
  if (!ReadLine(input, passwords.source)) {
    throw std::runtime_error("standard input ends before the password of the source");
  }
  prompt("\nPassword for the destination database: ");
  if (!ReadLine(input, passwords.destination)) {
    throw std::runtime_error("standard input ends before the password of the destination");
  }
}

void AskPasswords(Passwords& passwords) {
  static_cast<void>(std::setvbuf(stdin, nullptr, _IONBF, 0));  // The library keeps no copy either.
  if (!InputIsTerminal()) {
    ReadPasswords(
        std::cin, [](std::string_view) {}, passwords);
    return;
  }
  HiddenTyping typing;
  ReadPasswords(
      std::cin, [&typing](std::string_view text) { typing.Prompt(text); }, passwords);
}

}  // namespace check
