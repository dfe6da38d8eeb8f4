// SPDX-License-Identifier: MIT
// A state file that something has damaged gives an error, never a crash.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include "diags/board/sim/sim_board.h"
#include "tests/board/sim/running_board.h"

namespace diag::board::sim {
namespace {

// A file in memory: thousands of damaged files would wear out a disk's patience.
class MemoryFile {
  public:
    MemoryFile() : number_(memfd_create("state", MFD_CLOEXEC)) {}
    ~MemoryFile() { close(number_); }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    // Answers the file's path.
    std::string write(const std::string &contents) const {
        EXPECT_EQ(ftruncate(number_, 0), 0);
        EXPECT_EQ(pwrite(number_, contents.data(), contents.size(), 0),
                  static_cast<ssize_t>(contents.size()));
        return "/proc/self/fd/" + std::to_string(number_);
    }

  private:
    int number_;
};

class StateDamageTest : public testing::Test {
  protected:
    StateDamageTest() : sound_(make_sound()) {}

    // A board with every kind of record: muxes of every kind, fields, wide registers, registers by
    // unit, chips on every bus.
    static std::string make_sound() {
        test::TreeMaker maker;
        device_node &cpld = maker.chip("CPLD", 3, 0x31);
        maker.reg(cpld, "SELECT", 0);
        maker.reg(cpld, "WIDE", 4, 32).def_val = 0x12345678;
        device_node &sensor = maker.chip("SENSOR", 3, 0x48);
        maker.reg(sensor, "A", 0, 16);
        maker.reg(sensor, "B", 1, 16);
        maker.mux(sensor, "/dev/i2c-3", 0x31, 0, 0xFF, 0);
        maker.mux(sensor, "/dev/i2c-3", 0x70, 4, 0xFF, 0x00);
        for (const int32_t bus_type : {DIAG_BUS_BMC, DIAG_BUS_LPC, DIAG_BUS_PCI, DIAG_BUS_MEM}) {
            device_node &chip = maker.chip_on("CHIP", bus_type, 1, 0x50);
            chip.pci_dev = 2;
            chip.pci_func = 3;
            maker.reg(chip, "A", 0, 32);
            maker.reg(chip, "B", 6, 16);
            maker.mux(chip, "gpio", 4, 5, 0xFF, 0);
            maker.mux(chip, "mem", 0x40, 0, 0xFF, 0);
        }
        const test::RunningBoard board(maker, R"("gpio": {"1": {"2": 1}},
            "memory": [{"address": "0x4c", "size": 9}], "oem_registers": {"0x12": 1})");
        return test::read_file(board.path());
    }

    Status open(const std::string &contents) {
        SimBoard board;
        return board.open(file_.write(contents).c_str());
    }

    // The sound file with a field of its header set.
    template <typename Field>
    std::string with(size_t offset, Field value) const {
        std::string contents = sound_;
        std::memcpy(contents.data() + offset, &value, sizeof value);
        return contents;
    }

    // Opens the file and makes accesses of all kinds. Any status is right but a crash is not.
    bool works(const std::string &contents) {
        SimBoard board;
        if (board.open(file_.write(contents).c_str()) != Status::kOk) {
            return false;
        }
        const bool wires = use_i2c(&board);
        const bool bytes = use_bytes(&board);
        const bool others = use_lines_and_controller(&board);
        return wires && bytes && others;
    }

    static bool use_i2c(SimBoard *board) {
        bool all_ok = true;
        for (const uint8_t address : test::Bytes{0x31, 0x48, 0x70}) {
            for (uint8_t number = 0; all_ok && number < 6; ++number) {
                const std::array<uint8_t, 3> bytes = {number, 0, 0};
                std::array<uint8_t, 8> answer = {};
                all_ok = board->i2c_transfer({.bus = 3,
                                              .address = address,
                                              .write = std::span(bytes).first(1),
                                              .read = answer}) == Status::kOk &&
                         (address == 0x31 ||
                          board->i2c_transfer(
                              {.bus = 3, .address = address, .write = bytes, .read = {}}) ==
                              Status::kOk);
            }
        }
        return all_ok;
    }

