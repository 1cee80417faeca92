#include "check/after/database_comparison.h"

#include <algorithm>
#include <chrono>
#include <iterator>
#include <map>
#include <stdexcept>
#include <utility>

#include "check/after/reference_comparison.h"
#include "check/after/wording.h"
#include "check/characters/characters.h"
#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/procedures.h"
#include "check/staging/session.h"
#include "odbc/diagnostics.h"

namespace check {

namespace {

void RequireComparing(const staging::Writability& writability) {
  if (writability.readOnlyDataSource) {
    throw std::runtime_error(
        "the destination's data source has ReadOnly = 1: the check needs temporary tables in its own session. Set "
        "ReadOnly = 0 in the data source; the check writes nothing else");
  }
  if (!writability.preparesOnServer) {
    throw std::runtime_error(
        "the destination's data source has UseServerSidePrepare = 0: values are stored otherwise with it. Set "
        "UseServerSidePrepare = 1 in the data source");
  }
}

/// Of the columns that the migrator fills, or of the one that numbers the rows, those that the table does not have.
std::vector<std::string> MissingColumns(const staging::Copy& copy) {
  std::vector<std::string> missing;
  const auto look = [&](std::string_view column) {
    if (!copy.columns.contains(column) && std::ranges::find(missing, column) == missing.end()) {
      missing.emplace_back(column);
    }
  };
  for (const db::ParameterDescription& parameter : copy.table->parameters) {
    look(parameter.column);
  }
  if (const std::string_view assigned = rules::RulesOf(copy.table->name).assigned; !assigned.empty()) {
    look(assigned);
  }
  return missing;
}

ComparedTable DescribeCompared(const staging::Copy& copy, const staging::Relation& relation) {
  const db::TableDescription& table = *copy.table;
  const rules::TableRules& rules = rules::RulesOf(table.name);
  ComparedTable compared{.name = std::string(table.name),
                         .path = relation.name,
                         .copy = copy.path,
                         .columns = {},
                         .key = {rules.key.begin(), rules.key.end()},
                         .copyKey = {},
                         .assigned = std::string(rules.assigned),
                         .numbersGoOn = copy.goingOn.contains(rules.assigned),
                         .references = {}};
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      compared.columns.emplace_back(parameter.column);
    }
  }
  for (const std::string_view column : rules.key) {
    compared.copyKey.push_back(staging::ColumnAsInSource(table, column));
  }
  for (const rules::ColumnRule& rule : rules.columns) {
    if (rule.FollowsNumber()) {
      compared.references.push_back({.column = std::string(rule.column), .table = std::string(rule.reference->table)});
    }
  }
  return compared;
}

void GiveUp(TableResult& result, std::string reason) {
  result.compared = nullptr;
  result.uncomparedColumns.clear();
  result.uncomparable = std::move(reason);
}

}  // namespace

DatabaseComparison::DatabaseComparison(const odbc::DBConnection& source, const odbc::DBConnection& trial,
                                       const odbc::DBConnection& destination, Progress& progress)
    : source_(source), trial_(trial), destination_(destination), progress_(progress) {}

void DatabaseComparison::Run(const std::vector<std::string>& chosen, const std::set<std::string, std::less<>>& unread,
                             Report& report) {
  progress_.Begin("destination");
  RequireComparing(staging::BeginSession(destination_));
  const staging::Destination model = staging::ReadDestination(destination_);
  tables_ = staging::TablesNeeded(destination_, model, chosen);
  const staging::Copies copies =
      staging::CreateCopies(destination_, model, tables_, staging::ReadCalls(destination_, model));
  RestartNumbers(model, copies);
  const staging::Obstacles obstacles = Describe(model, copies, unread);
  comparison_.emplace(destination_, compared_);
  comparison_->CreateTables();
  staging::EndCreation(destination_);
  progress_.Begin("characters");
  std::vector<db::TableDescription> readable;
  std::ranges::copy_if(tables_, std::back_inserter(readable),
                       [&unread](const db::TableDescription& table) { return !unread.contains(table.name); });
  const characters::Characters characters(source_, trial_, destination_, readable, progress_);
  report.facts.insert(report.facts.end(), characters.facts().begin(), characters.facts().end());
  staged_ = staging::Stage(source_, destination_, tables_, copies, obstacles, characters, progress_);
  comparison_->Begin();
  for (std::size_t i = 0; i < results_.size(); ++i) {
    results_[i].staged = &staged_.tables[i];
    Timed(results_[i], [this, i] { CompareRows(results_[i]); });
  }
}

