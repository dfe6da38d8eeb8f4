// SPDX-License-Identifier: MIT
#ifndef BENCH_PEAK_MEMORY_H
#define BENCH_PEAK_MEMORY_H

namespace diag::bench {

// The ratio of peak memory between loading a description and parsing it alone, each in a process
// of its own; 0 when one failed. To be taken while this process is still small: the system counts
// the size of a process at the time it starts another towards the other's peak.
double measure_peak_memory(const char *program);

// What such a process does: argv[1] is --peak-load or --peak-parse, argv[2] the description.
// -1 when the arguments are not of this kind, else the exit status.
int run_peak_process(int argc, char **argv);

}  // namespace diag::bench

#endif
