#include "lab/tds_server/batch_runner.h"

#include <algorithm>
#include <array>
#include <utility>

#include "lab/tds_server/result_set.h"
#include "lab/tds_server/server_identity.h"
#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/text.h"

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

/// The options change nothing here, but an unknown one is to be noticed.
void CheckSetOption(std::string_view name) {
  const bool accepted = std::any_of(kAcceptedOptions.begin(), kAcceptedOptions.end(),
                                    [name](std::string_view option) { return EqualsIgnoringCase(option, name); });
  if (!accepted) {
    throw SqlError(195, 15, 5, "'" + std::string(name) + "' is not a recognized SET option.");
  }
}

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
                         std::uint16_t sessionId, std::string database)
    : options_(options),
      connection_(connection),
      packets_(packets),
      tokens_(tokens),
      collations_(options),
      store_(options.database, [&connection] { return connection.ResponseUnwanted(); }),
      sessionId_(sessionId),
      database_(std::move(database)) {
  if (options.functions) {
    store_.DefineFunctions(collations_);
  }
}

void BatchRunner::RunBatch(std::string_view sql) {
  doneKind_ = DoneKind::Statement;
  RunStatements(sql);
  SendHeldDone(0);
}

bool BatchRunner::RunInProcedure(std::string_view sql) {
  doneKind_ = DoneKind::StatementInProcedure;
  const bool succeeded = RunStatements(sql);
  SendHeldDone(Done::kMore);
  return succeeded;
}

bool BatchRunner::RunStatements(std::string_view sql) {
  heldDone_.reset();
  try {
    BatchReader reader(sql);
    while (const std::optional<BatchStatement> statement = reader.Next()) {
      if (statement->kind != BatchStatement::Kind::IfInTransaction) {
        RunStatement(*statement);
      } else if (store_.TransactionDepth() == 0) {
        reader.Next();
      }
    }
    if (!heldDone_) {
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
    tokens_.TransactionBegun(++transactionId_);
  }
}

void BatchRunner::CommitTransaction() {
  store_.CommitTransaction();
  if (store_.TransactionDepth() == 0) {
    tokens_.TransactionCommitted(transactionId_);
  }
}

void BatchRunner::RollbackTransaction() {
  store_.RollbackTransaction();
  tokens_.TransactionRolledBack(transactionId_);
}

void BatchRunner::RunStatement(const BatchStatement& statement) {
  SendHeldDone(Done::kMore);
  switch (statement.kind) {
    case BatchStatement::Kind::Query:
      RunQuery(statement.text);
      return;
    case BatchStatement::Kind::SetOption:
      CheckSetOption(statement.text);
      break;
    case BatchStatement::Kind::UseDatabase:
      UseDatabase(statement.text);
      break;
    case BatchStatement::Kind::BeginTransaction:
      BeginTransaction();
      break;
    case BatchStatement::Kind::CommitTransaction:
      CommitTransaction();
      break;
    case BatchStatement::Kind::RollbackTransaction:
      RollbackTransaction();
      break;
    case BatchStatement::Kind::IfInTransaction:
      break;
  }
  EndStatement({});
}

void BatchRunner::RunQuery(std::string_view sql) {
  const std::string text =
      PassCollations(ReplaceGlobalVariables(sql, [this](std::string_view name) { return GlobalVariable(name); }));
  Statement statement = store_.Prepare(text);
  if (statement.ReturnsRows()) {
    SendRows(statement);
    return;
  }
  statement.Step();
  switch (statement.change()) {
    case Statement::Change::None:
    case Statement::Change::Drop:
      EndStatement({});
      break;
    case Statement::Change::Insert:
      EndStatement({.status = Done::kCount, .command = kInsertCommand, .rowCount = store_.RowsChanged()});
      break;
    case Statement::Change::Delete:
      EndStatement({.status = Done::kCount, .command = kDeleteCommand, .rowCount = store_.RowsChanged()});
      break;
    case Statement::Change::Update:
      EndStatement({.status = Done::kCount, .command = kUpdateCommand, .rowCount = store_.RowsChanged()});
      break;
  }
}

void BatchRunner::SendRows(Statement& statement) {
  const ActiveFaults faults = FaultsOf(statement);
  bool hasRow = statement.Step();
  const std::vector<Column> columns = DescribeColumns(statement, collations_, hasRow);
  tokens_.ColumnMetadata(columns);

  std::uint64_t rowsSent = 0;
  SufferFaults(faults, rowsSent);
  while (hasRow) {
    if (faults.delay.count() > 0) {
      packets_.Flush();
      connection_.Wait(faults.delay);
    }
    if (connection_.Interrupted()) {
      throw StatementInterrupted();
    }
    WriteRow(statement, columns, collations_, tokens_);
    SufferFaults(faults, ++rowsSent);
    hasRow = statement.Step();
  }
  EndStatement({.status = Done::kCount, .command = kSelectCommand, .rowCount = rowsSent});
}

void BatchRunner::SufferFaults(const ActiveFaults& faults, std::uint64_t rowsSent) {
  if (faults.breakAfter == rowsSent) {
    packets_.Flush();
    throw ConnectionClosed("broken on purpose after " + std::to_string(rowsSent) + " rows");
  }
  if (faults.errorAfter == rowsSent) {
    throw SqlError(1205, 13, 51,
                   "Transaction (Process ID " + std::to_string(sessionId_) +
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
      case Fault::Kind::Break:
        active.breakAfter = fault.value;
        break;
      case Fault::Kind::Error:
        active.errorAfter = fault.value;
        break;
      case Fault::Kind::Delay:
        active.delay = std::chrono::milliseconds(fault.value);
        break;
    }
  }
  return active;
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
    return std::to_string(sessionId_);
  }
  if (EqualsIgnoringCase(name, "TRANCOUNT")) {
    return std::to_string(store_.TransactionDepth());
  }
  return std::nullopt;
}

void BatchRunner::EndStatement(const Done& done) {
  heldDone_ = done;
}

void BatchRunner::SendHeldDone(std::uint16_t moreStatus) {
  if (heldDone_) {
    heldDone_->status |= moreStatus;
    tokens_.End(doneKind_, *heldDone_);
    heldDone_.reset();
  }
}

}  // namespace tds
