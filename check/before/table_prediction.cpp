#include "check/before/table_prediction.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "check/rules/source_rows.h"
#include "check/rules/table_rules.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

constexpr std::size_t kKeysShown = 5;

// Rows whose check constraints the destination is asked for at once.
constexpr std::size_t kCheckBatch = 500;

// Between two calls of the progress.
constexpr std::uint64_t kRowsBetweenReports = 1024;

std::string Rows(std::uint64_t count) {
  return std::to_string(count) + (count == 1 ? " row" : " rows");
}

std::string Shown(double real) {
  std::array<char, 32> text{};
  return {text.data(), std::to_chars(text.begin(), text.end(), real).ptr};
}

/// Looks at one table's rows, from the first to the last.
class TablePrediction {
 public:
  TablePrediction(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                  const db::TableDescription& table, const DestinationSchema& schema, bool driverRepeatsNulls,
                  LetterCheck& letters, Progress& progress, RunState& state, TableReport& report)
      : table_(table),
        rules_(RulesFor(table.name)),
        schema_(schema),
        progress_(progress),
        state_(state),
        report_(report),
        sourceTable_(source.schema() + "[" + std::string(table.name) + "]"),
        sourceSchema_(source.schema()),
        refusals_(source, destination, table, schema, letters, state.arrivedKeys),
        rows_(source, table),
        simulation_(table, state.identifiers, assignedNumber_, driverRepeatsNulls) {
    if (state.endsIn || CannotBegin()) {
      Stop();
    }
  }

  void Run() {
    for (;;) {
      const SourceRows::Result result = rows_.Next();
      if (result == SourceRows::Result::End) {
        break;
      }
      ++read_;
      if (read_ % kRowsBetweenReports == 0) {
        progress_.Rows(read_);
      }
      if (result == SourceRows::Result::Unreadable) {
        EndTable(finding::ValueUnreadable, table_.columns.size());
      } else {
        Look(simulation_.Apply(rows_));
      }
    }
    AskForChecks();
    Report();
  }

 private:
  /// Identifier, column and a detail that tells two findings of one column apart.
  using FindingKey = std::tuple<std::string_view, std::size_t, std::string>;

  /// What names a row: to a person, and in a WHERE clause.
  struct RowName {
    std::string key;
    std::string condition;
  };

  struct NotedFinding {
    Finding finding;
    std::string conditions;  ///< Of the rows that it shows.
  };

  /// Whether the table's statement or its emptying fails whatever the rows hold.
  bool CannotBegin() {
    const auto reason = schema_.cannotEmpty.find(table_.name);
    if (reason == schema_.cannotEmpty.end()) {
      return false;
    }
    EndRun("the table cannot be emptied: " + reason->second);
    return true;
  }

  void EndRun(const std::string& because) {
    if (!state_.endsIn) {
      state_.endsIn = std::string(table_.name);
      state_.endsBecause = because;
    }
  }

  /// Nothing arrives from here on.
  void Stop() {
    arriving_ = false;
    simulation_.EndOfArrivals();
  }

  void Look(const Outcome& outcome) {
    switch (outcome.fate) {
      case Fate::EndsTable:
        EndTable(outcome.unreadable ? finding::ValueUnreadable : finding::NullEndsTable, outcome.column);
        return;
      case Fate::EndsRun:
        NoteMissing(outcome);
        return;
      case Fate::Arrives:
        break;
    }
    bool unchanged = true;
    for (const Change& change : outcome.changes) {
      NoteChange(change);
      unchanged = false;
    }
    unchanged = LookAtNumbers() && unchanged;
    if (!arriving_) {
      return;
    }
    const auto cannotWrite = schema_.cannotWrite.find(table_.name);
    if (cannotWrite != schema_.cannotWrite.end()) {
      EndRun(cannotWrite->second);
      Stop();
      return;
    }
    if (const std::optional<Refusal> refusal =
            refusals_.Check(simulation_.values(), simulation_.sentColumns(), arrived_ + 1)) {
      NoteRefusal(*refusal, Row());
      return;
    }
    ++arrived_;
    unchanged_ += unchanged ? 1 : 0;
    if (refusals_.HasChecks()) {
      batch_.push_back(simulation_.values());
      batchRows_.push_back(Row());
      batchUnchanged_.push_back(unchanged);
      if (batch_.size() == kCheckBatch) {
        AskForChecks();
      }
    }
  }

