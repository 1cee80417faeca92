#ifndef BW_CHECK_RULES_CATALOGUE_H
#define BW_CHECK_RULES_CATALOGUE_H

#include <string_view>
#include <vector>

#include "db/table_description.h"

namespace check {

/// The 22 tables in the order in which they are migrated.
const std::vector<db::TableDescription>& Catalogue();

/// The table of that name.
///
/// \throws std::out_of_range when there is none.
const db::TableDescription& TableNamed(std::string_view name);

}  // namespace check

#endif  // BW_CHECK_RULES_CATALOGUE_H
