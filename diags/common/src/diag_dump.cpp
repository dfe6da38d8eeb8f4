// SPDX-License-Identifier: MIT
// The hexadecimal dump.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "diag_util.h"

namespace {

constexpr unsigned int kLineLength = 16;

// The text of one group of items, cut when a caller asks for groups that do not fit it.
class GroupText {
  public:
    GroupText() { clear(); }

    void clear() {
        std::memcpy(text_, "0x", 3);
        length_ = 2;
    }

    void append(const char *item) {
        const size_t room = sizeof text_ - 1 - length_;
        const size_t taken = std::min(std::strlen(item), room);
        std::memcpy(text_ + length_, item, taken);
        length_ += taken;
        text_[length_] = '\0';
    }

    const char *text() const { return text_; }

  private:
    char text_[128];
    size_t length_;
};

// The item as text. 16-bit items are signed, so those with the top bit set show eight digits.
void format_item(const uint8_t *data, uint64_t available, uint8_t item_size, char (&text)[16]) {
    uint8_t bytes[4] = {};  // beyond the data: 0
    std::memcpy(bytes, data, std::min<uint64_t>(available, item_size));
    if (item_size == 1) {
        std::snprintf(text, sizeof text, "%02x", bytes[0]);
    } else if (item_size == 2) {
        int16_t item = 0;
        std::memcpy(&item, bytes, sizeof item);
        std::snprintf(text, sizeof text, "%04x", static_cast<unsigned int>(int{item}));
    } else {
        uint32_t item = 0;
        std::memcpy(&item, bytes, sizeof item);
        std::snprintf(text, sizeof text, "%04x", item);
    }
}

struct Dump {
    const uint8_t *data;
    unsigned int length;
    unsigned int items_per_group;
    uint8_t item_size;
    bool show_address;
    int level;

    GroupText group{};
    unsigned int in_group = 0;
    uint64_t item_index = 0;
    uint64_t characters_shown = 0;

    void print_item() {
        char item[16];
        const uint64_t available = item_index < length ? length - item_index : 0;
        format_item(data + item_index, available, item_size, item);
        item_index++;
        in_group++;
        group.append(item);
        if (in_group == items_per_group) {
            group.append(item_size == 1 ? " " : "\t");
            diag_print(level, "%s", group.text());
            group.clear();
            in_group = 0;
        }
    }

    void print_characters(const uint8_t *line) {
        diag_print(level, " || ");
        for (unsigned int i = 0; i < kLineLength && characters_shown < length; i++) {
            const char c = static_cast<char>(line[i]);
            diag_print(level, "%c", is_printable(c) ? c : '.');
            characters_shown++;
        }
    }

    // One line from `offset` on; answers the offset of the next.
    uint64_t print_line(uint64_t offset, unsigned int base_address) {
        const uint8_t *line = data + item_index;
        const uint64_t first = offset;
        if (show_address) {
            diag_print(level, "[%08x]: ", static_cast<unsigned int>(offset) + base_address);
        }
        while (offset < length && offset - first < kLineLength) {
            print_item();
            offset += item_size;
        }
        if (show_address && item_size == 1) {
            print_characters(line);
        }
        if (offset % kLineLength == 0) {
            diag_print(level, "\n");
        }
        return offset;
    }
};

}  // namespace

void dump_hex(const uint8_t *data, int group_bits, unsigned int length, unsigned int base_address,
              int show_address, uint8_t item_size, int level) {
    const bool known_size = item_size == 1 || item_size == 2 || item_size == 4;
    Dump dump{data,
              length,
              static_cast<unsigned int>(std::max(group_bits / 8, 1)),
              item_size,
              show_address != 0,
              level};
    for (uint64_t offset = 0; known_size && offset < length;) {
        offset = dump.print_line(offset, base_address);
    }
    diag_print(level, "\n");
}
