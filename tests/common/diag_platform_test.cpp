// SPDX-License-Identifier: MIT
#include "diags/common/src/diag_platform.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <sys/utsname.h>

#include "diag_util.h"

#include "tests/common/library_test.h"
#include "tests/common/process_state.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/temporary_folder.h"

using diag::test::error_text;
using diag::test::printed;
using diag::test::TemporaryFolder;

namespace {

const char *machine_name;  // what uname answers; null: it fails

}  // namespace

// In place of the system's: this program can be any machine.
extern "C" int uname(utsname *system) noexcept {
    if (machine_name == nullptr) {
        errno = EFAULT;
        return -1;
    }
    *system = {};
    std::strncpy(system->machine, machine_name, sizeof system->machine - 1);
    return 0;
}

namespace {

class Platform : public diag::test::LibraryTest {
  protected:
    Platform() { machine_name = "x86_64"; }
    ~Platform() override { machine_name = "x86_64"; }

    TemporaryFolder folder_;
};

struct Freed {
    void operator()(char *text) const { std::free(text); }
};
using Name = std::unique_ptr<char, Freed>;

TEST_F(Platform, KnowsArchitecturesByTheirFirstThreeCharacters) {
    struct Case {
        const char *machine;
        unsigned int code;
    };
    constexpr Case kCases[] = {{"x86_64", 3}, {"x86", 3}, {"x8664", 3},
                               {"armv7l", 4}, {"arm", 4}, {"armv8.1-m", 4}};
    for (const Case &test : kCases) {
        machine_name = test.machine;
        unsigned int arch = 99;
        EXPECT_EQ(get_cpu_arch(&arch), 0U);
        EXPECT_EQ(arch, test.code) << test.machine;
    }
}

TEST_F(Platform, OtherArchitecturesAreReported) {
    for (const char *machine : {"aarch64", "mips", "riscv64", "i686", "x8", "X86", "ar", ""}) {
        machine_name = machine;
        unsigned int arch = 99;
        uint32_t status = 0;
        EXPECT_EQ(printed([&] { status = get_cpu_arch(&arch); }),
                  error_text("get_cpu_arch", "Could not get valid cpu architecture\n"));
        EXPECT_EQ(status, DIAG_E_FAIL);
        EXPECT_EQ(arch, 99U) << machine;
    }
}

TEST_F(Platform, SystemThatDoesNotTellItsNameIsReported) {
    machine_name = nullptr;
    unsigned int arch = 99;
    uint32_t status = 0;
    EXPECT_EQ(printed([&] { status = get_cpu_arch(&arch); }),
              error_text("get_cpu_arch", "Could not get cpu architcture!\n"));
    EXPECT_EQ(status, DIAG_E_FAIL);
    EXPECT_EQ(arch, 99U);
}

using PlatformDeathTest = Platform;

TEST_F(PlatformDeathTest, MachineNameOf10CharactersEndsTheProcess) {
    unsigned int arch = 99;
    machine_name = "x86_64-v99";
    EXPECT_EXIT(get_cpu_arch(&arch), testing::KilledBySignal(SIGABRT), "get_cpu_arch");
    machine_name = "x86_64-v9";
    EXPECT_EQ(get_cpu_arch(&arch), 0U);
}

TEST_F(Platform, ConfigFileEndsInCfgOrElseXml) {
    const std::string base = folder_.file("board");
    folder_.write("board.xml", "");
    EXPECT_STREQ(Name(build_config_filename(base.c_str())).get(), (base + ".xml").c_str());
    folder_.write("board.cfg", "");
    EXPECT_STREQ(Name(build_config_filename(base.c_str())).get(), (base + ".cfg").c_str());
}

TEST_F(Platform, ConfigFileThatIsNotThereIsToldAtLevel1) {
    const std::string base = folder_.file("board");
    folder_.write("board.txt", "");
    const std::string message =
        "Config file (" + base + ") must be either end in a .xml or .cfg extension\n";
    EXPECT_EQ(printed([&] { EXPECT_EQ(build_config_filename(base.c_str()), nullptr); }), "");
    set_verb_level(1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(build_config_filename(base.c_str()), nullptr); }), message);
}

TEST_F(Platform, ConfigFileWithoutABaseNameIsReported) {
    EXPECT_EQ(printed([] { EXPECT_EQ(build_config_filename(nullptr), nullptr); }),
              error_text("build_config_filename",
                         "You must pass a valid string to use as the base of the filename without "
                         "extension\n"));
}

