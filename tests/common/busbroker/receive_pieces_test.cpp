// SPDX-License-Identifier: MIT
// Answers that come in pieces, and datagrams that are full.
#include <gtest/gtest.h>
#include <string>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/machine.h"

namespace diag::test {
namespace {

class ReceivePieces : public MachineTest {
  protected:
    const Answer answer_{};
    const std::string frame_ = answer_.frame();
    const size_t last_cut_ = frame_.size() - 3;  // the end mark has to come whole
    Machine machine_;
};

TEST_F(ReceivePieces, OneCutAnywhere) {
    for (size_t cut = 0; cut <= frame_.size(); cut++) {
        if (cut > last_cut_ && cut < frame_.size()) {
            continue;
        }
        Machine machine;
        machine.take(frame_.substr(0, cut));
        EXPECT_EQ(machine.answers().size(), cut == frame_.size() ? 1U : 0U) << cut;
        machine.take(frame_.substr(cut));
        EXPECT_EQ(machine.answers(), Answers{answer_}) << cut;
        EXPECT_TRUE(is_reset(machine)) << cut;
    }
}

TEST_F(ReceivePieces, TwoCutsAnywhere) {
    Answers expected;
    for (size_t first = 0; first <= last_cut_; first++) {
        for (size_t second = first; second <= last_cut_; second++) {
            machine_.take(frame_.substr(0, first));
            machine_.take(frame_.substr(first, second - first));
            machine_.take(frame_.substr(second));
            expected.push_back(answer_);
            ASSERT_EQ(machine_.answers().size(), expected.size()) << first << ", " << second;
        }
    }
    EXPECT_EQ(machine_.answers(), expected);
}

TEST_F(ReceivePieces, EveryByteAlone) {
    machine_.take_byte_by_byte(frame_);
    machine_.take_byte_by_byte(frame_);
    EXPECT_EQ(machine_.answers(), (Answers{answer_, answer_}));
}

TEST_F(ReceivePieces, OfEveryLength) {
    Answers expected;
    for (size_t length = 1; length <= last_cut_; length++) {
        const size_t rest = (last_cut_ % length) + 3;  // the last piece takes the end mark too
        size_t at = 0;
        for (; at + length <= last_cut_; at += length) {
            machine_.take(frame_.substr(at, length));
        }
        machine_.take(frame_.substr(at, rest));
        expected.push_back(answer_);
        ASSERT_EQ(machine_.answers().size(), expected.size()) << length;
    }
    EXPECT_EQ(machine_.answers(), expected);
}

TEST_F(ReceivePieces, WithEmptyTexts) {
    Answer empty;
    empty.dev_id = empty.dev_name = empty.data = empty.support = "";
    machine_.take_byte_by_byte(empty.frame());
    const std::string frame = empty.frame();
    for (size_t cut = 0; cut <= frame.size() - 3; cut++) {
        machine_.take(frame.substr(0, cut));
        machine_.take(frame.substr(cut));
    }
    EXPECT_EQ(machine_.answers(), Answers(frame.size() - 1, empty));
}

TEST_F(ReceivePieces, WithDroppedCharactersInEach) {
    Answer dropped = answer_;
    dropped.data = "\nRx\nAck\n";
    Answer stripped = answer_;
    stripped.data = "RxAck";
    std::vector<std::string> pieces = dropped.pieces();
    pieces[kCrc] = hex(stripped.crc(), 8);
    machine_.take_byte_by_byte(joined(pieces));
    EXPECT_EQ(machine_.answers(), Answers{stripped});
}

TEST_F(ReceivePieces, BehindGarbageAndAlone) {
    machine_.take_byte_by_byte("garbage RP, and more" + frame_);
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

TEST_F(ReceivePieces, EmptyDatagramsInBetweenChangeNothing) {
    for (const char byte : frame_.substr(0, last_cut_)) {
        machine_.take(std::string(1, byte));
        machine_.take("");
    }
    machine_.take(frame_.substr(last_cut_));
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

// The NUL behind a datagram is never a part of what was sent: here it would close the field.
TEST_F(ReceivePieces, WhatLiesBehindTheDatagramIsNotRead) {
    machine_.load(frame_);
    machine_->rx_len = 4;
    EXPECT_EQ(busbroker_rx_state_machine(&machine_.client(), &machine_), 0U);
    EXPECT_EQ(machine_->cur_state, 1U);
    EXPECT_EQ(machine_->field_pos, 1U);
    EXPECT_EQ(machine_->field_cnt, 1U);
    machine_.take(frame_.substr(4));
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

TEST_F(ReceivePieces, ACutEndMarkIsNone) {
    for (const size_t cut : {frame_.size() - 2, frame_.size() - 1}) {
        Machine machine;
        machine.take(frame_.substr(0, cut));
        EXPECT_EQ(machine->cur_req, nullptr);
        EXPECT_EQ(machine->field_buf, nullptr);
        machine.take(frame_.substr(cut));
        EXPECT_EQ(machine.answers(), Answers()) << cut;
        EXPECT_TRUE(accepts(machine, answer_));
    }
}

TEST_F(ReceivePieces, AFieldKeepsItsPlaceBetweenDatagrams) {
    machine_.take(frame_.substr(0, 3 + 2 + 5));
    EXPECT_EQ(machine_->cur_state, 2U);
    EXPECT_EQ(machine_->field_len, 8U);
    EXPECT_EQ(machine_->field_pos, 5U);
    EXPECT_EQ(machine_->field_cnt, 5U);
    EXPECT_EQ(std::string(reinterpret_cast<const char *>(machine_->field_buf), 5),
              frame_.substr(5, 5));
    ASSERT_NE(machine_->cur_req, nullptr);
    EXPECT_EQ(machine_->cur_req->tool_id, 3);
}

// ---- full datagrams ----

TEST_F(ReceivePieces, AnAnswerFillsADatagram) {
    Answer full;
    full.data = std::string(kLargestDatagram - Answer{}.frame().size() + full.data.size(), 'd');
    ASSERT_EQ(full.frame().size(), kLargestDatagram);
    EXPECT_TRUE(accepts(machine_, full));
    EXPECT_TRUE(accepts(machine_, full));
}

TEST_F(ReceivePieces, OneByteMoreThanADatagram) {
    for (const size_t more : {1, 2, 3}) {
        Answer large;
        large.data =
            std::string(kLargestDatagram + more - Answer{}.frame().size() + large.data.size(), 'd');
        const std::string frame = large.frame();
        Machine machine;
        machine.take(frame.substr(0, kLargestDatagram));
        machine.take(frame.substr(kLargestDatagram));
        EXPECT_EQ(machine.answers(), more == 3 ? Answers{large} : Answers());
    }
}

TEST_F(ReceivePieces, TheLargestAnswerOverManyDatagrams) {
    Answer large;
    large.data = std::string(65535, 'd');
    large.data[4096] = '\r';
    large.support = std::string(255, 's');
    const std::string frame = large.frame();
    for (size_t at = 0; at < frame.size(); at += kLargestDatagram) {
        machine_.take(frame.substr(at, kLargestDatagram));
    }
    EXPECT_EQ(machine_.answers(), Answers{large});
    EXPECT_TRUE(is_reset(machine_));
}

TEST_F(ReceivePieces, DatagramsFullOfAnswers) {
    std::string stream;
    Answers expected;
    for (uint32_t i = 0; i < 400; i++) {
        Answer answer = answer_;
        answer.transac_id = i;
        answer.data = std::string(i % 50, 'd');
        // No end mark lies across the end of a datagram.
        const size_t end = (stream.size() + answer.frame().size()) % kLargestDatagram;
        stream += end == 1 || end == 2 ? "  " : "";
        stream += answer.frame();
        expected.push_back(answer);
    }
    for (size_t at = 0; at < stream.size(); at += kLargestDatagram) {
        machine_.take(stream.substr(at, kLargestDatagram));
    }
    EXPECT_EQ(machine_.answers(), expected);
}

TEST_F(ReceivePieces, ADatagramFullOfGarbage) {
    for (const char *piece : {"R", "RP", "RPE", "P", "\n", "x"}) {
        std::string garbage;
        while (garbage.size() < kLargestDatagram) {
            garbage += piece;
        }
        garbage.resize(kLargestDatagram - 1);
        EXPECT_EQ(machine_.take(garbage + "."), 0U);
        EXPECT_TRUE(accepts(machine_, answer_)) << piece;
    }
    EXPECT_EQ(machine_.take(std::string(kLargestDatagram, '\0')), 0U);
    EXPECT_TRUE(accepts(machine_, answer_));
}

}  // namespace
}  // namespace diag::test
