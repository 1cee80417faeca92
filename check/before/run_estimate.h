#ifndef BW_CHECK_BEFORE_RUN_ESTIMATE_H
#define BW_CHECK_BEFORE_RUN_ESTIMATE_H

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "check/report/finding.h"
#include "check/staging/copies.h"
#include "db/table_description.h"
#include "odbc/connection.h"

namespace check {

/// A number of bytes in a fitting unit, such as "12 MB".
std::string AboutBytes(std::uint64_t bytes);

/// A time in a fitting unit, such as "3 minutes".
std::string AboutTime(double seconds);

/// The bytes that a line of the log has for a row of the table besides its values, the newline included.
std::size_t LineOverhead(const db::TableDescription& table);

/// What is wrong with the file that the run will log to: it holds a log, it cannot be written, or the disk has less
/// room than is needed.
///
/// \param needed bytes of the log that the run will write; none when that is not known.
/// \param free bytes on the file's disk; none when that is not known.
std::vector<Finding> LookAtLog(const std::filesystem::path& log, std::optional<std::uint64_t> needed,
                               std::optional<std::uint64_t> free);

/// Estimates the size of the log and the time that a run of all tables takes, adds them to the facts with what they are
/// based on, and looks at the log. Nothing is estimated when only some tables are reported on.
///
/// \throws odbc::Error when the destination cannot be asked.
void LookAtRun(const odbc::DBConnection& destination, const staging::Copies& copies, bool allTables, bool waitsForDisk,
               Report& report);

}  // namespace check

#endif  // BW_CHECK_BEFORE_RUN_ESTIMATE_H
