// SPDX-License-Identifier: MIT
#include "bench/ratios.h"

#include <cstdio>

namespace diag::bench {

namespace {

struct Ratio {
    const char *what;
    const char *numerator;
    const char *denominator;  // empty: the numerator's nanoseconds themselves
    double wanted;
    bool at_most;
};

constexpr Ratio kRatios[] = {
    {"i2ctool_get / the same tool run, bare", "i2ctool_get", "bare_i2ctool_get", 1.15, true},
    {"gpiotool_get / the same tool run, bare", "gpiotool_get", "bare_gpiotool_get", 1.15, true},
    {"lpctool_get / the same tool run, bare", "lpctool_get", "bare_lpctool_get", 1.15, true},
    {"pcitool_get / the same tool run, bare", "pcitool_get", "bare_pcitool_get", 1.15, true},
    {"memtool_get / the same tool run, bare", "memtool_get", "bare_memtool_get", 1.15, true},
    {"ipmitool_get / the same tool run, bare", "ipmitool_get", "bare_ipmitool_get", 1.15, true},
    {"ipmitool2_get / the same tool run, bare", "ipmitool2_get", "bare_ipmitool2_get", 1.15, true},
    {"ipmii2c_get / the same tool run, bare", "ipmii2c_get", "bare_ipmii2c_get", 1.15, true},
    {"ipmii2c2_get / the same tool run, bare", "ipmii2c2_get", "bare_ipmii2c2_get", 1.15, true},
    {"the same call through system / i2ctool_get", "tool_run_by_system", "i2ctool_get", 2.0, false},
    {"i2ctool, one read / empty static program", "i2ctool_process", "empty_process", 1.5, true},
    {"diag_print that nothing shows, in ns", "silent_diag_print", "", 10.0, true},
    {"XML load of 100,000 registers / xmlReadFile", "load_100k", "xml_read_file_100k", 1.6, true},
    {"XML load of 1,000,000 registers / of 100,000", "load_1m", "load_100k", 11.0, true},
    {"text load of 1,000,000 registers / bare getline", "text_load_1m", "text_getline_1m", 6.0,
     true},
    {"text load of 1,000,000 registers / of 100,000", "text_load_1m", "text_load_100k", 11.0, true},
};

double median_of(const Medians &medians, const char *name) {
    const auto found = medians.find(name);
    return found != medians.end() ? found->second : 0;
}

}  // namespace

void MedianReporter::ReportRuns(const std::vector<Run> &runs) {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &run : runs) {
        if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
            const double scale = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
            medians_[run.run_name.function_name] = run.GetAdjustedRealTime() * scale;
        }
    }
}

void print_ratio(const char *what, double measured, double wanted, bool at_most) {
    const bool met = at_most ? measured <= wanted : measured >= wanted;
    std::printf("%-48s %8.2f   wanted: at %s %.2f%s\n", what, measured, at_most ? "most" : "least",
                wanted, met ? "" : "   NOT MET in this run");
}

void print_ratios(const Medians &medians) {
    for (const Ratio &ratio : kRatios) {
        const double numerator = median_of(medians, ratio.numerator);
        const bool is_ratio = ratio.denominator[0] != '\0';
        const double denominator = is_ratio ? median_of(medians, ratio.denominator) : 1;
        if (numerator > 0 && denominator > 0) {
            print_ratio(ratio.what, numerator / denominator, ratio.wanted, ratio.at_most);
        }
    }
}

}  // namespace diag::bench
