#ifndef BW_LAB_TDS_SERVER_BYTES_H
#define BW_LAB_TDS_SERVER_BYTES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace tds {

using Bytes = std::vector<std::uint8_t>;
using ByteSpan = std::span<const std::uint8_t>;

/// The client sent something that the protocol does not allow: the connection cannot go on.
class ProtocolError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Reads little-endian fields one after the other and never past the end.
/// \throws ProtocolError from every reading member when too few bytes are left.
class ByteReader {
 public:
  explicit ByteReader(ByteSpan bytes) : rest_(bytes) {}

  std::size_t Remaining() const { return rest_.size(); }

  ByteSpan Take(std::size_t count) {
    if (count > rest_.size()) {
      throw ProtocolError("message ends in the middle of a field");
    }
    const ByteSpan taken = rest_.first(count);
    rest_ = rest_.subspan(count);
    return taken;
  }

  void Skip(std::size_t count) { Take(count); }

  std::uint8_t U8() { return Take(1)[0]; }

  std::uint16_t U16() {
    const ByteSpan field = Take(2);
    return static_cast<std::uint16_t>(field[0] | field[1] << 8U);
  }

  std::uint16_t U16BigEndian() {
    const ByteSpan field = Take(2);
    return static_cast<std::uint16_t>(field[0] << 8U | field[1]);
  }

  std::uint32_t U32() {
    const std::uint32_t low = U16();
    return low | std::uint32_t{U16()} << 16U;
  }

  std::uint64_t U64() {
    const std::uint64_t low = U32();
    return low | std::uint64_t{U32()} << 32U;
  }

 private:
  ByteSpan rest_;
};

/// Collects little-endian fields in a buffer that is used again for every token.
class ByteWriter {
 public:
  ByteSpan Content() const { return bytes_; }
  std::size_t Size() const { return bytes_.size(); }
  void Clear() { bytes_.clear(); }

  void Append(ByteSpan bytes) { bytes_.insert(bytes_.end(), bytes.begin(), bytes.end()); }
  void Fill(std::size_t count, std::uint8_t value) { bytes_.insert(bytes_.end(), count, value); }

  void U8(std::uint8_t value) { bytes_.push_back(value); }

  void U16(std::uint16_t value) { LittleEndian(value, 2); }
  void U32(std::uint32_t value) { LittleEndian(value, 4); }
  void U64(std::uint64_t value) { LittleEndian(value, 8); }

  void U16BigEndian(std::uint16_t value) {
    U8(static_cast<std::uint8_t>(value >> 8U));
    U8(static_cast<std::uint8_t>(value));
  }

  void U32BigEndian(std::uint32_t value) {
    U16BigEndian(static_cast<std::uint16_t>(value >> 16U));
    U16BigEndian(static_cast<std::uint16_t>(value));
  }

  /// Writes the `size` low bytes of `value`, the lowest first.
  void LittleEndian(std::uint64_t value, std::size_t size) {
    const std::size_t start = bytes_.size();
    bytes_.resize(start + size);
    for (std::size_t i = 0; i < size; ++i) {
      bytes_[start + i] = static_cast<std::uint8_t>(value >> (8U * i));
    }
  }

  /// Overwrites the two bytes at `position` with a length that was not known when they were written.
  void PatchU16(std::size_t position, std::uint16_t value) {
    bytes_.at(position) = static_cast<std::uint8_t>(value);
    bytes_.at(position + 1) = static_cast<std::uint8_t>(value >> 8U);
  }

 private:
  Bytes bytes_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_BYTES_H
