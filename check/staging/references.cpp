#include "check/staging/references.h"

#include <cstdint>
#include <string>

#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/staging.h"

namespace check::staging {

namespace {

/// A column of the copy with what the source has in it.
std::string AsInSource(const db::TableDescription& table, std::string_view column) {
  return "c." + Quoted(ColumnAsInSource(table, column));
}

/// A number as a column stores it that may have another type than the number.
std::string Stored(const std::string& number, const Copy& copy, std::string_view column) {
  const auto type = copy.types.find(column);
  return type == copy.types.end() || type->second == "integer" ? number : NumberAs(number, type->second);
}

/// The key columns of a copy's row, with what the source has in them, as texts.
std::string KeyList(const db::TableDescription& table) {
  return Joined(rules::RulesOf(table.name).key, ", ",
                [&table](std::string_view column) { return AsInSource(table, column) + "::text"; });
}

RowName NameOf(const db::TableDescription& table, const TextRow& row) {
  RowName name;
  std::size_t place = 0;
  for (const std::string_view column : rules::RulesOf(table.name).key) {
    const std::string value = row.at(place++).value_or("NULL");
    const bool text = table.columns[rules::ColumnPosition(table, column)].kind == db::ValueKind::Text;
    name.key += (name.key.empty() ? "" : ", ") + std::string(column) + " = " + value;
    name.condition += (name.condition.empty() ? "([" : " AND [") + std::string(column) +
                      "] = " + (text ? Literal(Side::Source, value) : value);
  }
  name.condition += ")";
  return name;
}

/// Adds the rows of a query to a remark: their number, the key of the row, what is there and what it becomes.
void AddRows(const odbc::DBConnection& destination, const db::TableDescription& table, const std::string& rows,
             const Parameters& parameters, const RemarkKey& key, StagedTable& staged) {
  const std::uint64_t count = QueryNumber(destination, "SELECT count(DISTINCT c.bw_position)::text" + rows, parameters);
  if (count == 0) {
    return;
  }
  RemarkedRows& remarked = staged.remarks[key];
  const bool points = key.remark == Remark::PointsElsewhere;
  const std::string leads = points ? " leads to " : " becomes ";
  const std::string became =
      points ? "coalesce('row ' || new_number || ' of the source', 'no row')" : "new_number::text";
  for (const TextRow& row : QueryRows(destination,
                                      "SELECT " + KeyList(table) + ", old_number::text, " + became + rows +
                                          " ORDER BY c.bw_position LIMIT " + std::to_string(RemarkedRows::kShown),
                                      parameters)) {
    remarked.Add(NameOf(table, row), row[row.size() - 2].value_or("") + leads + row.back().value_or(""));
  }
  remarked.rows = count;
}

void LookAtReference(const odbc::DBConnection& destination, const Copy& copy, const rules::ColumnRule& rule,
                     const Copy& referred, StagedTable& staged) {
  const std::string_view assigned = rules::RulesOf(rule.reference->table).assigned;
  const std::string_view column = rules::NumberOf(rule.reference->table);
  const auto type = referred.types.find(column);
  if (assigned.empty() && (type == referred.types.end() || (type->second != "integer" && type->second != "bigint"))) {
    return;
  }
  const std::string number = Quoted(column);
  // What is not assigned arrives as it is in the source.
  const std::string source = assigned.empty() ? number : Quoted(SourceNumberColumn(column));
  const std::string kept = "c." + Quoted(rule.column);
  const std::string old = AsInSource(*copy.table, rule.column);
  const auto asOld = [&](const std::string& each) { return old == kept ? Stored(each, copy, rule.column) : each; };
  // A number that names no row in the source is no reference, unless it names one afterwards.
  const std::string rows = " FROM (SELECT c.*, " + old + " AS old_number, n.source AS new_number FROM " + copy.path +
                           " c LEFT JOIN (SELECT " + number + " AS number, " + source + " AS source FROM " +
                           referred.path + " UNION ALL SELECT assigned, number FROM " + kLeftOut +
                           " WHERE tab = ?) n ON " + Stored("n.number", copy, rule.column) + " = " + kept +
                           " LEFT JOIN (SELECT " + source + " AS number FROM " + referred.path +
                           " UNION SELECT number FROM " + kLeftOut + " WHERE tab = ?) s ON " + asOld("s.number") +
                           " = " + old + " WHERE CASE WHEN s.number IS NULL THEN n.number IS NOT NULL ELSE " +
                           asOld("n.source") + " IS DISTINCT FROM " + old + " END) c";
  const Parameters parameters(2, std::string(rule.reference->table));
  AddRows(destination, *copy.table, rows, parameters,
          {Remark::PointsElsewhere, {std::string(rule.column)}, {}, std::string(rule.reference->table)}, staged);
  Execute(destination,
          "INSERT INTO " + kChangedRows + " SELECT " + Literal(copy.table->name) + ", c.bw_position" + rows,
          parameters);
}

void LookAtNumbers(const odbc::DBConnection& destination, const Copy& copy, StagedTable& staged) {
  const rules::TableRules& rules = rules::RulesOf(copy.table->name);
  const std::string number = Quoted(rules.assigned);
  const std::string source = Quoted(SourceNumberColumn(rules.assigned));
  if (rules::IsFollowed(copy.table->name)) {
    // A later row of a number that an earlier one has, refused ones included.
    for (const TextRow& row :
         QueryRows(destination,
                   "SELECT number::text, (count(*) - 1)::text FROM (SELECT " + source + " AS number FROM " + copy.path +
                       " UNION ALL SELECT number FROM " + kLeftOut +
                       " WHERE tab = ? AND assigned IS NOT NULL) n GROUP BY number HAVING count(*) > 1 ORDER BY number",
                   {std::string(copy.table->name)})) {
      RemarkedRows& remarked = staged.remarks[{Remark::DuplicateNumber, {std::string(rules.assigned)}, {}, {}}];
      const std::string value = Text(row, 0);
      const std::uint64_t before = remarked.rows;
      remarked.Add({.key = std::string(rules.assigned) + " = " + value,
                    .condition = "[" + std::string(rules.assigned) + "] = " + value},
                   {});
      remarked.rows = before + std::stoull(row.at(1).value_or("1"));
    }
  }
  if (rules.knownOutside) {
    AddRows(destination, *copy.table,
            " FROM (SELECT c.*, c." + source + " AS old_number, c." + number + " AS new_number FROM " + copy.path +
                " c) c WHERE c." + number + " IS DISTINCT FROM c." + source,
            {}, {Remark::NumbersChange, {std::string(rules.assigned)}, {}, {}}, staged);
  }
}

}  // namespace

void LookAtReferences(const odbc::DBConnection& destination, const Copies& copies, Staged& staged) {
  for (const auto& [name, copy] : copies.copies) {
    Execute(destination, "ANALYZE " + copy.path);
  }
  for (StagedTable& table : staged.tables) {
    const auto copy = copies.copies.find(table.table->name);
    if (copy == copies.copies.end()) {
      continue;
    }
    const rules::TableRules& rules = rules::RulesOf(table.table->name);
    for (const rules::ColumnRule& rule : rules.columns) {
      if (!rule.reference || rule.FollowsNumber()) {
        continue;
      }
      const auto referred = copies.copies.find(rule.reference->table);
      const std::string_view number = rules::RulesOf(rule.reference->table).assigned;
      if (referred == copies.copies.end() || !copy->second.columns.contains(rule.column) ||
          (!number.empty() && !referred->second.columns.contains(number))) {
        table.unchangedKnown = false;
      } else {
        LookAtReference(destination, copy->second, rule, referred->second, table);
      }
    }
    if (copy->second.columns.contains(rules.assigned)) {
      LookAtNumbers(destination, copy->second, table);
    }
    table.unchangedRows =
        table.arrivingRows - QueryNumber(destination,
                                         "SELECT count(DISTINCT position)::text FROM " + kChangedRows +
                                             " WHERE tab = ? AND position <= ?::integer",
                                         {std::string(table.table->name), std::to_string(table.arrivingRows)});
  }
}

}  // namespace check::staging
