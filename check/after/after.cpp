#include "check/after/after.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include "check/after/identities.h"
#include "check/after/log_reader.h"
#include "check/after/migrator_sessions.h"
#include "check/after/reference_comparison.h"
#include "check/after/row_comparison.h"
#include "check/after/run_end.h"
#include "check/after/wording.h"
#include "check/characters/characters.h"
#include "check/connections/connections.h"
#include "check/rules/catalogue.h"
#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/copies.h"
#include "check/staging/row_findings.h"
#include "check/staging/session.h"
#include "check/staging/staging.h"
#include "odbc/diagnostics.h"

namespace check {

namespace {

std::size_t PlaceOf(std::string_view table) {
  const auto& all = Catalogue();
  return static_cast<std::size_t>(
      std::find_if(all.begin(), all.end(), [table](const auto& each) { return each.name == table; }) - all.begin());
}

Finding CannotCompare(const std::string& reason) {
  Finding finding(finding::CannotForesee);
  finding.text = "The table cannot be compared: " + reason + ".";
  return finding;
}

void RequireComparing(const staging::Writability& writability) {
  if (writability.readOnlyDataSource) {
    throw std::runtime_error(
        "the destination's data source has ReadOnly = 1: the check needs temporary tables in its own session. Set "
        "ReadOnly = 0 in the data source; the check writes nothing else");
  }
  if (!writability.preparesOnServer) {
    throw std::runtime_error(
        "the destination's data source has UseServerSidePrepare = 0: values are stored otherwise with it. Set "
        "UseServerSidePrepare = 1 in the data source");
  }
}

/// The sessions of a run that is at work. That of a run which has just ended is still there for a moment.
std::vector<MigratorSession> FindSessionsAtWork(const odbc::DBConnection& destination) {
  constexpr int attempts = 10;
  constexpr std::chrono::milliseconds pause(100);
  std::vector<MigratorSession> sessions = FindMigratorSessions(destination);
  for (int i = 0; i < attempts && !sessions.empty(); ++i) {
    std::this_thread::sleep_for(pause);
    sessions = FindMigratorSessions(destination);
  }
  return sessions;
}

/// What reads a table waits for what waits for its lock.
void RequireNoneWaits(const std::vector<MigratorSession>& sessions) {
  const auto waiting =
      std::find_if(sessions.begin(), sessions.end(), [](const MigratorSession& session) { return session.waits; });
  if (waiting != sessions.end()) {
    throw std::runtime_error("session " + waiting->process + " of " + waiting->login +
                             " is the migrator's, and waits for a lock on " + waiting->table +
                             ". A server goes on waiting when the program was killed: pg_terminate_backend ends that");
  }
}

/// The columns that the migrator fills and the table does not have.
std::vector<std::string> MissingColumns(const odbc::DBConnection& destination, const staging::Copy& copy) {
  std::set<std::string, std::less<>> existing;
  for (const TextRow& row : QueryRows(destination,
                                      "SELECT attname FROM pg_attribute WHERE attrelid = CAST(? AS regclass) AND "
                                      "attnum > 0 AND NOT attisdropped",
                                      {copy.path})) {
    existing.insert(row.at(0).value_or(""));
  }
  std::vector<std::string> missing;
  for (const db::ParameterDescription& parameter : copy.table->parameters) {
    if (!existing.contains(parameter.column)) {
      missing.emplace_back(parameter.column);
    }
  }
  return missing;
}

ComparedTable DescribeCompared(const staging::Copy& copy, const staging::Relation& relation) {
  const db::TableDescription& table = *copy.table;
  const rules::TableRules& rules = rules::RulesOf(table.name);
  ComparedTable compared{.name = std::string(table.name),
                         .path = relation.name,
                         .copy = copy.path,
                         .columns = {},
                         .key = {rules.key.begin(), rules.key.end()},
                         .copyKey = {},
                         .assigned = std::string(rules.assigned),
                         .references = {}};
  for (const db::ParameterDescription& parameter : table.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      compared.columns.emplace_back(parameter.column);
    }
  }
  const std::vector<std::string_view> replaced = staging::ReplacedNumbers(table);
  std::transform(rules.key.begin(), rules.key.end(), std::back_inserter(compared.copyKey),
                 [&replaced](std::string_view column) {
                   const bool isReplaced = std::find(replaced.begin(), replaced.end(), column) != replaced.end();
                   return isReplaced ? staging::SourceNumberColumn(column) : std::string(column);
                 });
  for (const rules::ColumnRule& rule : rules.columns) {
    if (rule.reference && rule.reference->kind == rules::ReferenceKind::FollowsNumber) {
      compared.references.push_back({.column = std::string(rule.column), .table = std::string(rule.reference->table)});
    }
  }
  return compared;
}

/// What is known of one table.
struct TableResult {
  const db::TableDescription* table = nullptr;
  const staging::StagedTable* staged = nullptr;
  const ComparedTable* compared = nullptr;  ///< None where the table cannot be compared.
  bool exists = true;
  std::string uncomparable;  ///< Why the table cannot be compared.
  std::vector<std::string> uncomparedColumns;
  std::optional<RowDifferences> rows;
  std::vector<Finding> referenceFindings;
  /// Columns of which the copy does not show where the numbers lead.
  std::vector<std::string_view> judgedReferences;
  bool referencesDiffer = false;  ///< They lead elsewhere than the rules bring.
  std::int64_t milliseconds = 0;
};

/// Compares both sides table by table.
class Comparing {
 public:
  Comparing(const odbc::DBConnection& source, const odbc::DBConnection& trial, const odbc::DBConnection& destination,
            Progress& progress)
      : source_(source), trial_(trial), destination_(destination), progress_(progress) {}