  void EndTable(const FindingKind& kind, std::size_t column) {
    Note(kind, column);
    ++endingRows_;
    AskForChecks();
    if (arriving_) {
      endedEarly_ = true;
      Stop();
    }
  }

  void NoteMissing(const Outcome& outcome) {
    // What is missing only because the run has ended already would be there without that.
    if (!arriving_ && outcome.inSource) {
      return;
    }
    Note(finding::ReferenceMissing, outcome.column, outcome.inSource ? "not migrated" : "");
    AskForChecks();
    if (arriving_) {
      EndRun(Name(outcome.column) + " of " + Row().key + " names " +
             (outcome.inSource ? "a row that is not migrated" : "no row"));
      Stop();
    }
    if (!endedEarly_) {
      NoteOwnNumber();
    }
  }

  void NoteChange(const Change& change) {
    switch (change.kind) {
      case ChangeKind::NullReplaced:
        Note(finding::NullReplaced, change.column, "", "NULL arrives as " + change.arrives.Shown());
        break;
      case ChangeKind::NullRepeats:
        Note(finding::NullRepeatsRowBefore, change.column, "", "NULL arrives as " + change.arrives.Shown());
        break;
      case ChangeKind::Cut:
        Note(finding::TextCut, change.column, "", "arrives as " + change.arrives.Shown());
        break;
      case ChangeKind::CutAtZeroByte:
        Note(finding::ZeroByte, change.column, "", "arrives as " + change.arrives.Shown());
        break;
      case ChangeKind::OtherValue:
        Note(finding::ValueChanged, change.column, "",
             SourceText(change.column) + " arrives as " + change.arrives.Shown());
        break;
    }
  }

  /// Looks at the row's own number and at the references that keep theirs; whether all of these name the rows that they
  /// named. Behind the end of the table there is nothing to look at, but behind that of the run there is: what will be
  /// when its reason is gone.
  bool LookAtNumbers() {
    if (!arriving_ && (endedEarly_ || !state_.endsIn)) {
      return true;
    }
    NoteOwnNumber();
    bool same = true;
    for (std::size_t i = 0; i < table_.columns.size(); ++i) {
      const ColumnRule& rule = columnRules_[i];
      if (rows_.IsNull(i)) {
        continue;
      }
      if (rule.treatment == Treatment::PoolAtPosition) {
        same = LookAtPool(i) && same;
      } else if (!rule.refersTo.empty()) {
        const auto renumbering = state_.renumberings.find(rule.refersTo);
        if (renumbering != state_.renumberings.end() && !renumbering->second.KeepsMeaning(rows_.Number(i))) {
          Note(finding::PointsElsewhere, i, std::string(rule.refersTo), "stays " + std::to_string(rows_.Number(i)));
          same = false;
        }
      }
    }
    return same;
  }

  bool LookAtPool(std::size_t column) {
    const std::vector<std::int32_t>& pools = state_.identifiers.pools;
    const std::int32_t before = rows_.Number(column);
    const std::int32_t after = pools[static_cast<std::size_t>(before) - 1];
    if (after >= 1 && static_cast<std::size_t>(after) <= pools.size() &&
        pools[static_cast<std::size_t>(after) - 1] == before) {
      return true;
    }
    Note(finding::PointsElsewhere, column, "PoolOrders",
         std::to_string(before) + " arrives as " + std::to_string(after));
    return false;
  }

  void NoteOwnNumber() {
    if (rules_.assigned.empty()) {
      return;
    }
    const std::size_t column = ColumnPosition(rules_.assigned);
    const std::int32_t number = rows_.Number(column);
    Renumbering& renumbering = state_.renumberings[std::string(table_.name)];
    const bool isNew = renumbering.Add(number);
    if (IsFollowed() && !isNew) {
      Note(finding::DuplicateNumber, column);
    }
    // What refers to these tables keeps the old numbers, and so do lists outside the database.
    if ((table_.name == "SecGroups" || table_.name == "RatingAgencies") && renumbering.LastChanged()) {
      Note(finding::NumbersChange, column, "",
           std::to_string(number) + " becomes " + std::to_string(renumbering.size()));
    }
  }

