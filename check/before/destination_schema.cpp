#include "check/before/destination_schema.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <utility>

#include "check/before/destination_catalogue.h"
#include "check/before/destination_procedures.h"
#include "check/before/destination_types.h"
#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "db/statement_text.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"
#include "odbc/text.h"

namespace check {

namespace {

bool IsSent(const db::TableDescription& table, std::string_view column) {
  return std::any_of(table.parameters.begin(), table.parameters.end(), [column](const auto& parameter) {
    return parameter.column == column && parameter.direction == SQL_PARAM_INPUT;
  });
}

bool Describes(const db::TableDescription& table, std::string_view column) {
  return std::any_of(table.columns.begin(), table.columns.end(),
                     [column](const db::ColumnDescription& each) { return each.name == column; });
}

/// Whether the driver leaves the parsing of statements to the server.
bool PreparesOnServer(const odbc::DBConnection& destination) {
  // psqlODBC says that it cannot describe parameters when its data source has UseServerSidePrepare = 0.
  SQLUSMALLINT describes = SQL_FALSE;
  return odbc::Succeeded(SQLGetFunctions(destination.connection(), SQL_API_SQLDESCRIBEPARAM, &describes)) &&
         describes == SQL_TRUE;
}

bool IsReadOnlyDataSource(const odbc::DBConnection& destination) {
  std::array<char, 8> answer{};
  return odbc::Succeeded(SQLGetInfo(destination.connection(), SQL_DATA_SOURCE_READ_ONLY, answer.data(),
                                    static_cast<SQLSMALLINT>(answer.size()), nullptr)) &&
         answer.front() == 'Y';
}

/// Has the destination parse a table's statement, prepared and bound as the migrator does. Nothing is executed.
///
/// \returns the diagnostics when it refuses the statement.
/// \throws std::runtime_error with the diagnostics when the connection is lost.
std::optional<std::string> WhyRefused(const odbc::DBConnection& destination, const db::TableDescription& table) {
  const odbc::Statement statement(destination);
  const std::string text = db::WithSchema(table.write, destination.schema());
  std::vector<char> value(sizeof(double));
  bool accepted = odbc::Succeeded(SQLPrepare(statement.handle(), odbc::AsSqlText(text), SQL_NTS));
  for (std::size_t i = 0; accepted && i < table.parameters.size(); ++i) {
    const db::ParameterDescription& parameter = table.parameters[i];
    const auto& column =
        *std::find_if(table.columns.begin(), table.columns.end(),
                      [&parameter](const db::ColumnDescription& each) { return each.name == parameter.column; });
    const auto [cType, sqlType] = column.kind == db::ValueKind::Int32    ? std::pair{SQL_C_LONG, SQL_INTEGER}
                                  : column.kind == db::ValueKind::Double ? std::pair{SQL_C_DOUBLE, SQL_DOUBLE}
                                                                         : std::pair{SQL_C_CHAR, SQL_VARCHAR};
    accepted = odbc::Succeeded(SQLBindParameter(
        statement.handle(), static_cast<SQLUSMALLINT>(i + 1), parameter.direction, static_cast<SQLSMALLINT>(cType),
        static_cast<SQLSMALLINT>(sqlType), column.size, 0, value.data(), 0, nullptr));
  }
  SQLSMALLINT columns = 0;
  // Asking for what it would return is what makes the driver send the statement.
  if (accepted && odbc::Succeeded(SQLNumResultCols(statement.handle(), &columns))) {
    return std::nullopt;
  }
  std::string diagnostics = odbc::GetStatementDiagnostics(statement.handle());
  if (diagnostics.find("State = 08") != std::string::npos || diagnostics.find("State = 57") != std::string::npos) {
    throw std::runtime_error(diagnostics);
  }
  return diagnostics;
}

class SchemaCheck {
 public:
  SchemaCheck(const odbc::DBConnection& destination, const std::vector<db::TableDescription>& tables, Report& report)
      : destination_(destination), tables_(tables), report_(report) {}

