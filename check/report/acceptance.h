#ifndef BW_CHECK_REPORT_ACCEPTANCE_H
#define BW_CHECK_REPORT_ACCEPTANCE_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "check/report/finding.h"

namespace check {

/// An earlier report, whose findings somebody has looked at and accepted.
class Acceptance {
 public:
  /// Reads the JSON report.
  ///
  /// \throws std::runtime_error when it cannot be read, is no report of the present form, or is a partial one.
  explicit Acceptance(const std::filesystem::path& path);

  /// \throws std::runtime_error when the report is one of other databases.
  void RequireSame(const Identity& identity) const;

  /// Marks the findings that the earlier report holds: of the same table, kind and set of columns, with no more rows.
  /// What is about each column by itself may be spread over other findings than in the earlier report. Each finding
  /// of the earlier report, or column of it, accepts one.
  void Apply(Report& report) const;

 private:
  struct Known {
    std::string table;  ///< Empty for a general finding.
    std::string id;
    std::set<std::string> columns;
    std::optional<std::uint64_t> rows;
  };

  void Take(const std::string& table, const std::string& id, const std::set<std::string>& columns,
            std::optional<std::uint64_t> rows);
  static void Mark(std::vector<Known>& known, const std::string& table, std::vector<Finding>& findings);

  std::filesystem::path path_;
  std::string source_;  ///< The databases as they were connected to, in words.
  std::string destination_;
  std::vector<Known> known_;
};

}  // namespace check

#endif  // BW_CHECK_REPORT_ACCEPTANCE_H
