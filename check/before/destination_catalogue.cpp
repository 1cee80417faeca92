#include "check/before/destination_catalogue.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

std::string Text(const TextRow& row, std::size_t column) {
  return row.at(column).value_or("");
}

/// A condition that the query has made a text of: the driver has settings for how it shows booleans.
bool Yes(const TextRow& row, std::size_t column) {
  return Text(row, column) == "true";
}

char Letter(const TextRow& row, std::size_t column) {
  const std::string text = Text(row, column);
  return text.empty() ? ' ' : text.front();
}

DestinationType TypeOf(const TextRow& row, std::size_t name, std::size_t category, std::size_t modifier) {
  return {.name = Text(row, name), .category = Letter(row, category), .modifier = std::stoi(Text(row, modifier))};
}

/// The numbers as a list for IN; a list that holds nothing when there are none.
std::string List(const std::set<ObjectId>& ids) {
  std::string list;
  for (const ObjectId& id : ids) {
    list += (list.empty() ? "" : ", ") + id;
  }
  return "(" + (list.empty() ? "NULL" : list) + ")";
}

/// What stands in place of a table name, as the migrator writes it.
std::string PathOf(const odbc::DBConnection& destination, std::string_view table) {
  return destination.schema() + QuotedName(Side::Destination, table);
}

}  // namespace

SchemaName FindSchema(const odbc::DBConnection& destination) {
  if (destination.schema().empty()) {
    return {};
  }
  const std::string parts = "parse_ident(" + Literal(PathOf(destination, "SystemData")) + ")";
  const std::vector<TextRow> rows =
      QueryRows(destination,
                "SELECT s.name, EXISTS (SELECT FROM pg_namespace n WHERE n.nspname = s.name)::text "
                "FROM (SELECT (" +
                    parts + ")[array_length(" + parts + ", 1) - 1] AS name) AS s");
  return {.name = Text(rows.at(0), 0), .exists = Yes(rows.at(0), 1)};
}

std::map<std::string, ObjectId, std::less<>> FindTables(const odbc::DBConnection& destination) {
  std::string list;
  for (const db::TableDescription& table : Catalogue()) {
    list += (list.empty() ? "(" : ", (") + Literal(table.name) + ", " + Literal(PathOf(destination, table.name)) + ")";
  }
  std::map<std::string, ObjectId, std::less<>> tables;
  for (const TextRow& row :
       QueryRows(destination, "SELECT t.name, to_regclass(t.path)::oid::text FROM (VALUES " + list +
                                  ") AS t (name, path) WHERE to_regclass(t.path) IS NOT NULL")) {
    tables.emplace(Text(row, 0), Text(row, 1));
  }
  return tables;
}

std::map<ObjectId, Relation> ReadRelations(const odbc::DBConnection& destination, const std::set<ObjectId>& ids) {
  // Triggers: 4 stands for INSERT, 32 for TRUNCATE.
  const std::string sql = R"(
    SELECT c.oid::text, format('%I.%I', n.nspname, c.relname), c.relkind::text,
      has_table_privilege(c.oid, 'TRUNCATE')::text,
      has_table_privilege(c.oid, 'INSERT')::text,
      (has_any_column_privilege(c.oid, 'SELECT') AND has_schema_privilege(n.oid, 'USAGE'))::text,
      row_security_active(c.oid)::text,
      (NOT EXISTS (
        SELECT FROM pg_depend d JOIN pg_class s ON s.oid = d.objid AND s.relkind = 'S'
        WHERE d.classid = 'pg_class'::regclass AND d.refclassid = 'pg_class'::regclass AND d.refobjid = c.oid
          AND d.deptype IN ('a', 'i') AND NOT pg_has_role(s.relowner, 'USAGE')))::text,
      EXISTS (SELECT FROM pg_rewrite r WHERE r.ev_class = c.oid AND r.ev_type = '3'
        AND r.ev_enabled IN ('O', 'A'))::text,
      (SELECT string_agg(g.tgname, ', ' ORDER BY g.tgname) FROM pg_trigger g
        WHERE g.tgrelid = c.oid AND NOT g.tgisinternal AND g.tgenabled IN ('O', 'A') AND g.tgtype & 4 <> 0),
      (SELECT string_agg(g.tgname, ', ' ORDER BY g.tgname) FROM pg_trigger g
        WHERE g.tgrelid = c.oid AND NOT g.tgisinternal AND g.tgenabled IN ('O', 'A') AND g.tgtype & 32 <> 0)
    FROM pg_class c JOIN pg_namespace n ON n.oid = c.relnamespace WHERE c.oid IN )";
  std::map<ObjectId, Relation> relations;
  for (const TextRow& row : QueryRows(destination, sql + List(ids))) {
    const Relation relation{.id = Text(row, 0),
                            .name = Text(row, 1),
                            .kind = Letter(row, 2),
                            .mayTruncate = Yes(row, 3),
                            .mayInsert = Yes(row, 4),
                            .mayRead = Yes(row, 5),
                            .rowSecurity = Yes(row, 6),
                            .ownsSequences = Yes(row, 7),
                            .hasInsertRules = Yes(row, 8),
                            .insertTriggers = Text(row, 9),
                            .truncateTriggers = Text(row, 10)};
    relations.emplace(relation.id, relation);
  }
  return relations;
}

