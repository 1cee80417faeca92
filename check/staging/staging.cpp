#include "check/staging/staging.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

#include "check/characters/unicode.h"
#include "check/rules/row_rules.h"
#include "check/rules/rules.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/copy_writer.h"
#include "check/staging/references.h"
#include "odbc/diagnostics.h"

namespace check::staging {

namespace {

// Between two calls of the progress.
constexpr std::uint64_t kRowsBetweenReports = 1024;

std::string ValueOf(const db::TableDescription& table, const rules::SourceRow& row, std::size_t column) {
  if (row.IsNull(column)) {
    return "NULL";
  }
  if (const std::optional<std::string_view> original = row.Original(column)) {
    return std::string(*original);
  }
  switch (table.columns[column].kind) {
    case db::ValueKind::Int32:
      return rules::RuleOf(rules::RulesOf(table.name), table.columns[column].name).reading ==
                     rules::Reading::DoubleIntoInt32
                 ? rules::Shown(row.Real(column))
                 : std::to_string(row.Number(column));
    case db::ValueKind::Double:
      return rules::Shown(row.Real(column));
    case db::ValueKind::Text:
      break;
  }
  if (const std::optional<std::string_view> utf16 = row.Utf16(column)) {
    return characters::ToUtf8(characters::FromUtf16(*utf16));
  }
  return std::string(row.Text(column));
}

std::string ShownValue(const db::TableDescription& table, const rules::SourceRow& row, std::size_t column) {
  const std::string value = ValueOf(table, row, column);
  return table.columns[column].kind == db::ValueKind::Text && !row.IsNull(column) ? rules::Shown(value) : value;
}

RowName NameOfRow(const db::TableDescription& table, const rules::SourceRow& row) {
  const std::vector<std::string_view>& key = rules::RulesOf(table.name).key;
  RowName name;
  for (const std::string_view part : key) {
    const std::size_t column = rules::ColumnPosition(table, part);
    const std::string value = ValueOf(table, row, column);
    const bool text = table.columns[column].kind == db::ValueKind::Text;
    name.key += (name.key.empty() ? "" : ", ") + std::string(part) + " = " + value;
    name.condition += (name.condition.empty() ? "[" : " AND [") + std::string(part) + "]" +
                      (row.IsNull(column) ? " IS NULL" : " = " + (text ? Literal(Side::Source, value) : value));
  }
  return key.size() == 1 ? name : RowName{.key = name.key, .condition = "(" + name.condition + ")"};
}

Remark RemarkOf(rules::ChangeKind kind) {
  switch (kind) {
    case rules::ChangeKind::NullReplaced:
      return Remark::NullReplaced;
    case rules::ChangeKind::NullRepeats:
      return Remark::NullRepeats;
    case rules::ChangeKind::Cut:
      return Remark::TextCut;
    case rules::ChangeKind::CutAtZeroByte:
      return Remark::ZeroByte;
    case rules::ChangeKind::OtherValue:
      break;
  }
  return Remark::ValueChanged;
}

/// What tables leave to later ones.
struct RunState {
  rules::NumberMaps numbers;
  std::optional<std::string> endsIn;
  std::string endsBecause;
};

/// Stages one table.
class TableStaging {
 public:
  TableStaging(const odbc::DBConnection& source, const odbc::DBConnection& destination,
               const db::TableDescription& table, const Copy* copy, const rules::NullReadings& nulls,
               std::optional<std::string> cannotWrite, const characters::Characters& characters, RunState& state,
               StagedTable& result)
      : destination_(destination),
        table_(table),
        replaced_(ReplacedNumbers(table)),
        assigned_(rules::RulesOf(table.name).assigned),
        number_(rules::NumberOf(table.name)),
        isFollowed_(rules::IsFollowed(table.name)),
        cannotWrite_(std::move(cannotWrite)),
        characters_(characters),
        doubtful_(characters.DoubtfulColumns(table)),
        state_(state),
        result_(result),
        reader_(source, table, doubtful_),
        rules_(table, state.numbers, nulls) {
    if (copy != nullptr) {
      writer_.emplace(destination, *copy);
      referredColumns_ = copy->referredColumns;
    }
    if (isFollowed_) {
      state_.numbers[table.name];
    }
  }

