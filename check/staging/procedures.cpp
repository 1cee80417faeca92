#include "check/staging/procedures.h"

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <cctype>

#include "check/rules/catalogue.h"
#include "check/sql/query.h"

namespace check::staging {

namespace {

constexpr std::string_view kCall = "CALL {schema}\"";

/// The procedure that a table's statement calls; nothing when it is an INSERT.
std::optional<std::string> CalledProcedure(const db::TableDescription& table) {
  if (!table.write.starts_with(kCall)) {
    return std::nullopt;
  }
  const std::string_view rest = table.write.substr(kCall.size());
  return std::string(rest.substr(0, rest.find('"')));
}

struct Parameter {
  char mode;  ///< As in pg_proc: 'i' in, 'o' out, 'b' both, 'v' variadic.
  std::string name;
  std::string type;
};

struct Procedure {
  std::string id;
  std::string signature;
  bool mayExecute = false;
  bool mayInsert = false;
  bool mayRead = false;    ///< The number that it returns.
  bool mayNumber = false;  ///< It may take the numbers that defaults take from sequences.
  std::string runsAs;
  std::size_t defaults = 0;
  std::vector<Parameter> parameters;
};

std::vector<Procedure> ReadProcedures(const odbc::DBConnection& destination, const std::string& name,
                                      const db::TableDescription& description, const ObjectId& table) {
  constexpr std::string_view sql = R"(
    SELECT p.oid::text, p.oid::regprocedure::text, has_function_privilege(p.oid, 'EXECUTE')::text, r.name,
      (has_schema_privilege(r.name, (SELECT c.relnamespace FROM pg_class c WHERE c.oid = k.id), 'USAGE')
        AND (SELECT bool_and(has_column_privilege(r.name, k.id, a.attnum, 'INSERT')) FROM pg_attribute a
          WHERE a.attrelid = k.id AND a.attname = ANY (string_to_array(?, ','))))::text,
      has_any_column_privilege(r.name, k.id, 'SELECT')::text,
      (NOT EXISTS (
        SELECT FROM pg_attrdef f
        JOIN pg_depend d ON d.classid = f.tableoid AND d.objid = f.oid AND d.refclassid = 'pg_class'::regclass
        JOIN pg_sequence s ON s.seqrelid = d.refobjid
        WHERE f.adrelid = k.id AND NOT has_sequence_privilege(r.name, s.seqrelid, 'USAGE, UPDATE')))::text,
      p.pronargdefaults::text,
      coalesce(p.proargmodes[x.number], 'i')::text, coalesce(p.proargnames[x.number], ''), format_type(x.type, -1)
    FROM (SELECT ?::oid AS id) AS k CROSS JOIN pg_proc p
    CROSS JOIN LATERAL (SELECT CASE WHEN p.prosecdef THEN pg_get_userbyid(p.proowner) ELSE current_user END) AS r (name)
    LEFT JOIN LATERAL unnest(coalesce(p.proallargtypes, p.proargtypes::oid[])) WITH ORDINALITY AS x (type, number)
      ON true
    WHERE p.prokind = 'p' AND p.proname = ? AND CASE
      WHEN ? = '' THEN pg_function_is_visible(p.oid)
      ELSE p.pronamespace = (SELECT c.relnamespace FROM pg_class c WHERE c.oid = k.id) END
    ORDER BY p.oid, x.number)";
  std::string inserted;
  for (const db::ParameterDescription& parameter : description.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      inserted.append(inserted.empty() ? "" : ",").append(parameter.column);
    }
  }
  std::vector<Procedure> procedures;
  for (const TextRow& row : QueryRows(destination, sql, {inserted, table, name, destination.schema()})) {
    if (procedures.empty() || procedures.back().id != row.at(0)) {
      procedures.push_back({.id = Text(row, 0),
                            .signature = Text(row, 1),
                            .mayExecute = row.at(2) == "true",
                            .mayInsert = row.at(4) == "true",
                            .mayRead = row.at(5) == "true",
                            .mayNumber = row.at(6) == "true",
                            .runsAs = Text(row, 3),
                            .defaults = std::stoul(Text(row, 7)),
                            .parameters = {}});
    }
    if (row.at(10)) {
      procedures.back().parameters.push_back({.mode = Text(row, 8).front(), .name = Text(row, 9), .type = *row.at(10)});
    }
  }
  return procedures;
}