  /// `unread` are the tables of the source that cannot be read.
  void Run(const std::vector<std::string>& chosen, const std::set<std::string, std::less<>>& unread, Report& report) {
    progress_.Begin("destination");
    RequireComparing(staging::BeginSession(destination_));
    const staging::Destination model = staging::ReadDestination(destination_);
    tables_ = staging::TablesNeeded(destination_, model, chosen);
    const staging::Copies copies =
        staging::CreateCopies(destination_, model, tables_, staging::ReadCalls(destination_, model));
    RestartNumbers(copies);
    const staging::Obstacles obstacles = Describe(model, copies, unread);
    comparison_.emplace(destination_, compared_);
    comparison_->CreateTables();
    staging::EndCreation(destination_);
    progress_.Begin("characters");
    std::vector<db::TableDescription> readable;
    std::copy_if(tables_.begin(), tables_.end(), std::back_inserter(readable),
                 [&unread](const db::TableDescription& table) { return !unread.contains(table.name); });
    const characters::Characters characters(source_, trial_, destination_, readable, progress_);
    report.facts.insert(report.facts.end(), characters.facts().begin(), characters.facts().end());
    staged_ = staging::Stage(source_, destination_, tables_, copies, obstacles, characters, progress_);
    comparison_->Begin();
    for (std::size_t i = 0; i < results_.size(); ++i) {
      results_[i].staged = &staged_.tables[i];
      Timed(results_[i], [this, i] { CompareRows(results_[i]); });
    }
  }

  /// Follows the references of what the run brought. It ended in the table at a place among the 22, if it did.
  void CompareReferences(std::optional<std::size_t> endedIn) {
    for (TableResult& result : results_) {
      Timed(result, [this, &result, endedIn] { CompareReferences(result, endedIn); });
    }
  }

  const std::vector<TableResult>& results() const { return results_; }
  const staging::Staged& staged() const { return staged_; }
  const RowComparison& comparison() const { return *comparison_; }

 private:
  template <class Step>
  void Timed(TableResult& result, Step step) {
    progress_.Begin(result.table->name);
    const auto start = std::chrono::steady_clock::now();
    step();
    result.milliseconds +=
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  }

