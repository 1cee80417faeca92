#ifndef BW_CHECK_STAGING_COPY_WRITER_H
#define BW_CHECK_STAGING_COPY_WRITER_H

#include <sql.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "check/staging/copies.h"
#include "odbc/connection.h"
#include "odbc/diagnostics.h"
#include "odbc/statement.h"

namespace check::staging {

/// Why the destination refuses a row.
struct Refusal {
  std::string state;                 ///< Such as "23505".
  std::string constraint;            ///< The table's name for it; empty when none is named.
  std::vector<std::string> columns;  ///< Those of the constraint, or the one whose value is refused; empty if unknown.
  std::string message;               ///< The driver's diagnostics.
  std::string referred{};            ///< See CopyConstraint.
};

/// A value that is stored otherwise than it was sent.
struct StoredValue {
  std::size_t column;  ///< Position in the table's columns.
  std::string value;   ///< As a person reads it.
};

/// What became of one row.
struct Stored {
  std::optional<Refusal> refusal;
  /// The number that the destination gave it, if it numbers the rows; a refused row uses one up, too.
  std::optional<std::int32_t> assigned;
  std::vector<StoredValue> changed;
};

/// A copy does not show what the table does to its rows; the text says why.
class Unforeseen : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Writes rows into a copy with prepared INSERTs of many rows, whose parameters are bound as the migrator binds them:
/// what a value becomes is up to the driver and the server. Where one of many rows is refused, they are sent again one
/// by one.
class CopyWriter {
 public:
  /// Rows of one INSERT.
  static constexpr std::size_t kBatch = 200;

  /// The arguments must outlive the object.
  ///
  /// \throws odbc::Error when the destination cannot be asked.
  CopyWriter(const odbc::DBConnection& destination, const Copy& copy);

  bool IsFull() const noexcept { return rows_ == kBatch; }

  /// Takes a row: the migrator's row buffer, its position in reading order and, in their order, the source's numbers in
  /// the columns of ReplacedNumbers. Not when it is full.
  void Add(const char* image, std::int32_t position, const std::vector<std::int32_t>& sourceNumbers);

  /// The row buffer of a row that was added since the last Write.
  const char* image(std::size_t row) const { return images_.data() + row * imageSize_; }

  /// Writes the rows that were added, and returns what became of each. The result is valid until the next call.
  ///
  /// \throws odbc::Error when the destination fails otherwise than by refusing a row.
  /// \throws Unforeseen when it shows only now that it cannot be asked.
  const std::vector<Stored>& Write();

  /// Uses up the number of a row that is not sent, and returns it. Not while rows wait for Write.
  ///
  /// \throws odbc::Error when the destination fails.
  std::optional<std::int32_t> SkipNumber();

 private:
  struct Numbering {
    std::string sequence;
    std::string value;  ///< The number used last, or the first one.
    bool used;
  };

  std::unique_ptr<odbc::Statement> Prepare(std::size_t rows, std::size_t firstSlot);
  void Read(const odbc::Statement& statement, std::size_t firstRow, std::size_t rows);
  void ReadChanges(std::size_t row);
  bool WriteAll();
  void WriteOne(std::size_t row);
  std::optional<odbc::Error> WhyRefused(const odbc::Statement& statement);
  void RestoreNumbers();
  Refusal Explain(const odbc::Error& error, std::size_t row) const;
  std::vector<std::string> RefusedColumn(std::size_t row) const;
  bool Refuses(std::size_t row, const std::string& column, const std::string& type) const;

  struct Result {
    std::vector<char> text;
    SQLLEN length = 0;

    bool IsNull() const { return length == SQL_NULL_DATA; }
    std::string_view Text() const;
  };

  const odbc::DBConnection& destination_;
  const Copy& copy_;
  std::size_t imageSize_;
  std::size_t numbersPerRow_;
  std::vector<char> images_;           ///< One more than a batch has: the row that is sent by itself.
  std::vector<std::int32_t> numbers_;  ///< By row the position and the source's numbers.
  std::size_t rows_ = 0;
  std::optional<std::size_t> assigned_;  ///< Among the numbered columns.
  std::vector<Numbering> numberings_;
  std::unique_ptr<odbc::Statement> many_;
  std::unique_ptr<odbc::Statement> one_;
  std::vector<Result> results_;  ///< The changing columns, then the numbered ones.
  std::vector<Stored> stored_;
};

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_COPY_WRITER_H
