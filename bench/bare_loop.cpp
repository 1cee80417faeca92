// Migrates some tables with the bare calls that one fetch and one execute per row take: the floor under every program
// that keeps to them. The statements, the bindings and their order are the program's; there is no log, no text of a row
// and no copy of it, since columns and parameters are bound to the same buffer.
//
//   bare_loop SOURCE LOGIN DESTINATION LOGIN    the passwords, one per line, come from standard input
//
// Prints the name, the number of rows and the milliseconds of each table.

#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

struct Column {
  std::string_view name;
  SQLSMALLINT cType;
  SQLSMALLINT sqlType;
  std::size_t size;
};

constexpr Column Int(std::string_view name) {
  return {name, SQL_C_LONG, SQL_INTEGER, sizeof(std::int32_t)};
}
constexpr Column Double(std::string_view name) {
  return {name, SQL_C_DOUBLE, SQL_DOUBLE, sizeof(double)};
}
constexpr Column Char(std::string_view name, std::size_t width) {
  return {name, SQL_C_CHAR, SQL_CHAR, width + 1};
}
constexpr Column VarChar(std::string_view name, std::size_t width) {
  return {name, SQL_C_CHAR, SQL_VARCHAR, width + 1};
}

using Identifiers = std::unordered_map<std::int32_t, std::int32_t>;

struct Table {
  std::string name;
  std::vector<Column> columns;
  std::string truncateEnd{};
  /// Without a procedure every column is inserted.
  std::string procedure{};
  std::vector<std::string_view> inputs{};
  std::vector<std::string_view> outputs{};
  /// The column that refers to a row with a new identifier, and the new identifiers.
  std::string_view reference{};
  const Identifiers* referred = nullptr;
  /// Where the first column's new value is recorded.
  Identifiers* created = nullptr;
};

SQLCHAR* SqlText(const std::string& text) {
  return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.data()));
}

SQLSMALLINT ShortLength(const std::string& text) {
  return static_cast<SQLSMALLINT>(text.size());
}

void Require(SQLRETURN result, SQLSMALLINT type, SQLHANDLE handle) {
  if (SQL_SUCCEEDED(result)) {
    return;
  }
  std::array<SQLCHAR, 6> state{};
  std::array<SQLCHAR, 512> message{};
  SQLGetDiagRec(type, handle, 1, state.data(), nullptr, message.data(), static_cast<SQLSMALLINT>(message.size()),
                nullptr);
  throw std::runtime_error(reinterpret_cast<const char*>(message.data()));
}

SQLHDBC Connect(const std::string& dataSourceName, const std::string& login, const std::string& password) {
  SQLHENV environment = SQL_NULL_HENV;
  SQLHDBC connection = SQL_NULL_HDBC;
  SQLAllocEnv(&environment);
  SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
  Require(SQLConnect(connection, SqlText(dataSourceName), ShortLength(dataSourceName), SqlText(login),
                     ShortLength(login), SqlText(password), ShortLength(password)),
          SQL_HANDLE_DBC, connection);
  return connection;
}

SQLHSTMT Allocate(SQLHDBC connection) {
  SQLHSTMT statement = SQL_NULL_HSTMT;
  Require(SQLAllocStmt(connection, &statement), SQL_HANDLE_DBC, connection);
  return statement;
}

void ExecuteDirect(SQLHSTMT statement, const std::string& text) {
  Require(SQLExecDirect(statement, SqlText(text), static_cast<SQLINTEGER>(text.size())), SQL_HANDLE_STMT, statement);
}

std::string Joined(const std::vector<std::string>& parts, std::string_view separator) {
  std::string text;
  for (const std::string& part : parts) {
    text += text.empty() ? part : std::string(separator) + part;
  }
  return text;
}

std::string SelectText(const Table& table) {
  std::vector<std::string> names;
  for (const Column& column : table.columns) {
    names.push_back("[" + std::string(column.name) + "]");
  }
  return "SELECT " + Joined(names, ", ") + " FROM dbo.[" + table.name + "];";
}

std::string WriteText(const Table& table, std::size_t parameters) {
  const std::string markers = Joined(std::vector<std::string>(parameters, "?"), " , ");
  if (!table.procedure.empty()) {
    return "CALL public.\"" + table.procedure + "\"(" + markers + " );";
  }
  std::vector<std::string> names;
  for (const Column& column : table.columns) {
    names.push_back("\"" + std::string(column.name) + "\"");
  }
  return "INSERT INTO public.\"" + table.name + "\"(" + Joined(names, ", ") + ") VALUES(" + markers + ");";
}

struct Parameter {
  const Column* column;
  SQLSMALLINT direction;
  void* field;
};

/// The row in which a table's columns have their places.
class RowBuffer {
 public:
  explicit RowBuffer(const std::vector<Column>& columns) : columns_(columns) {
    std::size_t size = 0;
    for (const Column& column : columns) {
      offsets_.push_back(size);
      size += (column.size + alignof(double) - 1) / alignof(double) * alignof(double);
    }
    bytes_.resize(size);
  }

