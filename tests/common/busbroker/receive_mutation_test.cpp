// SPDX-License-Identifier: MIT
// Damaged answers: the machine survives them, delivers nothing that is not whole, and takes the
// next good answer.
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/machine.h"

namespace diag::test {
namespace {

class ReceiveMutation : public MachineTest {
  protected:
    ReceiveMutation() {
        set_verb_level(static_cast<unsigned>(-1));
        set_log_level(static_cast<unsigned>(-1));
    }

    size_t below(size_t limit) {
        return std::uniform_int_distribution<size_t>(0, limit - 1)(dice_);
    }

    // A byte as it occurs in frames, or any.
    char random_byte() {
        constexpr std::string_view kUsual("0123456789abcdefRPSE,\n\0xX ", 26);
        return below(3) != 0 ? kUsual[below(kUsual.size())] : static_cast<char>(below(256));
    }

    Answer random_answer() {
        Answer answer;
        answer.transac_id = static_cast<uint32_t>(below(1U << 31));
        answer.req_type = static_cast<uint32_t>(below(8));
        answer.req_prio = static_cast<uint32_t>(below(3));
        answer.dev_id = std::string(below(40), 'i');
        answer.data = std::string(below(60), 'd');
        answer.support = std::string(below(9), 's');
        return answer;
    }

    void mutate(std::string &text) {
        const size_t at = below(text.size());
        const size_t length = 1 + below(8);
        switch (below(6)) {
            case 0:
                text[at] = random_byte();
                break;
            case 1:
                text.insert(at, 1 + below(4), random_byte());
                break;
            case 2:
                text.erase(at, length);
                break;
            case 3:
                text.insert(below(text.size()), text.substr(at, length));
                break;
            case 4:
                text[at] = static_cast<char>(text[at] ^ (1 << below(8)));
                break;
            default:
                text.resize(at);
                break;
        }
        text += text.empty() ? "R" : "";
    }

    std::string mutated(std::string text) {
        for (size_t left = 1 + below(4); left > 0; left--) {
            mutate(text);
        }
        return text;
    }

    void take_in_pieces(Machine &machine, std::string_view text) {
        while (!text.empty()) {
            const size_t length = std::min(text.size(), 1 + below(text.size()));
            ASSERT_EQ(machine.take(text.substr(0, length)), 0U);
            text.remove_prefix(length);
        }
    }

    std::mt19937 dice_{20240917};  // NOLINT(cert-msc51-cpp): the same damage in every run
};

TEST_F(ReceiveMutation, AGoodAnswerIsTakenAfterADamagedOneAndATimeOut) {
    Machine machine;
    for (int round = 0; round < 4000; round++) {
        take_in_pieces(machine, mutated(random_answer().frame()));
        clock_.pass_seconds(kTooLong);
        ASSERT_TRUE(accepts(machine, random_answer())) << "round " << round;
    }
}

// A damaged length swallows what follows, 65,535 characters of data at most.
TEST_F(ReceiveMutation, GoodAnswersAreTakenAgainWithoutATimeOut) {
    const Answer good;
    for (int round = 0; round < 300; round++) {
        Machine machine;
        take_in_pieces(machine, mutated(random_answer().frame()));
        size_t swallowed = 0;
        while (!accepts(machine, good)) {
            swallowed += good.frame().size();
            ASSERT_LT(swallowed, 65535U + 3 * 255 + 3 * good.frame().size()) << "round " << round;
        }
    }
}

TEST_F(ReceiveMutation, NoiseIsSurvived) {
    Machine machine;
    for (int round = 0; round < 300; round++) {
        std::string noise = below(2) != 0 ? "RPS" : "";
        while (noise.size() < 500) {
            noise += random_byte();
        }
        take_in_pieces(machine, noise);
    }
    EXPECT_EQ(machine.answers(), Answers());
    clock_.pass_seconds(kTooLong);
    EXPECT_TRUE(accepts(machine, Answer{}));
}

TEST_F(ReceiveMutation, NoSingleDamagedCharacterIsDelivered) {
    const Answer good;
    const std::string frame = good.frame();
    Machine machine;
    for (size_t at = 0; at < frame.size(); at++) {
        std::string bad = frame;
        bad[at] = bad[at] == '7' ? '6' : '7';
        machine.take(bad);
        EXPECT_EQ(machine.answers(), Answers()) << at;
        reset_sm(&machine.client(), nullptr);
    }
}

}  // namespace
}  // namespace diag::test
