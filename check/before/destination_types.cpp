#include "check/before/destination_types.h"

#include <array>
#include <string_view>
#include <utility>

#include "check/rules/table_rules.h"

namespace check {

namespace {

constexpr std::size_t kLettersOfInt32 = 11;   // -2147483648
constexpr std::size_t kLettersOfDouble = 24;  // -1.7976931348623157e+308
constexpr std::size_t kDigitsOfInt32 = 10;
constexpr std::size_t kBytesOfName = 63;

// PostgreSQL counts its own length field in a modifier.
constexpr int kModifierOffset = 4;

/// The digits of a numeric before and behind the point.
struct Digits {
  int before;
  int behind;
};

std::optional<Digits> DigitsOf(const DestinationType& type) {
  if (type.name != "numeric" || type.modifier < kModifierOffset) {
    return std::nullopt;
  }
  const auto packed = static_cast<unsigned>(type.modifier - kModifierOffset);
  const int precision = static_cast<int>(packed >> 16U);
  // The scale is a signed number of 11 bits.
  const int scale = static_cast<int>((packed & 0x7FFU) ^ 0x400U) - 0x400;
  return Digits{.before = precision - scale, .behind = scale};
}

Finding OfType(Cost cost, std::string text) {
  return SchemaFinding(finding::DestinationType, cost, std::move(text));
}

/// A number that goes into a text.
Finding NumberIntoText(std::size_t letters, const DestinationType& type) {
  const std::optional<std::size_t> width = WidthOf(type);
  if (width && *width < letters) {
    return OfType(Cost::RunEnds, "Its type is a text: numbers arrive as their digits, and one of more than " +
                                     std::to_string(*width) + " characters ends the run (22001).");
  }
  return OfType(Cost::ValueChanged, "Its type is a text: numbers arrive as their digits.");
}

/// A value that a type reads which is made for something else.
Finding IntoOther(std::string_view what, const DestinationType& type) {
  return OfType(Cost::RunEnds, "Its type is " + type.name + ": " + std::string(what) +
                                   " that is none of its values ends the run (22P02).");
}

std::optional<Finding> JudgeInt32(const DestinationType& type) {
  constexpr std::array<std::string_view, 3> whole = {"int4", "int8", "float8"};
  for (const std::string_view name : whole) {
    if (type.name == name) {
      return std::nullopt;
    }
  }
  if (type.name == "numeric") {
    const std::optional<Digits> digits = DigitsOf(type);
    if (!digits || digits->before >= static_cast<int>(kDigitsOfInt32)) {
      return std::nullopt;
    }
    return OfType(Cost::RunEnds,
                  "A number of more than " + std::to_string(digits->before) + " digits ends the run (22003).");
  }
  if (type.name == "int2") {
    return OfType(Cost::RunEnds, "A number beyond 32767 ends the run (22003).");
  }
  if (type.name == "float4") {
    return OfType(Cost::ValueChanged, "Numbers beyond 16777216 arrive rounded.");
  }
  return type.category == 'S' ? NumberIntoText(kLettersOfInt32, type) : IntoOther("a number", type);
}

std::optional<Finding> JudgeDouble(const DestinationType& type) {
  if (type.name == "float8") {
    return std::nullopt;
  }
  if (type.name == "numeric") {
    const std::optional<Digits> digits = DigitsOf(type);
    if (!digits) {
      return std::nullopt;
    }
    return OfType(Cost::RunEnds, "Numbers arrive rounded to " + std::to_string(digits->behind) +
                                     " decimals, and one of more than " + std::to_string(digits->before) +
                                     " digits before the point ends the run (22003).");
  }
  if (type.name == "float4") {
    return OfType(Cost::RunEnds,
                  "Numbers arrive rounded to 6 digits, and one beyond 3.4e38, such as the 1e50 that "
                  "stands for NULL, ends the run (22003).");
  }
  if (type.name == "int2" || type.name == "int4" || type.name == "int8") {
    return OfType(Cost::RunEnds,
                  "A number with decimals ends the run (22P02), and so does one that is too large "
                  "(22003).");
  }
  return type.category == 'S' ? NumberIntoText(kLettersOfDouble, type) : IntoOther("a number", type);
}

std::optional<Finding> JudgeText(std::size_t letters, const DestinationType& type) {
  if (type.name == "name" && letters > kBytesOfName) {
    return OfType(Cost::TextCut, "Its type is name: texts are cut to 63 bytes.");
  }
  if (type.name == "char") {
    return OfType(Cost::TextCut, "Its type is \"char\": texts are cut to one byte.");
  }
  if (type.category != 'S') {
    return IntoOther("a text", type);
  }
  const std::optional<std::size_t> width = WidthOf(type);
  if (width && *width < letters) {
    return SchemaFinding(finding::DestinationNarrow, Cost::CannotForesee,
                         "It holds " + std::to_string(*width) + " letters, " + std::to_string(letters) +
                             " may be sent: a longer text ends the run (22001). Whether the source has one now is "
                             "said for its rows.");
  }
  if (width && type.name == "bpchar") {
    return SchemaFinding(finding::DestinationPads, Cost::ValueChanged,
                         "Its type is char(" + std::to_string(*width) +
                             "): shorter texts, empty ones too, arrive with blanks up to its width.");
  }
  return std::nullopt;
}

}  // namespace

Finding SchemaFinding(const FindingKind& kind, Cost cost, std::string text, std::string column) {
  Finding finding(kind);
  finding.cost = cost;
  if (!column.empty()) {
    finding.columns = {std::move(column)};
  }
  finding.text = std::move(text);
  return finding;
}

std::optional<std::size_t> WidthOf(const DestinationType& type) {
  if ((type.name != "varchar" && type.name != "bpchar") || type.modifier < kModifierOffset) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(type.modifier - kModifierOffset);
}

std::size_t LettersSent(const db::ColumnDescription& column, std::string_view table) {
  switch (RuleOf(RulesFor(table), column.name).treatment) {
    case Treatment::NumberOfBytes:
      return kLettersOfInt32;
    case Treatment::BytesOfNumber:
      return sizeof(std::int32_t);
    default:
      return column.size - 1;
  }
}

std::optional<Finding> JudgeType(db::ValueKind kind, std::size_t lettersSent, const DestinationType& type) {
  switch (kind) {
    case db::ValueKind::Int32:
      return JudgeInt32(type);
    case db::ValueKind::Double:
      return JudgeDouble(type);
    case db::ValueKind::Text:
      break;
  }
  return JudgeText(lettersSent, type);
}

}  // namespace check
