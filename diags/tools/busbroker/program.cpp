// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/program.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <syslog.h>
#include <system_error>

#include "diags/board/open_board.h"
#include "diags/tools/busbroker/daemonise.h"
#include "diags/tools/busbroker/ground.h"
#include "diags/tools/busbroker/server.h"
#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

constexpr const char *kAnyAddress = "0.0.0.0";

void tell(const std::string &line) {
    const std::string text = "busbroker: " + line + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

// For the time after the start: a daemon has no standard error.
void report(const Options &options, int level, const std::string &line) {
    if (options.foreground) {
        tell(line);
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
    if (const char *state = std::getenv(board::kBoardVariable);
        state != nullptr && *state != '\0') {
        setenv(board::kBoardVariable, std::filesystem::absolute(state).c_str(), 1);
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
    const LoadedGround loaded = load_ground(options, false);
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
            file_.reset(std::fopen(options.trace_file.c_str(), "ae"));
            if (file_ == nullptr) {
                const int error = errno;
                throw StartError(
                    error == EACCES ? kExitNotPermitted : kExitAccessFailed,
                    options.trace_file + ": " + std::generic_category().message(error));
            }
        }
        trace_ = std::make_unique<StreamTrace>(file_ != nullptr ? file_.get() : stderr);
    }

    Trace *get() { return trace_.get(); }

  private:
    struct Close {
        void operator()(std::FILE *file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, Close> file_;
    std::unique_ptr<StreamTrace> trace_;
};

void reload(const Options &options, Service &service) {
    try {
        LoadedGround loaded = load_ground(options, true);
        for (const std::string &problem : loaded.ground.directory->problems()) {
            report(options, LOG_WARNING, options.description + ": " + problem);
        }
        service.replace_ground(std::move(loaded.ground));
    } catch (const std::exception &error) {
        report(options, LOG_ERR, std::string(error.what()) + "; going on with what was there");
    }
}

int serve(const Options &options) {
    LoadedGround loaded = load_ground(options, true);
    for (const std::string &problem : loaded.ground.directory->problems()) {
        tell(options.description + ": " + problem);
    }
    TraceFile trace(options);
    Socket socket(address_of(options, loaded));
    // Before anybody is told where the daemon is, and may want to end it.
    const SignalSource signals;
    print("listening on " + socket.address().text() + "\n");
    if (!options.foreground && daemonise() == Role::kParent) {
        return kExitDone;
    }
    std::signal(SIGPIPE, SIG_IGN);  // whoever follows a trace may go away
    Service service({.ground = std::move(loaded.ground),
                     .times = options.times,
                     .now = Clock::now,
                     .send = [&socket](const Endpoint &to,
                                       const std::string &frame) { socket.send(to, frame); },
                     .trace = trace.get()});
    Server server({.socket = socket,
                   .signals = signals,
                   .service = service,
                   .serves_everybody = serves_everybody(options),
                   .reload = [&] { reload(options, service); }});
    server.run();
    return kExitDone;
}

}  // namespace

int run_program(int argc, const char *const *argv) {
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