  /// A sequence that no truncate restarts has gone on since the run, and may be at its end. The copies' numbers need
  /// not be the run's.
  void RestartNumbers(const staging::Copies& copies) const {
    for (const auto& [name, copy] : copies.copies) {
      for (const staging::NumberedColumn& column : copy.numbered) {
        Execute(destination_, "ALTER SEQUENCE " + column.sequence + " RESTART");
      }
    }
  }

  staging::Obstacles Describe(const staging::Destination& model, const staging::Copies& copies,
                              const std::set<std::string, std::less<>>& unread) {
    staging::Obstacles obstacles;
    compared_.reserve(tables_.size());
    for (const db::TableDescription& table : tables_) {
      TableResult& result = results_.emplace_back();
      result.table = &table;
      const staging::Relation* const relation = model.Find(table.name);
      const auto copy = copies.copies.find(table.name);
      result.exists = relation != nullptr;
      if (unread.contains(table.name)) {
        obstacles.cannotRead.emplace(table.name, "the source's table cannot be read");
        result.uncomparable = "the source's table cannot be read";
      } else if (relation == nullptr) {
        result.uncomparable = "the destination has no such table";
      } else if (copy == copies.copies.end()) {
        const auto reason = copies.unforeseen.find(table.name);
        result.uncomparable = reason == copies.unforeseen.end() ? "it has no copy" : reason->second;
      } else if (const auto missing = MissingColumns(destination_, copy->second); !missing.empty()) {
        result.uncomparable = "it has no column " + Listed(missing);
        obstacles.cannotWrite.emplace(table.name, result.uncomparable);
      } else {
        result.compared = &compared_.emplace_back(DescribeCompared(copy->second, *relation));
      }
    }
    return obstacles;
  }

  const TableResult* Find(std::string_view table) const {
    const auto found = std::find_if(results_.begin(), results_.end(),
                                    [table](const TableResult& result) { return result.table->name == table; });
    return found == results_.end() ? nullptr : &*found;
  }

  ComparedTable& ComparedNamed(std::string_view table) {
    return *std::find_if(compared_.begin(), compared_.end(),
                         [table](const ComparedTable& compared) { return compared.name == table; });
  }

  void CompareRows(TableResult& result) {
    if (result.compared == nullptr) {
      return;
    }
    if (!result.staged->readable) {
      GiveUp(result, "it refers to rows of a table of the source that cannot be read");
      return;
    }
    LeaveOutReferences(result);
    const bool isRefused =
        std::any_of(result.staged->remarks.begin(), result.staged->remarks.end(), [](const auto& each) {
          return each.first.remark == staging::Remark::Refused || each.first.remark == staging::Remark::ParentRefused;
        });
    if (!result.uncomparedColumns.empty() && isRefused) {
      GiveUp(result, "its rows refer to rows that cannot be compared");
      return;
    }
    try {
      result.rows = comparison_->Compare(*result.compared);
    } catch (const odbc::Error& error) {
      // A right or an operator that is missing.
      if (!error.IsOfClass("42")) {
        throw;
      }
      GiveUp(result, error.what());
    }
  }

  static void GiveUp(TableResult& result, std::string reason) {
    result.compared = nullptr;
    result.uncomparedColumns.clear();
    result.uncomparable = std::move(reason);
  }

  /// Of a table that was not compared nobody knows which number a row has.
  void LeaveOutReferences(TableResult& result) {
    ComparedTable& table = ComparedNamed(result.table->name);
    std::erase_if(table.references, [&](const FollowedReference& reference) {
      const TableResult* const referred = Find(reference.table);
      if (referred != nullptr && referred->rows) {
        return false;
      }
      result.uncomparedColumns.push_back(reference.column);
      std::erase(table.columns, reference.column);
      return true;
    });
    for (const std::string& column : result.uncomparedColumns) {
      const auto place = std::find(table.key.begin(), table.key.end(), column);
      if (place != table.key.end()) {
        table.copyKey.erase(table.copyKey.begin() + (place - table.key.begin()));
        table.key.erase(place);
      }
    }
  }

