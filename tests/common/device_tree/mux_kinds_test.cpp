// SPDX-License-Identifier: MIT
// Muxes on other buses than the host's I2C, and chains of several kinds.
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "diag_util.h"

#include "tests/common/device_tree/device_tree_test.h"
#include "tests/support/fake_tool.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {
namespace {

constexpr uint32_t kFailed = 0xFFFFFFFFU;

using Calls = std::vector<std::string>;

std::string program_path() {
    const char *path = std::getenv("PATH");
    return path != nullptr ? path : "";
}

// Nothing but the system's own programs, whatever folders the user has beside them.
class SystemPath {
  public:
    SystemPath() : saved_(program_path()) { setenv("PATH", "/usr/bin:/bin", 1); }
    ~SystemPath() { setenv("PATH", saved_.c_str(), 1); }
    SystemPath(const SystemPath &) = delete;
    SystemPath &operator=(const SystemPath &) = delete;

  private:
    std::string saved_;
};

// A tool beside those that were found before it.
class OneOfSeveralTools {
  public:
    explicit OneOfSeveralTools(const char *name) : found_before_(program_path()), tool_(name) {
        setenv("PATH", (program_path() + ":" + found_before_).c_str(), 1);
    }
    FakeTool *operator->() { return &tool_; }

  private:
    std::string found_before_;
    FakeTool tool_;
};

// All the tools that muxes are set with; each notes its call in one list.
class MuxKinds : public DeviceTreeTest {
  protected:
    MuxKinds() {
        for (OneOfSeveralTools *tool : {&i2ctool_, &ipmitool_, &gpiotool_, &memtool_}) {
            (*tool)->runs_script(note_);
        }
    }

    // What the tools were called with, in order, each with its name.
    Calls calls() const {
        Calls calls;
        std::string text = std::filesystem::exists(list_) ? read_file(list_) : "";
        for (size_t end = 0; (end = text.find('\n')) != std::string::npos;) {
            calls.push_back(text.substr(0, end));
            text.erase(0, end + 1);
        }
        return calls;
    }
    void forget_calls() const { std::filesystem::remove(list_); }

    // Sets one mux whose bus is `bus`.
    uint32_t set(std::string bus, uint32_t addr, uint32_t reg, uint32_t val) const {
        mux_entry mux{bus.data(), addr, reg, 0, val, nullptr};
        forget_calls();
        return set_muxes(&mux);
    }
    Messages logged_for(std::string bus, uint32_t addr, uint32_t reg, uint32_t val) const {
        mux_entry mux{bus.data(), addr, reg, 0, val, nullptr};
        Messages messages = logged_by([&] { set_muxes(&mux); });
        EXPECT_FALSE(messages.empty());
        EXPECT_EQ(messages.front(), (Message{3, "Setting Mux for access to Device \n"}));
        messages.erase(messages.begin());
        return messages;
    }