    static bool use_bytes(SimBoard *board) {
        std::array<uint8_t, 8> data = {};
        const Status results[] = {
            board->lpc_read(0x50, 1, data),
            board->lpc_write(0x50, 1, data),
            board->memory_read(0x40, 1, std::span(data).first(1)),
            board->memory_read(0x4C, 1, data),
            board->memory_write(0x50, 1, data),
            board->pci_read({1, 2, 3}, 0x50, 1, data),
            board->pci_write({1, 2, 3}, 0x50, 1, data),
        };
        return std::ranges::all_of(results, [](Status status) { return status == Status::kOk; });
    }

    static bool use_lines_and_controller(SimBoard *board) {
        static constexpr std::array<uint8_t, 4> kRead = {1, 0x50, 0, 8};
        static constexpr std::array<uint8_t, 2> kOwn = {0, 0x12};
        bool is_high = false;
        IpmiResponse read;
        IpmiResponse own;
        const Status results[] = {
            board->gpio_read(1, 2, &is_high),
            board->gpio_write(4, 5, false),
            board->ipmi_raw({0x38, 0x02, kRead}, &read),
            board->ipmi_raw({0x3C, 0x18, kOwn}, &own),
        };
        return std::ranges::all_of(results, [](Status status) { return status == Status::kOk; }) &&
               read.completion_code == 0 && own.completion_code == 0;
    }