  void CompareReferences(TableResult& result, std::optional<std::size_t> endedIn) {
    if (!result.rows) {
      return;
    }
    for (const rules::ColumnRule& rule : rules::RulesOf(result.table->name).columns) {
      const TableResult* const referred = rule.reference ? Find(rule.reference->table) : nullptr;
      if (referred == nullptr || !referred->rows) {
        continue;
      }
      if (endedIn && PlaceOf(referred->table->name) >= *endedIn) {
        result.judgedReferences.push_back(rule.column);
      } else if (!IsAsStaged(result, rule, *referred)) {
        CompareReference(result, rule, *referred);
      }
    }
  }

  /// Whether the numbers of a column lead where those of the copy do.
  bool IsAsStaged(const TableResult& result, const rules::ColumnRule& rule, const TableResult& referred) const {
    const std::vector<std::string>& differing = result.rows->differing;
    const bool hasAssigned = !result.compared->assigned.empty();
    const bool isReferredAsStaged = referred.compared->assigned.empty()
                                        ? referred.rows->missing == 0
                                        : comparison_->NumbersAreTheCopys(*referred.compared);
    return isReferredAsStaged && result.rows->missing + result.rows->unexpected == 0 &&
           std::find(differing.begin(), differing.end(), rule.column) == differing.end() &&
           (rule.reference->kind != rules::ReferenceKind::ByPosition || !hasAssigned ||
            comparison_->NumbersAreTheCopys(*result.compared));
  }

  void CompareReference(TableResult& result, const rules::ColumnRule& rule, const TableResult& referred) {
    const rules::TableRules& ofReferred = rules::RulesOf(referred.table->name);
    if (rule.reference->kind == rules::ReferenceKind::FollowsNumber || ofReferred.assigned.empty()) {
      const std::string number(ofReferred.key.front());
      const WrongReferences dangling =
          FindDangling(destination_, *comparison_, *result.compared, rule, *referred.compared, number);
      if (dangling.rows > 0) {
        result.referencesDiffer = true;
        result.referenceFindings.push_back(
            DanglingFinding(dangling, *result.compared, std::string(rule.column), *referred.compared, number));
      }
      return;
    }
    result.judgedReferences.push_back(rule.column);
    const auto find = [&](Numbering numbering) {
      return FindElsewhere(destination_, *comparison_, *result.compared, rule, *referred.compared, numbering);
    };
    if (const WrongReferences exchanged = find(Numbering::OutOfOrder); exchanged.rows > 0) {
      result.referencesDiffer = true;
      result.referenceFindings.push_back(ExchangedFinding(exchanged, *result.compared, rule));
    }
    if (const WrongReferences elsewhere = find(Numbering::InOrder); elsewhere.rows > 0) {
      const auto staged = result.staged->remarks.find(ElsewhereRemark(rule));
      const bool expected = staged != result.staged->remarks.end() && elsewhere.rows <= staged->second.rows;
      result.referencesDiffer = result.referencesDiffer || !expected;
      result.referenceFindings.push_back(ElsewhereFinding(elsewhere, *result.compared, rule));
    }
  }

 public:
  static staging::RemarkKey ElsewhereRemark(const rules::ColumnRule& rule) {
    return {staging::Remark::PointsElsewhere, {std::string(rule.column)}, {}, std::string(rule.reference->table)};
  }

