// SPDX-License-Identifier: MIT
// The state file of a running simulated board: a header and flat tables, which refer to each other
// by index. Any change to a record here needs a new kLayoutVersion.
#ifndef DIAGS_BOARD_SIM_LAYOUT_H
#define DIAGS_BOARD_SIM_LAYOUT_H

#include <cstdint>
#include <pthread.h>

#include "diags/board/board.h"

namespace diag::board::sim {

inline constexpr char kMagic[8] = {'D', 'I', 'A', 'G', 'S', 'I', 'M', '\n'};
inline constexpr uint32_t kLayoutVersion = 1;

struct TableRef {
    uint32_t offset;  // bytes from the start of the file
    uint32_t count;   // records
};

struct Header {
    char magic[8];
    uint32_t version;
    uint32_t header_size;
    uint64_t file_size;
    uint64_t fingerprint;  // of the files that the state was built from
    TableRef devices;
    TableRef conditions;
    TableRef ranges;
    TableRef cells;
    uint8_t nvram[kNvramSize];
    uint32_t reserved;
    pthread_mutex_t lock;  // robust, shared; guards everything that changes: devices and cells
};

// An I2C device. The table is sorted by bus, then address.
struct Device {
    uint32_t bus;
    uint8_t address;
    uint8_t pointer_bytes;  // 1 or 2
    uint8_t little_endian;  // the register pointer's byte order
    uint8_t no_answer;      // fault, or something on the way that is not simulated
    uint32_t pointer;       // register number that the next data byte belongs to
    uint32_t delay_ms;      // fault: every access takes that much longer
    uint32_t first_condition;
    uint32_t condition_count;
    uint32_t first_range;
    uint32_t range_count;
    uint32_t selected;  // scratch of the transfer in progress
};

// A register of a mux that must hold a value for the device behind it to be reached.
struct Condition {
    uint32_t device;  // the mux
    uint8_t number;   // its register
    uint8_t mask;
    uint8_t value;
    uint8_t reserved;
};

enum RangeFlag : uint8_t {
    kRangeLittleEndian = 1,  // units go over the wire low byte first
    kRangeByUnit = 2,        // a register number stands for a whole unit, not for one byte
};

// Consecutive register numbers of a device that lead to consecutive cells. The ranges of a device
// are sorted and do not overlap.
struct Range {
    uint32_t first;      // register number
    uint32_t count;      // register numbers
    uint32_t next;       // register number that follows the last one
    uint32_t cell;       // cell of the unit that `skip` counts from
    uint32_t skip;       // bytes between that cell's first byte and register number `first`
    uint8_t unit_bytes;  // 1 to 4
    uint8_t flags;
    uint8_t reserved[2];
};

// One unit of a register.
struct Cell {
    uint32_t value;
    uint32_t readable;
    uint32_t writable;
    uint32_t clear_on_read;
    uint32_t stuck_high;  // faults, seen on reads
    uint32_t stuck_low;
};

}  // namespace diag::board::sim

#endif
