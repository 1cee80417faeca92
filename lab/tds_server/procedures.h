#ifndef BW_LAB_TDS_SERVER_PROCEDURES_H
#define BW_LAB_TDS_SERVER_PROCEDURES_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "lab/tds_server/batch_runner.h"
#include "lab/tds_server/procedure_call.h"
#include "lab/tds_server/tokens.h"

namespace tds {

/// The stored procedures by which drivers prepare and run statements. Statements with parameters are refused.
class Procedures {
 public:
  /// The references must outlive the procedures.
  Procedures(BatchRunner& runner, TokenWriter& tokens) : runner_(runner), tokens_(tokens) {}

  /// Runs the call and writes its whole response, of failure as well. \throws like BatchRunner::RunBatch.
  void Call(const ProcedureCall& call);

 private:
  /// What a call leaves behind for its end.
  struct Outcome {
    bool succeeded = true;
    std::optional<std::int32_t> prepared;  ///< handle of the statement that was prepared
  };

  Outcome Dispatch(const ProcedureCall& call);
  std::int32_t Prepare(std::string sql);
  const std::string& Find(const ParameterValue& handle) const;

  BatchRunner& runner_;
  TokenWriter& tokens_;
  std::map<std::int64_t, std::string> prepared_;
  std::int32_t lastHandle_ = 0;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_PROCEDURES_H