  DestinationSchema Run() {
    CheckSession();
    if (!FindAll()) {
      return std::move(schema_);
    }
    CheckTruncates();
    CountAll();
    const std::map<ObjectId, std::vector<DestinationColumn>> columns = ReadColumns(destination_, ids_);
    for (const db::TableDescription& table : tables_) {
      const auto found = columns.find(IdOf(table.name));
      if (found != columns.end()) {
        CheckTable(table, found->second);
      }
    }
    CheckProcedures();
    CheckIndexes(columns);
    CheckConstraints(columns);
    for (const db::TableDescription& table : tables_) {
      CheckStatement(table);
    }
    return std::move(schema_);
  }

 private:
  // The session.

  void CheckSession() {
    if (QueryValue(destination_, "SELECT pg_is_in_recovery()::text") == "true") {
      NothingCanBeWritten("The server is a standby, which nothing can be written to: the run ends at the first table.");
    } else if (QueryValue(destination_,
                          "SELECT reset_val FROM pg_settings WHERE name = 'default_transaction_read_only'") == "on") {
      NothingCanBeWritten(
          "default_transaction_read_only is on for this login or database: the run ends at the first table (25006).");
    } else if (IsReadOnlyDataSource(destination_)) {
      NothingCanBeWritten(
          "The data source has ReadOnly = 1, with which the driver refuses every INSERT: the run ends at the first "
          "table.");
    }
    if (!PreparesOnServer(destination_)) {
      General(finding::ClientSidePrepare, Cost::RunEnds,
              "The data source has UseServerSidePrepare = 0, with which the driver leaves the returned values out of a "
              "call: the run ends at the first row of GroupDesc, GroupOrders, Orders or SecGroups (42883).");
      for (const db::TableDescription& table : Catalogue()) {
        if (CalledProcedure(table)) {
          CannotWrite(table.name, "the driver leaves the returned values out of the call");
        }
      }
    }
  }

  void NothingCanBeWritten(const std::string& text) {
    General(finding::DestinationReadOnly, Cost::RunEnds, text);
    CannotEmptyAny("the destination is read-only");
  }

  void CannotEmptyAny(const std::string& reason) {
    for (const db::TableDescription& table : Catalogue()) {
      schema_.cannotEmpty.emplace(table.name, reason);
    }
  }

  // The names.

  bool FindAll() {
    try {
      schemaName_ = FindSchema(destination_);
      tableIds_ = FindTables(destination_);
    } catch (const std::runtime_error&) {
      // The destination does not take the schema for a name, or does not let the login look into it.
      if (const std::optional<std::string> refused = WhyRefused(destination_, Catalogue().front())) {
        General(finding::DestinationSchema, Cost::RunEnds,
                "The destination refuses the configured schema " + SchemaText() +
                    ": the run ends at the first table. " + *refused);
        CannotEmptyAny("the destination refuses the schema " + SchemaText());
      } else {
        General(finding::DestinationSchema, Cost::CannotForesee,
                "The configured schema " + SchemaText() +
                    " is more than a name. The destination's tables, columns and procedures were not looked at.");
      }
      return false;
    }
    if (!schemaName_.exists) {
      General(finding::DestinationSchema, Cost::RunEnds,
              "There is no schema " + SchemaText() + " in the destination: the run ends at the first table.",
              "SELECT nspname FROM pg_namespace ORDER BY nspname;");
      CannotEmptyAny("there is no schema " + SchemaText());
      return false;
    }
    for (const auto& [name, id] : tableIds_) {
      ids_.insert(id);
    }
    relations_ = ReadRelations(destination_, ids_);
    return true;
  }

  /// Without the dot behind it.
  std::string SchemaText() const {
    const std::string& prefix = destination_.schema();
    return "\"" + prefix.substr(0, prefix.size() - 1) + "\"";
  }

  ObjectId IdOf(std::string_view table) const {
    const auto found = tableIds_.find(table);
    return found == tableIds_.end() ? ObjectId() : found->second;
  }

  // What the truncates do.

