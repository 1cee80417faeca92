#include "check/report/acceptance.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <system_error>

#include "check/report/characters.h"
#include "check/report/json_report.h"

namespace check {

namespace {

using nlohmann::json;

[[noreturn]] void Refuse(const std::filesystem::path& path, const std::string& reason) {
  throw std::runtime_error("cannot accept what " + path.string() + " holds: " + reason);
}

json Read(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios_base::binary);
  if (!file) {
    Refuse(path, std::generic_category().message(errno));
  }
  return json::parse(file);
}

bool IsNoMore(const std::optional<std::uint64_t>& rows, const std::optional<std::uint64_t>& accepted) {
  return rows && accepted ? *rows <= *accepted : !rows && !accepted;
}

}  // namespace

Acceptance::Acceptance(const std::filesystem::path& path) : path_(path) {
  bool partial = false;
  try {
    const json report = Read(path);
    if (report.at("format") != kReportFormat || report.at("version") != kReportVersion) {
      Refuse(path, "it is no report of this version of bw_db_check");
    }
    partial = report.at("partial");
    const auto place = [&report](const char* side) {
      const json& compared = report.at("compared").at(side);
      return Place{
          .server = compared.at("server"), .database = compared.at("database"), .schema = compared.at("schema")};
    };
    source_ = place("source");
    destination_ = place("destination");
    const auto take = [this](const std::string& table, const json& findings) {
      for (const json& finding : findings) {
        const json& rows = finding.at("rows");
        known_.push_back({.table = table,
                          .id = finding.at("id"),
                          .columns = finding.at("columns"),
                          .rows = rows.is_null() ? std::nullopt : std::optional<std::uint64_t>(rows)});
      }
    };
    take("", report.at("general"));
    for (const json& table : report.at("tables")) {
      take(table.at("table"), table.at("findings"));
    }
  } catch (const json::exception&) {
    Refuse(path, "it is no report of this version of bw_db_check");
  }
  if (partial) {
    Refuse(path, "it is a partial report");
  }
  // So that a finding uses up the smallest of those that accept it.
  std::sort(known_.begin(), known_.end(), [](const Known& left, const Known& right) { return left.rows < right.rows; });
}

Acceptance::Place Acceptance::PlaceOf(const ComparedSide& side) {
  return {.server = AsUtf8(side.server), .database = AsUtf8(side.database), .schema = AsUtf8(side.schema)};
}

void Acceptance::RequireSame(const Identity& identity) const {
  RequireSame(source_, PlaceOf(identity.source), "source");
  RequireSame(destination_, PlaceOf(identity.destination), "destination");
}

void Acceptance::RequireSame(const Place& before, const Place& now, const std::string& side) const {
  const auto text = [](const Place& place) {
    return "schema '" + place.schema + "' of database '" + place.database + "' on server '" + place.server + "'";
  };
  if (text(before) != text(now)) {
    Refuse(path_, "its " + side + " is " + text(before) + ", and now it is " + text(now));
  }
}

void Acceptance::Mark(std::vector<Known>& known, const std::string& table, std::vector<Finding>& findings) {
  for (Finding& finding : findings) {
    std::set<std::string> columns;
    std::transform(finding.columns.begin(), finding.columns.end(), std::inserter(columns, columns.end()), AsUtf8);
    const auto accepted = std::find_if(known.begin(), known.end(), [&](const Known& each) {
      return each.table == table && each.id == finding.kind->id && each.columns == columns &&
             IsNoMore(finding.rows, each.rows);
    });
    finding.accepted = accepted != known.end();
    if (finding.accepted) {
      known.erase(accepted);
    }
  }
}

void Acceptance::Apply(Report& report) const {
  std::vector<Known> known = known_;
  Mark(known, "", report.general);
  for (TableReport& table : report.tables) {
    Mark(known, table.table, table.findings);
  }
}

}  // namespace check
