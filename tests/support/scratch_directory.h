#ifndef BW_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
#define BW_TESTS_SUPPORT_SCRATCH_DIRECTORY_H

#include <stdlib.h>  // NOLINT(modernize-deprecated-headers): mkdtemp is not in <cstdlib>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

namespace support {

/// An empty directory of its own that is gone with the object.
class ScratchDirectory {
 public:
  ScratchDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "bw_test_XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot make a scratch directory");
    }
    path_ = name;
  }

  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory(ScratchDirectory&&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(ScratchDirectory&&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

  /// Writes a file of that name and returns its path.
  std::string Write(std::string_view name, std::string_view content) const {
    const std::filesystem::path file = path_ / name;
    std::ofstream(file, std::ios_base::binary) << content;
    return file.string();
  }

 private:
  std::filesystem::path path_;
};

/// The whole content of a file.
inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios_base::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace support

#endif  // BW_TESTS_SUPPORT_SCRATCH_DIRECTORY_H
