#include "check/before/before.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>

#include "check/before/preflight.h"
#include "check/before/run_conditions.h"
#include "check/before/run_estimate.h"
#include "check/characters/characters.h"
#include "check/connections/connections.h"
#include "check/report/findings.h"
#include "check/rules/catalogue.h"
#include "check/staging/copies.h"
#include "check/staging/row_findings.h"
#include "check/staging/session.h"
#include "check/staging/staging.h"
#include "odbc/diagnostics.h"

namespace check {

namespace {

/// Whether the run comes so far as to empty a table.
bool IsEmptied(std::string_view table, const staging::Obstacles& obstacles, const staging::Staged& staged) {
  return !staged.endsIn || PlaceOf(table) < PlaceOf(*staged.endsIn) ||
         (table == *staged.endsIn && !obstacles.cannotEmpty.contains(table));
}

/// Why it is not known what becomes of a table's rows.
std::optional<std::string> WhyUnforeseen(const staging::StagedTable& staged, const staging::Copies& copies,
                                         const Preflight& preflight) {
  const std::string_view table = staged.table->name;
  // A table that cannot even be emptied gets no rows.
  if (preflight.obstacles.cannotEmpty.contains(table)) {
    return std::nullopt;
  }
  for (const auto* const reasons : {&copies.unforeseen, &preflight.unforeseen}) {
    if (const auto reason = reasons->find(table); reason != reasons->end()) {
      return reason->second;
    }
  }
  return staged.unforeseen.empty() ? std::nullopt : std::optional(staged.unforeseen);
}

/// Puts a table's figures into the report: what is not known stays empty.
void Enter(const staging::StagedTable& staged, const staging::Staged& all, const Preflight& preflight,
           const std::optional<std::string>& unforeseen, bool canStage, const std::string& sourceSchema,
           TableReport& entry) {
  entry.milliseconds = staged.milliseconds;
  if (staged.readable) {
    entry.sourceRows = staged.sourceRows;
  }
  const std::string_view name = staged.table->name;
  if (unforeseen) {
    entry.findings.emplace_back(finding::CannotForesee,
                                "What becomes of the rows cannot be foreseen: " + *unforeseen + ".");
  } else if (staged.foreseen) {
    entry.refusedRows = staged.refusedRows;
    entry.arrivingRows = staged.arrivingRows;
    if (staged.unchangedKnown) {
      entry.unchangedRows = staged.unchangedRows;
    }
  }
  const auto again = preflight.emptiedAgain.find(name);
  const bool isEmptiedAgain =
      again != preflight.emptiedAgain.end() && IsEmptied(again->second, preflight.obstacles, all);
  const bool isAfterEnd = all.endsIn && PlaceOf(name) > PlaceOf(*all.endsIn);
  if (canStage && (isAfterEnd || isEmptiedAgain || preflight.obstacles.cannotEmpty.contains(name))) {
    entry.arrivingRows = 0;
    entry.unchangedRows = 0;
  }
  staging::AddRowFindings(staged, sourceSchema, entry);
}

Status StatusOf(bool ends, const Report& report) {
  if (ends) {
    return Status::EndsInTable;
  }
  const bool unchanged = report.IsUnchanged();
  if (report.IsPartial()) {
    return unchanged ? Status::PartialUnchanged : Status::PartialWithChanges;
  }
  return unchanged ? Status::GoesThroughUnchanged : Status::GoesThroughWithChanges;
}

/// Of the shown tables only.
std::string Totals(const Report& report) {
  std::uint64_t rows = 0;
  std::uint64_t arriving = 0;
  std::uint64_t unchanged = 0;
  bool countable = true;
  for (const TableReport& entry : report.tables) {
    countable = countable && entry.sourceRows;
    rows += entry.sourceRows.value_or(0);
    arriving += entry.arrivingRows.value_or(0);
    unchanged += entry.unchangedRows.value_or(0);
  }
  const std::string where = report.IsPartial() ? " of these tables" : "";
  if (!countable) {
    return "How many rows there are" + where + " is not known.";
  }
  const std::string counted = Counted(rows, "row") + where;
  return report.HasAllFigures()
             ? "Of " + counted + ", " + std::to_string(unchanged) + " will arrive unchanged, " +
                   std::to_string(arriving - unchanged) + " changed, " + std::to_string(rows - arriving) +
                   " not at all."
             : "The source has " + counted + "; how many of them will arrive unchanged is not known.";
}

std::string Verdict(const staging::Staged& staged, const Report& report) {
  const std::string ends =
      staged.endsIn ? "The run will end in " + *staged.endsIn + ", because " + staged.endsBecause + ". " : "";
  return ends + Totals(report);
}

/// Empty when the configured schema is refused.
staging::Destination ReadModel(const odbc::DBConnection& destination) {
  try {
    return staging::ReadDestination(destination);
  } catch (const odbc::Error& error) {
    if (!error.IsOfClass("42") && !error.IsOfClass("3F") && !error.IsOfClass("0A")) {
      throw;
    }
    return {};
  }
}

/// What is wrong besides, with the rights on both sides above all, where nothing can be staged: a line for each matter.
std::string OtherObstacles(const odbc::DBConnection& destination, Report report) {
  const staging::Destination model = ReadModel(destination);
  for (const db::TableDescription& table : Catalogue()) {
    report.tables.emplace_back().table = table.name;
  }
  if (model.tables.empty()) {
    RefusedSchema(destination, report);
  } else {
    LookAtDestination(destination, model, staging::ReadCalls(destination, model), {}, report);
  }
  std::string text;
  const auto add = [&text](const std::vector<Finding>& findings) {
    for (const Finding& each : findings) {
      text += each.kind == &finding::DestinationNotEmpty ? "" : "\n" + each.text;
    }
  };
  add(report.general);
  for (const TableReport& table : report.tables) {
    add(table.findings);
  }
  return text;
}

}  // namespace

Report CheckBefore(odbc::DBConnection& source, const odbc::DBConnection& trial, odbc::DBConnection& destination,
                   const std::vector<std::string>& tables, Progress& progress) {
  Report report;
  report.command = Command::Before;
  report.onlyTables = tables;
  progress.Begin("connections");
  const std::set<std::string, std::less<>> unread = CheckConnections(source, destination, report);

  progress.Begin("destination");
  const RunSettings runSettings = ReadRunSettings(destination, report);
  staging::Writability writability;
  try {
    writability = staging::BeginSession(destination);
  } catch (const staging::MissingTempRight& missing) {
    throw std::runtime_error(missing.what() + OtherObstacles(destination, report));
  }
  const staging::Destination model = ReadModel(destination);
  const bool found = !model.tables.empty();
  const std::vector<db::TableDescription> needed = staging::TablesNeeded(destination, model, tables);
  for (const db::TableDescription& table : needed) {
    report.tables.emplace_back().table = table.name;
  }
  const auto calls = staging::ReadCalls(destination, model);
  Preflight preflight =
      found ? LookAtDestination(destination, model, calls, writability, report) : RefusedSchema(destination, report);
  for (const std::string& table : unread) {
    preflight.obstacles.cannotRead.emplace(table, "the source's table cannot be read");
  }
  LookAtSessions(destination, model, runSettings, report);
  const staging::Copies copies =
      writability.CanStage() ? staging::CreateCopies(destination, model, needed, calls) : staging::Copies{};
  staging::EndCreation(destination);

  progress.Begin("characters");
  std::vector<db::TableDescription> readable;
  std::ranges::copy_if(needed, std::back_inserter(readable),
                       [&unread](const db::TableDescription& table) { return !unread.contains(table.name); });
  const characters::Characters characters(source, trial, destination, readable, progress);
  report.facts.insert(report.facts.end(), characters.facts().begin(), characters.facts().end());

  const staging::Staged staged =
      staging::Stage(source, destination, needed, copies, preflight.obstacles, characters, progress);
  bool foreseen = writability.preparesOnServer;
  for (std::size_t i = 0; i < needed.size(); ++i) {
    Enter(staged.tables[i], staged, preflight, WhyUnforeseen(staged.tables[i], copies, preflight),
          writability.CanStage(), source.schema(), report.tables[i]);
    foreseen = foreseen && std::ranges::none_of(report.tables[i].findings, [](const Finding& each) {
                 return each.kind == &finding::CannotForesee;
               });
  }
  report.facts.emplace_back(
      "The procedures of the destination were not run: each is assumed to insert the values that it gets, and nothing "
      "else.");
  std::erase_if(report.tables, [&tables](const TableReport& entry) { return !IsChosen(tables, entry.table); });
  LookAtRun(destination, copies, tables.empty(), runSettings.waitsForDisk, report);
  // Of what was not chosen nothing is said.
  if (staged.endsIn && IsChosen(tables, *staged.endsIn)) {
    report.runEndsIn = staged.endsIn;
  }
  report.foreseen = foreseen && report.HasAllFigures();
  report.status = StatusOf(staged.endsIn.has_value(), report);
  report.verdict = Verdict(staged, report);
  return report;
}

}  // namespace check
