// SPDX-License-Identifier: MIT
#include "tests/common/device_tree/device_tree_test.h"

#include <cstdlib>
#include <libxml/xmlerror.h>

#include "diag_util.h"

#include "diags/common/src/device_tree/registers.h"
#include "tests/support/syslog_double.h"

namespace diag::test {

namespace {

void reset_state() {
    set_verb_level(0);
    set_log_level(0);
    set_debug_enable(0);
    set_config_debug_enable(0);
    reset_syslog();
    cursors = {};
}

void ignore_xml_error(void * /*context*/, const char * /*format*/, ...) {}

}  // namespace

DeviceTreeTest::DeviceTreeTest() {
    reset_state();
    xmlSetGenericErrorFunc(nullptr, ignore_xml_error);  // malformed files are part of the tests
}

DeviceTreeTest::~DeviceTreeTest() {
    xmlSetGenericErrorFunc(nullptr, nullptr);
    reset_state();
}

Chip::Chip() : node_(allocate_device_node(&tree_.head)) {}

uint32_t Chip::read_xml(std::string_view reg_element) {
    const XmlText text(reg_element);
    return parse_reg_config(nullptr, node_, 1, text.root());
}

uint32_t Chip::read_line(std::string line) {
    return parse_reg_config(line.data(), node_, 0, nullptr);
}

uint32_t Chip::read_lines(const std::vector<std::string> &lines) {
    for (const std::string &line : lines) {
        if (const uint32_t status = read_line(line); status != 0) {
            return status;
        }
    }
    return 0;
}

reg_def *Chip::reg(size_t index) {
    reg_list *element = at(node_->reg_list, index);
    return element != nullptr ? element->reg : nullptr;
}

bit_def *Chip::bit(size_t index) {
    reg_def *first = reg();
    return first != nullptr ? at(first->bits, index) : nullptr;
}

Mux::~Mux() {
    free_muxes(entry.next);
    std::free(entry.bus);
}

uint32_t Mux::read_xml(std::string_view content) {
    const XmlText text("<mux>" + std::string(content) + "</mux>");
    return parse_mux_xml(text.root(), &entry);
}

uint32_t Mux::read_text(std::string text) {
    return parse_mux_setting(&entry, text.data());
}

std::vector<reg_def *> registers_of(const reg_list *first) {
    std::vector<reg_def *> registers;
    for (; first != nullptr; first = first->next) {
        if (first->reg != nullptr) {
            registers.push_back(first->reg);
        }
    }
    return registers;
}

Messages logged_for_xml(const std::string &reg_element) {
    return logged_by([&] { Chip().read_xml(reg_element); });
}

Messages logged_for_lines(const std::vector<std::string> &lines) {
    return logged_by([&] { Chip().read_lines(lines); });
}

std::string repeat(std::string_view text, size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    while (times-- > 0) {
        result += text;
    }
    return result;
}

}  // namespace diag::test
