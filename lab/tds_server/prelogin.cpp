#include "lab/tds_server/prelogin.h"

#include <array>

#include "lab/tds_server/server_identity.h"

namespace tds {

namespace {

constexpr std::uint8_t kVersion = 0;
constexpr std::uint8_t kEncryption = 1;
constexpr std::uint8_t kInstance = 2;
constexpr std::uint8_t kThreadId = 3;
constexpr std::uint8_t kMars = 4;
constexpr std::uint8_t kTerminator = 0xFF;

constexpr std::uint8_t kEncryptionNotSupported = 2;

}  // namespace

PreLogin ParsePreLogin(ByteSpan payload) {
  PreLogin prelogin;
  ByteReader options(payload);
  for (std::uint8_t token = options.U8(); token != kTerminator; token = options.U8()) {
    const std::uint16_t offset = options.U16BigEndian();
    const std::uint16_t length = options.U16BigEndian();
    ByteReader data(payload);
    data.Skip(offset);
    const ByteSpan value = data.Take(length);
    if (token == kEncryption && !value.empty()) {
      prelogin.encryption = value[0];
    }
  }
  return prelogin;
}

Bytes PreLoginResponse() {
  const std::array<std::uint8_t, 6> version = {kServerVersion.majorNumber,
                                               kServerVersion.minorNumber,
                                               static_cast<std::uint8_t>(kServerVersion.build >> 8U),
                                               static_cast<std::uint8_t>(kServerVersion.build),
                                               0,
                                               0};
  const std::array<std::uint8_t, 1> encryption = {kEncryptionNotSupported};
  const std::array<std::uint8_t, 1> off = {0};
  const struct {
    std::uint8_t token;
    ByteSpan value;
  } options[] = {{kVersion, version}, {kEncryption, encryption}, {kInstance, off}, {kThreadId, {}}, {kMars, off}};

  ByteWriter list;
  ByteWriter data;
  constexpr std::size_t kEntrySize = 5;
  const std::size_t dataStart = std::size(options) * kEntrySize + sizeof(kTerminator);
  for (const auto& option : options) {
    list.U8(option.token);
    list.U16BigEndian(static_cast<std::uint16_t>(dataStart + data.Size()));
    list.U16BigEndian(static_cast<std::uint16_t>(option.value.size()));
    data.Append(option.value);
  }
  list.U8(kTerminator);
  list.Append(data.Content());
  return {list.Content().begin(), list.Content().end()};
}

}  // namespace tds
