// SPDX-License-Identifier: MIT
#include "tests/tools/tool_fixture.h"

#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

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

// A CPLD on bus 1, and on bus 2 two FPGAs with register numbers of two bytes, one of either order.
ToolFixture::ToolFixture() {
    device_node &cpld = maker_.chip("CPLD", 1, 0x31);
    maker_.reg(cpld, "ID", 0, 8, DIAG_ACCESS_RO).def_val = 0xA5;
    maker_.reg(cpld, "SCRATCH", 2);
    maker_.reg(cpld, "STATUS", 3, 8, DIAG_ACCESS_RC).def_val = 0x81;
    maker_.reg(cpld, "WIDE", 4, 16).def_val = 0x1234;
    maker_.reg(cpld, "BLOCK", 0x10).length = 0x80;
    device_node &fpga = maker_.chip("FPGA", 2, 0x40);
    fpga.offset_len = 16;
    maker_.reg(fpga, "ID", 0x0102, 16, DIAG_ACCESS_RW).def_val = 0xBEEF;
    maker_.reg(fpga, "BLOCK", 0x0200).length = 0x4000;
    device_node &little = maker_.chip("LITTLE", 2, 0x41);
    little.offset_len = 16;
    little.reg_le = 1;
    maker_.reg(little, "ID", 0x0102, 16, DIAG_ACCESS_RW).def_val = 0xCAFE;
    board_.emplace(maker_, R"("nvram": {"verbosity_override": true, "verbosity": 2})");
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

}  // namespace diag::test
