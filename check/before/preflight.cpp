#include "check/before/preflight.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "check/report/findings.h"
#include "check/rules/catalogue.h"
#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/row_findings.h"
#include "db/statement_text.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"
#include "odbc/text.h"

namespace check {

namespace {

using staging::Reach;
using staging::Relation;

/// Has the destination parse and plan a table's statement, prepared and bound as the migrator does. Nothing is
/// executed.
///
/// \returns the diagnostics when it refuses the statement.
/// \throws odbc::Error when the connection is lost.
std::optional<std::string> WhyRefused(const odbc::DBConnection& destination, const db::TableDescription& table) {
  const odbc::Statement statement(destination);
  const std::string text = db::WithSchema(table.write, destination.schema());
  const bool isInsert = text.starts_with("INSERT");
  const std::string asked = (isInsert ? "EXPLAIN " : "") + text;
  // NULL for every value: what the types make of one is not the question here.
  SQLLEN null = SQL_NULL_DATA;
  std::vector<char> value(sizeof(double));
  SQLSMALLINT columns = 0;
  try {
    statement.Require(SQLPrepare(statement.handle(), odbc::AsSqlText(asked), SQL_NTS));
    for (std::size_t i = 0; i < table.parameters.size(); ++i) {
      const db::ParameterDescription& parameter = table.parameters[i];
      statement.Require(SQLBindParameter(statement.handle(), static_cast<SQLUSMALLINT>(i + 1), parameter.direction,
                                         parameter.cType, parameter.sqlType, parameter.columnSize, 0, value.data(), 0,
                                         &null));
    }
    // Planning an INSERT looks at the rights; of a CALL, asking for what it would return has it parsed.
    statement.Require(isInsert ? SQLExecute(statement.handle()) : SQLNumResultCols(statement.handle(), &columns));
  } catch (const odbc::Error& error) {
    if (error.IsOfClass("08") || error.IsOfClass("57")) {
      throw;
    }
    // 22 and 23: what a domain makes of NULL; 25: what a function that writes makes of this session.
    const bool aboutValues = error.IsOfClass("22") || error.IsOfClass("23") || error.IsOfClass("25");
    return aboutValues ? std::nullopt : std::optional<std::string>(error.what());
  }
  return std::nullopt;
}

/// The schema without the dot after it.
std::string SchemaText(const odbc::DBConnection& destination) {
  const std::string& prefix = destination.schema();
  return "\"" + prefix.substr(0, prefix.empty() ? 0 : prefix.size() - 1) + "\"";
}

/// How to name the schemas that differ from the configured one in upper and lower case only; empty when there are none.
std::string SchemasInOtherCase(const odbc::DBConnection& destination) {
  constexpr std::string_view sql = R"(
    SELECT p.names[cardinality(p.names)], n.nspname, quote_ident(n.nspname)
    FROM (SELECT parse_ident(?) AS names) AS p
    JOIN pg_namespace n ON lower(n.nspname) = lower(p.names[cardinality(p.names)])
      AND n.nspname <> p.names[cardinality(p.names)]
    ORDER BY n.nspname)";
  std::string text;
  try {
    const std::string& prefix = destination.schema();
    for (const TextRow& row : QueryRows(destination, sql, {prefix.substr(0, prefix.find_last_of('.'))})) {
      const std::string name = Text(row, 1);
      const std::string quoted = Text(row, 2);
      text += text.empty() ? " PostgreSQL reads that name as " + Text(row, 0) + "." : "";
      text += " There is a schema " + name + ": to name it, write db_schema=";
      text += name == quoted ? name : "'" + quoted + "', with both pairs of quotes";
      text += ".";
    }
  } catch (const odbc::Error& error) {
    // 22: it is no name.
    if (!error.IsOfClass("22")) {
      throw;
    }
  }
  return text;
}

void CannotEmptyAny(Preflight& preflight, const std::string& reason) {
  for (const db::TableDescription& table : Catalogue()) {
    preflight.obstacles.cannotEmpty.emplace(table.name, reason);
  }
}

class Look {
 public:
  Look(const odbc::DBConnection& destination, const staging::Destination& model,
       const staging::Writability& writability, Report& report)
      : destination_(destination), model_(model), writability_(writability), report_(report) {}

  void AtSession() {
    if (writability_.readOnlyByDefault || writability_.readOnlyDataSource) {
      General(finding::DestinationReadOnly,
              writability_.readOnlyByDefault
                  ? "default_transaction_read_only is on for this login or database: the run ends at the first table "
                    "(25006)."
                  : "The data source has ReadOnly = 1, with which the driver refuses every INSERT (S1000): the run "
                    "empties the first table and ends.");
      CannotEmptyAny(preflight_, "the destination is read-only");
    }
    if (!writability_.preparesOnServer) {
      General(finding::ClientSidePrepare,
              "The data source has UseServerSidePrepare = 0, with which the driver leaves the returned values out of a "
              "call: the run ends at the first row that a procedure must write (42883). What the driver makes of "
              "values then cannot be foreseen.");
    }
  }

