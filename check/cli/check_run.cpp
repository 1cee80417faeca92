#include "check/cli/check_run.h"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "check/after/after.h"
#include "check/before/before.h"
#include "check/before/refusal.h"
#include "check/cli/command_line.h"
#include "check/cli/identity.h"
#include "check/cli/passwords.h"
#include "check/cli/platform.h"
#include "check/cli/progress_line.h"
#include "check/report/acceptance.h"
#include "check/report/characters.h"
#include "check/report/html_report.h"
#include "check/report/json_report.h"
#include "check/report/report_file.h"
#include "check/report/text_report.h"
#include "check/rules/catalogue.h"
#include "check/setup/configuration.h"
#include "check/setup/connecting.h"
#include "check/setup/data_source.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "check/staging/session.h"
#include "config/file_names.h"
#include "config/migration_settings.h"
#include "config/profile_file.h"
#include "odbc/connection.h"
#include "odbc/diagnostics.h"
#include "odbc/secret.h"

namespace check {

namespace {

constexpr int kNothingFound = 0;
constexpr int kFindings = 1;
constexpr int kCouldNotCheck = 2;

constexpr std::string_view kProgramName = "bw_db_check: ";

config::MigrationSettings ReadSettings() {
  const std::filesystem::path path = std::filesystem::current_path() / config::kConfigurationFileName;
  if (!config::ProfileFileExists(path)) {
    throw std::runtime_error("there is no bw_migrate.ini in the working directory");
  }
  setup::RequireUsableConfiguration(path);
  return config::MigrationSettings(path.string());
}

/// Of the chosen tables, or of all when none is chosen; nothing where the login may not count them.
std::vector<std::optional<std::uint64_t>> CountRows(const odbc::DBConnection& source,
                                                    const std::vector<std::string>& chosen) {
  std::vector<std::optional<std::uint64_t>> counts;
  for (const db::TableDescription& table : Catalogue()) {
    std::optional<std::uint64_t>& count = counts.emplace_back();
    if (!IsChosen(chosen, table.name)) {
      continue;
    }
    try {
      count = QueryNumber(source, "SELECT COUNT(*) FROM " + source.schema() + QuotedName(Side::Source, table.name));
    } catch (const odbc::Error&) {
      // The check reports what it cannot read.
    }
  }
  return counts;
}

Report MakeReport(const CheckRequest& request, const config::MigrationSettings& settings,
                  const std::optional<Acceptance>& acceptance, Passwords& passwords) {
  odbc::DBConnection source(settings.source.dataSourceName, settings.source.login, passwords.source,
                            settings.source.schema);
  odbc::DBConnection trial(settings.source.dataSourceName, settings.source.login, passwords.source,
                           settings.source.schema);
  odbc::Wipe(passwords.source);
  odbc::DBConnection destination(settings.destination.dataSourceName, settings.destination.login, passwords.destination,
                                 settings.destination.schema);
  odbc::Wipe(passwords.destination);

  std::optional<ProgressLine> line;
  Progress none;
  if (ObeysEscapeSequences(OutputStream::Error)) {
    line.emplace(std::cerr);
  }
  Progress& progress = line ? static_cast<Progress&>(*line) : none;
  progress.Begin("Connecting");
  setup::ConnectSides(source, trial, destination, settings);
  const std::optional<Finding> refusal = WhyRunRefused(source, destination);
  if (refusal && request.command == Command::After) {
    throw std::runtime_error("there is no run to look at. " + refusal->text);
  }
  const Identity identity{.source = Identify(Side::Source, source, settings.source),
                          .destination = Identify(Side::Destination, destination, settings.destination),
                          .time = LocalTime(),
                          .host = HostName(),
                          .programVersion = std::string(ProgramVersion()),
                          .options = request.options};
  if (acceptance) {
    acceptance->RequireSame(identity);
  }
  if (line && !refusal) {
    line->Begin("Counting rows");
    line->Plan(CountRows(source, request.tables));
  }
  try {
    Report report = refusal ? RefusedReport(*refusal, request.tables)
                    : request.command == Command::Before
                        ? CheckBefore(source, trial, destination, request.tables, progress)
                        : CheckAfter(source, trial, destination, std::filesystem::current_path() / config::kLogFileName,
                                     request.tables, progress);
    report.identity = identity;
    MergeColumns(report);
    if (acceptance) {
      acceptance->Apply(report);
    }
    return report;
  } catch (const odbc::Error& error) {
    // 55P03: a lock was not granted in time.
    if (error.state() != "55P03") {
      throw;
    }
    throw std::runtime_error("a table of the destination is locked: " + staging::WhoBlocks(destination));
  }
}

void RequireWritten() {
  std::cout.flush();
  if (!std::cout) {
    throw std::runtime_error("cannot write to standard output");
  }
}

bool WantsColour() {
  const char* const noColour = std::getenv("NO_COLOR");
  return (noColour == nullptr || *noColour == '\0') && ObeysEscapeSequences(OutputStream::Output);
}

std::optional<ReportFile> Tried(const std::optional<std::filesystem::path>& path) {
  return path ? std::optional<ReportFile>(*path) : std::nullopt;
}

int Check(const CheckRequest& request) {
  const config::MigrationSettings settings = ReadSettings();
  const std::optional<ReportFile> jsonFile = Tried(request.jsonFile);
  const std::optional<ReportFile> htmlFile = Tried(request.htmlFile);
  std::optional<Acceptance> acceptance;
  if (request.acceptedReport) {
    acceptance.emplace(*request.acceptedReport);
  }
  setup::RequireNoFlaws({setup::FlawOfDataSource("source", settings.source.dataSourceName),
                         setup::FlawOfDataSource("destination", settings.destination.dataSourceName)});
  Passwords passwords;
  AskPasswords(passwords);
  const Report report = MakeReport(request, settings, acceptance, passwords);
  PrintReport(std::cout, report, WantsColour() ? Colour::On : Colour::Off);
  std::cout.flush();
  if (jsonFile) {
    jsonFile->Write(JsonReport(report));
  }
  if (htmlFile) {
    htmlFile->Write(HtmlReport(report));
  }
  RequireWritten();
  return report.HasNewFindings() ? kFindings : kNothingFound;
}

int Answer(const Request& request) {
  if (const auto* const checkRequest = std::get_if<CheckRequest>(&request)) {
    return Check(*checkRequest);
  }
  std::cout << std::get<Information>(request).text;
  RequireWritten();
  return kNothingFound;
}

}  // namespace

int RunCheck(int argc, const char* const* argv) noexcept {
  MakeClosedPipesAnError();
  try {
    return Answer(ReadCommandLine({argv + (argc > 0 ? 1 : 0), argv + argc}));
  } catch (const WrongUse& error) {
    std::cerr << kProgramName << Printable(error.what()) << "\nbw_db_check --help lists the options.\n";
  } catch (const std::exception& error) {
    std::cerr << kProgramName << Printable(error.what(), "\n") << '\n';
  }
  return kCouldNotCheck;
}

}  // namespace check
