// SPDX-License-Identifier: MIT
#include "diags/tools/busbroker/outbox.h"

#include <gtest/gtest.h>

namespace diag::daemon {
namespace {

using std::chrono::milliseconds;

class OutboxTest : public testing::Test {
  protected:
    void use(const BrokerFaults &faults) { faults_ = Faults(faults); }

    void post(const std::string &frame) { outbox_.post({0x7F000001, 1}, frame, now_); }

    std::vector<std::string> sent() { return std::exchange(sent_, {}); }

    Faults faults_;
    std::vector<std::string> sent_;
    Outbox outbox_{
        [this](const Endpoint & /*to*/, const std::string &frame) { sent_.push_back(frame); },
        faults_};
    TimePoint now_ = TimePoint(std::chrono::seconds(1000));
};

TEST_F(OutboxTest, SendsAtOnce) {
    post("a");
    EXPECT_EQ(sent(), std::vector<std::string>{"a"});
    EXPECT_FALSE(outbox_.deadline());
}

TEST_F(OutboxTest, IsSilentWhenAskedTo) {
    use({.silent = true});
    post("a");
    EXPECT_TRUE(sent().empty());
}

TEST_F(OutboxTest, Loses) {
    use({.lose = 100});
    post("a");
    EXPECT_TRUE(sent().empty());
}

TEST_F(OutboxTest, Doubles) {
    use({.double_percent = 100});
    post("a");
    EXPECT_EQ(sent(), (std::vector<std::string>{"a", "a"}));
}

TEST_F(OutboxTest, CorruptsOneBit) {
    use({.corrupt = 100});
    for (int i = 0; i < 50; ++i) {
        post("abcdef");
        const std::vector<std::string> frames = sent();
        ASSERT_EQ(frames.size(), 1U);
        int changed = 0;
        for (size_t at = 0; at < 6; ++at) {
            changed += __builtin_popcount(
                static_cast<unsigned>(static_cast<unsigned char>(frames[0][at] ^ "abcdef"[at])));
        }
        EXPECT_EQ(changed, 1);
    }
}

TEST_F(OutboxTest, HoldsLateAnswersBack) {
    use({.late = 100, .late_ms = 30});
    post("a");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(outbox_.deadline(), now_ + milliseconds(30));
    outbox_.flush(now_ + milliseconds(29));
    EXPECT_TRUE(sent().empty());
    outbox_.flush(now_ + milliseconds(30));
    EXPECT_EQ(sent(), std::vector<std::string>{"a"});
    EXPECT_FALSE(outbox_.deadline());
}

TEST_F(OutboxTest, SendsAReorderedAnswerBehindTheNext) {
    use({.reorder = 100});
    post("a");
    EXPECT_TRUE(sent().empty());
    use({});
    post("b");
    EXPECT_EQ(sent(), (std::vector<std::string>{"b", "a"}));
}

TEST_F(OutboxTest, SendsAReorderedAnswerThatNoneFollowsAfterAWhile) {
    use({.reorder = 100});
    post("a");
    EXPECT_EQ(outbox_.deadline(), now_ + milliseconds(20));
    outbox_.flush(now_ + milliseconds(20));
    EXPECT_EQ(sent(), std::vector<std::string>{"a"});
}

TEST_F(OutboxTest, HoldsSoManyBackAndNoMore) {
    use({.late = 100, .late_ms = 60'000});
    for (int i = 0; i < 300; ++i) {
        post("a");
    }
    EXPECT_EQ(sent().size(), 300U - 256U);
}

TEST_F(OutboxTest, LosesAboutAsManyAsAskedFor) {
    use({.lose = 25});
    for (int i = 0; i < 4000; ++i) {
        post("a");
    }
    EXPECT_NEAR(static_cast<double>(sent().size()), 3000, 150);
}

TEST(Faults, FollowTheirSeed) {
    const auto sequence = [](uint32_t seed) {
        Faults faults(BrokerFaults{.lose = 50, .seed = seed});
        std::vector<bool> decisions;
        for (int i = 0; i < 64; ++i) {
            decisions.push_back(faults.loses());
        }
        return decisions;
    };
    EXPECT_EQ(sequence(1), sequence(1));
    EXPECT_NE(sequence(1), sequence(2));
}

}  // namespace
}  // namespace diag::daemon
