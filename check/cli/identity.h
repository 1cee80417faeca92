#ifndef BW_CHECK_CLI_IDENTITY_H
#define BW_CHECK_CLI_IDENTITY_H

#include <string>

#include "check/report/finding.h"
#include "config/migration_settings.h"
#include "odbc/connection.h"

namespace check {

/// What the driver and the server say about a side that is connected.
ComparedSide Identify(Side side, const odbc::DBConnection& connection, const config::ConnectionSettings& settings);

/// The local time with its zone.
std::string LocalTime();

}  // namespace check

#endif  // BW_CHECK_CLI_IDENTITY_H