  void AtTables(const std::map<std::string_view, staging::ProcedureCall>& calls) {
    std::set<staging::ObjectId> outside;
    for (const db::TableDescription& table : Catalogue()) {
      const Relation* const relation = model_.Find(table.name);
      if (relation == nullptr) {
        Add(table.name, finding::MissingTable,
            "There is no such table in the destination: the run ends where it is to be emptied (42P01).",
            "SELECT schemaname, tablename FROM pg_tables WHERE tablename ILIKE " + Literal(table.name) + ";");
        CannotEmpty(table.name, "the destination has no such table");
        continue;
      }
      if (!relation->IsTable()) {
        Add(table.name, finding::NotATable,
            relation->name +
                " is not a table but a view or something else: the run ends where it is to be emptied (42809).");
        CannotEmpty(table.name, "it is not a table in the destination");
        continue;
      }
      AtEmptying(table, *relation, outside);
      AtWriting(table, calls);
    }
    for (const auto& [table, others] : staging::EmptiedAgain(model_)) {
      preflight_.emptiedAgain.emplace(table, others.front());
      for (const std::string_view other : others) {
        AddFinding(table, staging::EmptiedAgainFinding(model_.Find(table)->name, other));
      }
    }
    CountRows();
  }

  Preflight TakeResult() { return std::move(preflight_); }

 private:
  /// `outside` has the tables outside the 22 that are reported already.
  void AtEmptying(const db::TableDescription& table, const Relation& relation, std::set<staging::ObjectId>& outside) {
    const Reach& reach = model_.reaches.at(table.name);
    if (!reach.refusedBy.empty()) {
      const std::string others = Joined(
          reach.refusedBy, ", ", [this](const staging::ObjectId& other) { return model_.relations.at(other).name; });
      Add(table.name, finding::TruncateFails,
          "The run ends where the table is to be emptied (0A000), because of a foreign key to it from " + others +
              ", whether that has rows or not.",
          "SELECT conrelid::regclass, conname FROM pg_constraint WHERE contype = 'f' AND confrelid = " +
              Literal(relation.name) + "::regclass;");
      CannotEmpty(table.name, "a foreign key from " + others + " refers to it");
    }
    std::set<staging::ObjectId> named(reach.emptied.begin(), reach.emptied.end());
    named.insert(relation.id);
    for (const staging::ObjectId& id : reach.all) {
      const Relation& other = model_.relations.at(id);
      const std::string with = id == relation.id ? "." : ", because its truncate reaches " + other.name + ".";
      // What inherits from a table is emptied with the rights on that table.
      if (!other.mayTruncate && named.contains(id)) {
        Add(table.name, finding::NoTruncateRight,
            "The login has no TRUNCATE right on " + other.name + ": the run ends where " + std::string(table.name) +
                " is to be emptied (42501)" + with);
        CannotEmpty(table.name, "the login may not truncate " + other.name);
      }
      if (!other.ownsSequences) {
        Add(table.name, finding::NotSequenceOwner,
            "The login does not own the sequences of " + other.name +
                ", which RESTART IDENTITY requires: the run ends "
                "where " +
                std::string(table.name) + " is to be emptied (42501)" + with);
        CannotEmpty(table.name, "the login does not own the sequences of " + other.name);
      }
      if (!other.truncateTriggers.empty()) {
        preflight_.unforeseen.emplace(table.name, "truncating " + other.name + " fires " + other.truncateTriggers);
      }
    }
    for (const staging::ObjectId& other : reach.emptied) {
      const bool isMigrated =
          std::ranges::any_of(model_.tables, [&other](const auto& each) { return each.second == other; });
      if (!isMigrated && outside.insert(other).second) {
        Outside(table, model_.relations.at(other));
      }
    }
  }

  /// Reports a table outside the 22 that a truncate empties.
  void Outside(const db::TableDescription& table, const Relation& other) {
    const std::optional<std::uint64_t> rows = Count(other);
    Finding finding(finding::CascadeEmpties, "The truncate of " + std::string(table.name) + " cascades to " +
                                                 other.name +
                                                 ", which is not migrated: its rows are lost and do not come back." +
                                                 (rows ? "" : " The login may not count them."));
    finding.rows = rows;
    finding.query = Query{.side = Side::Destination, .text = "SELECT count(*) FROM " + other.name + ";"};
    AddFinding(table.name, std::move(finding));
  }

