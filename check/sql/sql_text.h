#ifndef BW_CHECK_SQL_SQL_TEXT_H
#define BW_CHECK_SQL_SQL_TEXT_H

#include <string>
#include <string_view>

#include "check/report/finding.h"

/// How names and texts are written in the two servers' SQL.
namespace check {

/// A name: in brackets for the source, in double quotes for the destination.
std::string QuotedName(Side side, std::string_view name);

/// A text literal, for either side.
std::string Literal(std::string_view text);

}  // namespace check

#endif  // BW_CHECK_SQL_SQL_TEXT_H
