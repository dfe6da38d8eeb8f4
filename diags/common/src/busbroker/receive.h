// SPDX-License-Identifier: MIT
// Receiving a client's datagrams. The receive thread does it; a caller that waits for an answer may
// take its turn meanwhile and receive the answer itself, which saves the request a change of
// threads.
#ifndef DIAGS_COMMON_SRC_BUSBROKER_RECEIVE_H
#define DIAGS_COMMON_SRC_BUSBROKER_RECEIVE_H

#include <chrono>
#include <pthread.h>

#include "busbroker.h"

namespace diag {

// A client whose receive thread runs. Lives on the stack of that thread. The receive fields of the
// client belong to whoever has the turn.
class Receiver {
  public:
    explicit Receiver(tool_info &client);
    Receiver(const Receiver &) = delete;
    Receiver &operator=(const Receiver &) = delete;
    ~Receiver();

    // The turn to receive, held until the end of the scope.
    class Turn {
      public:
        // A caller's: of a client whose datagrams go the way of this library alone, and if nobody
        // else has it.
        explicit Turn(const tool_info &client);
        // The receive thread's.
        explicit Turn(Receiver &receiver);
        Turn(const Turn &) = delete;
        Turn &operator=(const Turn &) = delete;
        ~Turn();

        explicit operator bool() const { return receiver_ != nullptr; }

        // Hands one datagram to the machine, if there is one. What receive_from_socket() answers.
        uint32_t receive();

        // The same, and waits for it. False when the socket has a failure to report, which is left
        // to the receive thread.
        bool receive_within(std::chrono::milliseconds at_most);

      private:
        Receiver *receiver_ = nullptr;
    };

    // Ends the process: a client without its daemon cannot go on.
    [[noreturn]] static void end_process(const tool_info &client);

  private:
    tool_info &client_;
    pthread_mutex_t turn_ = PTHREAD_MUTEX_INITIALIZER;
    Receiver *next_ = nullptr;
};

}  // namespace diag

#endif
