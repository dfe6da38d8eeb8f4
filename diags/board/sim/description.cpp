// SPDX-License-Identifier: MIT
#include "diags/board/sim/description.h"

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string_view>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "diags/board/sim/board_error.h"
#include "diags/board/sim/module_expansion.h"
#include "diags/description/form.h"
#include "diags/description/free_device_tree.h"
#include "diags/description/xml_complaint.h"

namespace diag::board::sim {
namespace {

// A file without a name, for a text that is to be loaded from a path.
class MemoryFile {
  public:
    explicit MemoryFile(std::string_view contents)
        : number_(memfd_create("description", MFD_CLOEXEC)) {
        while (number_ >= 0 && !contents.empty()) {
            const ssize_t count = write(number_, contents.data(), contents.size());
            if (count < 0) {
                close(number_);
                number_ = -1;
                return;
            }
            contents.remove_prefix(static_cast<size_t>(count));
        }
    }
    ~MemoryFile() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    bool is_open() const { return number_ >= 0; }
    std::string path() const { return "/proc/self/fd/" + std::to_string(number_); }

  private:
    int number_;
};

std::string read_all(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream contents;
    if (!file || (file.peek() != EOF && !(contents << file.rdbuf()))) {
        throw BoardError(kExitBadDescription, path + ": the board description cannot be read");
    }
    return contents.str();
}

}  // namespace

Description::Description(const BoardFile &board_file) {
    const std::string &path = board_file.description;
    const std::string text = read_all(path);
    if (description::form_of(text) == description::Form::kXml) {
        if (!board_file.slots.empty()) {
            refuse_slot(board_file, board_file.slots.front(),
                        "the description has no optional-module slots");
        }
        load(path, path, true);
        return;
    }
    Expansion expansion = expand_modules(text, board_file);
    slots_ = std::move(expansion.slots);
    const MemoryFile file(expansion.text);
    if (!file.is_open()) {
        throw BoardError(kExitAccessFailed, path + ": no memory to load it: " +
                                                std::generic_category().message(errno));
    }
    load(path, file.path(), false);
}

void Description::load(const std::string &path, const std::string &source, bool is_xml) {
    const description::XmlComplaint complaint;
    uint8_t broker = 0;
    uint8_t optics = 0;
    socket_cfg socket = {};
    const uint32_t status = load_device_tree(source.c_str(), &head_, is_xml ? 1 : 0, nullptr,
                                             &broker, &socket, &optics);
    if (status == 0 && complaint.text().empty()) {
        return;
    }
    description::free_device_tree(head_);
    char code[32];
    std::snprintf(code, sizeof code, " (status 0x%08x)", status);
    throw BoardError(kExitBadDescription, complaint.text().empty()
                                              ? path + ": not a usable board description" + code
                                              : path + ":" + complaint.text());
}

Description::~Description() {
    description::free_device_tree(head_);
}

}  // namespace diag::board::sim
