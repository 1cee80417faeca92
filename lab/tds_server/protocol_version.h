#pragma once

#include <cstdint>

namespace tds {

/// The versions of the protocol, in their order. Which one the client names decides the layout of many tokens.
enum class ProtocolVersion : std::uint8_t { k71, k72, k73, k74 };

}  // namespace tds
