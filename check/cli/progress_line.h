#ifndef BW_CHECK_CLI_PROGRESS_LINE_H
#define BW_CHECK_CLI_PROGRESS_LINE_H

#include <chrono>
#include <ostream>
#include <string>

#include "check/cli/progress.h"

namespace check {

/// Shows the progress on one line of a terminal, which is empty again when the object is gone.
class ProgressLine final : public Progress {
 public:
  explicit ProgressLine(std::ostream& terminal) : terminal_(terminal) {}
  ~ProgressLine() override;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine(ProgressLine&&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ProgressLine& operator=(ProgressLine&&) = delete;

  void Begin(std::string_view step) override;

  /// Shown a few times a second only.
  void Rows(std::uint64_t rows) override;

 private:
  void Show(const std::string& text);

  std::ostream& terminal_;
  std::string step_;
  std::chrono::steady_clock::time_point shown_;
};

}  // namespace check

#endif  // BW_CHECK_CLI_PROGRESS_LINE_H
