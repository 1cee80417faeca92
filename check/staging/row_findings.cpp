#include "check/staging/row_findings.h"

#include <algorithm>
#include <utility>

#include "check/report/findings.h"
#include "check/rules/rules.h"
#include "check/sql/sql_text.h"

namespace check::staging {

namespace {

std::string Rows(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " row" : " rows");
}

const FindingKind& RefusalKind(std::string_view state) {
  if (state == "22001") {
    return finding::TextTooLong;
  }
  if (state == "22021" || state == "22P05") {
    return finding::CharacterRefused;
  }
  if (state == "23505") {
    return finding::DuplicateKey;
  }
  if (state == "23503") {
    return finding::ForeignKey;
  }
  return state == "23514" ? finding::CheckViolated : finding::RowRefused;
}

std::string RefusalText(const RemarkKey& key, const RemarkedRows& rows) {
  const FindingKind* const kind = &RefusalKind(key.state);
  if (kind == &finding::TextTooLong) {
    return "the text is longer than the destination's column";
  }
  if (kind == &finding::CharacterRefused) {
    return "a text has a character that the destination does not have, or bytes that are no character";
  }
  if (kind == &finding::DuplicateKey) {
    return "an earlier row has the same key (" + key.detail + ")";
  }
  if (kind == &finding::ForeignKey) {
    return "the row that it refers to has not arrived (" + key.detail + ")";
  }
  if (kind == &finding::CheckViolated) {
    return "it violates " + key.detail;
  }
  return rows.message;
}

/// Words the remarks on one table.
class Wording {
 public:
  Wording(const StagedTable& staged, const std::string& sourceSchema)
      : staged_(staged), table_(*staged.table), sourceSchema_(sourceSchema) {}

  Finding Word(const RemarkKey& key, const RemarkedRows& rows) const {
    Finding finding(KindOf(key));
    finding.rows = rows.rows;
    finding.keys = rows.keys;
    finding.arrives = rows.arrives;
    finding.columns = key.columns;
    const std::string name = key.columns.size() == 1 ? key.columns.front() : "";
    const std::string column = "[" + name + "]";
    std::string where = rows.conditions;
    switch (key.remark) {
      case Remark::NullEndsTable:
        finding.text = "NULL ends the table without a message. " + EndText();
        where = column + " IS NULL";
        break;
      case Remark::Unreadable:
        finding.text =
            "A value does not convert to the column's type, which ends the table without a message. " + EndText();
        break;
      case Remark::ReferenceMissing:
        finding.text = "There is no row of this number in " + Referred(key) +
                       ": the first such row ends the run with \"invalid map<K, T> key\" in the log.";
        where = ReferenceCondition(key);
        break;
      case Remark::ReferenceNotMigrated:
        finding.text = "The row of " + Referred(key) +
                       " does not arrive: the first such row ends the run with \"invalid map<K, T> key\" in the log.";
        break;
      case Remark::NullReplaced:
        finding.text = "NULL arrives as a value.";
        where = column + " IS NULL";
        break;
      case Remark::NullRepeats:
        finding.text = "With this driver, a NULL arrives as the value of the previous row.";
        where = column + " IS NULL";
        break;
      case Remark::TextCut: {
        const std::string bytes = std::to_string(table_.columns[rules::ColumnPosition(table_, name)].size - 1);
        finding.text = "The text is longer than the " + bytes + " bytes that are migrated.";
        where = "DATALENGTH(" + column + ") > " + bytes;
        break;
      }
      case Remark::ZeroByte:
        finding.text = "The text arrives up to its first zero byte.";
        break;
      case Remark::ValueChanged:
        finding.text = ChangeText(name);
        break;
      case Remark::CharactersChanged:
        finding.text =
            "Characters arrive as other ones, without a message. The encodings of the two data sources must agree: "
            "ClientCharset of the source, client_encoding of the destination.";
        break;
      case Remark::CharactersUnknown:
        finding.text =
            "It is unknown which characters arrive: the destination database stores bytes beyond ASCII as they are, "
            "or the source does not answer.";
        break;
      case Remark::StoredChanged:
        finding.text =
            "The destination stores another value than the one that is sent: its column has another type, or the "
            "driver rounds.";
        break;
      case Remark::Refused:
        finding.text = "The destination refuses the row, which ends the run: " + RefusalText(key, rows) + ".";
        break;
      case Remark::ParentRefused:
        finding.text = "The row is refused only because the row that it refers to is refused (" + key.detail + ").";
        break;
      case Remark::PointsElsewhere:
        finding.text = PointsText(key);
        break;
      case Remark::DuplicateNumber:
        finding.text = "An earlier row has the same number: what refers to it follows the first row.";
        where = column + " IN (SELECT " + column + " FROM " + SourceTable() + " GROUP BY " + column +
                " HAVING COUNT(*) > 1)";
        break;
      case Remark::NumbersChange:
        finding.text = "The rows are numbered again, and what refers to them keeps the old numbers.";
        where.clear();
        break;
    }
    if (key.remark != Remark::Unreadable) {
      finding.query = Query{.side = Side::Source, .text = Select(name, where)};
      if (!where.empty() && where == rows.conditions && rows.rows > rows.keys.size()) {
        finding.text += kOnlyFirstRows;
      }
    }
    return finding;
  }

