// SPDX-License-Identifier: MIT
// One register access through each reading call on the simulated board, against what the system
// asks for the same work at the least.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "tool_calls.h"

#include "diags/board/sim/power_up.h"

namespace {

constexpr char kPipe[] = "/tmp/diag_bench_pipe";

// Where the benchmarks' own board runs; it goes with the process.
class BoardFolder {
  public:
    BoardFolder() {
        if (mkdtemp(path_) == nullptr || setenv("DIAG_BOARD_DIR", path_, 1) != 0) {
            throw std::runtime_error("cannot make a folder for the board in /tmp");
        }
    }
    ~BoardFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    BoardFolder(const BoardFolder &) = delete;
    BoardFolder &operator=(const BoardFolder &) = delete;

  private:
    char path_[32] = "/tmp/diag-bench-board-XXXXXX";
};

// The tools talk to the example board, and ours are found first.
void use_example_board() {
    static const BoardFolder folder;
    static const std::string state = diag::board::sim::power_up(DIAG_EXAMPLE_BOARD, false);
    setenv("DIAG_BOARD", state.c_str(), 1);
    const std::string tools = std::filesystem::path(DIAG_I2CTOOL).parent_path();
    const std::string ipmitool = std::filesystem::path(DIAG_IPMITOOL).parent_path();
    setenv("PATH", (ipmitool + ":" + tools + ":/usr/bin:/bin").c_str(), 1);
}

using Words = std::vector<const char *>;

// The process of the program, or -1.
pid_t start(const Words &words, const posix_spawn_file_actions_t *actions) {
    Words arguments = words;
    arguments.push_back(nullptr);
    pid_t pid = -1;
    const int error = posix_spawn(&pid, words[0], actions, nullptr,
                                  const_cast<char *const *>(arguments.data()), environ);
    return error == 0 ? pid : -1;
}

bool ends_well(pid_t pid) {
    int status = 0;
    return pid != -1 && waitpid(pid, &status, 0) == pid && status == 0;
}

bool run(const Words &words) {
    return ends_well(start(words, nullptr));
}

// A tool that answers through a FIFO, with nothing around it but that.
template <typename Run>
bool read_with_fifo(Run run_it) {
    uint8_t value = 0;
    if (mkfifo(kPipe, 0666) != 0) {
        return false;
    }
    const int fd = open(kPipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const bool done = run_it() && read(fd, &value, 1) == 1;
    close(fd);
    unlink(kPipe);
    return done;
}

bool run_with_fifo(const Words &words) {
    return read_with_fifo([&words] { return run(words); });
}

// One that prints its answer.
bool run_with_output(const Words &words) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    const pid_t pid = start(words, &actions);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    char text[256];
    while (read(ends[0], text, sizeof text) > 0) {
    }
    close(ends[0]);
    return ends_well(pid);
}

// A reading call, and the tool run that it cannot do without.
struct Reading {
    const char *name;
    uint32_t (*call)(uint8_t *result);
    Words words;
    bool (*run_bare)(const Words &words);
};

constexpr char kFifoOption[] = "--pipe=/tmp/diag_bench_pipe";

// On the I/O carrier of the examples.
const Reading kReadings[] = {
    {"i2ctool_get",
     [](uint8_t *result) {
         return i2ctool_get("/dev/i2c-5", 0x74, 0, &reg8_data8, 1, kPipe, result);
     },
     {DIAG_I2CTOOL, "--read", "--bus=/dev/i2c-5", "--addr=0x74", "--count=1", kFifoOption,
      "--width=8", "--reg=0x00"},
     run_with_fifo},
    {"gpiotool_get",
     [](uint8_t *result) { return gpiotool_get(0, 17, kPipe, result); },
     {DIAG_GPIOTOOL, "--get", "--chip=0", "--pin=17", kFifoOption},
     run_with_fifo},
    {"lpctool_get",
     [](uint8_t *result) { return lpctool_get(0x300, 1, 'b', kPipe, result); },
     {DIAG_LPCTOOL, "--get", "--addr=0x00000300", "--size=b", "--count=1", kFifoOption},
     run_with_fifo},
    {"pcitool_get",
     [](uint8_t *result) { return pcitool_get(3, 0, 0, 0, result, kPipe, 2, 16); },
     {DIAG_PCITOOL, "--get", "--bus=3", "--dev=0", "--func=0", "--offset=0x00", kFifoOption,
      "--count=2", "--width=16"},
     run_with_fifo},
    {"memtool_get",
     [](uint8_t *result) { return memtool_get(0x80000000, 1, 32, kPipe, false, result); },
     {DIAG_MEMTOOL, "--get", "--addr=0x80000000", "--count=1", "--width=32", kFifoOption},
     run_with_fifo},
    {"ipmitool_get",
     [](uint8_t *result) {
         return ipmitool_get("bmc-3", 0x2e, 0, &reg8_data8, 1, nullptr, result);
     },
     {DIAG_IPMITOOL, "raw", "0x38", "0x2", "0x3", "0x2e", "0x0", "0x1"},
     run_with_output},
    {"ipmitool2_get",
     [](uint8_t *result) {
         const uint8_t request[] = {3, 0x2e, 0, 1};
         return ipmitool2_get(0x38, 0x02, sizeof request, request, 1, result);
     },
     {DIAG_IPMITOOL, "raw", "0x38", "0x02", "0x03", "0x2e", "0x00", "0x01"},
     run_with_output},
    {"ipmii2c_get",
     [](uint8_t *result) { return ipmii2c_get("bmc-3", 0x2e, 0, &reg8_data8, 1, nullptr, result); },
     {DIAG_IPMITOOL, "raw", "0x3a", "0x01", "0x03", "0x2e", "0x01", "0x00"},
     run_with_output},
    {"ipmii2c2_get",
     [](uint8_t *result) {
         return ipmii2c2_get("bmc-3", 0x2e, 0, &reg8_data8, 1, nullptr, result);
     },
     {DIAG_IPMITOOL, "raw", "0x3a", "0x01", "0x03", "0x2e", "0x01", "0x00"},
     run_with_output},
};

const Reading &i2c_reading() {
    return kReadings[0];
}

template <typename Work>
void repeat(benchmark::State &state, Work work) {
    use_example_board();
    unlink(kPipe);
    for ([[maybe_unused]] auto round : state) {
        if (!work()) {
            state.SkipWithError("the access failed");
            break;
        }
    }
}

void reading_call(benchmark::State &state, const Reading &reading) {
    repeat(state, [&reading] {
        uint8_t value[256];
        return reading.call(value) == 0;
    });
}

void bare_tool_run(benchmark::State &state, const Reading &reading) {
    repeat(state, [&reading] { return reading.run_bare(reading.words); });
}

void tool_run_by_system(benchmark::State &state) {
    std::string command = "i2ctool";
    for (size_t i = 1; i < i2c_reading().words.size(); i++) {
        command.append(" ").append(i2c_reading().words[i]);
    }
    repeat(state, [&command] {
        return read_with_fifo([&command] { return std::system(command.c_str()) == 0; });
    });
}

void i2ctool_process(benchmark::State &state) {
    use_example_board();
    unlink(kPipe);
    mkfifo(kPipe, 0666);
    const int fd = open(kPipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    for ([[maybe_unused]] auto round : state) {
        uint8_t value = 0;
        if (!run(i2c_reading().words) || read(fd, &value, 1) != 1) {
            state.SkipWithError("the access failed");
            break;
        }
    }
    close(fd);
    unlink(kPipe);
}

void empty_process(benchmark::State &state) {
    repeat(state, [] { return run({DIAG_EMPTY_PROGRAM}); });
}

void use_real_time(benchmark::internal::Benchmark *benchmark) {
    benchmark->Unit(benchmark::kMicrosecond)->UseRealTime();
}

BENCHMARK(tool_run_by_system)->Apply(use_real_time);
BENCHMARK(i2ctool_process)->Apply(use_real_time);
BENCHMARK(empty_process)->Apply(use_real_time);

[[maybe_unused]] const bool kReadingsAreRegistered = [] {
    for (const Reading &reading : kReadings) {
        const std::string name = reading.name;
        use_real_time(benchmark::RegisterBenchmark(name.c_str(), reading_call, std::cref(reading)));
        use_real_time(benchmark::RegisterBenchmark(("bare_" + name).c_str(), bare_tool_run,
                                                   std::cref(reading)));
    }
    return true;
}();

}  // namespace
