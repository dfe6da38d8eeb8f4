// SPDX-License-Identifier: MIT
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/file.h>
#include <sys/stat.h>

#include "tests/common/device_tree/optional_modules_test.h"

namespace diag::test {

namespace {

constexpr char kTools[][9] = {"lpctool", "i2ctool", "ipmitool"};

// The option with the address, as the tools are given it.
std::string address_option(uint32_t address, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "--addr=0x%0*x ", digits, address);
    return text;
}

std::string answer(uint8_t byte) {
    char text[64];
    std::snprintf(text, sizeof text, "printf '\\%03o' >\"$pipe\"; exit 0", byte);
    return text;
}

bool belongs_to_somebody_else(const char *path) {
    struct stat state {};
    return lstat(path, &state) == 0 && state.st_uid != geteuid() && geteuid() != 0;
}

}  // namespace

SlotTools::SlotTools() {
    const char *path = std::getenv("PATH");
    saved_path_ = path != nullptr ? path : "";
    setenv("PATH", (folder_.path().string() + ":/usr/bin:/bin").c_str(), 1);
    for (const char *tool : kTools) {
        write(tool);
    }
}

SlotTools::~SlotTools() {
    setenv("PATH", saved_path_.c_str(), 1);
}

void SlotTools::presence(uint32_t reg, uint8_t byte) {
    does("lpctool", address_option(reg, 8), answer(byte));
}

void SlotTools::card(uint32_t address, uint8_t type) {
    does("i2ctool", "--read*" + address_option(address, 2), answer(type));
}

void SlotTools::does(const std::string &tool, const std::string &text, const std::string &script) {
    auto &answers = answers_[tool];
    answers.insert(answers.begin(), {text, script});
    write(tool);
}

void SlotTools::is_missing(const std::string &tool) {
    std::filesystem::remove(folder_.file(tool));
}

std::vector<std::string> SlotTools::calls() const {
    std::vector<std::string> lines;
    if (!std::filesystem::exists(folder_.file("calls"))) {
        return lines;
    }
    std::istringstream stream(read_file(folder_.file("calls")));
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

void SlotTools::write(const std::string &tool) const {
    std::string script = "#!/bin/sh\necho \"" + tool + " $*\" >>'" + folder_.file("calls") +
                         "'\nfor word; do case $word in --pipe=*) pipe=${word#--pipe=};; esac; "
                         "done\ncase \"$*\" in\n";
    if (const auto answers = answers_.find(tool); answers != answers_.end()) {
        for (const auto &[text, action] : answers->second) {
            // Blanks separate the words of a pattern.
            std::string pattern;
            for (const char c : text) {
                pattern += c == ' ' ? "\" \"" : std::string(1, c);
            }
            script.append("*").append(pattern).append("*) ").append(action).append(";;\n");
        }
    }
    const std::string path = folder_.write(tool, script + "esac\nexit 0\n");
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

void OptionalModulesTest::SetUp() {
    for (const char *pipe : {"/tmp/pl_lpc_pipe", "/tmp/pl_i2c_pipe"}) {
        if (belongs_to_somebody_else(pipe)) {
            GTEST_SKIP() << pipe << " belongs to somebody else";
        }
    }
    lock_ = UniqueFd(open("/tmp", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    ASSERT_TRUE(lock_.valid());
    ASSERT_EQ(flock(lock_.get(), LOCK_EX), 0);
}

std::string slots_header(int slots, int card_types, const std::string &card_id) {
    return "OPTIONAL_MODULE_SUPPORT:" + std::to_string(slots) +
           "\nCARD_TYPE_SUPPORT:" + std::to_string(card_types) + "\n" + card_id + "\n";
}

std::string slot_line(const std::string &reg, const std::string &bit, const std::string &name,
                      const std::string &address) {
    return "Slot | LPC | " + reg + " | " + bit + " : C | FPGA | " + address + " | " + name +
           " | i2c | 3 | - | ID-" + name + "\n";
}

std::string chip_and_sections(int card_types) {
    std::string text = "=====\n" + chip_line("chip") + "R | 1\n=====\n";
    for (int type = 1; type <= card_types; type++) {
        const std::string digit = std::to_string(type);
        text.append("IOMTYPE ").append(digit).append("\nR | ").append(digit);
        text.append("1\n\nR | ").append(digit).append("2\n=====\n");
    }
    return text;
}

Messages logged_for_modules(const std::string &text) {
    Messages messages;
    for (const Message &message : logged_for_description(text)) {
        if (!message.text.starts_with("i2ctool") && !message.text.starts_with("ipmitool") &&
            message.text.find("bytes read from the fifo") == std::string::npos) {
            messages.push_back(message);
        }
    }
    return messages;
}

std::vector<uint32_t> offsets_of(const device_node *node) {
    std::vector<uint32_t> offsets;
    for (const reg_def *reg : registers_of(node->reg_list)) {
        offsets.push_back(reg->offset);
    }
    return offsets;
}

}  // namespace diag::test
