#include "check/report/report_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "support/scratch_directory.h"

namespace check {
namespace {

class ReportFileTest : public testing::Test {
 protected:
  std::string Failure(const std::filesystem::path& path) {
    try {
      ReportFile(path).Write("new");
    } catch (const std::runtime_error& failure) {
      return failure.what();
    }
    return "none";
  }

  std::size_t Files() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(directory_.path()), {}));
  }

  static std::filesystem::perms Mode(const std::filesystem::path& path) {
    return std::filesystem::status(path).permissions();
  }

  support::ScratchDirectory directory_;
};

TEST_F(ReportFileTest, IsNotThereBeforeItIsWritten) {
  const ReportFile file(directory_ / "report.json");
  EXPECT_EQ(Files(), 0U);
  file.Write("new");
  EXPECT_EQ(support::ReadFile(directory_ / "report.json"), "new");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(ReportFileTest, ReplacesAnEarlierOneOnlyWhenItIsWritten) {
  const std::string path = directory_.Write("report.json", "an earlier, longer report");
  const ReportFile file(path);
  EXPECT_EQ(support::ReadFile(path), "an earlier, longer report");
  file.Write("new");
  EXPECT_EQ(support::ReadFile(path), "new");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(ReportFileTest, FollowsALink) {
  const std::string path = directory_.Write("report.json", "old");
  std::filesystem::create_symlink("report.json", directory_ / "link.json");
  ReportFile(directory_ / "link.json").Write("new");
  EXPECT_EQ(support::ReadFile(path), "new");
  EXPECT_TRUE(std::filesystem::is_symlink(directory_ / "link.json"));
}

TEST_F(ReportFileTest, NeedsItsDirectory) {
  const std::string path = directory_ / "missing" / "report.json";
  EXPECT_EQ(Failure(path), "cannot write " + path + ": No such file or directory");
}

TEST_F(ReportFileTest, LeavesAloneWhatIsNoRegularFile) {
  const std::string directory = directory_ / "directory";
  std::filesystem::create_directory(directory);
  EXPECT_EQ(Failure(directory), "cannot write " + directory + ": it is not a regular file");
  const std::string pipe = directory_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(Failure(pipe), "cannot write " + pipe + ": it is not a regular file");
  EXPECT_EQ(Files(), 2U);
}

TEST_F(ReportFileTest, SaysWhenItCannotBeReplaced) {
  const std::string path = directory_ / "report.json";
  const ReportFile file(path);
  std::filesystem::create_directories(directory_ / "report.json" / "content");
  EXPECT_THROW(file.Write("new"), std::runtime_error);
  EXPECT_EQ(Files(), 1U);
}

TEST_F(ReportFileTest, IsForItsOwnerOnlyWhenItIsNew) {
  ReportFile(directory_ / "report.json").Write("new");
  EXPECT_EQ(Mode(directory_ / "report.json"), std::filesystem::perms(0600));
}

TEST_F(ReportFileTest, KeepsTheModeOfTheFileThatItReplaces) {
  const std::string path = directory_.Write("report.json", "old");
  for (const int mode : {0640, 0666, 0400}) {
    std::filesystem::permissions(path, std::filesystem::perms(mode));
    ReportFile(path).Write("new");
    EXPECT_EQ(Mode(path), std::filesystem::perms(mode));
  }
}

TEST_F(ReportFileTest, LeavesAloneWhatHasTheTemporaryName) {
  const std::string other = directory_.Write("other", "another file");
  const std::string path = directory_ / "report.json";
  const std::string message =
      "cannot write " + path + ": " + path + ".part exists already; remove it unless another check is writing it";

  std::filesystem::create_symlink("other", path + ".part");
  EXPECT_EQ(Failure(path), message);
  EXPECT_EQ(support::ReadFile(other), "another file");
  EXPECT_TRUE(std::filesystem::is_symlink(path + ".part"));

  std::filesystem::remove(path + ".part");
  std::filesystem::create_symlink("nowhere", path + ".part");
  EXPECT_EQ(Failure(path), message);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "nowhere"));

  std::filesystem::remove(path + ".part");
  directory_.Write("report.json.part", "of another check");
  EXPECT_EQ(Failure(path), message);
  EXPECT_EQ(support::ReadFile(path + ".part"), "of another check");
}

TEST_F(ReportFileTest, LeavesAloneWhatGetsTheTemporaryNameMeanwhile) {
  const std::string path = directory_.Write("report.json", "old");
  const ReportFile file(path);
  directory_.Write("report.json.part", "of another check");
  EXPECT_THROW(file.Write("new"), std::runtime_error);
  EXPECT_EQ(support::ReadFile(path + ".part"), "of another check");
  EXPECT_EQ(support::ReadFile(path), "old");
}

TEST_F(ReportFileTest, LeavesAloneALinkThatLeadsNowhere) {
  const std::filesystem::path link = directory_ / "link.json";
  std::filesystem::create_symlink("nowhere.json", link);
  EXPECT_EQ(Failure(link), "cannot write " + link.string() + ": it is a link to a file that does not exist");
  EXPECT_TRUE(std::filesystem::is_symlink(link));
  EXPECT_EQ(Files(), 1U);
}

/// As long as it lives, this process has the rights of an ordinary user: root may write anywhere.
class OrdinaryUser {
 public:
  OrdinaryUser() : before_(geteuid()) {
    constexpr uid_t nobody = 65534;
    EXPECT_EQ(seteuid(before_ == 0 ? nobody : before_), 0);
  }
  ~OrdinaryUser() { EXPECT_EQ(seteuid(before_), 0); }
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser(OrdinaryUser&&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(OrdinaryUser&&) = delete;

 private:
  uid_t before_;
};

TEST_F(ReportFileTest, NeedsADirectoryThatCanBeWrittenTo) {
  const std::string path = directory_.Write("report.json", "old");
  std::filesystem::permissions(directory_.path(), std::filesystem::perms(0555));
  {
    const OrdinaryUser user;
    EXPECT_EQ(Failure(path), "cannot write " + path + ": Permission denied");
  }
  std::filesystem::permissions(directory_.path(), std::filesystem::perms(0700));
  EXPECT_EQ(support::ReadFile(path), "old");
}

/// As long as it lives, no file of this process may grow beyond a size, as on a disk that is full.
class FullDisk {
 public:
  explicit FullDisk(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{.rlim_cur = bytes, .rlim_max = before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before_);
    static_cast<void>(std::signal(SIGXFSZ, handler_));
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk(FullDisk&&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;
  FullDisk& operator=(FullDisk&&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

TEST_F(ReportFileTest, KeepsTheEarlierFileWhenTheDiskIsFull) {
  const std::string path = directory_.Write("report.json", "old");
  std::string message;
  {
    const FullDisk full(100'000);
    try {
      ReportFile(path).Write(std::string(200'000, 'x'));
    } catch (const std::runtime_error& failure) {
      message = failure.what();
    }
  }
  EXPECT_EQ(message, "cannot write " + path + ": File too large");
  EXPECT_EQ(support::ReadFile(path), "old");
  EXPECT_EQ(Files(), 1U);
}

}  // namespace
}  // namespace check
