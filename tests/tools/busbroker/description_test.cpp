// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/description.h"

#include <gtest/gtest.h>

#include "diags/tools/busbroker/start_error.h"
#include "tests/support/temporary_folder.h"

namespace diag::daemon {
namespace {

class DescriptionTest : public testing::Test {
  protected:
    // The complaint behind the file's name.
    std::string complaint(const std::string &text) const {
        const std::string path = folder_.write("d.xml", text);
        try {
            const Description description(path);
        } catch (const StartError &error) {
            EXPECT_EQ(error.exit_status(), kExitBadDescription);
            const std::string line = error.what();
            EXPECT_EQ(line.find('\n'), std::string::npos) << line;
            EXPECT_EQ(line.rfind(path, 0), 0U) << line;
            return line.substr(path.size());
        }
        return "accepted";
    }

    static std::string system_element(const std::string &host, const std::string &port,
                                      const std::string &type = "udp") {
        return "<config><system><ip>" + host + "</ip><PortNo>" + port +
               "</PortNo><inetfamily>ipv4</inetfamily><maxsockcnt>8</maxsockcnt><sock_type>" +
               type + "</sock_type></system></config>";
    }

    test::TemporaryFolder folder_;
};

TEST_F(DescriptionTest, SaysWhereXmlIsBroken) {
    EXPECT_EQ(complaint("<config>\n<chip></config>").substr(0, 3), ":2:");
}

TEST_F(DescriptionTest, SaysWhatTheLibraryComplainsAbout) {
    EXPECT_EQ(complaint("<board/>").substr(0, 33), ": not a usable board description:");
}

TEST_F(DescriptionTest, SaysThatAFileIsEmpty) {
    EXPECT_EQ(complaint(""), ": the file is empty");
}

TEST_F(DescriptionTest, SaysWhyAFileCannotBeRead) {
    try {
        const Description description(folder_.file("none"));
        FAIL() << "accepted";
    } catch (const StartError &error) {
        EXPECT_EQ(std::string(error.what()), folder_.file("none") + ": No such file or directory");
    }
}

TEST_F(DescriptionTest, TellsWhereTheDaemonIsToBe) {
    const Description description(folder_.write("d.xml", system_element("127.0.0.2", "4711")));
    ASSERT_TRUE(description.address());
    EXPECT_EQ(description.address()->text(), "127.0.0.2:4711");
}

TEST_F(DescriptionTest, MayLeaveOpenWhereTheDaemonIsToBe) {
    const Description description(folder_.write("d.xml", "<config><chip/></config>"));
    EXPECT_FALSE(description.address());
}

TEST_F(DescriptionTest, RefusesAnAddressThatTheDaemonCannotHave) {
    const std::string expected =
        ": <system>: the broker needs an IPv4 address, a port and the socket type udp";
    EXPECT_EQ(complaint(system_element("somewhere", "4711")), expected);
    EXPECT_EQ(complaint(system_element("127.0.0.1", "0")), expected);
    EXPECT_EQ(complaint(system_element("127.0.0.1", "4711", "tcp")), expected);
}

}  // namespace
}  // namespace diag::daemon
