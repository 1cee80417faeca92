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

using nlohmann::ordered_json;

ordered_json Of(const std::vector<std::string>& texts) {
  ordered_json array = ordered_json::array();
  std::ranges::transform(texts, std::back_inserter(array), AsUtf8);
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
      {"text", AsUtf8(finding.text)}, {"query", Of(finding.query)},   {"accepted", finding.accepted},
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

ordered_json Of(const ComparedSide& side) {
  return {
      {"data_source", AsUtf8(side.dataSource)}, {"server", AsUtf8(side.server)}, {"port", AsUtf8(side.port)},
      {"database", AsUtf8(side.database)},      {"login", AsUtf8(side.login)},   {"schema", AsUtf8(side.schema)},
      {"product", AsUtf8(side.product)},        {"driver", AsUtf8(side.driver)},
  };
}

std::size_t CountFindings(const Report& report) {
  return std::accumulate(report.tables.begin(), report.tables.end(), report.general.size(),
                         [](std::size_t sum, const TableReport& table) { return sum + table.findings.size(); });
}

}  // namespace

std::string JsonReport(const Report& report) {
  const Identity& identity = report.identity;
  const ordered_json json = {
      {"format", kReportFormat},
      {"version", kReportVersion},
      {"program_version", AsUtf8(identity.programVersion)},
      {"command", NameOf(report.command)},
      {"status", NameOf(report.status)},
      {"status_line", AsUtf8(StatusLine(report))},
      {"foreseen", report.foreseen},
      {"verdict", AsUtf8(report.verdict)},
      {"run_ends_in", report.runEndsIn ? ordered_json(*report.runEndsIn) : ordered_json()},
      {"partial", report.IsPartial()},
      {"exit_code", report.HasNewFindings() ? 1 : 0},
      {"findings", CountFindings(report)},
      {"time", AsUtf8(identity.time)},
      {"host", AsUtf8(identity.host)},
      {"options", Of(identity.options)},
      {"compared", {{"source", Of(identity.source)}, {"destination", Of(identity.destination)}}},
      {"facts", Of(report.facts)},
      {"general", Of(report.general)},
      {"tables", Of(report.tables)},
  };
  constexpr bool onlyAscii = true;  // Nothing in the file moves a terminal's cursor either.
  return json.dump(2, ' ', onlyAscii) + '\n';
}

}  // namespace check
