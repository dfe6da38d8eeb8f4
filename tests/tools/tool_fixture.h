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

// Arguments that are written in one line.
std::vector<std::string> split_words(const std::string &line);

class ToolFixture : public testing::Test {
  public:
    static ProgramResult run_with(const std::string &tool,
                                  const std::vector<std::string> &arguments,
                                  const std::vector<std::string> &environment);

  protected:
    ToolFixture();

    // Runs a tool on the fixture's board.
    ProgramResult run(const std::string &tool, const std::vector<std::string> &arguments) const;

    TemporaryFolder folder_;
    TreeMaker maker_;
    std::optional<RunningBoard> board_;
};

// Tests of one tool, whose arguments are written in one line as the library writes them.
class OneToolFixture : public ToolFixture {
  protected:
    explicit OneToolFixture(std::string tool) : tool_(std::move(tool)) {}

    ProgramResult run_line(const std::string &line) const;
    ProgramResult run_without_board(const std::string &line) const;

    // What a run prints that must succeed.
    std::string printed(const std::string &line) const;

    void written(const std::string &arguments) const;

    // What arrives in the FIFO of a caller.
    Bytes piped(const std::string &arguments) const;

    void expect_failure(const std::string &line, int status, const std::string &message) const;

    // What becomes of a run whose standard output takes nothing.
    ProgramResult run_to_full_device(const std::string &line) const;

  private:
    const std::string tool_;
};

}  // namespace diag::test

#endif
