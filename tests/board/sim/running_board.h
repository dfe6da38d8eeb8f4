// SPDX-License-Identifier: MIT
// A simulated board that runs for the time of a test.
#ifndef TESTS_BOARD_SIM_RUNNING_BOARD_H
#define TESTS_BOARD_SIM_RUNNING_BOARD_H

#include <cstdint>
#include <string>
#include <vector>

#include "diags/board/sim/sim_board.h"
#include "tests/board/sim/tree_maker.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {

using Bytes = std::vector<uint8_t>;

class RunningBoard {
  public:
    // `settings` is the board file without its braces and description, for example
    // R"("chips": { "A": { "no_answer": true } })".
    explicit RunningBoard(const TreeMaker &maker, const std::string &settings = "");

    const std::string &path() const { return path_; }
    board::Board &board() { return board_; }

    // Raw bytes on the wire.
    board::Status write(unsigned bus, uint8_t address, const Bytes &bytes);
    board::Status transfer(unsigned bus, uint8_t address, const Bytes &bytes, Bytes *read);

    // The same for accesses that must succeed.
    Bytes read(unsigned bus, uint8_t address, const Bytes &number, size_t count);
    uint8_t read_byte(unsigned bus, uint8_t address, uint8_t number);

  private:
    TemporaryFolder folder_;
    std::string path_;
    board::sim::SimBoard board_;
};

}  // namespace diag::test

#endif
