// SPDX-License-Identifier: MIT
// lpctool: bytes in the address space of the LPC bus.
#include "diags/tools/run_access.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr const char kUsage[] =
    R"(Usage: lpctool --read  --addr=ADDRESS --count=N [--size=b|w|l] [--pipe=FIFO]
       lpctool --write --addr=ADDRESS --val=BYTE,... [--size=b|w|l]

Reads or writes bytes at ascending LPC addresses.

  --read             read N bytes
  --write            write the bytes of --val
  --addr=ADDRESS     address of the first byte, up to 0xffffffff
  --count=N          bytes to read, up to 65536
  --val=BYTE,...     bytes to write
  --size=b|w|l       width of each access: 8 (b, as without it), 16 (w) or 32 bits (l). Address and
                     number of bytes are multiples of it; count and values are bytes all the same.
)";

constexpr const char kExamples[] = R"(
Examples:
  lpctool --read --addr=0x00001200 --count=4
  lpctool --write --addr=0x1204 --val=0x5,0x1a
  lpctool --read --addr=0x1200 --size=l --count=4
)";

constexpr const char *kHelp[] = {kUsage, kAccessHelp, kBoardHelp, kExamples};

struct LpcOptions : DataOptions {
    using DataOptions::DataOptions;
    std::optional<uint64_t> address;
};

constexpr struct {
    std::string_view letter;
    unsigned bytes;
} kSizes[] = {{"b", 1}, {"w", 2}, {"l", 4}};

bool set_size(LpcOptions *options, const char *text) {
    for (const auto &size : kSizes) {
        if (size.letter == text) {
            options->item_bytes = size.bytes;
            return true;
        }
    }
    return false;
}

constexpr auto kRows = join(
    kAccessRows<LpcOptions>,
    std::to_array<OptionRow<LpcOptions>>({
        {"addr", required_argument, set_number<&LpcOptions::address, UINT32_MAX>,
         "an address up to 0xffffffff"},
        {"count", required_argument, set_count<&DataOptions::count, kMaxData>, "1 to 65536 bytes"},
        {"val", required_argument, set_values, ""},
        {"size", required_argument, set_size, "b, w or l"},
    }));

Region region_of(const LpcOptions &options) {
    return {"address", *options.address, UINT32_MAX};
}

std::optional<ExitStatus> parse(int argc, char **argv, LpcOptions *options) {
    if (const auto status = parse_options(argc, argv, kRows, kHelp, options)) {
        return status;
    }
    if (const auto status =
            check_rules({one_operation(*options), {!options->address, "--addr is missing"}})) {
        return status;
    }
    return take_region_data(
        options, {.unit_bytes = 1, .expected_values = "1 to 65536 bytes, separated by commas"},
        region_of(*options));
}

}  // namespace

ExitStatus run_lpctool(int argc, char **argv) {
    std::array<uint8_t, kMaxData> buffer;
    LpcOptions options({"lpctool", argv}, buffer);
    if (const auto status = parse(argc, argv, &options)) {
        return *status;
    }
    const auto transfer = [&](board::Board &board) {
        const auto address = static_cast<uint32_t>(*options.address);
        return options.read ? board.lpc_read(address, options.item_bytes, options.data())
                            : board.lpc_write(address, options.item_bytes, options.data());
    };
    return run_region_access(options, "LPC", region_of(options), 1, transfer);
}

}  // namespace diag::tools
