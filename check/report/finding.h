#ifndef BW_CHECK_REPORT_FINDING_H
#define BW_CHECK_REPORT_FINDING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/report/findings.h"

/// What a check found: the material of the report, without a word about how it is shown.
namespace check {

/// Which server a query is for.
enum class Side { Source, Destination };

/// A query that shows what was found, ready to be pasted into the server's client.
struct Query {
  Side side = Side::Source;
  std::string text;
};

struct Finding {
  /// \param of one of AllFindings.
  explicit Finding(const FindingKind& of) : kind(&of), cost(of.cost) {}

  const FindingKind* kind;
  Cost cost;                          ///< That of its kind, unless the case is milder or graver.
  std::vector<std::string> columns;   ///< Empty when the finding is not about columns.
  std::optional<std::uint64_t> rows;  ///< How many rows; none when the finding is not about rows.
  std::vector<std::string> keys;      ///< The first five rows' keys, such as "ID = 7" or "GroupID = 1, ClientCode = A".
  /// For the same rows, where the finding is about values: what is there and what arrives, such as "'1' arrives as
  /// '49'".
  std::vector<std::string> arrives;
  std::string text;  ///< One or two sentences: what it is and what the migrator does, or did.
  std::optional<Query> query;
};

/// One table's part of the report.
struct TableReport {
  std::string table;
  std::optional<std::uint64_t> sourceRows;
  std::optional<std::uint64_t> arrivingRows;     ///< Before: will arrive. After: should have arrived.
  std::optional<std::uint64_t> destinationRows;  ///< After only.
  std::optional<std::uint64_t> unchangedRows;    ///< Before only: of the arriving ones.
  std::optional<std::uint64_t> refusedRows;      ///< Before only: that the destination refuses.
  std::int64_t milliseconds = 0;
  std::vector<Finding> findings;
};

/// The findings by cost, most severe first; those that cost the same stay in their order.
std::vector<const Finding*> ByCost(const std::vector<Finding>& findings);

enum class Command { Before, After };

/// As it is typed.
std::string_view NameOf(Command command);

struct Report {
  Command command = Command::Before;
  std::vector<Finding> general;    ///< What concerns no single table: connections, encodings, rights, the log.
  std::vector<std::string> facts;  ///< Lines about the two sides, such as "Source: Microsoft SQL Server, TLS no".
  std::vector<TableReport> tables;
  /// The table in which the run will end, or has ended, by itself; none when it goes through.
  std::optional<std::string> runEndsIn;
  std::string verdict;  ///< The last line.

  /// Whether anything was found.
  bool HasFindings() const;
};

}  // namespace check

#endif  // BW_CHECK_REPORT_FINDING_H
