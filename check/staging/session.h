#ifndef BW_CHECK_STAGING_SESSION_H
#define BW_CHECK_STAGING_SESSION_H

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

/// Prepares the session for creating temporary tables: they come last in the search path, and waiting for a lock ends.
///
/// \throws std::runtime_error when nothing can be staged here, saying why: a standby, no TEMP right.
Writability BeginSession(const odbc::DBConnection& destination);

/// Makes the session read-only for everything but temporary tables.
///
/// \throws std::runtime_error when it cannot be made read-only.
void EndCreation(const odbc::DBConnection& destination);

/// The sessions that keep others from reading one of the 22 tables, for a person; empty when there are none.
std::string WhoBlocks(const odbc::DBConnection& destination);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_SESSION_H
