#include "check/sql/sql_text.h"

namespace check {

namespace {

/// The text between two marks, with the second one doubled inside.
std::string Enclosed(char open, std::string_view text, char close) {
  std::string enclosed(1, open);
  for (const char c : text) {
    enclosed.append(c == close ? 2 : 1, c);
  }
  return enclosed + close;
}

}  // namespace

std::string QuotedName(Side side, std::string_view name) {
  return side == Side::Source ? Enclosed('[', name, ']') : Enclosed('"', name, '"');
}

std::string Literal(std::string_view text) {
  return Enclosed('\'', text, '\'');
}

}  // namespace check
