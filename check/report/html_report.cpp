#include "check/report/html_report.h"

#include <random>
#include <string_view>

#include "check/report/json_report.h"

namespace check {

namespace {

constexpr std::string_view kPage =
#include "check/report/report_page.html"
    ;

/// A word that scripts and styles of the page bear, and that no data can know.
std::string Nonce() {
  constexpr std::string_view digits = "0123456789abcdef";
  std::random_device device;
  std::string nonce;
  while (nonce.size() < 32) {
    nonce += digits[device() % digits.size()];
  }
  return nonce;
}

/// The text with each '<' as JSON may write it, so that no tag begins in it.
std::string WithoutTags(std::string_view json) {
  std::string text;
  for (const char c : json) {
    text += c == '<' ? std::string("\\u003c") : std::string(1, c);
  }
  return text;
}

}  // namespace

std::string HtmlReport(const Report& report) {
  const std::string nonce = Nonce();
  const std::string json = WithoutTags(JsonReport(report));
  std::string page;
  std::string_view rest = kPage;
  for (;;) {
    const std::size_t begin = std::min(rest.find("{nonce}"), rest.find("{report}"));
    page += rest.substr(0, begin);
    if (begin == std::string_view::npos) {
      return page;
    }
    const bool isNonce = rest.substr(begin).starts_with("{nonce}");
    page += isNonce ? nonce : json;
    rest.remove_prefix(begin + (isNonce ? std::string_view("{nonce}") : std::string_view("{report}")).size());
  }
}

}  // namespace check
