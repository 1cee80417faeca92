#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "bytes.h"

namespace tds {

/// The nullable types in which the server sends values, with their codes on the wire.
enum class WireType : std::uint8_t { kIntN = 0x26, kFltN = 0x6D, kBigVarChar = 0xA7, kBigChar = 0xAF };

/// The longest value of a char or varchar column, in bytes.
inline constexpr std::uint16_t kMaxTextSize = 8000;

struct ColumnType {
  WireType wire;
  std::uint16_t size;  ///< bytes of a value; for the text types the most that a value can have

  bool operator==(const ColumnType&) const = default;
};

inline constexpr ColumnType kInt = {WireType::kIntN, 4};
inline constexpr ColumnType kBigInt = {WireType::kIntN, 8};
inline constexpr ColumnType kFloat = {WireType::kFltN, 8};
inline constexpr ColumnType kLongestVarChar = {WireType::kBigVarChar, kMaxTextSize};

struct Column {
  std::string name;
  ColumnType type;
};

/// The type for a declaration such as "varchar(20)", in any case; none for one that the server does not have.
std::optional<ColumnType> TypeFromDeclaration(std::string_view declaration);

/// The type's name in messages of the server.
std::string_view TypeName(ColumnType type);

}  // namespace tds