  void Run(Progress& progress) {
    while (reader_.Next()) {
      ++result_.sourceRows;
      if (result_.sourceRows % kRowsBetweenReports == 0) {
        progress.Rows(result_.sourceRows);
      }
      Take(rules_.Apply(reader_.row()));
    }
    Write();
    RecordChangedRows(true);
    RecordLeftOut(true);
    for (auto& [key, rows] : result_.remarks) {
      if (key.remark == Remark::CharactersChanged || key.remark == Remark::CharactersUnknown) {
        const std::string all = characters_.Condition(table_, rules::ColumnPosition(table_, key.columns.front()));
        rows.conditions = all.empty() ? rows.conditions : all;
      }
    }
  }

 private:
  struct Pending {
    rules::SourceRow row;
    std::vector<rules::Change> changes;
    std::int32_t position = 0;
  };

  void Take(const rules::Outcome& outcome) {
    if (outcome.fate == rules::Fate::EndsTable) {
      EndTable(outcome);
    } else if (outcome.fate == rules::Fate::EndsRun) {
      MissReference(outcome);
    } else if (result_.endsEarly) {
      NoteChanges(reader_.row(), outcome.changes);
      Lose(reader_.row());
    } else {
      Keep(outcome);
    }
  }

  void EndTable(const rules::Outcome& outcome) {
    Write();
    const Remark remark = outcome.unreadable ? Remark::Unreadable : Remark::NullEndsTable;
    Remarked(remark, outcome.column).Add(NameOfRow(table_, reader_.row()), {});
    ++result_.endingRows;
    result_.endsEarly = true;
    Lose(reader_.row());
  }

  void MissReference(const rules::Outcome& outcome) {
    Write();
    const Remark remark = outcome.inSource ? Remark::ReferenceNotMigrated : Remark::ReferenceMissing;
    const rules::ColumnRule rule = rules::RuleOf(rules::RulesOf(table_.name), Name(outcome.column));
    const RowName name = NameOfRow(table_, reader_.row());
    Remarked(remark, outcome.column, rule.reference->table).Add(name, {});
    if (result_.endsEarly) {
      Lose(reader_.row());
      return;
    }
    EndRun(Name(outcome.column) + " of " + name.key + " names " +
           (outcome.inSource ? "a row that is not migrated" : "no row"));
    ++accepted_;
    Assume(reader_.row(), rules_.image(), writer_ ? writer_->SkipNumber() : std::nullopt);
  }

  void EndRun(const std::string& because) {
    if (!state_.endsIn) {
      state_.endsIn = std::string(table_.name);
      state_.endsBecause = because;
    }
  }

  /// Takes a row that is sent.
  void Keep(const rules::Outcome& outcome) {
    if (pendingRows_ == pending_.size()) {
      pending_.emplace_back();
    }
    Pending& pending = pending_[pendingRows_++];
    pending.row = reader_.row();
    pending.changes = outcome.changes;
    pending.position = ++position_;
    if (!writer_ || cannotWrite_) {
      Settle(pending, {}, rules_.image());
      pendingRows_ = 0;
      return;
    }
    std::vector<std::int32_t>& numbers = numbersOfRow_;
    numbers.clear();
    for (const std::string_view column : replaced_) {
      numbers.push_back(reader_.row().Number(rules::ColumnPosition(table_, column)));
    }
    writer_->Add(rules_.image(), pending.position, numbers);
    if (writer_->IsFull()) {
      Write();
    }
  }

  void Write() {
    if (writer_ && pendingRows_ > 0) {
      const std::vector<Stored>& stored = writer_->Write();
      for (std::size_t i = 0; i < pendingRows_; ++i) {
        Settle(pending_[i], stored[i], writer_->image(i));
      }
    }
    pendingRows_ = 0;
  }

