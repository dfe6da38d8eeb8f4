// SPDX-License-Identifier: MIT
// The command line of a tool as a table, which one loop walks.
#ifndef DIAGS_TOOLS_OPTIONS_H
#define DIAGS_TOOLS_OPTIONS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <getopt.h>
#include <initializer_list>
#include <optional>

#include "diags/board/number.h"
#include "diags/tools/report.h"

namespace diag::tools {

// One option. `apply` stores its argument in the tool's record; false: it is unusable.
template <class Options>
struct OptionRow {
    const char *name;
    int has_argument;
    bool (*apply)(Options *, const char *argument);
    const char *expected;  // of the argument, for the error line
};

// Handlers for the usual members of a tool's record.
template <auto kMember, class Options>
bool set_flag(Options *options, const char * /*argument*/) {
    return options->*kMember = true;
}

template <class Options>
bool ignore(Options * /*options*/, const char * /*argument*/) {
    return true;
}

template <auto kMember, class Options>
bool set_text(Options *options, const char *argument) {
    options->*kMember = argument;
    return true;
}

template <auto kMember, class Options>
bool set_path(Options *options, const char *argument) {
    return *(options->*kMember = argument) != '\0';
}

template <auto kMember, uint64_t kMax, class Options>
bool set_number(Options *options, const char *argument) {
    return (options->*kMember = board::parse_wide_number(argument, kMax)).has_value();
}

template <auto kMember, uint64_t kMax, class Options>
bool set_count(Options *options, const char *argument) {
    return (options->*kMember = board::parse_wide_number(argument, kMax)).value_or(0) != 0;
}

// Two tables as one.
template <class Row, size_t kFirst, size_t kSecond>
constexpr std::array<Row, kFirst + kSecond> join(const std::array<Row, kFirst> &first,
                                                 const std::array<Row, kSecond> &second) {
    std::array<Row, kFirst + kSecond> all = {};
    std::copy(second.begin(), second.end(), std::copy(first.begin(), first.end(), all.begin()));
    return all;
}

// Walks the command line, which has no arguments besides options; --help and --version come on top
// of the rows. Empty when the tool is to go on, else its exit status: the error is reported, the
// help printed.
template <class Options, size_t kCount>
std::optional<ExitStatus> parse_options(int argc, char **argv,
                                        const std::array<OptionRow<Options>, kCount> &rows,
                                        HelpText help, Options *options) {
    constexpr int kHelpCode = kCount + 1;
    constexpr int kVersionCode = kCount + 2;
    static_assert(kVersionCode < ':', "codes of rows are none that getopt_long gives to errors");
    option table[kCount + 3] = {};
    for (size_t i = 0; i < kCount; ++i) {
        table[i] = {rows[i].name, rows[i].has_argument, nullptr, static_cast<int>(i) + 1};
    }
    table[kCount] = {"help", no_argument, nullptr, kHelpCode};
    table[kCount + 1] = {"version", no_argument, nullptr, kVersionCode};
    opterr = 0;
    for (int code = 0; (code = getopt_long(argc, argv, ":", table, nullptr)) != -1;) {
        if (code == kHelpCode) {
            return print_help(help);
        }
        if (code == kVersionCode) {
            return print_version();
        }
        if (code < 1 || code > kVersionCode) {
            return refuse_option(code, argv);
        }
        const OptionRow<Options> &row = rows[static_cast<size_t>(code) - 1];
        if (!row.apply(options, optarg)) {
            return refuse_value(row.name, optarg, row.expected);
        }
    }
    return optind < argc ? std::optional(usage_error("unexpected argument '%s'", argv[optind]))
                         : std::nullopt;
}

// Something that is missing or does not go together when `broken` holds.
struct Rule {
    bool broken;
    const char *text;
};

// Reports the first broken rule.
std::optional<ExitStatus> check_rules(std::initializer_list<Rule> rules);

}  // namespace diag::tools

#endif
