#include "logging/logger.h"

#include <array>
#include <ctime>
#include <string_view>

namespace {

constexpr std::size_t kTimeStampSize = 80;

}  // namespace

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
  std::tm local{};
  localtime_r(&now, &local);
  std::array<char, kTimeStampSize> timeStamp{};
  const std::size_t length = std::strftime(timeStamp.data(), timeStamp.size(), "%Y-%m-%d %X", &local);
  stream_ << std::string_view(timeStamp.data(), length);
  stream_ << " :: ";
  stream_ << text;
}

void Logger::Close() {
  stream_.close();
}
