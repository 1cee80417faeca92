#ifndef BW_CHECK_AFTER_LOG_READER_H
#define BW_CHECK_AFTER_LOG_READER_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace check {

/// What the log says of one table that the run began.
struct LoggedTable {
  std::string name;
  std::uint64_t rows = 0;  ///< That were migrated, one line each.
  bool completed = false;  ///< With a summary that counts the same rows.
};

/// What the migrator's log says of its run.
struct MigrationLog {
  std::string firstTime;            ///< Of the first and the last entry, local, as "YYYY-MM-DD hh:mm:ss"; empty when
  std::string lastTime;             ///< there is none.
  std::vector<LoggedTable> tables;  ///< In the order of the run.

  /// The last entry when it is none of a run that goes well: what ended the run, without its time. Cut when it is long.
  std::optional<std::string> error;

  bool brokenOff = false;          ///< The last line is not complete: the run was killed, or its disk was full.
  std::uint64_t foreignLines = 0;  ///< Lines that no run writes: before the first entry, or entries out of their order.

  /// Entries that later ones showed to be lines of a row's text. Texts may hold line ends and anything behind them, so
  /// whether a line is an entry is told by what the run writes in its order.
  std::uint64_t takenBack = 0;
};

/// Reads a log piece by piece, in constant memory.
class LogReader {
 public:
  /// The next bytes, any number of them.
  void Feed(std::string_view bytes);

  /// What was said, after the last bytes. Call once.
  MigrationLog Finish();

 private:
  struct Entry;
  enum class State : std::uint8_t { Nothing, Started, InRow, Completed, Error };

  static std::optional<Entry> ReadEntry(std::string_view line);
  bool TakeLine(bool terminated);
  bool TakeEntry(const Entry& entry);
  void TakeError(const Entry& entry);
  bool Fits(const Entry& entry) const;
  void Continue(std::string_view line, bool terminated);
  void LookAtRow(std::string_view line);
  bool InRow() const;
  bool MayEndRow(const Entry& entry) const;
  bool IsBrokenEntry(std::string_view text) const;

  MigrationLog log_;
  State state_ = State::Nothing;
  State stateBeforeError_ = State::Nothing;
  std::string line_;             ///< As far as it has come; a long one is cut.
  char lastByte_ = '\n';         ///< Of the line, also of one that was cut.
  bool lastColumnSeen_ = false;  ///< In the row that is being read.
  bool lineMayEndRow_ = false;   ///< Its last line so far ends as a row does.
};

/// Reads the log in a file; nothing when there is no file that can be opened.
///
/// \throws std::runtime_error when reading fails, and for a directory, a pipe or a device, which it does not open.
std::optional<MigrationLog> ReadLog(const std::filesystem::path& path);

/// What changes when a run writes to its log.
struct LogStamp {
  std::uintmax_t size = 0;
  std::filesystem::file_time_type written;

  bool operator==(const LogStamp&) const = default;
};

/// That of a file. Two of a file that is not there are equal.
LogStamp StampOf(const std::filesystem::path& path);

}  // namespace check

#endif  // BW_CHECK_AFTER_LOG_READER_H