 private:
  const odbc::DBConnection& source_;
  const odbc::DBConnection& trial_;
  const odbc::DBConnection& destination_;
  Progress& progress_;
  std::vector<db::TableDescription> tables_;
  std::vector<ComparedTable> compared_;
  std::optional<RowComparison> comparison_;
  staging::Staged staged_;
  std::vector<TableResult> results_;
};

/// Rows that the rules or the destination keep from being written, so that the run ends.
std::uint64_t EndingRows(const staging::StagedTable& staged) {
  std::uint64_t rows = staged.refusedRows;
  for (const auto& [key, remarked] : staged.remarks) {
    if (key.remark == staging::Remark::ReferenceMissing || key.remark == staging::Remark::ReferenceNotMigrated) {
      rows += remarked.rows;
    }
  }
  return rows;
}

std::optional<TableFigures> FiguresOf(const TableResult& result, const staging::Staged& staged) {
  const staging::StagedTable& table = *result.staged;
  TableFigures figures;
  figures.arriving = staged.endsIn == result.table->name ? table.arrivingRows : table.storedRows;
  figures.refused = EndingRows(table);
  if (result.rows) {
    figures.present = result.rows->present;
    figures.missing = result.rows->missing;
    figures.unexpected = result.rows->unexpected;
    figures.different = result.rows->different;
    figures.missingAtEnd = result.rows->missingAtEnd;
    return figures;
  }
  if (!result.exists) {
    figures.missing = table.storedRows;
    figures.missingAtEnd = true;
    return figures;
  }
  return std::nullopt;
}

/// How the run ended, and what says so.
struct Decision {
  AllFigures figures;
  LogJudgement judgement;
  std::optional<MigrationLog> log;  ///< Where it can be relied on.
  RunEnd end;
};

/// `workingOn` is the table that a run is still at work on, if that is known.
Decision Decide(const Comparing& compared, const std::optional<MigrationLog>& log, bool atWork,
                std::optional<std::size_t> workingOn) {
  Decision decision;
  decision.figures.resize(Catalogue().size());
  for (const TableResult& result : compared.results()) {
    decision.figures[PlaceOf(result.table->name)] = FiguresOf(result, compared.staged());
  }
  decision.judgement = JudgeLog(log, decision.figures);
  if (decision.judgement.worth == LogJudgement::Worth::Reliable) {
    decision.log = log;
  }
  decision.end = FindRunEnd(decision.figures, decision.log, atWork);
  if (workingOn) {
    decision.end.table = workingOn;
  }
  return decision;
}

/// Puts the report together.
class Reporting {
 public:
  Reporting(const odbc::DBConnection& source, const odbc::DBConnection& destination, const Comparing& compared,
            const std::vector<std::string>& chosen, Decision decision)
      : source_(source),
        destination_(destination),
        compared_(compared),
        chosen_(chosen),
        figures_(std::move(decision.figures)),
        judgement_(std::move(decision.judgement)),
        log_(std::move(decision.log)),
        end_(decision.end) {}

  void Make(const std::optional<MigrationLog>& log, Report& report) {
    const bool explained = end_.state == RunEnd::State::Incomplete && judgement_.worth == LogJudgement::Worth::Reliable;
    if (std::optional<Finding> finding = explained ? std::nullopt : LogFinding(judgement_, log)) {
      report.general.push_back(std::move(*finding));
    }
    if (EndedIn() && !IsChosen(Catalogue()[*EndedIn()].name)) {
      Finding& finding = report.general.emplace_back(finding::RunEnded);
      finding.text = "The run ended in " + NameOfEnd() + ": " + Because() + ".";
    }
    for (const TableResult& result : compared_.results()) {
      if (IsChosen(result.table->name)) {
        report.tables.push_back(Entry(result));
      }
    }
    if (EndedIn() && IsChosen(NameOfEnd())) {
      report.runEndsIn = NameOfEnd();
    }
    report.verdict = Verdict();
  }

 private:
  bool IsChosen(std::string_view table) const {
    return chosen_.empty() || std::find(chosen_.begin(), chosen_.end(), table) != chosen_.end();
  }

  std::optional<std::size_t> EndedIn() const {
    return end_.state == RunEnd::State::Incomplete ? end_.table : std::nullopt;
  }

  std::string NameOfEnd() const { return std::string(Catalogue()[*end_.table].name); }

