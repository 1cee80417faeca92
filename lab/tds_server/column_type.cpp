#include "lab/tds_server/column_type.h"

#include <charconv>

#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr std::string_view kBlanks = " \t\r\n";

std::string_view Trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

/// A declaration in its parts: "varchar", "20".
struct Declaration {
  std::string_view name;
  std::optional<std::string_view> argument;
};

Declaration Split(std::string_view declaration) {
  const std::size_t open = declaration.find('(');
  const std::size_t close = declaration.find(')');
  if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
    return {Trim(declaration), std::nullopt};
  }
  return {Trim(declaration.substr(0, open)), Trim(declaration.substr(open + 1, close - open - 1))};
}

std::optional<ColumnType> TextType(WireType wire, std::optional<std::string_view> argument) {
  if (!argument) {
    return ColumnType{wire, 1};
  }
  std::uint16_t size = 0;
  const auto [end, error] = std::from_chars(argument->data(), argument->data() + argument->size(), size);
  if (error != std::errc{} || end != argument->data() + argument->size() || size == 0 || size > kMaxTextSize) {
    return std::nullopt;
  }
  return ColumnType{wire, size};
}

}  // namespace

std::optional<ColumnType> TypeFromDeclaration(std::string_view declaration) {
  const auto [name, argument] = Split(declaration);
  if (EqualsIgnoringCase(name, "varchar")) {
    return TextType(WireType::BigVarChar, argument);
  }
  if (EqualsIgnoringCase(name, "char")) {
    return TextType(WireType::BigChar, argument);
  }
  if (EqualsIgnoringCase(name, "nvarchar")) {
    std::optional<ColumnType> type = TextType(WireType::NVarChar, argument);
    if (!type || type->size > kMaxTextSize / 2) {
      return std::nullopt;
    }
    type->size = static_cast<std::uint16_t>(2 * type->size);
    return type;
  }
  if (EqualsIgnoringCase(name, "varbinary")) {
    return TextType(WireType::BigVarBinary, argument);
  }
  if (EqualsIgnoringCase(name, "int") || EqualsIgnoringCase(name, "integer")) {
    return kInt;
  }
  if (EqualsIgnoringCase(name, "bigint")) {
    return kBigInt;
  }
  if (EqualsIgnoringCase(name, "float")) {
    return kFloat;
  }
  return std::nullopt;
}

std::string_view TypeName(ColumnType type) {
  switch (type.wire) {
    case WireType::IntN:
      return type.size == 4 ? "int" : "bigint";
    case WireType::FltN:
      return "float";
    case WireType::BigVarBinary:
      return "varbinary";
    case WireType::BigVarChar:
      return "varchar";
    case WireType::BigChar:
      return "char";
    case WireType::NVarChar:
      return "nvarchar";
  }
  return {};
}

}  // namespace tds
