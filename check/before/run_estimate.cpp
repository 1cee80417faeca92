#include "check/before/run_estimate.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "check/report/findings.h"
#include "check/report/report_file.h"
#include "check/rules/catalogue.h"
#include "check/sql/query.h"
#include "check/sql/sql_text.h"
#include "config/file_names.h"

namespace check {

namespace {

/// Rows in a second, as docs/development/performance.md has measured them: LoadedPositions stands for the tables that
/// are written with INSERT, Orders for those that procedures write.
struct Speed {
  std::uint64_t inserted;
  std::uint64_t called;
};
constexpr Speed kWaiting{.inserted = 5'000, .called = 2'500};
constexpr Speed kNotWaiting{.inserted = 31'000, .called = 5'900};

/// Rows whose values are measured.
const std::string kSampleSize = "1000";

struct Unit {
  std::string_view name;
  double size;
};

/// In the first of the units that the amount is at least two of, or in the last.
template <class Units>
std::string InUnits(double amount, const Units& units) {
  Unit chosen = units.back();
  for (const Unit& unit : units) {
    if (amount >= 2 * unit.size) {
      chosen = unit;
      break;
    }
  }
  return std::to_string(std::llround(amount / chosen.size)) + " " + std::string(chosen.name);
}

/// The bytes that the values of a row have on average, as the destination writes them; nothing where it holds none.
std::optional<double> WidthOfValues(const odbc::DBConnection& destination, const staging::Copy& copy) {
  std::vector<std::string> columns;
  for (const auto& [column, type] : copy.types) {
    columns.push_back(Quoted(column));
  }
  const std::optional<std::string> width =
      QueryValue(destination, "SELECT avg(octet_length(concat(" + Joined(columns) + ")))::text FROM (SELECT * FROM " +
                                  copy.path + " LIMIT " + kSampleSize + ") AS first_rows");
  return width ? std::optional(std::stod(*width)) : std::nullopt;
}

struct Expected {
  std::uint64_t inserted = 0;
  std::uint64_t called = 0;
  std::optional<double> bytes = 0;
};

/// What a run writes before it ends, where that can be foreseen, and else what the source holds.
std::optional<Expected> ExpectedOf(const odbc::DBConnection& destination, const staging::Copies& copies,
                                   const Report& report) {
  Expected expected;
  for (const TableReport& entry : report.tables) {
    const std::optional<std::uint64_t> rows = entry.arrivingRows ? entry.arrivingRows : entry.sourceRows;
    if (!rows) {
      return std::nullopt;
    }
    const db::TableDescription& table = TableNamed(entry.table);
    (table.write.starts_with("INSERT") ? expected.inserted : expected.called) += *rows;
    if (*rows == 0 || !expected.bytes) {
      continue;
    }
    const auto copy = copies.copies.find(table.name);
    const std::optional<double> width =
        copy == copies.copies.end() ? std::nullopt : WidthOfValues(destination, copy->second);
    const auto digits = static_cast<double>(std::to_string(*rows).size());
    expected.bytes =
        width ? std::optional(*expected.bytes +
                              static_cast<double>(*rows) * (static_cast<double>(LineOverhead(table)) + digits + *width))
              : std::nullopt;
  }
  return expected;
}

Finding NotWritten(std::string text) {
  return Finding(finding::LogNotWritten, std::move(text));
}

/// Why the log cannot be opened for writing; empty when it can be. An existing file stays as it is.
std::string WhyNotWritable(const std::filesystem::path& log, bool exists) {
  if (!exists) {
    try {
      const ReportFile tried(log);
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return {};
  }
  errno = 0;
  return std::ofstream(log, std::ios_base::app).is_open() ? std::string{} : std::generic_category().message(errno);
}

}  // namespace

std::string AboutBytes(std::uint64_t bytes) {
  constexpr std::array units = {Unit{"GB", 1e9}, Unit{"MB", 1e6}, Unit{"KB", 1e3}, Unit{"bytes", 1}};
  return InUnits(static_cast<double>(bytes), units);
}

std::string AboutTime(double seconds) {
  constexpr std::array units = {Unit{"hours", 3600}, Unit{"minutes", 60}, Unit{"seconds", 1}};
  return seconds < 1 ? "a second" : InUnits(std::max(seconds, 2.0), units);
}

std::size_t LineOverhead(const db::TableDescription& table) {
  // "2026-11-21 06:31:12 :: insert row(): " and the newline, then "[] = " for each column, ", " between them and ";".
  std::size_t bytes = 37 + 1 + 1;
  for (const db::ColumnDescription& column : table.columns) {
    bytes += column.name.size() + 5;
  }
  return bytes + 2 * (table.columns.size() - 1);
}

std::vector<Finding> LookAtLog(const std::filesystem::path& log, std::optional<std::uint64_t> needed,
                               std::optional<std::uint64_t> free) {
  const std::string name(config::kLogFileName);
  std::vector<Finding> findings;
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(log, error);
  const bool exists = std::filesystem::exists(status);
  if (exists && !std::filesystem::is_regular_file(status)) {
    findings.push_back(
        NotWritten(name + " is not a regular file: " +
                   (std::filesystem::is_directory(status)
                        ? "the run cannot write a log. It goes on without one, and no message shows why it ended."
                        : "the check after the run cannot read what the run writes there.")));
    return findings;
  }
  const std::string refused = WhyNotWritable(log, exists);
  if (!refused.empty()) {
    findings.push_back(NotWritten(name + " cannot be written (" + refused +
                                  "): the run goes on without a log, and no message shows why it ended."));
    return findings;
  }
  const std::uint64_t held = exists ? std::filesystem::file_size(log, error) : 0;
  if (held > 0) {
    findings.emplace_back(finding::LogOverwritten,
                          name + " holds a log of " + AboutBytes(held) +
                              ", which the run overwrites as soon as it starts. Move it away if you need it.");
  }
  if (needed && free && *free + held < *needed) {
    findings.push_back(NotWritten("The disk of " + name + " has about " + AboutBytes(*free + held) +
                                  " for it, and the log will take about " + AboutBytes(*needed) +
                                  ": the run goes on when the disk is full, but what it logs then is lost."));
  }
  return findings;
}

void LookAtRun(const odbc::DBConnection& destination, const staging::Copies& copies, bool allTables, bool waitsForDisk,
               Report& report) {
  const std::filesystem::path directory = std::filesystem::current_path();
  std::error_code error;
  const std::filesystem::space_info space = std::filesystem::space(directory, error);
  const std::optional<std::uint64_t> free = error ? std::nullopt : std::optional<std::uint64_t>(space.available);

  std::optional<std::uint64_t> needed;
  const std::optional<Expected> expected = allTables ? ExpectedOf(destination, copies, report) : std::nullopt;
  if (expected) {
    const Speed speed = waitsForDisk ? kWaiting : kNotWaiting;
    const double seconds = static_cast<double>(expected->inserted) / static_cast<double>(speed.inserted) +
                           static_cast<double>(expected->called) / static_cast<double>(speed.called);
    report.facts.push_back("Run: about " + AboutTime(seconds) + ", by estimate: " + std::to_string(expected->inserted) +
                           " rows at " + std::to_string(speed.inserted) + " in a second and " +
                           std::to_string(expected->called) + " by procedures at " + std::to_string(speed.called) +
                           ", as measured on one machine with synchronous_commit " + (waitsForDisk ? "on" : "off") +
                           ". A network and a slower disk make it longer.");
  }
  if (expected && expected->bytes) {
    needed = static_cast<std::uint64_t>(std::llround(*expected->bytes));
    report.facts.push_back("Run: a log of about " + AboutBytes(*needed) + ", by estimate: a line for each of " +
                           std::to_string(expected->inserted + expected->called) +
                           " rows, with values as wide as those of the first " + kSampleSize + " rows of each table." +
                           (free ? " The disk has " + AboutBytes(*free) + " free." : std::string{}));
  }
  for (Finding& finding : LookAtLog(directory / config::kLogFileName, needed, free)) {
    report.general.push_back(std::move(finding));
  }
}

}  // namespace check
