// SPDX-License-Identifier: MIT
// Physical memory, through memtool.
#include <charconv>
#include <climits>
#include <cstring>

#include "diag_util.h"
#include "tool_calls.h"

#include "diags/common/src/fatal_overflow.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"
#include "diags/common/src/tools/fifo_reading.h"

namespace {

using diag::CommandLine;

constexpr char kTool[] = "memtool";
constexpr char kSet[] = "memtool_set";
constexpr diag::ReadingTexts kTexts = {"Mem", "mem", false, "MEM"};
constexpr uint32_t kRefused = 0xFFFFFFFFU;

template <typename Item>
uint64_t item_at(const void *data, size_t index) {
    Item item;
    std::memcpy(&item, static_cast<const char *>(data) + index * sizeof item, sizeof item);
    return item;
}

struct Width {
    int bits;
    uint64_t (*item_at)(const void *data, size_t index);
};

constexpr Width kWidths[] = {{8, item_at<uint8_t>},
                             {16, item_at<uint16_t>},
                             {32, item_at<uint32_t>},
                             {64, item_at<uint64_t>}};

const Width *find_width(int bits) {
    for (const Width &known : kWidths) {
        if (known.bits == bits) {
            return &known;
        }
    }
    return nullptr;
}

// Room for "0x", two digits per byte and a comma for each item, and the end; null when there is no
// memory, or when no memory could be that large.
diag::Owned<char> allocate_values(int width, int64_t count) {
    const int64_t size = (int64_t{width} / 8 * 2 + 3) * count + 1;
    if (size < 0 || size > INT_MAX) {
        return nullptr;
    }
    return diag::Owned<char>(static_cast<char *>(std::calloc(1, static_cast<size_t>(size) + 1)));
}

// Items separated by commas; answers the length of the text.
size_t print_values(const Width &width, const void *data, unsigned int count, char *text) {
    constexpr int kMostDigits = 16;
    char *end = text;
    for (unsigned int i = 0; i < count; i++) {
        *end++ = '0';
        *end++ = 'x';
        end = std::to_chars(end, end + kMostDigits, width.item_at(data, i), 16).ptr;
        *end++ = ',';
    }
    *--end = '\0';
    return static_cast<size_t>(end - text);
}

uint32_t run_writing(const CommandLine &command, unsigned int count) {
    diag_print(1, "Calling %s\n", command.text());
    const int status = diag::run_command(command.text());
    if (status != 0) {
        DIAG_ERROR_IN(kSet, "%s\nError Writing to  MEM\n", "FAILED <<<---");
        return static_cast<uint32_t>(status);
    }
    diag_print(1, "%d bytes written to memory\n", static_cast<int>(count));
    return 0;
}

// A command of exactly SYS_CMD_MAX_SIZE characters passes, and has no room for its end.
bool fits(const CommandLine &head, const char *values, size_t length) {
    if (head.length() + length <= SYS_CMD_MAX_SIZE) {
        return true;
    }
    DIAG_ERROR_IN(kSet, "The length of command is longer than SYS_CMD_MAX_SIZE\n");
    diag_print(1, "The length of sys_cmd: %d\nsys_cmd:%s\n", static_cast<int>(head.length()),
               head.text());
    diag_print(1, "The length of data: %d\ndata:\n%s\n", static_cast<int>(length), values);
    return false;
}

}  // namespace

uint32_t memtool_get(unsigned int address, unsigned int count, unsigned int width,
                     const char *pipe_path, bool big_endian, uint8_t *result) {
    return diag::read_through_fifo(
        __func__, kTexts, pipe_path, static_cast<int>(width * count) / 8, result,
        [&](CommandLine &command) {
            command.append("%s --get --addr=0x%08x --count=%d --width=%d --pipe=%s%s", kTool,
                           address, static_cast<int>(count), static_cast<int>(width), pipe_path,
                           big_endian ? " --be" : "");
            diag_print(1, "Calling %s\n", command.text());
        });
}

uint32_t memtool_set(unsigned int address, int width, const void *data, unsigned int count,
                     bool busbroker_request) {
    const diag::Owned<char> values = allocate_values(width, int64_t{count});
    if (values == nullptr) {
        DIAG_ERROR("Could not allocate space for params of memtool\n");
        return kRefused;
    }
    CommandLine command;
    command.append("%s --write%s --addr=0x%08x --width=%d --val=", kTool,
                   busbroker_request ? " --busbroker" : "", address, width);
    if (count == 0) {
        return DIAG_E_FAIL;  // nothing to write, whatever the width
    }
    const Width *known = find_width(width);
    if (known == nullptr) {
        DIAG_ERROR("Invalid width. Only 8, 16, 32 and 64 are supported widths.\n");
        return DIAG_E_FAIL;
    }
    const size_t length = print_values(*known, data, count, values.get());
    if (!fits(command, values.get(), length)) {
        return kRefused;
    }
    if (command.length() + length >= SYS_CMD_MAX_SIZE) {
        diag::fatal_overflow(__func__);
    }
    command.append("%s", values.get());
    return run_writing(command, count);
}
