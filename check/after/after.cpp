#include "check/after/after.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "check/after/comparison.h"
#include "check/after/identities.h"
#include "check/after/log_reader.h"
#include "check/after/orphans.h"
#include "check/after/table_comparison.h"
#include "check/rules/catalogue.h"
#include "check/rules/table_rules.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

std::string Counted(std::uint64_t count, std::string_view noun) {
  return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string Rows(std::uint64_t count) {
  return Counted(count, "row");
}

/// "A", "A and B" or "A, B and C".
std::string Listed(const std::vector<std::string>& names) {
  std::string text;
  for (std::size_t i = 0; i < names.size(); ++i) {
    text.append(i == 0 ? "" : i + 1 == names.size() ? " and " : ", ").append(names[i]);
  }
  return text;
}

/// A message on one line, at most so long that it can stand in a sentence.
std::string OnOneLine(std::string text) {
  constexpr std::size_t longest = 300;
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c == '\n' || c == '\r'; }, ' ');
  return text.size() <= longest ? text : text.substr(0, longest) + " ...";
}

std::size_t IndexOf(std::string_view table) {
  const auto& all = Catalogue();
  return static_cast<std::size_t>(
      std::find_if(all.begin(), all.end(), [table](const auto& each) { return each.name == table; }) - all.begin());
}

/// What has to be compared to tell about the chosen tables; all of them when none is chosen.
std::vector<const db::TableDescription*> TablesToCompare(const std::vector<std::string>& chosen) {
  std::set<std::string_view> wanted(chosen.begin(), chosen.end());
  const auto& all = Catalogue();
  std::for_each(all.rbegin(), all.rend(), [&wanted](const db::TableDescription& table) {
    if (!wanted.contains(table.name)) {
      return;
    }
    for (const Reference& reference : ReferencesOf(table)) {
      if (reference.kind != Reference::Kind::Kept) {
        wanted.insert(reference.table);
      }
    }
  });
  std::vector<const db::TableDescription*> tables;
  for (const db::TableDescription& table : all) {
    if (chosen.empty() || wanted.contains(table.name)) {
      tables.push_back(&table);
    }
  }
  return tables;
}

/// Conditions that tell the example rows, for the side's client; empty when the key is not known there.
std::string WhereKeys(Side side, const db::TableDescription& table, const std::vector<Example>& examples) {
  const std::string_view assigned = RulesFor(table.name).assigned;
  const std::vector<std::string_view> columns = ComparedColumns(table);
  std::string where;
  for (const Example& example : examples) {
    const std::optional<Values>& values = side == Side::Source || !example.found ? example.expected : example.found;
    std::string condition;
    if (!assigned.empty() && side == Side::Destination) {
      condition = QuotedName(side, assigned) + " = " + std::to_string(static_cast<std::int64_t>(example.key));
    } else if (assigned.empty() && values) {
      for (const std::string_view column : KeyColumns(table.name)) {
        const auto position = std::find(columns.begin(), columns.end(), column) - columns.begin();
        const Value& value = (*values)[static_cast<std::size_t>(position)];
        // The source has another number there.
        if (side == Side::Source && value.kind == Value::Kind::Token) {
          continue;
        }
        condition.append(condition.empty() ? "" : " AND ").append(QuotedName(side, column));
        condition.append(value.kind == Value::Kind::Null
                             ? " IS NULL"
                             : " = " + (value.kind == Value::Kind::Text ? Literal(value.text) : value.Shown()));
      }
    }
    if (!condition.empty()) {
      where.append(where.empty() ? "" : " OR ").append("(" + condition + ")");
    }
  }
  return where;
}

/// A value as it is shown; of a long text its beginning.
std::string ShownShort(const Value& value) {
  constexpr std::size_t longest = 100;
  std::string text = value.Shown();
  if (value.kind == Value::Kind::Text && value.text.size() > longest) {
    text = text.substr(0, longest) + " ...' of " + Counted(value.text.size(), "byte");
  }
  return text;
}

/// What differs between a value and the one that should be there.
std::string Difference(std::string_view column, const Value& expected, const Value& found) {
  std::string text = std::string(column) + " is " + ShownShort(found);
  if (expected.kind == Value::Kind::Token && expected.number == found.number) {
    return text + (found.kind == Value::Kind::Token ? ", which is another row" : ", which names no row");
  }
  return text + " instead of " + ShownShort(expected);
}

