// Counts the instructions that the program itself takes for a row of each table, without drivers, step by step. Run it
// under callgrind, which writes one file for each table and step, marked "TABLE/STEP".
//
//   valgrind --tool=callgrind --callgrind-out-file=FILE program_instructions ROWS

#include <valgrind/callgrind.h>

#include <cstdlib>
#include <string>

#include "bench/row_steps.h"
#include "db/tables/table_list.h"

namespace {

template <bench::Step step, class Pair>
void Count(bench::RowSteps<Pair>& steps, long rows) {
  // What happens at the first row only, the loading of functions above all, is none of a row's costs.
  steps.Do(step);
  const std::string name = steps.tableName() + "/" + std::string(bench::StepName(step));
  CALLGRIND_ZERO_STATS;
  for (long row = 0; row < rows; ++row) {
    steps.Do(step);
  }
  CALLGRIND_DUMP_STATS_AT(name.c_str());
}

template <class... Pairs>
void CountEach(long rows, db::TableList<Pairs...> /*tables*/) {
  const auto countTable = [rows](auto steps) {
    Count<bench::Step::Fetch>(steps, rows);
    Count<bench::Step::Text>(steps, rows);
    Count<bench::Step::Log>(steps, rows);
    Count<bench::Step::Write>(steps, rows);
  };
  (countTable(bench::RowSteps<Pairs>()), ...);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    return EXIT_FAILURE;
  }
  bench::ResetIdentifiers();
  CountEach(std::strtol(argv[1], nullptr, 10), db::Tables{});
}
