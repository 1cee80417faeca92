#ifndef BW_LOGGING_LOGGER_H
#define BW_LOGGING_LOGGER_H

#include <array>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

/// One log channel.
///
/// Every source file that logs defines a channel of its own, with internal linkage, in the source file itself and never
/// in a header: a template in a header must be handed the channel that it logs to. Only the driver opens its channel;
/// what goes to a channel that is not open is dropped, and the truncate notices of the tables rely on that.
class Logger {
 public:
  Logger() = default;
  Logger(const Logger&) = delete;
  Logger(Logger&&) = delete;
  Logger& operator=(const Logger&) = delete;
  Logger& operator=(Logger&&) = delete;

  /// Closes the file, if it is open.
  ~Logger();

  /// Opens the file for writing only, creating it or emptying an existing one. Returns whether it is open; a channel
  /// that could not be opened drops everything that is logged.
  bool Open(const std::filesystem::path& path);

  /// Writes the local time as "YYYY-MM-DD hh:mm:ss", then " :: ", then the text. Adds no line end and does not flush:
  /// what does not fill a block of 8 KiB stays in memory until more is logged or the file is closed. Does nothing while
  /// the channel is not open; a failing write is not reported, and all that is logged after it is dropped.
  void Log(const std::string& text);

  /// Closes the file; a failure is not reported.
  void Close();

 private:
  static constexpr std::size_t kTimeStampSize = 80;
  // Whole pages of the file. The pieces that the stream writes by itself end with an entry, and a file system takes up
  // the page in which a piece ends once more for the next one.
  static constexpr std::size_t kBlockSize = 8192;

  void Write(std::string_view text);
  void WriteBlock();

  std::fstream stream_;
  bool isOpen_ = false;
  std::string block_;
  // The second that was shown last and how, with the " :: ": entries come by the thousand in one second.
  std::time_t shownTime_ = -1;
  std::array<char, kTimeStampSize> timeStamp_{};
  std::size_t timeStampLength_ = 0;
};

#endif  // BW_LOGGING_LOGGER_H
