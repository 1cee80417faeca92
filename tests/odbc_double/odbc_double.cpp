#include "odbc_double/odbc_double.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <utility>

namespace odbc_double {

namespace {

struct Binding {
  SQLSMALLINT cType = 0;
  SQLPOINTER buffer = nullptr;
  SQLLEN bufferLength = 0;
  SQLLEN* indicator = nullptr;
  SQLSMALLINT direction = SQL_PARAM_INPUT;
};

struct Handle {
  SQLSMALLINT type = 0;
  std::string name;
  Handle* parent = nullptr;
  bool live = true;
  std::string dataSource;
  std::string query;
  std::map<SQLUSMALLINT, Binding> columns;
  std::map<SQLUSMALLINT, Binding> parameters;
  std::size_t rowsFetched = 0;
  std::vector<Diagnostic> diagnostics;
};

struct ScriptedCall {
  std::string function;
  std::size_t remaining;
  Outcome outcome;
};

struct State {
  std::vector<std::string> calls;
  std::vector<std::string> violations;
  std::size_t callCount = 0;
  bool succeedWithInfo = false;
  bool ignoreNulls = false;
  std::vector<ScriptedCall> scriptedCalls;
  std::map<std::size_t, Outcome> outcomesByNumber;
  std::map<const void*, std::string> addressNames;
  std::map<std::string, std::string> serverNames;
  std::vector<std::pair<std::string, std::vector<ResultRow>>> results;
  std::map<std::string, std::vector<std::vector<std::int32_t>>> outputs;
  std::map<std::string, std::size_t> executions;
  // Kept when freed, so that a later use is noticed and no address is handed out twice.
  std::vector<std::unique_ptr<Handle>> handles;
};

State state;

std::string ResultName(SQLRETURN result) {
  switch (result) {
    case SQL_SUCCESS:
      return "SQL_SUCCESS";
    case SQL_SUCCESS_WITH_INFO:
      return "SQL_SUCCESS_WITH_INFO";
    case SQL_NO_DATA:
      return "SQL_NO_DATA";
    case SQL_ERROR:
      return "SQL_ERROR";
    case SQL_INVALID_HANDLE:
      return "SQL_INVALID_HANDLE";
    default:
      return std::to_string(result);
  }
}

std::string CTypeName(SQLSMALLINT type) {
  switch (type) {
    case SQL_C_CHAR:
      return "SQL_C_CHAR";
    case SQL_C_LONG:
      return "SQL_C_LONG";
    case SQL_C_DOUBLE:
      return "SQL_C_DOUBLE";
    default:
      return std::to_string(type);
  }
}

std::string SqlTypeName(SQLSMALLINT type) {
  switch (type) {
    case SQL_CHAR:
      return "SQL_CHAR";
    case SQL_VARCHAR:
      return "SQL_VARCHAR";
    case SQL_INTEGER:
      return "SQL_INTEGER";
    case SQL_DOUBLE:
      return "SQL_DOUBLE";
    default:
      return std::to_string(type);
  }
}

std::string HandleTypeName(SQLSMALLINT type) {
  switch (type) {
    case SQL_HANDLE_ENV:
      return "SQL_HANDLE_ENV";
    case SQL_HANDLE_DBC:
      return "SQL_HANDLE_DBC";
    case SQL_HANDLE_STMT:
      return "SQL_HANDLE_STMT";
    default:
      return std::to_string(type);
  }
}

std::string DirectionName(SQLSMALLINT direction) {
  switch (direction) {
    case SQL_PARAM_INPUT:
      return "SQL_PARAM_INPUT";
    case SQL_PARAM_OUTPUT:
      return "SQL_PARAM_OUTPUT";
    default:
      return std::to_string(direction);
  }
}

std::string LengthName(SQLLEN length) {
  return length == SQL_NTS ? "SQL_NTS" : std::to_string(length);
}

std::string AddressName(const void* address) {
  if (address == nullptr) {
    return "null";
  }
  const auto named = state.addressNames.find(address);
  return named != state.addressNames.end() ? named->second : "address";
}

std::string IndicatorName(const SQLLEN* indicator) {
  return indicator == nullptr ? "null" : "indicator";
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  quoted += text;
  quoted += '"';
  return quoted;
}

std::string InputText(const SQLCHAR* text, SQLLEN length) {
  const auto* characters = reinterpret_cast<const char*>(text);
  return length == SQL_NTS ? std::string(characters) : std::string(characters, static_cast<std::size_t>(length));
}

Handle* Find(const void* handle) {
  const auto found = std::find_if(state.handles.begin(), state.handles.end(),
                                  [handle](const auto& candidate) { return candidate.get() == handle; });
  return found != state.handles.end() ? found->get() : nullptr;
}

std::string HandleName(const void* handle) {
  const Handle* known = Find(handle);
  return handle == nullptr ? "null" : known == nullptr ? "unknown" : known->name;
}

Handle* Allocate(SQLSMALLINT type, std::string_view prefix, Handle* parent) {
  const auto number = 1 + std::count_if(state.handles.begin(), state.handles.end(),
                                        [type](const auto& handle) { return handle->type == type; });
  auto handle = std::make_unique<Handle>();
  handle->type = type;
  handle->name = std::string(prefix) + std::to_string(number);
  handle->parent = parent;
  state.handles.push_back(std::move(handle));
  return state.handles.back().get();
}

/// One call: what happens to it by script, and its record.
class Call {
 public:
  Call(std::string function, const void* handle, const std::string& arguments)
      : function_(std::move(function)), handle_(Find(handle)), record_(function_ + "(" + arguments + ")") {
    ++state.callCount;
    if (function_ != "SQLAllocEnv" && (handle_ == nullptr || !handle_->live)) {
      state.violations.push_back(record_ + (handle == nullptr ? " on a null handle" : " on a freed handle"));
      outcome_ = Outcome{.result = SQL_INVALID_HANDLE, .diagnostics = {}};
      return;
    }
    if (handle_ != nullptr) {
      handle_->diagnostics.clear();
    }
    outcome_ = TakeScripted();
  }

