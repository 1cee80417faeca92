#include "check/after/row_comparison.h"

#include <algorithm>
#include <array>
#include <utility>

#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/copies.h"

namespace check {

namespace {

// What a note says of its rows.
const std::string kHalf = "0";       // Of a row of one side that has no other yet.
const std::string kSame = "1";       // The same content; the numbers may be others.
const std::string kAmbiguous = "2";  // The same but for a reference to another row of the same content.
const std::string kDifferent = "3";

// Output column of both sides.
const std::string kNumber = "bw_number";

/// Characters of a value that are shown.
constexpr std::size_t kShownCharacters = 100;

/// The name of one of the session's own tables.
std::string OwnName(std::string_view what, const ComparedTable& table) {
  return Quoted("bw_" + std::string(what) + " " + table.name);
}

std::string Notes(const ComparedTable& table) {
  return "pg_temp." + OwnName("notes", table);
}

std::string NumbersOf(const ComparedTable& table) {
  return "pg_temp." + OwnName("numbers", table);
}

std::string EqualRowsOf(const ComparedTable& table) {
  return "pg_temp." + OwnName("equal", table);
}

std::string ColumnsOf(std::string_view alias, const std::vector<std::string>& columns) {
  return Joined(columns, ", ",
                [alias](const std::string& column) { return std::string(alias) + "." + Quoted(column); });
}

std::string RowOf(std::string_view alias, const std::vector<std::string>& columns) {
  return "ROW(" + ColumnsOf(alias, columns) + ")";
}

/// A row as a text that is another one for other bytes.
std::string ImageOf(std::string_view alias, const std::vector<std::string>& columns) {
  return RowOf(alias, columns) + "::text COLLATE \"C\"";
}

std::string SameBytes(const std::vector<std::string>& columns) {
  return "pg_catalog.record_image_eq(" + RowOf("c", columns) + ", " + RowOf("t", columns) + ")";
}

/// The columns by which rows are paired.
std::vector<std::string> PairingKey(const ComparedTable& table) {
  return table.assigned.empty() ? table.key : std::vector<std::string>{kNumber};
}

/// The output column with a reference as the table has it.
std::string StoredName(const std::string& column) {
  return "bw_stored " + column;
}

/// The rows of one side that have no other yet, each with an image of some columns and its place among those of the
/// same image. `own` is the column by which notes name a row of this side.
std::string Halves(const ComparedTable& table, const std::string& side, const std::string& own,
                   const std::vector<std::string>& columns, const std::string& order) {
  const std::string image = ImageOf("s", columns);
  return "(SELECT s.*, " + image + " AS image, row_number() OVER (PARTITION BY " + image + " ORDER BY s." + order +
         ") AS place FROM " + Notes(table) + " h JOIN " + side + " s ON s." + own + " = h." + own +
         " WHERE h.kind = " + kHalf + ")";
}

/// A value and the bytes of its text, to be read by TakeShown.
std::string Shown(const std::string& value) {
  return "left(" + value + "::text, " + std::to_string(kShownCharacters) + "), octet_length(" + value + "::text)::text";
}

std::string ShownColumns(std::string_view alias, const std::vector<std::string>& columns) {
  return Joined(columns, ", ",
                [alias](const std::string& column) { return Shown(std::string(alias) + "." + Quoted(column)); });
}

ShownValue TakeShown(const TextRow& row, std::size_t& field, const std::string& column, bool isText) {
  ShownValue value{.column = column, .text = row.at(field), .bytes = Number(row, field + 1), .isText = isText};
  field += 2;
  return value;
}

}  // namespace

RowComparison::RowComparison(const odbc::DBConnection& destination, const std::vector<ComparedTable>& tables)
    : destination_(destination), tables_(tables) {}

void RowComparison::CreateTables() const {
  for (const ComparedTable& table : tables_) {
    Execute(destination_, "CREATE TEMP TABLE " + OwnName("notes", table) +
                              " (position integer, row_id tid, kind smallint, columns bigint)");
    if (!table.assigned.empty()) {
      const std::string from = " FROM " + table.copy + " WITH NO DATA";
      const std::string number = Quoted(table.assigned);
      Execute(destination_, "CREATE TEMP TABLE " + OwnName("numbers", table) + " AS SELECT " + number + " AS number, " +
                                number + " AS copied, false AS changed" + from);
      Execute(destination_, "CREATE TEMP TABLE " + OwnName("equal", table) + " AS SELECT " + number + " AS copied, " +
                                number + " AS first_copied" + from);
    }
  }
}

void RowComparison::Begin() const {
  // Compiling what runs once takes longer than running it.
  constexpr std::array<std::string_view, 6> settings = {"SET extra_float_digits = 1",     "SET DateStyle = 'ISO'",
                                                        "SET IntervalStyle = 'postgres'", "SET bytea_output = 'hex'",
                                                        "SET lc_monetary = 'C'",          "SET jit = off"};
  for (const std::string_view setting : settings) {
    Execute(destination_, setting);
  }
}

RowDifferences RowComparison::Compare(const ComparedTable& table) {
  types_[table.name] = TypesOf(table);
  const std::vector<std::string> key = PairingKey(table);
  const bool isUnique = IsUnique(table, table.assigned.empty() ? table.key : std::vector{table.assigned});
  const bool pairsAtOnce = isUnique && table.assigned.empty() && table.references.empty();
  if (isUnique) {
    NoteByKey(table, key, pairsAtOnce);
  } else {
    NoteAll(table);
  }
  if (!pairsAtOnce && HasHalves(table)) {
    // Rows of one key can be equal only to each other.
    if (!isUnique || !table.assigned.empty()) {
      MatchByContent(table, Level::Number);
    }
    bool hasEqualRows = false;
    for (const FollowedReference& reference : table.references) {
      hasEqualRows = FindEqualRows(Named(reference.table)) || hasEqualRows;
    }
    if (hasEqualRows) {
      MatchByContent(table, Level::Content);
    }
    PairByKey(table, key);
  }
  if (!table.assigned.empty()) {
    RecordNumbers(table);
  }
  return Count(table);
}

const ComparedTable& RowComparison::Named(std::string_view name) const {
  return *std::ranges::find(tables_, name, &ComparedTable::name);
}

RowComparison::Types RowComparison::TypesOf(const ComparedTable& table) const {
  Types types;
  for (const TextRow& row : QueryRows(destination_,
                                      "SELECT a.attname, format_type(a.atttypid, -1), CAST(t.typcategory AS text) "
                                      "FROM pg_attribute a JOIN pg_type t ON t.oid = a.atttypid "
                                      "WHERE a.attrelid = CAST(? AS regclass) AND a.attnum > 0 AND NOT a.attisdropped",
                                      {table.copy})) {
    types.emplace(Text(row, 0), Type{.name = Text(row, 1), .isText = row.at(2) == "S"});
  }
  return types;
}

bool RowComparison::IsUnique(const ComparedTable& table, const std::vector<std::string>& columns) const {
  std::map<std::string, bool> indexes;
  for (const TextRow& row :
       QueryRows(destination_,
                 "SELECT CAST(i.indexrelid AS text), a.attname FROM pg_index i "
                 "CROSS JOIN LATERAL unnest(CAST(i.indkey AS smallint[])) WITH ORDINALITY AS k (number, place) "
                 "JOIN pg_attribute a ON a.attrelid = i.indrelid AND a.attnum = k.number "
                 "WHERE i.indrelid = CAST(? AS regclass) AND i.indisunique AND i.indisvalid AND i.indpred IS NULL "
                 "AND i.indexprs IS NULL AND k.place <= i.indnkeyatts",
                 {table.path})) {
    bool& isOfColumns = indexes.try_emplace(Text(row, 0), true).first->second;
    isOfColumns = isOfColumns && std::ranges::find(columns, row.at(1)) != columns.end();
  }
  return std::ranges::any_of(indexes, [](const auto& index) { return index.second; });
}

std::string RowComparison::TableSide(const ComparedTable& table, Level level) const {
  std::string list = "t.ctid AS row_id";
  std::string from = " FROM ONLY " + table.path + " t";
  for (const std::string& column : table.columns) {
    const std::string name = Quoted(column);
    const auto reference = std::ranges::find(table.references, column, &FollowedReference::column);
    if (reference == table.references.end()) {
      list += ", t." + name;
      continue;
    }
    const ComparedTable& referred = Named(reference->table);
    const NumbersState& numbers = numbers_.at(referred.name);
    const std::string& type = types_.at(table.name).at(column).name;
    const std::string m = Quoted("m " + column);
    const std::string e = Quoted("e " + column);
    std::string value = "t." + name;
    if (!numbers.sameAsCopy) {
      from += " LEFT JOIN " + NumbersOf(referred) + " " + m + " ON " + NumberAs(m + ".number", type) + " = t." + name;
      value = "CASE WHEN " + m + ".number IS NULL THEN t." + name + " ELSE " + NumberAs(m + ".copied", type) + " END";
    }
    if (level == Level::Content) {
      from += " LEFT JOIN " + EqualRowsOf(referred) + " " + e + " ON " + NumberAs(e + ".copied", type) + " = " + value;
      value = "coalesce(" + NumberAs(e + ".first_copied", type) + ", " + value + ")";
      if (!numbers.sameAsCopy) {
        value = "CASE WHEN " + m + ".changed THEN NULL ELSE " + value + " END";
      }
    }
    list += ", " + value + " AS " + name + ", t." + name + " AS " + Quoted(StoredName(column));
  }
  if (!table.assigned.empty()) {
    list += ", t." + Quoted(table.assigned) + " AS " + kNumber;
  }
  return "(SELECT " + list + from + ")";
}

std::string RowComparison::CopySide(const ComparedTable& table, Level level) const {
  std::string list = "c." + staging::kPositionColumn + " AS position";
  std::string from = " FROM " + table.copy + " c";
  for (const std::string& column : table.columns) {
    const std::string name = Quoted(column);
    const auto reference = std::ranges::find(table.references, column, &FollowedReference::column);
    if (reference == table.references.end() || level == Level::Number) {
      list += ", c." + name;
      continue;
    }
    const std::string& type = types_.at(table.name).at(column).name;
    const std::string e = Quoted("e " + column);
    from += " LEFT JOIN " + EqualRowsOf(Named(reference->table)) + " " + e + " ON " + NumberAs(e + ".copied", type) +
            " = c." + name;
    list += ", coalesce(" + NumberAs(e + ".first_copied", type) + ", c." + name + ") AS " + name;
  }
  if (!table.assigned.empty()) {
    list += ", c." + Quoted(table.assigned) + " AS " + kNumber;
  }
  return "(SELECT " + list + from + ")";
}

std::string RowComparison::DifferingColumns(const ComparedTable& table) const {
  std::vector<std::string> bits;
  std::uint64_t bit = 1;
  for (const std::string& column : table.columns) {
    bits.push_back("CASE WHEN " + SameBytes({column}) + " THEN 0 ELSE CAST(" + std::to_string(bit) + " AS bigint) END");
    bit *= 2;
  }
  return "(" + Joined(bits, " | ") + ")";
}

void RowComparison::NoteByKey(const ComparedTable& table, const std::vector<std::string>& key, bool inPairs) const {
  const std::string conditions =
      Joined(key, " AND ", [](const std::string& column) { return "c." + Quoted(column) + " = t." + Quoted(column); });
  const std::string from = " FROM " + CopySide(table, Level::Number) + " c FULL JOIN " +
                           TableSide(table, Level::Number) + " t ON " + conditions +
                           " WHERE c.position IS NULL OR t.row_id IS NULL OR NOT " + SameBytes(table.columns);
  const std::string into = "INSERT INTO " + Notes(table);
  if (inPairs) {
    Execute(destination_,
            into + " SELECT c.position, t.row_id, CASE WHEN c.position IS NULL OR t.row_id IS NULL THEN " + kHalf +
                " ELSE " + kDifferent + " END, CASE WHEN c.position IS NOT NULL AND t.row_id IS NOT NULL THEN " +
                DifferingColumns(table) + " END" + from);
    return;
  }
  Execute(
      destination_,
      into + " SELECT h.position, h.row_id, " + kHalf + ", NULL FROM (SELECT c.position, t.row_id" + from +
          ") d CROSS JOIN LATERAL (VALUES (d.position, CAST(NULL AS tid)), (NULL, d.row_id)) AS h (position, row_id) "
          "WHERE h.position IS NOT NULL OR h.row_id IS NOT NULL");
}

void RowComparison::NoteAll(const ComparedTable& table) const {
  const std::string half = ", " + kHalf + " FROM ";
  const std::string into = "INSERT INTO " + Notes(table);
  Execute(destination_, into + " (position, kind) SELECT " + staging::kPositionColumn + half + table.copy);
  Execute(destination_, into + " (row_id, kind) SELECT ctid" + half + "ONLY " + table.path);
}

void RowComparison::MatchByContent(const ComparedTable& table, Level level) const {
  const auto order = [&table](const std::string& own) { return table.assigned.empty() ? own : kNumber; };
  Execute(destination_, "INSERT INTO " + Notes(table) + " SELECT c.position, t.row_id, " +
                            (level == Level::Number ? kSame : kAmbiguous) + ", NULL FROM " +
                            Halves(table, CopySide(table, level), "position", table.columns, order("position")) +
                            " c JOIN " +
                            Halves(table, TableSide(table, level), "row_id", table.columns, order("row_id")) +
                            " t ON c.image = t.image AND c.place = t.place");
  RemoveHalves(table);
}

void RowComparison::PairByKey(const ComparedTable& table, const std::vector<std::string>& key) const {
  std::vector<std::string> storedKey = key;
  for (const FollowedReference& reference : table.references) {
    std::ranges::replace(storedKey, reference.column, StoredName(reference.column));
  }
  // A row that refers to an exchanged number is still the same row.
  if (storedKey != key) {
    PairByKeys(table, key, storedKey);
  }
  PairByKeys(table, key, key);
}

void RowComparison::PairByKeys(const ComparedTable& table, const std::vector<std::string>& copyKey,
                               const std::vector<std::string>& tableKey) const {
  Execute(destination_, "INSERT INTO " + Notes(table) + " SELECT c.position, t.row_id, " + kDifferent + ", " +
                            DifferingColumns(table) + " FROM " +
                            Halves(table, CopySide(table, Level::Number), "position", copyKey, "position") +
                            " c JOIN " + Halves(table, TableSide(table, Level::Number), "row_id", tableKey, "row_id") +
                            " t ON c.image = t.image AND c.place = t.place");
  RemoveHalves(table);
}

void RowComparison::RemoveHalves(const ComparedTable& table) const {
  for (const std::string_view own : {"position", "row_id"}) {
    const std::string column(own);
    Execute(destination_, "DELETE FROM " + Notes(table) + " h WHERE h.kind = " + kHalf + " AND h." + column +
                              " IN (SELECT p." + column + " FROM " + Notes(table) + " p WHERE p.kind <> " + kHalf +
                              ")");
  }
}

bool RowComparison::HasHalves(const ComparedTable& table) const {
  return QueryValue(destination_, "SELECT 1 FROM " + Notes(table) + " WHERE kind = " + kHalf + " LIMIT 1").has_value();
}

void RowComparison::RecordNumbers(const ComparedTable& table) {
  const std::string number = Quoted(table.assigned);
  // Where a number is there more than once, the row that has it in the copy too is the one.
  Execute(destination_, "INSERT INTO " + NumbersOf(table) +
                            " SELECT number, copied, changed FROM (SELECT DISTINCT ON (t." + number + ") t." + number +
                            " AS number, c." + number + " AS copied, h.kind = " + kDifferent + " AS changed FROM " +
                            Notes(table) + " h JOIN ONLY " + table.path + " t ON t.ctid = h.row_id LEFT JOIN " +
                            table.copy + " c ON c." + staging::kPositionColumn + " = h.position ORDER BY t." + number +
                            ", (c." + number + " = t." + number + ") DESC NULLS LAST, c." + number +
                            ") n WHERE n.changed OR n.copied IS NULL OR n.number <> n.copied");
  const bool differs =
      QueryValue(destination_, "SELECT 1 FROM " + NumbersOf(table) + " LIMIT 1").has_value() || HasHalves(table);
  numbers_[table.name] = {.sameAsCopy = !differs};
}

bool RowComparison::FindEqualRows(const ComparedTable& table) {
  NumbersState& numbers = numbers_.at(table.name);
  if (!numbers.grouped) {
    numbers.grouped = true;
    for (const FollowedReference& reference : table.references) {
      FindEqualRows(Named(reference.table));
    }
    const std::string image = ImageOf("c", table.columns);
    Execute(destination_, "INSERT INTO " + EqualRowsOf(table) +
                              " SELECT copied, first_copied FROM (SELECT c.bw_number AS copied, min(c.bw_number) OVER "
                              "(PARTITION BY " +
                              image + ") AS first_copied, count(*) OVER (PARTITION BY " + image + ") AS rows FROM " +
                              CopySide(table, Level::Content) + " c) g WHERE rows > 1");
    numbers.hasEqualRows = QueryValue(destination_, "SELECT 1 FROM " + EqualRowsOf(table) + " LIMIT 1").has_value();
  }
  return numbers.hasEqualRows;
}

RowDifferences RowComparison::Count(const ComparedTable& table) const {
  const auto count = [](const std::string& condition) {
    return "CAST(count(*) FILTER (WHERE " + condition + ") AS text)";
  };
  const std::string half = "kind = " + kHalf;
  const std::string missing = half + " AND row_id IS NULL";
  const TextRow row =
      QueryRows(destination_, "SELECT (SELECT CAST(count(*) AS text) FROM ONLY " + table.path + "), " + count(missing) +
                                  ", " + count(half + " AND position IS NULL") + ", " + count("kind = " + kDifferent) +
                                  ", " + count("kind = " + kAmbiguous) +
                                  ", CAST(bit_or(columns) AS text), (SELECT CAST(count(*) AS text) FROM " + table.copy +
                                  " WHERE " + staging::kPositionColumn + " >= (SELECT min(position) FROM " +
                                  Notes(table) + " WHERE " + missing + ")) FROM " + Notes(table))
          .at(0);
  RowDifferences differences{.present = Number(row, 0),
                             .missing = Number(row, 1),
                             .unexpected = Number(row, 2),
                             .different = Number(row, 3),
                             .ambiguous = Number(row, 4),
                             .missingAtEnd = row.at(1) != "0" && row.at(1) == row.at(6),
                             .differing = {}};
  const std::uint64_t bits = Number(row, 5);
  for (std::size_t i = 0; i < table.columns.size(); ++i) {
    if ((bits >> i & 1U) != 0) {
      differences.differing.push_back(table.columns[i]);
    }
  }
  return differences;
}

std::vector<RowKey> RowComparison::FirstMissing(const ComparedTable& table) const {
  return TakeKeys(table, ShownColumns("c", table.copyKey), FirstNotes(table, kHalf, "row_id IS NULL", "position"));
}

std::vector<RowKey> RowComparison::FirstUnexpected(const ComparedTable& table) const {
  return TakeKeys(table, KeyList(table), FirstNotes(table, kHalf, "position IS NULL", "row_id"));
}

std::vector<RowKey> RowComparison::FirstAmbiguous(const ComparedTable& table) const {
  return TakeKeys(table, KeyList(table), FirstNotes(table, kAmbiguous, "true", "position"));
}

std::vector<DifferentRow> RowComparison::FirstDifferent(const ComparedTable& table,
                                                        const std::vector<std::string>& differing) const {
  std::string list = KeyList(table) + ", CAST(n.columns AS text)";
  for (const std::string& column : differing) {
    std::string expected = "c." + Quoted(column);
    const auto reference = std::ranges::find(table.references, column, &FollowedReference::column);
    if (reference != table.references.end()) {
      // The number that the row has which the copy's row refers to.
      const std::string& type = types_.at(table.name).at(column).name;
      expected = "coalesce((SELECT " + NumberAs("min(m.number)", type) + " FROM " + NumbersOf(Named(reference->table)) +
                 " m WHERE " + NumberAs("m.copied", type) + " = " + expected + "), " + expected + ")";
    }
    list += ", " + Shown("t." + Quoted(column)) + ", " + Shown(expected);
  }
  std::vector<DifferentRow> rows;
  for (const TextRow& row :
       QueryRows(destination_, "SELECT " + list + FirstNotes(table, kDifferent, "true", "position"))) {
    std::size_t field = 0;
    DifferentRow& shown = rows.emplace_back(DifferentRow{.key = TakeKey(table, row, field), .values = {}});
    const std::uint64_t bits = Number(row, field++);
    for (const std::string& column : differing) {
      const bool isText = types_.at(table.name).at(column).isText;
      DifferentValue value{.found = TakeShown(row, field, column, isText), .expected = {}};
      value.expected = TakeShown(row, field, column, isText);
      const auto place = std::ranges::find(table.columns, column) - table.columns.begin();
      if ((bits >> place & 1U) != 0) {
        shown.values.push_back(std::move(value));
      }
    }
  }
  return rows;
}

std::string RowComparison::Numbers(const ComparedTable& table) {
  const std::string number = "t." + Quoted(table.assigned);
  return "(SELECT " + number + " AS number, CASE WHEN m.number IS NULL THEN " + number +
         " ELSE m.copied END AS copied FROM ONLY " + table.path + " t LEFT JOIN " + NumbersOf(table) +
         " m ON m.number = " + number + ")";
}

std::string RowComparison::KeyList(const ComparedTable& table) {
  return ShownColumns("t", table.key);
}

std::string RowComparison::KeyOrder(const ComparedTable& table) {
  return ColumnsOf("t", table.key);
}

std::string RowComparison::AsColumn(const std::string& number, const ComparedTable& table,
                                    std::string_view column) const {
  return NumberAs(number, types_.at(table.name).at(std::string(column)).name);
}

std::string RowComparison::FirstNotes(const ComparedTable& table, std::string_view kind, const std::string& condition,
                                      const std::string& order) {
  return " FROM (SELECT * FROM " + Notes(table) + " WHERE kind = " + std::string(kind) + " AND " + condition +
         " ORDER BY " + order + " LIMIT " + std::to_string(kShown) + ") n LEFT JOIN " + table.copy + " c ON c." +
         staging::kPositionColumn + " = n.position LEFT JOIN ONLY " + table.path +
         " t ON t.ctid = n.row_id ORDER BY n." + order;
}

RowKey RowComparison::TakeKey(const ComparedTable& table, const TextRow& row, std::size_t& field) const {
  RowKey key;
  for (const std::string& column : table.key) {
    key.push_back(TakeShown(row, field, column, types_.at(table.name).at(column).isText));
  }
  return key;
}

std::vector<RowKey> RowComparison::TakeKeys(const ComparedTable& table, const std::string& key,
                                            const std::string& from) const {
  std::vector<RowKey> keys;
  for (const TextRow& row : QueryRows(destination_, "SELECT " + key + from)) {
    std::size_t field = 0;
    keys.push_back(TakeKey(table, row, field));
  }
  return keys;
}

}  // namespace check
