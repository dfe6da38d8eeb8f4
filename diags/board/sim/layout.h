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
inline constexpr uint32_t kLayoutVersion = 2;

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
    TableRef lines;
    TableRef oem_registers;
    uint8_t nvram[kNvramSize];
    uint32_t reserved;
    pthread_mutex_t lock;  // robust, shared; guards all that changes: every table but conditions
                           // and ranges
};

enum class BusKind : uint8_t {
    kI2c,
    kBmc,  // I2C behind the board management controller
    kLpc,  // from here on bytes have addresses of their own, and no register pointer leads there
    kPci,  // configuration space
    kMemory,
};

constexpr bool is_byte_addressed(BusKind kind) {
    return kind >= BusKind::kLpc;
}

inline constexpr uint32_t kPciSpace = 4096;  // bytes of a function's configuration space

// What a device of a PCI function has in place of a bus number.
constexpr uint32_t pci_bus_key(uint32_t bus, uint32_t device, uint32_t function) {
    return bus << 8 | device << 3 | function;
}

// A chip, a mux, or a stretch of plain bytes. The table is sorted by kind, bus, then first address.
struct Device {
    uint64_t first;  // its address; on byte-addressed buses the first that it answers at
    uint64_t end;    // byte-addressed: the address behind the last that it answers at
    uint64_t reach;  // byte-addressed: highest `end` up to here among those of the same bus
    uint64_t base;   // byte-addressed: address of register number 0
    uint32_t bus;    // number; pci_bus_key(); 0 where there is only one
    BusKind kind;
    uint8_t pointer_bytes;  // 1 or 2
    uint8_t little_endian;  // the register pointer's byte order
    uint8_t no_answer;      // fault, or something on the way that is not simulated
    uint32_t pointer;       // register number that the next data byte belongs to
    uint32_t delay_ms;      // fault: every access takes that much longer
    uint32_t first_condition;
    uint32_t condition_count;
    uint32_t first_range;
    uint32_t range_count;
    uint32_t selected;  // scratch of the access in progress
};

enum class ConditionKind : uint8_t {
    kRegister,  // of a device, a byte of memory included
    kLine,      // of a GPIO chip
};

// What a mux must hold for the device behind it to be reached.
struct Condition {
    uint32_t target;  // the mux's device, or the line
    uint32_t number;  // its register
    ConditionKind kind;
    uint8_t mask;
    uint8_t value;
    uint8_t reserved;
};

// A line of a GPIO chip. The table is sorted by chip, then number.
struct Line {
    uint32_t chip;
    uint32_t number;
    uint32_t is_high;  // 0 or 1
};

// A register of the board management controller itself. The table is sorted by number.
struct OemRegister {
    uint32_t number;
    uint8_t bytes[4];
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