  /// Whether the call does its work.
  bool works() const { return !outcome_ || outcome_->result == SQL_SUCCESS_WITH_INFO; }

  Handle* handle() const { return handle_; }

  void Sends(const std::string& values) { record_ += " sends " + values; }

  /// The call's result, unless the script has another one. Diagnostics stay with the handle.
  SQLRETURN Return(SQLRETURN result, const std::vector<Diagnostic>& diagnostics = {}) {
    std::vector<Diagnostic> left = diagnostics;
    if (outcome_ && (!works() || result == SQL_SUCCESS)) {
      result = outcome_->result;
      left = outcome_->diagnostics;
    }
    if (result == SQL_SUCCESS && state.succeedWithInfo) {
      result = SQL_SUCCESS_WITH_INFO;
      left = {{"01000", 0, "information"}};
    }
    if (handle_ != nullptr) {
      handle_->diagnostics = left;
    }
    if (result != SQL_SUCCESS) {
      record_ += " -> " + ResultName(result);
    }
    state.calls.push_back(record_);
    return result;
  }

 private:
  std::optional<Outcome> TakeScripted() {
    std::optional<Outcome> outcome;
    if (const auto scripted = state.outcomesByNumber.find(state.callCount); scripted != state.outcomesByNumber.end()) {
      outcome = scripted->second;
    }
    for (auto scripted = state.scriptedCalls.begin(); scripted != state.scriptedCalls.end();) {
      if (scripted->function == function_ && --scripted->remaining == 0) {
        outcome = scripted->outcome;
        scripted = state.scriptedCalls.erase(scripted);
      } else {
        ++scripted;
      }
    }
    return outcome;
  }

  std::string function_;
  Handle* handle_;
  std::string record_;
  std::optional<Outcome> outcome_;
};

template <class... Arguments>
std::string Join(const Arguments&... arguments) {
  std::ostringstream text;
  std::string_view separator;
  ((text << separator << arguments, separator = ", "), ...);
  return text.str();
}

const std::vector<ResultRow>* ResultOf(const std::string& query) {
  const auto found = std::find_if(state.results.rbegin(), state.results.rend(), [&query](const auto& result) {
    return query.find(result.first) != std::string::npos;
  });
  return found != state.results.rend() ? &found->second : nullptr;
}

std::string TextOf(const Value& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    return std::to_string(*number);
  }
  if (const auto* number = std::get_if<double>(&value)) {
    std::ostringstream text;
    text << *number;
    return text.str();
  }
  return std::get<std::string>(value);
}

template <class Number>
std::optional<Number> NumberOf(const Value& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) {
    return static_cast<Number>(*number);
  }
  if (const auto* number = std::get_if<double>(&value)) {
    return static_cast<Number>(*number);
  }
  const auto& text = std::get<std::string>(value);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) {
    return std::nullopt;
  }
  return number;
}

struct Conversion {
  SQLRETURN result = SQL_SUCCESS;
  std::vector<Diagnostic> diagnostics;
};