  void CheckTruncates() {
    const TruncateGraph graph(destination_);
    std::map<std::string_view, TruncateGraph::Reach> reaches;
    std::set<ObjectId> reached = ids_;
    for (const db::TableDescription& table : Catalogue()) {
      const ObjectId id = IdOf(table.name);
      if (!id.empty()) {
        TruncateGraph::Reach reach = graph.Truncate(id, table.truncation == db::Truncation::Cascade);
        reached.insert(reach.all.begin(), reach.all.end());
        reached.insert(reach.refusedBy.begin(), reach.refusedBy.end());
        reaches.emplace(table.name, std::move(reach));
      }
    }
    relations_ = ReadRelations(destination_, reached);

    std::set<ObjectId> emptied;
    for (std::size_t place = 0; place < Catalogue().size(); ++place) {
      const db::TableDescription& table = Catalogue()[place];
      const ObjectId id = IdOf(table.name);
      if (id.empty()) {
        MissingTable(table);
        continue;
      }
      const Relation& relation = relations_.at(id);
      if (std::string_view("rpf").find(relation.kind) == std::string_view::npos) {
        NotATable(table, relation);
        continue;
      }
      const TruncateGraph::Reach& reach = reaches.at(table.name);
      CheckEmptying(table, relation, reach);
      for (const ObjectId& other : reach.emptied) {
        EmptiedWith(table, place, relations_.at(other), emptied);
      }
      if (relation.kind != 'r' || graph.HasChildren(id)) {
        Add(table.name, finding::UnusualTable, Cost::CannotForesee,
            relation.name + " is partitioned, inherited from or foreign. It was looked at as a plain table.");
      }
    }
  }

  void MissingTable(const db::TableDescription& table) {
    Add(table.name, finding::MissingTable, Cost::RunEnds,
        "There is no such table in the destination: the run ends where it is to be emptied (42P01).",
        "SELECT schemaname, tablename FROM pg_tables WHERE tablename ILIKE " + Literal(table.name) + ";");
    schema_.cannotEmpty.emplace(table.name, "the destination has no such table");
  }

  void NotATable(const db::TableDescription& table, const Relation& relation) {
    Add(table.name, finding::NotATable, Cost::RunEnds,
        relation.name + " is no table but a view or something else: the run ends where it is to be emptied (42809).");
    schema_.cannotEmpty.emplace(table.name, "it is no table in the destination");
  }

  void CheckEmptying(const db::TableDescription& table, const Relation& relation, const TruncateGraph::Reach& reach) {
    if (!reach.refusedBy.empty()) {
      std::string others;
      for (const ObjectId& other : reach.refusedBy) {
        others += (others.empty() ? "" : ", ") + relations_.at(other).name;
      }
      Add(table.name, finding::TruncateFails, Cost::RunEnds,
          "The run ends where the table is to be emptied (0A000), because of a foreign key to it from " + others +
              ", whether that has rows or not.",
          "SELECT conrelid::regclass, conname FROM pg_constraint WHERE contype = 'f' AND confrelid = " +
              Literal(relation.name) + "::regclass;");
      schema_.cannotEmpty.emplace(table.name, "a foreign key from " + others + " refers to it");
    }
    std::set<ObjectId> named(reach.emptied.begin(), reach.emptied.end());
    named.insert(relation.id);
    for (const ObjectId& id : reach.all) {
      const Relation& other = relations_.at(id);
      const std::string with = id == relation.id ? "" : ", because its truncate reaches " + other.name;
      // What inherits from a table is emptied with the rights on that table.
      if (!other.mayTruncate && named.contains(id)) {
        Add(table.name, finding::NoTruncateRight, Cost::RunEnds,
            "The login has no TRUNCATE right on " + other.name + ": the run ends where " + std::string(table.name) +
                " is to be emptied (42501)" + with + ".");
        schema_.cannotEmpty.emplace(table.name, "the login may not truncate " + other.name);
      }
      if (!other.ownsSequences) {
        Add(table.name, finding::NotSequenceOwner, Cost::RunEnds,
            "The login does not own the sequences of " + other.name +
                ", which RESTART IDENTITY asks for: the run ends "
                "where " +
                std::string(table.name) + " is to be emptied (42501)" + with + ".");
        schema_.cannotEmpty.emplace(table.name, "the login does not own the sequences of " + other.name);
      }
      if (!other.truncateTriggers.empty()) {
        Add(table.name, finding::HasTriggers, Cost::CannotForesee,
            "Truncating " + other.name + " fires " + other.truncateTriggers + ", which may do anything.");
      }
    }
  }

