#include <filesystem>
#include <iostream>
#include <string>

#include "config/migration_settings.h"

namespace {

void PrintHex(const std::string& text) {
  constexpr const char* digits = "0123456789abcdef";
  std::cout << ' ';
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    std::cout << digits[byte / 16] << digits[byte % 16];
  }
}

void Print(const config::ConnectionSettings& settings) {
  PrintHex(settings.dataSourceName);
  PrintHex(settings.login);
  PrintHex(settings.schema);
}

}  // namespace

/// For each name of a file in the working directory that standard input gives, one a line, prints one line: the name,
/// then the six settings that the file holds, each behind a blank, in hexadecimal.
int main() {
  for (std::string name; std::getline(std::cin, name);) {
    const config::MigrationSettings settings((std::filesystem::current_path() / name).string());
    std::cout << name;
    Print(settings.source);
    Print(settings.destination);
    std::cout << '\n';
  }
  return 0;
}