/// Puts a value into a buffer as a driver does: numbers whole, whatever the buffer's length, texts cut to it.
Conversion Store(const Value& value, const Binding& target) {
  if (std::holds_alternative<std::monostate>(value)) {
    if (target.indicator == nullptr) {
      return {SQL_ERROR, {{"22002", 0, "Indicator variable required but not supplied"}}};
    }
    *target.indicator = SQL_NULL_DATA;
    return {};
  }
  if (target.cType == SQL_C_CHAR) {
    const std::string text = TextOf(value);
    const std::size_t fitting = std::min(text.size(), static_cast<std::size_t>(target.bufferLength) - 1);
    std::memcpy(target.buffer, text.data(), fitting);
    static_cast<char*>(target.buffer)[fitting] = '\0';
    if (fitting < text.size()) {
      return {SQL_SUCCESS_WITH_INFO, {{"01004", 0, "String data, right truncated"}}};
    }
    return {};
  }
  Conversion notANumber{SQL_ERROR, {{"22005", 0, "Error in assignment"}}};
  if (target.cType == SQL_C_LONG) {
    const std::optional<std::int32_t> number = NumberOf<std::int32_t>(value);
    if (!number) {
      return notANumber;
    }
    std::memcpy(target.buffer, &*number, sizeof(*number));
    return {};
  }
  const std::optional<double> number = NumberOf<double>(value);
  if (!number) {
    return notANumber;
  }
  std::memcpy(target.buffer, &*number, sizeof(*number));
  return {};
}

std::string SentValue(const Binding& parameter) {
  if (parameter.cType == SQL_C_CHAR) {
    return Quoted(static_cast<const char*>(parameter.buffer));
  }
  if (parameter.cType == SQL_C_LONG) {
    std::int32_t number = 0;
    std::memcpy(&number, parameter.buffer, sizeof(number));
    return std::to_string(number);
  }
  double number = 0;
  std::memcpy(&number, parameter.buffer, sizeof(number));
  std::ostringstream text;
  text << number;
  return text.str();
}

std::string SentValues(const Handle& statement) {
  std::string values;
  for (const auto& [number, parameter] : statement.parameters) {
    if (parameter.direction == SQL_PARAM_INPUT) {
      values += (values.empty() ? "" : ", ") + SentValue(parameter);
    }
  }
  return values;
}

void StoreOutputs(const Handle& statement) {
  for (const auto& [queryPart, outputs] : state.outputs) {
    if (statement.query.find(queryPart) == std::string::npos) {
      continue;
    }
    const std::vector<std::int32_t>& values = outputs.at(state.executions[queryPart]++);
    auto value = values.begin();
    for (const auto& [number, parameter] : statement.parameters) {
      if (parameter.direction == SQL_PARAM_OUTPUT && value != values.end()) {
        std::memcpy(parameter.buffer, &*value++, sizeof(std::int32_t));
      }
    }
  }
}

void FreeChildren(const Handle* parent) {
  for (const auto& handle : state.handles) {
    if (handle->parent == parent) {
      handle->live = false;
    }
  }
}

/// Marks a handle as freed; false when something that was allocated on it is still alive.
bool Free(Handle* handle, const std::string& call) {
  const bool hasChildren = std::any_of(state.handles.begin(), state.handles.end(),
                                       [handle](const auto& other) { return other->parent == handle && other->live; });
  if (hasChildren) {
    state.violations.push_back(call + " before what was allocated on it");
    return false;
  }
  handle->live = false;
  return true;
}

}  // namespace

void Reset() {
  state = State{};
}

void SetServerName(const std::string& dataSource, const std::string& name) {
  state.serverNames[dataSource] = name;
}

void SetResult(const std::string& queryPart, std::vector<ResultRow> rows) {
  state.results.emplace_back(queryPart, std::move(rows));
}

void SetOutputs(const std::string& queryPart, std::vector<std::vector<std::int32_t>> outputs) {
  state.outputs[queryPart] = std::move(outputs);
}

void OnCall(const std::string& function, std::size_t n, Outcome outcome) {
  state.scriptedCalls.push_back({function, n, std::move(outcome)});
}

void OnCallNumber(std::size_t k, Outcome outcome) {
  state.outcomesByNumber[k] = std::move(outcome);
}

void SucceedWithInfo() {
  state.succeedWithInfo = true;
}

void IgnoreNullsWithoutIndicator() {
  state.ignoreNulls = true;
}

void NameFields(const std::string& prefix, const void* row, const std::vector<FieldName>& fields) {
  for (const FieldName& field : fields) {
    state.addressNames[static_cast<const char*>(row) + field.offset] = prefix + "." + std::string(field.name);
  }
}

