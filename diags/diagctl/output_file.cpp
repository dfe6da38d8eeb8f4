// SPDX-License-Identifier: MIT
#include "diags/diagctl/output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/signals_blocked.h"

namespace diag::diagctl {
namespace {

constexpr mode_t kUsualMode = 0666;
constexpr mode_t kPermissions = 07777;

[[noreturn]] void fail_to_write(const std::string &path, int error) {
    fail(kExitAccessFailed, "{} cannot be written: {}", path, std::strerror(error));
}

class Descriptor {
  public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() { close_now(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    bool write_all(std::string_view data) const {
        while (!data.empty()) {
            const ssize_t written = write(fd_, data.data(), data.size());
            if (written < 0 && errno != EINTR) {
                return false;
            }
            data.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
        }
        return true;
    }

    // Some file systems tell only here that the data has not been taken.
    bool close_now() {
        const int fd = fd_;
        fd_ = -1;
        return fd < 0 || close(fd) == 0;
    }

  private:
    int fd_;
};

// A file of a name of its own in the folder of another, removed unless it takes that one's place.
class FileBeside {
  public:
    explicit FileBeside(const std::string &path)
        : path_(path + ".XXXXXX"), file_(mkostemp(path_.data(), O_CLOEXEC)) {}
    ~FileBeside() {
        if (is_there_) {
            unlink(path_.c_str());
        }
    }
    FileBeside(const FileBeside &) = delete;
    FileBeside &operator=(const FileBeside &) = delete;

    bool holds(std::string_view data, mode_t mode) {
        return file_.is_open() && file_.write_all(data) && fchmod(file_.fd(), mode) == 0 &&
               fsync(file_.fd()) == 0 && file_.close_now();
    }

    bool replaces(const std::string &path) {
        const bool replaced = rename(path_.c_str(), path.c_str()) == 0;
        is_there_ = !replaced;
        return replaced;
    }

  private:
    std::string path_;
    Descriptor file_;
    bool is_there_ = file_.is_open();
};

std::optional<struct stat> status_of(const std::string &path) {
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        return status;
    }
    return std::nullopt;
}

mode_t usual_mode() {
    const mode_t mask = umask(0);
    umask(mask);
    return kUsualMode & ~mask;
}

// The file itself, where `path` is a link to it.
std::string real_path(const std::string &path) {
    const std::unique_ptr<char, void (*)(void *)> real(realpath(path.c_str(), nullptr), std::free);
    return real != nullptr ? real.get() : path;
}

void write_directly(const std::string &path, std::string_view data) {
    Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    if (!file.is_open() || !file.write_all(data) || !file.close_now()) {
        fail_to_write(path, errno);
    }
}

}  // namespace

void write_output_file(const std::string &path, std::string_view data) {
    const auto existing = status_of(path);
    if (existing && !S_ISREG(existing->st_mode)) {
        write_directly(path, data);
        return;
    }
    if (existing && access(path.c_str(), W_OK) != 0) {
        fail_to_write(path, errno);
    }
    const SignalsBlocked blocked;
    const std::string place = real_path(path);
    FileBeside file(place);
    if (!file.holds(data, existing ? existing->st_mode & kPermissions : usual_mode()) ||
        !file.replaces(place)) {
        fail_to_write(path, errno);
    }
}

}  // namespace diag::diagctl
