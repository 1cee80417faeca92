#include "check/after/expected_rows.h"

#include <utility>

#include "check/rules/source_rows.h"

namespace check {

struct ExpectedRows::State {
  const odbc::DBConnection& source;
  AssignedNumber assignedNumber;
  bool driverRepeatsNulls;
  Identifiers identifiers;
  std::uint64_t rowsRead = 0;
  std::optional<std::string> runEnds;
  std::optional<std::string> tableEnds;
};

namespace {

std::string RowNumber(std::uint64_t rows) {
  return "row " + std::to_string(rows) + " in reading order";
}

}  // namespace

/// The rows of one table as they arrive.
class ExpectedStream final : public RowStream {
 public:
  ExpectedStream(ExpectedRows::State& state, const db::TableDescription& table)
      : state_(state),
        table_(table),
        rows_(state.source, table),
        simulation_(table, state.identifiers, state.assignedNumber, state.driverRepeatsNulls) {
    state_.rowsRead = 0;
    state_.runEnds.reset();
    state_.tableEnds.reset();
  }

  bool Next(Values& values) override {
    if (ended_) {
      return false;
    }
    const SourceRows::Result result = rows_.Next();
    if (result == SourceRows::Result::End) {
      ended_ = true;
      return false;
    }
    ++state_.rowsRead;
    if (result == SourceRows::Result::Unreadable) {
      state_.tableEnds = "a value of " + RowNumber(state_.rowsRead) + " does not convert: " + rows_.diagnostics();
      ended_ = true;
      return false;
    }
    const Outcome& outcome = simulation_.Apply(rows_);
    const std::string column(table_.columns[outcome.column].name);
    switch (outcome.fate) {
      case Fate::Arrives:
        values = simulation_.values();
        return true;
      case Fate::EndsTable:
        state_.tableEnds =
            column + (outcome.unreadable ? " is no number" : " is NULL") + " in " + RowNumber(state_.rowsRead);
        break;
      case Fate::EndsRun:
        state_.runEnds = column + " of " + RowNumber(state_.rowsRead) + " names no migrated row";
        break;
    }
    ended_ = true;
    return false;
  }

 private:
  ExpectedRows::State& state_;
  const db::TableDescription& table_;
  SourceRows rows_;
  Simulation simulation_;
  bool ended_ = false;
};

ExpectedRows::ExpectedRows(const odbc::DBConnection& source, AssignedNumber assignedNumber)
    : state_(std::make_unique<State>(State{.source = source,
                                           .assignedNumber = std::move(assignedNumber),
                                           .driverRepeatsNulls = DriverRepeatsNulls(source),
                                           .identifiers = {},
                                           .rowsRead = 0,
                                           .runEnds = {},
                                           .tableEnds = {}})) {}

ExpectedRows::~ExpectedRows() = default;

std::unique_ptr<RowStream> ExpectedRows::Open(const db::TableDescription& table) {
  return std::make_unique<ExpectedStream>(*state_, table);
}

std::uint64_t ExpectedRows::rowsRead() const {
  return state_->rowsRead;
}

const std::optional<std::string>& ExpectedRows::runEnds() const {
  return state_->runEnds;
}

const std::optional<std::string>& ExpectedRows::tableEnds() const {
  return state_->tableEnds;
}

}  // namespace check