  /// `emptied` has the tables outside the 22 that are said already.
  void EmptiedWith(const db::TableDescription& table, std::size_t place, const Relation& other,
                   std::set<ObjectId>& emptied) {
    const auto& all = Catalogue();
    const auto own = std::find_if(all.begin(), all.end(),
                                  [&](const db::TableDescription& each) { return IdOf(each.name) == other.id; });
    if (own == all.end()) {
      if (!emptied.insert(other.id).second) {
        return;
      }
      const std::optional<std::uint64_t> rows = CountRows(destination_, other);
      Finding finding = SchemaFinding(finding::CascadeEmpties, Cost::RowsLost,
                                      "The truncate of " + std::string(table.name) + " cascades to " + other.name +
                                          ", which is not migrated: its rows are lost and do not come back." +
                                          (rows ? "" : " The login may not count them."));
      finding.rows = rows;
      finding.query = Query{.side = Side::Destination, .text = "SELECT count(*) FROM " + other.name + ";"};
      AddFinding(table.name, std::move(finding));
      return;
    }
    if (own - all.begin() < static_cast<std::ptrdiff_t>(place)) {
      Add(own->name, finding::CascadeEmptiesMigrated, Cost::RowsLost,
          "The rows that are migrated are emptied again: the table refers to " + std::string(table.name) +
              ", which comes later and whose truncate cascades.",
          "SELECT conname, confrelid::regclass FROM pg_constraint WHERE contype = 'f' AND conrelid = " +
              Literal(other.name) + "::regclass;");
      schema_.emptiedAgain.emplace(own->name, table.name);
    }
  }

  void CountAll() {
    std::uint64_t total = 0;
    std::string list;
    bool allKnown = true;
    for (const db::TableDescription& table : Catalogue()) {
      const auto relation = relations_.find(IdOf(table.name));
      if (relation == relations_.end() ||
          std::string_view("rpf").find(relation->second.kind) == std::string_view::npos) {
        continue;
      }
      if (!relation->second.mayRead) {
        Add(table.name, finding::NoSelectRight, Cost::CannotForesee,
            "The login has no SELECT right on " + relation->second.name +
                ": the rows that it holds cannot be counted, bw_db_check after cannot compare it, and a procedure that "
                "returns a new number may need it.");
      }
      if (relation->second.rowSecurity) {
        Add(table.name, finding::RowSecurity, Cost::CannotForesee,
            "Row security holds for the login: policies may refuse rows, and hide some.",
            "SELECT * FROM pg_policies WHERE tablename = " + Literal(table.name) + ";");
      }
      const std::optional<std::uint64_t> rows = CountRows(destination_, relation->second);
      if (!rows) {
        allKnown = false;
        continue;
      }
      schema_.rowsNow.emplace(table.name, *rows);
      total += *rows;
      if (*rows > 0) {
        list += (list.empty() ? "" : ", ") + std::string(table.name) + " " + std::to_string(*rows);
      }
    }
    const std::string counted = allKnown ? "" : " that can be counted";
    report_.facts.push_back(total == 0 ? "Destination: the tables hold no row" + counted + " now."
                                       : "Destination: the tables hold " + std::to_string(total) +
                                             (total == 1 ? " row" : " rows") + counted +
                                             " now, which the run deletes (" + list + ").");
  }

  // Columns.

