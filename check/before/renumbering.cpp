#include "check/before/renumbering.h"

#include <iterator>

namespace check {

bool Renumbering::Add(std::int32_t oldNumber) {
  ++count_;
  lastOld_ = oldNumber;
  if (RunOf(oldNumber) != runs_.end()) {
    return false;
  }
  const auto before = RunOf(static_cast<std::int64_t>(oldNumber) - 1);
  // Not for a run that ends there by its old numbers only: its new ones would have a gap.
  if (before != runs_.end() && before->first + before->second.length == oldNumber &&
      before->second.firstNew + before->second.length == count_) {
    ++runs_[before->first].length;
  } else {
    runs_[oldNumber] = {.firstNew = count_, .length = 1};
  }
  return true;
}

bool Renumbering::KeepsMeaning(std::int32_t number) const {
  const auto run = RunOf(number);
  if (run != runs_.end()) {
    return run->second.firstNew == run->first;
  }
  return number < 1 || static_cast<std::uint32_t>(number) > count_;
}

Renumbering::Runs::const_iterator Renumbering::RunOf(std::int64_t oldNumber) const {
  const auto behind = runs_.upper_bound(oldNumber);
  if (behind == runs_.begin()) {
    return runs_.end();
  }
  const auto run = std::prev(behind);
  return oldNumber < run->first + run->second.length ? run : runs_.end();
}

}  // namespace check
