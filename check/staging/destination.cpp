#include "check/staging/destination.h"

#include <algorithm>
#include <optional>

#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check::staging {

namespace {

/// A condition that the query has made a text of: the driver has settings for how it shows booleans.
bool Yes(const TextRow& row, std::size_t column) {
  return Text(row, column) == "true";
}

// Triggers: 4 stands for INSERT, 32 for TRUNCATE. Those that a partition gets from its parent are internal before
// PostgreSQL 15. A function outside pg_catalog that is not immutable may do anything; what a default, a constraint or a
// domain calls is in pg_depend, but for the functions that PostgreSQL brings along. `shared` has what takes numbers
// from a sequence that another table's truncate restarts, and that table.
constexpr std::string_view kRelations = R"(
  WITH asked AS (SELECT unnest(?::oid[]) AS id),
  firing AS (
    SELECT g.tgrelid, g.tgtype, string_agg(g.tgname, ', ' ORDER BY g.tgname) AS names
    FROM pg_trigger g JOIN pg_proc p ON p.oid = g.tgfoid
    WHERE NOT (g.tgisinternal AND p.pronamespace = 'pg_catalog'::regnamespace) AND g.tgenabled IN
      (CASE current_setting('session_replication_role') WHEN 'replica' THEN 'R' ELSE 'O' END, 'A')
    GROUP BY g.tgrelid, g.tgtype),
  calls AS (
    SELECT d.classid, d.objid, d.refobjid AS function FROM pg_depend d
    WHERE d.refclassid = 'pg_proc'::regclass
    UNION ALL
    SELECT d.classid, d.objid, o.oprcode FROM pg_depend d JOIN pg_operator o ON o.oid = d.refobjid
    WHERE d.refclassid = 'pg_operator'::regclass),
  callers AS (
    SELECT k.conrelid AS tab, 'the check constraint ' || k.conname AS name, k.tableoid AS class, k.oid AS id
    FROM pg_constraint k WHERE k.contype IN ('c', 'x')
    UNION ALL
    SELECT a.attrelid, 'the domain of ' || a.attname, k.tableoid, k.oid
    FROM pg_attribute a JOIN pg_constraint k ON k.contypid = a.atttypid AND k.contype = 'c' WHERE a.attnum > 0
    UNION ALL
    SELECT f.adrelid, 'the default of ' || a.attname, f.tableoid, f.oid
    FROM pg_attrdef f JOIN pg_attribute a ON a.attrelid = f.adrelid AND a.attnum = f.adnum AND a.attgenerated = ''
    UNION ALL
    SELECT a.attrelid, 'the default of the domain of ' || a.attname, t.tableoid, t.oid
    FROM pg_attribute a JOIN pg_type t ON t.oid = a.atttypid AND t.typdefault IS NOT NULL WHERE a.attnum > 0),
  unknown AS (
    SELECT c.tab, string_agg(DISTINCT c.name || ' calls ' || p.oid::regproc, ', ') AS reasons
    FROM callers c
    JOIN calls l ON l.classid = c.class AND l.objid = c.id
    JOIN pg_proc p ON p.oid = l.function AND p.provolatile <> 'i'
      AND p.pronamespace <> 'pg_catalog'::regnamespace
    GROUP BY c.tab),
  numbering AS (
    SELECT f.adrelid AS tab, string_agg(a.attname, ', ') AS columns,
      bool_or(NOT has_sequence_privilege(s.oid, 'USAGE') AND NOT has_sequence_privilege(s.oid, 'UPDATE')) AS refused
    FROM pg_attrdef f
    JOIN pg_attribute a ON a.attrelid = f.adrelid AND a.attnum = f.adnum
    JOIN pg_depend d ON d.classid = f.tableoid AND d.objid = f.oid AND d.refclassid = 'pg_class'::regclass
    JOIN pg_class s ON s.oid = d.refobjid AND s.relkind = 'S'
    WHERE NOT (pg_get_expr(f.adbin, f.adrelid) = format('nextval(%L::regclass)', s.oid::regclass)
      AND (has_sequence_privilege(s.oid, 'SELECT')
        OR (has_sequence_privilege(s.oid, 'USAGE') AND pg_sequence_last_value(s.oid) IS NOT NULL)))
    GROUP BY f.adrelid),
  taking AS (
    SELECT DISTINCT f.adrelid AS tab, d.refobjid AS sequence FROM asked JOIN pg_attrdef f ON f.adrelid = asked.id
    JOIN pg_depend d ON d.classid = f.tableoid AND d.objid = f.oid AND d.refclassid = 'pg_class'::regclass
    JOIN pg_sequence s ON s.seqrelid = d.refobjid
    UNION
    SELECT d.refobjid, d.objid FROM asked JOIN pg_depend d ON d.refobjid = asked.id AND d.deptype = 'i'
      AND d.classid = 'pg_class'::regclass AND d.refclassid = 'pg_class'::regclass
    JOIN pg_sequence s ON s.seqrelid = d.objid),
  shared AS (
    SELECT DISTINCT x.tab, q.relname FROM taking t
    JOIN pg_depend o ON o.classid = 'pg_class'::regclass AND o.objid = t.sequence
      AND o.refclassid = 'pg_class'::regclass AND o.deptype IN ('a', 'i') AND o.refobjid <> t.tab
    JOIN taking x ON x.sequence = t.sequence
    JOIN pg_class q ON q.oid = t.sequence),
  hidden AS (
    SELECT a.attrelid AS tab, string_agg(a.attname, ', ') AS columns
    FROM pg_attribute a JOIN pg_type t ON t.oid = a.atttypid
    LEFT JOIN pg_attrdef f ON f.adrelid = a.attrelid AND f.adnum = a.attnum
    LEFT JOIN pg_depend d ON d.classid = f.tableoid AND d.objid = f.oid AND d.refclassid = 'pg_class'::regclass
      AND EXISTS (SELECT FROM pg_sequence s WHERE s.seqrelid = d.refobjid)
    WHERE a.attnum > 0 AND a.attgenerated = '' AND d.objid IS NULL
      AND coalesce(pg_get_expr(f.adbin, f.adrelid), t.typdefault) ~ '(nextval|currval|setval)[(]'
    GROUP BY a.attrelid)
  SELECT c.oid::text, format('%I.%I', n.nspname, c.relname), c.relkind::text,
    has_table_privilege(c.oid, 'TRUNCATE')::text,
    (has_table_privilege(c.oid, 'SELECT') AND has_schema_privilege(n.oid, 'USAGE'))::text,
    (NOT EXISTS (
      SELECT FROM pg_depend d JOIN pg_class s ON s.oid = d.objid AND s.relkind = 'S'
      WHERE d.classid = 'pg_class'::regclass AND d.refclassid = 'pg_class'::regclass AND d.refobjid = c.oid
        AND d.deptype IN ('a', 'i') AND NOT pg_has_role(s.relowner, 'USAGE')))::text,
    (SELECT string_agg(names, ', ') FROM firing WHERE tgrelid = c.oid AND tgtype & 32 <> 0),
    concat_ws('; ',
      CASE c.relkind WHEN 'r' THEN NULL WHEN 'p' THEN 'it is partitioned' WHEN 'f' THEN 'it is a foreign table'
        ELSE 'it is no table' END,
      (SELECT 'an INSERT fires ' || string_agg(names, ', ') FROM firing WHERE tgrelid = c.oid AND tgtype & 4 <> 0),
      (SELECT 'the rule ' || string_agg(r.rulename, ', ') || ' changes what an INSERT does' FROM pg_rewrite r
        WHERE r.ev_class = c.oid AND r.ev_type = '3' AND r.ev_enabled IN
          (CASE current_setting('session_replication_role') WHEN 'replica' THEN 'R' ELSE 'O' END, 'A')),
      CASE WHEN row_security_active(c.oid) THEN 'row security applies to the login' END,
      (SELECT reasons FROM unknown WHERE tab = c.oid),
      (SELECT 'the default of ' || columns || ' takes numbers from a sequence in its own way' FROM numbering
        WHERE tab = c.oid AND NOT refused),
      (SELECT 'the default of ' || columns || ' takes numbers from a sequence in its own way' FROM hidden
        WHERE tab = c.oid),
      (SELECT 'several tables take numbers from ' || string_agg(relname, ', ') || ', which the truncate of one restarts'
        FROM shared WHERE tab = c.oid),
      CASE WHEN NOT has_table_privilege(c.oid, 'SELECT') THEN 'the login has no SELECT right on it' END),
    (SELECT columns FROM numbering WHERE tab = c.oid AND refused)
  FROM asked JOIN pg_class c ON c.oid = asked.id JOIN pg_namespace n ON n.oid = c.relnamespace)";

