#include "check/cli/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "check/rules/catalogue.h"
#include "check/sql/sql_text.h"

namespace check {

namespace {

std::string FindingsText() {
  std::string text;
  for (const FindingKind* const kind : AllFindings()) {
    text.append(kind->id).append(" (").append(NameOf(kind->cost)).append("): ").append(kind->meaning).append("\n");
  }
  return text;
}

std::string RequireText(const std::string& value) {
  return value.empty() ? "needs a value" : "";
}

std::string RequireTable(const std::string& name) {
  return PlaceOf(name) < Catalogue().size()
             ? ""
             : "there is no table '" + name + "'; the " + std::to_string(Catalogue().size()) + " tables are " +
                   Joined(Catalogue(), ", ", &db::TableDescription::name);
}

}  // namespace

Request ReadCommandLine(std::vector<std::string> arguments) {
  CheckRequest request;
  CLI::App app(
      "Shows what a run of bw_db_migrate will do to the data, and afterwards what it did. Writes to\n"
      "neither side.\n",
      "bw_db_check");
  app.footer(
      "Reads bw_migrate.ini, and after a run bw_db_migrate.log, in the working directory. Asks for the\n"
      "passwords of the source and of the destination. Where standard input is not a terminal, they are\n"
      "its first two lines.\n\n"
      "Exit status: 0 nothing found that is not accepted, 1 findings, 2 could not check.");
  app.get_formatter()->column_width(26);
  app.get_formatter()->label("SUBCOMMAND", "before|after");
  app.allow_windows_style_options(false);
  app.require_subcommand(1);
  for (const auto& [command, help] :
       {std::pair(Command::Before, "predict what a run will do to the data"),
        std::pair(Command::After, "compare both sides after a run, and its log with them")}) {
    CLI::App* const subcommand = app.add_subcommand(std::string(NameOf(command)), help);
    subcommand->group("Commands");
    subcommand->fallthrough();
    subcommand->set_help_flag();  // Otherwise the command has a shorter help of its own.
    subcommand->callback([&request, command = command] { request.command = command; });
  }
  for (const auto& [name, file, help] :
       {std::tuple("--json", &request.jsonFile, "also write the report to FILE, as JSON"),
        std::tuple("--html", &request.htmlFile, "also write the report to FILE, as a page for a browser"),
        std::tuple("--accept", &request.acceptedReport,
                   "do not count findings that FILE has, an earlier JSON report")}) {
    app.add_option(name, *file, help)->type_name("FILE")->check(CLI::Validator(RequireText, ""));
  }
  app.add_option("--tables", request.tables, "report on these tables only")
      ->type_name("A,B")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->check(CLI::Validator(RequireTable, ""));
  app.set_help_flag("--help", "show this text");
  app.add_flag_callback(
      "--help-findings", [] { throw CLI::CallForVersion(FindingsText(), 0); },
      "show every finding that a report may have, its cost and what it is");
  app.set_version_flag("--version", "bw_db_check " BW_VERSION "\n", "show the version");

  std::ranges::copy_if(arguments, std::back_inserter(request.options),
                       [](const std::string& argument) { return argument != "before" && argument != "after"; });
  std::ranges::reverse(arguments);  // As the library expects them.
  try {
    app.parse(std::move(arguments));
  } catch (const CLI::CallForHelp&) {
    return Information{app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal)};
  } catch (const CLI::CallForVersion& information) {
    return Information{information.what()};
  } catch (const CLI::RequiredError&) {
    throw WrongUse("the command is missing: before or after");
  } catch (const CLI::ExtrasError&) {
    // Without a value: it may be a password.
    const std::string argument = app.remaining(true).front();
    throw WrongUse("there is no command or option '" + argument.substr(0, argument.find('=')) + "' here");
  } catch (const CLI::ParseError& error) {
    throw WrongUse(error.what());
  }
  std::ranges::sort(request.tables, {}, &PlaceOf);
  request.tables.erase(std::unique(request.tables.begin(), request.tables.end()), request.tables.end());
  return request;
}

std::string_view ProgramVersion() {
  return BW_VERSION;
}

}  // namespace check
