// SPDX-License-Identifier: MIT
// What the tests of diagctl share.
#ifndef TESTS_DIAGCTL_DIAGCTL_TEST_H
#define TESTS_DIAGCTL_DIAGCTL_TEST_H

#include <functional>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/description.h"
#include "diags/diagctl/lookup.h"
#include "tests/support/run_program.h"
#include "tests/support/temporary_folder.h"

namespace diag::test {

// A file of tests/data/diagctl.
std::string diagctl_data(const std::string &name);
// The files of tests/data/diagctl whose names begin and end so.
std::vector<std::string> files_with_verdict(const std::string &start, const std::string &extension);
// A file of examples/boards.
std::string example_board(const std::string &name);

// Sets an environment variable for its life; a null value unsets it.
class EnvironmentSetting {
  public:
    EnvironmentSetting(const char *name, const char *value);
    ~EnvironmentSetting();
    EnvironmentSetting(const EnvironmentSetting &) = delete;
    EnvironmentSetting &operator=(const EnvironmentSetting &) = delete;

  private:
    const char *name_;
    std::optional<std::string> saved_;
};

// What `call` throws; fails the test when it throws nothing.
struct Failure {
    int status;
    std::string message;
};
Failure failure_of(const std::function<void()> &call);

// The register of that name; fails the test when there is none.
const reg_def &register_named(const diagctl::Chip &chip, const std::string &name);

// Runs diagctl in surroundings of its own: a temporary folder for what it makes, and a place for
// the states of simulated boards.
class DiagctlTest : public ::testing::Test {
  protected:
    using Words = std::vector<std::string>;

    ProgramResult diagctl(const Words &arguments, const Words &environment = {}) const;

    // The same against the simulated board of the examples.
    ProgramResult on_board(const Words &arguments) const;

    // What a command that succeeds prints with --json.
    nlohmann::json json_of(const Words &arguments) const;
    nlohmann::json board_json_of(const Words &arguments) const;

    const std::string &example() const { return example_; }
    bool left_nothing_behind() const { return temporary_.is_empty(); }
    const TemporaryFolder &temporary() const { return temporary_; }
    const TemporaryFolder &boards() const { return boards_; }  // states of simulated boards

    static std::string program();

  private:
    TemporaryFolder temporary_;
    TemporaryFolder boards_;
    std::string example_ = example_board("edge_router.xml");
};

// One line, and nothing else.
bool is_one_line(const std::string &text);

}  // namespace diag::test

#endif
