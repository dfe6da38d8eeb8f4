// SPDX-License-Identifier: MIT
// Small text services: trimming in place, comparing, and the padding of console tables.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string_view>

#include "diag_util.h"

#include "diags/common/src/trim.h"

namespace {

int fold(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return std::isupper(byte) != 0 ? std::tolower(byte) : byte;
}

char *delete_all(char *text, char unwanted) {
    char *end = std::remove(text, text + std::strlen(text), unwanted);
    *end = '\0';
    return text;
}

// The longest run that fillWith hands out.
constexpr int kFillLength = 170;

struct Fill {
    char c;
    const char *text;
};

#define DIAG_TIMES_8(c) c c c c c c c c
#define DIAG_TIMES_21(c) DIAG_TIMES_8(c) DIAG_TIMES_8(c) c c c c c
#define DIAG_TIMES_168(c) DIAG_TIMES_8(DIAG_TIMES_21(c))
#define DIAG_TIMES_170(c) DIAG_TIMES_168(c) c c

// '_' and '|' are short of the others by one and two: console tables are laid out around the
// columns that are missing, so it stays.
constexpr Fill kFills[] = {
    {'+', DIAG_TIMES_170("+")}, {'-', DIAG_TIMES_170("-")}, {'*', DIAG_TIMES_170("*")},
    {'=', DIAG_TIMES_170("=")}, {'.', DIAG_TIMES_170(".")}, {'_', DIAG_TIMES_168("_") "_"},
    {'|', DIAG_TIMES_168("|")}, {' ', DIAG_TIMES_170(" ")},
};

#undef DIAG_TIMES_170
#undef DIAG_TIMES_168
#undef DIAG_TIMES_21
#undef DIAG_TIMES_8

}  // namespace

bool is_printable(char c) {
    return c >= 0x20 && c <= 0x7E;
}

char *remove_tabs(char *text) {
    return delete_all(text, '\t');
}

int trim_all_spaces(char *text) {
    delete_all(text, ' ');
    return 0;
}

void diag::trim_spaces(char *text, size_t length) {
    size_t leading = 0;
    while (text[leading] == ' ') {
        leading++;
    }
    if (text[leading] == '\0') {
        text[0] = '\0';
        return;
    }
    size_t last = length - 1;
    while (text[last] == ' ') {
        last--;
    }
    text[last + 1] = '\0';
    if (leading > 0) {
        // The NUL goes to the old place of the last character, not behind the moved text: after
        // two or more leading blanks leftovers follow. Descriptions rely on the result.
        std::memmove(text, text + leading, last - leading + 1);
        text[last] = '\0';
    }
}

void trim_spaces(char *text) {
    diag::trim_spaces(text, std::strlen(text));
}

char *skip_ws(char **text) {
    while (std::isspace(static_cast<unsigned char>(**text)) != 0) {
        ++*text;
    }
    return *text;
}

int strncmpi(const char *a, const char *b, unsigned int n) {
    if (*a == '\0' || *b == '\0') {
        return n == 0 || *a == *b ? 0 : 1;
    }
    for (unsigned int compared = 0; compared < n;) {
        if (fold(a[compared]) != fold(b[compared])) {
            return -1;
        }
        compared++;
        const bool a_ends = a[compared] == '\0';
        const bool b_ends = b[compared] == '\0';
        if (a_ends || b_ends) {
            return compared == n || (a_ends && b_ends) ? 0 : 1;
        }
    }
    // One character more than asked, and this one exactly: "abc" and "abd" differ for n = 2.
    return a[n] == b[n] ? 0 : 1;
}

const char *fillWith(char c, int count) {
    const auto *found = std::find_if(std::begin(kFills), std::end(kFills),
                                     [c](const Fill &fill) { return fill.c == c; });
    const std::string_view text =
        found != std::end(kFills) ? found->text : fillWith(' ', kFillLength);
    const int skipped = count < 1 || count > kFillLength ? kFillLength : kFillLength - count;
    return text.data() + std::min(static_cast<size_t>(skipped), text.size());
}
