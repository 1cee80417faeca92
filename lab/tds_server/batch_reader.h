#ifndef BW_LAB_TDS_SERVER_BATCH_READER_H
#define BW_LAB_TDS_SERVER_BATCH_READER_H

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tds {

/// One statement of a batch. What drivers send for housekeeping is taken apart here; all else is a query.
struct BatchStatement {
  enum class Kind {
    Query,        ///< `text` is the statement
    SetOption,    ///< `text` is the option's name
    UseDatabase,  ///< `text` is the database's name
    BeginTransaction,
    CommitTransaction,
    RollbackTransaction,
    IfInTransaction,  ///< the next statement holds only inside a transaction
  };

  Kind kind;
  std::string_view text;
};

/// Cuts a batch into its statements. Queries end at a semicolon; the others also where their words end.
class BatchReader {
 public:
  /// `sql` must outlive the reader and the statements.
  explicit BatchReader(std::string_view sql) : rest_(sql) {}

  /// The next statement, none at the end of the batch.
  std::optional<BatchStatement> Next();

 private:
  std::string_view rest_;
};

/// Gives the SQL literal for the name behind "@@", none for a name that it does not know.
using GlobalVariables = std::function<std::optional<std::string>(std::string_view name)>;

/// Puts the values of global variables, such as @@VERSION, in the place of their names.
/// \throws SqlError for an unknown name.
std::string ReplaceGlobalVariables(std::string_view sql, const GlobalVariables& variables);

/// Makes a collation at the end of an argument an argument of its own, for functions that cannot see it otherwise:
/// "CONVERT(varchar(4), x COLLATE y)" becomes "CONVERT(varchar(4), x, 'y')". Of queries only.
std::string PassCollations(std::string_view sql);

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_BATCH_READER_H