/// Says what was found in both databases and in the log.
class AfterReport {
 public:
  AfterReport(const odbc::DBConnection& source, const odbc::DBConnection& destination,
              const std::filesystem::path& logPath, const std::vector<std::string>& chosen, Progress& progress)
      : source_(source), destination_(destination), chosen_(chosen), progress_(progress) {
    report_.command = Command::After;
    progress_.Begin("log");
    log_ = ReadLog(logPath);
  }

  Report Make() {
    TableComparer comparer(source_, destination_);
    for (const db::TableDescription* const table : TablesToCompare(chosen_)) {
      progress_.Begin(table->name);
      const auto start = std::chrono::steady_clock::now();
      results_.push_back(comparer.Compare(*table, progress_));
      TableReport& entry = report_.tables.emplace_back();
      entry.table = table->name;
      entry.sourceRows = results_.back().sourceRows;
      entry.arrivingRows = results_.back().rows.expectedRows;
      entry.destinationRows = results_.back().rows.foundRows;
      entry.milliseconds =
          std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    }
    LookAtLog();
    FindEnd();
    ReportEndElsewhere();
    for (std::size_t i = 0; i < results_.size(); ++i) {
      if (IsChosen(*results_[i].table)) {
        ReportTable(results_[i], report_.tables[i]);
      }
    }
    report_.verdict = Verdict();
    if (end_) {
      report_.runEndsIn = std::string(Catalogue()[end_->table].name);
    }
    std::erase_if(report_.tables, [this](const TableReport& entry) { return !IsChosen(TableNamed(entry.table)); });
    return std::move(report_);
  }

 private:
  /// Where the run ended before it was through.
  struct End {
    std::size_t table;  ///< Its place among all tables.
    std::string because;
  };

  const TableComparison* ResultOf(std::string_view table) const {
    const auto found = std::find_if(results_.begin(), results_.end(),
                                    [table](const TableComparison& result) { return result.table->name == table; });
    return found == results_.end() ? nullptr : &*found;
  }

  const LoggedTable* LoggedTableOf(std::string_view table) const {
    if (!logCounts_) {
      return nullptr;
    }
    const auto found = std::find_if(log_->tables.begin(), log_->tables.end(),
                                    [table](const LoggedTable& logged) { return logged.name == table; });
    return found == log_->tables.end() ? nullptr : &*found;
  }

  /// Says what the log is, and whether it can be relied on.
  void LookAtLog() {
    if (!log_) {
      Finding finding(finding::LogMissing);
      finding.text =
          "There is no bw_db_migrate.log that can be read here: how the run ended can be told by the rows only.";
      report_.general.push_back(std::move(finding));
      return;
    }
    std::string fact = "Log: ";
    if (log_->firstTime.empty()) {
      fact += "empty.";
    } else {
      fact += "from " + log_->firstTime + " to " + log_->lastTime + ", " + Counted(log_->tables.size(), "table") +
              " begun, " + std::to_string(LoggedAsComplete()) + " completed.";
    }
    if (log_->takenBack > 0) {
      fact += " " + Counted(log_->takenBack, "line") + " of it looked like entries and " +
              (log_->takenBack == 1 ? "was taken for a line" : "were taken for lines") + " of a row's text.";
    }
    report_.facts.push_back(fact);
    if (log_->foreignLines > 0) {
      Finding finding(finding::LogUnclear);
      finding.text = "The log holds " + Counted(log_->foreignLines, "line") +
                     " that one run of the migrator does not write: it is not relied on.";
      report_.general.push_back(std::move(finding));
      return;
    }
    const std::vector<std::string> stale = TablesThatDisagree();
    if (!stale.empty()) {
      Finding finding(finding::LogStale);
      finding.text = "The log counts other rows than both databases, in " + Listed(stale) +
                     ": it is of another run, or a side was changed since. It is not relied on.";
      report_.general.push_back(std::move(finding));
      return;
    }
    if (log_->tables.empty() && HasRows()) {
      Finding finding(finding::LogStale);
      finding.text = "The log is of a run that ended before its first table" +
                     (log_->error ? ", with: " + OnOneLine(*log_->error) : std::string(".")) +
                     " The destination holds what another run brought.";
      report_.general.push_back(std::move(finding));
      return;
    }
    logCounts_ = true;
  }

  std::ptrdiff_t LoggedAsComplete() const {
    return std::count_if(log_->tables.begin(), log_->tables.end(),
                         [](const LoggedTable& table) { return table.completed; });
  }

  bool HasRows() const {
    return std::any_of(results_.begin(), results_.end(),
                       [](const TableComparison& result) { return result.rows.foundRows > 0; });
  }

