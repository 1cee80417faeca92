#include "check/report/finding.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <tuple>
#include <utility>

namespace check {

std::vector<const Finding*> ByCost(const std::vector<Finding>& findings) {
  std::vector<const Finding*> sorted;
  std::ranges::transform(findings, std::back_inserter(sorted), [](const Finding& finding) { return &finding; });
  // The address keeps findings of the same cost in order. std::stable_sort would do so by itself, but newer compilers
  // warn of its use of a deprecated function.
  std::ranges::sort(sorted, [](const Finding* left, const Finding* right) {
    return std::tie(left->cost, left) < std::tie(right->cost, right);
  });
  return sorted;
}

std::string_view NameOf(Command command) {
  return command == Command::Before ? "before" : "after";
}

std::string_view NameOf(Status status) {
  switch (status) {
    case Status::GoesThroughUnchanged:
      return "goes-through-unchanged";
    case Status::GoesThroughWithChanges:
      return "goes-through-with-changes";
    case Status::EndsInTable:
      return "ends-in-table";
    case Status::Refused:
      return "refused";
    case Status::Complete:
      return "complete";
    case Status::CompleteWithChanges:
      return "complete-with-changes";
    case Status::Incomplete:
      return "incomplete";
    case Status::Different:
      return "different";
    case Status::PartialUnchanged:
      return "partial-unchanged";
    case Status::PartialWithChanges:
      break;
  }
  return "partial-with-changes";
}

std::string InWords(std::string_view name) {
  std::string words(name);
  std::ranges::replace(words, '-', ' ');
  words.front() = static_cast<char>(std::toupper(words.front()));
  return words;
}

std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

bool Report::HasNewFindings() const {
  const auto anyNew = [](const std::vector<Finding>& findings) {
    return std::ranges::any_of(findings, [](const Finding& finding) { return !finding.accepted; });
  };
  return anyNew(general) ||
         std::ranges::any_of(tables, [&](const TableReport& table) { return anyNew(table.findings); });
}

bool Report::IsUnchanged() const {
  const auto changesNothing = [](const Finding& finding) { return finding.cost == Cost::CannotForesee; };
  return std::ranges::all_of(tables, [&](const TableReport& table) {
    return std::ranges::all_of(table.findings, changesNothing) &&
           (!table.unchangedRows || table.unchangedRows == table.sourceRows);
  });
}

bool Report::HasAllFigures() const {
  return std::ranges::all_of(
      tables, [](const TableReport& table) { return table.sourceRows && table.arrivingRows && table.unchangedRows; });
}

std::string StatusLine(const Report& report) {
  std::string name(NameOf(report.status));
  if (report.status == Status::EndsInTable) {
    name = "ends in " + report.runEndsIn.value_or("a table that is not shown");
  }
  constexpr std::string_view partial = "partial-";
  if (report.IsPartial()) {
    name = "partial, " + name.substr(name.starts_with(partial) ? partial.size() : 0);
  }
  const std::string line = InWords(name);
  const std::string_view known = report.command == Command::Before ? "foreseen" : "compared";
  return report.foreseen ? line : line + ", as far as can be " + std::string(known);
}

namespace {

bool DifferByColumnOnly(const Finding& left, const Finding& right) {
  const auto sideOf = [](const Finding& finding) {
    return finding.query ? std::optional(finding.query->side) : std::nullopt;
  };
  return left.kind == right.kind && left.kind->perColumn && left.cost == right.cost && left.rows == right.rows &&
         left.keys == right.keys && left.arrives == right.arrives && left.text == right.text &&
         sideOf(left) == sideOf(right) && !left.columns.empty() && !right.columns.empty();
}

}  // namespace

void MergeColumns(Report& report) {
  for (TableReport& table : report.tables) {
    std::vector<Finding> merged;
    for (Finding& finding : table.findings) {
      const auto same =
          std::ranges::find_if(merged, [&](const Finding& earlier) { return DifferByColumnOnly(earlier, finding); });
      if (same == merged.end()) {
        merged.push_back(std::move(finding));
        continue;
      }
      same->columns.insert(same->columns.end(), finding.columns.begin(), finding.columns.end());
      if (finding.query && finding.query->text != same->query->text) {
        same->query->text += "\n" + finding.query->text;
      }
    }
    table.findings = std::move(merged);
  }
}

}  // namespace check