    TemporaryFolder folder_;
    const std::string list_ = folder_.file("calls");
    const std::string note_ = "echo \"${0##*/} $*\" >>'" + list_ + "'\n";
    SystemPath path_;
    OneOfSeveralTools i2ctool_{"i2ctool"};
    OneOfSeveralTools ipmitool_{"ipmitool"};
    OneOfSeveralTools gpiotool_{"gpiotool"};
    OneOfSeveralTools memtool_{"memtool"};
};

// ---- behind the management controller ----

TEST_F(MuxKinds, BmcMuxIsWrittenWithTheControllersOwnRequest) {
    EXPECT_EQ(set("bmc-2", 0x70, 0x01, 0x04), 0U);
    EXPECT_EQ(calls(), Calls{"ipmitool raw 0x38 0x3 0x2 0x70 0x1 0x4"});
    EXPECT_EQ(set("/dev/bmc-12", 0x1FE0, 0x12345, 0xABCD), 0U);
    EXPECT_EQ(calls(), Calls{"ipmitool raw 0x38 0x3 0xc 0xe0 0x45 0xcd"}) << "cut to 8 bits";
    EXPECT_EQ(logged_for("bmc-2", 0x1FE0, 0x12345, 0xABCD),
              (Messages{{3, "Setting BMC Mux bmc-2 0x1fe0 0x12345 0xcd\n"},
                        {3,
                         "ipmitool_set: ipmitool raw 0x38 0x3 0x2 0xe0 0x45 0xcd > "
                         "/dev/null\n"}}));
}

TEST_F(MuxKinds, BmcMuxThatCannotBeWrittenFails) {
    EXPECT_EQ(set("bmc", 0x70, 0, 1), kFailed) << "no bus number";
    EXPECT_EQ(calls(), Calls{});
    ipmitool_->answers("", 1);
    EXPECT_EQ(set("bmc-2", 0x70, 0, 1), kFailed);
}

TEST_F(MuxKinds, IpmiMuxIsWrittenAsATransferOfTheController) {
    EXPECT_EQ(set("ipmi-2", 0x70, 0x01, 0x04), 0U);
    EXPECT_EQ(calls(), Calls{"ipmitool raw 0x3a 0x01 0x02 0x70 0x00 0x01 0x04"});
    EXPECT_EQ(set("ipmi-2", 0x1FE0, 0x12345, 0xABCD), 0U);
    EXPECT_EQ(calls(), Calls{"ipmitool raw 0x3a 0x01 0x02 0xe0 0x00 0x45 0xcd"});
    EXPECT_EQ(logged_for("ipmi-2", 0x1FE0, 0x12345, 0xABCD),
              (Messages{{3, "Setting IPMI Mux 0x1fe0 0x12345 0xcd\n"},
                        {1,
                         "ipmii2c_set: ipmitool raw 0x3a 0x01 0x02 0xe0 0x00 0x45  0xcd "
                         "1>/dev/null\n"}}));
}

TEST_F(MuxKinds, IpmiMuxThatCannotBeWrittenFails) {
    EXPECT_EQ(set("ipmi", 0x70, 0, 1), DIAG_E_INVAL) << "no bus number";
    EXPECT_EQ(calls(), Calls{});
    ipmitool_->answers("", 1);
    EXPECT_EQ(set("ipmi-2", 0x70, 0, 1), kFailed);
    ipmitool_->is_missing();
    EXPECT_EQ(set("ipmi-2", 0x70, 0, 1), kFailed);
}

using MuxKindsDeathTest = MuxKinds;

TEST_F(MuxKindsDeathTest, IpmiBusOf30CharactersEndsTheProcess) {
    EXPECT_EQ(set("ipmi-2" + std::string(23, 'x'), 0x70, 0, 1), 0U);
    EXPECT_EXIT(set("ipmi-2" + std::string(24, 'x'), 0x70, 0, 1), testing::KilledBySignal(SIGABRT),
                "ipmii2c_set: text does not fit its buffer");
}

// ---- GPIO ----

TEST_F(MuxKinds, GpioMuxSetsALineInDecimal) {
    EXPECT_EQ(set("gpio", 2, 17, 1), 0U);
    EXPECT_EQ(calls(), Calls{"gpiotool --set --chip=2 --pin=17 --val=1"});
    EXPECT_EQ(set("gpiochip0", 0x12345, 0x23456, 0x1FF), 0U);
    EXPECT_EQ(calls(), Calls{"gpiotool --set --chip=74565 --pin=144470 --val=255"})
        << "only the level is cut";
    EXPECT_EQ(logged_for("gpio", 2, 17, 0x101),
              (Messages{{3, "Setting GPIO Mux 0x2 0x11 0x1\n"},
                        {1, "Calling gpiotool --set --chip=2 --pin=17 --val=1\n"},
                        {1, "byte written to GPIO\n"}}));
}

TEST_F(MuxKinds, GpioMuxThatFailsAnswersTheWaitStatus) {
    gpiotool_->answers("", 3);
    EXPECT_EQ(set("gpio", 2, 17, 1), 3U << 8);
    gpiotool_->is_missing();
    EXPECT_EQ(set("gpio", 2, 17, 1), 127U << 8);
}

// ---- memory ----

// The FIFO of memory muxes has one fixed name, so that tests which use it take turns: also with
// those of other build folders and users.
class MemoryMux : public MuxKinds {
  protected:
    static constexpr char kPipe[] = "/tmp/eda_pipe";

