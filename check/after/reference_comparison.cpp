#include "check/after/reference_comparison.h"

#include <cstddef>

#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/copies.h"

namespace check {

namespace {

/// A column of a copy with the number that the source has there.
std::string SourceNumber(std::string_view column) {
  return "c." + Quoted(staging::SourceNumberColumn(column));
}

/// Counts and shows rows t of a table. `rows` begins with FROM; `leadsTo` is an expression.
WrongReferences Read(const odbc::DBConnection& destination, const RowComparison& comparison, const ComparedTable& table,
                     const std::string& rows, const std::string& leadsTo, const Parameters& parameters) {
  WrongReferences found;
  found.rows = QueryNumber(destination, "SELECT CAST(count(*) AS text)" + rows, parameters);
  if (found.rows == 0) {
    return found;
  }
  for (const TextRow& row :
       QueryRows(destination,
                 "SELECT " + RowComparison::KeyList(table) + ", " + leadsTo + rows + " ORDER BY " +
                     RowComparison::KeyOrder(table) + " LIMIT " + std::to_string(RowComparison::kShown),
                 parameters)) {
    std::size_t field = 0;
    found.keys.push_back(comparison.TakeKey(table, row, field));
    found.leadTo.push_back(Text(row, field));
  }
  return found;
}

/// The numbers of rows that are not numbered in the copy's order. Where no row has the number that it has in the copy,
/// the numbers begin elsewhere, and only the order counts.
std::string OutOfOrder(const ComparedTable& table) {
  return "(SELECT p.number FROM (SELECT number, copied, bool_or(number = copied) OVER () AS begin_alike, "
         "row_number() OVER (ORDER BY number) AS place, row_number() OVER (ORDER BY copied) AS copied_place FROM " +
         RowComparison::Numbers(table) +
         " x WHERE copied IS NOT NULL) p WHERE CASE WHEN begin_alike THEN number <> copied ELSE place <> copied_place "
         "END)";
}

}  // namespace

WrongReferences FindDangling(const odbc::DBConnection& destination, const RowComparison& comparison,
                             const ComparedTable& table, const rules::ColumnRule& rule, const ComparedTable& referred,
                             const std::string& number) {
  const std::string own = "t." + Quoted(rule.column);
  const std::string same = comparison.AsColumn("n." + Quoted(number), table, rule.column) + " = " + own;
  std::string rows = " FROM ONLY " + table.path + " t WHERE " + own + " IS NOT NULL AND NOT EXISTS (SELECT FROM ONLY " +
                     referred.path + " n WHERE " + same + ")";
  // What follows a number cannot be without its row; what keeps one may refer to nothing.
  if (!rule.FollowsNumber()) {
    rows += " AND EXISTS (SELECT FROM " + referred.copy + " n WHERE " + same + ")";
  }
  return Read(destination, comparison, table, rows, "CAST(" + own + " AS text) || ' leads to no row'", {});
}

WrongReferences FindElsewhere(const odbc::DBConnection& destination, const RowComparison& comparison,
                              const ComparedTable& table, const rules::ColumnRule& rule, const ComparedTable& referred,
                              Numbering numbering) {
  const auto asColumn = [&](const std::string& number) { return comparison.AsColumn(number, table, rule.column); };
  const std::string number = "t." + Quoted(rule.column);
  const std::string source = SourceNumber(referred.assigned);
  std::string old = number;
  // The rows of the destination by the numbers that the source has for them.
  std::string rows = " FROM ONLY " + table.path + " t LEFT JOIN (SELECT x.number, " + source + " AS source FROM " +
                     RowComparison::Numbers(referred) + " x LEFT JOIN " + referred.copy + " c ON c." +
                     Quoted(referred.assigned) + " = x.copied) n ON " + asColumn("n.number") + " = " + number;
  if (rule.reference->kind == rules::ReferenceKind::ByPosition) {
    rows += " JOIN (SELECT x.number, " + SourceNumber(rule.column) + " AS old FROM " + RowComparison::Numbers(table) +
            " x JOIN " + table.copy + " c ON c." + Quoted(table.assigned) + " = x.copied) o ON o.number = t." +
            Quoted(table.assigned);
    old = asColumn("o.old");
  }
  rows += " LEFT JOIN (SELECT " + source + " AS number FROM " + referred.copy + " c UNION SELECT number FROM " +
          staging::kLeftOut + " WHERE tab = ?) s ON " + asColumn("s.number") + " = " + old +
          " WHERE CASE WHEN s.number IS NULL THEN n.number IS NOT NULL ELSE n.source IS NULL OR " +
          asColumn("n.source") + " <> " + old + " END AND " +
          (numbering == Numbering::OutOfOrder ? "EXISTS " : "NOT EXISTS ") + "(SELECT FROM " + OutOfOrder(referred) +
          " d WHERE " + asColumn("d.number") + " = " + number + ")";
  return Read(destination, comparison, table, rows,
              "CAST(" + old +
                  " AS text) || ' leads to ' || coalesce('row ' || CAST(n.source AS text) || "
                  "' of the source', CASE WHEN n.number IS NULL THEN 'no row' ELSE 'an unexpected row' END)",
              {referred.name});
}

}  // namespace check
