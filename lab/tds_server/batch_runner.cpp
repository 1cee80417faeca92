#include "batch_runner.h"

#include <algorithm>
#include <array>
#include <utility>

#include "result_set.h"
#include "server_identity.h"
#include "sql_error.h"
#include "text.h"

namespace tds {

namespace {

constexpr std::uint16_t kSelectCommand = 0xC1;
constexpr std::uint16_t kInsertCommand = 0xC3;
constexpr std::uint16_t kDeleteCommand = 0xC4;
constexpr std::uint16_t kUpdateCommand = 0xC5;

constexpr std::array<std::string_view, 17> kAcceptedOptions = {
    "ANSI_DEFAULTS", "ANSI_NULLS", "ANSI_NULL_DFLT_ON",       "ANSI_PADDING",
    "ANSI_WARNINGS", "ARITHABORT", "CONCAT_NULL_YIELDS_NULL", "CURSOR_CLOSE_ON_COMMIT",
    "DATEFIRST",     "DATEFORMAT", "IMPLICIT_TRANSACTIONS",   "LANGUAGE",
    "LOCK_TIMEOUT",  "NOCOUNT",    "QUOTED_IDENTIFIER",       "TEXTSIZE",
    "TRANSACTION"};

std::string QuoteText(std::string_view text) {
  std::string quoted = "'";
  for (const char c : text) {
    quoted += c;
    if (c == '\'') {
      quoted += c;
    }
  }
  return quoted + "'";
}

}  // namespace

BatchRunner::BatchRunner(const Options& options, Connection& connection, PacketWriter& packets, TokenWriter& tokens,
                         std::uint16_t session_id, std::string database)
    : options_(options),
      connection_(connection),
      packets_(packets),
      tokens_(tokens),
      encoder_(FindCodePage(options.code_page)),
      store_(options.database, [&connection] { return connection.ResponseUnwanted(); }),
      session_id_(session_id),
      database_(std::move(database)) {}

void BatchRunner::RunBatch(std::string_view sql) {
  done_kind_ = DoneKind::kStatement;
  RunStatements(sql);
  SendHeldDone(0);
}

bool BatchRunner::RunInProcedure(std::string_view sql) {
  done_kind_ = DoneKind::kStatementInProcedure;
  const bool succeeded = RunStatements(sql);
  SendHeldDone(Done::kMore);
  return succeeded;
}

bool BatchRunner::RunStatements(std::string_view sql) {
  held_done_.reset();
  try {
    BatchReader reader(sql);
    while (const std::optional<BatchStatement> statement = reader.Next()) {
      if (statement->kind != BatchStatement::Kind::kIfInTransaction) {
        RunStatement(*statement);
      } else if (store_.TransactionDepth() == 0) {
        reader.Next();
      }
    }
    if (!held_done_) {
      EndStatement({});
    }
    return true;
  } catch (const SqlError& error) {
    tokens_.Error(error);
    EndStatement({.status = Done::kError});
    return false;
  }
}

void BatchRunner::BeginTransaction() {
  store_.BeginTransaction();
  if (store_.TransactionDepth() == 1) {
    tokens_.TransactionBegun(++transaction_id_);
  }
}

void BatchRunner::CommitTransaction() {
  store_.CommitTransaction();
  if (store_.TransactionDepth() == 0) {
    tokens_.TransactionCommitted(transaction_id_);
  }
}

void BatchRunner::RollbackTransaction() {
  store_.RollbackTransaction();
  tokens_.TransactionRolledBack(transaction_id_);
}

void BatchRunner::RunStatement(const BatchStatement& statement) {
  SendHeldDone(Done::kMore);
  switch (statement.kind) {
    case BatchStatement::Kind::kQuery:
      RunQuery(statement.text);
      return;
    case BatchStatement::Kind::kSetOption:
      SetOption(statement.text);
      break;
    case BatchStatement::Kind::kUseDatabase:
      UseDatabase(statement.text);
      break;
    case BatchStatement::Kind::kBeginTransaction:
      BeginTransaction();
      break;
    case BatchStatement::Kind::kCommitTransaction:
      CommitTransaction();
      break;
    case BatchStatement::Kind::kRollbackTransaction:
      RollbackTransaction();
      break;
    case BatchStatement::Kind::kIfInTransaction:
      break;
  }
  EndStatement({});
}

void BatchRunner::RunQuery(std::string_view sql) {
  const std::string text = ReplaceGlobalVariables(sql, [this](std::string_view name) { return GlobalVariable(name); });
  Statement statement = store_.Prepare(text);
  if (statement.ReturnsRows()) {
    SendRows(statement);
    return;
  }
  statement.Step();
  switch (statement.change()) {
    case Statement::Change::kNone:
      EndStatement({});
      break;
    case Statement::Change::kInsert:
      EndStatement({.status = Done::kCount, .command = kInsertCommand, .row_count = store_.RowsChanged()});
      break;
    case Statement::Change::kDelete:
      EndStatement({.status = Done::kCount, .command = kDeleteCommand, .row_count = store_.RowsChanged()});
      break;
    case Statement::Change::kUpdate:
      EndStatement({.status = Done::kCount, .command = kUpdateCommand, .row_count = store_.RowsChanged()});
      break;
  }
}

void BatchRunner::SendRows(Statement& statement) {
  const ActiveFaults faults = FaultsOf(statement);
  bool has_row = statement.Step();
  const std::vector<Column> columns = DescribeColumns(statement, has_row);
  tokens_.ColumnMetadata(columns);

  std::uint64_t rows_sent = 0;
  SufferFaults(faults, rows_sent);
  while (has_row) {
    if (faults.delay.count() > 0) {
      packets_.Flush();
      connection_.Wait(faults.delay);
    }
    if (connection_.Interrupted()) {
      throw StatementInterrupted();
    }
    WriteRow(statement, columns, encoder_, tokens_);
    SufferFaults(faults, ++rows_sent);
    has_row = statement.Step();
  }
  EndStatement({.status = Done::kCount, .command = kSelectCommand, .row_count = rows_sent});
}

void BatchRunner::SufferFaults(const ActiveFaults& faults, std::uint64_t rows_sent) {
  if (faults.break_after == rows_sent) {
    packets_.Flush();
    throw ConnectionClosed("broken on purpose after " + std::to_string(rows_sent) + " rows");
  }
  if (faults.error_after == rows_sent) {
    throw SqlError(1205, 13, 51,
                   "Transaction (Process ID " + std::to_string(session_id_) +
                       ") was deadlocked on lock resources with another process and has been chosen as the deadlock "
                       "victim. Rerun the transaction.");
  }
}

BatchRunner::ActiveFaults BatchRunner::FaultsOf(const Statement& statement) const {
  ActiveFaults active;
  for (const Fault& fault : options_.faults) {
    const std::vector<std::string>& tables = statement.TablesRead();
    if (std::none_of(tables.begin(), tables.end(),
                     [&](const std::string& table) { return EqualsIgnoringCase(table, fault.table); })) {
      continue;
    }
    switch (fault.kind) {
      case Fault::Kind::kBreak:
        active.break_after = fault.value;
        break;
      case Fault::Kind::kError:
        active.error_after = fault.value;
        break;
      case Fault::Kind::kDelay:
        active.delay = std::chrono::milliseconds(fault.value);
        break;
    }
  }
  return active;
}

void BatchRunner::SetOption(std::string_view name) {
  const bool accepted = std::any_of(kAcceptedOptions.begin(), kAcceptedOptions.end(),
                                    [name](std::string_view option) { return EqualsIgnoringCase(option, name); });
  if (!accepted) {
    throw SqlError(195, 15, 5, "'" + std::string(name) + "' is not a recognized SET option.");
  }
}

void BatchRunner::UseDatabase(std::string_view name) {
  tokens_.DatabaseChanged(name, database_);
  database_ = name;
  tokens_.Info(5701, 2, DatabaseChangedMessage(database_));
}

std::optional<std::string> BatchRunner::GlobalVariable(std::string_view name) {
  if (EqualsIgnoringCase(name, "VERSION")) {
    return QuoteText(options_.product + " - " + ServerVersionText());
  }
  if (EqualsIgnoringCase(name, "SERVERNAME")) {
    return QuoteText(kServerName);
  }
  if (EqualsIgnoringCase(name, "LANGUAGE")) {
    return QuoteText(kLanguage);
  }
  if (EqualsIgnoringCase(name, "SPID")) {
    return std::to_string(session_id_);
  }
  if (EqualsIgnoringCase(name, "TRANCOUNT")) {
    return std::to_string(store_.TransactionDepth());
  }
  return std::nullopt;
}

void BatchRunner::EndStatement(const Done& done) {
  held_done_ = done;
}

void BatchRunner::SendHeldDone(std::uint16_t more_status) {
  if (held_done_) {
    held_done_->status |= more_status;
    tokens_.End(done_kind_, *held_done_);
    held_done_.reset();
  }
}

}  // namespace tds
