#include "check/after/after_report.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "check/after/identities.h"
#include "check/after/wording.h"
#include "check/rules/catalogue.h"
#include "check/rules/rules.h"
#include "check/sql/sql_text.h"
#include "check/staging/row_findings.h"
#include "odbc/diagnostics.h"

namespace check {

namespace {

Finding CannotCompare(const std::string& reason) {
  return Finding(finding::CannotForesee, "The table cannot be compared: " + reason + ".");
}

/// Puts the report together.
class Reporting {
 public:
  Reporting(const odbc::DBConnection& source, const odbc::DBConnection& destination, const DatabaseComparison& compared,
            const std::vector<std::string>& chosen, const Decision& decision)
      : source_(source),
        destination_(destination),
        compared_(compared),
        chosen_(chosen),
        figures_(decision.figures),
        judgement_(decision.judgement),
        log_(decision.log),
        end_(decision.end) {}

  void Make(const std::optional<MigrationLog>& log, Report& report) {
    const bool explained = end_.state == RunEnd::State::Incomplete && judgement_.worth == LogJudgement::Worth::Reliable;
    if (std::optional<Finding> finding = explained ? std::nullopt : LogFinding(judgement_, log)) {
      report.general.push_back(std::move(*finding));
    }
    if (EndedIn() && !IsChosen(chosen_, Catalogue()[*EndedIn()].name)) {
      report.general.emplace_back(finding::RunEnded, "The run ended in " + NameOfEnd() + ": " + Because() + ".");
    }
    for (const TableResult& result : compared_.results()) {
      if (IsChosen(chosen_, result.table->name)) {
        report.tables.push_back(Entry(result));
      }
    }
    if (EndedIn() && IsChosen(chosen_, NameOfEnd())) {
      report.runEndsIn = NameOfEnd();
    }
    report.status = StatusOf(report);
    report.foreseen = std::ranges::all_of(report.tables,
                                          [](const TableReport& table) { return table.destinationRows.has_value(); }) &&
                      (report.status != Status::Complete || report.HasAllFigures());
    report.verdict = Verdict();
  }

 private:
  std::optional<std::size_t> EndedIn() const {
    return end_.state == RunEnd::State::Incomplete ? end_.table : std::nullopt;
  }

  std::string NameOfEnd() const { return std::string(Catalogue()[*end_.table].name); }

  bool IsEnd(const TableResult& result) const { return EndedIn() == PlaceOf(result.table->name); }
  bool IsAfterEnd(const TableResult& result) const { return EndedIn() && PlaceOf(result.table->name) > *EndedIn(); }

