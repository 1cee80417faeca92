#ifndef BW_CHECK_STAGING_SESSION_H
#define BW_CHECK_STAGING_SESSION_H

#include <stdexcept>
#include <string>

#include "odbc/connection.h"

/// The check's own session on the destination: first it creates temporary tables, then it can write nothing else.
namespace check::staging {

/// How the destination's sessions can write by themselves.
struct Writability {
  bool readOnlyByDefault = false;   ///< default_transaction_read_only is on for the login or the database.
  bool readOnlyDataSource = false;  ///< The data source has ReadOnly = 1: the driver refuses what writes.
  bool preparesOnServer = true;     ///< Otherwise the driver writes values into the statements, and outcomes differ.

  bool CanStage() const { return !readOnlyDataSource && preparesOnServer; }
};

/// The login may not create temporary tables. The message has the statement that grants the right.
class MissingTempRight : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Prepares the session for creating temporary tables: they come last in the search path, and waiting for a lock ends.
///
/// \throws MissingTempRight.
/// \throws std::runtime_error when the destination is a standby.
Writability BeginSession(const odbc::DBConnection& destination);

/// Makes the session read-only for everything but temporary tables.
///
/// \throws std::runtime_error when it cannot be made read-only.
void EndCreation(const odbc::DBConnection& destination);

/// The sessions that keep others from reading a table, for a person: those that have locked it or wait for that, and
/// those that these wait for. Empty when there are none.
std::string WhoBlocks(const odbc::DBConnection& destination);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_SESSION_H
