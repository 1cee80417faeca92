#ifndef BW_CHECK_STAGING_REFERENCES_H
#define BW_CHECK_STAGING_REFERENCES_H

#include "check/staging/copies.h"
#include "odbc/connection.h"

namespace check::staging {

struct Staged;

/// Asks the copies which numbers lead to another row than in the source, or to none, and which rows are numbered
/// otherwise than in the source. Adds its remarks to the tables and takes rows that point elsewhere off the unchanged
/// ones.
///
/// \throws odbc::Error when the destination cannot be asked.
void LookAtReferences(const odbc::DBConnection& destination, const Copies& copies, Staged& staged);

}  // namespace check::staging

#endif  // BW_CHECK_STAGING_REFERENCES_H
