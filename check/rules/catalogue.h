#ifndef BW_CHECK_RULES_CATALOGUE_H
#define BW_CHECK_RULES_CATALOGUE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "db/table_description.h"

namespace check {

/// The 22 tables in the order in which they are migrated.
const std::vector<db::TableDescription>& Catalogue();

/// Whether the report is on a table: `chosen` are the tables that it is limited to; none means all.
bool IsChosen(const std::vector<std::string>& chosen, std::string_view table);

/// The table of that name.
///
/// \throws std::out_of_range when there is none.
const db::TableDescription& TableNamed(std::string_view name);

/// Its place in the catalogue, from 0; their number when there is none of that name.
std::size_t PlaceOf(std::string_view table);

}  // namespace check

#endif  // BW_CHECK_RULES_CATALOGUE_H
