#include "check/after/log_reader.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <fstream>
#include <ios>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "check/rules/catalogue.h"

namespace check {

namespace {

// A row's line is a few thousand bytes long; an error's is what one record of diagnostics after the other holds.
constexpr std::size_t kLongestLine = std::size_t{1} << 16U;
constexpr std::size_t kLongestError = std::size_t{1} << 13U;

constexpr std::string_view kTimePattern = "0000-00-00 00:00:00";
constexpr std::string_view kSeparator = " :: ";
constexpr std::string_view kStart = "Start migrate ";
constexpr std::string_view kTable = " table";
constexpr std::string_view kRow = "insert row(";
constexpr std::string_view kRowEnd = "): ";
constexpr std::string_view kSummary = "Complete migrate ";
constexpr std::string_view kRowsRead = " table. Total rows read = ";
constexpr std::string_view kRowsMigrated = " Total migrated rows = ";
constexpr std::string_view kTime = ". Migration time is ";
constexpr std::string_view kTimeUnit = " milliseconds";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

bool BeginsWithTime(std::string_view line) {
  return line.size() >= kTimePattern.size() &&
         std::equal(kTimePattern.begin(), kTimePattern.end(), line.begin(),
                    [](char pattern, char c) { return pattern == '0' ? IsDigit(c) : pattern == c; });
}

/// Whether a line may be what is left of one that began with a time.
bool IsBrokenTime(std::string_view line) {
  const std::string whole = std::string(kTimePattern) + std::string(kSeparator);
  return line.size() < whole.size() && std::equal(line.begin(), line.end(), whole.begin(), [](char c, char pattern) {
           return pattern == '0' ? IsDigit(c) : pattern == c;
         });
}

/// Takes the words from the beginning of a text; false when they do not stand there.
bool Take(std::string_view& text, std::string_view words) {
  if (!text.starts_with(words)) {
    return false;
  }
  text.remove_prefix(words.size());
  return true;
}

template <class Number>
bool TakeNumber(std::string_view& text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  text.remove_prefix(static_cast<std::size_t>(end - text.data()));
  return error == std::errc();
}

bool TakeWord(std::string_view& text, std::string_view& word) {
  word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return !word.empty();
}

/// What stands before the first and the last value of a table's rows.
struct Labels {
  std::string first;
  std::string last;
};

/// Those of the tables in their order.
const std::vector<Labels>& RowLabels() {
  static const std::vector<Labels> labels = [] {
    const auto label = [](const db::ColumnDescription& column) { return "[" + std::string(column.name) + "] = "; };
    std::vector<Labels> all;
    for (const db::TableDescription& table : Catalogue()) {
      all.push_back({.first = label(table.columns.front()), .last = label(table.columns.back())});
    }
    return all;
  }();
  return labels;
}

bool OneBeginsWithTheOther(std::string_view one, std::string_view other) {
  return one.starts_with(other) || other.starts_with(one);
}

}  // namespace

struct LogReader::Entry {
  enum class Kind : std::uint8_t { Start, Row, Summary, Other };

  Kind kind = Kind::Other;
  std::string_view time;
  std::string_view text;
  std::string_view table;
  std::uint64_t rows = 0;  ///< The number of a row, or those of a summary.
};

std::optional<LogReader::Entry> LogReader::ReadEntry(std::string_view line) {
  if (!BeginsWithTime(line)) {
    return std::nullopt;
  }
  std::string_view text = line.substr(kTimePattern.size());
  if (!Take(text, kSeparator)) {
    return std::nullopt;
  }
  Entry entry{
      .kind = Entry::Kind::Other, .time = line.substr(0, kTimePattern.size()), .text = text, .table = {}, .rows = 0};
  std::uint64_t migrated = 0;
  std::int64_t milliseconds = 0;
  if (Take(text, kRow)) {
    if (TakeNumber(text, entry.rows) && Take(text, kRowEnd)) {
      entry.kind = Entry::Kind::Row;
      entry.text = text;
    }
  } else if (Take(text, kStart)) {
    if (TakeWord(text, entry.table) && text == kTable) {
      entry.kind = Entry::Kind::Start;
    }
  } else if (Take(text, kSummary)) {
    if (TakeWord(text, entry.table) && Take(text, kRowsRead) && TakeNumber(text, entry.rows) &&
        Take(text, kRowsMigrated) && TakeNumber(text, migrated) && Take(text, kTime) &&
        TakeNumber(text, milliseconds) && text == kTimeUnit && migrated == entry.rows) {
      entry.kind = Entry::Kind::Summary;
    }
  }
  return entry;
}

void LogReader::Feed(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::size_t length = std::min(bytes.find('\n'), bytes.size());
    const std::size_t room = kLongestLine - line_.size();
    line_.append(bytes.substr(0, std::min(length, room)));
    // Windows ends a line with two bytes.
    const std::size_t last = bytes.substr(0, length).find_last_not_of('\r');
    lastByte_ = last == std::string_view::npos ? lastByte_ : bytes[last];
    if (length == bytes.size()) {
      return;
    }
    TakeLine(true);
    bytes.remove_prefix(length + 1);
  }
}

bool LogReader::TakeLine(bool terminated) {
  if (terminated && line_.ends_with('\r')) {
    line_.pop_back();
  }
  // The hole that is left where another run emptied the log and this one went on where it was.
  log_.foreignLines += line_.find('\0') != std::string::npos ? 1U : 0U;
  const std::optional<Entry> entry = ReadEntry(line_);
  const bool taken = entry && TakeEntry(*entry);
  if (!taken) {
    Continue(line_, terminated);
  }
  line_.clear();
  lastByte_ = '\n';
  return taken;
}

