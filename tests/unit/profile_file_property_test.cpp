#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include "config/profile_file.h"
#include "support/profile_file_restatement.h"
#include "support/scratch_directory.h"

namespace {

using namespace std::string_view_literals;

/// What lines are put together from: what means something, more often than what does not.
constexpr std::array kPieces = {"["sv,  "]"sv,  "DBSource"sv, "db_schema"sv, "="sv,    " "sv,
                                "\t"sv, "\v"sv, "\r"sv,       R"(")"sv,      R"(")"sv, "'"sv,
                                "'"sv,  ";"sv,  "x"sv,        "dbo"sv,       "\0"sv,   "\x1A"sv};
constexpr std::array kHeaders = {"[DBSource]"sv, "[ dbSOURCE ]\r"sv, "[DBDestination]"sv, "[]"sv, "[DBSource"sv};
constexpr std::array kKeys = {"db_schema"sv, "\tDB_Schema "sv, "x"sv, "other"sv};

/// Files that are the same in every run of the test, whatever the library.
class RandomFiles {
 public:
  std::string Next() {
    std::string content = Below(8) == 0 ? "\xEF\xBB\xBF" : "";
    for (std::size_t lines = Below(12); lines > 0; --lines) {
      content += Line();
      content += Below(10) == 0 ? "" : "\n";
    }
    return content;
  }

 private:
  std::string Line() {
    switch (Below(4)) {
      case 0:
        return Pieces();
      case 1:
        return std::string(kHeaders.at(Below(kHeaders.size())));
      default:
        return std::string(kKeys.at(Below(kKeys.size()))) + "=" + Pieces();
    }
  }

  std::string Pieces() {
    std::string text;
    for (std::size_t count = Below(8); count > 0; --count) {
      const std::size_t piece = Below(kPieces.size() + 1);
      text += piece < kPieces.size() ? std::string(kPieces.at(piece)) : std::string(1, static_cast<char>(Below(256)));
    }
    return text;
  }

  std::size_t Below(std::size_t end) { return generator_() % end; }

  std::mt19937 generator_{20240305};
};

TEST(ProfileFile, ReadsRandomFilesAsTheFormatToldAgainDoes) {
  constexpr int files = 5000;
  const support::ScratchDirectory directory;
  RandomFiles random;
  int found = 0;
  for (int i = 0; i < files && !HasFailure(); ++i) {
    const std::string content = random.Next();
    const std::string path = directory.Write("settings.ini", content);
    const support::ProfileFileRestatement restatement(content);
    for (const char* section : {"DBSource", "DBDestination", ""}) {
      for (const char* key : {"db_schema", "x"}) {
        const std::string value = restatement.Value(section, key, 5);
        EXPECT_EQ(config::ReadProfileString(path, section, key, 5), value)
            << testing::PrintToString(content) << " section " << section << " key " << key;
        found += value.empty() ? 0 : 1;
      }
    }
  }
  EXPECT_GT(found, files / 5) << "too few of the files say anything";
  RecordProperty("files_tried", files);
}

}  // namespace
