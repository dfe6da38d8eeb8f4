// SPDX-License-Identifier: MIT
#include "tests/support/fake_tool.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace diag::test {

namespace {

constexpr char kSystemPath[] = ":/usr/bin:/bin";

std::string octal(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        char escape[8];
        std::snprintf(escape, sizeof escape, "\\%03o", static_cast<unsigned char>(byte));
        text += escape;
    }
    return text;
}

}  // namespace

FakeTool::FakeTool(std::string_view name) : name_(name) {
    const char *path = std::getenv("PATH");
    saved_path_ = path != nullptr ? path : "";
    setenv("PATH", (folder_.path().string() + kSystemPath).c_str(), 1);
    answers("");
}

FakeTool::~FakeTool() {
    setenv("PATH", saved_path_.c_str(), 1);
}

void FakeTool::answers(std::string_view bytes, int status) {
    std::string body;
    if (!bytes.empty()) {
        body = "printf '" + octal(bytes) + "' >\"${pipe:-/dev/null}\"\n";
    }
    runs_script(body + "exit " + std::to_string(status) + "\n");
}

void FakeTool::runs_script(std::string_view body) {
    const std::string path = folder_.write(
        name_, "#!/bin/sh\necho \"$*\" >>'" + folder_.file("calls") +
                   "'\npipe=\nfor word; do case $word in --pipe=*) pipe=${word#--pipe=};; esac; "
                   "done\n" +
                   std::string(body));
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

void FakeTool::is_missing() {
    std::filesystem::remove(folder_.file(name_));
}

std::vector<std::string> FakeTool::calls() const {
    std::vector<std::string> lines;
    if (!std::filesystem::exists(folder_.file("calls"))) {
        return lines;
    }
    std::istringstream stream(read_file(folder_.file("calls")));
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace diag::test
