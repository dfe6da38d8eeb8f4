// SPDX-License-Identifier: MIT
#include "diags/diagctl/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <iterator>
#include <string_view>
#include <vector>

#include "diags/diagctl/candidates.h"
#include "diags/diagctl/cli_error.h"
#include "diags/diagctl/commands.h"
#include "diags/diagctl/text.h"

#ifndef DIAGCTL_VERSION
#error "DIAGCTL_VERSION is to be defined by the build"
#endif

namespace diag::diagctl {
namespace {

constexpr const char kFileHelp[] = "Device description, XML or text form";

// The forms that a description can be converted to.
constexpr std::string_view kForms[] = {"text"};

constexpr const char kMainFooter[] =
    "Examples:\n"
    "  diagctl tree board.xml\n"
    "  diagctl --board router.board read router.xml SYSCPLD\n"
    "  diagctl --board router.board write router.xml SYSCPLD.CTRL.LED blink\n"
    "  diagctl --broker read router.xml SYSCPLD\n"
    "\n"
    "Exit status: 0 done, 1 something differs, 2 usage, 3 bad description or board file,\n"
    "4 not permitted, 5 no such chip or register, 6 the access failed, 7 busy, 8 timed out,\n"
    "130 interrupted.";

constexpr const char kTreeFooter[] =
    "\"[0x01]\" in front of what lies behind a mux is the value that selects the way to it.\n"
    "Example:\n"
    "  diagctl tree router.xml";

constexpr const char kRegsFooter[] =
    "Examples:\n"
    "  diagctl regs router.xml SYSCPLD\n"
    "  diagctl regs --bits router.xml 'Fan Controller#2'";

constexpr const char kReadFooter[] =
    "A chip alone reads all its registers but those that are write-only or that reading clears.\n"
    "Examples:\n"
    "  diagctl read router.xml SYSCPLD\n"
    "  diagctl read router.xml SYSCPLD.VERSION\n"
    "  diagctl read router.xml SYSCPLD.0x10.7:4";

constexpr const char kWriteFooter[] =
    "A field is written by read, modify, write. What was written is read back and compared.\n"
    "Examples:\n"
    "  diagctl write router.xml SYSCPLD.SCRATCH 0x5a\n"
    "  diagctl write router.xml SYSCPLD.CTRL.LED blink\n"
    "  diagctl write --dry-run router.xml SYSCPLD.CTRL.LED 0b10";

constexpr const char kConvertFooter[] =
    "A warning names what of a chip the text form does not carry.\n"
    "Examples:\n"
    "  diagctl convert router.xml --to text\n"
    "  diagctl convert router.xml --to text --output router.txt";

constexpr const char kBrokerFooter[] =
    "ping measures round trips, status tells who uses the board, who holds what and who waits.\n"
    "Examples:\n"
    "  diagctl broker ping --count 3\n"
    "  diagctl --broker=127.0.0.1:7811 broker status";

constexpr const char kRunFooter[] =
    "diagctl --board BOARDFILE run -- COMMAND [ARG...]\n"
    "The exit status is the program's.\n"
    "Example:\n"
    "  diagctl --board router.board run -- i2ctool --help";

void add_json(CLI::App &command, Options &options) {
    command.add_flag("--json", options.json, "One JSON document instead of text");
}

void add_file(CLI::App &command, Options &options) {
    command.add_option("FILE", options.file, kFileHelp)->required();
}

void add_target(CLI::App &command, Options &options, const char *name, const char *help) {
    command.add_option(name, options.target, help)->required();
}

void describe_tree(CLI::App &command, Options &options) {
    add_file(command, options);
    add_json(command, options);
}

void describe_regs(CLI::App &command, Options &options) {
    add_file(command, options);
    add_target(command, options, "CHIP", "Name, identifier or device id; NAME#2 for the second");
    command.add_flag("-b,--bits", options.bits, "Bit fields and named values as well");
    add_json(command, options);
}

void describe_read(CLI::App &command, Options &options) {
    add_file(command, options);
    add_target(command, options, "TARGET", "CHIP, CHIP.REG or CHIP.REG.BIT");
    add_json(command, options);
}

void describe_write(CLI::App &command, Options &options) {
    add_file(command, options);
    add_target(command, options, "TARGET", "CHIP.REG or CHIP.REG.BIT");
    command.add_option("VALUE", options.value, "Number (0x, 0b or decimal) or name of a value")
        ->required();
    command.add_flag("-n,--dry-run", options.dry_run, "Touch nothing, show what would be done");
    add_json(command, options);
}

void describe_convert(CLI::App &command, Options &options) {
    add_file(command, options);
    command.add_option("--to", options.form, "Form to convert to: text")
        ->type_name("FORM")
        ->required();
    command.add_option("-o,--output", options.output, "File to write instead of standard output")
        ->type_name("OUTPUT");
}

void describe_broker(CLI::App &command, Options &options) {
    command.add_option("ACTION", options.broker_action, "ping or status")->required();
    command.add_option("--count", options.count, "Pings to send")->check(CLI::Range(1, 100000));
    add_json(command, options);
}

// Its words stand behind "--" and are none of the parser's.
void describe_run(CLI::App &, Options &) {}

struct Command {
    const char *name;
    const char *help;
    const char *footer;
    void (*describe)(CLI::App &command, Options &options);
    Outcome (*run)(const Options &options);
};

constexpr std::array<Command, 7> kCommands{{
    {"tree", "Draw the chips with their buses and muxes", kTreeFooter, describe_tree, run_tree},
    {"regs", "List the registers of a chip", kRegsFooter, describe_regs, run_regs},
    {"read", "Read registers and decode their fields", kReadFooter, describe_read, run_read},
    {"write", "Write a register or a field and read it back", kWriteFooter, describe_write,
     run_write},
    {"convert", "Write a description in another form", kConvertFooter, describe_convert,
     run_convert},
    {"broker", "Ask the bus broker whether it is there, and what it does", kBrokerFooter,
     describe_broker, run_broker},
    {"run", "Run a program whose tools work on the simulated board", kRunFooter, describe_run,
     run_run},
}};

void describe_program(CLI::App &app, Options &options) {
    app.footer(kMainFooter);
    app.set_version_flag("--version", "diagctl " DIAGCTL_VERSION);
    auto *board = app.add_option("--board", options.board, "Simulated board to run against")
                      ->type_name("BOARDFILE");
    app.add_flag("--fresh", options.fresh, "Power the simulated board up anew")->needs(board);
    app.add_flag("--broker", options.broker,
                 "Go through the bus broker, at $DIAG_BROKER or 127.0.0.1:7811 unless HOST:PORT "
                 "is given")
        ->option_text("[=HOST:PORT]");
    app.add_flag("-v,--verbose", options.verbosity,
                 "Show what the library and the tools say; repeat for more");
    add_json(app, options);
    app.require_subcommand(1);
    app.fallthrough();
    for (const Command &command : kCommands) {
        CLI::App *sub = app.add_subcommand(command.name, command.help);
        sub->footer(command.footer);
        command.describe(*sub, options);
    }
}

const Command *chosen_command(const CLI::App &app) {
    for (const Command &command : kCommands) {
        if (app.got_subcommand(command.name)) {
            return &command;
        }
    }
    return nullptr;
}

bool is_command(std::string_view word) {
    return std::any_of(kCommands.begin(), kCommands.end(),
                       [word](const Command &command) { return word == command.name; });
}

std::vector<std::string> command_names() {
    std::vector<std::string> names(kCommands.size());
    std::transform(kCommands.begin(), kCommands.end(), names.begin(),
                   [](const Command &command) { return command.name; });
    return names;
}

// The arguments, as far as they have to be known before they are parsed: what has been typed for a
// command, and how a failure is to be told. Behind "--" stand words that are no options.
struct Outline {
    std::string command;
    bool json = false;
    int end_of_options;  // index of "--", or the number of arguments
};

Outline outline_of(int argc, char **argv) {
    Outline outline{{}, false, argc};
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--") {
            outline.end_of_options = i;
            break;
        }
        outline.json = outline.json || word == "--json";
        if (word == "--board") {
            ++i;
        } else if (outline.command.empty() && !word.empty() && word[0] != '-') {
            outline.command = word;
        }
    }
    return outline;
}