TEST_F(Platform, ConfigFileWithoutMemoryIsReported) {
    const std::string base = folder_.file("board");
    folder_.write("board.xml", "");
    const int failures = diag::test::for_each_failing_allocation([&](auto &watch) {
        char *name = nullptr;
        const std::string text = printed([&] {
            watch.start();
            name = build_config_filename(base.c_str());
            watch.stop();
        });
        if (watch.has_failed()) {
            EXPECT_EQ(name, nullptr);
            EXPECT_EQ(text, error_text("build_config_filename",
                                       "Could not allocate space for the config file name\n"));
        } else {
            EXPECT_STREQ(name, (base + ".xml").c_str());
        }
        std::free(name);
    });
    EXPECT_EQ(failures, 1);
}

TEST_F(Platform, ConfigFileLeavesNoDescriptorOpen) {
    const auto before = diag::test::open_descriptors();
    folder_.write("board.cfg", "");
    Name(build_config_filename(folder_.file("board").c_str())).reset();
    EXPECT_EQ(diag::test::open_descriptors(), before);
}

// Sets LD_LIBRARY_PATH, or unsets it, and puts it back.
class LibraryPath {
  public:
    explicit LibraryPath(const char *value) {
        const char *now = std::getenv(kName);
        was_set_ = now != nullptr;
        saved_ = was_set_ ? now : "";
        set(value);
    }
    ~LibraryPath() { set(was_set_ ? saved_.c_str() : nullptr); }
    LibraryPath(const LibraryPath &) = delete;
    LibraryPath &operator=(const LibraryPath &) = delete;

  private:
    static constexpr char kName[] = "LD_LIBRARY_PATH";
    static void set(const char *value) {
        if (value != nullptr) {
            setenv(kName, value, 1);
        } else {
            unsetenv(kName);
        }
    }
    bool was_set_;
    std::string saved_;
};

class DiagBin : public Platform {
  protected:
    DiagBin() {
        for (const char *name : {"lib", "bin"}) {
            std::filesystem::create_directory(folder_.path() / name);
        }
        folder_.write("bin/i2ctool", "");
    }
};

TEST_F(DiagBin, FileBesideTheLibraryIsFound) {
    const LibraryPath path(folder_.file("lib").c_str());
    const auto before = diag::test::open_descriptors();
    EXPECT_EQ(check_file_existance_in_diagbin("i2ctool"), 0U);
    EXPECT_EQ(check_file_existance_in_diagbin("gpiotool"), DIAG_E_INVAL);
    EXPECT_EQ(diag::test::open_descriptors(), before);
}

TEST_F(DiagBin, PathIsTakenWhole) {
    const LibraryPath path((folder_.file("lib") + ":/usr/lib").c_str());
    EXPECT_EQ(check_file_existance_in_diagbin("i2ctool"), DIAG_E_INVAL);
}

TEST_F(DiagBin, NothingIsFoundWithoutALibraryPath) {
    const LibraryPath path(nullptr);
    EXPECT_EQ(printed([] { EXPECT_EQ(check_file_existance_in_diagbin("sh"), DIAG_E_INVAL); }), "");
}

TEST_F(DiagBin, MissingNameIsToldAtLevel3) {
    const LibraryPath path(folder_.file("lib").c_str());
    set_verb_level(2);
    const auto check = [] { EXPECT_EQ(check_file_existance_in_diagbin(nullptr), DIAG_E_INVAL); };
    EXPECT_EQ(printed(check), "");
    set_verb_level(3);
    EXPECT_EQ(printed(check), "Input file pointer is NULL\n");
}

using DiagBinDeathTest = DiagBin;

TEST_F(DiagBinDeathTest, PathOf256CharactersEndsTheProcess) {
    const std::string rest = "/../bin/i2ctool";
    const LibraryPath fits(std::string(255 - rest.size(), 'x').c_str());
    EXPECT_EQ(check_file_existance_in_diagbin("i2ctool"), DIAG_E_INVAL);
    const LibraryPath too_long(std::string(256 - rest.size(), 'x').c_str());
    EXPECT_EXIT(check_file_existance_in_diagbin("i2ctool"), testing::KilledBySignal(SIGABRT),
                "check_file_existance_in_diagbin");
}

}  // namespace
