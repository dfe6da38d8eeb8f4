// SPDX-License-Identifier: MIT
// What the command lines of the tools have in common that access a bus.
#ifndef DIAGS_TOOLS_ACCESS_OPTIONS_H
#define DIAGS_TOOLS_ACCESS_OPTIONS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "diags/tools/options.h"
#include "diags/tools/values.h"

namespace diag::tools {

// A tool and its command line, argv as main() has it.
struct ToolCommand {
    const char *tool = "";
    char **arguments = nullptr;
};

struct AccessOptions {
    explicit AccessOptions(const ToolCommand &given) : command(given) {}

    ToolCommand command;
    bool read = false;
    bool write = false;
    bool through_broker = false;
    const char *pipe_path = nullptr;
};

// Callers have two spellings of each operation and of the broker.
template <class Options>
inline constexpr auto kAccessRows = std::to_array<OptionRow<Options>>({
    {"read", no_argument, set_flag<&AccessOptions::read>, ""},
    {"get", no_argument, set_flag<&AccessOptions::read>, ""},
    {"write", no_argument, set_flag<&AccessOptions::write>, ""},
    {"set", no_argument, set_flag<&AccessOptions::write>, ""},
    {"pipe", required_argument, set_path<&AccessOptions::pipe_path>, "a path"},
    {"busbroker", no_argument, set_flag<&AccessOptions::through_broker>, ""},
    {"busbroker_req", no_argument, set_flag<&AccessOptions::through_broker>, ""},
});

// The part of the help that belongs to these rows; the tool's own part stands before it.
extern const char kAccessHelp[];
// What holds for every tool. The tool's examples stand behind it.
extern const char kBoardHelp[];

// A caller reads when the tool has ended, so a result must fit into its FIFO.
inline constexpr size_t kMaxData = 65536;

// An access to several bytes.
struct DataOptions : AccessOptions {
    DataOptions(const ToolCommand &given, std::span<uint8_t> buffer)
        : AccessOptions(given), room(buffer) {}

    // What is written, or the room for what is read.
    std::span<uint8_t> data() const { return room.first(size); }

    std::optional<uint64_t> count;  // bytes, or items for a tool that counts items
    std::optional<std::string_view> values;
    unsigned item_bytes = 1;  // the width of an item, or of an access
    std::span<uint8_t> room;
    size_t size = 0;
};

template <class Options>
bool set_values(Options *options, const char *argument) {
    options->values = argument;
    return true;
}

template <unsigned kMaxBytes, class Options>
bool set_width(Options *options, const char *argument) {
    const auto bytes = parse_width(argument, kMaxBytes);
    options->item_bytes = bytes.value_or(1);
    return bytes.has_value();
}

Rule one_operation(const AccessOptions &options);

// What goes with reading and what with writing.
std::optional<ExitStatus> check_operation(const AccessOptions &options, bool has_values);

struct DataRules {
    unsigned unit_bytes;          // of what --count counts and --val lists
    const char *expected_values;  // for the error line
    bool may_be_empty = false;    // whether --val= without values is of use
};

// Completes `size` and `data()`, or reports what is wrong with --count or --val.
std::optional<ExitStatus> take_data(DataOptions *options, const DataRules &rules);

// Where the bytes of an access lie.
struct Region {
    const char *noun;  // "address" or "offset"
    uint64_t start;
    uint64_t last;  // the highest one there is
};

// take_data() for such bytes: the access must also begin at a multiple of its width, consist of
// whole items, and end in its space.
std::optional<ExitStatus> take_region_data(DataOptions *options, const DataRules &rules,
                                           const Region &region);

ExitStatus half_item_error(size_t size, unsigned item_bytes);

}  // namespace diag::tools

#endif
