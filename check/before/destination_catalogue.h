#ifndef BW_CHECK_BEFORE_DESTINATION_CATALOGUE_H
#define BW_CHECK_BEFORE_DESTINATION_CATALOGUE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/before/destination_types.h"
#include "odbc/connection.h"

/// What PostgreSQL's catalogues say of the destination. Every role may read them; what it says of rights is said of the
/// role that asks. All functions throw std::runtime_error with the diagnostics when the destination cannot be asked.
namespace check {

/// The number by which the catalogues know an object.
using ObjectId = std::string;

/// The configured schema, as the destination understands it.
struct SchemaName {
  std::optional<std::string> name;  ///< Nothing when none is configured: the search path holds.
  bool exists = true;
};

/// \throws std::runtime_error also when the configured text is no name.
SchemaName FindSchema(const odbc::DBConnection& destination);

/// The 22 tables, by their names; those that are not there are left out.
///
/// \throws std::runtime_error also when the role may not look into the schema.
std::map<std::string, ObjectId, std::less<>> FindTables(const odbc::DBConnection& destination);

/// A table, or something else that can stand in its place.
struct Relation {
  ObjectId id;
  std::string name;  ///< With its schema, quoted where SQL needs it.
  char kind = ' ';   ///< As in pg_class: 'r' for a plain table.
  bool mayTruncate = false;
  bool mayInsert = false;
  bool mayRead = false;
  bool rowSecurity = false;   ///< Policies hold for this role.
  bool ownsSequences = true;  ///< Those of its columns, which RESTART IDENTITY sets back.
  bool hasInsertRules = false;
  std::string insertTriggers;  ///< Their names; empty when there are none.
  std::string truncateTriggers;
};

std::map<ObjectId, Relation> ReadRelations(const odbc::DBConnection& destination, const std::set<ObjectId>& ids);

/// Rows that a table holds now; nothing when the role may not count them all.
std::optional<std::uint64_t> CountRows(const odbc::DBConnection& destination, const Relation& relation);

/// What a truncate follows from table to table.
class TruncateGraph {
 public:
  explicit TruncateGraph(const odbc::DBConnection& destination);

  struct Reach {
    std::vector<ObjectId> emptied;    ///< Without the table itself, by foreign keys.
    std::set<ObjectId> all;           ///< With the table itself and with what inherits from any of them.
    std::vector<ObjectId> refusedBy;  ///< Tables whose foreign keys make the truncate fail.
  };

  Reach Truncate(const ObjectId& table, bool cascade) const;
  bool HasChildren(const ObjectId& table) const { return children_.contains(table); }

 private:
  void AddWithChildren(const ObjectId& table, std::set<ObjectId>& all) const;

  std::multimap<ObjectId, ObjectId> referring_;  ///< From a table to one that refers to it.
  std::multimap<ObjectId, ObjectId> children_;
};

/// What numbers a column.
struct Sequence {
  std::int64_t start = 1;
  std::int64_t increment = 1;
  bool restarted = false;  ///< By the truncate of the table.
  bool mayUse = true;
};

struct DestinationColumn {
  std::string name;
  DestinationType type;
  bool domainWithRules = false;
  bool notNull = false;
  bool identity = false;
  bool alwaysGenerated = false;
  bool hasDefault = false;  ///< Identities and generated columns left out.
  bool mayInsert = false;
  std::optional<Sequence> sequence;
};

/// By the tables' numbers, in the order of the table.
std::map<ObjectId, std::vector<DestinationColumn>> ReadColumns(const odbc::DBConnection& destination,
                                                               const std::set<ObjectId>& tables);

struct ProcedureParameter {
  char mode = 'i';  ///< As in pg_proc: 'i' in, 'o' out, 'b' both, 'v' variadic.
  std::string name;
  DestinationType type;
};

struct Procedure {
  ObjectId id;
  std::string signature;
  std::string name;
  char kind = 'p';  ///< As in pg_proc: 'p' for a procedure.
  bool mayExecute = false;
  std::string runsAs;  ///< The role whose rights it has.
  std::size_t defaults = 0;
  std::vector<ProcedureParameter> parameters;

  /// Whether a call with so many values fits.
  bool Takes(std::size_t values) const {
    const bool variadic = !parameters.empty() && parameters.back().mode == 'v';
    return values + defaults >= parameters.size() && (variadic || values <= parameters.size());
  }
};

/// All procedures and functions of these names that a call finds.
std::vector<Procedure> ReadProcedures(const odbc::DBConnection& destination, const SchemaName& schema,
                                      const std::vector<std::string>& names);

/// Whether a role has a right on a table.
bool HasRight(const odbc::DBConnection& destination, std::string_view role, const ObjectId& table,
              std::string_view right);

/// A unique index.
struct DestinationIndex {
  ObjectId table;
  std::string name;
  bool plain = true;  ///< Over columns only, for all rows, and equal only what has the same bytes.
  std::vector<std::string> columns;
};

std::vector<DestinationIndex> ReadUniqueIndexes(const odbc::DBConnection& destination,
                                                const std::set<ObjectId>& tables);

/// A foreign key, a check or an exclusion.
struct DestinationConstraint {
  ObjectId table;
  std::string name;
  char kind = ' ';         ///< As in pg_constraint: 'f', 'c', 'x'.
  std::string definition;  ///< Of a check its expression.
  std::vector<std::string> columns;
  ObjectId referredTable;    ///< Of a foreign key.
  std::string referredName;  ///< Its name with its schema.
  std::vector<std::string> referredColumns;
};

std::vector<DestinationConstraint> ReadConstraints(const odbc::DBConnection& destination,
                                                   const std::set<ObjectId>& tables);

}  // namespace check

#endif  // BW_CHECK_BEFORE_DESTINATION_CATALOGUE_H