  /// The tables whose rows the log counts in a way that neither side explains.
  std::vector<std::string> TablesThatDisagree() const {
    std::vector<std::string> names;
    for (const LoggedTable& logged : log_->tables) {
      const TableComparison* const result = ResultOf(logged.name);
      if (result == nullptr) {
        continue;
      }
      const std::uint64_t found = result->rows.foundRows;
      // The log lags behind a run that was killed.
      const bool agrees = logged.completed ? logged.rows == found || logged.rows == result->rows.expectedRows
                          : log_->error    ? logged.rows == found
                                           : logged.rows <= found;
      if (!agrees) {
        names.push_back(logged.name);
      }
    }
    return names;
  }

  void FindEnd() {
    if (logCounts_) {
      FindEndInLog();
      return;
    }
    const auto ended = std::find_if(results_.begin(), results_.end(),
                                    [](const TableComparison& result) { return result.runEnds.has_value(); });
    if (ended != results_.end()) {
      end_ = End{.table = IndexOf(ended->table->name), .because = *ended->runEnds};
      return;
    }
    FindEndInRows();
  }

  void FindEndInLog() {
    const bool through = log_->tables.size() == Catalogue().size() && log_->tables.back().completed;
    if (through) {
      return;
    }
    const bool inTable = !log_->tables.empty() && !log_->tables.back().completed;
    end_ = End{.table = log_->tables.size() - (inTable ? 1 : 0), .because = {}};
    if (log_->error) {
      end_->because = log_->error->empty() ? "the log ends with an error without a text"
                                           : "the log ends with: " + OnOneLine(*log_->error);
    } else if (log_->firstTime.empty()) {
      end_->because = "the log is empty: a data source led to another server, or the run was killed";
    } else {
      end_->because = "the log breaks off there: the run was killed, or the log's disk was full";
    }
  }

  /// Without a log: the first table that lacks rows and has nothing else, when all behind it are empty.
  void FindEndInRows() {
    const auto differs = std::find_if(results_.begin(), results_.end(),
                                      [](const TableComparison& result) { return !result.rows.Same(); });
    if (differs == results_.end()) {
      return;
    }
    const Comparison& rows = differs->rows;
    const bool emptyFromThere = std::all_of(std::next(differs), results_.end(),
                                            [](const TableComparison& result) { return result.rows.foundRows == 0; });
    const bool someExpected =
        rows.foundRows == 0 || std::any_of(std::next(differs), results_.end(),
                                           [](const TableComparison& result) { return result.rows.expectedRows > 0; });
    if (rows.unexpected + rows.changed == 0 && emptyFromThere && someExpected) {
      end_ =
          End{.table = IndexOf(differs->table->name), .because = "rows are missing from there on, and no log says why"};
    }
  }

  bool IsChosen(const db::TableDescription& table) const {
    return chosen_.empty() || std::find(chosen_.begin(), chosen_.end(), table.name) != chosen_.end();
  }

  bool IsBehindEnd(const TableComparison& result) const { return end_ && IndexOf(result.table->name) > end_->table; }

  bool IsEnd(const TableComparison& result) const { return end_ && IndexOf(result.table->name) == end_->table; }

  /// The end of the run, where its table is not reported.
  void ReportEndElsewhere() {
    if (end_ && !IsChosen(Catalogue()[end_->table])) {
      Finding finding(finding::RunEnded);
      finding.text = "The run ended in " + std::string(Catalogue()[end_->table].name) + ": " + end_->because + ".";
      report_.general.push_back(std::move(finding));
    }
  }

  void ReportTable(const TableComparison& result, TableReport& entry) {
    if (!result.isThere) {
      Finding finding(finding::TableMissing);
      finding.rows = result.rows.missing;
      finding.text = "The destination has no table of this name.";
      entry.findings.push_back(std::move(finding));
    }
    if (IsBehindEnd(result)) {
      ReportNotMigrated(result, entry);
      return;
    }
    if (IsEnd(result)) {
      ReportEnd(result, entry);
    } else if (result.tableEnds || result.runEnds) {
      ReportEarlyEnd(result, entry);
    }
    if (result.isThere) {
      ReportDifferences(result, entry);
      ReportConsistency(result, entry);
    }
  }

  void ReportNotMigrated(const TableComparison& result, TableReport& entry) const {
    if (result.rows.Same()) {
      return;
    }
    Finding finding(finding::TableNotMigrated);
    finding.rows = result.rows.missing + result.rows.changed;
    finding.text = "The run ended before this table.";
    if (result.rows.foundRows > 0) {
      finding.text += " What it holds, " + Rows(result.rows.foundRows) + ", is from before.";
    }
    entry.findings.push_back(std::move(finding));
  }