std::map<ObjectId, Relation> ReadRelations(const odbc::DBConnection& destination, const std::set<ObjectId>& ids) {
  std::map<ObjectId, Relation> relations;
  for (const TextRow& row : QueryRows(destination, kRelations, {ArrayOf(ids)})) {
    relations.emplace(Text(row, 0), Relation{.id = Text(row, 0),
                                             .name = Text(row, 1),
                                             .kind = Text(row, 2).front(),
                                             .mayTruncate = Yes(row, 3),
                                             .mayRead = Yes(row, 4),
                                             .ownsSequences = Yes(row, 5),
                                             .truncateTriggers = Text(row, 6),
                                             .sequencesRefused = Text(row, 8),
                                             .unforeseen = Text(row, 7)});
  }
  return relations;
}

/// What a truncate follows from table to table.
class TruncateGraph {
 public:
  explicit TruncateGraph(const odbc::DBConnection& destination) {
    for (const TextRow& row :
         QueryRows(destination,
                   "SELECT confrelid::text, conrelid::text FROM pg_constraint WHERE contype = 'f' ORDER BY oid")) {
      referring_.emplace(Text(row, 0), Text(row, 1));
    }
    for (const TextRow& row : QueryRows(destination, "SELECT inhparent::text, inhrelid::text FROM pg_inherits")) {
      children_.emplace(Text(row, 0), Text(row, 1));
    }
  }

