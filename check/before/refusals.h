#ifndef BW_CHECK_BEFORE_REFUSALS_H
#define BW_CHECK_BEFORE_REFUSALS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "check/before/destination_schema.h"
#include "check/rules/row_stream.h"
#include "db/table_description.h"
#include "odbc/connection.h"

/// What the destination will refuse of the rows that it is sent: each such row ends the run.
namespace check {

/// Whether texts consist of letters that the destination has. Asks it once for each letter beyond ASCII.
class LetterCheck {
 public:
  /// \throws std::runtime_error with the diagnostics when the destination cannot be asked.
  explicit LetterCheck(const odbc::DBConnection& destination);

  /// \throws std::runtime_error with the diagnostics when the destination cannot be asked.
  bool Accepts(std::string_view text);

  /// Letters of a text, in the client encoding.
  std::size_t LettersIn(std::string_view text) const;

 private:
  std::size_t LetterSize(std::string_view text) const;

  const odbc::DBConnection& destination_;
  bool utf8_ = false;
  std::unordered_map<std::string, bool> known_;
};

/// Keys of rows that arrived, for the foreign keys that refer to them: 8 bytes for each.
using ArrivedKeys = std::map<std::string, std::unordered_set<std::uint64_t>, std::less<>>;

struct Refusal {
  const FindingKind* kind;            ///< Of the finding.
  std::string constraint;             ///< Its name; empty for a text that is too long or has a character too many.
  std::optional<std::size_t> column;  ///< Position in the table's columns.
};

/// Checks the rows of one table in the order in which they are sent.
class Refusals {
 public:
  /// Asks both sides what it needs, so no query may be open on the source.
  ///
  /// \throws std::runtime_error with the diagnostics when a side cannot be asked.
  Refusals(const odbc::DBConnection& source, const odbc::DBConnection& destination, const db::TableDescription& table,
           const DestinationSchema& schema, LetterCheck& letters, ArrivedKeys& arrivedKeys);

  /// Constraints that cannot be checked beforehand, each with the reason.
  const std::vector<std::string>& unforeseen() const noexcept { return unforeseen_; }

  /// Why the destination refuses the row, if it does: all reasons but check constraints. `sent` are the positions of
  /// the values in the table's columns; `position` is that of the row, from 1, which is the number that it is assigned.
  std::optional<Refusal> Check(const Values& values, const std::vector<std::size_t>& sent, std::uint64_t position);

  /// Whether the table has check constraints to ask the destination for.
  bool HasChecks() const noexcept { return !checks_.empty(); }

  /// Which of some rows violates a check constraint first: its position in `rows` and the constraint. A constraint that
  /// cannot be asked for goes to `unforeseen`.
  std::optional<std::pair<std::size_t, Refusal>> CheckAll(const std::vector<Values>& rows,
                                                          const std::vector<std::size_t>& sent);

  /// The query that shows rows of the same key in the source.
  std::string DuplicatesQuery(std::string_view constraint) const;

 private:
  struct Unique {
    std::string name;
    std::vector<std::size_t> columns;
    std::set<std::string> candidates;  ///< Keys that several rows of the source have, as far as it can tell.
    std::set<std::string> seen;
  };

  struct Foreign {
    std::string name;
    std::vector<std::size_t> columns;
    std::string referred;  ///< The place in the arrived keys.
  };

  /// Another table's foreign key to this one.
  struct Referred {
    std::vector<std::size_t> columns;
    std::string place;
  };

  std::optional<std::vector<std::size_t>> Positions(const std::vector<std::string>& columns) const;
  void AddUnique(const odbc::DBConnection& source, const UniqueKey& key);
  void AddForeign(const ForeignKey& key);
  std::string DuplicatesQueryOf(const std::vector<std::size_t>& columns) const;
  const Value* Find(const Values& values, const std::vector<std::size_t>& sent, std::size_t column) const;
  std::uint64_t KeyHash(const Values& values, const std::vector<std::size_t>& sent,
                        const std::vector<std::size_t>& columns, std::uint64_t position) const;

  const odbc::DBConnection& destination_;
  const db::TableDescription& table_;
  std::string sourceSchema_;
  LetterCheck& letters_;
  ArrivedKeys& arrivedKeys_;
  std::vector<std::optional<std::size_t>> widths_;  ///< By column, in letters.
  std::vector<Unique> uniques_;
  std::vector<Foreign> foreigns_;
  std::vector<Referred> referred_;
  std::vector<CheckConstraint> checks_;
  std::vector<std::string> unforeseen_;
  std::optional<std::size_t> assigned_;
};

}  // namespace check

#endif  // BW_CHECK_BEFORE_REFUSALS_H