// A program's own words are taken as they are: the parser has rules for brackets and the like.
void take_program(const Outline &outline, int argc, char **argv, Options &options) {
    if (outline.end_of_options + 1 >= argc) {
        fail(kExitUsage, "run needs a command behind --: diagctl --board BOARDFILE run -- COMMAND");
    }
    options.program.assign(argv + outline.end_of_options + 1, argv + argc);
}

void require_consistent_conversion(const Options &options) {
    if (std::find(std::begin(kForms), std::end(kForms), options.form) == std::end(kForms)) {
        fail(kExitUsage,
             "convert knows no form \"{}\", it is one of {}; see diagctl convert --help",
             one_line(options.form),
             join(std::vector<std::string>(std::begin(kForms), std::end(kForms)), ", "));
    }
    if (options.json) {
        fail(kExitUsage, "convert has no --json: what is printed is the description");
    }
}

void require_consistent_broker(const Options &options) {
    if (!options.board.empty()) {
        fail(kExitUsage, "broker has no --board: the bus broker has its board");
    }
    if (options.broker_action != "ping" && options.broker_action != "status") {
        fail(kExitUsage,
             "broker knows no \"{}\", it is one of ping, status; see diagctl broker --help",
             one_line(options.broker_action));
    }
}

void require_consistent(const CommandLine &line) {
    if (line.command == "convert") {
        require_consistent_conversion(line.options);
    }
    if (!line.options.broker.empty() && !line.options.board.empty()) {
        fail(kExitUsage, "--board and --broker exclude each other: the bus broker has its board");
    }
    if (line.command == "broker") {
        require_consistent_broker(line.options);
    }
    if (line.command != "run") {
        return;
    }
    if (line.options.board.empty()) {
        fail(kExitUsage, "run needs a simulated board: diagctl --board BOARDFILE run -- COMMAND");
    }
    if (line.options.json) {
        fail(kExitUsage, "run has no --json: what is printed is the program's");
    }
}

