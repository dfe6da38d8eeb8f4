// SPDX-License-Identifier: MIT
#include "diags/tools/access_options.h"

#include <cinttypes>

namespace diag::tools {

const char kAccessHelp[] =
    R"(  --pipe=FIFO        write what was read into FIFO, which somebody must have open for reading;
                     without it, it is printed
  --busbroker, --busbroker_req
                     go through the bus broker at $DIAG_BROKER (HOST:PORT, 127.0.0.1:7811)
  --help, --version

--get is the same as --read, --set the same as --write. Numbers are 0x... or decimal.
)";

const char kBoardHelp[] = R"(
The board is the one whose running state file DIAG_BOARD names.
Exit status: 0 done, 2 usage, 3 unusable state file, 4 not permitted, 5 no such bus or no board,
6 no answer or access failed, 7 held by another program, 8 timed out or no bus broker.
)";

namespace {

std::optional<ExitStatus> check_region(const Region &region, const DataOptions &options) {
    if (region.start % options.item_bytes != 0) {
        return usage_error("%s 0x%" PRIx64 " is not a multiple of %u (accesses of %u bits)",
                           region.noun, region.start, options.item_bytes, 8 * options.item_bytes);
    }
    if (options.size % options.item_bytes != 0) {
        return half_item_error(options.size, options.item_bytes);
    }
    if (options.size - 1 > region.last - region.start) {
        return usage_error("%zu bytes from %s 0x%" PRIx64 " go beyond the last one, 0x%" PRIx64,
                           options.size, region.noun, region.start, region.last);
    }
    return std::nullopt;
}

std::optional<ExitStatus> take_count(DataOptions *options, const DataRules &rules) {
    const size_t most = options->room.size() / rules.unit_bytes;
    if (*options->count > most) {
        return usage_error("%" PRIu64 " items of %u bits are too many: at most %zu",
                           *options->count, 8 * rules.unit_bytes, most);
    }
    options->size = *options->count * rules.unit_bytes;
    return std::nullopt;
}

std::optional<ExitStatus> take_values(DataOptions *options, const DataRules &rules) {
    const auto size = parse_values(*options->values, rules.unit_bytes, options->room);
    if (!size || (*size == 0 && !rules.may_be_empty)) {
        return refuse_value("val", *options->values, rules.expected_values);
    }
    options->size = *size;
    return std::nullopt;
}

}  // namespace

Rule one_operation(const AccessOptions &options) {
    return {options.read == options.write, "one of --read and --write is needed"};
}

std::optional<ExitStatus> check_operation(const AccessOptions &options, bool has_values) {
    return check_rules({
        {options.read && has_values, "--val goes with --write"},
        {options.write && !has_values, "--val is missing"},
        {options.write && options.pipe_path != nullptr, "--pipe goes with --read"},
    });
}

std::optional<ExitStatus> take_data(DataOptions *options, const DataRules &rules) {
    if (const auto status = check_rules({
            {options->read && !options->count, "--count is missing"},
            {options->write && options->count.has_value(), "--count goes with --read"},
        })) {
        return status;
    }
    if (const auto status = check_operation(*options, options->values.has_value())) {
        return status;
    }
    return options->read ? take_count(options, rules) : take_values(options, rules);
}

std::optional<ExitStatus> take_region_data(DataOptions *options, const DataRules &rules,
                                           const Region &region) {
    const auto status = take_data(options, rules);
    return status ? status : check_region(region, *options);
}

ExitStatus half_item_error(size_t size, unsigned item_bytes) {
    return usage_error("%zu bytes are no whole number of %u-bit items", size, 8 * item_bytes);
}

}  // namespace diag::tools
