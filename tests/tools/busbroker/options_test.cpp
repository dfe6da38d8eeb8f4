// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/options.h"

#include <gtest/gtest.h>
#include <vector>

#include "diags/tools/busbroker/start_error.h"

namespace diag::daemon {
namespace {

ParsedOptions parse(std::vector<const char *> arguments) {
    arguments.insert(arguments.begin(), "busbroker");
    return parse_options(static_cast<int>(arguments.size()), arguments.data());
}

std::string complaint(const std::vector<const char *> &arguments) {
    try {
        parse(arguments);
    } catch (const StartError &error) {
        EXPECT_EQ(error.exit_status(), kExitUsage);
        const std::string line = error.what();
        EXPECT_EQ(line.find('\n'), std::string::npos) << line;
        return line;
    }
    return "accepted";
}

TEST(Options, NeedADescriptionAlone) {
    const Options options = parse({"d.xml"}).options;
    EXPECT_EQ(options.description, "d.xml");
    EXPECT_FALSE(options.check);
    EXPECT_FALSE(options.foreground);
    EXPECT_FALSE(options.trace);
    EXPECT_FALSE(options.port);
    EXPECT_FALSE(options.bind);
    EXPECT_EQ(options.board, "");
    EXPECT_EQ(options.times.transaction, std::chrono::seconds(2));
    EXPECT_EQ(options.times.wait, std::chrono::seconds(10));
}

TEST(Options, TakeAllOfThem) {
    const Options options =
        parse({"--check", "--foreground", "--port", "0", "--bind=10.0.0.1", "--trace=t.json",
               "--transaction-timeout", "500", "--wait=1500", "--board", "b.board", "d.xml"})
            .options;
    EXPECT_TRUE(options.check);
    EXPECT_TRUE(options.foreground);
    EXPECT_EQ(options.port, 0);
    EXPECT_EQ(options.bind, "10.0.0.1");
    EXPECT_TRUE(options.trace);
    EXPECT_EQ(options.trace_file, "t.json");
    EXPECT_EQ(options.times.transaction, std::chrono::milliseconds(500));
    EXPECT_EQ(options.times.wait, std::chrono::milliseconds(1500));
    EXPECT_EQ(options.board, "b.board");
}

TEST(Options, TraceToStandardErrorTakesNoFile) {
    const Options options = parse({"--foreground", "--trace", "d.xml"}).options;
    EXPECT_TRUE(options.trace);
    EXPECT_EQ(options.trace_file, "");
    EXPECT_EQ(options.description, "d.xml");
}

TEST(Options, RefuseWhatCannotBe) {
    EXPECT_NE(complaint({}), "accepted");
    EXPECT_NE(complaint({"a.xml", "b.xml"}), "accepted");
    EXPECT_NE(complaint({"--port", "65536", "d.xml"}), "accepted");
    EXPECT_NE(complaint({"--port", "-1", "d.xml"}), "accepted");
    EXPECT_NE(complaint({"--port", "x", "d.xml"}), "accepted");
    EXPECT_NE(complaint({"--wait", "0", "d.xml"}), "accepted");
    EXPECT_NE(complaint({"--transaction-timeout", "3600001", "d.xml"}), "accepted");
    EXPECT_NE(complaint({"--nonsense", "d.xml"}), "accepted");
    EXPECT_EQ(complaint({"--bind", "localhost", "d.xml"}),
              "--bind: \"localhost\" is no IPv4 address");
    EXPECT_EQ(complaint({"--trace", "d.xml"}),
              "a daemon has no standard error: say --trace=FILE or --foreground");
}

TEST(Options, HelpTellsTheLimits) {
    const std::string help = parse({"--help"}).text;
    for (const char *limit : {"256 clients", "32 waiting requests", "1024 waiting requests",
                              "64 answers", "for 60 s", "300 s", "1900 bytes", "1300 of a write"}) {
        EXPECT_NE(help.find(limit), std::string::npos) << limit;
    }
    EXPECT_EQ(parse({"--version"}).text.substr(0, 10), "busbroker ");
}

}  // namespace
}  // namespace diag::daemon
