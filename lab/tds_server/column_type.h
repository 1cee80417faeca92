#ifndef BW_LAB_TDS_SERVER_COLUMN_TYPE_H
#define BW_LAB_TDS_SERVER_COLUMN_TYPE_H

#include <optional>
#include <string>
#include <string_view>

#include "lab/tds_server/bytes.h"
#include "lab/tds_server/code_page.h"

namespace tds {

/// The nullable types in which the server sends values, with their codes on the wire.
enum class WireType : std::uint8_t {
  IntN = 0x26,
  FltN = 0x6D,
  BigVarBinary = 0xA5,
  BigVarChar = 0xA7,
  BigChar = 0xAF,
  NVarChar = 0xE7,
};

/// The longest value of a char, varchar, nvarchar or varbinary column, in bytes.
inline constexpr std::uint16_t kMaxTextSize = 8000;

struct ColumnType {
  WireType wire;
  std::uint16_t size;  ///< bytes of a value; for texts and bytes the most that a value can have

  bool operator==(const ColumnType&) const = default;
};

inline constexpr ColumnType kInt = {WireType::IntN, 4};
inline constexpr ColumnType kBigInt = {WireType::IntN, 8};
inline constexpr ColumnType kFloat = {WireType::FltN, 8};
inline constexpr ColumnType kLongestVarChar = {WireType::BigVarChar, kMaxTextSize};
inline constexpr ColumnType kLongestNVarChar = {WireType::NVarChar, kMaxTextSize};
inline constexpr ColumnType kLongestVarBinary = {WireType::BigVarBinary, kMaxTextSize};

struct Column {
  std::string name;
  ColumnType type;
  const CodePage* codePage = nullptr;  ///< of the text types
};

/// The type for a declaration such as "varchar(20)", in any case; none for one that the server does not have.
std::optional<ColumnType> TypeFromDeclaration(std::string_view declaration);

/// The type's name in messages of the server.
std::string_view TypeName(ColumnType type);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_COLUMN_TYPE_H
