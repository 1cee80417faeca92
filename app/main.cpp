#include "app/migration_run.h"

int main() {
  app::RunMigration();
  // Success and failure are deliberately told apart by the console and the log only.
  return 0;
}
