// SPDX-License-Identifier: MIT
#include "bench/peak_memory.h"

#include <cstdio>
#include <cstring>
#include <libxml/parser.h>
#include <spawn.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "device_tree.h"

#include "bench/description_maker.h"

namespace diag::bench {

namespace {

constexpr int kChips = 1000;  // 100,000 registers
constexpr char kLoad[] = "--peak-load";
constexpr char kParse[] = "--peak-parse";

// Kilobytes at the most that the program took, 0 when it failed.
long peak_of(const char *program, const char *mode, const std::string &description) {
    std::string words[] = {program, mode, description};
    char *const argv[] = {words[0].data(), words[1].data(), words[2].data(), nullptr};
    pid_t pid = 0;
    int status = 0;
    rusage usage{};
    const bool done = posix_spawn(&pid, program, nullptr, nullptr, argv, environ) == 0 &&
                      wait4(pid, &status, 0, &usage) == pid && status == 0;
    return done ? usage.ru_maxrss : 0;
}

}  // namespace

double measure_peak_memory(const char *program) {
    const MadeDescription description(Form::kXml, kChips);
    const long load = peak_of(program, kLoad, description.path());
    const long parse = peak_of(program, kParse, description.path());
    return parse > 0 ? static_cast<double>(load) / static_cast<double>(parse) : 0;
}

int run_peak_process(int argc, char **argv) {
    if (argc != 3 || (std::strcmp(argv[1], kLoad) != 0 && std::strcmp(argv[1], kParse) != 0)) {
        return -1;
    }
    xmlDoc *document = nullptr;
    if (std::strcmp(argv[1], kParse) == 0) {
        document = xmlReadFile(argv[2], nullptr, 0);
    } else {
        device_tree tree{};  // lives until the process ends, as in any program
        uint8_t has_broker = 0;
        load_device_tree(argv[2], &tree, 1, &document, &has_broker, nullptr, nullptr);
    }
    return document != nullptr ? 0 : 1;
}

}  // namespace diag::bench
