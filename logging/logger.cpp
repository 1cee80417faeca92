#include "logging/logger.h"

#include <ctime>

Logger::~Logger() {
  Close();
}

bool Logger::Open(const std::filesystem::path& path) {
  stream_.open(path, std::ios_base::out);
  isOpen_ = stream_.is_open();
  block_.reserve(kBlockSize);
  return isOpen_;
}

void Logger::Log(const std::string& text) {
  if (!isOpen_) {
    return;
  }
  const std::time_t now = std::time(nullptr);
  if (now != shownTime_) {
    timeStampLength_ = std::strftime(timeStamp_.data(), timeStamp_.size(), "%Y-%m-%d %X :: ", std::localtime(&now));
    shownTime_ = now;
  }
  Write({timeStamp_.data(), timeStampLength_});
  Write(text);
}

void Logger::Close() {
  WriteBlock();
  stream_.close();
}

void Logger::Write(std::string_view text) {
  while (block_.size() + text.size() >= kBlockSize) {
    const std::string_view part = text.substr(0, kBlockSize - block_.size());
    block_ += part;
    text.remove_prefix(part.size());
    WriteBlock();
  }
  block_ += text;
}

void Logger::WriteBlock() {
  stream_.write(block_.data(), static_cast<std::streamsize>(block_.size()));
  block_.clear();
}