  /// Notes what became of a row.
  void Settle(const Pending& pending, const Stored& stored, const char* image) {
    ++accepted_;
    NoteChanges(pending.row, pending.changes);
    const bool ownCharacters = KeepsItsCharacters(pending.row, writer_ && !cannotWrite_ && !stored.refusal);
    if (cannotWrite_) {
      ++result_.refusedRows;
      EndRun(*cannotWrite_);
      Assume(pending.row, image, std::nullopt);
      return;
    }
    if (stored.refusal) {
      Refuse(pending, *stored.refusal, image);
      Assume(pending.row, image, stored.assigned);
      return;
    }
    if (const auto number = isFollowed_ ? SourceNumber(pending.row) : std::nullopt) {
      state_.numbers[table_.name].Add(*number, stored.assigned.value_or(accepted_));
    }
    ++result_.storedRows;
    result_.arrivingRows += state_.endsIn ? 0 : 1;
    if (pending.changes.empty() && stored.changed.empty() && ownCharacters) {
      result_.unchangedRows += state_.endsIn ? 0 : 1;
      return;
    }
    changedRows_.push_back(std::to_string(pending.position));
    RecordChangedRows(false);
    for (const StoredValue& value : stored.changed) {
      Remarked(Remark::StoredChanged, value.column)
          .Add(NameOfRow(table_, pending.row), rules_.Shown(image, value.column) + " arrives as " + value.value);
    }
  }

  void NoteChanges(const rules::SourceRow& row, const std::vector<rules::Change>& changes) {
    for (const rules::Change& change : changes) {
      const Remark remark = RemarkOf(change.kind);
      const bool isCut = remark == Remark::TextCut || remark == Remark::ZeroByte;
      Remarked(remark, change.column)
          .Add(NameOfRow(table_, row),
               (isCut ? "" : ShownValue(table_, row, change.column) + " ") + "arrives as " + change.arrives);
    }
  }

  /// Whether the texts of a row arrive with their own characters. Of characters that are refused, only an accepted row
  /// says that they did not.
  bool KeepsItsCharacters(const rules::SourceRow& row, bool accepted) {
    bool keeps = true;
    for (const rules::Utf16Column& doubtful : doubtful_) {
      if (row.IsNull(doubtful.column)) {
        continue;
      }
      const characters::SourceText text = {.bytes = row.Text(doubtful.column),
                                           .isCut = row.IsCut(doubtful.column),
                                           .utf16 = *row.Utf16(doubtful.column)};
      const characters::TextFate fate = characters_.FateOf(table_, doubtful.column, text);
      if (fate == characters::TextFate::Same || (fate == characters::TextFate::Refused && !accepted)) {
        continue;
      }
      const bool unknown = fate == characters::TextFate::Unknown;
      RemarkedRows& rows = Remarked(unknown ? Remark::CharactersUnknown : Remark::CharactersChanged, doubtful.column);
      const bool described = !unknown && rows.rows < RemarkedRows::kShown;
      rows.Add(NameOfRow(table_, row), described ? characters_.Described(text) : std::string{});
      keeps = keeps && unknown;
      result_.unchangedKnown = result_.unchangedKnown && !unknown;
    }
    return keeps;
  }

  void Refuse(const Pending& pending, const Refusal& refusal, const char* image) {
    const RowName name = NameOfRow(table_, pending.row);
    const Remark remark = IsParentRefused(refusal, image) ? Remark::ParentRefused : Remark::Refused;
    // A row that follows the number of a refused one would not even be sent.
    const bool follows = remark == Remark::ParentRefused &&
                         rules::RuleOf(rules::RulesOf(table_.name), refusal.columns.front()).FollowsNumber();
    result_.refusedRows += follows ? 0 : 1;
    RemarkedRows& remarked = result_.remarks[{remark, refusal.columns, refusal.state, refusal.constraint}];
    if (remarked.rows == 0) {
      remarked.message = refusal.message;
    }
    remarked.Add(name, {});
    EndRun("the destination refuses " + name.key + " (" + refusal.state +
           (refusal.constraint.empty() ? "" : ", " + refusal.constraint) + ")");
  }

  /// What a row has in some columns; nothing where it is not known.
  std::optional<std::string> ContentOf(const std::vector<std::string>& columns, const char* image,
                                       std::optional<std::int32_t> assigned) const {
    std::string content;
    for (const std::string& column : columns) {
      if (column == assigned_ && !assigned) {
        return std::nullopt;
      }
      if (std::ranges::find(table_.columns, column, &db::ColumnDescription::name) == table_.columns.end()) {
        return std::nullopt;
      }
      content += (column == assigned_ ? std::to_string(*assigned)
                                      : rules_.Shown(image, rules::ColumnPosition(table_, column))) +
                 "\n";
    }
    return content;
  }

