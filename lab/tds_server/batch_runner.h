#ifndef BW_LAB_TDS_SERVER_BATCH_RUNNER_H
#define BW_LAB_TDS_SERVER_BATCH_RUNNER_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/tds_server/batch_reader.h"
#include "lab/tds_server/collations.h"
#include "lab/tds_server/connection.h"
#include "lab/tds_server/options.h"
#include "lab/tds_server/store.h"
#include "lab/tds_server/tokens.h"

namespace tds {

/// Runs the statements of one client and writes their results.
class BatchRunner {
 public:
  /// The references must outlive the runner.
  BatchRunner(const Options& options, Connection& connection, PacketWriter& packets, TokenWriter& tokens,
              std::uint16_t sessionId, std::string database);

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
    std::optional<std::uint64_t> breakAfter;
    std::optional<std::uint64_t> errorAfter;
    std::chrono::milliseconds delay{0};
  };

  bool RunStatements(std::string_view sql);
  void RunStatement(const BatchStatement& statement);
  void RunQuery(std::string_view sql);
  void SendRows(Statement& statement);
  void SufferFaults(const ActiveFaults& faults, std::uint64_t rowsSent);
  ActiveFaults FaultsOf(const Statement& statement) const;
  void UseDatabase(std::string_view name);
  std::optional<std::string> GlobalVariable(std::string_view name);

  /// The end of a statement is held back until it is known whether more follows.
  void EndStatement(const Done& done);
  void SendHeldDone(std::uint16_t moreStatus);

  const Options& options_;
  Connection& connection_;
  PacketWriter& packets_;
  TokenWriter& tokens_;
  Collations collations_;
  Store store_;
  std::uint16_t sessionId_;
  std::string database_;
  std::uint64_t transactionId_ = 0;
  DoneKind doneKind_ = DoneKind::Statement;
  std::optional<Done> heldDone_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_BATCH_RUNNER_H