bool LogReader::TakeEntry(const Entry& entry) {
  if (InRow() && !MayEndRow(entry)) {
    return false;
  }
  const bool error = state_ == State::Error;
  if (!Fits(entry)) {
    return false;
  }
  if (error) {
    // The run went on, so that was a line of a row's text.
    ++log_.takenBack;
    log_.error.reset();
  }
  switch (entry.kind) {
    case Entry::Kind::Start:
      log_.tables.push_back({.name = std::string(entry.table), .rows = 0, .completed = false});
      state_ = State::Started;
      break;
    case Entry::Kind::Row:
      // The same number once more: what was taken for this row was a text.
      log_.takenBack += entry.rows == log_.tables.back().rows ? 1U : 0U;
      log_.tables.back().rows = entry.rows;
      state_ = State::InRow;
      lastColumnSeen_ = false;
      LookAtRow(entry.text);
      break;
    case Entry::Kind::Summary:
      log_.tables.back().completed = true;
      state_ = State::Completed;
      break;
    case Entry::Kind::Other:
      TakeError(entry);
      break;
  }
  if (log_.firstTime.empty()) {
    log_.firstTime = entry.time;
  }
  log_.lastTime = entry.time;
  return true;
}

bool LogReader::MayEndRow(const Entry& entry) const {
  // A row that lacks its last column was a text when that row comes once more.
  const bool sameRow =
      entry.kind == Entry::Kind::Row && entry.rows == log_.tables.back().rows && log_.tables.back().rows > 1;
  return lineMayEndRow_ && (lastColumnSeen_ || sameRow);
}

bool LogReader::InRow() const {
  return (state_ == State::Error ? stateBeforeError_ : state_) == State::InRow;
}

bool LogReader::Fits(const Entry& entry) const {
  const bool inTable = !log_.tables.empty() && !log_.tables.back().completed;
  switch (entry.kind) {
    case Entry::Kind::Start:
      return !inTable && log_.tables.size() < Catalogue().size() && entry.table == Catalogue()[log_.tables.size()].name;
    case Entry::Kind::Row:
      return inTable && entry.text.starts_with(RowLabels()[log_.tables.size() - 1].first) &&
             (entry.rows == log_.tables.back().rows + 1 || (InRow() && entry.rows == log_.tables.back().rows));
    case Entry::Kind::Summary:
      return inTable && entry.table == log_.tables.back().name && entry.rows == log_.tables.back().rows;
    case Entry::Kind::Other:
      // The first error is the last entry; only a line of a row's text looks like one and is followed by another.
      return state_ != State::Error || InRow();
  }
  return false;
}

void LogReader::TakeError(const Entry& entry) {
  if (state_ != State::Error) {
    stateBeforeError_ = state_;
    state_ = State::Error;
  }
  log_.error = std::string(entry.text.substr(0, kLongestError));
  if (InRow()) {
    LookAtRow(entry.text);
  }
}

void LogReader::Continue(std::string_view line, bool terminated) {
  if (InRow()) {
    LookAtRow(line);
  } else if (state_ != State::Error && !line.empty() &&
             (terminated || (state_ == State::Nothing && !IsBrokenTime(line)))) {
    ++log_.foreignLines;
  }
  if (state_ == State::Error && log_.error->size() + line.size() < kLongestError) {
    log_.error->append("\n").append(line);
  }
}

void LogReader::LookAtRow(std::string_view line) {
  lastColumnSeen_ = lastColumnSeen_ || line.find(RowLabels()[log_.tables.size() - 1].last) != std::string_view::npos;
  lineMayEndRow_ = lastByte_ == ';';
}

bool LogReader::IsBrokenEntry(std::string_view text) const {
  // An error may be without a text.
  if (text.empty()) {
    return false;
  }
  if (log_.tables.size() < Catalogue().size() &&
      OneBeginsWithTheOther(text, std::string(kStart).append(Catalogue()[log_.tables.size()].name))) {
    return true;
  }
  if (log_.tables.empty()) {
    return false;
  }
  const LoggedTable& table = log_.tables.back();
  return OneBeginsWithTheOther(text, std::string(kRow) + std::to_string(table.rows + 1)) ||
         OneBeginsWithTheOther(
             text, std::string(kSummary) + table.name + std::string(kRowsRead) + std::to_string(table.rows));
}

MigrationLog LogReader::Finish() {
  const bool unterminated = !line_.empty();
  const bool taken = unterminated && TakeLine(false);
  if (state_ != State::Error) {
    log_.brokenOff = unterminated && !(taken && state_ == State::Completed);
  } else if (unterminated && taken && IsBrokenEntry(*log_.error)) {
    log_.error.reset();
    log_.brokenOff = true;
  } else if (!unterminated && InRow() && lineMayEndRow_) {
    // An error has no line end of its own: this is the end of a row's text.
    ++log_.takenBack;
    log_.error.reset();
  }
  return std::move(log_);
}

std::optional<MigrationLog> ReadLog(const std::filesystem::path& path) {
  // Opening a pipe waits for its other end, and a device may have none.
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw std::runtime_error(path.string() + " is not a file: the migrator's log cannot be there");
  }
  std::ifstream file(path, std::ios_base::binary);
  if (!file.is_open()) {
    return std::nullopt;
  }
  LogReader reader;
  std::vector<char> buffer(std::size_t{1} << 18U);
  do {
    file.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
    reader.Feed({buffer.data(), static_cast<std::size_t>(file.gcount())});
  } while (file);
  if (!file.eof()) {
    throw std::runtime_error("cannot read " + path.string());
  }
  return reader.Finish();
}

LogStamp StampOf(const std::filesystem::path& path) {
  LogStamp stamp;
  std::error_code error;
  stamp.size = std::filesystem::file_size(path, error);
  stamp.written = std::filesystem::last_write_time(path, error);
  return stamp;
}

}  // namespace check
