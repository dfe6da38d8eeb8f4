// SPDX-License-Identifier: MIT
#ifndef DIAGS_TOOLS_BUSBROKER_DAEMONISE_H
#define DIAGS_TOOLS_BUSBROKER_DAEMONISE_H

namespace diag::daemon {

// The first files that a program opens would take the places of closed standard descriptors, and
// messages would go into them.
void open_closed_standard_descriptors();

// Whatever can fail is to be done before: the socket is bound, the board is open.
enum class Role { kParent, kDaemon };

// Leaves terminal, session and folder behind. The parent is to end with status 0. Throws
// StartError, in the parent alone.
Role daemonise();

}  // namespace diag::daemon

#endif
