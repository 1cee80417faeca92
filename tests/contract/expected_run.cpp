#include "contract/expected_run.h"

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <utility>

#include "odbc_double/odbc_double.h"

namespace contract {

namespace {

constexpr std::size_t kRows = 2;

struct Column {
  std::string name;
  /// i, d, t, c: integer, floating point, text, text of one character.
  /// r, p: the first column of the row of the same number in another table; a number that is the row's.
  /// n: like r, and logged with the number that the destination gave to that row.
  /// h: integer, read as a floating-point number of which only the lower half, 0, stays.
  /// b: integer, of which the bytes are kept as text.
  char kind;
};

std::int32_t Integer(std::size_t row, std::size_t column) {
  return static_cast<std::int32_t>(100 * row + column);
}

std::int32_t NewIdentifier(std::size_t row) {
  return static_cast<std::int32_t>(500 + row);
}

std::int32_t LetterCode(std::size_t row) {
  return static_cast<std::int32_t>('A' + row);
}

double Number(std::size_t row, std::size_t column) {
  return 10.0 * static_cast<double>(row) + 0.25 * static_cast<double>(column);
}

std::string Letter(std::size_t row, std::size_t column) {
  return {static_cast<char>(row == 1 ? 'a' + column % 26 : 'A' + column % 26)};
}

/// Eight characters.
std::string Text(std::size_t table, std::size_t row, std::size_t column) {
  constexpr std::size_t twoDigits = 10;
  return "T" + std::to_string(twoDigits + table) + "R" + std::to_string(row) + "C" + std::to_string(twoDigits + column);
}

/// What the source holds.
odbc_double::Value SourceValue(char kind, std::size_t table, std::size_t row, std::size_t column) {
  switch (kind) {
    case 'd':
      return Number(row, column);
    case 't':
      return Text(table, row, column);
    case 'c':
      return Letter(row, column);
    case 'r':
    case 'n':
      return Integer(row, 1);
    case 'p':
      return static_cast<std::int32_t>(row);
    case 'b':
      return LetterCode(row);
    default:
      return Integer(row, column);
  }
}

/// What the log shows.
std::string LoggedValue(char kind, std::size_t table, std::size_t row, std::size_t column) {
  switch (kind) {
    case 'd': {
      std::ostringstream text;
      text << Number(row, column);
      return text.str();
    }
    case 't':
      return Text(table, row, column);
    case 'c':
      return Letter(row, column);
    case 'r':
      return std::to_string(Integer(row, 1));
    case 'n':
      return std::to_string(NewIdentifier(row));
    case 'p':
      return std::to_string(row);
    case 'h':
      return "0";
    case 'b':
      return {static_cast<char>(LetterCode(row))};
    default:
      return std::to_string(Integer(row, column));
  }
}

/// From "GroupID:i GroupCode:t".
std::vector<Column> Columns(const std::string& declaration) {
  std::vector<Column> columns;
  std::istringstream words(declaration);
  for (std::string word; words >> word;) {
    columns.push_back({.name = word.substr(0, word.size() - 2), .kind = word.back()});
  }
  return columns;
}

}  // namespace

enum class Reading { kBound, kOneByOne };
enum class Writing { kInsert, kProcedure };

struct ExpectedRun::Table {
  std::string name;
  std::size_t parameters;
  Reading reading;
  Writing writing;
  std::vector<Column> columns;
};

const std::vector<ExpectedRun::Table> ExpectedRun::kTables = {
    {"SystemData", 2, Reading::kBound, Writing::kInsert, Columns("KeyName:t KeyValue:t")},
    {"GroupDesc", 7, Reading::kBound, Writing::kProcedure,
     Columns("GroupID:i GroupCode:t GroupName:t disabled:c Mode:t DefWeight:d SplitOrders:i")},
    {"Clients", 5, Reading::kBound, Writing::kInsert, Columns("ClientCode:t GroupID:r Num:i Weight:d Comment:t")},
    {"GroupOrders", 23, Reading::kBound, Writing::kProcedure,
     Columns(
         "ID:i GroupID:r TradeDate:i TradeTime:i Buy:c ML:c SecCode:t ClassCode:t Price:d Qty:d RealQty:d BalanceQty:d "
         "KilledQty:d Status:c Result:c OrdersCount:i Flags:t PoolID:i Value:d BWUserID:i BWSessionID:t BWCounter:i "
         "VisibleQty:d")},
    {"Orders", 22, Reading::kBound, Writing::kProcedure,
     Columns("OrderID:i GroupOrderID:r Buy:c ML:c TradeDate:i TradeTime:i SecCode:t ClassCode:t ClientCode:t TrdAcc:t "
             "Price:d "
             "Qty:d BalanceQty:d OrderNum:d Status:c Result:c OrderInPoolID:i Value:d VisibleQty:d BWUserID:i "
             "BWSessionID:t "
             "BWCounter:i")},
    {"SecGroups", 8, Reading::kBound, Writing::kProcedure,
     Columns("ID:i SecGCode:t SecGName:t disabled:c Filter:t mode:t RAgencies:i ListLevel:i")},
    {"SecGrMemb", 5, Reading::kBound, Writing::kInsert,
     Columns("GroupID:i MembType:c MembCode:t MembClass:t MembID:i")},
    {"SecMinQt", 3, Reading::kBound, Writing::kInsert, Columns("ClassCode:t SecCode:t MinQty:i")},
    {"ImportLog", 4, Reading::kBound, Writing::kInsert,
     Columns("ID:i ImportType:t BWUserID:i BWSessionID:t BWCounter:i")},
    {"LoadedPositions", 7, Reading::kBound, Writing::kInsert,
     Columns("PosID:i PosType:i FirmID:t ActiveCode:t ClientCode:t LimitKind:i OpenBalance:d")},
    {"RatingAgencies", 2, Reading::kBound, Writing::kInsert, Columns("AgencyID:i AgencyCode:t AgencyName:t")},
    {"RatingScales", 4, Reading::kBound, Writing::kInsert,
     Columns("RatingID:i AgencyID:i National:i Rating:t Position:i")},
    {"LoadedSecurities", 8, Reading::kBound, Writing::kInsert,
     Columns("SecID:i SecCode:t SecName:t SecStyle:t SecType:t FaceValue:d AccInt:d Price:d")},
    {"LoadedSecuritiesClientPrices", 5, Reading::kBound, Writing::kInsert,
     Columns("ClientID:i SecID:i Code:t CodeType:i Price:d")},
    {"Restrictions", 16, Reading::kBound, Writing::kInsert,
     Columns(
         "ID:i RestType:c Client:t Mode:t Limit:d SecGroupID:i CoSecGroupID:i disabled:c Value:d NoCheck:i BWUserID:i "
         "BWSessionID:t BWCounter:i LimitKind:i RestrCode:t RestrName:t")},
    {"PoolOrders", 14, Reading::kBound, Writing::kInsert,
     Columns("PoolID:p BrokerPoolID:t PoolName:t LoadDate:i LoadTime:i ExpireDate:i Source:t Status:t KillTime:i "
             "TotalQty:d "
             "SendQty:d ExecQty:d RejectQty:d KilledQty:d ActiveQty:d")},
    {"OrdersInPool", 15, Reading::kBound, Writing::kInsert,
     Columns("OrderID:i PoolID:p OrderType:c ClientCode:t ClassCode:t SecCode:t Price:d Qty:d Buy:c ML:c SendQty:d "
             "ExecQty:d "
             "RejectQty:d KillQty:d ActiveQty:d Comment:t")},
    {"GroupStopOrders", 32, Reading::kBound, Writing::kInsert,
     Columns(
         "ID:i GroupID:i StopStyle:i TradeDate:i TradeTime:i Buy:c ML:c SecCode:t ClassCode:t ASecCode:t AClassCode:t "
         "StopCond:i TransFlags:i StopPrice:d Price:d LinkedPrice:d Offset:d Spread:d Qty:d RealQty:d BalanceQty:d "
         "KilledQty:d BaseOrderNum:d Status:c Result:c OrdersCount:i LinkedGrOrder:i CoOrderNum:d Expire:i "
         "StopPrice2:d "
         "ActiveFromTime:i ActiveToTime:i")},
    {"StopOrders", 32, Reading::kBound, Writing::kInsert,
     Columns(
         "OrderID:i GroupOrderID:i StopStyle:i Buy:c ML:c TradeDate:i TradeTime:i SecCode:t ClassCode:t ASecCode:t "
         "AClassCode:t StopCond:i TransFlags:i ClientCode:t StopPrice:d Price:d LinkedPrice:d Offset:d Spread:d Qty:d "
         "Balance:d StopOrderNum:d LinkedOrderNum:d BaseOrderNum:d CoOrderNum:d Status:c Result:c Expire:i "
         "StopPrice2:d "
         "ActiveFromTime:i ActiveToTime:i TrdAcc:t")},
    {"GroupNegOrders", 30, Reading::kOneByOne, Writing::kInsert,
     Columns(
         "ID:i GroupID:n TradeDate:i TradeTime:i Buy:c SecCode:t ClassCode:t CPFirmID:t SettleCode:t MatchRef:t "
         "Price:d "
         "Vozm:d Qty:d RealQty:d KilledQty:d Status:c Result:c OrdersCount:i RepoValue:d RealRepoValue:d Discount:d "
         "DiscountUpper:d DiscountLower:d RepoRate:d RepoTerm:i OrderType:i Flags:i BWUserID:i BWSessionID:t "
         "BWCounter:i")},
    {"NegOrders", 28, Reading::kOneByOne, Writing::kInsert,
     Columns("OrderId:i GroupOrderID:i TradeDate:i TradeTime:i Buy:c ClassCode:t SecCode:t ClientCode:t TrdAcc:t "
             "CPFirmId:t "
             "SettleCode:t MatchRef:t Price:d Vozm:d Qty:d OrderNum:d Status:c Result:c RepoValue:d Discount:d "
             "DiscountUpper:d "
             "DiscountLower:d RepoRate:d RepoTerm:h Flags:h BWUserID:i BWSessionID:t BWCounter:i")},
    {"ExportOrder", 29, Reading::kOneByOne, Writing::kInsert,
     Columns(
         "ID:i OrderID:i GroupOrderID:i OrderType:i TradeDate:i SendDate:i SendTime:i OrderTime:i Status:i "
         "UserGroupID:i "
         "UserGroupCode:t PoolID:i BrokerPoolID:b ClientCode:t TrdAcc:t Price:d Qty:d Balance:d Buy:c ML:c ClassCode:t "
         "SecCode:t VisibleQty:d RepoValue:d Discount:d DiscountUpper:d DiscountLower:d RepoRate:d RepoTerm:i")},
};

void FillEveryTable() {
  for (std::size_t table = 1; table <= ExpectedRun::kTables.size(); ++table) {
    const std::vector<Column>& columns = ExpectedRun::kTables[table - 1].columns;
    std::vector<odbc_double::ResultRow> rows;
    for (std::size_t row = 1; row <= kRows; ++row) {
      odbc_double::ResultRow& values = rows.emplace_back();
      for (std::size_t column = 1; column <= columns.size(); ++column) {
        values.push_back(SourceValue(columns[column - 1].kind, table, row, column));
      }
    }
    odbc_double::SetResult("FROM dbo.[" + ExpectedRun::kTables[table - 1].name + "]", rows);
  }
  odbc_double::SetOutputs("BW_CreateClientGroupEx", {{NewIdentifier(1)}, {NewIdentifier(2)}});
  odbc_double::SetOutputs("BW_CreateGroupOrder", {{NewIdentifier(1), 1}, {NewIdentifier(2), 2}});
  odbc_double::SetOutputs("BW_CreateOrder", {{NewIdentifier(1), 1}, {NewIdentifier(2), 2}});
  odbc_double::SetOutputs("BW_CreateSecGroupEx", {{NewIdentifier(1)}, {NewIdentifier(2)}});
}

ExpectedRun::ExpectedRun(Fails fails, Diagnostics diagnostics)
    : fails_(std::move(fails)), diagnostics_(std::move(diagnostics)) {
  console_ = "Enter the password for source database: \nEnter the password for destination database: \n";
  try {
    Run();
  } catch (const End& end) {
    log_ += "@ " + end.text;
  }
  FreeStatement(destination_);
  FreeStatement(source_);
  CloseConnection("2");
  CloseConnection("1");
}

std::vector<std::string> ExpectedRun::LiveHandles() const {
  std::vector<std::string> names;
  for (const Handle& handle : handles_) {
    if (handle.live) {
      names.push_back(handle.name);
    }
  }
  return names;
}

void ExpectedRun::Run() {
  Connect("1");
  Connect("2");
  CheckVersion();
  for (const Table& table : kTables) {
    Migrate(table);
  }
}

void ExpectedRun::Connect(const std::string& number) {
  std::string environment;
  std::string connection;
  if (!Allocate("SQLAllocEnv()", "env", "", environment)) {
    throw End{"SQL Error: "};  // There is no handle to ask.
  }
  if (!Allocate("SQLAllocHandle(SQL_HANDLE_DBC, env" + number + ")", "dbc", environment, connection)) {
    throw End{diagnostics_(calls_.size())};
  }
  Need("SQLConnect(dbc" + number + ", ");
  if (!Call("SQLGetInfo(dbc" + number + ", SQL_DBMS_NAME, ")) {
    throw End{""};
  }
}

void ExpectedRun::CheckVersion() {
  // Held by nobody: a failure leaves the statement to the connection.
  std::string statement;
  AllocateStatement("dbc1", statement);
  Need("SQLExecDirect(" + statement + ", \"SELECT [KeyValue] FROM [dbo].[SystemData] ");
  Need("SQLFetch(" + statement + ")");
  Need("SQLGetData(" + statement + ", 1, ");
  if (!Free("SQLFreeHandle(SQL_HANDLE_STMT, " + statement + ")", statement)) {
    throw End{diagnostics_(calls_.size())};
  }
}

void ExpectedRun::Migrate(const Table& table) {
  AllocateStatement("dbc1", source_);
  AllocateStatement("dbc2", destination_);
  Need("SQLExecDirect(" + destination_ + ", \"TRUNCATE public.\"" + table.name + "\" ");

  const std::size_t columns = table.columns.size();
  const auto open = [&](const std::string& call) {
    if (!Call(call)) {
      throw End{table.name == "GroupOrders" ? "" : diagnostics_(calls_.size())};
    }
  };
  open("SQLExecDirect(" + source_ + ", \"SELECT [");
  if (table.reading == Reading::kBound) {
    for (std::size_t column = 1; column <= columns; ++column) {
      open("SQLBindCol(" + source_ + ", " + std::to_string(column) + ", ");
    }
  }
  if (table.writing == Writing::kInsert) {
    PrepareAndBind(table);
  }

  Report("Start migrate " + table.name + " table\n");
  std::size_t rows = 0;
  while (Read(table, rows + 1)) {
    ++rows;
    Write(table, rows);
  }
  const std::string count = std::to_string(rows);
  Report("Complete migrate " + table.name + " table. Total rows read = " + count + " Total migrated rows = " + count +
         ". Migration time is # milliseconds\n");
  FreeStatement(destination_);
  FreeStatement(source_);
}

/// Whether there is such a row. What fails here ends the table without a word.
bool ExpectedRun::Read(const Table& table, std::size_t row) {
  if (!Call("SQLFetch(" + source_ + ")") || row > kRows) {
    return false;
  }
  if (table.reading == Reading::kOneByOne) {
    for (std::size_t column = 1; column <= table.columns.size(); ++column) {
      if (!Call("SQLGetData(" + source_ + ", " + std::to_string(column) + ", ")) {
        return false;
      }
      if (table.name == "GroupNegOrders" && column == 2) {
        LookUp(groups_, row);
      }
    }
  }
  if (table.name == "PoolOrders") {
    pools_.insert(row);
  }
  return true;
}

void ExpectedRun::Write(const Table& table, std::size_t row) {
  if (table.writing == Writing::kProcedure) {
    if (table.name == "SecGroups") {
      destination_.clear();  // The first one is left to the connection.
    }
    if (destination_.empty()) {
      AllocateStatement("dbc2", destination_);
    }
    PrepareAndBind(table);
  }
  if (table.name == "Clients" || table.name == "GroupOrders") {
    LookUp(groups_, row);
  }
  if (table.name == "Orders") {
    LookUp(groupOrders_, row);
  }
  if (table.name == "OrdersInPool") {
    LookUp(pools_, row);
  }
  Need("SQLExecute(" + destination_ + ")");
  if (table.writing == Writing::kProcedure) {
    FreeStatement(destination_);
  }
  if (table.name == "GroupDesc") {
    groups_.insert(row);
  }
  if (table.name == "GroupOrders") {
    groupOrders_.insert(row);
  }

  const std::size_t number = static_cast<std::size_t>(&table - kTables.data()) + 1;
  log_ += "@ insert row(" + std::to_string(row) + "): ";
  for (std::size_t column = 1; column <= table.columns.size(); ++column) {
    const Column& declared = table.columns[column - 1];
    log_ += column == 1 ? "[" : ", [";
    log_ += declared.name + "] = " + LoggedValue(declared.kind, number, row, column);
  }
  log_ += ";\n";
}

void ExpectedRun::PrepareAndBind(const Table& table) {
  Need("SQLPrepare(" + destination_ + ", \"" + (table.writing == Writing::kInsert ? "INSERT INTO " : "CALL ") +
       "public.\"");
  for (std::size_t parameter = 1; parameter <= table.parameters; ++parameter) {
    Need("SQLBindParameter(" + destination_ + ", " + std::to_string(parameter) + ", ");
  }
}

void ExpectedRun::CloseConnection(const std::string& number) {
  const auto allocated = [this](const std::string& name) {
    return std::any_of(handles_.begin(), handles_.end(), [&](const Handle& handle) { return handle.name == name; });
  };
  const std::string connection = "dbc" + number;
  const std::string environment = "env" + number;
  if (allocated(connection)) {
    if (Call("SQLDisconnect(" + connection + ")")) {
      for (Handle& handle : handles_) {
        handle.live = handle.live && handle.parent != connection;
      }
    }
    Free("SQLFreeHandle(SQL_HANDLE_DBC, " + connection + ")", connection);
  }
  if (allocated(environment)) {
    Free("SQLFreeEnv(" + environment + ")", environment);
  }
}

bool ExpectedRun::Call(const std::string& call) {
  calls_.push_back(call);
  return !fails_(calls_.size());
}

/// A failure of the call ends the run with the diagnostics of its handle.
void ExpectedRun::Need(const std::string& call) {
  if (!Call(call)) {
    throw End{diagnostics_(calls_.size())};
  }
}

bool ExpectedRun::Allocate(const std::string& call, const std::string& kind, const std::string& parent,
                           std::string& name) {
  if (!Call(call)) {
    return false;
  }
  const auto number = 1 + std::count_if(handles_.begin(), handles_.end(),
                                        [&](const Handle& handle) { return handle.name.starts_with(kind); });
  name = kind + std::to_string(number);
  handles_.push_back({.name = name, .parent = parent, .live = true});
  return true;
}

void ExpectedRun::AllocateStatement(const std::string& connection, std::string& name) {
  if (!Allocate("SQLAllocStmt(" + connection + ")", "stmt", connection, name)) {
    throw End{"SQL Error: "};  // The statement is asked, not the connection, and there is none.
  }
}

bool ExpectedRun::Free(const std::string& call, const std::string& name) {
  if (!Call(call)) {
    return false;
  }
  if (std::any_of(handles_.begin(), handles_.end(),
                  [&](const Handle& handle) { return handle.live && handle.parent == name; })) {
    violations_.push_back(call + " before what was allocated on it");
    return false;
  }
  std::find_if(handles_.begin(), handles_.end(), [&](const Handle& handle) { return handle.name == name; })->live =
      false;
  return true;
}

/// A failure is ignored.
void ExpectedRun::FreeStatement(std::string& name) {
  if (!name.empty()) {
    Free("SQLFreeHandle(SQL_HANDLE_STMT, " + name + ")", name);
    name.clear();
  }
}

void ExpectedRun::LookUp(const std::set<std::size_t>& map, std::size_t row) {
  if (!map.contains(row)) {
    throw End{"invalid map<K, T> key"};
  }
}

void ExpectedRun::Report(const std::string& line) {
  console_ += line;
  log_ += "@ " + line;
}

}  // namespace contract
