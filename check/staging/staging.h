#ifndef BW_CHECK_STAGING_STAGING_H
#define BW_CHECK_STAGING_STAGING_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "check/characters/characters.h"
#include "check/cli/progress.h"
#include "check/rules/source_reader.h"
#include "check/staging/copies.h"
#include "db/table_description.h"
#include "odbc/connection.h"

/// Staging: every row of the source goes through the migrator's rules and into a copy of its table, in the
/// destination's own session. What a row becomes there is what it becomes in the run.
namespace check::staging {

/// What names a row: to a person, and in a WHERE clause on the source.
struct RowName {
  std::string key;
  std::string condition;
};

/// What can be said of a row.
enum class Remark : std::uint8_t {
  NullEndsTable,
  Unreadable,
  ReferenceMissing,      ///< To a row that the source does not have.
  ReferenceNotMigrated,  ///< To a row that does not arrive.
  NullReplaced,
  NullRepeats,
  TextCut,
  ZeroByte,
  ValueChanged,  ///< On the way to the destination.
  CharactersChanged,
  CharactersUnknown,
  StoredChanged,  ///< By the destination.
  Refused,
  ParentRefused,  ///< Refused only because the row that it refers to was refused.
  PointsElsewhere,
  DuplicateNumber,
  NumbersChange,
};

/// One remark on rows of one table, with the first of them.
struct RemarkedRows {
  static constexpr std::size_t kShown = 5;

  std::uint64_t rows = 0;
  std::vector<std::string> keys;     ///< Of the first rows.
  std::vector<std::string> arrives;  ///< For the same rows, what arrives; empty where that has no meaning.
  std::string conditions;            ///< Of the same rows, for a WHERE clause.
  std::string message;               ///< Of a refusal, the driver's own for the first row.

  void Add(const RowName& name, std::string arriving);
};

/// A remark, the columns that it is about by name, and what tells two remarks on the same columns apart: of a refusal
/// its state and the constraint, of a reference the table.
struct RemarkKey {
  Remark remark;
  std::vector<std::string> columns;
  std::string state;
  std::string detail;

  // The 0 that it warns of is the compiler's.
  auto operator<=>(const RemarkKey&) const = default;  // NOLINT(modernize-use-nullptr)
};

struct StagedTable {
  const db::TableDescription* table = nullptr;
  bool foreseen = false;   ///< The table has a copy, which holds what will arrive.
  std::string unforeseen;  ///< Why the copy does not show what will arrive, where that was found while staging.
  bool readable = true;    ///< The source's table can be read.
  std::uint64_t sourceRows = 0;
  std::uint64_t storedRows = 0;    ///< Rows of the copy.
  std::uint64_t arrivingRows = 0;  ///< Of these, the ones that are written before the run ends.
  std::uint64_t refusedRows = 0;
  std::uint64_t unchangedRows = 0;  ///< Of the arriving ones.
  bool unchangedKnown = true;       ///< Whether all that can change a row was looked at.
  std::uint64_t endingRows = 0;     ///< Rows of which each ends the table.
  bool endsEarly = false;           ///< A row ended the table.
  std::map<RemarkKey, RemarkedRows> remarks;
  std::int64_t milliseconds = 0;
};

struct Staged {
  std::vector<StagedTable> tables;
  std::optional<std::string> endsIn;  ///< The table in which the run ends by itself.
  std::string endsBecause;
};

/// Why tables end the run whatever their rows hold.
struct Obstacles {
  using Reasons = std::map<std::string, std::string, std::less<>>;  ///< By table.

  Reasons cannotEmpty;  ///< The run ends where the table is to be emptied.
  Reasons cannotWrite;  ///< It ends at the first row that is sent.
  Reasons cannotRead;   ///< It ends where the source's table is read.
};

/// Stages the tables one after the other. The session of the destination need not be able to write anything but its
/// temporary tables any more.
///
/// \throws odbc::Error when a side fails.
Staged Stage(const odbc::DBConnection& source, const odbc::DBConnection& destination,
             const std::vector<db::TableDescription>& tables, const Copies& copies, const Obstacles& obstacles,
             const characters::Characters& characters, Progress& progress);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_STAGING_H
