#include "check/staging/copies.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>

#include "check/rules/catalogue.h"
#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check::staging {

namespace {

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < text.size();) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    lines.push_back(text.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

/// A foreign key that the destination enforces when a row is inserted.
struct ForeignKey {
  ObjectId table;
  ObjectId referred;
  ObjectId id;
  std::string name;
  std::string columns;          ///< As they are written in SQL.
  std::string referredColumns;  ///< The same.
  std::string match;
  std::string referredName;  ///< As it is written in SQL, after FROM.
  bool mayRead = false;
  std::vector<std::string> columnNames;
  std::vector<std::string> referredColumnNames;
};

std::vector<ForeignKey> ReadForeignKeys(const odbc::DBConnection& destination, const Destination& model) {
  // A foreign key without an enabled trigger is not looked at by the server.
  constexpr std::string_view sql = R"(
    SELECT k.conrelid::text, k.confrelid::text, k.oid::text, k.conname, own.list, referred.list,
      CASE k.confmatchtype WHEN 'f' THEN ' MATCH FULL' ELSE '' END,
      CASE c.relkind WHEN 'r' THEN 'ONLY ' ELSE '' END || format('%I.%I', n.nspname, c.relname),
      (referred.may_read AND has_schema_privilege(n.oid, 'USAGE')
        AND NOT row_security_active(c.oid))::text,
      own.names, referred.names
    FROM pg_constraint k
    JOIN pg_class c ON c.oid = k.confrelid
    JOIN pg_namespace n ON n.oid = c.relnamespace
    JOIN LATERAL (
      SELECT string_agg(quote_ident(a.attname), ', ' ORDER BY x.place) AS list,
        string_agg(a.attname, E'\n' ORDER BY x.place) AS names
      FROM unnest(k.conkey) WITH ORDINALITY AS x (number, place)
      JOIN pg_attribute a ON a.attrelid = k.conrelid AND a.attnum = x.number) AS own ON true
    JOIN LATERAL (
      SELECT string_agg(quote_ident(a.attname), ', ' ORDER BY x.place) AS list,
        string_agg(a.attname, E'\n' ORDER BY x.place) AS names,
        bool_and(has_column_privilege(k.confrelid, x.number, 'SELECT')) AS may_read
      FROM unnest(k.confkey) WITH ORDINALITY AS x (number, place)
      JOIN pg_attribute a ON a.attrelid = k.confrelid AND a.attnum = x.number) AS referred ON true
    WHERE k.contype = 'f' AND EXISTS (
      SELECT FROM pg_trigger g WHERE g.tgconstraint = k.oid AND g.tgrelid = k.conrelid AND g.tgtype & 4 <> 0
        AND g.tgenabled IN (CASE current_setting('session_replication_role') WHEN 'replica' THEN 'R' ELSE 'O' END, 'A'))
    ORDER BY k.oid)";
  std::vector<ForeignKey> keys;
  std::set<ObjectId> ids;
  for (const auto& [name, id] : model.tables) {
    ids.insert(id);
  }
  for (const TextRow& row : QueryRows(destination, sql)) {
    if (ids.contains(Text(row, 0))) {
      keys.push_back({.table = Text(row, 0),
                      .referred = Text(row, 1),
                      .id = Text(row, 2),
                      .name = Text(row, 3),
                      .columns = Text(row, 4),
                      .referredColumns = Text(row, 5),
                      .match = Text(row, 6),
                      .referredName = Text(row, 7),
                      .mayRead = Text(row, 8) == "true",
                      .columnNames = Lines(Text(row, 9)),
                      .referredColumnNames = Lines(Text(row, 10))});
    }
  }
  return keys;
}

/// The table of the 22 that has this number; nothing for another one.
std::optional<std::string_view> NameOf(const Destination& model, const ObjectId& id) {
  const auto found = std::ranges::find_if(model.tables, [&id](const auto& entry) { return entry.second == id; });
  return found == model.tables.end() ? std::nullopt : std::optional(found->first);
}

/// Whether a column of this type stores every value as it is sent. `limit` is that of its characters.
bool StoresAsSent(const db::ColumnDescription& column, std::string_view type, const std::optional<std::string>& limit,
                  std::string_view modifier) {
  switch (column.kind) {
    case db::ValueKind::Int32:
      return type == "int4" || type == "int8" || (type == "numeric" && modifier == "-1");
    case db::ValueKind::Text:
      return type == "text" || (type == "varchar" && (!limit || std::stoul(*limit) >= column.size - 1));
    case db::ValueKind::Double:
      break;
  }
  return false;
}

