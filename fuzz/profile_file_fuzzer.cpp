#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "config/profile_file.h"
#include "fuzz/require.h"
#include "tests/support/profile_file_restatement.h"

namespace {

/// A file in memory with the content.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& content) : descriptor_(memfd_create("profile", MFD_CLOEXEC)) {
    const ssize_t written = write(descriptor_, content.data(), content.size());
    Require(written == static_cast<ssize_t>(content.size()), "the content could be written");
  }

  ~MemoryFile() { close(descriptor_); }

  MemoryFile(const MemoryFile&) = delete;
  MemoryFile(MemoryFile&&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  MemoryFile& operator=(MemoryFile&&) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  int descriptor_;
};

}  // namespace

/// The input is the content of an initialization file.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  const MemoryFile file(content);
  const support::ProfileFileRestatement restatement(content);
  for (const char* section : {"DBSource", ""}) {
    for (const char* key : {"db_schema", ""}) {
      for (const std::size_t limit : {std::size_t{1023}, std::size_t{4}}) {
        const std::string value = config::ReadProfileString(file.path(), section, key, limit);
        Require(value == restatement.Value(section, key, limit), "the value is as told again");
        Require(value.size() <= limit, "the value is no longer than allowed");
        Require(value.find('\n') == std::string::npos, "the value has no line end");
        Require(content.find(value) != std::string::npos, "the value stands in the file");
      }
    }
  }
  return 0;
}