  void CheckTable(const db::TableDescription& table, const std::vector<DestinationColumn>& columns) {
    const Relation& relation = relations_.at(IdOf(table.name));
    const bool called = CalledProcedure(table).has_value();
    // What a procedure does to its table is its own affair.
    const Cost cost = called ? Cost::CannotForesee : Cost::RunEnds;
    for (const db::ColumnDescription& described : table.columns) {
      const bool sent = IsSent(table, described.name);
      const auto column = std::find_if(columns.begin(), columns.end(), [&described](const DestinationColumn& each) {
        return each.name == described.name;
      });
      if (column == columns.end()) {
        MissingColumn(table, described, sent, cost);
      } else if (sent) {
        CheckSentColumn(table, described, *column, cost);
      } else {
        CheckNumberedColumn(table, *column, cost);
      }
    }
    for (const DestinationColumn& column : columns) {
      if (const std::optional<std::size_t> width = WidthOf(column.type)) {
        schema_.textWidths[std::string(table.name)].emplace(column.name, *width);
      }
      if (!Describes(table, column.name) && column.notNull && !IsFilled(column)) {
        Add(table.name, finding::NotNullColumn, cost,
            called ? "The migrator does not know the column, which is NOT NULL and has no default: the procedure has "
                     "to fill it."
                   : "The migrator does not fill the column, which is NOT NULL and has no default: the run ends at the "
                     "first row (23502).",
            ColumnsQuery(table), column.name);
        if (!called) {
          CannotWrite(table.name, column.name + " is NOT NULL and nothing fills it");
        }
      }
    }
    if (!called) {
      CheckInsertRight(table, relation, columns);
    }
    if (!relation.insertTriggers.empty()) {
      Add(table.name, finding::HasTriggers, Cost::CannotForesee,
          "An INSERT fires " + relation.insertTriggers + ", which may change or refuse rows.");
    }
    if (relation.hasInsertRules) {
      Add(table.name, finding::HasRules, Cost::CannotForesee, "A rule changes what an INSERT does.",
          "SELECT rulename, definition FROM pg_rules WHERE tablename = " + Literal(table.name) + ";");
    }
  }

  static bool IsFilled(const DestinationColumn& column) {
    return column.identity || column.alwaysGenerated || column.hasDefault;
  }

  static std::string ColumnsQuery(const db::TableDescription& table) {
    return "SELECT column_name, data_type, is_nullable, column_default, is_identity FROM information_schema.columns "
           "WHERE table_name = " +
           Literal(table.name) + " ORDER BY ordinal_position;";
  }

  void MissingColumn(const db::TableDescription& table, const db::ColumnDescription& described, bool sent, Cost cost) {
    const std::string name(described.name);
    if (!sent) {
      Add(table.name, finding::MissingColumn, Cost::ValueChanged,
          "There is no such column in the destination: the rows get no number.", ColumnsQuery(table), name);
    } else if (cost == Cost::RunEnds) {
      Add(table.name, finding::MissingColumn, cost,
          "There is no such column in the destination: the run ends at the first row (42703).", ColumnsQuery(table),
          name);
      CannotWrite(table.name, "the destination has no column " + name);
    } else {
      Add(table.name, finding::MissingColumn, cost,
          "There is no such column in the destination. Whether the procedure needs it cannot be told.",
          ColumnsQuery(table), name);
    }
  }

  void CheckSentColumn(const db::TableDescription& table, const db::ColumnDescription& described,
                       const DestinationColumn& column, Cost cost) {
    if (std::optional<Finding> type = JudgeType(described.kind, LettersSent(described, table.name), column.type)) {
      type->columns = {column.name};
      type->query = Query{.side = Side::Destination, .text = ColumnsQuery(table)};
      AddFinding(table.name, *std::move(type));
    }
    if (column.domainWithRules) {
      Add(table.name, finding::UnforeseenConstraint, Cost::CannotForesee,
          "The column's domain has rules of its own, which were not looked at.", ColumnsQuery(table), column.name);
    }
    if (column.alwaysGenerated) {
      Add(table.name, finding::GeneratedColumn, cost,
          cost == Cost::RunEnds
              ? "The destination generates the column always and takes no value for it: the run ends at the first row "
                "(428C9)."
              : "The destination generates the column always and takes no value for it. What the procedure does with "
                "the value that it gets cannot be told.",
          ColumnsQuery(table), column.name);
      if (cost == Cost::RunEnds) {
        CannotWrite(table.name, column.name + " takes no value");
      }
    }
  }

