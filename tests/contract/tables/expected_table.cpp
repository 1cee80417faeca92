#include "contract/tables/expected_table.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace contract {

namespace {

std::string Trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string> Cells(const std::string& line) {
  std::vector<std::string> cells;
  std::istringstream stream(line);
  for (std::string cell; std::getline(stream, cell, '|');) {
    cells.push_back(Trimmed(cell));
  }
  return cells;
}

/// Words and quoted texts, the latter with their quotes.
std::vector<std::string> Words(const std::string& cell) {
  std::vector<std::string> words;
  for (std::size_t start = cell.find_first_not_of(' '); start < cell.size();) {
    const std::size_t end =
        std::min(cell[start] == '"' ? cell.find('"', start + 1) + 1 : cell.find(' ', start), cell.size());
    words.push_back(cell.substr(start, end - start));
    start = cell.find_first_not_of(' ', end);
  }
  return words;
}

odbc_double::Value ValueOf(const std::string& word) {
  if (word.starts_with('"')) {
    return word.substr(1, word.size() - 2);
  }
  if (word.find('.') != std::string::npos) {
    return std::stod(word);
  }
  return static_cast<std::int32_t>(std::stoi(word));
}

}  // namespace

std::string Joined(const std::vector<std::string>& texts) {
  std::string joined;
  for (const std::string& text : texts) {
    joined += (joined.empty() ? "" : ", ") + text;
  }
  return joined;
}

ExpectedTable::ExpectedTable(const std::string& table) {
  std::ifstream file(BW_EXPECTED_TABLES "/" + table + ".txt");
  std::string line;
  while (std::getline(file, line) && !line.empty()) {
    const std::size_t end = line.find(' ');
    headers_[line.substr(0, end)] = Trimmed(line.substr(end));
  }
  std::getline(file, line);
  const std::vector<std::string> titles = Cells(line);
  while (std::getline(file, line)) {
    const std::vector<std::string> cells = Cells(line);
    const auto cell = [&](const std::string& title) {
      const auto place = static_cast<std::size_t>(std::find(titles.begin(), titles.end(), title) - titles.begin());
      return place < cells.size() ? cells[place] : "";
    };
    ExpectedColumn& column = columns_.emplace_back();
    column.name = cell("column");
    std::istringstream(cell("read as")) >> column.readAs >> column.size;
    if (!cell("NULL").empty()) {
      column.nullValue = cell("NULL");
    }
    std::istringstream(cell("parameter")) >> column.parameter >> column.direction >> column.sentAs >> column.sqlType >>
        column.columnSize;
    const std::vector<std::string> sent = Words(cell("sent"));
    for (const std::size_t row : {0U, 1U}) {
      const std::string value = cell("row " + std::to_string(row + 1));
      rows_.at(row).push_back(ValueOf(value));
      column.sent.at(row) = sent.empty() ? value : sent.at(row);
    }
    if (cell("#") != std::to_string(columns_.size())) {
      throw std::runtime_error(table + ".txt: the columns are not numbered one by one");
    }
  }
  if (columns_.empty()) {
    throw std::runtime_error(table + ".txt has no columns");
  }
}

std::string ExpectedTable::Header(const std::string& name) const {
  const auto found = headers_.find(name);
  return found != headers_.end() ? found->second : "";
}

std::vector<std::int32_t> ExpectedTable::Numbers(const std::string& name) const {
  std::string digits = Header(name);
  std::replace_if(
      digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c) == 0; }, ' ');
  std::istringstream stream(digits);
  std::vector<std::int32_t> numbers;
  for (std::int32_t number = 0; stream >> number;) {
    numbers.push_back(number);
  }
  return numbers;
}

std::vector<std::vector<std::int32_t>> ExpectedTable::Outputs() const {
  const std::vector<std::int32_t> numbers = Numbers("returns");
  const auto middle = numbers.begin() + static_cast<std::ptrdiff_t>(numbers.size() / 2);
  return {{numbers.begin(), middle}, {middle, numbers.end()}};
}

