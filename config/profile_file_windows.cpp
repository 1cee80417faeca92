#include "config/profile_file.h"

#include <windows.h>

#include <algorithm>
#include <limits>
#include <system_error>

namespace config {

namespace {

bool MeansAbsent(DWORD error) {
  switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_BAD_NETPATH:
    case ERROR_INVALID_NAME:
      return true;
    default:
      return false;
  }
}

/// The path in the code page in which the ANSI functions take it; as a text a path is UTF-8.
std::string InAnsiCodePage(const std::string& path) {
  const std::wstring wide = std::filesystem::path(std::u8string(path.begin(), path.end())).wstring();
  const int length = static_cast<int>(wide.size());
  std::string ansi(
      static_cast<std::size_t>(WideCharToMultiByte(CP_ACP, 0, wide.data(), length, nullptr, 0, nullptr, nullptr)),
      '\0');
  WideCharToMultiByte(CP_ACP, 0, wide.data(), length, ansi.data(), static_cast<int>(ansi.size()), nullptr, nullptr);
  return ansi;
}

/// What the call gives without a key or without a section as well: names, each with a zero byte after it.
std::vector<std::string> ReadNames(const std::string& path, const char* section) {
  std::string buffer(std::numeric_limits<short>::max(), '\0');
  const DWORD length = GetPrivateProfileStringA(section, nullptr, "", buffer.data(), static_cast<DWORD>(buffer.size()),
                                                InAnsiCodePage(path).c_str());
  buffer.resize(length);
  std::vector<std::string> names;
  for (std::size_t begin = 0; begin < buffer.size();) {
    const std::size_t end = std::min(buffer.find('\0', begin), buffer.size());
    names.push_back(buffer.substr(begin, end - begin));
    begin = end + 1;
  }
  return names;
}

}  // namespace

bool ProfileFileExists(const std::filesystem::path& path) {
  // Opened and not only looked up, so that a link is followed. The flag lets a directory be opened.
  HANDLE file = CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                            nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
  if (file != INVALID_HANDLE_VALUE) {
    CloseHandle(file);
    return true;
  }
  const DWORD error = GetLastError();
  if (MeansAbsent(error)) {
    return false;
  }
  throw std::filesystem::filesystem_error("exists", path,
                                          std::error_code(static_cast<int>(error), std::system_category()));
}

std::string ReadProfileString(const std::string& path, const std::string& section, const std::string& key,
                              std::size_t maxLength) {
  std::string buffer(maxLength + 1, '\0');
  GetPrivateProfileStringA(section.c_str(), key.c_str(), "", buffer.data(), static_cast<DWORD>(buffer.size()),
                           InAnsiCodePage(path).c_str());
  return buffer.substr(0, buffer.find('\0'));
}

std::vector<std::string> ReadSectionNames(const std::string& path) {
  return ReadNames(path, nullptr);
}

std::vector<std::string> ReadKeyNames(const std::string& path, const std::string& section) {
  return ReadNames(path, section.c_str());
}

}  // namespace config