/// Whether a procedure's parameter of this type passes every value on as it is sent.
bool PassesAsSent(const db::ColumnDescription& column, std::string_view type) {
  return column.kind == db::ValueKind::Text ? type == "text" || type == "character varying"
                                            : type == "integer" || type == "bigint";
}

/// Creates the copies, one table after the other in the order of the migration.
class Creation {
 public:
  Creation(const odbc::DBConnection& destination, const Destination& model,
           const std::map<std::string_view, ProcedureCall>& calls)
      : destination_(destination), model_(model), calls_(calls), foreignKeys_(ReadForeignKeys(destination, model)) {
    Run("CREATE TEMP TABLE bw_changed_rows (tab text, position integer)");
    Run("CREATE TEMP TABLE bw_left_out (tab text, number integer, assigned integer)");
    Run("CREATE TEMP TABLE bw_refused_keys (key text, content text)");
  }

  void Create(const db::TableDescription& table) {
    const Relation* const relation = model_.Find(table.name);
    if (relation == nullptr) {
      return;
    }
    if (!relation->unforeseen.empty()) {
      result_.unforeseen.emplace(table.name, relation->unforeseen);
      return;
    }
    const auto call = calls_.find(table.name);
    if (call != calls_.end() && call->second.unforeseen) {
      result_.unforeseen.emplace(table.name, *call->second.unforeseen);
      return;
    }
    for (const ForeignKey& key : foreignKeys_) {
      if (key.table == relation->id) {
        if (const std::optional<std::string> reason = WhyUnforeseen(key)) {
          result_.unforeseen.emplace(table.name, *reason);
          return;
        }
      }
    }
    Copy copy;
    copy.table = &TableNamed(table.name);
    copy.path = "pg_temp." + Quoted(table.name);
    Run("CREATE TEMP TABLE " + Quoted(table.name) + " (LIKE " + relation->name + " INCLUDING ALL)");
    GiveSequences(copy, *relation);
    AddPartitionCheck(copy, *relation);
    for (const ForeignKey& key : foreignKeys_) {
      if (key.table == relation->id) {
        AddForeignKey(copy, key);
      }
    }
    AddOwnColumns(copy);
    DescribeColumns(copy);
    DescribeConstraints(copy, *relation);
    result_.copies.emplace(table.name, std::move(copy));
  }

  Copies TakeResult() { return std::move(result_); }

 private:
  void Run(const std::string& sql) const { Execute(destination_, sql); }

  /// Whether the migrator empties a table after it has come to one place and until it has come to another.
  bool IsEmptiedBetween(const ObjectId& table, std::size_t after, std::size_t until) const {
    for (std::size_t place = after; place <= until; ++place) {
      const auto reach = model_.reaches.find(Catalogue()[place].name);
      if (reach != model_.reaches.end() && reach->second.all.contains(table)) {
        return true;
      }
    }
    return false;
  }

  std::optional<std::string> WhyUnforeseen(const ForeignKey& key) const {
    const std::size_t own = PlaceOf(*NameOf(model_, key.table));
    const std::optional<std::string_view> referred = NameOf(model_, key.referred);
    if (referred && PlaceOf(*referred) < own) {
      return result_.copies.contains(*referred) || IsEmptiedBetween(key.referred, PlaceOf(*referred) + 1, own)
                 ? std::nullopt
                 : std::optional("its foreign key " + key.name + " refers to " + std::string(*referred));
    }
    return key.mayRead || referred == NameOf(model_, key.table) || IsEmptiedBetween(key.referred, 0, own)
               ? std::nullopt
               : std::optional("its foreign key " + key.name + " refers to a table whose rows the login may not read");
  }

