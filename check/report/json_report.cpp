#include "check/report/json_report.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>
#include <vector>

#include "check/report/characters.h"

namespace check {

namespace {

constexpr int kFormatVersion = 2;

using nlohmann::ordered_json;

ordered_json Of(const std::vector<std::string>& texts) {
  ordered_json array = ordered_json::array();
  std::transform(texts.begin(), texts.end(), std::back_inserter(array), AsUtf8);
  return array;
}

ordered_json Of(const std::optional<std::uint64_t>& number) {
  return number ? ordered_json(*number) : ordered_json();
}

ordered_json Of(const std::optional<Query>& query) {
  if (!query) {
    return {};
  }
  return {{"side", query->side == Side::Source ? "source" : "destination"}, {"text", AsUtf8(query->text)}};
}

ordered_json Of(const Finding& finding) {
  return {
      {"id", finding.kind->id},       {"cost", NameOf(finding.cost)}, {"columns", Of(finding.columns)},
      {"rows", Of(finding.rows)},     {"keys", Of(finding.keys)},     {"arrives", Of(finding.arrives)},
      {"text", AsUtf8(finding.text)}, {"query", Of(finding.query)},
  };
}

ordered_json Of(const std::vector<Finding>& findings) {
  ordered_json array = ordered_json::array();
  for (const Finding* const finding : ByCost(findings)) {
    array.push_back(Of(*finding));
  }
  return array;
}

ordered_json Of(const TableReport& table) {
  return {
      {"table", table.table},
      {"source_rows", Of(table.sourceRows)},
      {"arriving_rows", Of(table.arrivingRows)},
      {"unchanged_rows", Of(table.unchangedRows)},
      {"refused_rows", Of(table.refusedRows)},
      {"destination_rows", Of(table.destinationRows)},
      {"milliseconds", table.milliseconds},
      {"findings", Of(table.findings)},
  };
}

ordered_json Of(const std::vector<TableReport>& tables) {
  ordered_json array = ordered_json::array();
  for (const TableReport& table : tables) {
    array.push_back(Of(table));
  }
  return array;
}

std::size_t CountFindings(const Report& report) {
  return std::accumulate(report.tables.begin(), report.tables.end(), report.general.size(),
                         [](std::size_t sum, const TableReport& table) { return sum + table.findings.size(); });
}

}  // namespace

std::string JsonReport(const Report& report, std::string_view programVersion) {
  const ordered_json json = {
      {"format", "bw_db_check report"},
      {"version", kFormatVersion},
      {"program_version", programVersion},
      {"command", NameOf(report.command)},
      {"facts", Of(report.facts)},
      {"general", Of(report.general)},
      {"tables", Of(report.tables)},
      {"findings", CountFindings(report)},
      {"run_ends_in", report.runEndsIn ? ordered_json(*report.runEndsIn) : ordered_json()},
      {"verdict", AsUtf8(report.verdict)},
      {"exit_code", report.HasFindings() ? 1 : 0},
  };
  constexpr bool onlyAscii = true;  // Nothing in the file moves a terminal's cursor either.
  return json.dump(2, ' ', onlyAscii) + '\n';
}

}  // namespace check
