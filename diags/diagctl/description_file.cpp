// SPDX-License-Identifier: MIT
#include "diags/diagctl/description_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diags/diagctl/cli_error.h"

namespace diag::diagctl {
namespace {

[[noreturn]] void fail_with_errno(const std::string &path, int error) {
    fail(kExitBadDescription, "{}: {}", path, std::strerror(error));
}

class ReadOnlyFile {
  public:
    explicit ReadOnlyFile(const std::string &path)
        : path_(path), fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) {
            fail_with_errno(path_, errno);
        }
    }
    ~ReadOnlyFile() { close(fd_); }
    ReadOnlyFile(const ReadOnlyFile &) = delete;
    ReadOnlyFile &operator=(const ReadOnlyFile &) = delete;

    // Appends the next piece to `text`; false at the end.
    bool read_more(std::string &text) const {
        std::array<char, 65536> piece{};
        ssize_t got = 0;
        do {
            got = read(fd_, piece.data(), piece.size());
        } while (got < 0 && errno == EINTR);
        if (got < 0) {
            fail_with_errno(path_, errno);
        }
        text.append(piece.data(), static_cast<std::size_t>(got));
        return got > 0;
    }

  private:
    const std::string &path_;
    int fd_;
};

bool is_regular(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        fail_with_errno(path, errno);
    }
    if (S_ISDIR(status.st_mode)) {
        fail_with_errno(path, EISDIR);
    }
    return S_ISREG(status.st_mode);
}

}  // namespace

DescriptionFile read_description_file(const std::string &path) {
    DescriptionFile description;
    if (!is_regular(path)) {
        return description;
    }
    const ReadOnlyFile file(path);
    file.read_more(description.text);
    description.form = description::form_of(description.text);
    if (description.form == description::Form::kXml) {
        description.text.clear();
        return description;
    }
    while (file.read_more(description.text)) {
    }
    return description;
}

std::string_view without_header(std::string_view text) {
    constexpr std::string_view kDelimiter = "=====";
    if (text.starts_with(kDelimiter)) {
        return text;
    }
    const std::size_t end = text.find("\n" + std::string(kDelimiter));
    return end == text.npos ? std::string_view() : text.substr(end + 1);
}

MemoryFile::MemoryFile(std::string_view text) : fd_(memfd_create("description", MFD_CLOEXEC)) {
    while (fd_ >= 0 && !text.empty()) {
        const ssize_t written = write(fd_, text.data(), text.size());
        if (written < 0) {
            break;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    if (fd_ < 0 || !text.empty()) {
        const int error = errno;
        close(fd_);
        fail(kExitAccessFailed, "no memory for a description: {}", std::strerror(error));
    }
}

MemoryFile::~MemoryFile() {
    close(fd_);
}

std::string MemoryFile::path() const {
    return fmt::format("/proc/self/fd/{}", fd_);
}

}  // namespace diag::diagctl