  Reach Truncate(const ObjectId& table, bool cascade) const {
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
        } else if (std::ranges::find(reach.refusedBy, referring) == reach.refusedBy.end()) {
          reach.refusedBy.push_back(referring);
        }
      }
    }
    return reach;
  }

 private:
  void AddWithChildren(const ObjectId& table, std::set<ObjectId>& all) const {
    if (all.insert(table).second) {
      const auto [begin, end] = children_.equal_range(table);
      std::for_each(begin, end, [&](const auto& child) { AddWithChildren(child.second, all); });
    }
  }

  std::multimap<ObjectId, ObjectId> referring_;  ///< From a table to one that refers to it.
  std::multimap<ObjectId, ObjectId> children_;
};

}  // namespace

const Relation* Destination::Find(std::string_view table) const {
  const auto found = tables.find(table);
  return found == tables.end() ? nullptr : &relations.at(found->second);
}

std::map<std::string_view, std::vector<std::string_view>> EmptiedAgain(const Destination& destination) {
  std::map<std::string_view, std::vector<std::string_view>> emptied;
  std::map<ObjectId, std::string_view> earlier;
  for (const db::TableDescription& table : Catalogue()) {
    const auto reach = destination.reaches.find(table.name);
    if (reach != destination.reaches.end()) {
      for (const ObjectId& id : reach->second.emptied) {
        if (const auto own = earlier.find(id); own != earlier.end()) {
          emptied[own->second].push_back(table.name);
        }
      }
    }
    if (const Relation* const relation = destination.Find(table.name)) {
      earlier.emplace(relation->id, table.name);
    }
  }
  return emptied;
}

Destination ReadDestination(const odbc::DBConnection& destination) {
  Destination model;
  const TruncateGraph graph(destination);
  std::set<ObjectId> ids;
  for (const db::TableDescription& table : Catalogue()) {
    const std::optional<std::string> id =
        QueryValue(destination, "SELECT to_regclass(?)::oid::text", {destination.schema() + Quoted(table.name)});
    if (!id) {
      continue;
    }
    Reach reach = graph.Truncate(*id, table.truncation == db::Truncation::Cascade);
    ids.insert(reach.all.begin(), reach.all.end());
    ids.insert(reach.refusedBy.begin(), reach.refusedBy.end());
    model.tables.emplace(table.name, *id);
    model.reaches.emplace(table.name, std::move(reach));
  }
  model.relations = ReadRelations(destination, ids);
  return model;
}

}  // namespace check::staging