  bool IsEnd(const TableResult& result) const { return EndedIn() == PlaceOf(result.table->name); }
  bool IsAfterEnd(const TableResult& result) const { return EndedIn() && PlaceOf(result.table->name) > *EndedIn(); }

  const std::optional<TableFigures>& FiguresOfTable(const TableResult& result) const {
    return figures_[PlaceOf(result.table->name)];
  }

  std::string Because() const {
    const staging::Staged& staged = compared_.staged();
    return EndReason(end_, log_, staged.endsIn == NameOfEnd() ? staged.endsBecause : "");
  }

  TableReport Entry(const TableResult& result) const {
    TableReport entry;
    entry.table = result.table->name;
    entry.milliseconds = result.staged->milliseconds + result.milliseconds;
    if (result.staged->readable) {
      entry.sourceRows = result.staged->sourceRows;
    }
    if (const std::optional<TableFigures>& figures = FiguresOfTable(result)) {
      entry.arrivingRows = result.staged->storedRows;
      entry.refusedRows = result.staged->refusedRows;
      entry.destinationRows = figures->present;
      if (figures->AsExpected() && !result.referencesDiffer && result.staged->unchangedKnown &&
          !compared_.staged().endsIn) {
        entry.unchangedRows = result.staged->unchangedRows;
      }
    }
    AddComparability(result, entry);
    if (IsAfterEnd(result)) {
      AddNotMigrated(result, entry);
      return entry;
    }
    if (IsEnd(result)) {
      AddEnd(result, entry);
    }
    if (result.rows) {
      AddDifferences(result, entry);
      AddRowFindings(result, entry);
    }
    return entry;
  }

  void AddComparability(const TableResult& result, TableReport& entry) const {
    if (!result.exists) {
      Finding& finding = entry.findings.emplace_back(finding::TableMissing);
      finding.rows = result.staged->storedRows;
      finding.text = "The destination has no table of this name.";
    } else if (!result.uncomparable.empty()) {
      entry.findings.push_back(CannotCompare(result.uncomparable));
    } else if (!result.uncomparedColumns.empty()) {
      Finding& finding = entry.findings.emplace_back(finding::CannotForesee);
      finding.columns = result.uncomparedColumns;
      finding.text = "The numbers cannot be compared: the rows that they refer to cannot be.";
    }
  }

  void AddNotMigrated(const TableResult& result, TableReport& entry) const {
    const std::optional<TableFigures>& figures = FiguresOfTable(result);
    if (!figures || (figures->present == 0 && !figures->HasExpected())) {
      return;
    }
    Finding& finding = entry.findings.emplace_back(finding::TableNotMigrated);
    finding.rows = figures->missing + figures->different + figures->refused;
    finding.text = "The run ended before this table.";
    if (figures->present > 0) {
      finding.text += " What it holds, " + Counted(figures->present, "row") + ", is from before.";
    }
  }

  void AddEnd(const TableResult& result, TableReport& entry) const {
    const std::optional<TableFigures>& figures = FiguresOfTable(result);
    Finding& finding = entry.findings.emplace_back(end_.reason == RunEnd::Reason::AtWork ? finding::TableNotMigrated
                                                                                         : finding::RunEnded);
    finding.text =
        (end_.reason == RunEnd::Reason::AtWork ? "The run has come to this table: " : "The run ended here: ") +
        Because() + ".";
    if (figures) {
      const std::uint64_t expected = result.staged->sourceRows;
      finding.rows = figures->missing + figures->refused;
      finding.text += " Of " + Counted(expected, "row") + " of the source " + std::to_string(figures->present) +
                      (figures->present == 1 ? " is" : " are") + " there.";
    }
    if (const staging::Staged& staged = compared_.staged();
        staged.endsIn == result.table->name && end_.reason != RunEnd::Reason::RowRefused) {
      finding.text += " As the check sees it, " + staged.endsBecause + ".";
    }
    finding.query = Query{.side = Side::Source, .text = db::WithSchema(result.table->select, source_.schema())};
  }

