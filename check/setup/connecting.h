#ifndef BW_CHECK_SETUP_CONNECTING_H
#define BW_CHECK_SETUP_CONNECTING_H

#include <sql.h>

#include <string>
#include <string_view>
#include <vector>

#include "config/migration_settings.h"
#include "odbc/connection.h"

namespace check::setup {

/// One record of what a failed connection left.
struct ConnectionError {
  std::string state;
  SQLINTEGER code = 0;  ///< The driver's or the server's own.
};

/// What the records mean and what to do; empty when none of them is known.
std::string_view MeaningOf(const std::vector<ConnectionError>& errors);

/// What may be wrong with a password that was refused; empty when it looks like any other.
///
/// \param message the driver's.
std::string DoubtsAboutPassword(std::string_view password, std::string_view message);

/// Connects the source, twice, and the destination.
///
/// \throws std::runtime_error saying for each side that cannot be connected which it is, why, and what to do; and when
/// a server is neither of the two kinds.
void ConnectSides(odbc::DBConnection& source, odbc::DBConnection& trial, odbc::DBConnection& destination,
                  const config::MigrationSettings& settings);

}  // namespace check::setup

#endif  // BW_CHECK_SETUP_CONNECTING_H
