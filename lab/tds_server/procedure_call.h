#ifndef BW_LAB_TDS_SERVER_PROCEDURE_CALL_H
#define BW_LAB_TDS_SERVER_PROCEDURE_CALL_H

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "lab/tds_server/bytes.h"
#include "lab/tds_server/protocol_version.h"

namespace tds {

/// The value of a parameter: NULL, a number or a text.
using ParameterValue = std::variant<std::monostate, std::int64_t, std::string>;

/// A remote procedure call.
struct ProcedureCall {
  std::string name;
  std::vector<ParameterValue> parameters;
  /// Number of the first parameter, from 1, whose type the server does not read, and the type; 0 when it reads all.
  /// `parameters` ends before it.
  std::size_t unreadParameter = 0;
  std::uint8_t unreadType = 0;
};

/// \throws ProtocolError when the message ends in the middle of the call.
ProcedureCall ParseProcedureCall(ByteSpan payload, ProtocolVersion version);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_PROCEDURE_CALL_H
