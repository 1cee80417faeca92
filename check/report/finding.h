#ifndef BW_CHECK_REPORT_FINDING_H
#define BW_CHECK_REPORT_FINDING_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
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
  explicit Finding(const FindingKind& of, std::string said = {}) : kind(&of), cost(of.cost), text(std::move(said)) {}

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
  bool accepted = false;  ///< An earlier report that was accepted has it.
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

/// What a report comes to.
enum class Status {
  // Before a run.
  GoesThroughUnchanged,
  GoesThroughWithChanges,
  EndsInTable,
  Refused,
  // After a run.
  Complete,  ///< Every row of the source arrived unchanged.
  CompleteWithChanges,
  Incomplete,
  Different,
  // Of the chosen tables only, before or after a run: that the run ends in one of them is as above.
  PartialUnchanged,
  PartialWithChanges,
};

/// As the JSON report writes it, such as "ends-in-table".
std::string_view NameOf(Status status);

/// A name of the JSON report as a person reads it: "Ends in table" for "ends-in-table".
std::string InWords(std::string_view name);

/// "1 row", "2 rows".
std::string Counted(std::uint64_t count, std::string_view noun);

/// One of the two sides as it was connected to; what is not known is empty.
struct ComparedSide {
  std::string dataSource;
  std::string login;
  std::string schema;
  std::string server;
  std::string port;
  std::string database;
  std::string product;  ///< With its version.
  std::string driver;   ///< With its version.
};

/// What was compared, and by what.
struct Identity {
  ComparedSide source;
  ComparedSide destination;
  std::string time;  ///< Local, with its zone.
  std::string host;
  std::string programVersion;
  std::vector<std::string> options;  ///< As they were typed.
};

struct Report {
  Command command = Command::Before;
  std::vector<Finding> general;    ///< What concerns no single table: connections, encodings, rights, the log.
  std::vector<std::string> facts;  ///< Lines about the two sides, such as "Source: Microsoft SQL Server, TLS no".
  std::vector<TableReport> tables;
  /// The table in which the run will end, or has ended, by itself; none when it goes through.
  std::optional<std::string> runEndsIn;
  std::string verdict;  ///< One or two sentences about the status.
  Status status = Status::GoesThroughWithChanges;
  bool foreseen = true;  ///< Nothing was left out because it cannot be foreseen, or compared.
  Identity identity = {};
  std::vector<std::string> onlyTables = {};  ///< Of a partial report, those that were chosen.

  /// Whether anything was found that is not accepted.
  bool HasNewFindings() const;

  bool IsPartial() const { return !onlyTables.empty(); }

  /// Whether all rows of the tables arrive, or arrived, unchanged as far as their figures and findings say.
  bool IsUnchanged() const;

  /// Whether the figures of all tables are known.
  bool HasAllFigures() const;
};

/// The status in words, such as "Ends in Clients, as far as can be foreseen".
std::string StatusLine(const Report& report);

/// Makes findings of a table that are the same but for their column one finding with several columns.
void MergeColumns(Report& report);

}  // namespace check

#endif  // BW_CHECK_REPORT_FINDING_H
