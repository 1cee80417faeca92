#include "lab/tds_server/procedures.h"

#include <utility>

#include "lab/tds_server/sql_error.h"
#include "lab/tds_server/text.h"

namespace tds {

namespace {

constexpr std::int32_t kFailure = 1;

/// The parameter with the index, from 0; NULL where the call has fewer.
const ParameterValue& Parameter(const ProcedureCall& call, std::size_t index) {
  static const ParameterValue kNull;
  if (index < call.parameters.size()) {
    return call.parameters[index];
  }
  if (call.unreadParameter != 0) {
    throw SqlError(8009, 16, 1,
                   "Parameter " + std::to_string(call.unreadParameter) + ": data type " +
                       std::to_string(call.unreadType) + " is not supported.");
  }
  return kNull;
}

/// The parameter as text, empty for NULL.
std::string TextParameter(const ProcedureCall& call, std::size_t index) {
  const auto* text = std::get_if<std::string>(&Parameter(call, index));
  return text == nullptr ? std::string{} : *text;
}

void RefuseParameters(const std::string& definition) {
  if (!definition.empty()) {
    throw SqlError(50000, 16, 1, "Statements with parameters are not supported: " + definition + ".");
  }
}

}  // namespace

void Procedures::Call(const ProcedureCall& call) {
  Outcome outcome;
  try {
    outcome = Dispatch(call);
  } catch (const SqlError& error) {
    tokens_.Error(error);
    outcome.succeeded = false;
  }
  tokens_.ReturnStatus(outcome.succeeded ? 0 : kFailure);
  if (outcome.prepared) {
    tokens_.FirstOutputParameter(*outcome.prepared);
  }
  tokens_.End(DoneKind::Procedure, {.status = outcome.succeeded ? std::uint16_t{0} : Done::kError});
}

Procedures::Outcome Procedures::Dispatch(const ProcedureCall& call) {
  if (EqualsIgnoringCase(call.name, "sp_executesql")) {
    RefuseParameters(TextParameter(call, 1));
    return {.succeeded = runner_.RunInProcedure(TextParameter(call, 0)), .prepared = {}};
  }
  if (EqualsIgnoringCase(call.name, "sp_prepare")) {
    RefuseParameters(TextParameter(call, 1));
    return {.succeeded = true, .prepared = Prepare(TextParameter(call, 2))};
  }
  if (EqualsIgnoringCase(call.name, "sp_prepexec")) {
    RefuseParameters(TextParameter(call, 1));
    const std::int32_t handle = Prepare(TextParameter(call, 2));
    return {.succeeded = runner_.RunInProcedure(prepared_.at(handle)), .prepared = handle};
  }
  if (EqualsIgnoringCase(call.name, "sp_execute")) {
    return {.succeeded = runner_.RunInProcedure(Find(Parameter(call, 0))), .prepared = {}};
  }
  if (EqualsIgnoringCase(call.name, "sp_unprepare")) {
    Find(Parameter(call, 0));
    prepared_.erase(std::get<std::int64_t>(Parameter(call, 0)));
    return {};
  }
  throw SqlError(2812, 16, 62, "Could not find stored procedure '" + call.name + "'.");
}

std::int32_t Procedures::Prepare(std::string sql) {
  prepared_[++lastHandle_] = std::move(sql);
  return lastHandle_;
}

const std::string& Procedures::Find(const ParameterValue& handle) const {
  const auto* number = std::get_if<std::int64_t>(&handle);
  const auto found = number == nullptr ? prepared_.end() : prepared_.find(*number);
  if (found == prepared_.end()) {
    throw SqlError(8179, 16, 2, "Could not find prepared statement with the handle given.");
  }
  return found->second;
}

}  // namespace tds
