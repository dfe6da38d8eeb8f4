// SPDX-License-Identifier: MIT
#include "diags/diagctl/program.h"

#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

#include "diag_util.h"

#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/command_line.h"
#include "diags/diagctl/interruption.h"
#include "diags/diagctl/json_view.h"
#include "diags/diagctl/text.h"

namespace diag::diagctl {
namespace {

void tell(const std::string &line) {
    const std::string text = "diagctl: " + one_line(line) + "\n";
    std::fwrite(text.data(), 1, text.size(), stderr);
}

void print(const std::string &data) {
    errno = 0;
    const bool written = std::fwrite(data.data(), 1, data.size(), stdout) == data.size();
    if (std::fflush(stdout) != 0 || !written || std::ferror(stdout) != 0) {
        fail(kExitAccessFailed, "standard output cannot be written: {}", std::strerror(errno));
    }
}

// A descriptor that the caller has closed would be given to the next file that is opened, and data
// would go there. Opened the wrong way round, so that using it is still an error.
void occupy_standard_descriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) == -1) {
            open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY);
        }
    }
}

void prepare_process() {
    occupy_standard_descriptors();
    std::setlocale(LC_CTYPE, "");
    // The library's messages reach a capture line by line: none is lost when the process dies.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    install_signal_handlers();
    diag_syslog_init("diagctl");
}

int carry_out(int argc, char **argv, CommandLine &line) {
    parse_command_line(argc, argv, line);
    if (line.run == nullptr) {
        print(line.help);
        return kExitDone;
    }
    const Outcome outcome = line.run(line.options);
    for (const std::string &remark : outcome.remarks) {
        tell(remark);
    }
    print(outcome.data);
    return outcome.status;
}

int report_failure(const CommandLine &line, ExitStatus status, const std::string &message) {
    tell(message);
    if (line.options.json) {
        try {
            print(json_text(json_failure(line.command, status, one_line(message))));
        } catch (const std::exception &) {
            return status;  // standard output is what has failed, and that has been told
        }
    }
    return status;
}

}  // namespace

int run_program(int argc, char **argv) {
    CommandLine line;
    try {
        prepare_process();
        return carry_out(argc, argv, line);
    } catch (const CliError &error) {
        return report_failure(line, error.status(), error.what());
    } catch (const std::exception &error) {
        return report_failure(line, kExitAccessFailed, error.what());
    }
}

}  // namespace diag::diagctl