std::optional<std::uint64_t> CountRows(const odbc::DBConnection& destination, const Relation& relation) {
  if (!relation.mayRead || relation.rowSecurity) {
    return std::nullopt;
  }
  return std::stoull(QueryValue(destination, "SELECT count(*) FROM " + relation.name).value_or("0"));
}

TruncateGraph::TruncateGraph(const odbc::DBConnection& destination) {
  for (const TextRow& row : QueryRows(
           destination, "SELECT confrelid::text, conrelid::text FROM pg_constraint WHERE contype = 'f' ORDER BY oid")) {
    referring_.emplace(Text(row, 0), Text(row, 1));
  }
  for (const TextRow& row : QueryRows(destination, "SELECT inhparent::text, inhrelid::text FROM pg_inherits")) {
    children_.emplace(Text(row, 0), Text(row, 1));
  }
}

void TruncateGraph::AddWithChildren(const ObjectId& table, std::set<ObjectId>& all) const {
  if (!all.insert(table).second) {
    return;
  }
  const auto [begin, end] = children_.equal_range(table);
  std::for_each(begin, end, [&](const auto& child) { AddWithChildren(child.second, all); });
}

TruncateGraph::Reach TruncateGraph::Truncate(const ObjectId& table, bool cascade) const {
  Reach reach;
  AddWithChildren(table, reach.all);
  for (bool grows = true; grows;) {
    grows = false;
    for (const auto& [referred, referring] : referring_) {
      if (!reach.all.contains(referred) || reach.all.contains(referring)) {
        continue;
      }
      if (cascade) {
        reach.emptied.push_back(referring);
        AddWithChildren(referring, reach.all);
        grows = true;
      } else if (std::find(reach.refusedBy.begin(), reach.refusedBy.end(), referring) == reach.refusedBy.end()) {
        reach.refusedBy.push_back(referring);
      }
    }
  }
  return reach;
}

