#include "check/cli/progress_line.h"

namespace check {

namespace {

constexpr std::chrono::milliseconds kBetween{200};
constexpr const char* kEraseLine = "\r\x1b[K";

}  // namespace

ProgressLine::~ProgressLine() {
  terminal_ << kEraseLine << std::flush;
}

void ProgressLine::Begin(std::string_view step) {
  step_ = step;
  Show(step_);
}

void ProgressLine::Rows(std::uint64_t rows) {
  if (std::chrono::steady_clock::now() - shown_ >= kBetween) {
    Show(step_ + ", " + std::to_string(rows) + " rows");
  }
}

void ProgressLine::Show(const std::string& text) {
  terminal_ << kEraseLine + text << std::flush;
  shown_ = std::chrono::steady_clock::now();
}

}  // namespace check
