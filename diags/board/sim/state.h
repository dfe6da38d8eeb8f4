// SPDX-License-Identifier: MIT
// A running simulated board: its state file, mapped, checked and locked.
#ifndef DIAGS_BOARD_SIM_STATE_H
#define DIAGS_BOARD_SIM_STATE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

#include "diags/board/sim/layout.h"

namespace diag::board::sim {

// What the file says is never trusted: each index is checked where it is used, so that a damaged
// file gives an error, not a crash.
class State {
  public:
    State() = default;
    ~State();
    State(const State &) = delete;
    State &operator=(const State &) = delete;

    // Maps the file and checks its header and its size.
    Status open(const char *path);

    std::span<Device> devices() { return devices_; }
    std::span<Line> lines() { return lines_; }
    std::span<OemRegister> oem_registers() { return oem_registers_; }
    std::span<const uint8_t, kNvramSize> nvram() const {
        return std::span<const uint8_t, kNvramSize>(header_->nvram);
    }
    uint64_t fingerprint() const { return header_->fingerprint; }

    // Null, or empty with *damaged set, when the file's indices lead nowhere.
    Device *device(uint32_t index);
    const Line *line(uint32_t index) const;
    Cell *cell(uint64_t index);
    std::span<const Condition> conditions_of(const Device &device, bool *damaged) const;
    std::span<const Range> ranges_of(const Device &device, bool *damaged) const;

    // An access takes microseconds; who holds the lock this long is stopped.
    static constexpr std::chrono::milliseconds kLockPatience{5000};

    // Taken by each access for as long as it takes. A lock whose owner died is taken over: records
    // are changed field by field and any mixture of old and new fields is a valid state.
    class Lock {
      public:
        // kBusy after `patience`.
        explicit Lock(State &state, std::chrono::milliseconds patience = kLockPatience);
        ~Lock();
        Lock(const Lock &) = delete;
        Lock &operator=(const Lock &) = delete;

        Status status() const { return status_; }

      private:
        State &state_;
        Status status_;
    };

  private:
    Status map(int file, size_t size);
    Status check_header();
    template <typename Record>
    bool take_table(const volatile TableRef &reference, std::span<Record> *table);

    Header *header_ = nullptr;
    size_t size_ = 0;
    std::span<Device> devices_;
    std::span<Condition> conditions_;
    std::span<Range> ranges_;
    std::span<Cell> cells_;
    std::span<Line> lines_;
    std::span<OemRegister> oem_registers_;
};

// Makes a mutex that State::Lock can take, in a file that is being built.
bool init_lock(pthread_mutex_t *lock);

}  // namespace diag::board::sim

#endif
