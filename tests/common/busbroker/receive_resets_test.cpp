// SPDX-License-Identifier: MIT
// The receive machine's resets: by hand, by time, by what it is fed, and without memory. What it
// holds is freed once, wherever the reset comes.
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/machine.h"
#include "tests/support/failing_allocations.h"

namespace diag::test {
namespace {

class ReceiveResets : public MachineTest {
  protected:
    const Answer answer_{};
    const std::string frame_ = answer_.frame();
    Machine machine_;
};

TEST_F(ReceiveResets, ByHandAfterEachByte) {
    for (size_t cut = 0; cut <= frame_.size(); cut++) {
        machine_.take(frame_.substr(0, cut));
        EXPECT_EQ(reset_sm(&machine_.client(), nullptr), 0U);
        EXPECT_TRUE(is_reset(machine_)) << cut;
        EXPECT_TRUE(accepts(machine_, answer_)) << cut;
    }
}

TEST_F(ReceiveResets, Twice) {
    machine_.take(frame_.substr(0, 30));
    reset_sm(&machine_.client(), nullptr);
    reset_sm(&machine_.client(), nullptr);
    EXPECT_TRUE(is_reset(machine_));
}

TEST_F(ReceiveResets, OfNoContextIsSafe) {
    EXPECT_EQ(reset_sm(nullptr, nullptr), 0U);
}

TEST_F(ReceiveResets, ByTimeAfterEachByte) {
    for (size_t cut = 0; cut <= frame_.size(); cut++) {
        Machine machine;
        machine.take(frame_.substr(0, cut));
        clock_.pass_seconds(kTooLong);
        EXPECT_EQ(machine.take(frame_.substr(cut)), 0U);
        const bool is_whole = cut == 0 || cut == frame_.size();
        EXPECT_EQ(machine.answers().size(), is_whole ? 1U : 0U) << cut;
        EXPECT_TRUE(accepts(machine, answer_)) << cut;
    }
}

TEST_F(ReceiveResets, ByTimeTakeNoByte) {
    for (size_t cut = 0; cut < frame_.size(); cut++) {
        machine_.take(frame_.substr(0, cut));
        clock_.pass_seconds(kTooLong);
        EXPECT_TRUE(accepts(machine_, answer_)) << cut;
    }
}

TEST_F(ReceiveResets, ByTimeEvenOfAMachineThatWaits) {
    clock_.pass_seconds(kTooLong);
    EXPECT_TRUE(accepts(machine_, answer_));
    clock_.pass_seconds(1'000'000);
    EXPECT_TRUE(accepts(machine_, answer_));
}

TEST_F(ReceiveResets, NoneWhileTheStepsFollowInTime) {
    std::string_view rest = frame_;
    for (; rest.size() > 3; rest.remove_prefix(1)) {
        clock_.pass_seconds(3);
        machine_.take(rest.substr(0, 1));
    }
    clock_.pass_seconds(3);
    machine_.take(rest);
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

TEST_F(ReceiveResets, NoneWhenTheClockIsSetBack) {
    machine_.take(frame_.substr(0, 40));
    clock_.pass_seconds(-1000);
    machine_.take(frame_.substr(40));
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

// A context that was never used has seen its last byte in 1970.
TEST_F(ReceiveResets, AZeroedContextStartsWithOne) {
    machine_->last_rx_time = {};
    EXPECT_TRUE(accepts(machine_, answer_));
}

TEST_F(ReceiveResets, ByABadFieldInPieces) {
    struct Case {
        Piece piece;
        const char *text;
    };
    for (const Case &test : {Case{kPriority, "00000003"},
                             {kType, "00000008"},
                             {kIndication, "06"},
                             {kFooter, "RPX"},
                             {kCrc, "00000000"}}) {
        std::vector<std::string> pieces = answer_.pieces();
        pieces[test.piece] = test.text;
        const std::string bad = joined(pieces);
        for (size_t cut = 0; cut <= bad.size() - 3; cut++) {
            machine_.take(bad.substr(0, cut));
            machine_.take(bad.substr(cut));
            ASSERT_TRUE(is_reset(machine_)) << test.text << " cut at " << cut;
        }
        machine_.take_byte_by_byte(bad);
        ASSERT_TRUE(is_reset(machine_)) << test.text;
    }
    EXPECT_EQ(machine_.answers(), Answers());
    EXPECT_TRUE(accepts(machine_, answer_));
}

TEST_F(ReceiveResets, TheMachineCanBeDroppedAfterEachByte) {
    for (size_t cut = 0; cut <= frame_.size(); cut++) {
        Machine machine;
        machine.take(frame_.substr(0, cut));
    }
}

// ---- without memory ----

// The text logged while two frames are taken in the given pieces with one allocation failing.
std::string text_without_memory(AllocationWatch &watch, Machine &machine,
                                const std::vector<std::string> &datagrams) {
    return text_logged_by(
        [&] {
            watch.start();
            for (const std::string &datagram : datagrams) {
                EXPECT_EQ(machine.take(datagram), 0U);
            }
            reset_sm(&machine.client(), nullptr);
            watch.stop();
        },
        -1);
}

std::vector<std::string> in_pieces(const std::string &frame, size_t length) {
    std::vector<std::string> datagrams;
    size_t at = 0;
    for (; at + length < frame.size() - 3; at += length) {
        datagrams.push_back(frame.substr(at, length));
    }
    datagrams.push_back(frame.substr(at));
    return datagrams;
}

// Room is made for: record and first number, id, number, name, number, data, support data, CRC.
constexpr size_t kAllocations = 9;

TEST_F(ReceiveResets, EachAllocationThatFailsCostsOneAnswer) {
    Answer other = answer_;
    other.transac_id = 8;
    for (const size_t length : {size_t{1}, size_t{7}, frame_.size()}) {
        std::vector<std::string> datagrams = in_pieces(frame_, length);
        const std::vector<std::string> more = in_pieces(other.frame(), length);
        datagrams.insert(datagrams.end(), more.begin(), more.end());
        size_t round = 0;
        const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
            Machine machine;
            const std::string text = text_without_memory(watch, machine, datagrams);
            EXPECT_EQ(text.empty(), !watch.has_failed());
            if (round % kAllocations < 2 && watch.has_failed()) {
                EXPECT_EQ(text, "busbroker_req_resp_header_proc[]: Mem alloc fail\n");
            }
            const Answers expected = round < kAllocations       ? Answers{other}
                                     : round < 2 * kAllocations ? Answers{answer_}
                                                                : Answers{answer_, other};
            EXPECT_EQ(machine.answers(), expected) << "allocation " << round;
            EXPECT_TRUE(accepts(machine, answer_)) << "with memory again";
            reset_sm(&machine.client(), nullptr);
            round++;
        });
        EXPECT_EQ(failed, static_cast<int>(2 * kAllocations)) << "pieces of " << length;
    }
}

TEST_F(ReceiveResets, TwoAnswersOfOneDatagramWithoutMemory) {
    Answer other = answer_;
    other.transac_id = 8;
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        Machine machine;
        text_without_memory(watch, machine, {frame_ + other.frame()});
        EXPECT_EQ(machine.answers().size(), watch.has_failed() ? 1U : 2U) << round;
        round++;
    });
    EXPECT_EQ(round, 2 * kAllocations + 1);
}

