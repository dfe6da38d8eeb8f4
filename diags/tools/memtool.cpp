// SPDX-License-Identifier: MIT
// memtool: items in physical memory.
#include <algorithm>

#include "diags/tools/run_access.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr const char kUsage[] =
    R"(Usage: memtool --read  --addr=ADDRESS --count=N [--width=W] [--be] [--pipe=FIFO]
       memtool --write --addr=ADDRESS --val=ITEM,... [--width=W] [--be]

Reads or writes items at ascending addresses of physical memory.

  --read             read N items
  --write            write the items of --val
  --addr=ADDRESS     address of the first item, up to 64 bits; a multiple of its width
  --count=N          items to read, up to 65536 bytes of them
  --val=ITEM,...     items to write
  --width=8|16|32|64 bits of an item (8). It goes through the pipe low byte first.
  --be               memory holds each item most significant byte first (else least)
)";

constexpr const char kExamples[] = R"(
Examples:
  memtool --read --addr=0x00001000 --width=32 --count=4
  memtool --write --addr=0x1000 --width=32 --val=0x1,0xdeadbeef
  memtool --read --addr=0x1000 --width=64 --be --count=1
)";

constexpr const char *kHelp[] = {kUsage, kAccessHelp, kBoardHelp, kExamples};

struct MemoryOptions : DataOptions {
    using DataOptions::DataOptions;
    std::optional<uint64_t> address;
    bool big_endian = false;
};

constexpr auto kRows = join(
    kAccessRows<MemoryOptions>,
    std::to_array<OptionRow<MemoryOptions>>({
        {"addr", required_argument, set_number<&MemoryOptions::address, UINT64_MAX>,
         "an address of at most 64 bits"},
        {"count", required_argument, set_count<&DataOptions::count, kMaxData>, "1 to 65536 items"},
        {"val", required_argument, set_values, ""},
        {"width", required_argument, set_width<8>, "8, 16, 32 or 64"},
        {"be", no_argument, set_flag<&MemoryOptions::big_endian>, ""},
    }));

Region region_of(const MemoryOptions &options) {
    return {"address", *options.address, UINT64_MAX};
}

std::optional<ExitStatus> parse(int argc, char **argv, MemoryOptions *options) {
    if (const auto status = parse_options(argc, argv, kRows, kHelp, options)) {
        return status;
    }
    if (const auto status =
            check_rules({one_operation(*options), {!options->address, "--addr is missing"}})) {
        return status;
    }
    return take_region_data(options,
                            {.unit_bytes = options->item_bytes,
                             .expected_values = "items that fit --width, separated by commas, at "
                                                "most 65536 bytes in all"},
                            region_of(*options));
}

// Memory order to the order of the tool's data and back: the same exchange.
void reorder_items(const MemoryOptions &options) {
    const auto data = options.data();
    for (size_t i = 0; options.big_endian && i < data.size(); i += options.item_bytes) {
        std::ranges::reverse(data.subspan(i, options.item_bytes));
    }
}

}  // namespace

ExitStatus run_memtool(int argc, char **argv) {
    std::array<uint8_t, kMaxData> buffer;
    MemoryOptions options({"memtool", argv}, buffer);
    if (const auto status = parse(argc, argv, &options)) {
        return *status;
    }
    const auto transfer = [&](board::Board &board) {
        if (options.write) {
            reorder_items(options);
            return board.memory_write(*options.address, options.item_bytes, options.data());
        }
        const board::Status status =
            board.memory_read(*options.address, options.item_bytes, options.data());
        if (status == board::Status::kOk) {
            reorder_items(options);
        }
        return status;
    };
    return run_region_access(options, "memory", region_of(options), options.item_bytes, transfer);
}

}  // namespace diag::tools
