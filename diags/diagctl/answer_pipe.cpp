// SPDX-License-Identifier: MIT
#include "diags/diagctl/answer_pipe.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/signals_blocked.h"

namespace diag::diagctl {
namespace {

constexpr std::size_t kMaxPath = 512;
constexpr const char kUsualFolder[] = "/tmp";
constexpr const char kFolderTemplate[] = "/diagctl.XXXXXX";
constexpr const char kFifoName[] = "/answer";

// Plain arrays: the handler of a signal removes what they name. Empty when there is nothing.
char folder_path[kMaxPath];
char fifo_path[kMaxPath + sizeof kFifoName];
volatile sig_atomic_t is_made = 0;

// The folder goes into a command line that is split at blanks and has an end.
bool is_usable(const char *folder) {
    return folder != nullptr && folder[0] == '/' && std::strpbrk(folder, " \t\r\n") == nullptr &&
           std::strlen(folder) + sizeof kFolderTemplate <= kMaxPath;
}

const char *parent_folder() {
    const char *chosen = std::getenv("TMPDIR");
    return is_usable(chosen) ? chosen : kUsualFolder;
}

}  // namespace

AnswerPipe::AnswerPipe() {
    // A signal between the making of the folder and the note that it is there would leave it
    // behind.
    const SignalsBlocked blocked;
    const char *parent = parent_folder();
    std::snprintf(folder_path, sizeof folder_path, "%s%s", parent, kFolderTemplate);
    if (mkdtemp(folder_path) == nullptr) {
        fail(kExitAccessFailed,
             "no folder for the answers of tools can be made in {}: {} (TMPDIR "
             "names another place)",
             parent, std::strerror(errno));
    }
    std::snprintf(fifo_path, sizeof fifo_path, "%s%s", folder_path, kFifoName);
    is_made = 1;
    path_ = fifo_path;
}

AnswerPipe::~AnswerPipe() {
    const SignalsBlocked blocked;
    remove_answer_pipe();
}

void remove_answer_pipe() {
    if (is_made != 0) {
        unlink(fifo_path);
        rmdir(folder_path);
        is_made = 0;
    }
}

}  // namespace diag::diagctl