  /// Whether other tables' rows follow the numbers of this one's.
  bool IsFollowed() const {
    return table_.name == "GroupDesc" || table_.name == "GroupOrders" || table_.name == "PoolOrders";
  }

  void NoteRefusal(const Refusal& refusal, const RowName& row) {
    const std::size_t column = refusal.column.value_or(table_.columns.size());
    NoteRow(*refusal.kind, column, refusal.constraint, row);
    EndRun(RefusalText(*refusal.kind, refusal.constraint, column) + " (" + row.key + ")");
    Stop();
  }

  void AskForChecks() {
    if (batch_.empty()) {
      return;
    }
    const auto violation = refusals_.CheckAll(batch_, simulation_.sentColumns());
    if (violation) {
      const auto& [row, refusal] = *violation;
      const std::uint64_t behind = batch_.size() - row;
      arrived_ -= behind;
      unchanged_ -= static_cast<std::uint64_t>(
          std::count(batchUnchanged_.begin() + static_cast<std::ptrdiff_t>(row), batchUnchanged_.end(), true));
      if (state_.endsIn == table_.name) {
        state_.endsIn.reset();
      }
      endedEarly_ = false;
      NoteRefusal(refusal, batchRows_[row]);
    }
    batch_.clear();
    batchRows_.clear();
    batchUnchanged_.clear();
  }

  // The findings.

  void Note(const FindingKind& kind, std::size_t column, const std::string& detail = {},
            const std::string& arrives = {}) {
    const bool shown = Noted(kind, column, detail).finding.keys.size() < kKeysShown;
    Finding& finding = NoteRow(kind, column, detail, shown ? Row() : RowName());
    if (shown && !arrives.empty()) {
      finding.arrives.push_back(arrives);
    }
  }

  NotedFinding& Noted(const FindingKind& kind, std::size_t column, const std::string& detail) {
    return findings_.try_emplace({kind.id, column, detail}, NotedFinding{.finding = Finding(kind), .conditions = {}})
        .first->second;
  }

  Finding& NoteRow(const FindingKind& kind, std::size_t column, const std::string& detail, const RowName& row) {
    NotedFinding& noted = Noted(kind, column, detail);
    Finding& finding = noted.finding;
    if (column < table_.columns.size()) {
      finding.columns = {Name(column)};
    }
    finding.rows = finding.rows.value_or(0) + 1;
    if (finding.keys.size() < kKeysShown) {
      finding.keys.push_back(row.key);
      noted.conditions += (noted.conditions.empty() ? "" : " OR ") + row.condition;
    }
    return finding;
  }

  std::string Name(std::size_t column) const { return std::string(table_.columns[column].name); }

  std::size_t ColumnPosition(std::string_view name) const {
    const auto found = std::find_if(table_.columns.begin(), table_.columns.end(),
                                    [name](const auto& each) { return each.name == name; });
    return static_cast<std::size_t>(found - table_.columns.begin());
  }

  std::string SourceText(std::size_t column) const {
    if (rows_.IsNull(column)) {
      return "NULL";
    }
    switch (table_.columns[column].kind) {
      case db::ValueKind::Int32:
        return columnRules_[column].treatment == Treatment::LowHalfOfDouble ? Shown(rows_.Real(column))
                                                                            : std::to_string(rows_.Number(column));
      case db::ValueKind::Double:
        return Shown(rows_.Real(column));
      case db::ValueKind::Text:
        break;
    }
    Value value;
    value.kind = Value::Kind::Text;
    value.text = rows_.Text(column);
    return value.Shown();
  }

  RowName Row() const {
    RowName name;
    for (const std::string_view part : rules_.key) {
      const std::size_t column = ColumnPosition(part);
      const bool null = rows_.IsNull(column);
      const bool text = table_.columns[column].kind == db::ValueKind::Text && !null;
      const std::string value = text ? std::string(rows_.Text(column)) : SourceText(column);
      name.key += (name.key.empty() ? "" : ", ") + std::string(part) + " = " + value;
      name.condition += (name.condition.empty() ? "[" : " AND [") + std::string(part) + "]" +
                        (null ? " IS NULL" : " = " + (text ? Literal(value) : value));
    }
    return rules_.key.size() == 1 ? name : RowName{.key = name.key, .condition = "(" + name.condition + ")"};
  }