std::vector<odbc_double::FieldName> ExpectedTable::Fields() const {
  std::vector<odbc_double::FieldName> fields;
  std::size_t end = 0;
  for (const ExpectedColumn& column : columns_) {
    const std::size_t alignment = column.size == 4 || column.size == 8 ? column.size : 1;
    const std::size_t offset = (end + alignment - 1) / alignment * alignment;
    fields.push_back({.name = column.name, .offset = offset});
    end = offset + column.size;
  }
  return fields;
}

std::vector<const ExpectedColumn*> ExpectedTable::Parameters() const {
  std::vector<const ExpectedColumn*> parameters;
  for (const ExpectedColumn& column : columns_) {
    if (column.parameter != 0) {
      parameters.resize(std::max(parameters.size(), column.parameter));
      parameters[column.parameter - 1] = &column;
    }
  }
  return parameters;
}

std::vector<std::string> ExpectedTable::SentFor(std::size_t row) const {
  std::vector<std::string> sent;
  for (const ExpectedColumn* column : Parameters()) {
    if (column->direction == "in") {
      sent.push_back(column->sent.at(row));
    }
  }
  return sent;
}

std::string ExpectedTable::PrepareAndBind(const std::string& statement) const {
  std::string calls = "SQLPrepare(" + statement + ", \"" + Header("write") + "\", SQL_NTS)\n";
  for (const ExpectedColumn* column : Parameters()) {
    calls += "SQLBindParameter(" + statement + ", " + std::to_string(column->parameter) + ", SQL_PARAM_" +
             (column->direction == "in" ? "INPUT" : "OUTPUT") + ", " + column->sentAs + ", " + column->sqlType + ", " +
             column->columnSize + ", 0, destination." + column->name + ", 0, null)\n";
  }
  return calls;
}

std::string ExpectedTable::Calls() const {
  const bool once = Header("statement") == "prepared once";
  const bool allocatesEach = Header("statement") == "allocated for every row";
  const auto execute = [](const std::string& statement, const std::string& sql) {
    return "SQLExecDirect(" + statement + ", \"" + sql + "\", " + std::to_string(sql.size()) + ")\n";
  };
  const auto eachColumn = [this](const std::string& function) {
    std::string calls;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const ExpectedColumn& column = columns_[i];
      calls += function + "(stmt1, " + std::to_string(i + 1) + ", " + column.readAs + ", source." + column.name + ", " +
               std::to_string(column.size) + ", " + (column.nullValue ? "indicator" : "null") + ")\n";
    }
    return calls;
  };
  const auto free = [](const std::string& statement) { return "SQLFreeHandle(SQL_HANDLE_STMT, " + statement + ")\n"; };

  std::string calls = "SQLAllocStmt(dbc1)\nSQLAllocStmt(dbc2)\n";
  calls += execute("stmt2", Header("truncate")) + execute("stmt1", Header("select"));
  calls += (bound() ? eachColumn("SQLBindCol") : "") + (once ? PrepareAndBind("stmt2") : "");
  for (const std::size_t row : {0U, 1U}) {
    const std::string statement = once ? "stmt2" : "stmt" + std::to_string(row + (allocatesEach ? 3 : 2));
    calls += "SQLFetch(stmt1)\n" + (bound() ? "" : eachColumn("SQLGetData"));
    if (!once) {
      calls += (statement == "stmt2" ? "" : "SQLAllocStmt(dbc2)\n") + PrepareAndBind(statement);
    }
    calls += "SQLExecute(" + statement + ") sends " + Joined(SentFor(row)) + "\n" + (once ? "" : free(statement));
  }
  calls += "SQLFetch(stmt1) -> SQL_NO_DATA\n";
  calls += bound() ? "SQLGetDiagRec(SQL_HANDLE_STMT, stmt1, 1, 512) -> SQL_NO_DATA\n" : "";
  return calls + (once ? free("stmt2") : "") + free("stmt1");
}

}  // namespace contract
