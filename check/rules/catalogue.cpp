#include "check/rules/catalogue.h"

#include <algorithm>
#include <stdexcept>
#include <string>

#include "db/tables/table_list.h"

namespace check {

namespace {

template <class... Pairs>
std::vector<db::TableDescription> DescribeAll(db::TableList<Pairs...> /*tables*/) {
  return {decltype(Pairs::source)::Description()...};
}

}  // namespace

const std::vector<db::TableDescription>& Catalogue() {
  static const std::vector<db::TableDescription> catalogue = DescribeAll(db::Tables{});
  return catalogue;
}

const db::TableDescription& TableNamed(std::string_view name) {
  const auto& tables = Catalogue();
  const auto found = std::find_if(tables.begin(), tables.end(),
                                  [name](const db::TableDescription& table) { return table.name == name; });
  if (found == tables.end()) {
    throw std::out_of_range("there is no table " + std::string(name));
  }
  return *found;
}

}  // namespace check