  std::string Select(std::size_t column, const std::string& where) const {
    std::string list;
    for (const std::string_view name : rules_.key) {
      list += (list.empty() ? "[" : ", [") + std::string(name) + "]";
    }
    const bool inKey = column >= table_.columns.size() ||
                       std::find(rules_.key.begin(), rules_.key.end(), table_.columns[column].name) != rules_.key.end();
    if (!inKey) {
      list += ", [" + Name(column) + "]";
    }
    return "SELECT " + list + " FROM " + sourceTable_ + (where.empty() ? "" : " WHERE " + where) + ";";
  }

  std::string RefusalText(const FindingKind& kind, const std::string& constraint, std::size_t column) const {
    if (&kind == &finding::CharacterRefused) {
      return Name(column) + " holds a letter that the destination does not have, or bytes that are no letter";
    }
    if (&kind == &finding::TextTooLong) {
      return Name(column) + " is longer than the destination's column";
    }
    if (&kind == &finding::DuplicateKey) {
      return "a row with this key has arrived before (" + constraint + ")";
    }
    if (&kind == &finding::ForeignKey) {
      return "the row that it refers to has not arrived (" + constraint + ")";
    }
    return "the row violates " + constraint;
  }

  /// The sentences and the query of a finding.
  void Explain(Finding& finding, std::size_t column, const std::string& detail, const std::string& conditions) const {
    const std::string name = column < table_.columns.size() ? "[" + Name(column) + "]" : "";
    Query query{.side = Side::Source, .text = {}};
    if (finding.kind == &finding::NullEndsTable) {
      finding.text = "NULL ends the table without a message. " + EndText();
      query.text = Select(column, name + " IS NULL");
    } else if (finding.kind == &finding::ValueUnreadable) {
      finding.text =
          "A value does not convert to the column's type, which ends the table without a message. " + EndText();
      query.text = Select(column, conditions);
    } else if (finding.kind == &finding::ReferenceMissing) {
      const std::string referred = ReferredTable(column);
      finding.text = detail.empty() ? "There is no row of this number in " + referred +
                                          ": the first such row ends the run with \"invalid map<K, T> key\" in the log."
                                    : "The row of " + referred +
                                          " does not arrive: the first such row ends the run with \"invalid map<K, T> "
                                          "key\" in the log.";
      query.text = ReferenceQuery(column);
    } else if (finding.kind == &finding::NullReplaced) {
      finding.text = "NULL arrives as a value.";
      query.text = Select(column, name + " IS NULL");
    } else if (finding.kind == &finding::NullRepeatsRowBefore) {
      finding.text = "With this driver a NULL here arrives with what the row before left in its place.";
      query.text = Select(column, name + " IS NULL");
    } else if (finding.kind == &finding::TextCut) {
      finding.text = "The text is longer than the " + std::to_string(table_.columns[column].size - 1) +
                     " bytes that are migrated.";
      query.text = Select(column, "DATALENGTH(" + name + ") > " + std::to_string(table_.columns[column].size - 1));
    } else if (finding.kind == &finding::ZeroByte) {
      finding.text = "The text arrives up to its first zero byte.";
      query.text = Select(column, conditions);
    } else if (finding.kind == &finding::ValueChanged) {
      finding.text = ChangeText(column);
      query.text =
          Select(column, columnRules_[column].treatment == Treatment::LowHalfOfDouble ? name + " <> 0" : conditions);
    } else if (finding.kind == &finding::PointsElsewhere) {
      finding.text =
          columnRules_[column].treatment == Treatment::PoolAtPosition
              ? "The number is taken for a pool's position: the order arrives at another pool, or at none."
              : "The column keeps its number while " + detail + " is numbered anew: it will name another row, or none.";
      query.text = Select(column, conditions);
    } else if (finding.kind == &finding::DuplicateNumber) {
      finding.text = "The number is there more than once: what refers to it follows the first row.";
      query.text = "SELECT " + name + " FROM " + sourceTable_ + " GROUP BY " + name + " HAVING COUNT(*) > 1;";
    } else if (finding.kind == &finding::NumbersChange) {
      finding.text = "The rows are numbered anew from 1, and what refers to them keeps the old numbers.";
      query.text = "SELECT " + name + " FROM " + sourceTable_ + ";";
    } else {
      finding.text =
          "The destination refuses the row, which ends the run: " + RefusalText(*finding.kind, detail, column) + ".";
      query.text =
          finding.kind == &finding::DuplicateKey ? refusals_.DuplicatesQuery(detail) : Select(column, conditions);
    }
    finding.query = std::move(query);
  }