std::map<ObjectId, std::vector<DestinationColumn>> ReadColumns(const odbc::DBConnection& destination,
                                                               const std::set<ObjectId>& tables) {
  // An identity has a sequence that depends on the column, a default one that the default depends on. RESTART IDENTITY
  // sets back those that belong to a column of the table.
  const std::string sql = R"(
    WITH feeding AS (
      SELECT d.refobjid AS tab, d.refobjsubid AS num, d.objid AS seq, true AS is_identity FROM pg_depend d
      WHERE d.classid = 'pg_class'::regclass AND d.refclassid = 'pg_class'::regclass AND d.deptype = 'i'
      UNION ALL
      SELECT f.adrelid, f.adnum, d.refobjid, false FROM pg_attrdef f
      JOIN pg_depend d
        ON d.classid = 'pg_attrdef'::regclass AND d.objid = f.oid AND d.refclassid = 'pg_class'::regclass)
    SELECT a.attrelid::text, a.attname, b.typname, b.typcategory::text,
      (CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END)::text,
      (t.typtype = 'd' AND (b.typtype = 'd' OR EXISTS (SELECT FROM pg_constraint k WHERE k.contypid = t.oid)))::text,
      (a.attnotnull OR (t.typtype = 'd' AND t.typnotnull))::text,
      (a.attidentity <> '')::text,
      (a.attidentity = 'a' OR a.attgenerated <> '')::text,
      (a.attgenerated = '' AND (t.typdefault IS NOT NULL OR EXISTS (
        SELECT FROM pg_attrdef f WHERE f.adrelid = a.attrelid AND f.adnum = a.attnum)))::text,
      has_column_privilege(a.attrelid, a.attnum, 'INSERT')::text,
      q.seqstart::text, q.seqincrement::text,
      EXISTS (
        SELECT FROM pg_depend o WHERE o.classid = 'pg_class'::regclass AND o.objid = q.seqrelid
          AND o.refclassid = 'pg_class'::regclass AND o.refobjid = a.attrelid AND o.deptype IN ('a', 'i'))::text,
      (i.is_identity OR has_sequence_privilege(q.seqrelid, 'USAGE')
        OR has_sequence_privilege(q.seqrelid, 'UPDATE'))::text
    FROM pg_attribute a
    JOIN pg_type t ON t.oid = a.atttypid
    JOIN pg_type b ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END
    LEFT JOIN (feeding i JOIN pg_sequence q ON q.seqrelid = i.seq) ON i.tab = a.attrelid AND i.num = a.attnum
    WHERE a.attnum > 0 AND NOT a.attisdropped AND a.attrelid IN )";
  std::map<ObjectId, std::vector<DestinationColumn>> columns;
  for (const TextRow& row : QueryRows(destination, sql + List(tables) + " ORDER BY a.attrelid, a.attnum")) {
    DestinationColumn column{.name = Text(row, 1),
                             .type = TypeOf(row, 2, 3, 4),
                             .domainWithRules = Yes(row, 5),
                             .notNull = Yes(row, 6),
                             .identity = Yes(row, 7),
                             .alwaysGenerated = Yes(row, 8),
                             .hasDefault = Yes(row, 9),
                             .mayInsert = Yes(row, 10),
                             .sequence = {}};
    if (row.at(11)) {
      column.sequence = Sequence{.start = std::stoll(Text(row, 11)),
                                 .increment = std::stoll(Text(row, 12)),
                                 .restarted = Yes(row, 13),
                                 .mayUse = Yes(row, 14)};
    }
    columns[Text(row, 0)].push_back(std::move(column));
  }
  return columns;
}

std::vector<Procedure> ReadProcedures(const odbc::DBConnection& destination, const SchemaName& schema,
                                      const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) {
    list += (list.empty() ? "" : ", ") + Literal(name);
  }
  const std::string found = schema.name ? "n.nspname = " + Literal(*schema.name) : "pg_function_is_visible(p.oid)";
  const std::string sql = R"(
    SELECT p.oid::text, p.oid::regprocedure::text, p.proname, p.prokind::text,
      has_function_privilege(p.oid, 'EXECUTE')::text,
      CASE WHEN p.prosecdef THEN pg_get_userbyid(p.proowner) ELSE current_user END, p.pronargdefaults::text,
      coalesce(p.proargmodes[x.number], 'i')::text, p.proargnames[x.number], b.typname, b.typcategory::text,
      (CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE -1 END)::text
    FROM pg_proc p
    JOIN pg_namespace n ON n.oid = p.pronamespace
    LEFT JOIN LATERAL unnest(coalesce(p.proallargtypes, p.proargtypes::oid[])) WITH ORDINALITY AS x (type, number)
      ON true
    LEFT JOIN pg_type t ON t.oid = x.type
    LEFT JOIN pg_type b ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END
    WHERE p.proname IN ()" +
                          list + ") AND " + found + " ORDER BY p.oid, x.number";
  std::vector<Procedure> procedures;
  for (const TextRow& row : QueryRows(destination, sql)) {
    if (procedures.empty() || procedures.back().id != Text(row, 0)) {
      procedures.push_back({.id = Text(row, 0),
                            .signature = Text(row, 1),
                            .name = Text(row, 2),
                            .kind = Letter(row, 3),
                            .mayExecute = Yes(row, 4),
                            .runsAs = Text(row, 5),
                            .defaults = std::stoul(Text(row, 6)),
                            .parameters = {}});
    }
    if (row.at(9)) {
      procedures.back().parameters.push_back(
          {.mode = Letter(row, 7), .name = Text(row, 8), .type = TypeOf(row, 9, 10, 11)});
    }
  }
  return procedures;
}

