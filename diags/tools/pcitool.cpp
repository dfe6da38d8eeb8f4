// SPDX-License-Identifier: MIT
// pcitool: bytes in the configuration space of a PCI function.
#include <cstdio>

#include "diags/tools/run_access.h"
#include "diags/tools/tools.h"

namespace diag::tools {
namespace {

constexpr const char kUsage[] =
    R"(Usage: pcitool --read  --bus=BUS --dev=DEVICE --func=FUNCTION --offset=OFFSET --count=N
               [--width=W] [--pipe=FIFO]
       pcitool --write --bus=BUS --dev=DEVICE --func=FUNCTION --offset=OFFSET --val=BYTE,...
               [--width=W]

Reads or writes bytes in the configuration space of a PCI function, 4096 bytes.

  --read             read N bytes
  --write            write the bytes of --val
  --bus=BUS          0 to 255
  --dev=DEVICE       0 to 31
  --func=FUNCTION    0 to 7
  --offset=OFFSET    of the first byte, up to 4095
  --count=N          bytes to read
  --val=BYTE,...     bytes to write
  --width=8|16|32    bits of each access (8). Offset and number of bytes are multiples of it; count
                     and values are bytes all the same.
)";

constexpr const char kExamples[] = R"(
Examples:
  pcitool --read --bus=0 --dev=31 --func=0 --offset=0x00 --count=4
  pcitool --read --bus=0 --dev=31 --func=0 --offset=0x10 --count=4 --width=32
  pcitool --write --bus=0x00 --dev=0x1f --func=0x00 --offset=0x40 --val=0x12,0x34
)";

constexpr const char *kHelp[] = {kUsage, kAccessHelp, kBoardHelp, kExamples};

constexpr uint64_t kMaxBus = 255;
constexpr uint64_t kMaxDevice = 31;
constexpr uint64_t kMaxFunction = 7;
constexpr size_t kSpaceSize = 4096;

struct PciOptions : DataOptions {
    using DataOptions::DataOptions;
    std::optional<uint64_t> bus;
    std::optional<uint64_t> device;
    std::optional<uint64_t> function;
    std::optional<uint64_t> offset;
};

constexpr auto kRows = join(
    kAccessRows<PciOptions>,
    std::to_array<OptionRow<PciOptions>>({
        {"bus", required_argument, set_number<&PciOptions::bus, kMaxBus>, "a bus up to 255"},
        {"dev", required_argument, set_number<&PciOptions::device, kMaxDevice>,
         "a device up to 31"},
        {"func", required_argument, set_number<&PciOptions::function, kMaxFunction>,
         "a function up to 7"},
        {"offset", required_argument, set_number<&PciOptions::offset, kSpaceSize - 1>,
         "an offset up to 4095"},
        {"count", required_argument, set_count<&DataOptions::count, kSpaceSize>, "1 to 4096 bytes"},
        {"val", required_argument, set_values, ""},
        {"width", required_argument, set_width<4>, "8, 16 or 32"},
    }));

Region region_of(const PciOptions &options) {
    return {"offset", *options.offset, kSpaceSize - 1};
}

std::optional<ExitStatus> parse(int argc, char **argv, PciOptions *options) {
    if (const auto status = parse_options(argc, argv, kRows, kHelp, options)) {
        return status;
    }
    if (const auto status = check_rules({
            one_operation(*options),
            {!options->bus, "--bus is missing"},
            {!options->device, "--dev is missing"},
            {!options->function, "--func is missing"},
            {!options->offset, "--offset is missing"},
        })) {
        return status;
    }
    return take_region_data(
        options, {.unit_bytes = 1, .expected_values = "1 to 4096 bytes, separated by commas"},
        region_of(*options));
}

}  // namespace

ExitStatus run_pcitool(int argc, char **argv) {
    std::array<uint8_t, kSpaceSize> buffer;
    PciOptions options({"pcitool", argv}, buffer);
    if (const auto status = parse(argc, argv, &options)) {
        return *status;
    }
    const board::PciFunction function = {.bus = static_cast<unsigned>(*options.bus),
                                         .device = static_cast<unsigned>(*options.device),
                                         .function = static_cast<unsigned>(*options.function)};
    char kind[sizeof "PCI 00:00.0"];
    std::snprintf(kind, sizeof kind, "PCI %02x:%02x.%x", function.bus & 0xFFU,
                  function.device & 0x1FU, function.function & 7U);
    const auto transfer = [&](board::Board &board) {
        const auto offset = static_cast<uint32_t>(*options.offset);
        return options.read ? board.pci_read(function, offset, options.item_bytes, options.data())
                            : board.pci_write(function, offset, options.item_bytes, options.data());
    };
    return run_region_access(options, kind, region_of(options), 1, transfer);
}

}  // namespace diag::tools