    void SetUp() override {
        turn_ = open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (turn_ == -1 || flock(turn_, LOCK_EX) != 0) {
            throw std::runtime_error("cannot wait for " + std::string(kPipe));
        }
        struct stat pipe {};
        if (lstat(kPipe, &pipe) == 0 && pipe.st_uid != geteuid() && geteuid() != 0) {
            GTEST_SKIP() << kPipe << " belongs to somebody else";
        }
    }
    void TearDown() override { close(turn_); }

    // The byte that a reading finds, in octal, and how both ways of calling the tool end.
    void memory_holds(const char *octal, int read_status = 0, int write_status = 0) {
        memtool_->runs_script(note_ + "if test -n \"$pipe\"; then printf '" + octal +
                              "' >\"$pipe\"; exit " + std::to_string(read_status) + "; fi\nexit " +
                              std::to_string(write_status) + "\n");
    }
    uint32_t set_masked(uint32_t mask, uint32_t val, uint32_t addr = 0x1000) const {
        char bus[] = "mem";
        mux_entry mux{bus, addr, 0, mask, val, nullptr};
        forget_calls();
        return set_muxes(&mux);
    }
    const std::string reading_ =
        std::string("memtool --get --addr=0x00001000 --count=1 --width=8 --pipe=") + kPipe;
    const std::string writing_ = "memtool --write --addr=0x00001000 --width=8 --val=";