/// Whether a call with so many values fits.
bool Fits(const Procedure& procedure, std::size_t values) {
  const bool variadic = !procedure.parameters.empty() && procedure.parameters.back().mode == 'v';
  return values + procedure.defaults >= procedure.parameters.size() &&
         (variadic || values <= procedure.parameters.size());
}

/// A name without what writers of procedures vary: case and underscores.
std::string Folded(std::string_view name) {
  std::string folded;
  for (const char c : name) {
    if (c != '_') {
      folded += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
  }
  return folded;
}

/// Why it is not known what becomes of the values: a parameter that returns what nobody expects, or the other way
/// round, or one with the name of another column.
std::optional<std::string> WhyUnforeseen(const db::TableDescription& table, const Procedure& procedure) {
  if (procedure.parameters.size() < table.parameters.size()) {
    return procedure.signature + " accepts any number of parameters";
  }
  for (std::size_t i = 0; i < table.parameters.size(); ++i) {
    const Parameter& parameter = procedure.parameters[i];
    const std::string place = "parameter " + std::to_string(i + 1) + " of " + procedure.signature;
    if ((parameter.mode != 'i') != (table.parameters[i].direction == SQL_PARAM_OUTPUT) || parameter.mode == 'v') {
      return place + " is passed in another direction than the call expects";
    }
    const auto named = std::ranges::find_if(
        table.parameters, [&parameter](const auto& each) { return Folded(each.column) == Folded(parameter.name); });
    if (named != table.parameters.end() && named->column != table.parameters[i].column) {
      return place + " has the name of another column than it gets, " + std::string(table.parameters[i].column);
    }
  }
  return std::nullopt;
}

ProcedureCall CallOf(const db::TableDescription& table, const std::string& name, const Relation& relation,
                     const std::vector<Procedure>& procedures) {
  std::vector<const Procedure*> fitting;
  for (const Procedure& procedure : procedures) {
    if (Fits(procedure, table.parameters.size())) {
      fitting.push_back(&procedure);
    }
  }
  ProcedureCall call;
  if (fitting.empty()) {
    call.refused =
        "the destination has no procedure " + name + " with " + std::to_string(table.parameters.size()) + " parameters";
    return call;
  }
  const Procedure& procedure = *fitting.front();
  if (fitting.size() > 1) {
    call.unforeseen = std::to_string(fitting.size()) + " procedures " + name + " fit the call";
  } else if (!procedure.mayExecute) {
    call.refused = "the login has no EXECUTE right on " + procedure.signature;
  } else if (!procedure.mayInsert) {
    call.refused =
        procedure.runsAs + ", with whose rights " + procedure.signature + " runs, may not insert into the table";
  } else if (!procedure.mayRead || !procedure.mayNumber) {
    call.unforeseen = procedure.runsAs + ", with whose rights " + procedure.signature + " runs, may not " +
                      (procedure.mayRead ? "take the numbers of its rows from their sequence" : "read the table");
  } else if (!relation.sequencesRefused.empty()) {
    call.unforeseen = "the login may not see the sequence that numbers " + relation.sequencesRefused;
  } else {
    call.unforeseen = WhyUnforeseen(table, procedure);
  }
  if (!call.unforeseen && procedure.parameters.size() >= table.parameters.size()) {
    std::ranges::transform(procedure.parameters, std::back_inserter(call.parameterTypes),
                           [](const Parameter& parameter) { return parameter.type; });
    call.parameterTypes.resize(table.parameters.size());
  }
  return call;
}

}  // namespace

std::map<std::string_view, ProcedureCall> ReadCalls(const odbc::DBConnection& destination, const Destination& model) {
  std::map<std::string_view, ProcedureCall> calls;
  for (const db::TableDescription& table : Catalogue()) {
    const auto id = model.tables.find(table.name);
    const std::optional<std::string> name = CalledProcedure(table);
    if (name && id != model.tables.end()) {
      calls.emplace(table.name, CallOf(table, *name, model.relations.at(id->second),
                                       ReadProcedures(destination, *name, table, id->second)));
    }
  }
  return calls;
}

}  // namespace check::staging
