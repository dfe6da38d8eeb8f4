// SPDX-License-Identifier: MIT
#include "tests/diagctl/diagctl_test.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace diag::test {

std::string diagctl_data(const std::string &name) {
    return DIAG_SOURCE_DIR "/tests/data/diagctl/" + name;
}

std::vector<std::string> files_with_verdict(const std::string &start,
                                            const std::string &extension) {
    std::vector<std::string> files;
    for (const auto &entry : std::filesystem::directory_iterator(diagctl_data(""))) {
        const std::string name = entry.path().filename();
        if (name.starts_with(start) && entry.path().extension() == extension) {
            files.push_back(name);
        }
    }
    return files;
}

std::string example_board(const std::string &name) {
    return DIAG_SOURCE_DIR "/examples/boards/" + name;
}

EnvironmentSetting::EnvironmentSetting(const char *name, const char *value) : name_(name) {
    if (const char *usual = std::getenv(name)) {
        saved_ = usual;
    }
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
}

EnvironmentSetting::~EnvironmentSetting() {
    saved_ ? setenv(name_, saved_->c_str(), 1) : unsetenv(name_);
}

Failure failure_of(const std::function<void()> &call) {
    try {
        call();
    } catch (const diagctl::CliError &error) {
        return {error.status(), error.what()};
    }
    ADD_FAILURE() << "nothing was thrown";
    return {0, {}};
}

const reg_def &register_named(const diagctl::Chip &chip, const std::string &name) {
    for (const reg_def *reg : diagctl::registers_of(*chip.node)) {
        if (diagctl::register_name(*reg) == name) {
            return *reg;
        }
    }
    throw std::runtime_error("no register " + name);
}

std::string DiagctlTest::program() {
    return DIAGCTL;
}

ProgramResult DiagctlTest::diagctl(const Words &arguments, const Words &environment) const {
    Words command{program()};
    command.insert(command.end(), arguments.begin(), arguments.end());
    Words settings{"TMPDIR=" + temporary_.path().string(),
                   "DIAG_BOARD_DIR=" + boards_.path().string(), "LC_ALL=C.UTF-8"};
    settings.insert(settings.end(), environment.begin(), environment.end());
    return run_program(command, settings);
}

ProgramResult DiagctlTest::on_board(const Words &arguments) const {
    Words all{"--board", example_board("edge_router.board")};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return diagctl(all);
}

namespace {

nlohmann::json parsed(const ProgramResult &result) {
    EXPECT_EQ(result.status, 0) << result.errors;
    return nlohmann::json::parse(result.output);
}

}  // namespace

nlohmann::json DiagctlTest::json_of(const Words &arguments) const {
    return parsed(diagctl(arguments));
}

nlohmann::json DiagctlTest::board_json_of(const Words &arguments) const {
    return parsed(on_board(arguments));
}

bool is_one_line(const std::string &text) {
    return !text.empty() && text.find('\n') == text.size() - 1;
}

}  // namespace diag::test
