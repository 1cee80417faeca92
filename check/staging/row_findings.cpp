#include "check/staging/row_findings.h"

#include <algorithm>

#include "check/report/findings.h"
#include "check/rules/rules.h"
#include "check/sql/sql_text.h"

namespace check::staging {

namespace {

/// What a remark is in words.
struct Sentence {
  const FindingKind& kind;
  std::string text;
  std::string where;  ///< The condition of the query for the rows.
};

Sentence SentenceOfRefusal(const RemarkKey& key, const RemarkedRows& rows) {
  const auto because = [&rows](const FindingKind& kind, const std::string& reason) {
    return Sentence{kind, "The destination refuses the row, which ends the run: " + reason + ".", rows.conditions};
  };
  if (key.state == "22001") {
    return because(finding::TextTooLong, "the text is longer than the destination's column");
  }
  if (key.state == "22021" || key.state == "22P05") {
    return because(finding::CharacterRefused,
                   "a text has a character that the destination does not have, or bytes that are no character");
  }
  if (key.state == "23505") {
    return because(finding::DuplicateKey, "an earlier row has the same key (" + key.detail + ")");
  }
  if (key.state == "23503") {
    return because(finding::ForeignKey, "the row that it refers to has not arrived (" + key.detail + ")");
  }
  return key.state == "23514" ? because(finding::CheckViolated, "it violates " + key.detail)
                              : because(finding::RowRefused, rows.message);
}

/// Words the remarks on one table.
class Wording {
 public:
  Wording(const StagedTable& staged, const std::string& sourceSchema)
      : staged_(staged), table_(*staged.table), sourceSchema_(sourceSchema) {}

  Finding Word(const RemarkKey& key, const RemarkedRows& rows) const {
    const Sentence sentence = SentenceOf(key, rows);
    Finding finding(sentence.kind, sentence.text);
    finding.rows = rows.rows;
    finding.keys = rows.keys;
    finding.arrives = rows.arrives;
    finding.columns = key.columns;
    if (key.remark != Remark::Unreadable) {
      finding.query = Query{.side = Side::Source, .text = Select(OnlyColumn(key), sentence.where)};
      if (!sentence.where.empty() && sentence.where == rows.conditions && rows.rows > rows.keys.size()) {
        finding.text += kOnlyFirstRows;
      }
    }
    return finding;
  }

 private:
  /// Empty when the remark is about no column or about several.
  static std::string OnlyColumn(const RemarkKey& key) { return key.columns.size() == 1 ? key.columns.front() : ""; }

  Sentence SentenceOf(const RemarkKey& key, const RemarkedRows& rows) const {
    const std::string name = OnlyColumn(key);
    const std::string column = "[" + name + "]";
    const std::string isNull = column + " IS NULL";
    switch (key.remark) {
      case Remark::NullEndsTable:
        return {finding::NullEndsTable, "NULL ends the table without a message. " + EndText(), isNull};
      case Remark::Unreadable:
        return {finding::ValueUnreadable,
                "A value does not convert to the column's type, which ends the table without a message. " + EndText(),
                rows.conditions};
      case Remark::ReferenceMissing:
        return {finding::ReferenceMissing,
                "There is no row of this number in " + Referred(key) +
                    ": the first such row ends the run with \"invalid map<K, T> key\" in the log.",
                ReferenceCondition(key)};
      case Remark::ReferenceNotMigrated:
        return {finding::ReferenceNotMigrated,
                "The row of " + Referred(key) +
                    " does not arrive: the first such row ends the run with \"invalid map<K, T> key\" in the log.",
                rows.conditions};
      case Remark::NullReplaced:
        return {finding::NullReplaced, "NULL arrives as a value.", isNull};
      case Remark::NullRepeats:
        return {finding::NullRepeatsRowBefore, "With this driver, a NULL arrives as the value of the previous row.",
                isNull};
      case Remark::TextCut: {
        const std::string bytes = std::to_string(table_.columns[rules::ColumnPosition(table_, name)].size - 1);
        return {finding::TextCut, "The text is longer than the " + bytes + " bytes that are migrated.",
                "DATALENGTH(" + column + ") > " + bytes};
      }
      case Remark::ZeroByte:
        return {finding::ZeroByte, "The text arrives up to its first zero byte.", rows.conditions};
      case Remark::ValueChanged:
        return {finding::ValueChanged, ChangeText(name), rows.conditions};
      case Remark::CharactersChanged:
        return {finding::CharacterChanged,
                "Characters arrive as other ones, without a message. The encodings of the two data sources must agree: "
                "ClientCharset of the source, client_encoding of the destination.",
                rows.conditions};
      case Remark::CharactersUnknown:
        return {finding::CannotForesee,
                "It is unknown which characters arrive: the destination database stores bytes beyond ASCII as they "
                "are, or the source does not answer.",
                rows.conditions};
      case Remark::StoredChanged:
        return {finding::ValueChanged,
                "The destination stores another value than the one that is sent: its column has another type, or the "
                "driver rounds.",
                rows.conditions};
      case Remark::Refused:
        return SentenceOfRefusal(key, rows);
      case Remark::ParentRefused:
        return {finding::ParentRefused,
                "The row is refused only because the row that it refers to is refused (" + key.detail + ").",
                rows.conditions};
      case Remark::PointsElsewhere:
        return {finding::PointsElsewhere, PointsText(key), rows.conditions};
      case Remark::DuplicateNumber:
        return {finding::DuplicateNumber,
                "An earlier row has the same number: what refers to it follows the first row.",
                column + " IN (SELECT " + column + " FROM " + SourceTable() + " GROUP BY " + column +
                    " HAVING COUNT(*) > 1)"};
      case Remark::NumbersChange:
        break;
    }
    return {finding::NumbersChange, "The rows are numbered again, and what refers to them keeps the old numbers.", {}};
  }

  std::string SourceTable() const { return sourceSchema_ + "[" + std::string(table_.name) + "]"; }

  std::string EndText() const {
    std::string text;
    if (staged_.endsEarly && staged_.foreseen) {
      text = "As the source gives its rows now, " + std::to_string(staged_.arrivingRows) + " of " +
             Counted(staged_.sourceRows, "row") + " will arrive. ";
    }
    return text + "The source promises no order: at least " + Counted(staged_.endingRows, "row") +
           " will be lost, at most all " + std::to_string(staged_.sourceRows) + ".";
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
    if (RuleOf(column).reading == rules::Reading::DoubleIntoInt32) {
      return "The number arrives as the lower four bytes of itself as a double.";
    }
    if (RuleOf(column).reading == rules::Reading::Int32IntoText) {
      return "The text is read as a number, whose bytes up to the first zero arrive as the text.";
    }
    if (rules::IsSentAsNumber(table_, column) &&
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
           : rules::RulesOf(key.detail).assigned.empty()
               ? "The row of " + key.detail + " does not arrive: the number leads to no row."
               : "The column keeps its number while " + key.detail +
                     " is numbered again: it leads to another row than in the source, or to none.";
  }

  std::string Select(const std::string& column, const std::string& where) const {
    const std::vector<std::string_view>& key = rules::RulesOf(table_.name).key;
    std::string list = Joined(key, ", ", [](std::string_view name) { return "[" + std::string(name) + "]"; });
    if (!column.empty() && std::ranges::find(key, column) == key.end()) {
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