  void ReportEnd(const TableComparison& result, TableReport& entry) const {
    Finding finding(finding::RunEnded);
    const std::uint64_t found = result.rows.foundRows;
    finding.rows = result.sourceRows > found ? result.sourceRows - found : result.rows.missing;
    finding.text = "The run ended here: " + end_->because + ". Of " + Rows(result.sourceRows) + " of the source " +
                   std::to_string(found) + (found == 1 ? " is" : " are") + " there.";
    if (result.runEnds && end_->because != *result.runEnds) {
      finding.text += " By the rules " + *result.runEnds + ".";
    }
    finding.query = SelectSource(*result.table);
    entry.findings.push_back(std::move(finding));
  }

  void ReportEarlyEnd(const TableComparison& result, TableReport& entry) const {
    Finding finding(finding::TableEndedEarly);
    finding.rows = result.sourceRows - result.rows.expectedRows;
    finding.text = "The migrator's rules end the table before the source does: " +
                   (result.tableEnds ? *result.tableEnds : *result.runEnds) + ". The rows from there on do not arrive.";
    finding.query = SelectSource(*result.table);
    entry.findings.push_back(std::move(finding));
  }

  /// The rows in the order in which the migrator reads them.
  Query SelectSource(const db::TableDescription& table) const {
    return {.side = Side::Source, .text = db::WithSchema(table.select, source_.schema())};
  }

  void ReportDifferences(const TableComparison& result, TableReport& entry) const {
    const Comparison& rows = result.rows;
    // What the run did not come to is told with its end.
    if (rows.missing > 0 && !IsEnd(result)) {
      Finding finding = DifferenceFinding(finding::RowsMissing, result, rows.missing, rows.firstMissing);
      finding.text = "Rows that the migrator's rules let through are not there." + LogOfMissing(result);
      if (!RulesFor(result.table->name).assigned.empty()) {
        for (const Example& example : rows.firstMissing) {
          finding.arrives.push_back("row " + std::to_string(example.expectedPosition) + " in reading order");
        }
      }
      finding.query = Select(Side::Source, *result.table, rows.firstMissing);
      entry.findings.push_back(std::move(finding));
    }
    if (rows.unexpected > 0) {
      Finding finding = DifferenceFinding(finding::RowsUnexpected, result, rows.unexpected, rows.firstUnexpected);
      finding.text = "Rows are there that the migrator's rules do not bring.";
      finding.query = Select(Side::Destination, *result.table, rows.firstUnexpected);
      entry.findings.push_back(std::move(finding));
    }
    if (rows.changed > 0) {
      entry.findings.push_back(ChangedFinding(result));
    }
  }

  Finding DifferenceFinding(const FindingKind& kind, const TableComparison& result, std::uint64_t count,
                            const std::vector<Example>& examples) const {
    Finding finding(kind);
    finding.rows = count;
    for (const Example& example : examples) {
      const std::optional<Values>& values = example.found ? example.found : example.expected;
      finding.keys.push_back(values ? KeyText(*result.table, *values, example.key) : "?");
    }
    return finding;
  }

  Finding ChangedFinding(const TableComparison& result) const {
    const Comparison& rows = result.rows;
    Finding finding = DifferenceFinding(finding::RowsDifferent, result, rows.changed, rows.firstChanged);
    const std::vector<std::string_view> columns = ComparedColumns(*result.table);
    std::set<std::size_t> differing;
    for (const Example& example : rows.firstChanged) {
      std::string& text = finding.arrives.emplace_back();
      for (std::size_t i = 0; example.expected && example.found && i < columns.size(); ++i) {
        const Value& expected = (*example.expected)[i];
        const Value& found = (*example.found)[i];
        if (!(expected == found)) {
          differing.insert(i);
          text.append(text.empty() ? "" : ", ").append(Difference(columns[i], expected, found));
        }
      }
    }
    if (differing.size() == 1) {
      finding.columns = {std::string(columns[*differing.begin()])};
    }
    std::vector<std::string> names;
    std::transform(differing.begin(), differing.end(), std::back_inserter(names),
                   [&columns](std::size_t i) { return std::string(columns[i]); });
    finding.text = "Rows do not hold what the migrator's rules bring";
    finding.text += names.empty() ? "." : ", in " + Listed(names) + ".";
    if (!rows.allPaired) {
      finding.text +=
          " There are too many differing rows to look at all: rows that count as missing and as unexpected "
          "may be of this kind as well.";
    }
    finding.query = Select(Side::Destination, *result.table, rows.firstChanged);
    return finding;
  }

