#ifndef BW_CHECK_CLI_CHECK_RUN_H
#define BW_CHECK_CLI_CHECK_RUN_H

namespace check {

/// Runs the program in the current working directory, which holds "bw_migrate.ini" and, after a run of the migrator,
/// "bw_db_migrate.log". Takes the arguments of main.
///
/// Returns the exit code: 0 when nothing was found, 1 when something was, 2 when that could not be told; standard error
/// then says why. Never throws.
int RunCheck(int argc, const char* const* argv) noexcept;

}  // namespace check

#endif  // BW_CHECK_CLI_CHECK_RUN_H
