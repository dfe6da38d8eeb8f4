// SPDX-License-Identifier: MIT
#ifndef BENCH_RATIOS_H
#define BENCH_RATIOS_H

#include <benchmark/benchmark.h>
#include <map>
#include <string>

namespace diag::bench {

// The median real time of each benchmark in nanoseconds, by name.
using Medians = std::map<std::string, double>;

// Prints as usual and keeps the medians.
class MedianReporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run> &runs) override;
    const Medians &medians() const { return medians_; }

  private:
    Medians medians_;
};

// Prints a line per ratio: what was measured in this run, and what we want of it.
void print_ratios(const Medians &medians);

// One such line. `at_most`: whether the wanted figure is an upper bound.
void print_ratio(const char *what, double measured, double wanted, bool at_most);

}  // namespace diag::bench

#endif
