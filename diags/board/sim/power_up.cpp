// SPDX-License-Identifier: MIT
#include "diags/board/sim/power_up.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "diags/board/sim/board_file.h"
#include "diags/board/sim/builder.h"
#include "diags/board/sim/description.h"
#include "diags/board/sim/state.h"

namespace diag::board::sim {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(int error, const std::string &path) {
    const bool refused = error == EACCES || error == EPERM || error == EROFS;
    throw BoardError(refused ? kExitNotPermitted : kExitAccessFailed,
                     path + ": " + std::generic_category().message(error));
}

// FNV-1a with 64 bits.
class Fingerprint {
  public:
    void add(std::string_view bytes) {
        for (char byte : bytes) {
            value_ = (value_ ^ static_cast<unsigned char>(byte)) * 0x100000001B3U;
        }
    }
    uint64_t value() const { return value_; }

  private:
    uint64_t value_ = 0xCBF29CE484222325U;
};

std::string read_file(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream contents;
    if (!file || (file.peek() != EOF && !(contents << file.rdbuf()))) {
        throw BoardError(kExitBadDescription, path + ": cannot be read");
    }
    return contents.str();
}

uint64_t fingerprint_of(const std::string &board_text, const BoardFile &board_file) {
    Fingerprint fingerprint;
    fingerprint.add(std::to_string(kLayoutVersion) + ":" + std::to_string(board_text.size()) + ":");
    fingerprint.add(board_text);
    fingerprint.add(read_file(board_file.description));
    return fingerprint.value();
}

fs::path state_folder() {
    if (const char *folder = std::getenv("DIAG_BOARD_DIR"); folder != nullptr && *folder != '\0') {
        return folder;
    }
    if (const char *runtime = std::getenv("XDG_RUNTIME_DIR");
        runtime != nullptr && *runtime != '\0') {
        return fs::path(runtime) / "diag-board";
    }
    return "/tmp/diag-board-" + std::to_string(geteuid());
}

class File {
  public:
    explicit File(int number) : number_(number) {}
    ~File() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    int get() const { return number_; }

  private:
    int number_;
};

// In a folder that others can write to, somebody else's file could be the board.
void make_own_folder(const fs::path &folder) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        fail(errno, folder);
    }
    const File opened(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat info;
    if (opened.get() < 0 || fstat(opened.get(), &info) != 0) {
        fail(errno, folder);
    }
    if (info.st_uid != geteuid() || (info.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
        throw BoardError(kExitNotPermitted,
                         folder.string() +
                             ": the folder must be this user's and nobody else's to "
                             "write to; set DIAG_BOARD_DIR to another one");
    }
}

// Held while a state is looked at and built; ends with its owner.
class FolderLock {
  public:
    explicit FolderLock(const fs::path &path)
        : file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
        if (file_.get() < 0) {
            fail(errno, path);
        }
        while (flock(file_.get(), LOCK_EX) != 0) {
            if (errno != EINTR) {
                fail(errno, path);
            }
        }
    }

  private:
    File file_;
};

bool is_running(const fs::path &path, uint64_t fingerprint) {
    State state;
    return state.open(path.c_str()) == Status::kOk && state.fingerprint() == fingerprint;
}

void build(const fs::path &path, const BoardFile &board_file, uint64_t fingerprint) {
    const Description description(board_file);
    StateImage image = build_state(description.tree(), board_file, description.slots());
    image.fingerprint = fingerprint;
    const fs::path unfinished = path.string() + ".new";
    unlink(unfinished.c_str());  // left by a builder that was killed; the folder is locked
    image.write_to(unfinished);
    if (rename(unfinished.c_str(), path.c_str()) != 0) {
        fail(errno, path);
    }
}

std::string name_of(const fs::path &board_file) {
    Fingerprint hash;
    hash.add(board_file.string());
    char name[32];
    std::snprintf(name, sizeof name, "%016llx", static_cast<unsigned long long>(hash.value()));
    return board_file.stem().string() + "-" + name;
}

}  // namespace

std::string power_up(const std::string &board_path, bool fresh) {
    const std::string text = read_file(board_path);
    const BoardFile board_file = parse_board_file(board_path, text);
    const uint64_t fingerprint = fingerprint_of(text, board_file);
    const fs::path folder = state_folder();
    make_own_folder(folder);
    std::error_code error;
    const std::string name = name_of(fs::canonical(board_path, error));
    if (error) {
        fail(error.value(), board_path);
    }
    const FolderLock lock(folder / (name + ".lock"));
    const fs::path state = folder / (name + ".state");
    if (fresh || !is_running(state, fingerprint)) {
        build(state, board_file, fingerprint);
    }
    return fs::absolute(state).string();
}

}  // namespace diag::board::sim
