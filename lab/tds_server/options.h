#ifndef BW_LAB_TDS_SERVER_OPTIONS_H
#define BW_LAB_TDS_SERVER_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "lab/tds_server/code_page.h"

namespace tds {

/// What goes wrong on purpose while a SELECT that reads `table` sends its rows.
struct Fault {
  enum class Kind {
    Break,  ///< the connection is closed after `value` rows
    Error,  ///< the statement fails after `value` rows
    Delay,  ///< each row comes `value` milliseconds later
  };

  Kind kind;
  std::string table;
  std::uint64_t value;
};

/// A column whose texts are in another code page than the server's.
struct ColumnCollation {
  std::string table;
  std::string column;
  const CodePage* codePage;
};

struct Options {
  std::filesystem::path database;
  std::filesystem::path logins;
  std::uint16_t port = 0;
  std::string product = "Microsoft SQL Server";
  int codePage = 1252;
  std::vector<ColumnCollation> collations;
  bool functions = true;
  std::vector<Fault> faults;
};

/// The command line is wrong.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The text that explains the command line.
extern const std::string_view kUsage;

/// Reads the arguments behind the program's name. \throws UsageError when they are wrong.
Options ParseOptions(std::span<const char* const> arguments);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_OPTIONS_H