bool HasRight(const odbc::DBConnection& destination, std::string_view role, const ObjectId& table,
              std::string_view right) {
  return QueryValue(destination, "SELECT has_table_privilege(" + Literal(role) + ", " + table + "::oid, " +
                                     Literal(right) + ")::text") == "true";
}

std::vector<DestinationIndex> ReadUniqueIndexes(const odbc::DBConnection& destination,
                                                const std::set<ObjectId>& tables) {
  // What two equal texts are, a collation may say; numbers and plain texts are equal when their bytes are.
  const std::string sql = R"(
    SELECT i.indrelid::text, c.relname,
      (i.indpred IS NULL AND i.indexprs IS NULL)::text,
      a.attname,
      (b.typname IN ('int2', 'int4', 'int8', 'float4', 'float8', 'numeric', 'varchar', 'text')
        AND coalesce(l.collisdeterministic, true))::text
    FROM pg_index i
    JOIN pg_class c ON c.oid = i.indexrelid
    JOIN generate_series(0, 31) AS k (place) ON k.place < i.indnkeyatts
    LEFT JOIN pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = i.indkey[k.place]
    LEFT JOIN pg_type t ON t.oid = a.atttypid
    LEFT JOIN pg_type b ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END
    LEFT JOIN pg_collation l ON l.oid = i.indcollation[k.place]
    WHERE i.indisunique AND i.indrelid IN )";
  std::vector<DestinationIndex> indexes;
  for (const TextRow& row : QueryRows(destination, sql + List(tables) + " ORDER BY i.indrelid, c.relname, k.place")) {
    if (indexes.empty() || indexes.back().table != Text(row, 0) || indexes.back().name != Text(row, 1)) {
      indexes.push_back({.table = Text(row, 0), .name = Text(row, 1), .plain = Yes(row, 2), .columns = {}});
    }
    indexes.back().plain = indexes.back().plain && Yes(row, 4);
    indexes.back().columns.push_back(Text(row, 3));
  }
  return indexes;
}

std::vector<DestinationConstraint> ReadConstraints(const odbc::DBConnection& destination,
                                                   const std::set<ObjectId>& tables) {
  const std::string sql = R"(
    SELECT k.conrelid::text, k.conname, k.contype::text,
      CASE WHEN k.contype = 'c' THEN pg_get_expr(k.conbin, k.conrelid) ELSE pg_get_constraintdef(k.oid) END,
      a.attname, k.confrelid::text, CASE WHEN c.oid IS NOT NULL THEN format('%I.%I', n.nspname, c.relname) END,
      r.attname
    FROM pg_constraint k
    LEFT JOIN LATERAL unnest(k.conkey, k.confkey) WITH ORDINALITY AS x (own, referred, number) ON true
    LEFT JOIN pg_attribute a ON a.attrelid = k.conrelid AND a.attnum = x.own
    LEFT JOIN pg_attribute r ON r.attrelid = k.confrelid AND r.attnum = x.referred
    LEFT JOIN pg_class c ON c.oid = k.confrelid
    LEFT JOIN pg_namespace n ON n.oid = c.relnamespace
    WHERE k.contype IN ('f', 'c', 'x') AND k.conrelid IN )";
  std::vector<DestinationConstraint> constraints;
  for (const TextRow& row :
       QueryRows(destination, sql + List(tables) + " ORDER BY k.conrelid, k.conname, k.oid, x.number")) {
    if (constraints.empty() || constraints.back().table != Text(row, 0) || constraints.back().name != Text(row, 1)) {
      constraints.push_back({.table = Text(row, 0),
                             .name = Text(row, 1),
                             .kind = Letter(row, 2),
                             .definition = Text(row, 3),
                             .columns = {},
                             .referredTable = Text(row, 5),
                             .referredName = Text(row, 6),
                             .referredColumns = {}});
    }
    if (row.at(4)) {
      constraints.back().columns.push_back(Text(row, 4));
      constraints.back().referredColumns.push_back(Text(row, 7));
    }
  }
  return constraints;
}

}  // namespace check
