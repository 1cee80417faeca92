#include "check/report/acceptance.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>
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

/// A database as it was connected to.
std::string Place(const std::string& server, const std::string& port, const std::string& database,
                  const std::string& schema) {
  return "schema '" + schema + "' of database '" + database + "' on server '" + server + "', port '" + port + "'";
}

bool IsNoMore(const std::optional<std::uint64_t>& rows, const std::optional<std::uint64_t>& accepted) {
  return rows && accepted ? *rows <= *accepted : !rows && !accepted;
}

/// Each column by itself where the kind of finding is about each, else all of them.
std::vector<std::set<std::string>> Parts(std::string_view id, const std::set<std::string>& columns) {
  const auto kinds = AllFindings();
  const bool perColumn =
      std::ranges::any_of(kinds, [id](const auto* kind) { return kind->id == id && kind->perColumn; });
  if (!perColumn || columns.empty()) {
    return {columns};
  }
  std::vector<std::set<std::string>> parts;
  std::ranges::transform(columns, std::back_inserter(parts),
                         [](const std::string& column) { return std::set{column}; });
  return parts;
}

}  // namespace

Acceptance::Acceptance(const std::filesystem::path& path) : path_(path) {
  bool partial = false;
  try {
    const json report = Read(path);
    if (report.at("format") != kReportFormat || report.at("version") != kReportVersion) {
      Refuse(path, "it is not a report of this version of bw_db_check");
    }
    partial = report.at("partial");
    const auto place = [&report](const char* side) {
      const json& compared = report.at("compared").at(side);
      return Place(compared.at("server"), compared.at("port"), compared.at("database"), compared.at("schema"));
    };
    source_ = place("source");
    destination_ = place("destination");
    const auto take = [this](const std::string& table, const json& findings) {
      for (const json& finding : findings) {
        const json& rows = finding.at("rows");
        Take(table, finding.at("id"), finding.at("columns"),
             rows.is_null() ? std::nullopt : std::optional<std::uint64_t>(rows));
      }
    };
    take("", report.at("general"));
    for (const json& table : report.at("tables")) {
      take(table.at("table"), table.at("findings"));
    }
  } catch (const json::exception&) {
    Refuse(path, "it is not a report of this version of bw_db_check");
  }
  if (partial) {
    Refuse(path, "it is a partial report");
  }
  // So that a finding uses up the smallest of those that accept it.
  std::ranges::sort(known_, [](const Known& left, const Known& right) { return left.rows < right.rows; });
}

void Acceptance::RequireSame(const Identity& identity) const {
  const auto require = [this](const std::string& before, const ComparedSide& side, const std::string& name) {
    const std::string now = Place(AsUtf8(side.server), AsUtf8(side.port), AsUtf8(side.database), AsUtf8(side.schema));
    if (before != now) {
      Refuse(path_, "its " + name + " is " + before + ", and now it is " + now);
    }
  };
  require(source_, identity.source, "source");
  require(destination_, identity.destination, "destination");
}

void Acceptance::Take(const std::string& table, const std::string& id, const std::set<std::string>& columns,
                      std::optional<std::uint64_t> rows) {
  for (const std::set<std::string>& part : Parts(id, columns)) {
    known_.push_back({.table = table, .id = id, .columns = part, .rows = rows});
  }
}

void Acceptance::Mark(std::vector<Known>& known, const std::string& table, std::vector<Finding>& findings) {
  for (Finding& finding : findings) {
    std::set<std::string> columns;
    std::ranges::transform(finding.columns, std::inserter(columns, columns.end()), AsUtf8);
    std::vector<Known> left = known;
    const auto parts = Parts(finding.kind->id, columns);
    finding.accepted = std::ranges::all_of(parts, [&](const std::set<std::string>& part) {
      const auto accepting = std::ranges::find_if(left, [&](const Known& each) {
        return each.table == table && each.id == finding.kind->id && each.columns == part &&
               IsNoMore(finding.rows, each.rows);
      });
      const bool found = accepting != left.end();
      if (found) {
        left.erase(accepting);
      }
      return found;
    });
    if (finding.accepted) {
      known = std::move(left);
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
