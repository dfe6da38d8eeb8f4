// SPDX-License-Identifier: MIT
// A simulated board, and the tools as their callers run them.
#ifndef TESTS_TOOLS_TOOL_FIXTURE_H
#define TESTS_TOOLS_TOOL_FIXTURE_H

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "tests/board/sim/running_board.h"
#include "tests/support/run_program.h"

namespace diag::test {

// A FIFO that is open for reading, as the callers of a tool have it.
class OpenFifo {
  public:
    explicit OpenFifo(const std::string &path);
    ~OpenFifo();
    OpenFifo(const OpenFifo &) = delete;
    OpenFifo &operator=(const OpenFifo &) = delete;

    // What is in it, without waiting.
    Bytes read_all() const;

    // Leaves room for no more bytes.
    void fill_up() const;

  private:
    int descriptor_;
};

class ToolFixture : public testing::Test {
  protected:
    ToolFixture();

    // Runs a tool on the fixture's board.
    ProgramResult run(const std::string &tool, const std::vector<std::string> &arguments) const;
    static ProgramResult run_with(const std::string &tool,
                                  const std::vector<std::string> &arguments,
                                  const std::vector<std::string> &environment);

    TemporaryFolder folder_;
    TreeMaker maker_;
    std::optional<RunningBoard> board_;
};

}  // namespace diag::test

#endif
