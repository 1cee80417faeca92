#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "bytes.h"
#include "protocol_version.h"

namespace tds {

/// The value of a parameter: NULL, a number or a text.
using ParameterValue = std::variant<std::monostate, std::int64_t, std::string>;

/// A remote procedure call.
struct ProcedureCall {
  std::string name;
  std::vector<ParameterValue> parameters;
  /// Number of the first parameter, from 1, whose type the server does not read, and the type; 0 when it reads all.
  /// `parameters` ends before it.
  std::size_t unread_parameter = 0;
  std::uint8_t unread_type = 0;
};

/// \throws ProtocolError when the message ends in the middle of the call.
ProcedureCall ParseProcedureCall(ByteSpan payload, ProtocolVersion version);

}  // namespace tds