  /// What the table takes from a sequence, the copy takes from one of its own: restarted where the truncate restarts
  /// the table's, else as it is now.
  void GiveSequences(Copy& copy, const Relation& relation) const {
    constexpr std::string_view sql = R"(
      SELECT quote_ident(a.attname), 'bw_sequence_' || s.seqrelid,
        format('AS %s START %s INCREMENT %s MINVALUE %s MAXVALUE %s %s', s.seqtypid::regtype, s.seqstart,
          s.seqincrement, s.seqmin, s.seqmax, CASE WHEN s.seqcycle THEN 'CYCLE' ELSE 'NO CYCLE' END),
        CASE WHEN EXISTS (
          SELECT FROM pg_depend o WHERE o.classid = 'pg_class'::regclass AND o.objid = s.seqrelid
            AND o.refclassid = 'pg_class'::regclass AND o.refobjid = f.adrelid AND o.deptype IN ('a', 'i'))
          THEN NULL ELSE s.seqrelid::regclass::text END,
        CASE WHEN has_sequence_privilege(s.seqrelid, 'SELECT') THEN 'select'
          WHEN has_sequence_privilege(s.seqrelid, 'USAGE') THEN 'usage' END,
        a.attname
      FROM pg_attrdef f
      JOIN pg_attribute a ON a.attrelid = f.adrelid AND a.attnum = f.adnum
      JOIN pg_depend d ON d.classid = f.tableoid AND d.objid = f.oid AND d.refclassid = 'pg_class'::regclass
      JOIN pg_sequence s ON s.seqrelid = d.refobjid
      WHERE f.adrelid = ?::oid)";
    for (const TextRow& row : QueryRows(destination_, sql, {relation.id})) {
      const std::string name = Text(row, 1);
      Run("CREATE TEMP SEQUENCE IF NOT EXISTS " + name + " " + Text(row, 2));
      if (row.at(3)) {
        copy.goingOn.insert(Text(row, 5));
      }
      if (row.at(3) && row.at(4)) {
        QueryValue(destination_, "SELECT setval('pg_temp." + name + "', " +
                                     (Text(row, 4) == "select"
                                          ? "last_value, is_called) FROM " + *row.at(3)
                                          : "pg_sequence_last_value(" + Literal(*row.at(3)) + "::regclass), true)"));
      }
      Run("ALTER TABLE " + copy.path + " ALTER COLUMN " + Text(row, 0) + " SET DEFAULT nextval('pg_temp." + name +
          "')");
    }
  }

  void AddPartitionCheck(const Copy& copy, const Relation& relation) const {
    if (const auto check = QueryValue(destination_, "SELECT pg_get_partition_constraintdef(?::oid)", {relation.id})) {
      Run("ALTER TABLE " + copy.path + " ADD CONSTRAINT \"partition constraint\" CHECK (" + *check + ")");
    }
  }

  void AddForeignKey(Copy& copy, const ForeignKey& key) {
    const std::size_t own = PlaceOf(copy.table->name);
    const std::optional<std::string_view> referred = NameOf(model_, key.referred);
    std::string path = "pg_temp.bw_referred_" + key.id;
    if (referred == copy.table->name) {
      copy.refersToItself = true;
      path = copy.path;
    } else if (referred && PlaceOf(*referred) < own && !IsEmptiedBetween(key.referred, PlaceOf(*referred) + 1, own)) {
      path = result_.copies.at(*referred).path;
    } else {
      // The rows that are there when the table is migrated. A temporary table cannot refer to the table itself.
      const bool empty = IsEmptiedBetween(key.referred, 0, own);
      Run("CREATE TEMP TABLE bw_referred_" + key.id + " AS SELECT " + key.referredColumns + " FROM " +
          key.referredName + (empty ? " WITH NO DATA" : ""));
      Run("ALTER TABLE " + path + " ADD UNIQUE (" + key.referredColumns + ")");
    }
    Run("ALTER TABLE " + copy.path + " ADD CONSTRAINT " + Quoted(key.name) + " FOREIGN KEY (" + key.columns +
        ") REFERENCES " + path + " (" + key.referredColumns + ")" + key.match);
    const auto parent = referred ? result_.copies.find(*referred) : result_.copies.end();
    CopyConstraint constraint{
        .state = "23503", .name = key.name, .original = key.name, .columns = key.columnNames, .referred = {}};
    if (parent != result_.copies.end()) {
      parent->second.referredColumns.push_back(key.referredColumnNames);
      constraint.referred = KeyTo(*referred, key.referredColumnNames);
    }
    copy.constraints.push_back(std::move(constraint));
  }

  void AddOwnColumns(const Copy& copy) const {
    std::string columns = "ADD COLUMN " + kPositionColumn + " integer";
    for (const std::string_view column : ReplacedNumbers(*copy.table)) {
      columns += ", ADD COLUMN " + Quoted(SourceNumberColumn(column)) + " integer";
    }
    Run("ALTER TABLE " + copy.path + " " + columns);
  }

  void DescribeColumns(Copy& copy) const {
    // What has no limit takes every value of its kind as it is; of a domain, the type below it is looked at.
    constexpr std::string_view sql = R"(
      SELECT a.attname, b.typname, information_schema._pg_char_max_length(b.oid,
          CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END)::text,
        (CASE WHEN t.typtype = 'd' THEN t.typtypmod ELSE a.atttypmod END)::text,
        (SELECT coalesce(max(s.oid::regclass::text), '')
          FROM pg_class s
          WHERE s.relkind = 'S' AND s.oid IN (
            SELECT d.objid FROM pg_depend d WHERE d.classid = 'pg_class'::regclass AND d.deptype = 'i'
              AND d.refclassid = 'pg_class'::regclass AND d.refobjid = a.attrelid AND d.refobjsubid = a.attnum
            UNION ALL
            SELECT d.refobjid FROM pg_attrdef f JOIN pg_depend d ON d.classid = f.tableoid AND d.objid = f.oid
            WHERE f.adrelid = a.attrelid AND f.adnum = a.attnum AND d.refclassid = 'pg_class'::regclass)),
        format_type(a.atttypid, a.atttypmod)
      FROM pg_attribute a
      JOIN pg_type t ON t.oid = a.atttypid
      JOIN pg_type b ON b.oid = CASE WHEN t.typtype = 'd' THEN t.typbasetype ELSE t.oid END
      WHERE a.attrelid = ?::regclass AND a.attnum > 0 AND NOT a.attisdropped
      ORDER BY a.attnum)";
    const auto called = calls_.find(copy.table->name);
    for (std::size_t i = 0; called != calls_.end() && i < called->second.parameterTypes.size(); ++i) {
      copy.parameterTypes.emplace(copy.table->parameters[i].column, called->second.parameterTypes[i]);
    }
    for (const TextRow& row : QueryRows(destination_, sql, {copy.path})) {
      const std::string name = Text(row, 0);
      copy.columns.insert(name);
      if (const std::string sequence = Text(row, 4); !sequence.empty()) {
        copy.numbered.push_back({.column = name, .sequence = sequence});
      }
      const auto column = std::ranges::find(copy.table->columns, name, &db::ColumnDescription::name);
      if (column == copy.table->columns.end() || !rules::IsSent(*copy.table, name)) {
        continue;
      }
      const bool isText = column->kind == db::ValueKind::Text;
      const std::string type = Text(row, 1);
      copy.types.emplace(name, Text(row, 5));
      if (isText && row.at(2)) {
        copy.limits.emplace(name, std::stoul(*row.at(2)));
      }
      const auto parameter = copy.parameterTypes.find(name);
      if (StoresAsSent(*column, type, row.at(2), Text(row, 3)) &&
          (parameter == copy.parameterTypes.end() || PassesAsSent(*column, parameter->second))) {
        continue;
      }
      const auto position = static_cast<std::size_t>(column - copy.table->columns.begin());
      copy.changing.push_back(position);
      constexpr std::array<std::string_view, 6> numbers = {"int2", "int4", "int8", "numeric", "float4", "float8"};
      if (!isText && std::ranges::find(numbers, type) != numbers.end()) {
        copy.asDoubles.insert(position);
      }
    }
  }

  void DescribeConstraints(Copy& copy, const Relation& relation) const {
    // An index of the copy has another name than the table's, whose definition is the same but for that.
    constexpr std::string_view sql = R"(
      SELECT CASE WHEN i.indisexclusion THEN '23P01' ELSE '23505' END, c.relname,
        coalesce((
          SELECT o.relname FROM pg_index j JOIN pg_class o ON o.oid = j.indexrelid
          WHERE j.indrelid = ?::oid AND regexp_replace(pg_get_indexdef(j.indexrelid), '^.*? USING ', '')
            = regexp_replace(pg_get_indexdef(i.indexrelid), '^.*? USING ', '')
          ORDER BY j.indisunique DESC, o.oid LIMIT 1), c.relname),
        (SELECT string_agg(a.attname, E'\n' ORDER BY a.attnum) FROM pg_attribute a
          WHERE a.attrelid = i.indrelid AND a.attnum = ANY (i.indkey))
      FROM pg_index i JOIN pg_class c ON c.oid = i.indexrelid
      WHERE i.indrelid = ?::regclass AND (i.indisunique OR i.indisexclusion)
      UNION ALL
      SELECT '23514', k.conname, k.conname,
        (SELECT string_agg(a.attname, E'\n' ORDER BY a.attnum) FROM pg_attribute a
          WHERE a.attrelid = k.conrelid AND a.attnum = ANY (k.conkey))
      FROM pg_constraint k WHERE k.contype = 'c' AND k.conrelid = ?::regclass
      UNION ALL
      SELECT '23514', d.conname, d.conname, a.attname
      FROM pg_attribute a JOIN pg_constraint d ON d.contypid = a.atttypid AND d.contype = 'c'
      WHERE a.attrelid = ?::regclass AND a.attnum > 0
      UNION ALL
      SELECT '23502', a.attname, a.attname, a.attname FROM pg_attribute a
      WHERE a.attrelid = ?::regclass AND a.attnum > 0 AND NOT a.attisdropped)";
    for (const TextRow& row : QueryRows(destination_, sql, {relation.id, copy.path, copy.path, copy.path, copy.path})) {
      copy.constraints.push_back(
          {.state = Text(row, 0), .name = Text(row, 1), .original = Text(row, 2), .columns = Lines(Text(row, 3))});
    }
  }

  const odbc::DBConnection& destination_;
  const Destination& model_;
  const std::map<std::string_view, ProcedureCall>& calls_;
  std::vector<ForeignKey> foreignKeys_;
  Copies result_;
};

}  // namespace

