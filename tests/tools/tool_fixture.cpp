// SPDX-License-Identifier: MIT
#include "tests/tools/tool_fixture.h"

#include <fcntl.h>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

#include "diags/exit_status.h"

namespace diag::test {

OpenFifo::OpenFifo(const std::string &path) : descriptor_(-1) {
    if (mkfifo(path.c_str(), 0600) == 0) {
        descriptor_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    }
    if (descriptor_ < 0) {
        throw std::runtime_error("cannot make a FIFO at " + path);
    }
}

OpenFifo::~OpenFifo() {
    close(descriptor_);
}

Bytes OpenFifo::read_all() const {
    Bytes bytes(0x20000);
    const ssize_t count = read(descriptor_, bytes.data(), bytes.size());
    bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    return bytes;
}

void OpenFifo::fill_up() const {
    const Bytes some(4096);
    while (write(descriptor_, some.data(), some.size()) > 0) {
    }
}

namespace {

// A CPLD on bus 1, and on bus 2 two FPGAs with register numbers of two bytes, one of either order.
void add_i2c_chips(TreeMaker *maker) {
    device_node &cpld = maker->chip("CPLD", 1, 0x31);
    maker->reg(cpld, "ID", 0, 8, DIAG_ACCESS_RO).def_val = 0xA5;
    maker->reg(cpld, "SCRATCH", 2);
    maker->reg(cpld, "STATUS", 3, 8, DIAG_ACCESS_RC).def_val = 0x81;
    maker->reg(cpld, "WIDE", 4, 16).def_val = 0x1234;
    maker->reg(cpld, "BLOCK", 0x10).length = 0x80;
    device_node &fpga = maker->chip("FPGA", 2, 0x40);
    fpga.offset_len = 16;
    maker->reg(fpga, "ID", 0x0102, 16, DIAG_ACCESS_RW).def_val = 0xBEEF;
    maker->reg(fpga, "BLOCK", 0x0200).length = 0x4000;
    device_node &little = maker->chip("LITTLE", 2, 0x41);
    little.offset_len = 16;
    little.reg_le = 1;
    maker->reg(little, "ID", 0x0102, 16, DIAG_ACCESS_RW).def_val = 0xCAFE;
}

// A PLD on LPC, a PCI function, registers in memory, and an EEPROM behind the controller.
void add_other_chips(TreeMaker *maker) {
    device_node &pld = maker->chip("PLD", 0, 0);
    pld.bus_type = DIAG_BUS_LPC;
    pld.address = 0x1200;
    maker->reg(pld, "LONG", 0, 32).def_val = 0x12345678;
    maker->reg(pld, "STATUS", 4, 8, DIAG_ACCESS_RC).def_val = 0x81;
    maker->reg(pld, "SCRATCH", 5);
    maker->reg(pld, "WIDE", 6, 16);
    device_node &function = maker->chip("BRIDGE", 0, 0);
    function.bus_type = DIAG_BUS_PCI;
    function.pci_dev = 31;
    function.pci_func = 3;
    maker->reg(function, "ID", 0, 32, DIAG_ACCESS_RO).def_val = 0x8C108086;
    maker->reg(function, "STATUS", 6, 8, DIAG_ACCESS_RC).def_val = 0x10;
    maker->reg(function, "SCRATCH", 0x40).length = 16;
    device_node &window = maker->chip("WINDOW", 0, 0);
    window.bus_type = DIAG_BUS_MEM;
    window.address = 0xFE000000;
    maker->reg(window, "ID", 0, 32).def_val = 0xDEADBEEF;
    maker->reg(window, "STATUS", 4, 8, DIAG_ACCESS_RC).def_val = 0x81;
    device_node &eeprom = maker->chip("EEPROM", 3, 0x50);
    eeprom.bus_type = DIAG_BUS_BMC;
    maker->reg(eeprom, "BLOCK", 0).length = 0x100;
}

constexpr const char *kSettings = R"(
    "gpio": { "0": { "3": 1, "4": 0 } },
    "lpc": [ { "address": "0x20000", "size": 65536, "bytes": [1, 2, 3, 4] },
             { "address": "0xfffffff0", "size": 16 } ],
    "memory": [ { "address": "0x1000", "size": 64, "bytes": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10] },
                { "address": "0x123456789abc0", "size": 65536 } ],
    "oem_registers": { "0x1234": "0x01020304" },
    "nvram": { "verbosity_override": true, "verbosity": 2 })";

}  // namespace

ToolFixture::ToolFixture() {
    add_i2c_chips(&maker_);
    add_other_chips(&maker_);
    board_.emplace(maker_, kSettings);
}

ProgramResult ToolFixture::run(const std::string &tool,
                               const std::vector<std::string> &arguments) const {
    return run_with(tool, arguments, {"DIAG_BOARD=" + board_->path()});
}

ProgramResult ToolFixture::run_with(const std::string &tool,
                                    const std::vector<std::string> &arguments,
                                    const std::vector<std::string> &environment) {
    std::vector<std::string> command = {DIAG_TOOLS_DIR "/" + tool};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return run_program(command, environment);
}

std::vector<std::string> split_words(const std::string &line) {
    std::istringstream words(line);
    return {std::istream_iterator<std::string>(words), {}};
}

ProgramResult OneToolFixture::run_without_board(const std::string &line) const {
    return run_with(tool_, split_words(line), {"DIAG_BOARD="});
}

ProgramResult OneToolFixture::run_line(const std::string &line) const {
    return run(tool_, split_words(line));
}

std::string OneToolFixture::printed(const std::string &line) const {
    const ProgramResult result = run_line(line);
    EXPECT_EQ(result.status, kExitDone) << line;
    EXPECT_EQ(result.errors, "") << line;
    return result.output;
}

void OneToolFixture::written(const std::string &arguments) const {
    EXPECT_EQ(printed("--write " + arguments), "");
}

Bytes OneToolFixture::piped(const std::string &arguments) const {
    const std::string path = folder_.file("fifo");
    const OpenFifo fifo(path);
    EXPECT_EQ(printed("--read --pipe=" + path + " " + arguments), "");
    std::filesystem::remove(path);
    return fifo.read_all();
}

void OneToolFixture::expect_failure(const std::string &line, int status,
                                    const std::string &message) const {
    const ProgramResult result = run_line(line);
    EXPECT_EQ(result.status, status) << line;
    EXPECT_EQ(result.errors,
              std::filesystem::path(tool_).filename().string() + ": " + message + "\n")
        << line;
    EXPECT_EQ(result.output, "") << line;
}

ProgramResult OneToolFixture::run_to_full_device(const std::string &line) const {
    const std::string command = "exec " DIAG_TOOLS_DIR "/" + tool_ + " " + line + " >/dev/full";
    return run_program({"/bin/sh", "-c", command}, {"DIAG_BOARD=" + board_->path()});
}

}  // namespace diag::test
