// SPDX-License-Identifier: MIT
#include "diags/diagctl/description.h"

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <map>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "diags/description/form.h"
#include "diags/description/free_device_tree.h"
#include "diags/diagctl/captured_output.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/description_check.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

struct DocumentDeleter {
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
using Document = std::unique_ptr<xmlDoc, DocumentDeleter>;

class ReadOnlyFile {
  public:
    explicit ReadOnlyFile(const std::string &path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) {
            fail(kExitBadDescription, "{}: {}", path, std::strerror(errno));
        }
    }
    ~ReadOnlyFile() { close(fd_); }
    ReadOnlyFile(const ReadOnlyFile &) = delete;
    ReadOnlyFile &operator=(const ReadOnlyFile &) = delete;
    int fd() const { return fd_; }

  private:
    int fd_;
};

void require_xml_file(const std::string &path) {
    // A pipe would lose what is looked at here, so only a regular file is opened.
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        fail(kExitBadDescription, "{}: {}", path, std::strerror(errno));
    }
    if (S_ISDIR(status.st_mode)) {
        fail(kExitBadDescription, "{}: {}", path, std::strerror(EISDIR));
    }
    if (!S_ISREG(status.st_mode)) {
        return;
    }
    const ReadOnlyFile file(path);
    std::array<char, 512> start{};
    const ssize_t got = read(file.fd(), start.data(), start.size());
    if (got < 0) {
        fail(kExitBadDescription, "{}: {}", path, std::strerror(errno));
    }
    const std::string_view text(start.data(), static_cast<std::size_t>(got));
    if (description::form_of(text) != description::Form::kXml) {
        fail(kExitBadDescription, "{}: only the XML form of a description can be read so far",
             path);
    }
}

// The parser reports one mistake several times over; only the first report names its place.
class FirstXmlError {
  public:
    FirstXmlError() { xmlSetStructuredErrorFunc(this, keep_first); }
    ~FirstXmlError() { xmlSetStructuredErrorFunc(nullptr, nullptr); }
    FirstXmlError(const FirstXmlError &) = delete;
    FirstXmlError &operator=(const FirstXmlError &) = delete;

    bool found() const { return !message_.empty(); }
    int line() const { return line_; }
    const std::string &message() const { return message_; }

  private:
    static void keep_first(void *self, xmlErrorPtr error) {
        auto *const that = static_cast<FirstXmlError *>(self);
        if (that->found() || error->level < XML_ERR_ERROR || error->message == nullptr) {
            return;
        }
        that->line_ = error->line;
        that->message_ = one_line(error->message);
    }

    int line_ = 0;
    std::string message_;
};

}  // namespace

Description::Description(const std::string &path, int verbosity) : path_(path) {
    require_xml_file(path_);
    try {
        load(verbosity);
        name_chips();
    } catch (...) {
        description::free_device_tree(head_);
        throw;
    }
}

Description::~Description() {
    description::free_device_tree(head_);
}

void Description::load(int verbosity) {
    std::uint8_t has_busbroker = 0;
    std::uint8_t has_opticstool = 0;
    socket_cfg socket{};
    xmlDoc *doc = nullptr;
    std::uint32_t status = 0;
    const FirstXmlError xml_error;
    const CapturedText said = call_library(verbosity, verbosity, [&] {
        status = load_device_tree(path_.c_str(), &head_, 1, &doc, &has_busbroker, &socket,
                                  &has_opticstool);
    });
    const Document document(doc);
    if (doc == nullptr && xml_error.found()) {
        fail(kExitBadDescription, "{}:{}: {}", path_, xml_error.line(), xml_error.message());
    }
    if (doc != nullptr) {
        if (const auto finding = find_description_error(*doc)) {
            fail(kExitBadDescription, "{}:{}: {}", path_, finding->line, finding->message);
        }
    }
    if (status != 0) {
        fail(kExitBadDescription, "{}: {}", path_,
             library_error(said.library, "the description cannot be loaded"));
    }
}

void Description::name_chips() {
    std::map<std::string, std::size_t> holders;
    for (const device_tree *element = &head_; element != nullptr; element = element->next) {
        if (element->node != nullptr) {
            chips_.push_back({element->node, one_line(element->node->name)});
            ++holders[chips_.back().label];
        }
    }
    std::map<std::string, std::size_t> numbers;
    for (Chip &chip : chips_) {
        const std::string name = chip.label;
        if (holders[name] > 1) {
            chip.label = fmt::format("{}#{}", name, ++numbers[name]);
        }
    }
}

}  // namespace diag::diagctl