  /// A column that the destination has to number.
  void CheckNumberedColumn(const db::TableDescription& table, const DestinationColumn& column, Cost cost) {
    if (!IsFilled(column)) {
      const bool ends = cost == Cost::RunEnds && column.notNull;
      Add(table.name, finding::NotNumbered, cost == Cost::RunEnds && !ends ? Cost::ValueChanged : cost,
          ends
              ? "The destination has to number the rows, but the column has neither an identity nor a default: the run "
                "ends at the first row (23502)."
          : cost == Cost::RunEnds
              ? "The destination has to number the rows, but the column has neither an identity nor a default: it "
                "arrives as NULL."
              : "The column has neither an identity nor a default: the procedure has to number the rows.",
          ColumnsQuery(table), column.name);
      if (ends) {
        CannotWrite(table.name, "nothing numbers " + column.name);
      }
      return;
    }
    const std::optional<Sequence>& sequence = column.sequence;
    if (sequence && !sequence->mayUse && cost == Cost::RunEnds) {
      Add(table.name, finding::NoSequenceRight, cost,
          "The login has no USAGE right on the sequence that numbers the column: the run ends at the first row "
          "(42501).",
          {}, column.name);
      CannotWrite(table.name, "the login may not use the sequence of " + column.name);
    }
    if (!sequence || !sequence->restarted || sequence->start != 1 || sequence->increment != 1) {
      Add(table.name, finding::Numbering, Cost::CannotForesee,
          sequence && sequence->restarted
              ? "The destination numbers the rows from " + std::to_string(sequence->start) + " in steps of " +
                    std::to_string(sequence->increment) + ". What is said of new numbers holds for 1, 2, 3."
              : "The truncate does not set the numbers of the rows back to 1. What is said of new numbers holds for 1, "
                "2, 3.",
          ColumnsQuery(table), column.name);
    }
  }

  void CheckInsertRight(const db::TableDescription& table, const Relation& relation,
                        const std::vector<DestinationColumn>& columns) {
    const bool eachColumn = std::all_of(columns.begin(), columns.end(), [&table](const DestinationColumn& column) {
      return column.mayInsert || !IsSent(table, column.name);
    });
    if (!relation.mayInsert && !eachColumn) {
      NoInsertRight(table, "The login");
    }
  }

  void NoInsertRight(const db::TableDescription& table, const std::string& role) {
    Add(table.name, finding::NoInsertRight, Cost::RunEnds,
        role + " has no INSERT right on the table: the run ends at the first row (42501).");
    CannotWrite(table.name, "the login may not insert");
  }

  // Procedures.

  void CheckProcedures() {
    std::vector<std::string> names;
    for (const db::TableDescription& table : tables_) {
      if (const auto name = CalledProcedure(table)) {
        names.push_back(*name);
      }
    }
    if (names.empty()) {
      return;
    }
    const std::vector<Procedure> procedures = ReadProcedures(destination_, schemaName_, names);
    for (const db::TableDescription& table : tables_) {
      if (const auto name = CalledProcedure(table)) {
        CheckProcedure(table, *name, procedures);
      }
    }
  }

  void CheckProcedure(const db::TableDescription& table, const std::string& name,
                      const std::vector<Procedure>& procedures) {
    const std::string query =
        "SELECT oid::regprocedure, pg_get_function_arguments(oid) FROM pg_proc WHERE proname = " + Literal(name) + ";";
    std::vector<const Procedure*> named;
    std::vector<const Procedure*> fitting;
    for (const Procedure& procedure : procedures) {
      if (procedure.name == name && procedure.kind == 'p') {
        named.push_back(&procedure);
        if (procedure.Takes(table.parameters.size())) {
          fitting.push_back(&procedure);
        }
      }
    }
    if (named.empty()) {
      Add(table.name, finding::MissingProcedure, Cost::RunEnds,
          "There is no procedure " + name + " in the destination: the run ends at the first row (42883).", query);
      CannotWrite(table.name, "the destination has no procedure " + name);
    } else if (fitting.empty()) {
      Add(table.name, finding::ProcedureParameters, Cost::RunEnds,
          name + " takes " + std::to_string(named.front()->parameters.size()) + " parameters and is called with " +
              std::to_string(table.parameters.size()) + ": the run ends at the first row (42883).",
          query);
      CannotWrite(table.name, name + " takes another number of parameters");
    } else if (fitting.size() > 1) {
      Add(table.name, finding::ProcedureOverloaded, Cost::CannotForesee,
          "There are " + std::to_string(fitting.size()) + " procedures " + name +
              " that the call fits. Which one is called cannot be told.",
          query);
    } else {
      CheckFitting(table, *fitting.front(), query);
    }
  }

