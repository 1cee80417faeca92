#ifndef BW_CHECK_CLI_PROGRESS_H
#define BW_CHECK_CLI_PROGRESS_H

#include <cstdint>
#include <string_view>

namespace check {

/// Hears how far a check has come. Does nothing by itself.
class Progress {
 public:
  virtual ~Progress() = default;
  Progress() = default;
  Progress(const Progress&) = delete;
  Progress(Progress&&) = delete;
  Progress& operator=(const Progress&) = delete;
  Progress& operator=(Progress&&) = delete;

  /// A step begins: a table, or something before them.
  virtual void Begin(std::string_view /*step*/) {}

  /// So many rows of the step are done. Called often.
  virtual void Rows(std::uint64_t /*rows*/) {}
};

}  // namespace check

#endif  // BW_CHECK_CLI_PROGRESS_H