  std::string LogOfMissing(const TableComparison& result) const {
    const LoggedTable* const logged = LoggedTableOf(result.table->name);
    if (logged == nullptr || logged->rows == result.rows.foundRows) {
      return logged == nullptr ? "" : " The log does not count them either: reading ended early.";
    }
    return " The log counts them as migrated: they were lost later.";
  }

  std::optional<Query> Select(Side side, const db::TableDescription& table,
                              const std::vector<Example>& examples) const {
    const std::string where = WhereKeys(side, table, examples);
    if (where.empty()) {
      return side == Side::Source ? std::optional(SelectSource(table)) : std::nullopt;
    }
    const std::string& schema = side == Side::Source ? source_.schema() : destination_.schema();
    return Query{.side = side,
                 .text = "SELECT * FROM " + schema + QuotedName(side, table.name) + " WHERE " + where + ";"};
  }

  void ReportConsistency(const TableComparison& result, TableReport& entry) const {
    if (result.ambiguous > 0) {
      Finding finding(finding::MatchAmbiguous);
      finding.rows = result.ambiguous;
      finding.keys = result.ambiguousKeys;
      for (const Reference& reference : ReferencesOf(*result.table)) {
        if (reference.kind == Reference::Kind::Translated) {
          finding.columns = {std::string(reference.column)};
        }
      }
      finding.text =
          "They refer to one of several rows with the same content: whether it is the right one cannot be "
          "told.";
      entry.findings.push_back(std::move(finding));
    }
    for (const Reference& reference : ReferencesOf(*result.table)) {
      const TableComparison* const referred = ResultOf(reference.table);
      if (referred == nullptr || referred->isThere) {
        Append(entry, CheckOrphans(source_, destination_, *result.table, reference));
      }
    }
    Append(entry, CheckIdentities(destination_, result.table->name, result.identities));
  }

  static void Append(TableReport& entry, std::vector<Finding> findings) {
    std::move(findings.begin(), findings.end(), std::back_inserter(entry.findings));
  }

  std::string Verdict() const {
    std::uint64_t expected = 0;
    std::uint64_t lost = 0;
    std::vector<std::string> losing;
    std::vector<std::string> different;
    std::size_t behind = 0;
    for (const TableComparison& result : results_) {
      if (!IsChosen(*result.table)) {
        continue;
      }
      expected += result.rows.expectedRows;
      const std::string name(result.table->name);
      if (IsBehindEnd(result)) {
        behind += result.rows.Same() ? 0 : 1;
      } else if (!result.isThere || (!result.rows.Same() && !IsEnd(result)) ||
                 (IsEnd(result) && result.rows.unexpected + result.rows.changed > 0)) {
        different.push_back(name);
      }
      if (result.tableEnds || result.runEnds) {
        lost += result.sourceRows - result.rows.expectedRows;
        losing.push_back(name);
      }
    }
    const std::string only = chosen_.empty() ? "" : " Only some tables were looked at.";
    if (end_) {
      std::string text = "Incomplete: the run ended in " + std::string(Catalogue()[end_->table].name) + ", because " +
                         end_->because + ".";
      if (behind > 0) {
        text += " " + Counted(behind, "table") + " behind it " + (behind == 1 ? "is" : "are") + " not as migrated.";
      }
      if (!different.empty()) {
        text += " Different as well: " + Listed(different) + ".";
      }
      return text + only;
    }
    if (!different.empty()) {
      return "Different: " + Listed(different) + (different.size() == 1 ? " does" : " do") +
             " not hold what the migrator's rules let through." + only;
    }
    if (!losing.empty()) {
      return "Complete as the migrator's rules go: all " + Rows(expected) + " that they let through are there, but " +
             Rows(lost) + " of the source did not arrive, in " + Listed(losing) + "." + only;
    }
    return "Complete: all " + Rows(expected) + " of the source are there as the migrator's rules let them through." +
           only;
  }

  const odbc::DBConnection& source_;
  const odbc::DBConnection& destination_;
  const std::vector<std::string>& chosen_;
  Progress& progress_;
  std::optional<MigrationLog> log_;
  bool logCounts_ = false;  ///< Whether the log is relied on.
  std::vector<TableComparison> results_;
  std::optional<End> end_;
  Report report_;
};

}  // namespace

Report CheckAfter(odbc::DBConnection& source, odbc::DBConnection& destination, const std::filesystem::path& log,
                  const std::vector<std::string>& tables, Progress& progress) {
  return AfterReport(source, destination, log, tables, progress).Make();
}

}  // namespace check
