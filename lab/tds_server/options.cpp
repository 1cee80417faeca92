#include "lab/tds_server/options.h"

#include <charconv>

#include "lab/tds_server/code_page.h"

namespace tds {

const std::string_view kUsage =
    "usage: tds_server --database FILE --logins FILE [option...]\n"
    "  --database FILE       SQLite file with the tables, which clients see in the schema dbo\n"
    "  --logins FILE         one \"user<TAB>password\" per line, in UTF-8\n"
    "  --port N              port on 127.0.0.1; 0, the default, takes a free one\n"
    "  --product NAME        name of the product in the login acknowledgement\n"
    "  --codepage N          code page of char and varchar data: 1250 to 1258, 932, 936, 949, 950 or 65001;\n"
    "                        1252 is the default\n"
    "  --collation TABLE.COLUMN:NAME\n"
    "                        collation of a column whose code page is another one\n"
    "  --functions none      leave out what Transact-SQL has and SQLite has not, see functions.h\n"
    "  --break-after TABLE:N close the connection after N rows of a SELECT that reads TABLE\n"
    "  --error-after TABLE:N fail after N rows of a SELECT that reads TABLE\n"
    "  --delay TABLE:MS      wait MS milliseconds before each row of a SELECT that reads TABLE\n";

namespace {

template <typename Number>
Number ParseNumber(std::string_view option, std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{} || end != text.data() + text.size()) {
    throw UsageError(std::string(option) + ": " + std::string(text) + " is no number in range");
  }
  return number;
}

Fault ParseFault(std::string_view option, Fault::Kind kind, std::string_view text) {
  const std::size_t colon = text.rfind(':');
  if (colon == std::string_view::npos || colon == 0) {
    throw UsageError(std::string(option) + " needs TABLE:NUMBER");
  }
  return {.kind = kind,
          .table = std::string(text.substr(0, colon)),
          .value = ParseNumber<std::uint32_t>(option, text.substr(colon + 1))};
}

ColumnCollation ParseCollation(std::string_view option, std::string_view text) {
  const std::size_t dot = text.find('.');
  const std::size_t colon = text.rfind(':');
  if (dot == std::string_view::npos || colon == std::string_view::npos || colon < dot) {
    throw UsageError(std::string(option) + " needs TABLE.COLUMN:NAME");
  }
  try {
    return {.table = std::string(text.substr(0, dot)),
            .column = std::string(text.substr(dot + 1, colon - dot - 1)),
            .codePage = &FindCollation(text.substr(colon + 1))};
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
}

int ParseCodePage(std::string_view option, std::string_view text) {
  const int number = ParseNumber<int>(option, text);
  try {
    return FindCodePage(number).number;
  } catch (const std::invalid_argument& error) {
    throw UsageError(error.what());
  }
}

void Apply(Options& options, std::string_view option, std::string_view value) {
  if (option == "--database") {
    options.database = value;
  } else if (option == "--logins") {
    options.logins = value;
  } else if (option == "--port") {
    options.port = ParseNumber<std::uint16_t>(option, value);
  } else if (option == "--product") {
    options.product = value;
  } else if (option == "--codepage") {
    options.codePage = ParseCodePage(option, value);
  } else if (option == "--functions") {
    if (value != "none") {
      throw UsageError(std::string(option) + " needs none");
    }
    options.functions = false;
  } else if (option == "--collation") {
    options.collations.push_back(ParseCollation(option, value));
  } else if (option == "--break-after") {
    options.faults.push_back(ParseFault(option, Fault::Kind::Break, value));
  } else if (option == "--error-after") {
    options.faults.push_back(ParseFault(option, Fault::Kind::Error, value));
  } else if (option == "--delay") {
    options.faults.push_back(ParseFault(option, Fault::Kind::Delay, value));
  } else {
    throw UsageError("unknown option " + std::string(option));
  }
}

}  // namespace

Options ParseOptions(std::span<const char* const> arguments) {
  Options options;
  for (; !arguments.empty(); arguments = arguments.subspan(2)) {
    if (arguments.size() < 2) {
      throw UsageError(std::string(arguments[0]) + " needs a value");
    }
    Apply(options, arguments[0], arguments[1]);
  }
  if (options.database.empty() || options.logins.empty()) {
    throw UsageError("--database and --logins are required");
  }
  return options;
}

}  // namespace tds
