#include "check/after/identities.h"

#include <cstddef>
#include <optional>
#include <utility>

#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

constexpr std::size_t kKeysShown = 5;

/// A column that numbers itself from a sequence. Numbers are kept as the server writes them.
struct IdentityColumn {
  std::string column;
  std::string sequence;  ///< With its schema, quoted.
  std::string increment;
  bool mayRead = false;
  bool isAtEnd = false;
  std::string next;
};

std::vector<IdentityColumn> ReadIdentities(const odbc::DBConnection& destination, const std::string& table) {
  std::vector<IdentityColumn> identities;
  for (const TextRow& row :
       QueryRows(destination,
                 "SELECT a.attname, format('%I.%I', n.nspname, q.relname), CAST(s.seqincrement AS text), "
                 "CASE WHEN has_sequence_privilege(q.oid, 'SELECT') AND has_schema_privilege(n.oid, 'USAGE') THEN 1 "
                 "END, CAST(CASE WHEN s.seqincrement > 0 THEN s.seqmax ELSE s.seqmin END AS text), "
                 "CASE WHEN s.seqcycle THEN 1 END "
                 "FROM pg_depend d JOIN pg_class q ON q.oid = d.objid "
                 "JOIN pg_namespace n ON n.oid = q.relnamespace "
                 "JOIN pg_sequence s ON s.seqrelid = q.oid "
                 "JOIN pg_attribute a ON a.attrelid = d.refobjid AND a.attnum = d.refobjsubid "
                 "WHERE d.classid = CAST('pg_class' AS regclass) AND d.refclassid = CAST('pg_class' AS regclass) "
                 "AND d.deptype IN ('a', 'i') AND d.refobjid = to_regclass(?) ORDER BY a.attnum",
                 {table})) {
    IdentityColumn identity{.column = Text(row, 0),
                            .sequence = Text(row, 1),
                            .increment = row.at(2).value_or("1"),
                            .mayRead = row.at(3).has_value(),
                            .isAtEnd = false,
                            .next = {}};
    if (identity.mayRead) {
      // As numeric: the next number may be beyond what the sequence can count.
      const TextRow next =
          QueryRows(destination,
                    "SELECT CAST(next AS text), CASE WHEN (next - CAST(? AS numeric)) * sign(CAST(? AS numeric)) > 0 "
                    "THEN 1 END FROM (SELECT CASE WHEN is_called THEN CAST(last_value AS numeric) + CAST(? AS "
                    "numeric) ELSE last_value END AS next FROM " +
                        identity.sequence + ") s",
                    {Text(row, 4), identity.increment, identity.increment})
              .at(0);
      identity.next = Text(next, 0);
      identity.isAtEnd = next.at(1).has_value() && !row.at(5);
    }
    identities.push_back(std::move(identity));
  }
  return identities;
}

Finding MakeFinding(const FindingKind& kind, const IdentityColumn& identity, std::string text,
                    const std::string& more = {}) {
  Finding finding(kind);
  finding.columns = {identity.column};
  finding.text = std::move(text);
  finding.query =
      Query{.side = Side::Destination, .text = "SELECT last_value, is_called FROM " + identity.sequence + ";" + more};
  return finding;
}

/// The rows that have the next number, or one that the sequence will come to.
std::string FromColliding(const std::string& table, const IdentityColumn& identity) {
  const std::string column = Quoted(identity.column);
  const bool descends = identity.increment.starts_with('-');
  std::string from = " FROM " + table + " WHERE " + column + (descends ? " <= " : " >= ") + identity.next;
  if (identity.increment != "1") {
    from += " AND (" + column + " - (" + identity.next + ")) % " + identity.increment + " = 0";
  }
  return from;
}

std::optional<Finding> FindCollisions(const odbc::DBConnection& destination, const std::string& table,
                                      const IdentityColumn& identity) {
  const std::string from = FromColliding(table, identity);
  const std::uint64_t rows = QueryNumber(destination, "SELECT CAST(count(*) AS text)" + from);
  if (rows == 0) {
    return std::nullopt;
  }
  const std::string select = "SELECT " + Quoted(identity.column) + from + " ORDER BY 1";
  Finding finding = MakeFinding(finding::IdentityCollides, identity,
                                "The sequence gives " + identity.next +
                                    " next, and rows have this number or one that comes after it: new rows will be "
                                    "refused, or get numbers that exist already.",
                                "\n" + select + ";");
  finding.rows = rows;
  for (const TextRow& row : QueryRows(destination, select + " LIMIT " + std::to_string(kKeysShown))) {
    finding.keys.push_back(identity.column + " = " + Text(row, 0));
  }
  return finding;
}

}  // namespace

std::vector<Finding> CheckIdentities(const odbc::DBConnection& destination, const std::string& table) {
  std::vector<Finding> findings;
  for (const IdentityColumn& identity : ReadIdentities(destination, table)) {
    if (!identity.mayRead) {
      findings.push_back(MakeFinding(finding::IdentityUnknown, identity,
                                     "The login may not see what the sequence " + identity.sequence + " gives next."));
    } else if (identity.isAtEnd) {
      findings.push_back(MakeFinding(finding::IdentityCollides, identity,
                                     "The sequence has given its last number: new rows will be refused."));
    } else if (std::optional<Finding> collisions = FindCollisions(destination, table, identity)) {
      findings.push_back(std::move(*collisions));
    }
  }
  return findings;
}

}  // namespace check
