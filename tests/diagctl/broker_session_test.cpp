// SPDX-License-Identifier: MIT
#include "diags/diagctl/broker_session.h"

#include "tests/diagctl/diagctl_test.h"
#include "tests/support/broker_double.h"

namespace diag::diagctl {
namespace {

TEST(BrokerAddress, IsWhatTheOptionSays) {
    const test::EnvironmentSetting environment("DIAG_BROKER", "10.0.0.1:1");
    EXPECT_EQ(broker_address("192.168.1.2:99").text(), "192.168.1.2:99");
    EXPECT_EQ(broker_address("192.168.1.2").text(), "192.168.1.2:7811");
    EXPECT_EQ(test::failure_of([] { broker_address("example:1"); }).status, 2);
}

TEST(BrokerAddress, IsTheUsualOneOtherwise) {
    for (const char *option : {kUsualBroker, ""}) {
        const test::EnvironmentSetting unset("DIAG_BROKER", nullptr);
        EXPECT_EQ(broker_address(option).text(), "127.0.0.1:7811");
        const test::EnvironmentSetting environment("DIAG_BROKER", "10.0.0.1:1");
        EXPECT_EQ(broker_address(option).text(), "10.0.0.1:1");
        const test::EnvironmentSetting bad("DIAG_BROKER", "x");
        EXPECT_EQ(test::failure_of([&] { broker_address(option); }).status, 3);
    }
}

TEST(BrokerSessionTest, KeepsWhatTheLibraryPrintsFromStandardOutput) {
    const test::BrokerDouble broker([](const test::BrokerRequest &request) {
        return std::vector<std::string>{"RPSzz", broker_answer(request, "Success")};
    });
    Options options;
    options.broker = "127.0.0.1:" + std::to_string(broker.port());
    testing::internal::CaptureStdout();
    {
        BrokerSession session(options);
        EXPECT_TRUE(session.client().ping().is_done());
        EXPECT_EQ(session.address(), options.broker);
    }
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

}  // namespace
}  // namespace diag::diagctl
