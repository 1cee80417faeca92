#include "check/cli/command_line.h"

#include <algorithm>
#include <cstddef>
#include <set>

#include "check/rules/catalogue.h"

namespace check {

namespace {

std::string NamesOfAllTables() {
  std::string names;
  for (const db::TableDescription& table : Catalogue()) {
    names += names.empty() ? "" : ", ";
    names += table.name;
  }
  return names;
}

/// The tables of a list with commas, in the order of the catalogue.
std::vector<std::string> ReadTables(std::string_view list) {
  std::set<std::string_view> wanted;
  for (std::size_t begin = 0; begin <= list.size();) {
    const std::size_t end = std::min(list.find(',', begin), list.size());
    wanted.insert(list.substr(begin, end - begin));
    begin = end + 1;
  }
  std::vector<std::string> tables;
  for (const db::TableDescription& table : Catalogue()) {
    if (wanted.erase(table.name) != 0) {
      tables.emplace_back(table.name);
    }
  }
  if (!wanted.empty()) {
    throw WrongUse("there is no table '" + std::string(*wanted.begin()) + "'; the " +
                   std::to_string(Catalogue().size()) + " tables are " + NamesOfAllTables());
  }
  return tables;
}

/// The arguments, one after another. An option's value is the argument behind it, or stands behind "=" in the same one.
class Arguments {
 public:
  explicit Arguments(const std::vector<std::string>& arguments) : arguments_(arguments) {}

  bool AtEnd() const { return position_ == arguments_.size(); }

  /// Takes the next argument; of an option that carries its value, only the name.
  std::string_view TakeName() {
    const std::string_view argument = arguments_[position_++];
    const std::size_t equals = argument.starts_with("--") ? argument.find('=') : std::string_view::npos;
    hasValue_ = equals != std::string_view::npos;
    if (!hasValue_) {
      return argument;
    }
    value_ = argument.substr(equals + 1);
    return argument.substr(0, equals);
  }

  /// Takes the value of the option that was taken last.
  std::string_view TakeValue(std::string_view option) {
    if (!hasValue_) {
      value_ = AtEnd() ? std::string_view() : arguments_[position_++];
    }
    if (value_.empty()) {
      throw WrongUse(std::string(option) + " needs a value");
    }
    return value_;
  }

  /// For an option without value.
  void RequireNoValue(std::string_view option) const {
    if (hasValue_) {
      throw WrongUse(std::string(option) + " takes no value");
    }
  }

 private:
  const std::vector<std::string>& arguments_;
  std::size_t position_ = 0;
  bool hasValue_ = false;  // The argument that was taken last carries its value.
  std::string_view value_;
};

void RequireOnce(std::set<std::string_view>& seen, std::string_view argument) {
  if (!seen.insert(argument).second) {
    throw WrongUse(std::string(argument) + " is given twice");
  }
}

}  // namespace

Request ReadCommandLine(const std::vector<std::string>& arguments) {
  CheckRequest request;
  std::optional<Command> command;
  std::set<std::string_view> seen;
  for (Arguments rest(arguments); !rest.AtEnd();) {
    const std::string_view name = rest.TakeName();
    if (name == "--help" || name == "--help-findings" || name == "--version") {
      rest.RequireNoValue(name);
      return name == "--help"      ? Request(HelpRequest{})
             : name == "--version" ? Request(VersionRequest{})
                                   : Request(FindingsRequest{});
    }
    if (name == "--json") {
      RequireOnce(seen, name);
      request.jsonFile = rest.TakeValue(name);
    } else if (name == "--tables") {
      RequireOnce(seen, name);
      request.tables = ReadTables(rest.TakeValue(name));
    } else if (name.starts_with('-')) {
      throw WrongUse("there is no option " + std::string(name));
    } else if (command) {
      throw WrongUse("one command is enough: '" + std::string(name) + "' is one too many");
    } else if (name == NameOf(Command::Before)) {
      command = Command::Before;
    } else if (name == NameOf(Command::After)) {
      command = Command::After;
    } else {
      throw WrongUse("there is no command '" + std::string(name) + "'; the commands are before and after");
    }
  }
  if (!command) {
    throw WrongUse("the command is missing: before or after");
  }
  request.command = *command;
  return request;
}

std::string_view HelpText() {
  return R"(Usage: bw_db_check before|after [--json FILE] [--tables A,B]

before  tells what a run of bw_db_migrate will do to the data.
after   compares both sides after a run, and its log with them.

Reads bw_migrate.ini, and after a run bw_db_migrate.log, in the working directory. Asks for the
passwords of the source and of the destination; where standard input is no terminal, they are its
first two lines. Writes to neither side.

  --json FILE      also write the report to FILE, as JSON
  --tables A,B     report on these tables only
  --help           show this text
  --help-findings  show every finding that a report may have, its cost and what it is
  --version        show the version

Exit status: 0 nothing found, 1 findings, 2 could not check.
)";
}

std::string FindingsText() {
  std::string text;
  for (const FindingKind* const kind : AllFindings()) {
    text.append(kind->id).append(" (").append(NameOf(kind->cost)).append("): ").append(kind->meaning).append("\n");
  }
  return text;
}

std::string_view ProgramVersion() {
  return BW_VERSION;
}

}  // namespace check