  void AddDifferences(const TableResult& result, TableReport& entry) const {
    RowDifferences differences = *result.rows;
    if (IsEnd(result)) {
      differences.missing = 0;
    }
    const bool undecided = end_.reason == RunEnd::Reason::Undecided && end_.table == PlaceOf(result.table->name);
    const std::string source = source_.schema() + QuotedName(Side::Source, result.table->name);
    for (Finding& finding : DifferenceFindings(compared_.comparison(), *result.compared, differences, source, undecided,
                                               LoggedRows(result))) {
      entry.findings.push_back(std::move(finding));
    }
    entry.findings.insert(entry.findings.end(), result.referenceFindings.begin(), result.referenceFindings.end());
    try {
      for (Finding& finding : CheckIdentities(destination_, result.compared->path)) {
        entry.findings.push_back(std::move(finding));
      }
    } catch (const odbc::Error& error) {
      if (!error.IsOfClass("42")) {
        throw;
      }
      entry.findings.emplace_back(finding::IdentityUnknown).text =
          std::string("The destination does not say which number it assigns next: ") + error.what();
    }
  }

  std::optional<std::uint64_t> LoggedRows(const TableResult& result) const {
    const std::size_t place = PlaceOf(result.table->name);
    return log_ && place < log_->tables.size() ? std::optional(log_->tables[place].rows) : std::nullopt;
  }

  /// What became of the rows on their way, in the words of the check before the run.
  void AddRowFindings(const TableResult& result, TableReport& entry) const {
    staging::StagedTable staged = *result.staged;
    for (const rules::ColumnRule& rule : rules::RulesOf(result.table->name).columns) {
      if (std::find(result.judgedReferences.begin(), result.judgedReferences.end(), rule.column) !=
          result.judgedReferences.end()) {
        staged.remarks.erase(Comparing::ElsewhereRemark(rule));
      }
    }
    const std::size_t first = entry.findings.size();
    staging::AddRowFindings(staged, source_.schema(), entry);
    if (IsEnd(result)) {
      for (std::size_t i = first; i < entry.findings.size(); ++i) {
        entry.findings[i].text += " The run ended before it came to all rows of this table.";
      }
    }
  }

  bool IsDifferent(const TableResult& result) const {
    if (IsAfterEnd(result) || !FiguresOfTable(result)) {
      return false;
    }
    const TableFigures& figures = *FiguresOfTable(result);
    if (IsEnd(result)) {
      return figures.unexpected + figures.different > 0 || result.referencesDiffer;
    }
    return !figures.AsExpected() || result.referencesDiffer;
  }

  std::string Verdict() const {
    std::vector<std::string> different;
    std::vector<std::string> notCompared;
    std::size_t notMigrated = 0;
    for (const TableResult& result : compared_.results()) {
      if (!IsChosen(result.table->name)) {
        continue;
      }
      if (!FiguresOfTable(result)) {
        notCompared.emplace_back(result.table->name);
      } else if (IsDifferent(result)) {
        different.emplace_back(result.table->name);
      }
      notMigrated += IsAfterEnd(result) && FiguresOfTable(result) && FiguresOfTable(result)->HasExpected() ? 1 : 0;
    }
    std::string text;
    if (end_.state == RunEnd::State::Incomplete) {
      text = VerdictOfIncomplete(notMigrated);
      text += different.empty() ? "" : " Different as well: " + Listed(different) + ".";
    } else if (!different.empty()) {
      text = "Different: " + Listed(different) + (different.size() == 1 ? " is" : " are") + " not as a run leaves " +
             (different.size() == 1 ? "it." : "them.");
      if (log_ && BreaksOff(*log_)) {
        text += " The log breaks off in " + std::string(Catalogue()[*FirstNotLogged(*log_)].name) +
                ": the run may have ended there or later.";
      }
    } else {
      text = VerdictOfComplete();
    }
    text += notCompared.empty() ? "" : " Not compared: " + Listed(notCompared) + ".";
    return text + (chosen_.empty() ? "" : " Only some tables were looked at.");
  }

