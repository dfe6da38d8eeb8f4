// SPDX-License-Identifier: MIT
// Platform trees under test, written as text.
#ifndef TESTS_COMMON_BUSBROKER_DEVICE_ID_TREE_H
#define TESTS_COMMON_BUSBROKER_DEVICE_ID_TREE_H

#include <cstdint>
#include <deque>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "busbroker.h"

#include "tests/common/library_test.h"
#include "tests/support/logged_messages.h"

namespace diag::test {

// A device as the daemon lists it; null texts stay null.
struct Device {
    const char *dev_id;
    const char *interface;
    const char *mux_type = nullptr;
};

// The daemon's list of devices.
class DeviceList {
  public:
    DeviceList(std::initializer_list<Device> devices);

    devid_record *first() { return records_.empty() ? nullptr : &records_.front(); }
    devid_record *at(size_t index) { return &records_[index]; }

  private:
    std::deque<devid_record> records_;
};

// A tree and the process information beside it, freed at the end.
class PlatformTree {
  public:
    PlatformTree() = default;
    ~PlatformTree();
    PlatformTree(const PlatformTree &) = delete;
    PlatformTree &operator=(const PlatformTree &) = delete;

    uint32_t add(DeviceList &devices, bool is_daemon = false);

    if_slot *slots() { return slots_; }
    if_slot &i2c(size_t number) { return slots_[DIAG_PF_SLOT_I2C + number]; }
    devid_proc_info *processes() { return processes_; }

    // All slots that hold something, as "SLOT: CONTENTS" joined by "; ".
    std::string text() const;
    // The muxes listed for the daemon, as "INTERFACE: DEVICE=KIND ..." joined by "; ".
    std::string process_text() const;

  private:
    if_slot slots_[PF_TREE_SLOTS]{};
    devid_proc_info processes_[PROC_INFO_SLOTS]{};
};

// Contents of a level: plain devices, then muxes as "NAME", a "*" when its own record is known, and
// "{CHANNEL:CONTENTS}" for each channel.
std::string text_of(const if_slot &level);

void free_level(if_slot &level);

class DeviceIdTreeTest : public LibraryTest {
  protected:
    PlatformTree tree_;
};

}  // namespace diag::test

#endif
