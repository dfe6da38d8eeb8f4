// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/program.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <syslog.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "diags/board/open_board.h"
#include "diags/tools/busbroker/daemonise.h"
#include "diags/tools/busbroker/ground.h"
#include "diags/tools/busbroker/server.h"
#include "diags/tools/busbroker/start_error.h"
#include "diags/tools/busbroker/trace.h"

namespace diag::daemon {
namespace {

constexpr const char *kAnyAddress = "0.0.0.0";

void tell(const std::string &line) {
    const std::string text = "busbroker: " + line + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

// For the time after the start: a daemon has no standard error, and must not wait for its reader.
void report(const Options &options, int level, const std::string &line) {
    if (options.foreground) {
        LineOutput(STDERR_FILENO).put("busbroker: " + line);
    } else {
        syslog(level, "%s", line.c_str());
    }
}

void print(const std::string &text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() ||
        std::fflush(stdout) != 0) {
        throw StartError(kExitAccessFailed, "standard output cannot be written: " +
                                                std::generic_category().message(errno));
    }
}

// A daemon changes its folder, and reads its files again when it is told to.
void make_paths_absolute(Options *options) {
    for (std::string *path : {&options->description, &options->board, &options->trace_file}) {
        if (!path->empty()) {
            *path = std::filesystem::absolute(*path).string();
        }
    }
    for (const char *name : {board::kBoardVariable, kBoardFolderVariable, "XDG_RUNTIME_DIR"}) {
        if (const char *path = std::getenv(name); path != nullptr && *path != '\0') {
            setenv(name, std::filesystem::absolute(path).c_str(), 1);
        }
    }
}

broker::Address address_of(const Options &options, const LoadedGround &loaded) {
    broker::Address address = loaded.address.value_or(broker::Address());
    address.host = options.bind.value_or(address.host);
    address.port = options.port.value_or(address.port);
    return address;
}

bool serves_everybody(const Options &options) {
    return options.bind &&
           (*options.bind == kAnyAddress || !is_loopback(ipv4_number(*options.bind)));
}

int check(const Options &options) {
    const LoadedGround loaded = check_ground(options);
    const Directory &directory = *loaded.ground.directory;
    for (const std::string &problem : directory.problems()) {
        tell(options.description + ": " + problem);
    }
    print(std::to_string(directory.size()) + (directory.size() == 1 ? " device\n" : " devices\n"));
    return directory.problems().empty() ? kExitDone : kExitBadDescription;
}

class TraceFile {
  public:
    explicit TraceFile(const Options &options) {
        if (!options.trace) {
            return;
        }
        if (!options.trace_file.empty()) {
            file_ =
                open(options.trace_file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
            if (file_ < 0) {
                const int error = errno;
                throw StartError(
                    error == EACCES ? kExitNotPermitted : kExitAccessFailed,
                    options.trace_file + ": " + std::generic_category().message(error));
            }
        }
        trace_.emplace(file_ >= 0 ? file_ : STDERR_FILENO);
    }
    ~TraceFile() {
        if (file_ >= 0) {
            close(file_);
        }
    }
    TraceFile(const TraceFile &) = delete;
    TraceFile &operator=(const TraceFile &) = delete;

    Trace *get() { return trace_ ? &*trace_ : nullptr; }

  private:
    int file_ = -1;
    std::optional<StreamTrace> trace_;
};

// `wanted` is where options and description wanted the daemon to be when it started.
void reload(const Options &options, const broker::Address &wanted, Service &service) {
    try {
        LoadedGround loaded = load_ground(options);
        const std::string now_wanted = address_of(options, loaded).text();
        if (now_wanted != wanted.text()) {
            report(options, LOG_WARNING,
                   options.description + ": <system>: " + now_wanted +
                       " counts from the next start, it was " + wanted.text());
        }
        for (const std::string &problem : loaded.ground.directory->problems()) {
            report(options, LOG_WARNING, options.description + ": " + problem);
        }
        service.replace_ground(std::move(loaded.ground));
    } catch (const std::exception &error) {
        report(options, LOG_ERR, std::string(error.what()) + "; going on with what was there");
    }
}

// Nobody sees any more what the program's end would tell. The server is made here, by the daemon
// itself: a process that waits for signals by epoll has to be the one that has asked for them.
int run(const Options &options, Server::Setup setup) {
    std::signal(SIGPIPE, SIG_IGN);  // whoever follows a trace may go away
    try {
        Server(std::move(setup)).run();
        return kExitDone;
    } catch (const std::exception &error) {
        report(options, LOG_ERR, error.what());
        return kExitAccessFailed;
    }
}

int serve(const Options &options) {
    LoadedGround loaded = load_ground(options);
    for (const std::string &problem : loaded.ground.directory->problems()) {
        tell(options.description + ": " + problem);
    }
    TraceFile trace(options);
    const broker::Address wanted = address_of(options, loaded);
    Socket socket(wanted);
    // Before anybody is told where the daemon is, and may want to end it.
    const SignalSource signals;
    Service service({.ground = std::move(loaded.ground),
                     .times = options.times,
                     .now = Clock::now,
                     .send = [&socket](const Endpoint &to,
                                       const std::string &frame) { socket.send(to, frame); },
                     .trace = trace.get()});
    print("listening on " + socket.address().text() + "\n");
    if (!options.foreground && daemonise() == Role::kParent) {
        return kExitDone;
    }
    return run(options, {.socket = socket,
                         .signals = signals,
                         .service = service,
                         .serves_everybody = serves_everybody(options),
                         .reload = [&] { reload(options, wanted, service); }});
}

}  // namespace

int run_program(int argc, const char *const *argv) {
    hold_back_reloads();
    open_closed_standard_descriptors();
    try {
        ParsedOptions parsed = parse_options(argc, argv);
        if (!parsed.text.empty()) {
            print(parsed.text);
            return kExitDone;
        }
        if (parsed.options.check) {
            return check(parsed.options);
        }
        make_paths_absolute(&parsed.options);
        return serve(parsed.options);
    } catch (const StartError &error) {
        tell(error.what());
        return error.exit_status();
    } catch (const std::exception &error) {
        tell(error.what());
        return kExitAccessFailed;
    }
}

}  // namespace diag::daemon
