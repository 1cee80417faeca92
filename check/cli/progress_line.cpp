#include "check/cli/progress_line.h"

#include <algorithm>

#include "check/rules/catalogue.h"

namespace check {

namespace {

constexpr std::chrono::milliseconds kBetween{200};
constexpr const char* kEraseLine = "\r\x1b[K";

// What is longer than the line is cut instead of going on in the next one, which would not be erased.
constexpr const char* kWithoutWrap = "\x1b[?7l";
constexpr const char* kWithWrap = "\x1b[?7h";

std::string Duration(std::uint64_t seconds) {
  return seconds < 120    ? std::to_string(seconds) + " s"
         : seconds < 7200 ? std::to_string(seconds / 60) + " min"
                          : std::to_string(seconds / 3600) + " h " + std::to_string(seconds / 60 % 60) + " min";
}

}  // namespace

ProgressLine::~ProgressLine() {
  terminal_ << kEraseLine << std::flush;
}

void ProgressLine::Begin(std::string_view step) {
  rowsBefore_ += rows_;
  rows_ = 0;
  step_ = step;
  const std::size_t place = PlaceOf(step);
  table_ = place < Catalogue().size() ? std::optional(place) : std::nullopt;
  if (table_) {
    step_ += ", table " + std::to_string(*table_ + 1) + " of " + std::to_string(Catalogue().size());
    begun_ = begun_ ? begun_ : now_();
  }
  Show(step_);
}

void ProgressLine::Rows(std::uint64_t rows) {
  rows_ = rows;
  if (now_() - shown_ >= kBetween) {
    Show(step_ + Counted(rows) + Speed(rowsBefore_ + rows));
  }
}

std::optional<std::uint64_t> ProgressLine::Planned() const {
  return table_ && *table_ < plan_.size() ? plan_[*table_] : std::nullopt;
}

std::string ProgressLine::Counted(std::uint64_t rows) const {
  const auto planned = Planned();
  return ", " + std::to_string(rows) + (planned ? " of " + std::to_string(*planned) : "") + " rows";
}

std::string ProgressLine::Speed(std::uint64_t rows) const {
  if (!begun_) {
    return {};
  }
  const std::chrono::duration<double> taken = now_() - *begun_;
  const auto speed = static_cast<std::uint64_t>(static_cast<double>(rows) / taken.count());
  if (taken < std::chrono::seconds(1) || speed == 0) {
    return {};
  }
  std::string text = ", " + std::to_string(speed) + " rows/s";
  if (const auto planned = Planned()) {
    std::uint64_t left = std::max(*planned, rows_) - rows_;
    for (std::size_t i = *table_ + 1; i < plan_.size(); ++i) {
      left += plan_[i].value_or(0);
    }
    text += ", about " + Duration(left / speed) + " left";
  }
  return text;
}

void ProgressLine::Show(const std::string& text) {
  terminal_ << kEraseLine << kWithoutWrap << text << kWithWrap << std::flush;
  shown_ = now_();
}

}  // namespace check
