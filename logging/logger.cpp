#include "logging/logger.h"

#include <ctime>
#include <string_view>

bool Logger::Open(const std::filesystem::path& path) {
  stream_.open(path, std::ios_base::out);
  isOpen_ = stream_.is_open();
  return isOpen_;
}

void Logger::Log(const std::string& text) {
  if (!isOpen_) {
    return;
  }
  const std::time_t now = std::time(nullptr);
  if (now != shownTime_) {
    timeStampLength_ = std::strftime(timeStamp_.data(), timeStamp_.size(), "%Y-%m-%d %X", std::localtime(&now));
    shownTime_ = now;
  }
  stream_ << std::string_view(timeStamp_.data(), timeStampLength_);
  stream_ << " :: ";
  stream_ << text;
}

void Logger::Close() {
  stream_.close();
}
