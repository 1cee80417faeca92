#ifndef BW_CHECK_REPORT_FINDINGS_H
#define BW_CHECK_REPORT_FINDINGS_H

#include <span>
#include <string_view>

/// Every kind of finding, declared once: its name for programs, what it costs, and what it is.
namespace check {

/// What a finding costs, most severe first. Findings of a table are shown in this order.
enum class Cost {
  RunRefused,     ///< The migrator will end before it empties a table.
  RunEnds,        ///< The run ends here; later tables are not migrated.
  RowsLost,       ///< Rows do not arrive, or are deleted by a cascade; or they are missing afterwards.
  WrongRow,       ///< A reference leads to another row than before.
  ValueChanged,   ///< A value arrives as another one.
  TextCut,        ///< A text arrives shortened.
  Exposed,        ///< Rows can be read on their way.
  CannotForesee,  ///< Something that this program cannot determine beforehand.
};

/// As the JSON report writes it, such as "run-ends".
std::string_view NameOf(Cost cost);

struct FindingKind {
  std::string_view id;       ///< Stable name for programs.
  Cost cost;                 ///< What it costs, unless a case of it is milder or graver.
  std::string_view meaning;  ///< What it is, for the guide and for --help-findings.
  bool perColumn = false;    ///< About each of its columns by itself, with all its rows.
};

namespace finding {

// Of the connections and the destination's schema.

inline constexpr FindingKind WrongServer{"wrong-server", Cost::RunRefused,
                                         "a side is another kind of server than the migrator accepts"};
inline constexpr FindingKind WrongSchemaVersion{"wrong-schema-version", Cost::RunRefused,
                                                "the source's schema version is not 29, or cannot be read"};
inline constexpr FindingKind SourceCannotRead{"source-cannot-read", Cost::RunEnds,
                                              "a table of the source cannot be read"};
inline constexpr FindingKind DestinationReadOnly{
    "destination-read-only", Cost::RunEnds,
    "nothing can be written: a standby, a read-only login, database or data source"};
inline constexpr FindingKind ClientSidePrepare{
    "client-side-prepare", Cost::RunEnds,
    "the data source has `UseServerSidePrepare = 0`, which breaks the four procedures"};
inline constexpr FindingKind DestinationSchema{"destination-schema", Cost::RunEnds,
                                               "the configured schema does not exist, or the login may not use it"};
inline constexpr FindingKind MissingTable{"missing-table", Cost::RunEnds, "the destination has no such table"};
inline constexpr FindingKind NotATable{"not-a-table", Cost::RunEnds, "the table is a view or something else"};
inline constexpr FindingKind TruncateFails{"truncate-fails", Cost::RunEnds,
                                           "the table cannot be emptied: another table refers to it"};
inline constexpr FindingKind NoTruncateRight{"no-truncate-right", Cost::RunEnds, "the login may not empty the table"};
inline constexpr FindingKind NotSequenceOwner{"not-sequence-owner", Cost::RunEnds,
                                              "the login may not restart the sequence of the table that it empties"};
inline constexpr FindingKind CascadeEmpties{
    "cascade-empties", Cost::RowsLost,
    "a cascading truncate empties a table outside the 22, which is not filled again"};
inline constexpr FindingKind CascadeEmptiesMigrated{
    "cascade-empties-migrated", Cost::RowsLost,
    "a cascading truncate empties a table of the 22 that was migrated before"};
inline constexpr FindingKind StatementRefused{"statement-refused", Cost::RunEnds,
                                              "the destination refuses the statement that writes the rows"};
inline constexpr FindingKind TableLocked{"table-locked", Cost::CannotForesee,
                                         "a session holds a lock on a table or waits for one; the run waits there"};
inline constexpr FindingKind LogOverwritten{"log-overwritten", Cost::CannotForesee,
                                            "there is a log in the working directory, which the run overwrites"};
inline constexpr FindingKind LogNotWritten{
    "log-not-written", Cost::CannotForesee,
    "the log cannot be written, or not to its end: it is no file, a right or room on the disk is missing"};

inline constexpr FindingKind DestinationNotEmpty{"destination-not-empty", Cost::RowsLost,
                                                 "the destination's tables have rows, which the run deletes"};
inline constexpr FindingKind ConnectionUnencrypted{
    "connection-unencrypted", Cost::Exposed,
    "a connection between two computers is not encrypted: rows can be read on their way"};

// Of the source's rows.

inline constexpr FindingKind NullEndsTable{"null-ends-table", Cost::RowsLost,
                                           "a NULL ends the table; the rows after it are lost", true};
inline constexpr FindingKind ValueUnreadable{
    "value-unreadable", Cost::RowsLost, "a value does not convert to the column's type, which ends the table as well",
    true};
inline constexpr FindingKind NullReplaced{"null-replaced", Cost::ValueChanged,
                                          "a NULL arrives as 1e50, -2147483648, -1 or an empty text", true};
inline constexpr FindingKind NullRepeatsRowBefore{"null-repeats-row-before", Cost::ValueChanged,
                                                  "with FreeTDS, a NULL arrives as the value of the previous row",
                                                  true};
inline constexpr FindingKind ReferenceMissing{
    "reference-missing", Cost::RunEnds,
    "a reference to a group, group order or pool that the source does not have; it ends the run", true};
inline constexpr FindingKind ReferenceNotMigrated{
    "reference-not-migrated", Cost::RunEnds, "a reference to a group, group order or pool that does not arrive itself",
    true};
inline constexpr FindingKind TextCut{"text-cut", Cost::TextCut, "a text arrives shortened", true};
inline constexpr FindingKind ZeroByte{"zero-byte", Cost::TextCut, "a text arrives up to its first zero byte", true};
inline constexpr FindingKind ValueChanged{"value-changed", Cost::ValueChanged,
                                          "a value arrives as another one: it is read, sent or stored otherwise", true};
inline constexpr FindingKind PointsElsewhere{
    "points-elsewhere", Cost::WrongRow, "a number that is kept, or that of a pool, will refer to another row", true};
inline constexpr FindingKind DuplicateNumber{"duplicate-number", Cost::WrongRow,
                                             "several rows have the same number, which others refer to"};
inline constexpr FindingKind NumbersChange{"numbers-change", Cost::WrongRow,
                                           "rows are numbered again, and what refers to them keeps the old numbers"};
inline constexpr FindingKind CharacterChanged{
    "character-changed", Cost::ValueChanged,
    "a text arrives with other characters, or with `?`: the encodings of the two data sources do not agree", true};
inline constexpr FindingKind CharacterRefused{"character-refused", Cost::RunEnds,
                                              "a text has a character that the destination lacks; it ends the run"};
inline constexpr FindingKind TextTooLong{"text-too-long", Cost::RunEnds,
                                         "a text is longer than the destination's column; it ends the run"};
inline constexpr FindingKind DuplicateKey{"duplicate-key", Cost::RunEnds,
                                          "an earlier row has arrived with the same key; it ends the run"};
inline constexpr FindingKind ForeignKey{"foreign-key", Cost::RunEnds,
                                        "a row refers to one that has not arrived; it ends the run"};
inline constexpr FindingKind CheckViolated{"check-violated", Cost::RunEnds,
                                           "a row violates a check constraint; it ends the run"};
inline constexpr FindingKind ParentRefused{"parent-refused", Cost::RunEnds,
                                           "a row is refused only because the row that it refers to is refused"};
inline constexpr FindingKind RowRefused{"row-refused", Cost::RunEnds,
                                        "the destination refuses a row for another reason; it ends the run"};
inline constexpr FindingKind CannotForesee{"cannot-foresee", Cost::CannotForesee,
                                           "something that the destination cannot be asked for beforehand", true};

// After a run.

inline constexpr FindingKind RunEnded{"run-ended", Cost::RunEnds, "the run ended in this table, and why"};
inline constexpr FindingKind TableNotMigrated{"table-not-migrated", Cost::RowsLost, "the run ended before this table"};
inline constexpr FindingKind RunAtWork{"run-at-work", Cost::RunEnds,
                                       "a run is still at work, or the server still works on what a run left behind"};
inline constexpr FindingKind TableMissing{"table-missing", Cost::RunEnds, "the destination no longer has such a table"};
inline constexpr FindingKind RowsMissing{"rows-missing", Cost::RowsLost, "rows that had to arrive are not there"};
inline constexpr FindingKind RowsUnexpected{"rows-unexpected", Cost::ValueChanged,
                                            "the table has rows that the migrator does not write"};
inline constexpr FindingKind RowsDifferent{"rows-different", Cost::ValueChanged,
                                           "rows have other values than expected; the columns are named"};
inline constexpr FindingKind MatchAmbiguous{"match-ambiguous", Cost::CannotForesee,
                                            "references to one of several rows with the same content"};
inline constexpr FindingKind Orphans{"orphans", Cost::WrongRow,
                                     "rows of the destination refer to rows that do not exist"};
inline constexpr FindingKind IdentityCollides{"identity-collides", Cost::CannotForesee,
                                              "the next number that the destination assigns belongs to a row already"};
inline constexpr FindingKind IdentityUnknown{"identity-unknown", Cost::CannotForesee,
                                             "the login may not see the next number"};
inline constexpr FindingKind LogMissing{"log-missing", Cost::CannotForesee, "there is no log that can be read"};
inline constexpr FindingKind LogUnclear{"log-unclear", Cost::CannotForesee,
                                        "the log is not one of one run of the migrator"};
inline constexpr FindingKind LogBreaksOff{"log-breaks-off", Cost::CannotForesee,
                                          "the log does not come to the end of the run"};
inline constexpr FindingKind LogStale{"log-stale", Cost::CannotForesee, "the log does not agree with the two sides"};

}  // namespace finding

/// All of them, in the order of the declarations.
std::span<const FindingKind* const> AllFindings();

}  // namespace check

#endif  // BW_CHECK_REPORT_FINDINGS_H