  std::string VerdictOfIncomplete(std::size_t notMigrated) const {
    if (end_.reason == RunEnd::Reason::AtWork) {
      return "Incomplete: a run is still at work" + (EndedIn() ? ", in " + NameOfEnd() + "." : std::string("."));
    }
    std::string text = "Incomplete: the run ended in " + NameOfEnd() + ", because " + Because() + ".";
    if (notMigrated > 0) {
      text += " " + Counted(notMigrated, "later table") + (notMigrated == 1 ? " was" : " were") + " not migrated.";
    }
    return text;
  }

  std::string VerdictOfComplete() const {
    std::uint64_t brought = 0;
    std::uint64_t unchanged = 0;
    bool unchangedKnown = !compared_.staged().endsIn;
    std::uint64_t lost = 0;
    std::vector<std::string> losing;
    for (const TableResult& result : compared_.results()) {
      if (!IsChosen(result.table->name) || !FiguresOfTable(result)) {
        continue;
      }
      const staging::StagedTable& staged = *result.staged;
      brought += staged.storedRows;
      unchanged += staged.unchangedRows;
      unchangedKnown = unchangedKnown && staged.unchangedKnown;
      if (staged.sourceRows > staged.storedRows) {
        lost += staged.sourceRows - staged.storedRows;
        losing.emplace_back(result.table->name);
      }
    }
    const std::string changes = !unchangedKnown        ? ""
                                : unchanged == brought ? ", unchanged"
                                                       : ", " + std::to_string(unchanged) + " of them unchanged";
    if (losing.empty()) {
      return "Complete: all " + Counted(brought, "row") + " of the source are there" + changes + ".";
    }
    return "Complete by the migrator's rules: all " + Counted(brought, "row") + " that they bring are there" + changes +
           ", but " + Counted(lost, "row") + " of the source did not arrive, in " + Listed(losing) + ".";
  }

  const odbc::DBConnection& source_;
  const odbc::DBConnection& destination_;
  const Comparing& compared_;
  const std::vector<std::string>& chosen_;
  AllFigures figures_;
  LogJudgement judgement_;
  std::optional<MigrationLog> log_;  ///< Where it can be relied on.
  RunEnd end_;
};

}  // namespace

Report CheckAfter(odbc::DBConnection& source, const odbc::DBConnection& trial, odbc::DBConnection& destination,
                  const std::filesystem::path& logPath, const std::vector<std::string>& tables, Progress& progress) {
  Report report{.command = Command::After, .general = {}, .facts = {}, .tables = {}, .runEndsIn = {}, .verdict = {}};
  progress.Begin("log");
  const LogStamp logStamp = StampOf(logPath);
  const std::optional<MigrationLog> log = ReadLog(logPath);
  progress.Begin("connections");
  const std::set<std::string, std::less<>> unread = CheckConnections(source, destination, report);
  if (log) {
    report.facts.push_back(LogFact(*log));
  }
  const std::vector<MigratorSession> sessions = FindSessionsAtWork(destination);
  RequireNoneWaits(sessions);
  Comparing compared(source, trial, destination, progress);
  compared.Run(tables, unread, report);
  const std::optional<Finding> atWork = AtWorkFinding(sessions, StampOf(logPath) != logStamp);
  if (atWork) {
    report.general.push_back(*atWork);
  }
  const std::optional<std::size_t> workingOn =
      sessions.size() == 1 ? std::optional(PlaceOf(sessions.front().table)) : std::nullopt;
  Decision decision = Decide(compared, log, atWork.has_value(), workingOn);
  compared.CompareReferences(decision.end.state == RunEnd::State::Incomplete ? decision.end.table : std::nullopt);
  Reporting(source, destination, compared, tables, std::move(decision)).Make(log, report);
  return report;
}

}  // namespace check
