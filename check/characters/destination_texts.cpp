#include "check/characters/destination_texts.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "check/characters/unicode.h"
#include "check/report/characters.h"
#include "check/sql/query.h"
#include "odbc/diagnostics.h"

namespace check::characters {

namespace {

// Texts of one query.
constexpr std::size_t kBatch = 64;

// What the server cannot say of a character, for want of a conversion from its own encoding.
constexpr std::string_view kNoFunction = "42883";

std::string FromHex(std::string_view hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    unsigned value = 0;
    std::from_chars(hex.data() + i, hex.data() + i + 2, value, 16);
    bytes += static_cast<char>(static_cast<unsigned char>(value));
  }
  return bytes;
}

std::vector<TextRow> Query(const odbc::DBConnection& destination, const Parameters& texts) {
  std::string sql;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    sql += (i == 0 ? "SELECT " : ", ") + std::string("encode(convert_to(CAST(? AS text), 'UTF8'), 'hex')");
  }
  return QueryRows(destination, sql, texts);
}

/// Whether the server can tell the characters that it stores.
bool KnowsCharacters(const odbc::DBConnection& destination) {
  if (QueryValue(destination, "SHOW server_encoding") == "SQL_ASCII") {
    return false;
  }
  try {
    Query(destination, {"a"});
    return true;
  } catch (const odbc::Error& error) {
    if (error.state() != kNoFunction) {
      throw;
    }
    return false;
  }
}

}  // namespace

DestinationTexts::DestinationTexts(const odbc::DBConnection& destination)
    : destination_(destination), knowsCharacters_(KnowsCharacters(destination)) {}

std::vector<Arrival> DestinationTexts::Ask(const std::vector<std::string>& texts) const {
  std::vector<Arrival> arrivals(texts.size());
  if (!knowsCharacters_) {
    for (std::size_t i = 0; i < texts.size(); ++i) {
      if (IsAscii(texts[i])) {
        arrivals[i] = {.kind = Arrival::Kind::Text, .text = FromUtf8(texts[i].c_str())};
      }
    }
    return arrivals;
  }
  for (std::size_t first = 0; first < texts.size(); first += kBatch) {
    Ask(texts, first, std::min(first + kBatch, texts.size()), arrivals);
  }
  return arrivals;
}

void DestinationTexts::Ask(const std::vector<std::string>& texts, std::size_t first, std::size_t last,
                           std::vector<Arrival>& arrivals) const {
  const auto at = [](const auto& list, std::size_t i) { return list.begin() + static_cast<std::ptrdiff_t>(i); };
  try {
    const std::vector<TextRow> rows = Query(destination_, Parameters(at(texts, first), at(texts, last)));
    for (std::size_t i = first; i < last; ++i) {
      arrivals[i] = {.kind = Arrival::Kind::Text,
                     .text = FromUtf8(FromHex(rows.front().at(i - first).value_or(std::string{})))};
    }
  } catch (const odbc::Error& error) {
    if (!error.IsOfClass("22")) {
      throw;
    }
    if (last - first == 1) {
      arrivals[first].kind = Arrival::Kind::Refused;
      return;
    }
    const std::size_t middle = first + (last - first) / 2;
    Ask(texts, first, middle, arrivals);
    Ask(texts, middle, last, arrivals);
  }
}

}  // namespace check::characters