// The room for the data is asked for when its length is known; without it the record is given up
// there, but its data are still passed over.
TEST_F(ReceiveResets, DataWithoutRoomArePassedOver) {
    Answer hiding = answer_;
    hiding.support = "";
    hiding.data = answer_.frame();  // an answer in an answer
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        constexpr size_t kRoomForData = 6;
        Machine machine;
        text_without_memory(watch, machine, {hiding.frame()});
        if (round == kRoomForData) {
            EXPECT_EQ(machine.answers(), Answers());
        }
        round++;
    });
    EXPECT_GT(round, 6U);
}

TEST_F(ReceiveResets, TheStateKeepsItsSuccessWithoutRoomForData) {
    const std::vector<std::string> pieces = answer_.pieces();
    const std::string front =
        joined(std::vector<std::string>(pieces.begin(), pieces.begin() + kSupportLen));
    size_t round = 0;
    for_each_failing_allocation([&](AllocationWatch &watch) {
        Machine machine;
        machine.take(front);
        machine.load(pieces[kSupportLen]);
        text_logged_by([&] {
            watch.start();
            EXPECT_EQ(busbroker_req_resp_suprt_data_len_proc(&machine.client(), nullptr),
                      uint32_t{DIAG_RX_DONE});
            watch.stop();
        });
        EXPECT_EQ(machine->cur_req == nullptr, watch.has_failed());
        EXPECT_EQ(machine->field_len, answer_.data.size());
        if (watch.has_failed()) {
            EXPECT_EQ(machine->field_buf, nullptr);
            EXPECT_EQ(busbroker_req_resp_footer_validtn_state(&machine.client(), nullptr),
                      uint32_t{DIAG_RX_ERROR});
        }
        reset_sm(&machine.client(), nullptr);
        round++;
    });
    EXPECT_EQ(round, 2U);
}

}  // namespace
}  // namespace diag::test