  void CheckFitting(const db::TableDescription& table, const Procedure& procedure, const std::string& query) {
    if (std::optional<Finding> parameters = JudgeParameters(table, procedure)) {
      parameters->query = Query{.side = Side::Destination, .text = query};
      AddFinding(table.name, *std::move(parameters));
    }
    const auto returned =
        std::count_if(procedure.parameters.begin(), procedure.parameters.end(),
                      [](const ProcedureParameter& each) { return each.mode == 'o' || each.mode == 'b'; });
    const auto expected = std::count_if(table.parameters.begin(), table.parameters.end(),
                                        [](const auto& each) { return each.direction == SQL_PARAM_OUTPUT; });
    if (returned < expected) {
      CannotWrite(table.name, procedure.name + " does not return the new number");
    }
    if (!procedure.mayExecute) {
      Add(table.name, finding::NoExecuteRight, Cost::RunEnds,
          "The login has no EXECUTE right on " + procedure.signature + ": the run ends at the first row (42501).",
          query);
      CannotWrite(table.name, "the login may not call " + procedure.name);
      return;
    }
    const auto relation = relations_.find(IdOf(table.name));
    if (relation != relations_.end() && !HasRight(destination_, procedure.runsAs, relation->first, "INSERT")) {
      NoInsertRight(table, procedure.runsAs + ", with whose rights " + procedure.name + " runs,");
    }
  }

  // Constraints.

  using Columns = std::map<ObjectId, std::vector<DestinationColumn>>;

  const db::TableDescription* TableOf(const ObjectId& id) const {
    const auto found = std::find_if(tables_.begin(), tables_.end(),
                                    [&](const db::TableDescription& table) { return IdOf(table.name) == id; });
    return found == tables_.end() ? nullptr : &*found;
  }

  static const DestinationColumn* ColumnOf(const Columns& columns, const ObjectId& table, std::string_view name) {
    const std::vector<DestinationColumn>& of = columns.at(table);
    const auto found =
        std::find_if(of.begin(), of.end(), [name](const DestinationColumn& column) { return column.name == name; });
    return found == of.end() ? nullptr : &*found;
  }

  void CheckIndexes(const Columns& columns) {
    for (DestinationIndex& index : ReadUniqueIndexes(destination_, ids_)) {
      const db::TableDescription* const table = TableOf(index.table);
      if (table == nullptr) {
        continue;
      }
      bool sent = true;
      bool apart = false;
      for (const std::string& name : index.columns) {
        if (IsSent(*table, name)) {
          continue;
        }
        sent = false;
        const DestinationColumn* const column = ColumnOf(columns, index.table, name);
        // A number or NULL, which no other row has. Of a column that numbers in its own way the column's finding tells.
        apart = apart || column == nullptr || !IsFilled(*column) || column->sequence || Describes(*table, name);
      }
      if (apart && index.plain) {
        continue;
      }
      if (index.plain && sent) {
        schema_.uniqueKeys.push_back(
            {.table = std::string(table->name), .name = index.name, .columns = std::move(index.columns)});
      } else {
        Unforeseen(*table, "The unique index " + index.name +
                               " is partial, over expressions, over columns that the migrator does not fill or over a "
                               "type that compares in its own way.");
      }
    }
  }