  void* Field(std::size_t column) { return bytes_.data() + offsets_[column]; }

  Parameter ParameterOf(std::string_view name, SQLSMALLINT direction) {
    const auto column =
        std::find_if(columns_.begin(), columns_.end(), [name](const Column& each) { return each.name == name; });
    return {&*column, direction, Field(static_cast<std::size_t>(column - columns_.begin()))};
  }

 private:
  const std::vector<Column>& columns_;
  std::vector<std::size_t> offsets_;
  std::vector<char> bytes_;
};

void PrepareAndBind(SQLHSTMT statement, const std::string& text, const std::vector<Parameter>& parameters) {
  Require(SQLPrepare(statement, SqlText(text), SQL_NTS), SQL_HANDLE_STMT, statement);
  SQLUSMALLINT number = 0;
  for (const Parameter& parameter : parameters) {
    Require(SQLBindParameter(statement, ++number, parameter.direction, parameter.column->cType,
                             parameter.column->sqlType, parameter.column->size, 0, parameter.field, 0, nullptr),
            SQL_HANDLE_STMT, statement);
  }
}

std::vector<Parameter> ParametersOf(const Table& table, RowBuffer& row) {
  std::vector<Parameter> parameters;
  if (table.procedure.empty()) {
    for (const Column& column : table.columns) {
      parameters.push_back(row.ParameterOf(column.name, SQL_PARAM_INPUT));
    }
  }
  for (const std::string_view name : table.inputs) {
    parameters.push_back(row.ParameterOf(name, SQL_PARAM_INPUT));
  }
  for (const std::string_view name : table.outputs) {
    parameters.push_back(row.ParameterOf(name, SQL_PARAM_OUTPUT));
  }
  return parameters;
}

bool Fetch(SQLHSTMT statement) {
  const SQLRETURN result = SQLFetch(statement);
  if (result == SQL_NO_DATA) {
    return false;
  }
  Require(result, SQL_HANDLE_STMT, statement);
  return true;
}

std::uint64_t InsertRows(SQLHSTMT read, SQLHSTMT write, const std::string& text,
                         const std::vector<Parameter>& parameters) {
  PrepareAndBind(write, text, parameters);
  std::uint64_t rows = 0;
  for (; Fetch(read); ++rows) {
    Require(SQLExecute(write), SQL_HANDLE_STMT, write);
  }
  SQLFreeHandle(SQL_HANDLE_STMT, write);
  return rows;
}

std::uint64_t CallForRows(SQLHSTMT read, SQLHSTMT write, SQLHDBC destination, const std::string& text,
                          const std::vector<Parameter>& parameters, const Table& table, RowBuffer& row) {
  auto* const identifier = static_cast<std::int32_t*>(row.Field(0));
  auto* const reference = table.referred != nullptr
                              ? static_cast<std::int32_t*>(row.ParameterOf(table.reference, SQL_PARAM_INPUT).field)
                              : nullptr;
  std::uint64_t rows = 0;
  for (; Fetch(read); ++rows) {
    const std::int32_t old = *identifier;
    if (reference != nullptr) {
      *reference = table.referred->at(*reference);
    }
    if (rows > 0) {
      write = Allocate(destination);
    }
    PrepareAndBind(write, text, parameters);
    Require(SQLExecute(write), SQL_HANDLE_STMT, write);
    SQLFreeHandle(SQL_HANDLE_STMT, write);
    if (table.created != nullptr) {
      table.created->emplace(old, *identifier);
    }
  }
  return rows;
}

void Migrate(const Table& table, SQLHDBC source, SQLHDBC destination) {
  using Clock = std::chrono::steady_clock;
  RowBuffer row(table.columns);
  const std::vector<Parameter> parameters = ParametersOf(table, row);
  const std::string text = WriteText(table, parameters.size());

  SQLHSTMT read = Allocate(source);
  SQLHSTMT write = Allocate(destination);
  ExecuteDirect(write, "TRUNCATE public.\"" + table.name + "\" RESTART IDENTITY" + table.truncateEnd + ";");
  ExecuteDirect(read, SelectText(table));
  SQLUSMALLINT number = 0;
  for (const Column& column : table.columns) {
    void* const field = row.Field(number);
    Require(SQLBindCol(read, ++number, column.cType, field, static_cast<SQLLEN>(column.size), nullptr), SQL_HANDLE_STMT,
            read);
  }
  const Clock::time_point start = Clock::now();
  const std::uint64_t rows = table.procedure.empty()
                                 ? InsertRows(read, write, text, parameters)
                                 : CallForRows(read, write, destination, text, parameters, table, row);
  const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
  SQLFreeHandle(SQL_HANDLE_STMT, read);
  std::cout << table.name << ' ' << rows << ' ' << elapsed.count() << std::endl;
}