 private:
  static const FindingKind& KindOf(const RemarkKey& key) {
    switch (key.remark) {
      case Remark::NullEndsTable:
        return finding::NullEndsTable;
      case Remark::Unreadable:
        return finding::ValueUnreadable;
      case Remark::ReferenceMissing:
        return finding::ReferenceMissing;
      case Remark::ReferenceNotMigrated:
        return finding::ReferenceNotMigrated;
      case Remark::NullReplaced:
        return finding::NullReplaced;
      case Remark::NullRepeats:
        return finding::NullRepeatsRowBefore;
      case Remark::TextCut:
        return finding::TextCut;
      case Remark::ZeroByte:
        return finding::ZeroByte;
      case Remark::ValueChanged:
      case Remark::StoredChanged:
        return finding::ValueChanged;
      case Remark::CharactersChanged:
        return finding::CharacterChanged;
      case Remark::CharactersUnknown:
        return finding::CannotForesee;
      case Remark::Refused:
        return RefusalKind(key.state);
      case Remark::ParentRefused:
        return finding::ParentRefused;
      case Remark::PointsElsewhere:
        return finding::PointsElsewhere;
      case Remark::DuplicateNumber:
        return finding::DuplicateNumber;
      case Remark::NumbersChange:
        break;
    }
    return finding::NumbersChange;
  }

  std::string SourceTable() const { return sourceSchema_ + "[" + std::string(table_.name) + "]"; }

  std::string EndText() const {
    std::string text;
    if (staged_.endsEarly && staged_.foreseen) {
      text = "As the source gives its rows now, " + std::to_string(staged_.arrivingRows) + " of " +
             Rows(staged_.sourceRows) + " will arrive. ";
    }
    return text + "The source promises no order: at least " + Rows(staged_.endingRows) + " will be lost, at most all " +
           std::to_string(staged_.sourceRows) + ".";
  }

  rules::ColumnRule RuleOf(std::string_view column) const { return rules::RuleOf(rules::RulesOf(table_.name), column); }

  std::string Referred(const RemarkKey& key) const {
    const bool byPosition = RuleOf(key.columns.front()).reference->kind == rules::ReferenceKind::ByPosition;
    return key.detail + (byPosition ? " at this position" : "");
  }

  std::string ReferenceCondition(const RemarkKey& key) const {
    const std::string column = "[" + key.columns.front() + "]";
    const std::string referred = sourceSchema_ + "[" + key.detail + "]";
    if (RuleOf(key.columns.front()).reference->kind == rules::ReferenceKind::ByPosition) {
      return column + " < 1 OR " + column + " > (SELECT COUNT(*) FROM " + referred + ")";
    }
    return column + " NOT IN (SELECT [" + std::string(rules::RulesOf(key.detail).assigned) + "] FROM " + referred + ")";
  }

  std::string ChangeText(const std::string& column) const {
    const auto parameter =
        std::find_if(table_.parameters.begin(), table_.parameters.end(),
                     [&column](const db::ParameterDescription& each) { return each.column == column; });
    if (RuleOf(column).reading == rules::Reading::DoubleIntoInt32) {
      return "The number arrives as the lower four bytes of itself as a double.";
    }
    if (RuleOf(column).reading == rules::Reading::Int32IntoText) {
      return "The text is read as a number, whose bytes up to the first zero arrive as the text.";
    }
    if (parameter != table_.parameters.end() && parameter->cType == SQL_C_LONG &&
        table_.columns[rules::ColumnPosition(table_, column)].kind == db::ValueKind::Text) {
      return "The text arrives as the decimal number of its first four bytes; after a short text there are bytes of "
             "earlier rows.";
    }
    return "The value is read as another one: the source's column has another type than the migrator reads.";
  }

  std::string PointsText(const RemarkKey& key) const {
    return RuleOf(key.columns.front()).reference->kind == rules::ReferenceKind::ByPosition
               ? "The number is treated as the position of a row of " + key.detail +
                     ": the row arrives with a number that leads to another row, or to none."
               : "The column keeps its number while " + key.detail +
                     " is numbered again: it leads to another row than in the source, or to none.";
  }

  std::string Select(const std::string& column, const std::string& where) const {
    const std::vector<std::string_view>& key = rules::RulesOf(table_.name).key;
    std::string list = Joined(key, ", ", [](std::string_view name) { return "[" + std::string(name) + "]"; });
    if (!column.empty() && std::find(key.begin(), key.end(), column) == key.end()) {
      list += ", [" + column + "]";
    }
    return "SELECT " + list + " FROM " + SourceTable() + (where.empty() ? "" : " WHERE " + where) + ";";
  }

  const StagedTable& staged_;
  const db::TableDescription& table_;
  const std::string& sourceSchema_;
};

}  // namespace

Finding EmptiedAgainFinding(const std::string& path, std::string_view by) {
  Finding finding(finding::CascadeEmptiesMigrated,
                  "The rows that are migrated are emptied again: the table refers to " + std::string(by) +
                      ", which comes later and whose truncate cascades.");
  finding.query = Query{.side = Side::Destination,
                        .text =
                            "SELECT conname, confrelid::regclass FROM pg_constraint WHERE contype = 'f' AND "
                            "conrelid = " +
                            Literal(path) + "::regclass;"};
  return finding;
}

void AddRowFindings(const StagedTable& table, const std::string& sourceSchema, TableReport& report) {
  const Wording wording(table, sourceSchema);
  for (const auto& [key, rows] : table.remarks) {
    report.findings.push_back(wording.Word(key, rows));
  }
}

}  // namespace check::staging
