#include "contract/tables/table_contract.h"

#include <algorithm>
#include <utility>

namespace contract {

ResultRow With(ResultRow row, std::size_t column, Value value) {
  row.at(column - 1) = std::move(value);
  return row;
}

ResultRow WithNulls(ResultRow row, const std::vector<std::size_t>& columns) {
  for (const std::size_t column : columns) {
    row.at(column - 1) = kNull;
  }
  return row;
}

std::string Calls() {
  std::string text;
  for (const std::string& call : odbc_double::Calls()) {
    text += call + "\n";
  }
  return text;
}

std::size_t CountOf(std::string_view function) {
  const std::vector<std::string>& calls = odbc_double::Calls();
  return static_cast<std::size_t>(std::count_if(calls.begin(), calls.end(), [function](std::string_view call) {
    return call.starts_with(function) && call.substr(function.size()).starts_with("(");
  }));
}

std::vector<std::string> SentRows() {
  constexpr std::string_view kSends = " sends ";
  std::vector<std::string> rows;
  for (const std::string& call : odbc_double::Calls()) {
    if (const std::size_t sends = call.find(kSends); call.starts_with("SQLExecute(") && sends != std::string::npos) {
      rows.push_back(call.substr(sends + kSends.size()));
    }
  }
  return rows;
}

std::vector<std::string> Sent(std::size_t position) {
  constexpr std::string_view kSeparator = ", ";
  std::vector<std::string> values;
  for (std::string row : SentRows()) {
    for (std::size_t skipped = 1; skipped < position; ++skipped) {
      row.erase(0, row.find(kSeparator) + kSeparator.size());
    }
    values.push_back(row.substr(0, row.find(kSeparator)));
  }
  return values;
}

TableContract::TableContract(const std::string& table) : table_(table), expected_(table) {
  db::GroupIdMap.clear();
  db::GroupOrderIdMap.clear();
  db::PoolIdMap.clear();
  db::nextPoolId = 1;
  EXPECT_TRUE(logger_.Open(directory_ / "log"));
}

void TableContract::SetWhatTheRowsNeed() {
  const auto set = [this](db::IdentifierMap& map, const std::string& name) {
    const std::vector<std::int32_t> numbers = expected_.Numbers(name);
    for (std::size_t i = 0; i + 1 < numbers.size(); i += 2) {
      map[numbers[i]] = numbers[i + 1];
    }
  };
  set(db::GroupIdMap, "GroupIdMap");
  set(db::GroupOrderIdMap, "GroupOrderIdMap");
  set(db::PoolIdMap, "PoolIdMap");
  if (expected_.callsProcedure()) {
    std::vector<std::vector<std::int32_t>> outputs = expected_.Outputs();
    outputs.resize(100, outputs.front());  // Some tests write more than two rows.
    odbc_double::SetOutputs(expected_.Header("write"), std::move(outputs));
  }
}

void TableContract::SetRows(std::vector<ResultRow> rows) {
  odbc_double::SetResult("[" + table_ + "]", std::move(rows));
}

AnyTablePair& TableContract::Build() {
  pair_.reset();
  pair_ = MakeTablePair(table_, source, destination);
  odbc_double::NameFields("source", pair_->sourceRow(), expected_.Fields());
  odbc_double::NameFields("destination", pair_->destinationRow(), expected_.Fields());
  return *pair_;
}

std::string TableContract::MigrateUntilFailureOf(const std::string& function, std::size_t n) {
  odbc_double::OnCall(function, n, {.result = SQL_ERROR, .diagnostics = {{"P0001", 7, "refused"}}});
  return RuntimeErrorOf([this] { Migrate(); });
}

std::vector<std::string> TableContract::LoggedRows() {
  logger_.Close();
  std::istringstream log(support::ReadFile(directory_ / "log"));
  std::vector<std::string> rows;
  for (std::string line; std::getline(log, line);) {
    if (const std::size_t row = line.find("insert row("); row != std::string::npos) {
      rows.push_back(line.substr(row));
    }
  }
  return rows;
}

}  // namespace contract