  /// Whether the run ended in its table before it wrote a row: the log does not even begin the table.
  bool EndedBeforeItsRows() const {
    return end_.reason == RunEnd::Reason::LoggedError && log_->tables.size() == *end_.table;
  }

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
      entry.arrivingRows = figures->isEmptiedAgain ? 0 : result.staged->storedRows;
      entry.refusedRows = result.staged->refusedRows;
      entry.destinationRows = figures->present;
      if (figures->AsExpected() && !result.referencesDiffer && result.staged->unchangedKnown &&
          !compared_.staged().endsIn) {
        entry.unchangedRows = figures->isEmptiedAgain ? 0 : result.staged->unchangedRows;
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
    if (FiguresOfTable(result) && FiguresOfTable(result)->isEmptiedAgain) {
      for (const std::string_view by : result.emptiedBy) {
        entry.findings.push_back(staging::EmptiedAgainFinding(result.compared->path, by));
      }
    }
    if (result.rows && !(IsEnd(result) && EndedBeforeItsRows())) {
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
    finding.text = "The run ended before this table." + HeldFromBefore(*figures);
  }

  static std::string HeldFromBefore(const TableFigures& figures) {
    return figures.present == 0 ? "" : " What it holds, " + Counted(figures.present, "row") + ", is from before.";
  }

  void AddEnd(const TableResult& result, TableReport& entry) const {
    const std::optional<TableFigures>& figures = FiguresOfTable(result);
    Finding& finding = entry.findings.emplace_back(end_.reason == RunEnd::Reason::AtWork ? finding::TableNotMigrated
                                                                                         : finding::RunEnded);
    finding.text = (end_.reason == RunEnd::Reason::AtWork ? "The run is at this table: " : "The run ended here: ") +
                   Because() + ".";
    if (figures && EndedBeforeItsRows()) {
      finding.rows = figures->missing + figures->different + figures->refused;
      finding.text += HeldFromBefore(*figures);
    } else if (figures) {
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
    if (IsEnd(result) || FiguresOfTable(result)->isEmptiedAgain) {
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
      entry.findings.emplace_back(
          finding::IdentityUnknown,
          std::string("The destination does not say which number it assigns next: ") + error.what());
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
      if (std::ranges::find(result.judgedReferences, rule.column) != result.judgedReferences.end()) {
        staged.remarks.erase(DatabaseComparison::ElsewhereRemark(rule));
      }
    }
    const std::size_t first = entry.findings.size();
    staging::AddRowFindings(staged, source_.schema(), entry);
    if (IsEnd(result)) {
      for (std::size_t i = first; i < entry.findings.size(); ++i) {
        entry.findings[i].text += " The run ended before it had read all rows of this table.";
      }
    }
  }

  bool IsDifferent(const TableResult& result) const {
    if (IsAfterEnd(result) || !FiguresOfTable(result)) {
      return false;
    }
    const TableFigures& figures = *FiguresOfTable(result);
    if (IsEnd(result)) {
      return !EndedBeforeItsRows() && (figures.unexpected + figures.different > 0 || result.referencesDiffer);
    }
    return !figures.AsExpected() || result.referencesDiffer;
  }

  Status StatusOf(const Report& report) const {
    if (end_.state == RunEnd::State::Incomplete) {
      return Status::Incomplete;
    }
    const bool different = std::ranges::any_of(compared_.results(), [this](const auto& each) {
      return IsChosen(chosen_, each.table->name) && IsDifferent(each);
    });
    if (different) {
      return Status::Different;
    }
    const bool unchanged = report.IsUnchanged();
    if (report.IsPartial()) {
      return unchanged ? Status::PartialUnchanged : Status::PartialWithChanges;
    }
    return unchanged ? Status::Complete : Status::CompleteWithChanges;
  }

  std::string Verdict() const {
    std::vector<std::string> different;
    std::vector<std::string> notCompared;
    std::size_t notMigrated = 0;
    for (const TableResult& result : compared_.results()) {
      if (!IsChosen(chosen_, result.table->name)) {
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
      text = Listed(different) + (different.size() == 1 ? " is" : " are") + " not as a run leaves " +
             (different.size() == 1 ? "it." : "them.");
      if (log_ && BreaksOff(*log_)) {
        text += " The log breaks off in " + std::string(Catalogue()[*FirstNotLogged(*log_)].name) +
                ": the run may have ended there or later.";
      }
    } else {
      text = VerdictOfComplete();
    }
    text += notCompared.empty() ? "" : " Not compared: " + Listed(notCompared) + ".";
    return text;
  }

  std::string VerdictOfIncomplete(std::size_t notMigrated) const {
    if (end_.reason == RunEnd::Reason::AtWork) {
      return "A run is still at work" + (EndedIn() ? ", in " + NameOfEnd() + "." : std::string("."));
    }
    std::string text = "The run ended in " + NameOfEnd() + ", because " + Because() + ".";
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
      if (!IsChosen(chosen_, result.table->name) || !FiguresOfTable(result)) {
        continue;
      }
      const staging::StagedTable& staged = *result.staged;
      const bool stays = !FiguresOfTable(result)->isEmptiedAgain;
      const std::uint64_t stored = stays ? staged.storedRows : 0;
      brought += stored;
      unchanged += stays ? staged.unchangedRows : 0;
      unchangedKnown = unchangedKnown && staged.unchangedKnown;
      if (staged.sourceRows > stored) {
        lost += staged.sourceRows - stored;
        losing.emplace_back(result.table->name);
      }
    }
    const std::string changes = !unchangedKnown        ? ""
                                : unchanged == brought ? ", unchanged"
                                                       : ", " + std::to_string(unchanged) + " of them unchanged";
    if (losing.empty()) {
      return "All " + Counted(brought, "row") + " of the source are in the destination" + changes + ".";
    }
    return "All " + Counted(brought, "row") + " that the migrator's rules bring are in the destination" + changes +
           ", but " + Counted(lost, "row") + " of the source did not arrive, in " + Listed(losing) + ".";
  }

  const odbc::DBConnection& source_;
  const odbc::DBConnection& destination_;
  const DatabaseComparison& compared_;
  const std::vector<std::string>& chosen_;
  const AllFigures& figures_;
  const LogJudgement& judgement_;
  const std::optional<MigrationLog>& log_;  ///< Where it can be relied on.
  const RunEnd& end_;
};

}  // namespace

void ReportAfter(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                 const DatabaseComparison& compared, const std::vector<std::string>& chosen, const Decision& decision,
                 const std::optional<MigrationLog>& log, Report& report) {
  Reporting(source, destination, compared, chosen, decision).Make(log, report);
}

}  // namespace check