const std::vector<std::string>& Calls() {
  return state.calls;
}

void ClearCalls() {
  state.calls.clear();
}

std::size_t CallCount() {
  return state.callCount;
}

std::vector<std::string> LiveHandles() {
  std::vector<std::string> names;
  for (const auto& handle : state.handles) {
    if (handle->live) {
      names.push_back(handle->name);
    }
  }
  return names;
}

const std::vector<std::string>& Violations() {
  return state.violations;
}

}  // namespace odbc_double

using namespace odbc_double;  // NOLINT(google-build-using-namespace): the functions below are the double's other half

SQLRETURN SQLAllocEnv(SQLHENV* environment) {
  Call call("SQLAllocEnv", nullptr, "");
  if (call.works()) {
    *environment = Allocate(SQL_HANDLE_ENV, "env", nullptr);
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLAllocHandle(SQLSMALLINT type, SQLHANDLE input, SQLHANDLE* output) {
  Call call("SQLAllocHandle", input, Join(HandleTypeName(type), HandleName(input)));
  if (call.works()) {
    *output = Allocate(type, "dbc", call.handle());
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLAllocStmt(SQLHDBC connection, SQLHSTMT* statement) {
  Call call("SQLAllocStmt", connection, HandleName(connection));
  if (call.works()) {
    *statement = Allocate(SQL_HANDLE_STMT, "stmt", call.handle());
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLConnect(SQLHDBC connection, SQLCHAR* dataSource, SQLSMALLINT dataSourceLength, SQLCHAR* login,
                     SQLSMALLINT loginLength, SQLCHAR* password, SQLSMALLINT passwordLength) {
  Call call("SQLConnect", connection,
            Join(HandleName(connection), Quoted(InputText(dataSource, dataSourceLength)), LengthName(dataSourceLength),
                 Quoted(InputText(login, loginLength)), LengthName(loginLength),
                 Quoted(InputText(password, passwordLength)), LengthName(passwordLength)));
  if (call.works()) {
    call.handle()->dataSource = InputText(dataSource, dataSourceLength);
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLGetInfo(SQLHDBC connection, SQLUSMALLINT type, SQLPOINTER value, SQLSMALLINT bufferLength,
                     SQLSMALLINT* length) {
  Call call("SQLGetInfo", connection,
            Join(HandleName(connection), type == SQL_DBMS_NAME ? "SQL_DBMS_NAME" : std::to_string(type), bufferLength,
                 length == nullptr ? "null" : "length"));
  if (call.works()) {
    const auto known = state.serverNames.find(call.handle()->dataSource);
    const std::string name = known != state.serverNames.end() ? known->second : "Microsoft SQL Server";
    const auto size = static_cast<std::size_t>(bufferLength);
    std::snprintf(static_cast<char*>(value), size, "%s", name.c_str());
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
  Call call("SQLExecDirect", statement,
            Join(HandleName(statement), Quoted(InputText(text, length)), LengthName(length)));
  if (call.works()) {
    call.handle()->query = InputText(text, length);
    call.handle()->rowsFetched = 0;
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
  Call call("SQLPrepare", statement, Join(HandleName(statement), Quoted(InputText(text, length)), LengthName(length)));
  if (call.works()) {
    call.handle()->query = InputText(text, length);
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLBindCol(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER buffer, SQLLEN bufferLength,
                     SQLLEN* indicator) {
  Call call("SQLBindCol", statement,
            Join(HandleName(statement), column, CTypeName(cType), AddressName(buffer), bufferLength,
                 IndicatorName(indicator)));
  if (call.works()) {
    call.handle()->columns[column] = {
        .cType = cType, .buffer = buffer, .bufferLength = bufferLength, .indicator = indicator};
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLBindParameter(SQLHSTMT statement, SQLUSMALLINT parameter, SQLSMALLINT direction, SQLSMALLINT cType,
                           SQLSMALLINT sqlType, SQLULEN columnSize, SQLSMALLINT decimalDigits, SQLPOINTER buffer,
                           SQLLEN bufferLength, SQLLEN* indicator) {
  Call call("SQLBindParameter", statement,
            Join(HandleName(statement), parameter, DirectionName(direction), CTypeName(cType), SqlTypeName(sqlType),
                 columnSize, decimalDigits, AddressName(buffer), bufferLength, IndicatorName(indicator)));
  if (call.works()) {
    call.handle()->parameters[parameter] = {
        .cType = cType, .buffer = buffer, .bufferLength = bufferLength, .indicator = indicator, .direction = direction};
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLExecute(SQLHSTMT statement) {
  Call call("SQLExecute", statement, HandleName(statement));
  if (call.handle() != nullptr) {
    call.Sends(SentValues(*call.handle()));
  }
  if (call.works()) {
    StoreOutputs(*call.handle());
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLFetch(SQLHSTMT statement) {
  Call call("SQLFetch", statement, HandleName(statement));
  if (!call.works()) {
    return call.Return(SQL_ERROR);
  }
  Handle& handle = *call.handle();
  const std::vector<ResultRow>* rows = ResultOf(handle.query);
  if (rows == nullptr || handle.rowsFetched == rows->size()) {
    return call.Return(SQL_NO_DATA);
  }
  const ResultRow& row = (*rows)[handle.rowsFetched++];
  Conversion conversion;
  for (const auto& [number, column] : handle.columns) {
    const Conversion stored = Store(row.at(number - 1U), column);
    if (stored.result != SQL_SUCCESS) {
      conversion = stored;
    }
    if (stored.result == SQL_ERROR) {
      break;
    }
  }
  return call.Return(conversion.result, conversion.diagnostics);
}

SQLRETURN SQLGetData(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER buffer, SQLLEN bufferLength,
                     SQLLEN* indicator) {
  Call call("SQLGetData", statement,
            Join(HandleName(statement), column, CTypeName(cType), AddressName(buffer), bufferLength,
                 IndicatorName(indicator)));
  if (!call.works()) {
    return call.Return(SQL_ERROR);
  }
  const Handle& handle = *call.handle();
  const std::vector<ResultRow>* rows = ResultOf(handle.query);
  if (rows == nullptr || handle.rowsFetched == 0) {
    return call.Return(SQL_ERROR, {{"24000", 0, "Invalid cursor state"}});
  }
  const Value& value = (*rows)[handle.rowsFetched - 1].at(column - 1U);
  if (state.ignoreNulls && indicator == nullptr && std::holds_alternative<std::monostate>(value)) {
    return call.Return(SQL_SUCCESS);
  }
  const Conversion stored =
      Store(value, {.cType = cType, .buffer = buffer, .bufferLength = bufferLength, .indicator = indicator});
  return call.Return(stored.result, stored.diagnostics);
}

SQLRETURN SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT record, SQLCHAR* sqlState,
                        SQLINTEGER* nativeCode, SQLCHAR* message, SQLSMALLINT bufferLength, SQLSMALLINT* length) {
  std::string line = "SQLGetDiagRec(" + Join(HandleTypeName(type), HandleName(handle), record, bufferLength) + ")";
  SQLRETURN result = SQL_SUCCESS;
  const Handle* known = Find(handle);
  if (known == nullptr || !known->live) {
    result = SQL_INVALID_HANDLE;
  } else if (static_cast<std::size_t>(record) > known->diagnostics.size()) {
    result = SQL_NO_DATA;
  } else {
    const Diagnostic& diagnostic = known->diagnostics[static_cast<std::size_t>(record) - 1];
    std::snprintf(reinterpret_cast<char*>(sqlState), SQL_SQLSTATE_SIZE + 1, "%s", diagnostic.state.c_str());
    *nativeCode = diagnostic.nativeCode;
    const auto size = static_cast<std::size_t>(bufferLength);
    std::snprintf(reinterpret_cast<char*>(message), size, "%s", diagnostic.message.c_str());
    *length = static_cast<SQLSMALLINT>(diagnostic.message.size());
    result = diagnostic.message.size() < size ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
  }
  if (result != SQL_SUCCESS) {
    line += " -> " + ResultName(result);
  }
  state.calls.push_back(line);
  return result;
}

SQLRETURN SQLFreeHandle(SQLSMALLINT type, SQLHANDLE handle) {
  const std::string arguments = Join(HandleTypeName(type), HandleName(handle));
  Call call("SQLFreeHandle", handle, arguments);
  if (call.works() && call.handle() != nullptr && !Free(call.handle(), "SQLFreeHandle(" + arguments + ")")) {
    return call.Return(SQL_ERROR);
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLDisconnect(SQLHDBC connection) {
  Call call("SQLDisconnect", connection, HandleName(connection));
  if (call.works()) {
    FreeChildren(call.handle());
  }
  return call.Return(SQL_SUCCESS);
}

SQLRETURN SQLFreeEnv(SQLHENV environment) {
  Call call("SQLFreeEnv", environment, HandleName(environment));
  if (call.works() && call.handle() != nullptr && !Free(call.handle(), "SQLFreeEnv(" + HandleName(environment) + ")")) {
    return call.Return(SQL_ERROR);
  }
  return call.Return(SQL_SUCCESS);
}
