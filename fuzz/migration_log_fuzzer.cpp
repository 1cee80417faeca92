#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "check/after/log_reader.h"
#include "check/rules/catalogue.h"
#include "fuzz/require.h"

namespace {

constexpr std::string_view kTime = "2026-11-21 06:31:12 :: ";

check::MigrationLog Read(std::string_view text, std::size_t piece) {
  check::LogReader reader;
  while (!text.empty()) {
    reader.Feed(text.substr(0, piece));
    text.remove_prefix(std::min(piece, text.size()));
  }
  return reader.Finish();
}

bool Same(const check::MigrationLog& one, const check::MigrationLog& other) {
  return one.firstTime == other.firstTime && one.lastTime == other.lastTime && one.error == other.error &&
         one.brokenOff == other.brokenOff && one.foreignLines == other.foreignLines &&
         one.takenBack == other.takenBack &&
         std::equal(one.tables.begin(), one.tables.end(), other.tables.begin(), other.tables.end(),
                    [](const check::LoggedTable& left, const check::LoggedTable& right) {
                      return left.name == right.name && left.rows == right.rows && left.completed == right.completed;
                    });
}

/// Whatever a file holds, it is read in the same way in pieces of any size, and what is said of it makes sense.
void ReadAnything(std::string_view text) {
  const check::MigrationLog log = Read(text, std::string_view::npos);
  Require(Same(log, Read(text, 1)), "the pieces do not matter");
  Require(Same(log, Read(text, 7)), "the pieces do not matter");
  Require(log.tables.size() <= check::Catalogue().size(), "no more tables than there are");
  std::uint64_t lines = log.tables.size();
  for (std::size_t i = 0; i < log.tables.size(); ++i) {
    Require(log.tables[i].name == check::Catalogue()[i].name, "the tables come in their order");
    Require(log.tables[i].completed || i + 1 == log.tables.size(), "only the last table is not complete");
    lines += log.tables[i].rows;
  }
  Require(lines <= static_cast<std::uint64_t>(std::count(text.begin(), text.end(), '\n')) + 1, "every row has a line");
  Require(!log.error || log.error->size() <= 8192, "an error is cut");
  Require(!log.error || !log.brokenOff, "a log that ends with an error does not break off");
  Require(log.firstTime.empty() == log.lastTime.empty(), "either both times are known or none");
}

/// The next text up to a byte 0xFF, as the migrator would have it: up to its first zero, and cut.
std::string TakeText(std::string_view& data, std::size_t size) {
  const std::string_view text = data.substr(0, data.find('\xFF'));
  data.remove_prefix(std::min(text.size() + 1, data.size()));
  return std::string(text.substr(0, std::min(text.find('\0'), size)));
}

/// Whatever the texts of a table hold, its rows are counted as they are.
void ReadRows(std::string_view data) {
  std::string log = std::string(kTime) + "Start migrate SystemData table\n";
  std::uint64_t rows = 0;
  while (!data.empty()) {
    const std::string name = TakeText(data, 20);
    const std::string value = TakeText(data, 50);
    log.append(kTime).append("insert row(").append(std::to_string(++rows)).append("): [KeyName] = ").append(name);
    log.append(", [KeyValue] = ").append(value).append(";\n");
  }
  log += std::string(kTime) + "Complete migrate SystemData table. Total rows read = " + std::to_string(rows) +
         " Total migrated rows = " + std::to_string(rows) + ". Migration time is 0 milliseconds\n";
  const check::MigrationLog read = Read(log, std::string_view::npos);
  Require(read.tables.size() == 1 && read.tables[0].completed, "the table is complete");
  Require(read.tables[0].rows == rows, "the rows are counted");
  Require(!read.error && !read.brokenOff && read.foreignLines == 0, "nothing else is said");
}

}  // namespace

/// The input is a log, and texts for the rows of one.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  ReadAnything(input);
  ReadRows(input);
  return 0;
}
