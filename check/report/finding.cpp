#include "check/report/finding.h"

#include <algorithm>
#include <iterator>
#include <tuple>

namespace check {

std::vector<const Finding*> ByCost(const std::vector<Finding>& findings) {
  std::vector<const Finding*> sorted;
  std::transform(findings.begin(), findings.end(), std::back_inserter(sorted),
                 [](const Finding& finding) { return &finding; });
  // The address keeps findings of the same cost in order. std::stable_sort would do so by itself, but newer compilers
  // warn of its use of a deprecated function.
  std::sort(sorted.begin(), sorted.end(), [](const Finding* left, const Finding* right) {
    return std::tie(left->cost, left) < std::tie(right->cost, right);
  });
  return sorted;
}

std::string_view NameOf(Command command) {
  return command == Command::Before ? "before" : "after";
}

bool Report::HasFindings() const {
  return !general.empty() ||
         std::any_of(tables.begin(), tables.end(), [](const TableReport& table) { return !table.findings.empty(); });
}

}  // namespace check
