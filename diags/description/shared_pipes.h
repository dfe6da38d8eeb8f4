// SPDX-License-Identifier: MIT
// The pipes that the library makes under names of its own.
#ifndef DIAGS_DESCRIPTION_SHARED_PIPES_H
#define DIAGS_DESCRIPTION_SHARED_PIPES_H

namespace diag::description {

// Looking for optional modules and setting a mux in memory bring their answers through pipes of
// fixed names in /tmp. Two processes at it at the same time would take each other's answers, so
// they take turns: the object waits until no other process has one.
class SharedPipesTurn {
  public:
    SharedPipesTurn();
    ~SharedPipesTurn();
    SharedPipesTurn(const SharedPipesTurn &) = delete;
    SharedPipesTurn &operator=(const SharedPipesTurn &) = delete;

  private:
    int folder_;  // -1 without /tmp: the library then has the better word for it
};

// For a process that is about to end within a turn: removes the pipes that it leaves, which could
// be in the way of other users. Safe in a signal handler, and nothing without a turn.
void remove_shared_pipes();

}  // namespace diag::description

#endif
