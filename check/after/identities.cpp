#include "check/after/identities.h"

#include <cstddef>
#include <utility>

#include "check/sql/query.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

constexpr std::size_t kKeysShown = 5;

std::optional<std::int64_t> NumberOf(const std::optional<std::string>& text) {
  return text ? std::optional<std::int64_t>(std::stoll(*text)) : std::nullopt;
}

std::string SelectLast(const Identity& identity) {
  return "SELECT last_value, is_called FROM " + identity.sequence + ";";
}

Finding NextIsUnknown(const Identity& identity) {
  Finding finding(finding::IdentityUnknown);
  finding.columns = {identity.column};
  finding.text = "The role may not see what the sequence " + identity.sequence + " gives next.";
  finding.query = Query{.side = Side::Destination, .text = SelectLast(identity)};
  return finding;
}

/// The rows that have the next number, or one that the sequence will come to.
std::string FromColliding(const odbc::DBConnection& destination, std::string_view table, const Identity& identity) {
  const std::string column = QuotedName(Side::Destination, identity.column);
  const std::string next = std::to_string(*identity.next);
  std::string from = " FROM ";
  from.append(destination.schema()).append(QuotedName(Side::Destination, table)).append(" WHERE ").append(column);
  from.append(identity.increment > 0 ? " >= " : " <= ").append(next);
  if (identity.increment != 1) {
    from.append(" AND (").append(column).append(" - ").append(next).append(") % ");
    from.append(std::to_string(identity.increment)).append(" = 0");
  }
  return from;
}

Finding FindCollisions(const odbc::DBConnection& destination, std::string_view table, const Identity& identity) {
  const std::string from = FromColliding(destination, table, identity);
  Finding finding(finding::IdentityCollides);
  finding.columns = {identity.column};
  finding.rows = std::stoull(QueryValue(destination, "SELECT count(*)" + from).value_or("0"));
  if (*finding.rows == 0) {
    return finding;
  }
  const std::string select = "SELECT " + QuotedName(Side::Destination, identity.column) + from + " ORDER BY 1";
  for (const TextRow& row : QueryRows(destination, select + " LIMIT " + std::to_string(kKeysShown))) {
    finding.keys.push_back(identity.column + " = " + row[0].value_or(""));
  }
  finding.text = "The sequence gives " + std::to_string(*identity.next) +
                 " next, and rows have this number or one that comes after it: new rows will be refused, or get "
                 "numbers that are there already.";
  finding.query = Query{.side = Side::Destination, .text = SelectLast(identity) + "\n" + select + ";"};
  return finding;
}

}  // namespace

std::vector<Identity> ReadIdentities(const odbc::DBConnection& destination, std::string_view table) {
  const std::string name = Literal(destination.schema() + QuotedName(Side::Destination, table));
  const std::vector<TextRow> rows = QueryRows(
      destination,
      "SELECT a.attname, quote_ident(n.nspname) || '.' || quote_ident(q.relname), s.seqstart, s.seqincrement, "
      "CASE WHEN has_sequence_privilege(q.oid, 'SELECT') THEN 1 END "
      "FROM pg_depend d JOIN pg_class q ON q.oid = d.objid "
      "JOIN pg_namespace n ON n.oid = q.relnamespace "
      "JOIN pg_sequence s ON s.seqrelid = q.oid "
      "JOIN pg_attribute a ON a.attrelid = d.refobjid AND a.attnum = d.refobjsubid "
      "WHERE d.classid = CAST('pg_class' AS regclass) AND d.refclassid = CAST('pg_class' AS regclass) "
      "AND d.deptype IN ('a', 'i') AND d.refobjid = to_regclass(" +
          name + ") ORDER BY a.attnum");
  std::vector<Identity> identities;
  for (const TextRow& row : rows) {
    Identity& identity = identities.emplace_back();
    identity.column = row[0].value_or("");
    identity.sequence = row[1].value_or("");
    identity.start = NumberOf(row[2]).value_or(1);
    identity.increment = NumberOf(row[3]).value_or(1);
    if (row[4]) {
      identity.next = NumberOf(QueryValue(destination, "SELECT CASE WHEN is_called THEN last_value + (" +
                                                           std::to_string(identity.increment) +
                                                           ") ELSE last_value END FROM " + identity.sequence));
    }
  }
  return identities;
}

std::vector<Finding> CheckIdentities(const odbc::DBConnection& destination, std::string_view table,
                                     const std::vector<Identity>& identities) {
  std::vector<Finding> findings;
  for (const Identity& identity : identities) {
    Finding finding = identity.next ? FindCollisions(destination, table, identity) : NextIsUnknown(identity);
    if (finding.rows != 0U) {
      findings.push_back(std::move(finding));
    }
  }
  return findings;
}

}  // namespace check
