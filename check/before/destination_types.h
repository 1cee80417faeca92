#ifndef BW_CHECK_BEFORE_DESTINATION_TYPES_H
#define BW_CHECK_BEFORE_DESTINATION_TYPES_H

#include <cstddef>
#include <optional>
#include <string>

#include "check/report/finding.h"
#include "db/table_description.h"

namespace check {

/// The type of a column or parameter of the destination; of a domain, the type behind it.
struct DestinationType {
  std::string name;     ///< As pg_type spells it, such as "int4".
  char category = 'X';  ///< As in pg_type: 'S' for texts, 'N' for numbers.
  int modifier = -1;    ///< The width of a text, the digits of a numeric, as PostgreSQL packs them; -1 for none.
};

/// The width in letters of a text type that has one.
std::optional<std::size_t> WidthOf(const DestinationType& type);

/// Letters of what is sent at most, as a text.
std::size_t LettersSent(const db::ColumnDescription& column, std::string_view table);

/// What a type makes of the values that it is sent; nothing when it holds each of them as it is. Values are sent as
/// texts without a type, so PostgreSQL reads them as it reads a literal in quotes.
std::optional<Finding> JudgeType(db::ValueKind kind, std::size_t lettersSent, const DestinationType& type);

/// A finding that is about no rows.
Finding SchemaFinding(const FindingKind& kind, Cost cost, std::string text, std::string column = {});

}  // namespace check

#endif  // BW_CHECK_BEFORE_DESTINATION_TYPES_H