    int turn_ = -1;
};

TEST_F(MemoryMux, ChangesTheBitsOfItsMask) {
    memory_holds("\\377");
    EXPECT_EQ(set_masked(0x0C, 0x04), 0U);
    EXPECT_EQ(calls(), (Calls{reading_, writing_ + "0xf7"}));
}

TEST_F(MemoryMux, MaskAndValueAreTakenAsEightBits) {
    struct Case {
        const char *octal;
        uint32_t mask;
        uint32_t val;
        const char *written;
    };
    constexpr Case kCases[] = {{"\\000", 0xFF, 0xAB, "0xab"},
                               {"\\001", 0x00, 0x10, "0x11"},  // a value beyond its mask counts
                               {"\\252", 0x0F, 0x05, "0xa5"},
                               {"\\252", 0xF00, 0x500, "0xaa"},
                               {"\\252", 0xFFFFFFFF, 0xFFFFFF12, "0x12"},
                               {"\\377", 0xFF, 0x00, "0x0"}};
    for (const Case &test : kCases) {
        memory_holds(test.octal);
        EXPECT_EQ(set_masked(test.mask, test.val), 0U);
        EXPECT_EQ(calls(), (Calls{reading_, writing_ + test.written})) << test.octal;
    }
}

TEST_F(MemoryMux, AddressHas32Bits) {
    memory_holds("\\000");
    EXPECT_EQ(set_masked(0xFF, 1, 0xFEDCBA98), 0U);
    EXPECT_EQ(calls()[0],
              std::string("memtool --get --addr=0xfedcba98 --count=1 --width=8 --pipe=") + kPipe);
    EXPECT_EQ(calls()[1], "memtool --write --addr=0xfedcba98 --width=8 --val=0x1");
}

TEST_F(MemoryMux, ReadingThatFailsOrBringsNothingStartsFromZero) {
    memory_holds("\\377", 1);
    EXPECT_EQ(set_masked(0x0C, 0x04), 0U) << "the status is that of the write";
    EXPECT_EQ(calls(), (Calls{reading_, writing_ + "0x4"}));
    memory_holds("");
    EXPECT_EQ(set_masked(0x0C, 0x04), 0U);
    EXPECT_EQ(calls(), (Calls{reading_, writing_ + "0x4"}));
}

TEST_F(MemoryMux, WriteThatFailsAnswersItsWaitStatus) {
    memory_holds("\\377", 0, 3);
    EXPECT_EQ(set_masked(0x0C, 0x04), 3U << 8);
    EXPECT_EQ(calls().size(), 2U);
    memtool_->is_missing();
    EXPECT_EQ(set_masked(0x0C, 0x04), 127U << 8);
}

TEST_F(MemoryMux, IsLoggedWithTheByteThatIsWritten) {
    memory_holds("\\377");
    char bus[] = "mem";
    mux_entry mux{bus, 0x1000, 0x12, 0x0C, 0x04, nullptr};
    EXPECT_EQ(logged_by([&] { set_muxes(&mux); }),
              (Messages{{3, "Setting Mux for access to Device \n"},
                        {1, "Calling " + reading_ + "\n"},
                        {2, "1 bytes read from the fifo\n"},
                        {3, "Setting Mem Mux 0x1000 0x12 0xf7\n"},
                        {1, "Calling " + writing_ + "0xf7\n"},
                        {1, "1 bytes written to memory\n"}}));
}

TEST_F(MemoryMux, DryRunReadsADummyByteAndWritesAllTheSame) {
    set_debug_enable(1);
    memory_holds("\\377");
    EXPECT_EQ(set_masked(0x03, 0x01), 0U);
    EXPECT_EQ(calls(), Calls{writing_ + "0x19"}) << "made of 0x1A";
}

TEST_F(MemoryMux, FollowsAMuxOfAnotherKind) {
    memory_holds("\\377");
    char gpio[] = "gpio";
    char mem[] = "/dev/mem";
    mux_entry memory{mem, 0x1000, 0, 0x0C, 0x04, nullptr};
    mux_entry first{gpio, 2, 3, 0, 1, &memory};
    EXPECT_EQ(set_muxes(&first), 0U);
    EXPECT_EQ(calls(),
              (Calls{"gpiotool --set --chip=2 --pin=3 --val=1", reading_, writing_ + "0xf7"}));
}

// ---- which word decides ----

TEST_F(MuxKinds, FirstKnownWordOfAFixedOrderDecides) {
    struct Case {
        const char *bus;
        const char *call;
    };
    constexpr Case kCases[] = {
        {"mem gpio ipmi-3 bmc i2c",
         "i2ctool --write --bus=mem gpio ipmi-3 bmc i2c --addr=0x70 --width=8 --reg=0x01 "
         "--val=0x02"},
        {"i2c mem", "i2ctool --write --bus=i2c mem --addr=0x70 --width=8 --reg=0x01 --val=0x02"},
        {"mem gpio ipmi-3 bmc", "ipmitool raw 0x38 0x3 0x3 0x70 0x1 0x2"},
        {"ipmi-3bmc", "ipmitool raw 0x38 0x3 0x3 0x70 0x1 0x2"},
        {"mem gpio ipmi-3", "ipmitool raw 0x3a 0x01 0x03 0x70 0x00 0x01 0x02"},
        {"gpio-ipmi", "ipmitool raw 0x3a 0x01 0x00 0x70 0x00 0x01 0x02"},
        {"mem gpio", "gpiotool --set --chip=112 --pin=1 --val=2"},
        {"memgpio", "gpiotool --set --chip=112 --pin=1 --val=2"}};
    for (const Case &test : kCases) {
        EXPECT_EQ(set(test.bus, 0x70, 1, 2), 0U);
        EXPECT_EQ(calls(), Calls{test.call}) << test.bus;
    }
}

TEST_F(MuxKinds, WordsOfAnotherCaseAreUnknown) {
    for (const char *bus : {"BMC-1", "Ipmi-1", "GPIO", "me m", "lpc", "pci"}) {
        EXPECT_EQ(set(bus, 1, 2, 3), 0U);
        EXPECT_EQ(calls(), Calls{}) << bus;
        EXPECT_EQ(logged_for(bus, 1, 2, 3), (Messages{{0, "Unknown Bus Type specified\n"}}));
    }
}

// ---- chains of several kinds ----

// Muxes whose buses are the test's own.
struct MixedChain {
    char i2c[11] = "/dev/i2c-2";
    char bmc[6] = "bmc-4";
    char ipmi[7] = "ipmi-5";
    char gpio[5] = "gpio";
    char unknown[4] = "lpc";
};

TEST_F(MuxKinds, ChainIsSetFromTheHostOn) {
    MixedChain bus;
    mux_entry fourth{bus.gpio, 1, 2, 0, 1, nullptr};
    mux_entry third{bus.ipmi, 0x73, 3, 0, 8, &fourth};
    mux_entry second{bus.bmc, 0x72, 2, 0, 4, &third};
    mux_entry first{bus.i2c, 0x71, 1, 0, 2, &second};
    EXPECT_EQ(set_muxes(&first), 0U);
    EXPECT_EQ(calls(),
              (Calls{"i2ctool --write --bus=/dev/i2c-2 --addr=0x71 --width=8 --reg=0x01 --val=0x02",
                     "ipmitool raw 0x38 0x3 0x4 0x72 0x2 0x4",
                     "ipmitool raw 0x3a 0x01 0x05 0x73 0x00 0x03 0x08",
                     "gpiotool --set --chip=1 --pin=2 --val=1"}));
}

TEST_F(MuxKinds, DeeperMuxWithoutABusSitsOnTheFirstOneWhateverStandsBetween) {
    MixedChain bus;
    mux_entry third{nullptr, 0x73, 3, 0, 8, nullptr};
    mux_entry second{bus.gpio, 1, 2, 0, 1, &third};
    mux_entry first{bus.bmc, 0x71, 1, 0, 2, &second};
    EXPECT_EQ(set_muxes(&first), 0U);
    EXPECT_EQ(calls(), (Calls{"ipmitool raw 0x38 0x3 0x4 0x71 0x1 0x2",
                              "gpiotool --set --chip=1 --pin=2 --val=1",
                              "ipmitool raw 0x38 0x3 0x4 0x73 0x3 0x8"}));
    EXPECT_EQ(third.bus, bus.bmc);
}

TEST_F(MuxKinds, StatusIsThatOfTheLastWriteWhateverItsKind) {
    MixedChain bus;
    gpiotool_->answers("", 3);
    mux_entry second{bus.gpio, 1, 2, 0, 1, nullptr};
    mux_entry first{bus.i2c, 0x71, 1, 0, 2, &second};
    EXPECT_EQ(set_muxes(&first), 3U << 8);
    mux_entry after_failure{bus.i2c, 0x71, 1, 0, 2, nullptr};
    mux_entry failing{bus.gpio, 1, 2, 0, 1, &after_failure};
    EXPECT_EQ(set_muxes(&failing), 0U);
    mux_entry unknown{bus.unknown, 0x71, 1, 0, 2, &after_failure};
    failing.next = &unknown;
    forget_calls();
    EXPECT_EQ(set_muxes(&failing), 3U << 8);
    EXPECT_EQ(calls(), Calls{}) << "nothing behind an unknown bus is set";
}

TEST_F(MuxKinds, DryRunSparesTheI2cMuxesAlone) {
    set_debug_enable(1);
    MixedChain bus;
    mux_entry fourth{bus.gpio, 1, 2, 0, 1, nullptr};
    mux_entry third{bus.ipmi, 0x73, 3, 0, 8, &fourth};
    mux_entry second{bus.bmc, 0x72, 2, 0, 4, &third};
    mux_entry first{bus.i2c, 0x71, 1, 0, 2, &second};
    testing::internal::CaptureStdout();
    EXPECT_EQ(set_muxes(&first), 0U);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(calls(), (Calls{"ipmitool raw 0x38 0x3 0x4 0x72 0x2 0x4",
                              "ipmitool raw 0x3a 0x01 0x05 0x73 0x00 0x03 0x08",
                              "gpiotool --set --chip=1 --pin=2 --val=1"}));
}

}  // namespace
}  // namespace diag::test
