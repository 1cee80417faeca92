#ifndef BW_LAB_TDS_SERVER_COLLATIONS_H
#define BW_LAB_TDS_SERVER_COLLATIONS_H

#include <map>
#include <string_view>

#include "lab/tds_server/code_page.h"
#include "lab/tds_server/options.h"

namespace tds {

/// The code pages of the server and of its columns, with their encoders.
class Collations {
 public:
  /// The options must outlive the object.
  explicit Collations(const Options& options);

  /// The code page of what is no column.
  const CodePage& OfServer() const { return ofServer_; }
  const CodePage& OfColumn(std::string_view table, std::string_view column) const;

  /// The encoder for a code page, which is made when it is first asked for.
  TextEncoder& EncoderFor(const CodePage& codePage);

 private:
  const Options& options_;
  const CodePage& ofServer_;
  std::map<int, TextEncoder> encoders_;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_COLLATIONS_H
