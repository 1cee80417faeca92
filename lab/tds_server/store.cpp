#include "lab/tds_server/store.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "lab/tds_server/functions.h"
#include "lab/tds_server/sql_error.h"

namespace tds {

namespace {

constexpr int kBusyTimeoutMilliseconds = 5000;
constexpr int kInstructionsBetweenInterruptChecks = 10000;

[[noreturn]] void ThrowLastError(sqlite3* database) {
  const int code = sqlite3_extended_errcode(database);
  if (code == SQLITE_INTERRUPT) {
    throw StatementInterrupted();
  }
  throw TranslateSqliteError(code, sqlite3_errmsg(database));
}

bool IsSystemTable(std::string_view table) {
  return table.starts_with("sqlite_");
}

void NoteChange(Statement::Access& access, Statement::Change change, std::string_view table) {
  // The first change is the statement's own: triggers come later, and so do the rows of a table that is dropped.
  if (access.change == Statement::Change::None && !IsSystemTable(table)) {
    access.change = change;
  }
}

/// Notes what a statement does to tables. Keeps clients within their database, and transactions to the members for
/// them.
int Authorize(void* context, int action, const char* table, const char* /*column*/, const char* /*schema*/,
              const char* /*trigger*/) {
  auto& access = *static_cast<Statement::Access*>(context);
  switch (action) {
    case SQLITE_READ:
      if (std::find(access.tablesRead.begin(), access.tablesRead.end(), table) == access.tablesRead.end()) {
        access.tablesRead.emplace_back(table);
      }
      return SQLITE_OK;
    case SQLITE_INSERT:
      NoteChange(access, Statement::Change::Insert, table);
      return SQLITE_OK;
    case SQLITE_DELETE:
      NoteChange(access, Statement::Change::Delete, table);
      return SQLITE_OK;
    case SQLITE_UPDATE:
      NoteChange(access, Statement::Change::Update, table);
      return SQLITE_OK;
    case SQLITE_DROP_TABLE:
      NoteChange(access, Statement::Change::Drop, table);
      return SQLITE_OK;
    case SQLITE_TRANSACTION:
    case SQLITE_SAVEPOINT:
    case SQLITE_ATTACH:
    case SQLITE_DETACH:
    case SQLITE_PRAGMA:
      return SQLITE_DENY;
    default:
      return SQLITE_OK;
  }
}

int AskInterrupted(void* context) {
  return (*static_cast<std::function<bool()>*>(context))() ? 1 : 0;
}

}  // namespace

Statement::Statement(sqlite3_stmt* statement, Access access) : statement_(statement), access_(std::move(access)) {}

int Statement::ColumnCount() const {
  return sqlite3_column_count(statement_.get());
}

std::string_view Statement::ColumnName(int column) const {
  return sqlite3_column_name(statement_.get(), column);
}

std::optional<std::string_view> Statement::DeclaredType(int column) const {
  const char* declaration = sqlite3_column_decltype(statement_.get(), column);
  return declaration == nullptr ? std::nullopt : std::optional<std::string_view>(declaration);
}

std::optional<Statement::Origin> Statement::OriginOf(int column) const {
  const char* table = sqlite3_column_table_name(statement_.get(), column);
  const char* name = sqlite3_column_origin_name(statement_.get(), column);
  return table == nullptr || name == nullptr ? std::nullopt : std::optional<Origin>({.table = table, .column = name});
}

bool Statement::Step() {
  switch (sqlite3_step(statement_.get())) {
    case SQLITE_ROW:
      return true;
    case SQLITE_DONE:
      return false;
    default:
      ThrowLastError(sqlite3_db_handle(statement_.get()));
  }
}

Statement::ValueKind Statement::Kind(int column) const {
  switch (sqlite3_column_type(statement_.get(), column)) {
    case SQLITE_NULL:
      return ValueKind::Null;
    case SQLITE_INTEGER:
      return ValueKind::Integer;
    case SQLITE_FLOAT:
      return ValueKind::Real;
    case SQLITE_BLOB:
      return ValueKind::Binary;
    default:
      return ValueKind::Text;
  }
}

std::int64_t Statement::Integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

double Statement::Real(int column) const {
  return sqlite3_column_double(statement_.get(), column);
}

std::string_view Statement::Text(int column) const {
  const auto* text = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  return text == nullptr ? std::string_view{} : std::string_view(text, size);
}

bool Statement::IsUtf16(int column) const {
  return tds::IsUtf16(sqlite3_column_value(statement_.get(), column));
}

const CodePage* Statement::CodePageOfValue(int column) const {
  return CodePageOf(sqlite3_column_value(statement_.get(), column));
}

Store::Store(const std::filesystem::path& file, std::function<bool()> interrupted)
    : interrupted_(std::move(interrupted)) {
  sqlite3* database = nullptr;
  const int opened = sqlite3_open_v2(file.c_str(), &database,
                                     SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
  database_.reset(database);
  // The schema must be read once to find out whether the file is a database.
  if (opened != SQLITE_OK ||
      sqlite3_exec(database, "SELECT * FROM sqlite_master LIMIT 0", nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw std::runtime_error(file.string() + ": " + sqlite3_errmsg(database));
  }
  sqlite3_db_config(database, SQLITE_DBCONFIG_MAINDBNAME, "dbo");
  // Names in double quotes are names, and never texts when there is no such column.
  sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_DQS_DDL, 0, nullptr);
  // VACUUM attaches the file that it writes when it runs, where no authorizer asks about it.
  sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_busy_timeout(database, kBusyTimeoutMilliseconds);
  sqlite3_progress_handler(database, kInstructionsBetweenInterruptChecks, AskInterrupted, &interrupted_);
}

void Store::DefineFunctions(Collations& collations) {
  sqlite3_limit(database_.get(), SQLITE_LIMIT_ATTACHED, 1);  // The system views.
  tds::DefineFunctions(database_.get(), collations);
}

Statement Store::Prepare(std::string_view sql) {
  Statement::Access access;
  sqlite3_set_authorizer(database_.get(), Authorize, &access);
  sqlite3_stmt* prepared = nullptr;
  const char* tail = nullptr;
  const int result = sqlite3_prepare_v2(database_.get(), sql.data(), static_cast<int>(sql.size()), &prepared, &tail);
  sqlite3_set_authorizer(database_.get(), nullptr, nullptr);
  if (result != SQLITE_OK) {
    ThrowLastError(database_.get());
  }
  Statement statement(prepared, std::move(access));
  // Only a zero character in the text makes SQLite stop before the end or prepare nothing at all.
  if (prepared == nullptr || tail != sql.data() + sql.size()) {
    throw SyntaxError("");
  }
  return statement;
}

std::uint64_t Store::RowsChanged() const {
  return static_cast<std::uint64_t>(sqlite3_changes64(database_.get()));
}

int Store::TransactionDepth() {
  // SQLite may have ended the transaction by itself, after an interrupted change for example.
  if (sqlite3_get_autocommit(database_.get()) != 0) {
    transactionDepth_ = 0;
  }
  return transactionDepth_;
}

void Store::BeginTransaction() {
  if (TransactionDepth() == 0) {
    Execute("BEGIN");
  }
  ++transactionDepth_;
}

void Store::CommitTransaction() {
  if (TransactionDepth() == 0) {
    throw SqlError(3902, 16, 1, "The COMMIT TRANSACTION request has no corresponding BEGIN TRANSACTION.");
  }
  if (transactionDepth_ == 1) {
    Execute("COMMIT");
  }
  --transactionDepth_;
}

void Store::RollbackTransaction() {
  if (TransactionDepth() == 0) {
    throw SqlError(3903, 16, 1, "The ROLLBACK TRANSACTION request has no corresponding BEGIN TRANSACTION.");
  }
  Execute("ROLLBACK");
  transactionDepth_ = 0;
}

void Store::Execute(const char* sql) {
  if (sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    ThrowLastError(database_.get());
  }
}

}  // namespace tds
