#include "check/report/report_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <system_error>

namespace check {

namespace {

constexpr int kOwnerOnly = 0600;

[[noreturn]] void Fail(const std::filesystem::path& path, const std::string& reason) {
  throw std::runtime_error("cannot write " + path.string() + ": " + reason);
}

[[noreturn]] void RemoveAndFail(const std::filesystem::path& remove, const std::filesystem::path& path,
                                const std::string& reason) {
  std::error_code ignored;
  std::filesystem::remove(remove, ignored);
  Fail(path, reason);
}

}  // namespace

ReportFile::ReportFile(const std::filesystem::path& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    Fail(path, "it is not a regular file");
  }
  if (!std::filesystem::exists(status) && std::filesystem::is_symlink(std::filesystem::symlink_status(path, error))) {
    Fail(path, "it is a link to a file that does not exist");
  }
  // A link stays; what it leads to is replaced.
  path_ = std::filesystem::weakly_canonical(path, error);
  if (error) {
    Fail(path, error.message());
  }
  beside_ = path_;
  beside_ += ".part";
  WriteBeside("");
  std::filesystem::remove(beside_, error);
}

void ReportFile::Write(std::string_view text) const {
  WriteBeside(text);
  std::error_code error;
  const std::filesystem::file_status earlier = std::filesystem::status(path_, error);
  error.clear();  // There may be none.
  if (std::filesystem::exists(earlier)) {
    std::filesystem::permissions(beside_, earlier.permissions(), std::filesystem::perm_options::replace, error);
  }
  if (!error) {
    std::filesystem::rename(beside_, path_, error);
  }
  if (error) {
    RemoveAndFail(beside_, path_, error.message());
  }
}

void ReportFile::WriteBeside(std::string_view text) const {
  // Never a file that is there already, nor what a link leads to.
  const int descriptor = open(beside_.string().c_str(), O_WRONLY | O_CREAT | O_EXCL, kOwnerOnly);
  if (descriptor == -1) {
    Fail(path_, errno == EEXIST ? beside_.string() + " exists already; remove it unless another check is writing it"
                                : std::generic_category().message(errno));
  }
  std::FILE* const file = fdopen(descriptor, "wb");
  const bool written = std::fwrite(text.data(), 1, text.size(), file) == text.size() && std::fflush(file) == 0;
  const int failure = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written || !closed) {
    RemoveAndFail(beside_, path_, std::generic_category().message(written ? errno : failure));
  }
}

}  // namespace check
