#ifndef BW_APP_MIGRATION_RUN_H
#define BW_APP_MIGRATION_RUN_H

namespace app {

/// Runs the migration from start to end in the current working directory, which holds "bw_migrate.ini" and gets
/// "bw_db_migrate.log".
///
/// Every standard exception ends the run and is caught here: what the run itself refuses goes to the console and the
/// log, everything else to the log only. Whether the migration succeeded is told by these two alone.
void RunMigration();

}  // namespace app

#endif  // BW_APP_MIGRATION_RUN_H