std::string usage_error(const CLI::ParseError &error, const std::string &command) {
    if (command.empty() &&
        error.get_exit_code() == static_cast<int>(CLI::ExitCodes::RequiredError)) {
        return "no command given, it is one of " + join(command_names(), ", ");
    }
    if (command == "run" &&
        error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError)) {
        return "run takes its command behind --";
    }
    return one_line(error.what());
}

void parse(CLI::App &app, int argc, char **argv, CommandLine &line) {
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
        line.help = app.help();
    } catch (const CLI::CallForVersion &) {
        line.help = app.version() + "\n";
    } catch (const CLI::ParseError &error) {
        fail(kExitUsage, "{}; see diagctl {}{}--help", usage_error(error, line.command),
             line.command, line.command.empty() ? "" : " ");
    }
}

}  // namespace

void parse_command_line(int argc, char **argv, CommandLine &line) {
    const Outline outline = outline_of(argc, argv);
    line.options.json = outline.json;
    if (!outline.command.empty() && !is_command(outline.command)) {
        fail(kExitUsage, "no command \"{}\"{}; see diagctl --help", outline.command,
             nearest_hint(outline.command, command_names()));
    }
    line.command = outline.command;
    CLI::App app("Reads a board's device description and works on registers by name.", "diagctl");
    describe_program(app, line.options);
    const bool is_run = outline.command == "run";
    parse(app, is_run ? outline.end_of_options : argc, argv, line);
    if (!line.help.empty()) {
        return;
    }
    line.run = chosen_command(app)->run;
    require_consistent(line);
    if (is_run) {
        take_program(outline, argc, argv, line.options);
    }
}

}  // namespace diag::diagctl
