// SPDX-License-Identifier: MIT
// Loading the text form of a description: a header, then a block per device, then the register
// sections of optional modules.
#include <cerrno>
#include <cstring>

#include "device_tree.h"
#include "diag_util.h"

#include "diags/common/src/device_tree/chips.h"
#include "diags/common/src/device_tree/loader.h"
#include "diags/common/src/device_tree/registers.h"
#include "diags/common/src/lib/fields.h"
#include "diags/common/src/log.h"

namespace diag {

namespace {

constexpr char kFunction[] = "load_device_tree";
constexpr uint32_t kBadChip = 0xFFFFFFFFU;

class TextLoad {
  public:
    TextLoad(LineReader &reader, device_tree *head) : reader_(reader), head_(head), last_(head) {}

    uint32_t run() {
        while (char *line = reader_.next()) {
            if (is_delimiter(line)) {
                pass_delimiter();
            } else if (in_header_) {
                read_header(line);
            } else if (starts_with(line, "IOMTYPE")) {
                return modules_status_;
            } else if (const uint32_t status = read_device(line); status != 0) {
                return status;
            }
        }
        return reader_.status() != 0 ? reader_.status() : modules_status_;
    }

  private:
    void pass_delimiter() {
        DIAG_CONFIG_DEBUG(2, in_header_ ? "Found first Delimiter\n" : "Found End of Device\n");
        in_header_ = false;
        node_ = nullptr;
    }

    // Modules that cannot be read do not keep the chips of the file from being loaded.
    void read_header(const char *line) {
        if (!starts_with(line, "OPTIONAL_MODULE_SUPPORT") || digit_behind_colon(line) == 0) {
            DIAG_CONFIG_DEBUG(2, "Found header data\n %s\n", line);
            return;
        }
        const uint32_t status = load_optional_modules(reader_, line, head_, &last_);
        if (status != 0) {
            modules_status_ = status;
        }
    }

    // The first line of a block is the chip, the others are its registers.
    uint32_t read_device(char *line) {
        reader_.cut_line_feed();
        if (node_ == nullptr) {
            node_ = read_chip_line(head_, &last_, line);
            ends_ = {};
            return node_ != nullptr ? 0 : kBadChip;
        }
        const uint32_t status = read_register_line(*node_, ends_, line);
        if (status != 0) {
            // Out of memory or a bad line: errno itself may be that of a message on its way out.
            return DIAG_E_FAIL | (status == DIAG_E_NOMEM ? ENOMEM : 0U);
        }
        return 0;
    }

    LineReader &reader_;
    device_tree *head_;
    device_tree *last_;  // where the search for the end of the list starts
    bool in_header_ = true;
    device_node *node_ = nullptr;  // null between two blocks
    ListEnds ends_;
    uint32_t modules_status_ = 0;
};

}  // namespace

int digit_behind_colon(const char *line) {
    const char *colon = std::strchr(line, ':');
    const int digit = colon != nullptr ? colon[1] - '0' : -1;
    return digit >= 0 && digit <= 9 ? digit : -1;
}

uint32_t load_text(const char *path, device_tree *head) {
    LineReader reader(path);
    if (!reader.is_open()) {
        DIAG_ERROR_IN(kFunction, "Could not open Config File %s\n", path);
        return DIAG_E_INVAL;
    }
    device_tree lost_head{};  // nobody sees the chips that are loaded without a head
    return TextLoad(reader, head != nullptr ? head : &lost_head).run();
}

}  // namespace diag
