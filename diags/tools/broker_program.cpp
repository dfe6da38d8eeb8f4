// SPDX-License-Identifier: MIT
#include "diags/tools/broker_program.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "diags/tools/report.h"

#ifndef DIAG_BROKER_CLIENT_FOLDER
#error "DIAG_BROKER_CLIENT_FOLDER and DIAG_BROKER_CLIENT_FULL_FOLDER are to be defined by the build"
#endif

namespace diag::tools {
namespace {

constexpr char kProgram[] = "busbroker_client";

// From the folder of the tools: of a build tree, of an installation wherever it has been moved to,
// and the place that the build was made for.
constexpr const char *kFolders[] = {"broker", DIAG_BROKER_CLIENT_FOLDER,
                                    DIAG_BROKER_CLIENT_FULL_FOLDER};

// The folder that this program runs from; the root for a program that cannot tell.
void find_own_folder(char (&folder)[PATH_MAX]) {
    const ssize_t length = readlink("/proc/self/exe", folder, sizeof folder - 1);
    folder[length > 0 ? length : 0] = '\0';
    char *const last = std::strrchr(folder, '/');
    *(last != nullptr ? last : folder) = '\0';
}

}  // namespace

ExitStatus become_broker_client(const ToolCommand &command) {
    char own_folder[PATH_MAX];
    find_own_folder(own_folder);
    char path[2 * PATH_MAX] = "";
    int error = ENOENT;
    command.arguments[0] = const_cast<char *>(command.tool);  // the client's word for what it is
    for (const char *folder : kFolders) {
        if (folder[0] == '/') {
            std::snprintf(path, sizeof path, "%s/%s", folder, kProgram);
        } else {
            std::snprintf(path, sizeof path, "%s/%s/%s", own_folder, folder, kProgram);
        }
        execv(path, command.arguments);
        error = errno == ENOENT ? error : errno;
    }
    return report(kExitNoDevice, "%s, the way to the bus broker, cannot be started: %s", kProgram,
                  std::strerror(error));
}

}  // namespace diag::tools
