#ifndef BW_CHECK_REPORT_REPORT_FILE_H
#define BW_CHECK_REPORT_REPORT_FILE_H

#include <filesystem>
#include <string_view>

namespace check {

/// A file that is there as a whole or not at all, or as it was before. A new one is for its owner only; one that
/// replaces another keeps the mode of that.
class ReportFile {
 public:
  /// Tries whether the file can be written, and leaves it as it is.
  ///
  /// \throws std::runtime_error when it cannot.
  explicit ReportFile(const std::filesystem::path& path);

  /// \throws std::runtime_error when the text cannot be written; the file is as it was then.
  void Write(std::string_view text) const;

 private:
  void WriteBeside(std::string_view text) const;

  std::filesystem::path path_;
  std::filesystem::path beside_;
};

}  // namespace check

#endif  // BW_CHECK_REPORT_REPORT_FILE_H
