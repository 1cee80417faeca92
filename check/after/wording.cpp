#include "check/after/wording.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "check/rules/catalogue.h"
#include "check/sql/sql_text.h"
#include "check/staging/row_findings.h"

namespace check {

namespace {

std::string NameOfTable(std::size_t place) {
  return std::string(Catalogue().at(place).name);
}

/// A message on one line, at most so long that it fits into a sentence.
std::string OnOneLine(std::string text) {
  constexpr std::size_t longest = 300;
  std::ranges::replace_if(
      text, [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return text.size() <= longest ? text : text.substr(0, longest) + " ...";
}

bool IsWhole(const ShownValue& value) {
  return !value.text || value.text->size() == value.bytes;
}

std::string ShownText(const ShownValue& value) {
  if (!value.text) {
    return "NULL";
  }
  if (IsWhole(value)) {
    return value.isText ? "'" + *value.text + "'" : *value.text;
  }
  return "'" + *value.text + " ...' of " + Counted(value.bytes, "byte");
}

std::string KeyText(const RowKey& key) {
  return Joined(key, ", ", [](const ShownValue& value) {
    return value.column + " = " + value.text.value_or("NULL") + (IsWhole(value) ? "" : " ...");
  });
}

/// A comparison with the value; nothing when the value is not known to its end.
std::optional<std::string> Condition(Side side, const ShownValue& value) {
  if (!IsWhole(value)) {
    return std::nullopt;
  }
  const std::string column = QuotedName(side, value.column);
  if (!value.text) {
    return column + " IS NULL";
  }
  const bool isNumber =
      !value.isText && !value.text->empty() &&
      value.text->find_first_not_of("0123456789", value.text->front() == '-' ? 1 : 0) == std::string::npos;
  return column + " = " + (isNumber ? *value.text : Literal(side, *value.text));
}

/// Gives the finding a query for the rows with these keys, and says so when these are not all of its rows.
void SelectByKey(Finding& finding, Side side, const std::string& table, const std::vector<RowKey>& keys) {
  std::string where;
  for (const RowKey& key : keys) {
    std::string row;
    for (const ShownValue& value : key) {
      if (const std::optional<std::string> condition = Condition(side, value)) {
        row += (row.empty() ? "" : " AND ") + *condition;
      }
    }
    if (!row.empty()) {
      where += (where.empty() ? "(" : " OR (") + row + ")";
    }
  }
  finding.query =
      Query{.side = side, .text = "SELECT * FROM " + table + (where.empty() ? "" : " WHERE " + where) + ";"};
  if (!where.empty() && finding.rows.value_or(0) > keys.size()) {
    finding.text += staging::kOnlyFirstRows;
  }
}

Finding RowsFinding(const FindingKind& kind, std::uint64_t count, const std::vector<RowKey>& keys, std::string text) {
  Finding finding(kind, std::move(text));
  finding.rows = count;
  std::ranges::transform(keys, std::back_inserter(finding.keys), KeyText);
  return finding;
}

/// The same with a query for the rows.
Finding SelectedRowsFinding(const FindingKind& kind, std::uint64_t count, const std::vector<RowKey>& keys,
                            std::string text, Side side, const std::string& table) {
  Finding finding = RowsFinding(kind, count, keys, std::move(text));
  SelectByKey(finding, side, table, keys);
  return finding;
}

std::string TextOfMissing(const RowDifferences& differences, bool missingAreTheEnd,
                          std::optional<std::uint64_t> logged) {
  std::string text = "Rows that had to arrive are not there.";
  if (missingAreTheEnd) {
    text += " They are the last ones: the run ended here, or they were deleted.";
  } else if (logged && *logged > differences.present) {
    text += " The log counts them as migrated: they were lost later.";
  } else if (logged) {
    text += " The log does not count them either.";
  }
  return text;
}

Finding DifferentFinding(const RowComparison& comparison, const ComparedTable& table,
                         const RowDifferences& differences) {
  const std::vector<DifferentRow> rows = comparison.FirstDifferent(table, differences.differing);
  std::vector<RowKey> keys;
  std::ranges::transform(rows, std::back_inserter(keys), &DifferentRow::key);
  Finding finding =
      SelectedRowsFinding(finding::RowsDifferent, differences.different, keys,
                          "Rows have other values than a run brings, in " + Listed(differences.differing) + ".",
                          Side::Destination, table.path);
  finding.columns = differences.differing;
  for (const DifferentRow& row : rows) {
    finding.arrives.push_back(Joined(row.values, ", ", [](const DifferentValue& value) {
      return value.found.column + " is " + ShownText(value.found) + " instead of " + ShownText(value.expected);
    }));
  }
  return finding;
}

Finding AmbiguousFinding(const RowComparison& comparison, const ComparedTable& table,
                         const RowDifferences& differences) {
  Finding finding = SelectedRowsFinding(
      finding::MatchAmbiguous, differences.ambiguous, comparison.FirstAmbiguous(table),
      "They refer to another row than expected, of the same content: which of these rows is which cannot be "
      "determined.",
      Side::Destination, table.path);
  for (const FollowedReference& reference : table.references) {
    finding.columns.push_back(reference.column);
  }
  return finding;
}

Finding WithLeads(const FindingKind& kind, const WrongReferences& references, const ComparedTable& table,
                  const rules::ColumnRule& rule, std::string text) {
  Finding finding =
      SelectedRowsFinding(kind, references.rows, references.keys, std::move(text), Side::Destination, table.path);
  finding.columns = {std::string(rule.column)};
  finding.arrives = references.leadTo;
  return finding;
}

}  // namespace

std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text.append(i == 0 ? "" : i + 1 == names.size() ? " and " : ", ").append(names[i]);
  }
  return text;
}

std::string LogFact(const MigrationLog& log) {
  if (log.firstTime.empty()) {
    return "Log: empty.";
  }
  const auto completed = std::ranges::count_if(log.tables, [](const LoggedTable& table) { return table.completed; });
  std::string fact = "Log: from " + log.firstTime + " to " + log.lastTime + ", " + Counted(log.tables.size(), "table") +
                     " begun, " + std::to_string(completed) + " completed.";
  if (log.takenBack > 0) {
    fact += " " + Counted(log.takenBack, "line") + " of it looked like " +
            (log.takenBack == 1 ? "an entry" : "entries") + " and " + (log.takenBack == 1 ? "is" : "are") +
            " part of a row's text.";
  }
  return fact;
}

std::optional<Finding> LogFinding(const LogJudgement& judgement, const std::optional<MigrationLog>& log) {
  using Worth = LogJudgement::Worth;
  if (judgement.worth == Worth::Missing) {
    return Finding(finding::LogMissing,
                   "There is no bw_db_migrate.log that can be read here: how the run ended can be determined by "
                   "the rows only.");
  }
  if (judgement.worth == Worth::Unclear) {
    return Finding(finding::LogUnclear, "The log has " + Counted(log->foreignLines, "line") +
                                            " that one run of the migrator does not write: the check ignores it.");
  }
  if (judgement.worth == Worth::OtherRun && judgement.tables.empty()) {
    return Finding(finding::LogStale,
                   "The log is of a run that ended before its first table, with: " + OnOneLine(*log->error) +
                       ". The rows in the destination are from another run.");
  }
  if (judgement.worth == Worth::OtherRun) {
    std::vector<std::string> names;
    std::ranges::transform(judgement.tables, std::back_inserter(names), NameOfTable);
    return Finding(finding::LogStale, "The log counts other rows than both databases, in " + Listed(names) +
                                          ": it is of another run, or a side was changed since. The check ignores it.");
  }
  const std::optional<std::size_t> firstNotLogged = FirstNotLogged(*log);
  if (!firstNotLogged) {
    return std::nullopt;
  }
  if (!BreaksOff(*log)) {
    return Finding(finding::LogBreaksOff, "The log ends in " + NameOfTable(*firstNotLogged) +
                                              " with: " + OnOneLine(*log->error) +
                                              ". The rows of that table and of the later ones are from another run.");
  }
  return Finding(finding::LogBreaksOff, "The log breaks off in " + NameOfTable(*firstNotLogged) +
                                            ": the run ended there or later, or the log could not be written any "
                                            "more. The log is written in blocks of 8 KiB.");
}

std::optional<Finding> AtWorkFinding(const std::vector<MigratorSession>& sessions, bool logGrows) {
  if (sessions.empty() && !logGrows) {
    return std::nullopt;
  }
  std::string text;
  for (const MigratorSession& session : sessions) {
    text += "Session " + session.process + " of " + session.login + " is the migrator's, in " + session.table + ". ";
  }
  text += logGrows ? "The log was written to while the check ran. " : "";
  return Finding(finding::RunAtWork, text +
                                         "What is reported was so while the check ran: repeat it when the run has "
                                         "ended.");
}

std::string EndReason(const RunEnd& end, const std::optional<MigrationLog>& log, const std::string& refusal) {
  using Reason = RunEnd::Reason;
  switch (end.reason) {
    case Reason::AtWork:
      return "a run is still at work";
    case Reason::LoggedError:
      return "the log ends with: " + OnOneLine(*log->error);
    case Reason::RowRefused:
      return refusal.empty() ? "the destination refuses the next row" : refusal;
    case Reason::LogBreaksOff:
    case Reason::RowsEnd:
      return log ? "rows are missing from there on, and the log breaks off there or before"
                 : std::string("rows are missing from there on, and no log says why");
    case Reason::None:
    case Reason::Undecided:
      break;
  }
  return {};
}

std::vector<Finding> DifferenceFindings(const RowComparison& comparison, const ComparedTable& table,
                                        const RowDifferences& differences, const std::string& source,
                                        bool missingAreTheEnd, std::optional<std::uint64_t> logged) {
  std::vector<Finding> findings;
  if (differences.missing > 0) {
    findings.push_back(SelectedRowsFinding(finding::RowsMissing, differences.missing, comparison.FirstMissing(table),
                                           TextOfMissing(differences, missingAreTheEnd, logged), Side::Source, source));
  }
  if (differences.unexpected > 0) {
    findings.push_back(
        SelectedRowsFinding(finding::RowsUnexpected, differences.unexpected, comparison.FirstUnexpected(table),
                            "The table has rows that a run does not write.", Side::Destination, table.path));
  }
  if (differences.different > 0) {
    findings.push_back(DifferentFinding(comparison, table, differences));
  }
  if (differences.ambiguous > 0) {
    findings.push_back(AmbiguousFinding(comparison, table, differences));
  }
  return findings;
}

Finding DanglingFinding(const WrongReferences& references, const ComparedTable& table, const std::string& column,
                        const ComparedTable& referred, const std::string& number) {
  Finding finding = RowsFinding(finding::Orphans, references.rows, references.keys,
                                "They refer to rows of " + referred.name + " that do not exist.");
  finding.columns = {column};
  finding.arrives = references.leadTo;
  finding.query = Query{.side = Side::Destination,
                        .text = "SELECT * FROM " + table.path + " t WHERE NOT EXISTS (SELECT FROM " + referred.path +
                                " n WHERE n." + Quoted(number) + " = t." + Quoted(column) + ");"};
  return finding;
}

Finding ElsewhereFinding(const WrongReferences& references, const ComparedTable& table, const rules::ColumnRule& rule) {
  const std::string referred(rule.reference->table);
  return WithLeads(finding::PointsElsewhere, references, table, rule,
                   rule.reference->kind == rules::ReferenceKind::ByPosition
                       ? "The number was treated as the position of a row of " + referred +
                             ": the row has a number that leads to another row, or to none."
                       : "The column keeps its number while " + referred +
                             " is numbered again: it leads to another row than in the source, or to none.");
}

Finding ExchangedFinding(const WrongReferences& references, const ComparedTable& table, const rules::ColumnRule& rule) {
  const std::string referred(rule.reference->table);
  return WithLeads(finding::RowsDifferent, references, table, rule,
                   "They lead to other rows of " + referred +
                       " than in the source, whose rows are not numbered in the "
                       "order in which the source gives them now: the run read them in another order, or numbers were "
                       "exchanged since.");
}

}  // namespace check