  void CheckConstraints(const Columns& columns) {
    for (DestinationConstraint& constraint : ReadConstraints(destination_, ids_)) {
      const db::TableDescription* const table = TableOf(constraint.table);
      if (table == nullptr) {
        continue;
      }
      if (constraint.kind == 'c') {
        schema_.checks.push_back({.table = std::string(table->name),
                                  .name = std::move(constraint.name),
                                  .expression = std::move(constraint.definition)});
      } else if (constraint.kind == 'f') {
        CheckForeignKey(*table, constraint, columns);
      } else {
        Unforeseen(*table, "The exclusion constraint " + constraint.name + " was not looked at.");
      }
    }
  }

  void CheckForeignKey(const db::TableDescription& table, DestinationConstraint& constraint, const Columns& columns) {
    bool sent = true;
    for (const std::string& name : constraint.columns) {
      const DestinationColumn* const column = ColumnOf(columns, constraint.table, name);
      if (!IsSent(table, name)) {
        sent = false;
        if (column != nullptr && !IsFilled(*column)) {
          return;  // It is NULL, and such a row refers to nothing.
        }
      }
    }
    const auto& all = Catalogue();
    const auto referred = std::find_if(all.begin(), all.end(), [&](const db::TableDescription& each) {
      return IdOf(each.name) == constraint.referredTable;
    });
    if (referred == all.end() || !sent) {
      Unforeseen(table, "The foreign key " + constraint.name + " refers to " + constraint.referredName +
                            ": a row that names none there ends the run (23503).");
      return;
    }
    schema_.foreignKeys.push_back({.table = std::string(table.name),
                                   .name = std::move(constraint.name),
                                   .columns = std::move(constraint.columns),
                                   .referredTable = std::string(referred->name),
                                   .referredColumns = std::move(constraint.referredColumns)});
  }

  void Unforeseen(const db::TableDescription& table, const std::string& text) {
    Add(table.name, finding::UnforeseenConstraint, Cost::CannotForesee, text);
  }

  // The statements.

  void CheckStatement(const db::TableDescription& table) {
    const std::optional<std::string> refused = WhyRefused(destination_, table);
    if (refused && !schema_.cannotEmpty.contains(table.name) && !schema_.cannotWrite.contains(table.name)) {
      Add(table.name, finding::StatementRefused, Cost::RunEnds,
          "The destination refuses the statement that writes the rows: the run ends at the first row. " + *refused);
      CannotWrite(table.name, "the destination refuses the statement");
    }
  }

  // The findings.

  void CannotWrite(std::string_view table, const std::string& reason) { schema_.cannotWrite.emplace(table, reason); }

  void General(const FindingKind& kind, Cost cost, const std::string& text, const std::string& query = {}) {
    report_.general.push_back(WithQuery(SchemaFinding(kind, cost, text), query));
  }

  void Add(std::string_view table, const FindingKind& kind, Cost cost, const std::string& text,
           const std::string& query = {}, const std::string& column = {}) {
    AddFinding(table, WithQuery(SchemaFinding(kind, cost, text, column), query));
  }

  static Finding WithQuery(Finding finding, const std::string& query) {
    if (!query.empty()) {
      finding.query = Query{.side = Side::Destination, .text = query};
    }
    return finding;
  }

  /// Of a table that the report has no entry for, nothing is said.
  void AddFinding(std::string_view table, Finding finding) {
    const auto found = std::find_if(report_.tables.begin(), report_.tables.end(),
                                    [table](const TableReport& each) { return each.table == table; });
    if (found != report_.tables.end()) {
      found->findings.push_back(std::move(finding));
    }
  }

  const odbc::DBConnection& destination_;
  const std::vector<db::TableDescription>& tables_;
  Report& report_;
  DestinationSchema schema_;
  SchemaName schemaName_;
  std::map<std::string, ObjectId, std::less<>> tableIds_;
  std::set<ObjectId> ids_;
  std::map<ObjectId, Relation> relations_;
};

}  // namespace

DestinationSchema CheckDestinationSchema(const odbc::DBConnection& destination,
                                         const std::vector<db::TableDescription>& tables, Report& report) {
  return SchemaCheck(destination, tables, report).Run();
}

}  // namespace check
