#ifndef BW_CHECK_REPORT_JSON_REPORT_H
#define BW_CHECK_REPORT_JSON_REPORT_H

#include <filesystem>
#include <string>
#include <string_view>

#include "check/report/finding.h"

namespace check {

/// The report for a program, in the form that docs/check.md describes.
std::string JsonReport(const Report& report, std::string_view programVersion);

/// A file that is there as a whole or not at all, or as it was before.
class JsonFile {
 public:
  /// Tries whether the file can be written, and leaves it as it is.
  ///
  /// \throws std::runtime_error when it cannot.
  explicit JsonFile(const std::filesystem::path& path);

  /// \throws std::runtime_error when the text cannot be written.
  void Write(std::string_view text) const;

 private:
  void WriteBeside(std::string_view text) const;

  std::filesystem::path path_;
  std::filesystem::path beside_;
};

}  // namespace check

#endif  // BW_CHECK_REPORT_JSON_REPORT_H
