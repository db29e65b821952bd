// Shared main() of the benchmark programs: the library is initialized around
// the run, as an application would. Include once, in each bench_*.cpp.
#pragma once

#include <benchmark/benchmark.h>

#include "uti/UTI_BasicUtils.h"

int main(int argc, char** argv) {
  int count = 0;
  UTI_BasicUtils_initialize(count);
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  UTI_BasicUtils_finalize(count);
  return 0;
}
