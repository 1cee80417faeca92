#ifndef BW_LAB_TDS_SERVER_PROTOCOL_VERSION_H
#define BW_LAB_TDS_SERVER_PROTOCOL_VERSION_H

#include <cstdint>

namespace tds {

/// The versions of the protocol, in their order. Which one the client names decides the layout of many tokens.
enum class ProtocolVersion : std::uint8_t { V71, V72, V73, V74 };

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_PROTOCOL_VERSION_H
