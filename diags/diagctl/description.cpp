// SPDX-License-Identifier: MIT
#include "diags/diagctl/description.h"

#include <cstdint>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <map>
#include <memory>
#include <optional>
#include <string_view>

#include "diags/description/free_device_tree.h"
#include "diags/description/shared_pipes.h"
#include "diags/diagctl/captured_output.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/description_check.h"
#include "diags/diagctl/description_file.h"
#include "diags/diagctl/interruption.h"
#include "diags/diagctl/library_call.h"
#include "diags/diagctl/text.h"
#include "diags/diagctl/text_description_check.h"

namespace diag::diagctl {
namespace {

struct DocumentDeleter {
    void operator()(xmlDoc *doc) const { xmlFreeDoc(doc); }
};
using Document = std::unique_ptr<xmlDoc, DocumentDeleter>;

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

struct LoadedText {
    std::uint32_t status = 0;
    std::string messages;  // of the library
};

LoadedText load_lines(const std::string &path, device_tree &head, int verbosity) {
    LoadedText loaded;
    std::uint8_t has_busbroker = 0;
    loaded.messages = call_library(verbosity, verbosity, [&] {
                          loaded.status = load_device_tree(path.c_str(), &head, 0, nullptr,
                                                           &has_busbroker, nullptr, nullptr);
                      }).library;
    return loaded;
}

}  // namespace

Description::Description(const std::string &path, int verbosity, const ModuleSearch &search)
    : path_(path) {
    const DescriptionFile file = read_description_file(path_);
    try {
        if (file.form == description::Form::kXml) {
            load_xml(verbosity);
        } else {
            load_text(file.text, verbosity, search);
        }
        name_chips();
    } catch (...) {
        description::free_device_tree(head_);
        throw;
    }
}

Description::~Description() {
    description::free_device_tree(head_);
}

void Description::load_xml(int verbosity) {
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

void Description::load_text(const std::string &text, int verbosity, const ModuleSearch &search) {
    const TextDescriptionFacts facts = check_text_description(text);
    if (facts.error) {
        fail(kExitBadDescription, "{}:{}: {}", path_, facts.error->line, facts.error->message);
    }
    has_modules_ = facts.has_modules;
    if (has_modules_ && search.allowed) {
        load_with_modules(verbosity, search);
        return;
    }
    // Nothing of the header is needed then.
    const MemoryFile devices(without_header(text));
    const LoadedText loaded = load_lines(devices.path(), head_, verbosity);
    if (loaded.status != 0) {
        fail(kExitBadDescription, "{}: {}", path_,
             library_error(loaded.messages, "the description cannot be loaded"));
    }
    if (has_modules_) {
        remarks_.push_back(
            fmt::format("{}: optional modules are not looked for {}", path_, search.circumstances));
    }
}

void Description::load_with_modules(int verbosity, const ModuleSearch &search) {
    if (search.prepare) {
        search.prepare();
    }
    const description::SharedPipesTurn turn;
    InterruptWatch watch;
    const LoadedText loaded = load_lines(path_, head_, verbosity);
    if (watch.interrupted()) {
        fail(kExitInterrupted, "interrupted");
    }
    note_modules(loaded.status, loaded.messages, verbosity);
}

// The lines have been checked, so what has failed is the search: everything else has been loaded.
void Description::note_modules(std::uint32_t status, const std::string &library, int verbosity) {
    constexpr std::string_view kSilentCard = "IOM Slot ";
    for (const std::string &line : lines_starting(library, kSilentCard)) {
        remarks_.push_back(fmt::format("{}: {}", path_, line));
    }
    if (status != 0) {
        // With more messages, the last one may be about something else.
        remarks_.push_back(fmt::format("{}: optional modules could not be read: {}", path_,
                                       verbosity == 0 ? last_line(library) : "see the messages"));
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
