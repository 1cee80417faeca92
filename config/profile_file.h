#ifndef BW_CONFIG_PROFILE_FILE_H
#define BW_CONFIG_PROFILE_FILE_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace config {

/// Whether there is something of that name; a directory counts.
///
/// \throws std::filesystem::filesystem_error when that cannot be told.
bool ProfileFileExists(const std::filesystem::path& path);

/// Reads one value of an initialization file: lines of name, "=" and value under section headers in square brackets.
///
/// On Windows this is GetPrivateProfileStringA; elsewhere it is a reader that does what that call does.
/// docs/development/configuration-file.md describes the format, and where the two differ.
///
/// Returns the value up to its first zero byte, cut to maxLength bytes; an empty text when the file, the section or the
/// key is not there.
std::string ReadProfileString(const std::string& path, const std::string& section, const std::string& key,
                              std::size_t maxLength);

/// The names of an initialization file's sections, as they are written; those that occur twice too.
std::vector<std::string> ReadSectionNames(const std::string& path);

/// The names of a section's keys, as they are written; those that occur twice too.
std::vector<std::string> ReadKeyNames(const std::string& path, const std::string& section);

}  // namespace config

#endif  // BW_CONFIG_PROFILE_FILE_H
