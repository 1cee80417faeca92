// Times what the program itself does for a row of each table, without drivers, step by step.
//
//   program_bench [options of Google Benchmark]

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>

#include "bench/allocation_count.h"
#include "bench/row_steps.h"
#include "db/tables/table_list.h"

namespace {

template <class Pair>
bench::RowSteps<Pair>& Steps() {
  static bench::RowSteps<Pair> steps;
  return steps;
}

template <class Pair, bench::Step step>
void Measure(benchmark::State& state) {
  bench::ResetIdentifiers();
  bench::RowSteps<Pair>& steps = Steps<Pair>();
  // What is allocated once and then kept is none of a row's costs.
  steps.Do(step);
  const std::size_t allocationsBefore = bench::AllocationCount();
  for ([[maybe_unused]] auto row : state) {
    steps.Do(step);
  }
  const std::size_t allocations = bench::AllocationCount() - allocationsBefore;
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(allocations), benchmark::Counter::kAvgIterations);
}

template <class Pair, bench::Step step>
void Register() {
  const std::string name = Steps<Pair>().tableName() + "/" + std::string(bench::StepName(step));
  benchmark::RegisterBenchmark(name.c_str(), &Measure<Pair, step>);
}

template <class Pair>
void RegisterTable() {
  Register<Pair, bench::Step::Fetch>();
  Register<Pair, bench::Step::Text>();
  Register<Pair, bench::Step::Log>();
  Register<Pair, bench::Step::Write>();
  Register<Pair, bench::Step::StreamText>();
  Register<Pair, bench::Step::StreamLog>();
}

template <class... Pairs>
void RegisterEach(db::TableList<Pairs...> /*tables*/) {
  (RegisterTable<Pairs>(), ...);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 1;
  }
  bench::ResetIdentifiers();
  RegisterEach(db::Tables{});
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
}
