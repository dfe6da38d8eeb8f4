// SPDX-License-Identifier: MIT
// One register access through i2ctool on the simulated board, against what the system asks for the
// same work at the least.
#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "tool_calls.h"

#include "diags/board/sim/power_up.h"

namespace {

constexpr char kPipe[] = "/tmp/diag_bench_pipe";
constexpr char kBus[] = "/dev/i2c-1";
constexpr unsigned int kDevice = 0x31;  // SYS_CPLD of the example board
constexpr unsigned int kRegister = 0x00;

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

// The tools talk to the example board, and i2ctool is found first.
void use_example_board() {
    static const BoardFolder folder;
    static const std::string state = diag::board::sim::power_up(DIAG_EXAMPLE_BOARD, false);
    setenv("DIAG_BOARD", state.c_str(), 1);
    const std::string tools = std::filesystem::path(DIAG_I2CTOOL).parent_path();
    setenv("PATH", (tools + ":/usr/bin:/bin").c_str(), 1);
}

bool run(char *const *words) {
    pid_t pid = 0;
    int status = 0;
    return posix_spawn(&pid, words[0], nullptr, nullptr, words, environ) == 0 &&
           waitpid(pid, &status, 0) == pid && status == 0;
}

char *word(const char *text) {
    return const_cast<char *>(text);
}

// The tool with the arguments that i2ctool_get gives it.
bool run_tool() {
    char *const words[] = {
        word(DIAG_I2CTOOL),  word("--read"),     word("--bus=/dev/i2c-1"),
        word("--addr=0x31"), word("--count=1"),  word("--pipe=/tmp/diag_bench_pipe"),
        word("--width=8"),   word("--reg=0x00"), nullptr};
    return run(words);
}

// The FIFO around it, as bare as can be.
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

void i2ctool_get(benchmark::State &state) {
    repeat(state, [] {
        uint8_t value = 0;
        return ::i2ctool_get(kBus, kDevice, kRegister, &reg8_data8, 1, kPipe, &value) == 0;
    });
}

void bare_tool_run(benchmark::State &state) {
    repeat(state, [] { return read_with_fifo(run_tool); });
}

void tool_run_by_system(benchmark::State &state) {
    repeat(state, [] {
        return read_with_fifo([] {
            return std::system(
                       "i2ctool --read --bus=/dev/i2c-1 --addr=0x31 --count=1 "
                       "--pipe=/tmp/diag_bench_pipe --width=8 --reg=0x00") == 0;
        });
    });
}

void i2ctool_process(benchmark::State &state) {
    use_example_board();
    unlink(kPipe);
    mkfifo(kPipe, 0666);
    const int fd = open(kPipe, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    for ([[maybe_unused]] auto round : state) {
        uint8_t value = 0;
        if (!run_tool() || read(fd, &value, 1) != 1) {
            state.SkipWithError("the access failed");
            break;
        }
    }
    close(fd);
    unlink(kPipe);
}

void empty_process(benchmark::State &state) {
    char *const words[] = {word(DIAG_EMPTY_PROGRAM), nullptr};
    repeat(state, [&words] { return run(words); });
}

BENCHMARK(i2ctool_get)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(bare_tool_run)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(tool_run_by_system)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(i2ctool_process)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(empty_process)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace
