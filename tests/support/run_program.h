// SPDX-License-Identifier: MIT
#ifndef TESTS_SUPPORT_RUN_PROGRAM_H
#define TESTS_SUPPORT_RUN_PROGRAM_H

#include <string>
#include <vector>

namespace diag::test {

struct ProgramResult {
    int status;  // exit status; 128 + number for a program that a signal ended
    std::string output;
    std::string errors;
};

// Runs a program with `input` as its standard input and collects what it prints. `environment`
// holds NAME=VALUE settings beyond those of the test.
ProgramResult run_program(const std::vector<std::string> &command,
                          const std::vector<std::string> &environment = {},
                          const std::string &input = "");

}  // namespace diag::test

#endif
