#include "lab/tds_server/collations.h"

#include <algorithm>

#include "lab/tds_server/text.h"

namespace tds {

Collations::Collations(const Options& options) : options_(options), ofServer_(FindCodePage(options.codePage)) {}

const CodePage& Collations::OfColumn(std::string_view table, std::string_view column) const {
  const auto found =
      std::find_if(options_.collations.begin(), options_.collations.end(), [&](const ColumnCollation& each) {
        return EqualsIgnoringCase(each.table, table) && EqualsIgnoringCase(each.column, column);
      });
  return found == options_.collations.end() ? ofServer_ : *found->codePage;
}

TextEncoder& Collations::EncoderFor(const CodePage& codePage) {
  return encoders_.try_emplace(codePage.number, codePage).first->second;
}

}  // namespace tds
