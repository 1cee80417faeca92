#include "check/before/before.h"

#include <algorithm>
#include <cstdint>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <string_view>

#include "check/before/connections.h"
#include "check/before/destination_schema.h"
#include "check/before/refusals.h"
#include "check/before/table_prediction.h"
#include "check/rules/catalogue.h"
#include "check/rules/source_rows.h"
#include "check/rules/table_rules.h"

namespace check {

namespace {

/// The tables that a table's rows follow or refer to.
std::set<std::string_view> Needs(std::string_view table) {
  std::set<std::string_view> needs;
  for (const ColumnRule& rule : RulesFor(table).columns) {
    if (rule.treatment == Treatment::GroupNumber) {
      needs.insert("GroupDesc");
    } else if (rule.treatment == Treatment::GroupOrderNumber) {
      needs.insert("GroupOrders");
    } else if (rule.treatment == Treatment::PoolAtPosition) {
      needs.insert("PoolOrders");
    }
    if (!rule.refersTo.empty()) {
      needs.insert(rule.refersTo);
    }
  }
  return needs;
}

/// What has to be read to tell about the chosen tables; all of them when none is chosen.
std::vector<db::TableDescription> TablesToRead(const std::vector<std::string>& chosen) {
  const std::vector<db::TableDescription>& all = Catalogue();
  if (chosen.empty()) {
    return all;
  }
  std::set<std::string_view> wanted(chosen.begin(), chosen.end());
  std::for_each(all.rbegin(), all.rend(), [&wanted](const db::TableDescription& table) {
    if (wanted.contains(table.name)) {
      wanted.merge(Needs(table.name));
    }
  });
  std::vector<db::TableDescription> tables;
  std::copy_if(all.begin(), all.end(), std::back_inserter(tables),
               [&wanted](const db::TableDescription& table) { return wanted.contains(table.name); });
  return tables;
}

/// Whether the run comes so far as to empty a table.
bool IsEmptied(std::string_view table, const DestinationSchema& schema, const RunState& state) {
  if (!state.endsIn || state.endsIn == table) {
    return !state.endsIn || !schema.cannotEmpty.contains(table);
  }
  const std::vector<db::TableDescription>& all = Catalogue();
  const auto first = std::find_if(all.begin(), all.end(), [&](const db::TableDescription& each) {
    return each.name == table || each.name == *state.endsIn;
  });
  return first->name == table;
}

/// Of tables that a later truncate empties again, nothing stays.
void EmptyAgain(const DestinationSchema& schema, const RunState& state, Report& report) {
  for (TableReport& entry : report.tables) {
    const auto again = schema.emptiedAgain.find(entry.table);
    if (again != schema.emptiedAgain.end() && entry.arrivingRows && IsEmptied(again->second, schema, state)) {
      entry.arrivingRows = 0;
      entry.unchangedRows = 0;
    }
  }
}

struct Totals {
  std::uint64_t rows = 0;
  std::uint64_t unchanged = 0;
  std::uint64_t changed = 0;
};

Totals Count(const Report& report) {
  Totals totals;
  for (const TableReport& entry : report.tables) {
    totals.rows += entry.sourceRows.value_or(0);
    totals.unchanged += entry.unchangedRows.value_or(0);
    totals.changed += entry.arrivingRows.value_or(0) - entry.unchangedRows.value_or(0);
  }
  return totals;
}

std::string Verdict(const RunState& state, const Totals& totals, bool allTables) {
  std::string text = state.endsIn ? "The run will end in " + *state.endsIn + ", because " + state.endsBecause + "."
                                  : "The run will go through to its end.";
  if (!allTables) {
    text += " Only some tables were looked at.";
  }
  return text + " Of " + std::to_string(totals.rows) + (totals.rows == 1 ? " row, " : " rows, ") +
         std::to_string(totals.unchanged) + " will arrive unchanged, " + std::to_string(totals.changed) + " changed, " +
         std::to_string(totals.rows - totals.unchanged - totals.changed) + " not at all.";
}

}  // namespace

Report CheckBefore(odbc::DBConnection& source, odbc::DBConnection& destination, const std::vector<std::string>& tables,
                   Progress& progress) {
  Report report{.command = Command::Before, .general = {}, .facts = {}, .tables = {}, .runEndsIn = {}, .verdict = {}};
  progress.Begin("connections");
  std::set<std::string, std::less<>> unread = CheckConnections(source, destination, report);

  const std::vector<db::TableDescription> toRead = TablesToRead(tables);
  for (const db::TableDescription& table : toRead) {
    TableReport& entry = report.tables.emplace_back();
    entry.table = table.name;
  }
  progress.Begin("destination");
  const DestinationSchema schema = CheckDestinationSchema(destination, toRead, report);

  const bool driverRepeatsNulls = DriverRepeatsNulls(source);
  LetterCheck letters(destination);
  RunState state;
  for (std::size_t i = 0; i < toRead.size(); ++i) {
    progress.Begin(toRead[i].name);
    TableReport& entry = report.tables[i];
    if (unread.contains(toRead[i].name)) {
      if (!state.endsIn) {
        state.endsIn = toRead[i].name;
        state.endsBecause = "the source's table cannot be read";
      }
      continue;
    }
    // Of rows that refer to those of a table that cannot be read, nothing can be told; none of them arrives.
    const std::set<std::string_view> needs = Needs(toRead[i].name);
    if (std::any_of(needs.begin(), needs.end(), [&](std::string_view name) { return unread.contains(name); })) {
      unread.emplace(toRead[i].name);
      continue;
    }
    PredictTable(source, destination, toRead[i], schema, driverRepeatsNulls, letters, progress, state, entry);
  }
  EmptyAgain(schema, state, report);
  report.runEndsIn = state.endsIn;
  report.verdict = Verdict(state, Count(report), tables.empty());
  if (!tables.empty()) {
    std::erase_if(report.tables, [&tables](const TableReport& entry) {
      return std::find(tables.begin(), tables.end(), entry.table) == tables.end();
    });
  }
  return report;
}

}  // namespace check
