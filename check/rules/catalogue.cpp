#include "check/rules/catalogue.h"

#include <algorithm>
#include <stdexcept>

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

bool IsChosen(const std::vector<std::string>& chosen, std::string_view table) {
  return chosen.empty() || std::ranges::find(chosen, table) != chosen.end();
}

const db::TableDescription& TableNamed(std::string_view name) {
  const std::size_t place = PlaceOf(name);
  if (place == Catalogue().size()) {
    throw std::out_of_range("there is no table " + std::string(name));
  }
  return Catalogue()[place];
}

std::size_t PlaceOf(std::string_view table) {
  const auto& all = Catalogue();
  return static_cast<std::size_t>(std::ranges::find(all, table, &db::TableDescription::name) - all.begin());
}

}  // namespace check
