// SPDX-License-Identifier: MIT
// Runs busbroker on the example boards, with a folder of its own for their states.
#ifndef TESTS_TOOLS_BUSBROKER_PROGRAM_FIXTURE_H
#define TESTS_TOOLS_BUSBROKER_PROGRAM_FIXTURE_H

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "tests/support/run_program.h"
#include "tests/tools/busbroker/daemon_process.h"

namespace diag::test {

inline const std::string kBoards = DIAG_SOURCE_DIR "/examples/boards/";
inline const std::string kRouter = kBoards + "edge_router.xml";
inline const std::string kRouterBoard = kBoards + "edge_router.board";

class BusbrokerTest : public testing::Test {
  protected:
    std::vector<std::string> on_router(std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"--board", kRouterBoard, kRouter});
        return options;
    }

    // Runs the program to its end.
    ProgramResult run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), kBusbroker);
        return run_program(arguments, {"DIAG_BOARD_DIR=" + folder_.path().string(), "DIAG_BOARD="});
    }

    void expect_failure(const std::vector<std::string> &arguments, int status,
                        const std::string &line) const {
        const ProgramResult result = run(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, "busbroker: " + line + "\n");
        EXPECT_EQ(result.output, "");
    }

    // Paths and numbers of the states of boards: a board that is powered up anew has another
    // number.
    std::map<std::string, ino_t> state_files() const {
        std::map<std::string, ino_t> found;
        for (const auto &entry : std::filesystem::directory_iterator(folder_.path())) {
            struct stat info = {};
            if (entry.path().extension() == ".state" && stat(entry.path().c_str(), &info) == 0) {
                found[entry.path()] = info.st_ino;
            }
        }
        return found;
    }

    TemporaryFolder folder_;
};

}  // namespace diag::test

#endif
