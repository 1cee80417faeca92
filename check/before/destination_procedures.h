#ifndef BW_CHECK_BEFORE_DESTINATION_PROCEDURES_H
#define BW_CHECK_BEFORE_DESTINATION_PROCEDURES_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/before/destination_catalogue.h"
#include "check/report/finding.h"
#include "db/table_description.h"

namespace check {

/// The procedure that a table's statement calls; nothing when it is an INSERT.
std::optional<std::string> CalledProcedure(const db::TableDescription& table);

/// What is wrong with the parameters of a procedure that takes as many values as are sent: their directions, types and
/// order, which shows in names that are those of other columns. Nothing when all is well.
std::optional<Finding> JudgeParameters(const db::TableDescription& table, const Procedure& procedure);

}  // namespace check

#endif  // BW_CHECK_BEFORE_DESTINATION_PROCEDURES_H
