// SPDX-License-Identifier: MIT
// The exit statuses of diagctl and of every tool program: one table for people and scripts.
#ifndef DIAGS_EXIT_STATUS_H
#define DIAGS_EXIT_STATUS_H

namespace diag {

enum ExitStatus : int {
    kExitDone = 0,
    kExitNegative = 1,        // a test failed, something differs, a check found errors
    kExitUsage = 2,           // unusable command line
    kExitBadDescription = 3,  // bad description, board file or settings
    kExitNotPermitted = 4,
    kExitNoDevice = 5,  // no such device, or module absent
    kExitAccessFailed = 6,
    kExitBusy = 7,  // held by another
    kExitTimedOut = 8,
    kExitInterrupted = 130,
};

}  // namespace diag

#endif
