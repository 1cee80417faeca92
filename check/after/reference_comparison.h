#ifndef BW_CHECK_AFTER_REFERENCE_COMPARISON_H
#define BW_CHECK_AFTER_REFERENCE_COMPARISON_H

#include <cstdint>
#include <string>
#include <vector>

#include "check/after/row_comparison.h"
#include "check/rules/rules.h"
#include "odbc/connection.h"

/// Where references lead. All functions throw odbc::Error when the destination cannot be asked.
namespace check {

/// Rows of the destination whose number in one column does not lead where it should.
struct WrongReferences {
  std::uint64_t rows = 0;
  std::vector<RowKey> keys;         ///< Of the first rows.
  std::vector<std::string> leadTo;  ///< For the same rows, the number and what it became.
};

/// Rows whose number names no row of the table that it refers to, where the copies have one. `number` is that
/// table's column with the numbers.
WrongReferences FindDangling(const odbc::DBConnection& destination, const RowComparison& comparison,
                             const ComparedTable& table, const rules::ColumnRule& rule, const ComparedTable& referred,
                             const std::string& number);

/// Which rows of the referred table are looked at.
enum class Numbering : std::uint8_t {
  InOrder,     ///< Those that are numbered in the order in which the source gives them now.
  OutOfOrder,  ///< The others.
};

/// Rows whose number leads to another row than it does in the source, or to none. Both tables were compared, and
/// `referred` is numbered by the destination. A number that names no row in the source is no reference, unless it names
/// one in the destination.
WrongReferences FindElsewhere(const odbc::DBConnection& destination, const RowComparison& comparison,
                              const ComparedTable& table, const rules::ColumnRule& rule, const ComparedTable& referred,
                              Numbering numbering);

}  // namespace check

#endif  // BW_CHECK_AFTER_REFERENCE_COMPARISON_H