  void AtWriting(const db::TableDescription& table, const std::map<std::string_view, staging::ProcedureCall>& calls) {
    const auto call = calls.find(table.name);
    std::optional<std::string> refused = call == calls.end() ? std::nullopt : call->second.refused;
    const std::string& sequences = model_.Find(table.name)->sequencesRefused;
    if (!refused && call == calls.end() && !sequences.empty()) {
      refused = "The login has no USAGE right on the sequence that numbers " + sequences + " (42501).";
    }
    if (!refused && writability_.CanStage()) {
      refused = WhyRefused(destination_, table);
    }
    if (!writability_.preparesOnServer && call != calls.end()) {
      preflight_.obstacles.cannotWrite.emplace(table.name, "the driver leaves the returned values out of the call");
    }
    if (refused) {
      Add(table.name, finding::StatementRefused,
          "The destination refuses the statement that writes the rows: the run ends at the first row. " + *refused,
          "SELECT column_name, data_type, is_nullable, column_default, is_identity FROM information_schema.columns "
          "WHERE table_name = " +
              Literal(table.name) + " ORDER BY ordinal_position;");
      preflight_.obstacles.cannotWrite.emplace(table.name,
                                               "the destination refuses the statement that writes the rows");
    }
  }

  std::optional<std::uint64_t> Count(const Relation& relation) const {
    if (!relation.mayRead) {
      return std::nullopt;
    }
    return QueryNumber(destination_, "SELECT count(*) FROM " + relation.name);
  }

  /// Of the shown tables; a run deletes the rows of those that it comes to empty.
  void CountRows() {
    Finding finding(finding::DestinationNotEmpty);
    finding.rows = 0;
    std::string list;
    std::string queries;
    std::uint64_t total = 0;
    bool allKnown = true;
    bool comesHere = true;
    for (const db::TableDescription& table : Catalogue()) {
      comesHere = comesHere && !preflight_.obstacles.cannotEmpty.contains(table.name);
      const Relation* const relation = model_.Find(table.name);
      if (relation == nullptr || !relation->IsTable() || !IsChosen(report_.onlyTables, table.name)) {
        continue;
      }
      const std::optional<std::uint64_t> rows = Count(*relation);
      allKnown = allKnown && rows;
      total += rows.value_or(0);
      if (comesHere && rows.value_or(0) > 0) {
        *finding.rows += *rows;
        list += (list.empty() ? "" : ", ") + std::string(table.name) + " " + std::to_string(*rows);
        queries += (queries.empty() ? "" : "\n") + std::string("SELECT * FROM ") + relation->name + ";";
      }
    }
    if (list.empty()) {
      report_.facts.push_back("Destination: the tables hold " +
                              (total == 0 ? "no row" : std::to_string(total) + " rows") +
                              (allKnown ? " now." : " that can be counted now."));
      return;
    }
    finding.text = "A run deletes the rows that the tables have now: " + list + "." +
                   (allKnown ? "" : " The login may not count those of other tables.");
    if (!allKnown) {
      finding.rows.reset();
    }
    finding.query = Query{.side = Side::Destination, .text = queries};
    report_.general.push_back(std::move(finding));
  }

  void CannotEmpty(std::string_view table, const std::string& reason) {
    preflight_.obstacles.cannotEmpty.emplace(table, reason);
  }

  void General(const FindingKind& kind, std::string text) { report_.general.emplace_back(kind, std::move(text)); }

  void Add(std::string_view table, const FindingKind& kind, std::string text, const std::string& query = {}) {
    Finding finding(kind, std::move(text));
    if (!query.empty()) {
      finding.query = Query{.side = Side::Destination, .text = query};
    }
    AddFinding(table, std::move(finding));
  }

  /// Of a table that the report has no entry for, nothing is said.
  void AddFinding(std::string_view table, Finding finding) {
    const auto found = std::ranges::find(report_.tables, table, &TableReport::table);
    if (found != report_.tables.end()) {
      found->findings.push_back(std::move(finding));
    }
  }

  const odbc::DBConnection& destination_;
  const staging::Destination& model_;
  const staging::Writability& writability_;
  Report& report_;
  Preflight preflight_;
};

}  // namespace

Preflight LookAtDestination(const odbc::DBConnection& destination, const staging::Destination& model,
                            const std::map<std::string_view, staging::ProcedureCall>& calls,
                            const staging::Writability& writability, Report& report) {
  Look look(destination, model, writability, report);
  look.AtSession();
  look.AtTables(calls);
  return look.TakeResult();
}

Preflight RefusedSchema(const odbc::DBConnection& destination, Report& report) {
  Preflight preflight;
  const std::optional<std::string> refused = WhyRefused(destination, Catalogue().front());
  report.general.emplace_back(
      finding::DestinationSchema,
      refused ? "The destination refuses the configured schema " + SchemaText(destination) +
                    ": the run ends at the first table. " + *refused + SchemasInOtherCase(destination)
              : "The configured schema " + SchemaText(destination) +
                    " is not a plain name. The destination's tables and procedures were not looked at.");
  if (refused) {
    CannotEmptyAny(preflight, "the destination refuses the schema " + SchemaText(destination));
  } else {
    report.general.back().cost = Cost::CannotForesee;
  }
  return preflight;
}

}  // namespace check
