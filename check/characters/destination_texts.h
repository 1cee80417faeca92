#ifndef BW_CHECK_CHARACTERS_DESTINATION_TEXTS_H
#define BW_CHECK_CHARACTERS_DESTINATION_TEXTS_H

#include <cstdint>
#include <string>
#include <vector>

#include "odbc/connection.h"

namespace check::characters {

/// What the destination makes of the bytes of a text.
struct Arrival {
  enum class Kind : std::uint8_t {
    Text,
    Refused,  ///< It does not accept them.
    Unknown,  ///< It stores them without knowing what characters they are.
  };

  Kind kind = Kind::Unknown;
  std::u32string text;
};

/// Sends texts to the destination as the migrator does, as bound parameters, and looks there at their characters. All
/// members throw odbc::Error when the destination cannot be asked.
class DestinationTexts {
 public:
  /// The connection must outlive the object.
  explicit DestinationTexts(const odbc::DBConnection& destination);

  /// The arrivals of the texts, in their order. As the migrator's, a text ends at its first zero byte.
  std::vector<Arrival> Ask(const std::vector<std::string>& texts) const;

 private:
  void Ask(const std::vector<std::string>& texts, std::size_t first, std::size_t last,
           std::vector<Arrival>& arrivals) const;

  const odbc::DBConnection& destination_;
  bool knowsCharacters_;
};

}  // namespace check::characters

#endif  // BW_CHECK_CHARACTERS_DESTINATION_TEXTS_H
