#ifndef BW_TESTS_CONTRACT_RUN_FIXTURE_H
#define BW_TESTS_CONTRACT_RUN_FIXTURE_H

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>
#include <sstream>
#include <string>

#include "app/migration_run.h"
#include "contract/contract_test.h"
#include "db/identifier_maps.h"
#include "support/scratch_directory.h"

namespace contract {

/// Runs the whole program in this process, in a working directory of its own, on the double: the source is "Old" with
/// the schema dbo, the destination "New" with the schema public, the passwords are "first" and "second".
class RunTest : public OdbcTest {
 public:
  RunTest(const RunTest&) = delete;
  RunTest(RunTest&&) = delete;
  RunTest& operator=(const RunTest&) = delete;
  RunTest& operator=(RunTest&&) = delete;

 protected:
  RunTest() {
    // The run switches off the echo at standard input, which may be the terminal of whoever runs this.
    const int nowhere = open("/dev/null", O_RDONLY | O_CLOEXEC);
    dup2(nowhere, STDIN_FILENO);
    close(nowhere);
    std::filesystem::current_path(directory_.path());
    directory_.Write("bw_migrate.ini",
                     "[DBSource]\n"
                     "db_connection_name=Old\n"
                     "db_connection_login=reader\n"
                     "db_schema=dbo\n"
                     "[DBDestination]\n"
                     "db_connection_name=New\n"
                     "db_connection_login=writer\n"
                     "db_schema=public\n");
    odbc_double::SetServerName("New", "PostgreSQL");
    odbc_double::SetResult("'dbver'", {{"29"}});
    db::GroupIdMap.clear();
    db::GroupOrderIdMap.clear();
    db::PoolIdMap.clear();
    db::nextPoolId = 1;
  }

  ~RunTest() override { std::filesystem::current_path("/"); }

  /// Runs with the passwords typed in; afterwards console and log hold what the run wrote.
  void Run(const std::string& typed = "first\nsecond\n") {
    std::istringstream input(typed);
    std::ostringstream output;
    std::streambuf* const realInput = std::cin.rdbuf(input.rdbuf());
    std::streambuf* const realOutput = std::cout.rdbuf(output.rdbuf());
    app::RunMigration();
    std::cin.rdbuf(realInput);
    std::cin.clear();
    std::cout.rdbuf(realOutput);
    console = output.str();
    const std::filesystem::path logPath = directory_ / "bw_db_migrate.log";
    log = std::filesystem::is_regular_file(logPath) ? support::ReadFile(logPath) : "";
  }

  const support::ScratchDirectory& directory() const { return directory_; }

  std::string console;
  std::string log;

 private:
  support::ScratchDirectory directory_;
};

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_RUN_FIXTURE_H
