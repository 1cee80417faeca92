#ifndef BW_LAB_TDS_SERVER_STORE_H
#define BW_LAB_TDS_SERVER_STORE_H

#include <sqlite3.h>

#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/tds_server/collations.h"

namespace tds {

/// A statement was given up because its client asked for it.
class StatementInterrupted : public std::exception {
 public:
  const char* what() const noexcept override { return "statement interrupted"; }
};

/// A prepared statement of the store. Column indexes start at 0.
class Statement {
 public:
  enum class ValueKind { Null, Integer, Real, Text, Binary };
  enum class Change { None, Insert, Delete, Update, Drop };

  /// What a statement does to tables.
  struct Access {
    std::vector<std::string> tablesRead;  ///< each once
    Change change = Change::None;         ///< to a table
  };

  /// A column of a table.
  struct Origin {
    std::string_view table;
    std::string_view column;
  };

  Statement(sqlite3_stmt* statement, Access access);

  const std::vector<std::string>& TablesRead() const { return access_.tablesRead; }
  Change change() const { return access_.change; }

  bool ReturnsRows() const { return ColumnCount() > 0; }
  int ColumnCount() const;
  std::string_view ColumnName(int column) const;
  /// The type that CREATE TABLE declares for the column; none for an expression.
  std::optional<std::string_view> DeclaredType(int column) const;
  /// The table and the column that the values come from; none for an expression.
  std::optional<Origin> OriginOf(int column) const;

  /// Goes to the next row; false when there is none.
  /// \throws SqlError when the statement fails, StatementInterrupted when it was given up.
  bool Step();

  ValueKind Kind(int column) const;
  std::int64_t Integer(int column) const;
  double Real(int column) const;
  /// UTF-8, or bytes; good until the next step.
  std::string_view Text(int column) const;
  /// Whether the value is a text in UTF-16 on the server.
  bool IsUtf16(int column) const;
  /// The code page of a text that was converted to one; null for another value.
  const CodePage* CodePageOfValue(int column) const;

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };

  std::unique_ptr<sqlite3_stmt, Finalize> statement_;
  Access access_;
};

/// One connection to the SQLite file. Its tables belong to the schema "dbo".
class Store {
 public:
  /// `interrupted` is asked now and then while a statement runs; true gives the statement up.
  /// \throws std::runtime_error when the file cannot be opened or is no database.
  Store(const std::filesystem::path& file, std::function<bool()> interrupted);

  /// See the function of this name. The collations must outlive the store.
  void DefineFunctions(Collations& collations);

  /// Prepares one statement. \throws SqlError when it has an error.
  Statement Prepare(std::string_view sql);

  std::uint64_t RowsChanged() const;

  /// How many BEGIN TRANSACTION are open. As in SQL Server only the outermost COMMIT has an effect, and ROLLBACK ends
  /// all.
  int TransactionDepth();
  void BeginTransaction();
  /// \throws SqlError when no transaction is open or the data cannot be written.
  void CommitTransaction();
  /// \throws SqlError when no transaction is open.
  void RollbackTransaction();

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
  };

  void Execute(const char* sql);

  std::function<bool()> interrupted_;
  std::unique_ptr<sqlite3, Close> database_;
  int transactionDepth_ = 0;
};

}  // namespace tds

#endif  // BW_LAB_TDS_SERVER_STORE_H
