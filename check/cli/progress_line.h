#ifndef BW_CHECK_CLI_PROGRESS_LINE_H
#define BW_CHECK_CLI_PROGRESS_LINE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "check/cli/progress.h"

namespace check {

/// Shows the progress on one line of a terminal, which is empty again when the object is gone.
class ProgressLine final : public Progress {
 public:
  using Time = std::chrono::steady_clock::time_point;

  explicit ProgressLine(std::ostream& terminal, std::function<Time()> now = std::chrono::steady_clock::now)
      : terminal_(terminal), now_(std::move(now)) {}
  ~ProgressLine() override;
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine(ProgressLine&&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;
  ProgressLine& operator=(ProgressLine&&) = delete;

  /// How many rows the source has of each table of the catalogue, in its order; none where that is not known or where
  /// the table is not looked at.
  void Plan(std::vector<std::optional<std::uint64_t>> rows) { plan_ = std::move(rows); }

  void Begin(std::string_view step) override;

  /// Shown a few times a second only.
  void Rows(std::uint64_t rows) override;

 private:
  std::optional<std::uint64_t> Planned() const;
  std::string Counted(std::uint64_t rows) const;
  std::string Speed(std::uint64_t rows) const;
  void Show(const std::string& text);

  std::ostream& terminal_;
  std::function<Time()> now_;
  std::vector<std::optional<std::uint64_t>> plan_;
  std::string step_;
  std::optional<std::size_t> table_;  ///< The step's place in the catalogue, if it is a table.
  std::uint64_t rows_ = 0;            ///< Of the step.
  std::uint64_t rowsBefore_ = 0;      ///< Of earlier steps.
  std::optional<Time> begun_;         ///< With the first table.
  Time shown_;
};

}  // namespace check

#endif  // BW_CHECK_CLI_PROGRESS_LINE_H