    MemoryFile file_;
    std::string sound_;
};

TEST_F(StateDamageTest, WorksWhenTheFileIsSound) {
    EXPECT_EQ(open(sound_), Status::kOk);
    EXPECT_TRUE(works(sound_));
}

TEST_F(StateDamageTest, RefusesAFileThatIsNoState) {
    EXPECT_EQ(open(with(offsetof(Header, magic), 'X')), Status::kNotAState);
    EXPECT_EQ(open(""), Status::kNotAState);
    EXPECT_EQ(open("DIAGSIM\n"), Status::kNotAState);
}

TEST_F(StateDamageTest, RefusesAStateOfAnotherVersion) {
    EXPECT_EQ(open(with(offsetof(Header, version), kLayoutVersion + 1)), Status::kNotAState);
    EXPECT_EQ(open(with(offsetof(Header, header_size), uint32_t{8})), Status::kNotAState);
}

TEST_F(StateDamageTest, RefusesAFileThatWasCutAtAnyPlace) {
    for (size_t size = 0; size < sound_.size(); size += 7) {
        EXPECT_NE(open(sound_.substr(0, size)), Status::kOk) << size;
    }
    EXPECT_EQ(open(sound_.substr(0, sound_.size() - 1)), Status::kDamaged);
    EXPECT_EQ(open(sound_ + 'x'), Status::kDamaged);
}

TEST_F(StateDamageTest, RefusesTablesOutsideTheFile) {
    const auto size = static_cast<uint32_t>(sound_.size());
    for (size_t table :
         {offsetof(Header, devices), offsetof(Header, conditions), offsetof(Header, ranges),
          offsetof(Header, cells), offsetof(Header, lines), offsetof(Header, oem_registers)}) {
        const size_t count = table + offsetof(TableRef, count);
        EXPECT_EQ(open(with(table, uint32_t{0})), Status::kDamaged) << "over the header";
        EXPECT_EQ(open(with(table, size)), Status::kDamaged);
        EXPECT_EQ(open(with(table, UINT32_MAX - 7)), Status::kDamaged);
        EXPECT_EQ(open(with(table, uint32_t{sizeof(Header) + 1})), Status::kDamaged) << "uneven";
        EXPECT_EQ(open(with(count, UINT32_MAX)), Status::kDamaged);
    }
}

TEST_F(StateDamageTest, RefusesALockOfAnUnknownKind) {
#ifdef __GLIBC__
    const size_t kind = offsetof(Header, lock) + offsetof(__pthread_mutex_s, __kind);
    EXPECT_EQ(open(with(kind, 0x7FFFFFFF)), Status::kDamaged);
    EXPECT_EQ(open(with(kind, 0)), Status::kDamaged);
#else
    GTEST_SKIP() << "the mutex of this C library cannot be looked into";
#endif
}

TEST_F(StateDamageTest, ReportsADeviceWhoseRecordsLeadNowhere) {
    Header header;
    std::memcpy(&header, sound_.data(), sizeof header);
    const struct {
        size_t field;
        uint32_t value;
    } damages[] = {
        {offsetof(Device, first_range), UINT32_MAX},
        {offsetof(Device, range_count), header.ranges.count + 1},
        {offsetof(Device, range_count), UINT32_MAX},
        {offsetof(Device, first_condition), header.conditions.count + 1},
        {offsetof(Device, condition_count), UINT32_MAX},
    };
    for (uint32_t device = 0; device < header.devices.count; ++device) {
        for (const auto &damage : damages) {
            const std::string contents =
                with(header.devices.offset + device * sizeof(Device) + damage.field, damage.value);
            EXPECT_EQ(open(contents), Status::kOk);
            EXPECT_FALSE(works(contents)) << "device " << device << ", field " << damage.field;
        }
    }
}

TEST_F(StateDamageTest, ReportsAConditionThatLeadsNowhere) {
    Header header;
    std::memcpy(&header, sound_.data(), sizeof header);
    for (uint32_t i = 0; i < header.conditions.count; ++i) {
        const size_t condition = header.conditions.offset + i * sizeof(Condition);
        EXPECT_FALSE(works(with(condition + offsetof(Condition, target), UINT32_MAX))) << i;
        EXPECT_FALSE(works(with(condition + offsetof(Condition, kind), uint8_t{2}))) << i;
    }
}

TEST_F(StateDamageTest, SurvivesDevicesThatAnswerEverywhereOrNowhere) {
    Header header;
    std::memcpy(&header, sound_.data(), sizeof header);
    for (const size_t field : {offsetof(Device, first), offsetof(Device, end),
                               offsetof(Device, reach), offsetof(Device, base)}) {
        for (uint32_t i = 0; i < header.devices.count; ++i) {
            for (const uint64_t value : {uint64_t{0}, UINT64_MAX, UINT64_MAX / 2, uint64_t{0x54}}) {
                works(with(header.devices.offset + i * sizeof(Device) + field, value));
            }
        }
    }
}

// Every word of the tables in turn, set to values that lead outside. ASan sees what this touches.
TEST_F(StateDamageTest, SurvivesDamageInAnyWordOfItsTables) {
    Header header;
    std::memcpy(&header, sound_.data(), sizeof header);
    const size_t start =
        std::min({header.devices.offset, header.conditions.offset, header.ranges.offset,
                  header.cells.offset, header.lines.offset, header.oem_registers.offset});
    int noticed = 0;
    for (size_t offset = start; offset + 4 <= sound_.size(); offset += 4) {
        for (uint32_t value : {UINT32_MAX, 0x80000000U, 0xFFU, 0U}) {
            std::string contents = with(offset, value);
            const uint32_t no_delay = 0;  // a damaged delay is a delay
            for (uint32_t i = 0; i < header.devices.count; ++i) {
                std::memcpy(contents.data() + header.devices.offset + i * sizeof(Device) +
                                offsetof(Device, delay_ms),
                            &no_delay, sizeof no_delay);
            }
            noticed += works(contents) ? 0 : 1;
        }
    }
    EXPECT_GT(noticed, 0);
}

}  // namespace
}  // namespace diag::board::sim