std::string SourceNumberColumn(std::string_view column) {
  return "bw_source_" + std::string(column);
}

std::string ColumnAsInSource(const db::TableDescription& table, std::string_view column) {
  const std::vector<std::string_view> replaced = ReplacedNumbers(table);
  return std::ranges::find(replaced, column) == replaced.end() ? std::string(column) : SourceNumberColumn(column);
}

std::string KeyTo(std::string_view table, const std::vector<std::string>& columns) {
  return std::string(table) + "," + Joined(columns, ",");
}

std::vector<std::string_view> ReplacedNumbers(const db::TableDescription& table) {
  const rules::TableRules& rules = rules::RulesOf(table.name);
  std::vector<std::string_view> columns;
  if (!rules.assigned.empty()) {
    columns.push_back(rules.assigned);
  }
  for (const rules::ColumnRule& rule : rules.columns) {
    if (rule.FollowsNumberOrPosition()) {
      columns.push_back(rule.column);
    }
  }
  return columns;
}

std::vector<db::TableDescription> TablesNeeded(const odbc::DBConnection& destination, const Destination& model,
                                               const std::vector<std::string>& chosen) {
  const std::vector<db::TableDescription>& all = Catalogue();
  if (chosen.empty()) {
    return all;
  }
  const std::vector<ForeignKey> keys = ReadForeignKeys(destination, model);
  std::set<std::string_view> needed(chosen.begin(), chosen.end());
  for (std::size_t before = 0; before != needed.size();) {
    before = needed.size();
    for (const std::string_view table : std::set(needed)) {
      for (const rules::ColumnRule& rule : rules::RulesOf(table).columns) {
        if (rule.reference) {
          needed.insert(rule.reference->table);
        }
      }
    }
    for (const ForeignKey& key : keys) {
      const std::optional<std::string_view> referred = NameOf(model, key.referred);
      if (referred && needed.contains(*NameOf(model, key.table))) {
        needed.insert(*referred);
      }
    }
  }
  std::vector<db::TableDescription> tables;
  std::ranges::copy_if(all, std::back_inserter(tables),
                       [&needed](const db::TableDescription& table) { return needed.contains(table.name); });
  return tables;
}

Copies CreateCopies(const odbc::DBConnection& destination, const Destination& model,
                    const std::vector<db::TableDescription>& tables,
                    const std::map<std::string_view, ProcedureCall>& calls) {
  Creation creation(destination, model, calls);
  for (const db::TableDescription& table : tables) {
    creation.Create(table);
  }
  return creation.TakeResult();
}

}  // namespace check::staging
