// SPDX-License-Identifier: MIT
// The benchmarks. Each figure that we promise is a ratio, taken in one run with the two sides in
// turn, so that it holds on a noisy machine.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <vector>

#include "bench/peak_memory.h"
#include "bench/ratios.h"

int main(int argc, char **argv) {
    if (const int status = diag::bench::run_peak_process(argc, argv); status != -1) {
        return status;
    }
    // Ours first: what the command line says wins.
    static char kRepetitions[] = "--benchmark_repetitions=9";
    static char kInTurn[] = "--benchmark_enable_random_interleaving=true";
    static char kAggregates[] = "--benchmark_report_aggregates_only=true";
    std::vector<char *> arguments = {argv[0], kRepetitions, kInTurn, kAggregates};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);

    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    const double peak_memory = diag::bench::measure_peak_memory(argv[0]);
    diag::bench::MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n");
    diag::bench::print_ratios(reporter.medians());
    diag::bench::print_ratio("peak memory of that load / of xmlReadFile", peak_memory, 1.5, true);
    return 0;
}
