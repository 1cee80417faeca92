#ifndef BW_CHECK_AFTER_RUN_END_H
#define BW_CHECK_AFTER_RUN_END_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "check/after/log_reader.h"

/// Decides how a run ended: by what the tables hold first, by what the log says second.
namespace check {

/// How the rows of one destination table compare with those that a run brings.
struct TableFigures {
  std::uint64_t arriving = 0;    ///< Rows that the run writes before a row is refused; all when none is.
  std::uint64_t refused = 0;     ///< Rows that the destination refuses today.
  std::uint64_t present = 0;     ///< Rows that are there.
  std::uint64_t missing = 0;     ///< Rows that the destination accepts, and that are not there.
  std::uint64_t unexpected = 0;  ///< Rows that are there and that the run does not bring.
  std::uint64_t different = 0;   ///< Rows that are there with other values.

  /// Whether the missing rows are the last ones in reading order, as after a run that ended.
  bool missingAtEnd = false;

  /// A later table's truncate has emptied the table again: its rows are not missing.
  bool isEmptiedAgain = false;

  /// Whether the run brings rows that stay.
  bool HasExpected() const { return !isEmptiedAgain && arriving + missing + refused > 0; }

  /// Whether the table is as a run leaves it that comes to its end.
  bool AsExpected() const { return missing + unexpected + different + refused == 0; }
};

/// Those of the 22 tables in the order of the migration; nothing for a table that could not be compared.
using AllFigures = std::vector<std::optional<TableFigures>>;

/// What the log is worth.
struct LogJudgement {
  enum class Worth : std::uint8_t {
    Missing,
    Unclear,   ///< Not what one run writes.
    OtherRun,  ///< It counts other rows than are expected or there, in `tables`; or no table, and rows are there.
    Reliable,
  } worth = Worth::Missing;
  std::vector<std::size_t> tables;  ///< Their places among the 22.
};

/// Holds the log against the tables.
LogJudgement JudgeLog(const std::optional<MigrationLog>& log, const AllFigures& figures);

struct RunEnd {
  enum class State : std::uint8_t {
    Complete,    ///< Every table that could be compared is as expected.
    Incomplete,  ///< The run ended in `table`.
    Different,   ///< The run was through, or its end cannot be told, and tables are not as expected.
  };
  enum class Reason : std::uint8_t {
    None,
    AtWork,        ///< A run is still at work.
    LoggedError,   ///< The log ends with an error.
    RowRefused,    ///< The rows end where the destination refuses one.
    LogBreaksOff,  ///< Rows are missing at the end of the table, and the log breaks off there or before.
    RowsEnd,       ///< Rows are missing in the table, and no later table is full.
    Undecided,     ///< Different: the run ended in `table`, or rows of it were deleted; nothing says which.
  };

  State state = State::Complete;
  Reason reason = Reason::None;
  std::optional<std::size_t> table;  ///< Its place among the 22.
};

/// The first table that the log does not say to be complete; nothing when it says that all are.
std::optional<std::size_t> FirstNotLogged(const MigrationLog& log);

/// Whether the log ends neither with an error nor with the last table's summary: the run ended where it breaks off, or
/// later, since it is written in blocks; or it could not be written any more.
bool BreaksOff(const MigrationLog& log);

/// `log` is one that is reliable; nothing when there is none.
RunEnd FindRunEnd(const AllFigures& figures, const std::optional<MigrationLog>& log, bool atWork);

}  // namespace check

#endif  // BW_CHECK_AFTER_RUN_END_H