std::vector<Table> Tables(Identifiers& groups, Identifiers& groupOrders) {
  return {
      {.name = "GroupDesc",
       .columns = {Int("GroupID"), VarChar("GroupCode", 64), VarChar("GroupName", 255), VarChar("disabled", 1),
                   VarChar("Mode", 10), Double("DefWeight"), Int("SplitOrders")},
       .truncateEnd = " CASCADE",
       .procedure = "BW_CreateClientGroupEx",
       .inputs = {"GroupCode", "GroupName", "disabled", "Mode", "DefWeight", "SplitOrders"},
       .outputs = {"GroupID"},
       .created = &groups},
      {.name = "GroupOrders",
       .columns = {Int("ID"),           Int("GroupID"),        Int("TradeDate"),
                   Int("TradeTime"),    Char("Buy", 1),        Char("ML", 1),
                   Char("SecCode", 12), Char("ClassCode", 12), Double("Price"),
                   Double("Qty"),       Double("RealQty"),     Double("BalanceQty"),
                   Double("KilledQty"), Char("Status", 1),     Char("Result", 1),
                   Int("OrdersCount"),  Char("Flags", 10),     Int("PoolID"),
                   Double("Value"),     Int("BWUserID"),       Char("BWSessionID", 40),
                   Int("BWCounter"),    Double("VisibleQty")},
       .truncateEnd = " CASCADE",
       .procedure = "BW_CreateGroupOrder",
       .inputs = {"GroupID",     "TradeDate", "TradeTime", "Buy",        "ML",         "SecCode",  "ClassCode",
                  "Price",       "Qty",       "RealQty",   "BalanceQty", "KilledQty",  "Status",   "Result",
                  "OrdersCount", "Flags",     "PoolID",    "Value",      "VisibleQty", "BWUserID", "BWSessionID"},
       .outputs = {"ID", "BWCounter"},
       .reference = "GroupID",
       .referred = &groups,
       .created = &groupOrders},
      {.name = "Orders",
       .columns = {Int("OrderID"),          Int("GroupOrderID"), Char("Buy", 1),       Char("ML", 1),
                   Int("TradeDate"),        Int("TradeTime"),    Char("SecCode", 12),  Char("ClassCode", 12),
                   Char("ClientCode", 12),  Char("TrdAcc", 12),  Double("Price"),      Double("Qty"),
                   Double("BalanceQty"),    Double("OrderNum"),  Char("Status", 1),    Char("Result", 1),
                   Int("OrderInPoolID"),    Double("Value"),     Double("VisibleQty"), Int("BWUserID"),
                   Char("BWSessionID", 40), Int("BWCounter")},
       .procedure = "BW_CreateOrder",
       .inputs = {"GroupOrderID", "TradeDate",     "TradeTime", "Buy",        "ML",         "SecCode",    "ClassCode",
                  "ClientCode",   "TrdAcc",        "Price",     "Qty",        "BalanceQty", "OrderNum",   "Status",
                  "Result",       "OrderInPoolID", "Value",     "VisibleQty", "BWUserID",   "BWSessionID"},
       .outputs = {"OrderID", "BWCounter"},
       .reference = "GroupOrderID",
       .referred = &groupOrders},
      {.name = "LoadedPositions",
       .columns = {Int("PosID"), Int("PosType"), VarChar("FirmID", 12), VarChar("ActiveCode", 12),
                   VarChar("ClientCode", 12), Int("LimitKind"), Double("OpenBalance")}},
      {.name = "StopOrders",
       .columns = {Int("OrderID"),        Int("GroupOrderID"),    Int("StopStyle"),         Char("Buy", 1),
                   Char("ML", 1),         Int("TradeDate"),       Int("TradeTime"),         Char("SecCode", 12),
                   Char("ClassCode", 12), Char("ASecCode", 12),   Char("AClassCode", 12),   Int("StopCond"),
                   Int("TransFlags"),     Char("ClientCode", 12), Double("StopPrice"),      Double("Price"),
                   Double("LinkedPrice"), Double("Offset"),       Double("Spread"),         Double("Qty"),
                   Double("Balance"),     Double("StopOrderNum"), Double("LinkedOrderNum"), Double("BaseOrderNum"),
                   Double("CoOrderNum"),  Char("Status", 1),      Char("Result", 1),        Int("Expire"),
                   Double("StopPrice2"),  Int("ActiveFromTime"),  Int("ActiveToTime"),      Char("TrdAcc", 12)}},
  };
}

void MigrateAll(char** arguments) {
  std::string sourcePassword;
  std::string destinationPassword;
  std::getline(std::cin, sourcePassword);
  std::getline(std::cin, destinationPassword);
  SQLHDBC source = Connect(arguments[1], arguments[2], sourcePassword);
  SQLHDBC destination = Connect(arguments[3], arguments[4], destinationPassword);
  Identifiers groups;
  Identifiers groupOrders;
  for (const Table& table : Tables(groups, groupOrders)) {
    Migrate(table, source, destination);
  }
  SQLDisconnect(destination);
  SQLDisconnect(source);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) {
    std::cerr << "usage: bare_loop SOURCE LOGIN DESTINATION LOGIN\n";
    return EXIT_FAILURE;
  }
  try {
    MigrateAll(argv);
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return EXIT_FAILURE;
  }
}