void DatabaseComparison::CompareReferences(std::optional<std::size_t> endedIn) {
  for (TableResult& result : results_) {
    Timed(result, [this, &result, endedIn] { CompareReferences(result, endedIn); });
  }
}

template <class Step>
void DatabaseComparison::Timed(TableResult& result, Step step) {
  progress_.Begin(result.table->name);
  const auto start = std::chrono::steady_clock::now();
  step();
  result.milliseconds +=
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

/// A sequence that no truncate restarts has given numbers since the run, and may be at its end. The table's first
/// number is treated as the run's first one.
void DatabaseComparison::RestartNumbers(const staging::Destination& model, const staging::Copies& copies) const {
  std::map<std::string, std::string> numbers;
  for (const auto& [name, copy] : copies.copies) {
    for (const staging::NumberedColumn& column : copy.numbered) {
      if (copy.goingOn.contains(column.column)) {
        std::string& all = numbers[column.sequence];
        all += (all.empty() ? "SELECT CAST(" : " UNION ALL SELECT CAST(") + Quoted(column.column) +
               " AS text) FROM ONLY " + model.Find(name)->name;
      }
    }
  }
  for (const auto& [sequence, query] : numbers) {
    const std::optional<std::string> first = QueryValue(
        destination_,
        "SELECT CAST(CASE WHEN s.seqincrement > 0 THEN min(n.number) ELSE max(n.number) END AS text) FROM (SELECT "
        "CAST(CAST(x.number AS numeric) AS bigint) FROM (" +
            query +
            ") x (number) WHERE x.number ~ '^-?[0-9]{1,18}([.]0+)?$') n (number) JOIN pg_sequence s ON s.seqrelid = "
            "CAST(? AS regclass) AND n.number BETWEEN s.seqmin AND s.seqmax GROUP BY s.seqincrement",
        {sequence});
    Execute(destination_, "ALTER SEQUENCE " + sequence + " RESTART" + (first ? " WITH " + *first : ""));
  }
}

staging::Obstacles DatabaseComparison::Describe(const staging::Destination& model, const staging::Copies& copies,
                                                const std::set<std::string, std::less<>>& unread) {
  staging::Obstacles obstacles;
  const std::map<std::string_view, std::vector<std::string_view>> emptiedAgain = staging::EmptiedAgain(model);
  compared_.reserve(tables_.size());
  for (const db::TableDescription& table : tables_) {
    TableResult& result = results_.emplace_back();
    result.table = &table;
    const staging::Relation* const relation = model.Find(table.name);
    const auto copy = copies.copies.find(table.name);
    result.exists = relation != nullptr;
    if (const auto again = emptiedAgain.find(table.name); again != emptiedAgain.end()) {
      result.emptiedBy = again->second;
    }
    if (unread.contains(table.name)) {
      obstacles.cannotRead.emplace(table.name, "the source's table cannot be read");
      result.uncomparable = "the source's table cannot be read";
    } else if (relation == nullptr) {
      result.uncomparable = "the destination has no such table";
    } else if (copy == copies.copies.end()) {
      const auto reason = copies.unforeseen.find(table.name);
      result.uncomparable = reason == copies.unforeseen.end() ? "it has no copy" : reason->second;
    } else if (const auto missing = MissingColumns(copy->second); !missing.empty()) {
      result.uncomparable = "it has no column " + Listed(missing);
      if (std::ranges::any_of(missing, [&table](const std::string& column) { return rules::IsSent(table, column); })) {
        obstacles.cannotWrite.emplace(table.name, result.uncomparable);
      }
    } else {
      result.compared = &compared_.emplace_back(DescribeCompared(copy->second, *relation));
    }
  }
  return obstacles;
}

const TableResult* DatabaseComparison::Find(std::string_view table) const {
  const auto found =
      std::ranges::find_if(results_, [table](const TableResult& result) { return result.table->name == table; });
  return found == results_.end() ? nullptr : &*found;
}

void DatabaseComparison::CompareRows(TableResult& result) {
  if (result.compared == nullptr) {
    return;
  }
  if (!result.staged->readable) {
    GiveUp(result, "it refers to rows of a table of the source that cannot be read");
    return;
  }
  if (!result.staged->unforeseen.empty()) {
    GiveUp(result, result.staged->unforeseen);
    return;
  }
  LeaveOutReferences(result);
  const bool isRefused = std::ranges::any_of(result.staged->remarks, [](const auto& each) {
    return each.first.remark == staging::Remark::Refused || each.first.remark == staging::Remark::ParentRefused;
  });
  if (!result.uncomparedColumns.empty() && isRefused) {
    GiveUp(result, "its rows refer to rows that cannot be compared");
    return;
  }
  try {
    result.rows = comparison_->Compare(*result.compared);
  } catch (const odbc::Error& error) {
    // A right or an operator that is missing.
    if (!error.IsOfClass("42")) {
      throw;
    }
    GiveUp(result, error.what());
  }
}

/// Of a table that was not compared nobody knows which number a row has.
void DatabaseComparison::LeaveOutReferences(TableResult& result) {
  ComparedTable& table = *result.compared;
  std::erase_if(table.references, [&](const FollowedReference& reference) {
    const TableResult* const referred = Find(reference.table);
    if (referred != nullptr && referred->rows) {
      return false;
    }
    result.uncomparedColumns.push_back(reference.column);
    std::erase(table.columns, reference.column);
    return true;
  });
  for (const std::string& column : result.uncomparedColumns) {
    const auto place = std::ranges::find(table.key, column);
    if (place != table.key.end()) {
      table.copyKey.erase(table.copyKey.begin() + (place - table.key.begin()));
      table.key.erase(place);
    }
  }
}

void DatabaseComparison::CompareReferences(TableResult& result, std::optional<std::size_t> endedIn) {
  if (!result.rows) {
    return;
  }
  for (const rules::ColumnRule& rule : rules::RulesOf(result.table->name).columns) {
    const TableResult* const referred = rule.reference ? Find(rule.reference->table) : nullptr;
    if (referred == nullptr || !referred->rows) {
      continue;
    }
    if (endedIn && PlaceOf(referred->table->name) >= *endedIn) {
      result.judgedReferences.push_back(rule.column);
    } else if (!IsAsStaged(result, rule, *referred)) {
      CompareReference(result, rule, *referred);
    }
  }
}

/// Whether the numbers of a column lead where those of the copy do.
bool DatabaseComparison::IsAsStaged(const TableResult& result, const rules::ColumnRule& rule,
                                    const TableResult& referred) const {
  const std::vector<std::string>& differing = result.rows->differing;
  const bool hasAssigned = !result.compared->assigned.empty();
  const bool isReferredAsStaged = referred.compared->assigned.empty()
                                      ? referred.rows->missing == 0
                                      : comparison_->NumbersAreTheCopys(*referred.compared);
  return isReferredAsStaged && result.rows->missing + result.rows->unexpected == 0 &&
         std::ranges::find(differing, rule.column) == differing.end() &&
         (rule.reference->kind != rules::ReferenceKind::ByPosition || !hasAssigned ||
          comparison_->NumbersAreTheCopys(*result.compared));
}

void DatabaseComparison::CompareReference(TableResult& result, const rules::ColumnRule& rule,
                                          const TableResult& referred) {
  const rules::TableRules& ofReferred = rules::RulesOf(referred.table->name);
  if (rule.FollowsNumber() || ofReferred.assigned.empty()) {
    const std::string number(ofReferred.key.front());
    const WrongReferences dangling =
        FindDangling(destination_, *comparison_, *result.compared, rule, *referred.compared, number);
    if (dangling.rows > 0) {
      const bool isReferredEmptied = !referred.emptiedBy.empty() && referred.rows->present == 0;
      result.referencesDiffer = result.referencesDiffer || !isReferredEmptied;
      result.referenceFindings.push_back(
          DanglingFinding(dangling, *result.compared, std::string(rule.column), *referred.compared, number));
    }
    return;
  }
  result.judgedReferences.push_back(rule.column);
  const auto find = [&](Numbering numbering) {
    return FindElsewhere(destination_, *comparison_, *result.compared, rule, *referred.compared, numbering);
  };
  if (const WrongReferences exchanged = find(Numbering::OutOfOrder); exchanged.rows > 0) {
    result.referencesDiffer = true;
    result.referenceFindings.push_back(ExchangedFinding(exchanged, *result.compared, rule));
  }
  if (const WrongReferences elsewhere = find(Numbering::InOrder); elsewhere.rows > 0) {
    const auto staged = result.staged->remarks.find(ElsewhereRemark(rule));
    const bool expected = referred.compared->numbersGoOn ||
                          (staged != result.staged->remarks.end() && elsewhere.rows <= staged->second.rows);
    result.referencesDiffer = result.referencesDiffer || !expected;
    result.referenceFindings.push_back(ElsewhereFinding(elsewhere, *result.compared, rule));
  }
}

staging::RemarkKey DatabaseComparison::ElsewhereRemark(const rules::ColumnRule& rule) {
  return {staging::Remark::PointsElsewhere, {std::string(rule.column)}, {}, std::string(rule.reference->table)};
}

}  // namespace check
