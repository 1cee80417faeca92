#ifndef BW_CHECK_CLI_COMMAND_LINE_H
#define BW_CHECK_CLI_COMMAND_LINE_H

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "check/report/finding.h"

namespace check {

/// What is to be checked, and how it is reported.
struct CheckRequest {
  Command command = Command::Before;
  std::optional<std::filesystem::path> jsonFile;
  std::optional<std::filesystem::path> htmlFile;
  std::optional<std::filesystem::path> acceptedReport;
  std::vector<std::string> tables;   ///< In the order of the catalogue; none means all.
  std::vector<std::string> options;  ///< As they were typed.
};

/// What --help and its like show.
struct Information {
  std::string text;
};

using Request = std::variant<CheckRequest, Information>;

/// The command line cannot be understood; the message says what is wrong with it.
class WrongUse : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// Reads the arguments after the program's name.
///
/// \throws WrongUse
Request ReadCommandLine(std::vector<std::string> arguments);

/// Such as "1.0.0".
std::string_view ProgramVersion();

}  // namespace check

#endif  // BW_CHECK_CLI_COMMAND_LINE_H