  bool IsParentRefused(const Refusal& refusal, const char* image) const {
    const std::optional<std::string> content = ContentOf(refusal.columns, image, std::nullopt);
    return !refusal.referred.empty() && content &&
           QueryValue(destination_, "SELECT count(*)::text FROM " + kRefusedKeys + " WHERE key = ? AND content = ?",
                      {refusal.referred, *content}) != "0";
  }

  /// The number by which rows of other tables refer to this one, or which the destination replaces; nothing where the
  /// source has none.
  std::optional<std::int32_t> SourceNumber(const rules::SourceRow& row) const {
    if (number_.empty()) {
      return std::nullopt;
    }
    const std::size_t column = rules::ColumnPosition(table_, number_);
    return row.IsNull(column) || row.IsUnreadable(column) ? std::nullopt : std::optional(row.Number(column));
  }

  /// Takes note of the number of a row that does not arrive, because the table has ended.
  void Lose(const rules::SourceRow& row) {
    if (const std::optional<std::int32_t> number = SourceNumber(row)) {
      if (isFollowed_) {
        state_.numbers[table_.name].AddLost(*number);
      }
      LeaveOut(*number, R"("")");
    }
  }

  /// Takes note of the number of a row that ends the run, as if it had arrived: what comes after it is looked at as if
  /// it did not end there.
  void Assume(const rules::SourceRow& row, const char* image, std::optional<std::int32_t> assigned) {
    const std::int32_t given = assigned.value_or(accepted_);
    for (const std::vector<std::string>& columns : referredColumns_) {
      if (const std::optional<std::string> content = ContentOf(columns, image, given)) {
        Execute(destination_, "INSERT INTO " + kRefusedKeys + " VALUES (?, ?)",
                {KeyTo(table_.name, columns), *content});
      }
    }
    if (const std::optional<std::int32_t> number = SourceNumber(row)) {
      if (isFollowed_) {
        state_.numbers[table_.name].Add(*number, given);
      }
      LeaveOut(*number, std::to_string(assigned_.empty() ? *number : given));
    }
  }

  void RecordChangedRows(bool all) {
    if (writer_ && (changedRows_.size() >= CopyWriter::kBatch || (all && !changedRows_.empty()))) {
      Execute(destination_, "INSERT INTO " + kChangedRows + " SELECT ?::text, unnest(?::integer[])",
              {std::string(table_.name), ArrayOf(changedRows_)});
      changedRows_.clear();
    }
  }

  void LeaveOut(std::int32_t number, std::string assigned) {
    leftOutNumbers_.push_back(std::to_string(number));
    leftOutAssigned_.push_back(std::move(assigned));
    RecordLeftOut(false);
  }

  void RecordLeftOut(bool all) {
    if (writer_ && (leftOutNumbers_.size() >= CopyWriter::kBatch || (all && !leftOutNumbers_.empty()))) {
      // The login's array_nulls may say that NULL in an array is a text.
      Execute(destination_,
              "INSERT INTO " + kLeftOut +
                  " SELECT ?::text, x.number, nullif(x.given, '')::integer FROM unnest(?::integer[], ?::text[]) x "
                  "(number, given)",
              {std::string(table_.name), ArrayOf(leftOutNumbers_), ArrayOf(leftOutAssigned_)});
      leftOutNumbers_.clear();
      leftOutAssigned_.clear();
    }
  }

  RemarkedRows& Remarked(Remark remark, std::size_t column, std::string_view detail = {}) {
    return result_.remarks[{remark, {Name(column)}, {}, std::string(detail)}];
  }

  std::string Name(std::size_t column) const { return std::string(table_.columns[column].name); }

