#ifndef BW_LAB_TDS_SERVER_RESULT_SET_H
#define BW_LAB_TDS_SERVER_RESULT_SET_H

#include <vector>

#include "lab/tds_server/collations.h"
#include "lab/tds_server/column_type.h"
#include "lab/tds_server/store.h"
#include "lab/tds_server/tokens.h"

namespace tds {

/// The columns of a query's result as the client sees them. A column's declaration gives its type. An expression has
/// none: it gets the type that a CONVERT names, or that of its value in the row that the statement stands on, and int
/// without a row. `hasRow` says whether it stands on one.
std::vector<Column> DescribeColumns(const Statement& statement, const Collations& collations, bool hasRow);

/// Writes the row that the statement stands on.
/// \throws SqlError when a value does not fit its column's type; nothing of the row is sent then.
void WriteRow(const Statement& statement, const std::vector<Column>& columns, Collations& collations,
              TokenWriter& tokens);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_RESULT_SET_H
