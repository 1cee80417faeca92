#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "batch_reader.h"
#include "code_page.h"
#include "connection.h"
#include "options.h"
#include "store.h"
#include "tokens.h"

namespace tds {

/// Runs the statements of one client and writes their results.
class BatchRunner {
 public:
  /// The references must outlive the runner.
  BatchRunner(const Options& options, Connection& connection, PacketWriter& packets, TokenWriter& tokens,
              std::uint16_t session_id, std::string database);

  /// Runs a batch up to its end or to the first statement that fails; all that the client must know is written.
  /// \throws StatementInterrupted when the client wants no more of the response, ConnectionClosed when it is gone.
  void RunBatch(std::string_view sql);

  /// The same for a batch inside a procedure, whose end follows. False when a statement failed.
  bool RunInProcedure(std::string_view sql);

  void BeginTransaction();
  /// \throws SqlError when no transaction is open.
  void CommitTransaction();
  /// \throws SqlError when no transaction is open.
  void RollbackTransaction();

 private:
  /// The faults that one SELECT is to suffer.
  struct ActiveFaults {
    std::optional<std::uint64_t> break_after;
    std::optional<std::uint64_t> error_after;
    std::chrono::milliseconds delay{0};
  };

  bool RunStatements(std::string_view sql);
  void RunStatement(const BatchStatement& statement);
  void RunQuery(std::string_view sql);
  void SendRows(Statement& statement);
  void SufferFaults(const ActiveFaults& faults, std::uint64_t rows_sent);
  ActiveFaults FaultsOf(const Statement& statement) const;
  void SetOption(std::string_view name);
  void UseDatabase(std::string_view name);
  std::optional<std::string> GlobalVariable(std::string_view name);

  /// The end of a statement is held back until it is known whether more follows.
  void EndStatement(const Done& done);
  void SendHeldDone(std::uint16_t more_status);

  const Options& options_;
  Connection& connection_;
  PacketWriter& packets_;
  TokenWriter& tokens_;
  TextEncoder encoder_;
  Store store_;
  std::uint16_t session_id_;
  std::string database_;
  std::uint64_t transaction_id_ = 0;
  DoneKind done_kind_ = DoneKind::kStatement;
  std::optional<Done> held_done_;
};

}  // namespace tds
