#ifndef BW_CHECK_STAGING_DESTINATION_H
#define BW_CHECK_STAGING_DESTINATION_H

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "odbc/connection.h"

/// What PostgreSQL's catalogues say of the destination. Every role may read them; what they say of rights is said of
/// the role that asks.
namespace check::staging {

/// The number by which the catalogues know an object.
using ObjectId = std::string;

/// A table, or something else that can be in its place.
struct Relation {
  ObjectId id;
  std::string name;  ///< With its schema, quoted where SQL needs it.
  char kind = ' ';   ///< As in pg_class: 'r' for a plain table.
  bool mayTruncate = false;
  bool mayRead = false;          ///< All columns.
  bool ownsSequences = true;     ///< Those of its columns, which RESTART IDENTITY sets back.
  std::string truncateTriggers;  ///< Names of the enabled ones; empty when there are none.
  std::string sequencesRefused;  ///< Columns whose numbers the login may not take; empty when there are none.
  /// Why nobody can know beforehand what an INSERT does; empty where that can be known.
  std::string unforeseen;

  /// A plain, a partitioned or a foreign one.
  bool IsTable() const { return kind == 'r' || kind == 'p' || kind == 'f'; }
};

/// What a truncate reaches.
struct Reach {
  std::vector<ObjectId> emptied;    ///< By foreign keys, the table itself left out.
  std::set<ObjectId> all;           ///< With the table itself and with what inherits from any of them.
  std::vector<ObjectId> refusedBy;  ///< Tables whose foreign keys make the truncate fail.
};

struct Destination {
  std::map<std::string_view, ObjectId> tables;  ///< Those of the 22 that exist.
  std::map<ObjectId, Relation> relations;       ///< Of these, and of all that their truncates reach.
  std::map<std::string_view, Reach> reaches;    ///< By the table that is truncated.

  /// Nothing when the table does not exist.
  const Relation* Find(std::string_view table) const;
};

/// The tables of the 22 whose truncates empty an earlier one of them again, by that one, in the order of the migration.
std::map<std::string_view, std::vector<std::string_view>> EmptiedAgain(const Destination& destination);

/// Reads the catalogues. Names are looked up as the migrator writes them.
///
/// \throws odbc::Error when the destination cannot be asked, also when it refuses the configured schema.
Destination ReadDestination(const odbc::DBConnection& destination);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_DESTINATION_H