  const odbc::DBConnection& destination_;
  const db::TableDescription& table_;
  std::vector<std::string_view> replaced_;
  std::string_view assigned_;
  std::string_view number_;
  bool isFollowed_;
  std::optional<std::string> cannotWrite_;
  const characters::Characters& characters_;
  std::vector<rules::Utf16Column> doubtful_;
  RunState& state_;
  StagedTable& result_;
  rules::SourceReader reader_;
  rules::RowRules rules_;
  std::optional<CopyWriter> writer_;
  std::vector<Pending> pending_;  ///< Its storage is used again.
  std::size_t pendingRows_ = 0;
  std::vector<std::int32_t> numbersOfRow_;
  std::vector<std::vector<std::string>> referredColumns_;
  std::int32_t position_ = 0;
  std::int32_t accepted_ = 0;             ///< Rows that got a number, or would have got one.
  std::vector<std::string> changedRows_;  ///< Positions.
  std::vector<std::string> leftOutNumbers_;
  std::vector<std::string> leftOutAssigned_;  ///< As elements of an array; empty where the row is lost.
};

std::optional<std::string> ReasonOf(const Obstacles::Reasons& reasons, std::string_view table) {
  const auto found = reasons.find(table);
  return found == reasons.end() ? std::nullopt : std::optional(found->second);
}

/// \throws Unforeseen when the copy has a foreign key to one that turned out not to show what arrives.
void RequireParents(const Copy& copy, const Staged& staged) {
  for (const StagedTable& earlier : staged.tables) {
    const auto refers = [&earlier](const CopyConstraint& constraint) {
      return constraint.referred.starts_with(KeyTo(earlier.table->name, {""}));
    };
    const auto key = std::find_if(copy.constraints.begin(), copy.constraints.end(), refers);
    if (!earlier.unforeseen.empty() && key != copy.constraints.end()) {
      throw Unforeseen("its foreign key " + key->name + " refers to " + std::string(earlier.table->name));
    }
  }
}

}  // namespace

void RemarkedRows::Add(const RowName& name, std::string arriving) {
  ++rows;
  if (keys.size() < kShown) {
    keys.push_back(name.key);
    if (!name.condition.empty()) {
      conditions += (conditions.empty() ? "" : " OR ") + name.condition;
    }
    if (!arriving.empty()) {
      arrives.push_back(std::move(arriving));
    }
  }
}

Staged Stage(const odbc::DBConnection& source, const odbc::DBConnection& destination,
             const std::vector<db::TableDescription>& tables, const Copies& copies, const Obstacles& obstacles,
             const characters::Characters& characters, Progress& progress) {
  const rules::NullReadings nulls = rules::ProbeNulls(source);
  Staged staged;
  RunState state;
  std::set<std::string_view> unread;
  Copies usable = copies;
  for (const db::TableDescription& table : tables) {
    const auto start = std::chrono::steady_clock::now();
    progress.Begin(table.name);
    StagedTable& result = staged.tables.emplace_back();
    result.table = &table;
    const auto copy = usable.copies.find(table.name);
    result.foreseen = copy != usable.copies.end();
    for (const auto* const reasons : {&obstacles.cannotEmpty, &obstacles.cannotRead}) {
      const std::optional<std::string> reason = ReasonOf(*reasons, table.name);
      if (reason && !state.endsIn) {
        state.endsIn = table.name;
        state.endsBecause = *reason;
      }
    }
    // Of rows that refer to those of a table that cannot be read, nothing is known.
    const auto followsUnread = [&unread](const rules::ColumnRule& rule) {
      return rule.FollowsNumberOrPosition() && unread.contains(rule.reference->table);
    };
    if (ReasonOf(obstacles.cannotRead, table.name) ||
        std::ranges::any_of(rules::RulesOf(table.name).columns, followsUnread)) {
      unread.insert(table.name);
      result.readable = false;
      result.foreseen = false;
      continue;
    }
    const auto stage = [&] {
      TableStaging(source, destination, table, result.foreseen ? &copy->second : nullptr, nulls,
                   ReasonOf(obstacles.cannotWrite, table.name), characters, state, result)
          .Run(progress);
    };
    const std::optional<std::string> endsIn = state.endsIn;
    const std::string endsBecause = state.endsBecause;
    try {
      if (result.foreseen) {
        RequireParents(copy->second, staged);
      }
      stage();
    } catch (const Unforeseen& reason) {
      // Once more, as a table without a copy: later tables refer to its rows.
      state.endsIn = endsIn;
      state.endsBecause = endsBecause;
      state.numbers.erase(table.name);
      result = {};
      result.table = &table;
      result.unforeseen = reason.what();
      usable.copies.erase(copy);
      stage();
    }
    if (rules::IsFollowedByNumber(table.name)) {
      state.numbers[table.name].SortByNumber();
    }
    result.milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
  }
  progress.Begin("references");
  LookAtReferences(destination, usable, staged);
  staged.endsIn = std::move(state.endsIn);
  staged.endsBecause = std::move(state.endsBecause);
  return staged;
}

}  // namespace check::staging