  std::string EndText() const {
    std::string text;
    if (endedEarly_) {
      text = "As the source gives its rows now, " + std::to_string(arrived_) + " of " + Rows(read_) + " will arrive. ";
    }
    return text + "It promises no order: at least " + Rows(endingRows_) + " will be lost, at most all " +
           std::to_string(read_) + ".";
  }

  std::string ChangeText(std::size_t column) const {
    switch (columnRules_[column].treatment) {
      case Treatment::NumberOfBytes:
        return "The text arrives as the decimal number of its first four bytes; behind a short text stand bytes of the "
               "rows before.";
      case Treatment::BytesOfNumber:
        return "The text is read as a number, whose bytes up to the first zero arrive as the text.";
      default:
        return "The number arrives as the lower four bytes of itself as a double.";
    }
  }

  std::string ReferredTable(std::size_t column) const {
    switch (columnRules_[column].treatment) {
      case Treatment::GroupNumber:
        return "GroupDesc";
      case Treatment::GroupOrderNumber:
        return "GroupOrders";
      default:
        return "PoolOrders at this position";
    }
  }

  std::string ReferenceQuery(std::size_t column) const {
    const std::string name = "[" + Name(column) + "]";
    switch (columnRules_[column].treatment) {
      case Treatment::GroupNumber:
        return Select(column, name + " NOT IN (SELECT [GroupID] FROM " + sourceSchema_ + "[GroupDesc])");
      case Treatment::GroupOrderNumber:
        return Select(column, name + " NOT IN (SELECT [ID] FROM " + sourceSchema_ + "[GroupOrders])");
      default:
        return Select(column, name + " < 1 OR " + name + " > (SELECT COUNT(*) FROM " + sourceSchema_ + "[PoolOrders])");
    }
  }

  void Report() {
    report_.sourceRows = read_;
    report_.arrivingRows = arrived_;
    report_.unchangedRows = unchanged_;
    for (auto& [key, noted] : findings_) {
      Explain(noted.finding, std::get<1>(key), std::get<2>(key), noted.conditions);
      report_.findings.push_back(std::move(noted.finding));
    }
    for (const std::string& reason : refusals_.unforeseen()) {
      Finding& finding = report_.findings.emplace_back(finding::CannotForesee);
      finding.text = reason + ".";
    }
  }

  const db::TableDescription& table_;
  const TableRules& rules_;
  const DestinationSchema& schema_;
  Progress& progress_;
  RunState& state_;
  TableReport& report_;
  std::string sourceTable_;
  std::string sourceSchema_;
  AssignedNumber assignedNumber_ = [](const db::TableDescription& /*table*/, std::uint64_t position,
                                      std::uint64_t /*token*/) { return static_cast<std::int32_t>(position); };
  Refusals refusals_;
  SourceRows rows_;
  Simulation simulation_;
  std::vector<ColumnRule> columnRules_ = [this] {
    std::vector<ColumnRule> rules;
    for (const db::ColumnDescription& column : table_.columns) {
      rules.push_back(RuleOf(rules_, column.name));
    }
    return rules;
  }();
  bool arriving_ = true;
  bool endedEarly_ = false;
  std::uint64_t read_ = 0;
  std::uint64_t arrived_ = 0;
  std::uint64_t unchanged_ = 0;
  std::uint64_t endingRows_ = 0;
  std::map<FindingKey, NotedFinding> findings_;
  std::vector<Values> batch_;
  std::vector<RowName> batchRows_;
  std::vector<bool> batchUnchanged_;
};

}  // namespace

void PredictTable(const odbc::DBConnection& source, const odbc::DBConnection& destination,
                  const db::TableDescription& table, const DestinationSchema& schema, bool driverRepeatsNulls,
                  LetterCheck& letters, Progress& progress, RunState& state, TableReport& report) {
  const auto start = std::chrono::steady_clock::now();
  TablePrediction(source, destination, table, schema, driverRepeatsNulls, letters, progress, state, report).Run();
  report.milliseconds +=
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace check
