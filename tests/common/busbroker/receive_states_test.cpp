// SPDX-License-Identifier: MIT
// What each state of the receive machine makes of its field.
#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/machine.h"

namespace diag::test {
namespace {

class ReceiveStates : public MachineTest {
  protected:
    // Takes the answer with some of its pieces replaced.
    void take(const std::vector<std::pair<Piece, std::string>> &changes) {
        std::vector<std::string> pieces = answer_.pieces();
        for (const auto &[piece, text] : changes) {
            pieces[piece] = text;
        }
        EXPECT_EQ(machine_.take(joined(pieces)), 0U);
    }

    // Messages of a fresh machine that takes one answer.
    static Messages messages_of(const std::string &frame) {
        return without_steps(logged_by([&] { Machine().take(frame); }));
    }

    // Those among them that come from the piece.
    static bool contains(const Messages &messages, const Messages &part) {
        return std::search(messages.begin(), messages.end(), part.begin(), part.end()) !=
               messages.end();
    }

    Answer answer_;
    Machine machine_;
};

TEST_F(ReceiveStates, RebuildARecord) {
    EXPECT_EQ(machine_.take(answer_.frame()), 0U);
    EXPECT_EQ(machine_.answers(), Answers{answer_});
    EXPECT_TRUE(is_reset(machine_));
}

TEST_F(ReceiveStates, RebuildRecordsOfEveryShape) {
    for (const std::string &data : {std::string(), std::string("Rx Ack"), std::string(300, 'd')}) {
        for (const std::string &support : {std::string(), std::string(",01,02")}) {
            for (const std::string &name :
                 {std::string(), std::string("n"), std::string(32, 'n')}) {
                answer_.data = data;
                answer_.support = support;
                answer_.dev_name = name;
                answer_.dev_id = support + "i";
                EXPECT_TRUE(accepts(machine_, answer_));
            }
        }
    }
    answer_.dev_id = "";
    EXPECT_TRUE(accepts(machine_, answer_));
    EXPECT_TRUE(is_reset(machine_));
}

TEST_F(ReceiveStates, TakeTheLargestValues) {
    answer_ = {22, 0xFFFFFFFF, 0xFFFFFFFF, std::string(255, 'i'),  std::string(255, 'n'),
               2,  7,          5,          std::string(3000, 'd'), std::string(255, 's')};
    EXPECT_TRUE(accepts(machine_, answer_));
}

TEST_F(ReceiveStates, LogEachFieldInItsOrder) {
    answer_.req_prio = 1;
    answer_.dev_id = "mbox0";
    const std::string crc = hex(answer_.crc(), 1);
    const Messages expected = {{1, "Rx tool id = 3\n"},
                               {1, "Rx instance id = 287454020\n"},
                               {1, "Rx transaction id = 7\n"},
                               {1, "Rx dev id len = 5\n"},
                               {1, "dev_id = mbox0\n"},
                               {1, "dev_name_len = 3\n"},
                               {1, "Rx dev name len = 3\n"},
                               {1, "dev_name = lpc\n"},
                               {1, "Rx request priority = 0x1\n"},
                               {3, "Rx request type = 0x3\n"},
                               {3, "transac indication = 0x5\n"},
                               {1, "Rx total data length = 24\n"},
                               {1, "Rx support data length = 3\n"},
                               {3, "Rx data = 00000062,0001,08,Success of len 24\n"},
                               {3, "Rx data = ,01 of len 3\n"},
                               {3, "Rx CRC = 0x" + crc + "\n"},
                               {3, "Calculated CRC =0x" + crc + "\n"},
                               {3, "CRC Validation success,pushing the req to queues\n"}};
    EXPECT_EQ(messages_of(answer_.frame()), expected);
}

TEST_F(ReceiveStates, LogEmptyDataButNoEmptySupportData) {
    answer_.data = answer_.support = "";
    const Messages messages = messages_of(answer_.frame());
    EXPECT_TRUE(contains(messages, {{1, "Rx support data length = 0\n"},
                                    {3, "Rx data =  of len 0\n"},
                                    {3, "Rx CRC = 0x" + hex(answer_.crc(), 1) + "\n"}}));
}

TEST_F(ReceiveStates, LogNumbersAsSignedOnes) {
    answer_.inst_id = 0xFFFFFFFF;
    answer_.transac_id = 0x80000000;
    EXPECT_TRUE(contains(messages_of(answer_.frame()),
                         {{1, "Rx instance id = -1\n"}, {1, "Rx transaction id = -2147483648\n"}}));
}

// ---- names ----

TEST_F(ReceiveStates, ReportALongIdAndGoOn) {
    answer_.dev_id = std::string(33, 'i');
    EXPECT_TRUE(accepts(machine_, answer_));
    // The name's length is reported as too long for the sake of the id.
    EXPECT_TRUE(contains(messages_of(answer_.frame()),
                         {{0, "Device id length [33] exceeded max allowed dev id len [32]\n"},
                          {1, "dev_id = " + answer_.dev_id + "\n"},
                          {1, "dev_name_len = 3\n"},
                          {0, "Device name length [3] exceeded max allowed dev name len [32]\n"},
                          {1, "dev_name = lpc\n"}}));
}

TEST_F(ReceiveStates, ReportALongNameAtTheEndOnly) {
    answer_.dev_id = std::string(32, 'i');
    answer_.dev_name = std::string(40, 'n');
    EXPECT_TRUE(accepts(machine_, answer_));
    const Messages messages = messages_of(answer_.frame());
    EXPECT_TRUE(contains(messages, {{1, "Rx dev id len = 32\n"},
                                    {1, "dev_id = " + answer_.dev_id + "\n"},
                                    {1, "dev_name_len = 40\n"},
                                    {1, "Rx dev name len = 40\n"}}));
    EXPECT_TRUE(
        contains(messages, {{3, "Req rx on socket id 40 has exceeded max allowed dev len 32\n"}}));
}

// ---- ranges ----

TEST_F(ReceiveStates, RefuseValuesOutOfRange) {
    struct Case {
        Piece piece;
        const char *text;
        Messages messages;  // the last ones
    };
    const std::vector<Case> cases = {
        {kPriority,
         "00000003",
         {{1, "Rx request priority = 0x3\n"}, {0, "Invalid prority values \n"}}},
        {kPriority,
         "ffffffff",
         {{1, "Rx request priority = 0xffffffff\n"}, {0, "Invalid prority values \n"}}},
        {kType, "00000008", {{3, "Rx request type = 0x8\n"}, {2, "Invalid req type \n"}}},
        {kType, "80000001", {{3, "Rx request type = 0x80000001\n"}, {2, "Invalid req type \n"}}},
        {kIndication, "06", {{3, "transac indication = 0x6\n"}}},
        {kIndication, "ff", {{3, "transac indication = 0xff\n"}}}};
    for (const Case &test : cases) {
        take({{test.piece, test.text}});
        EXPECT_TRUE(is_reset(machine_)) << test.text;
        EXPECT_EQ(machine_.answers(), Answers());
        std::vector<std::string> pieces = answer_.pieces();
        pieces[test.piece] = test.text;
        const Messages messages = messages_of(joined(pieces));
        ASSERT_GE(messages.size(), test.messages.size());
        EXPECT_EQ(
            Messages(messages.end() - static_cast<long>(test.messages.size()), messages.end()),
            test.messages);
    }
    EXPECT_TRUE(accepts(machine_, answer_));
}

TEST_F(ReceiveStates, AcceptEachValueInRange) {
    for (uint32_t value = 0; value < 8; value++) {
        Answer answer;
        answer.req_type = value;
        answer.req_prio = value % 3;
        answer.transac_ind = value % 6;
        EXPECT_TRUE(accepts(machine_, answer));
    }
}

TEST_F(ReceiveStates, RefuseToolsBeyondTheLastAtTheEnd) {
    answer_.tool_id = 23;
    take({});
    EXPECT_EQ(machine_.answers(), Answers());
    EXPECT_TRUE(is_reset(machine_));
    answer_.tool_id = 22;
    EXPECT_TRUE(accepts(machine_, answer_));
}

// ---- how numbers are read ----

TEST_F(ReceiveStates, ReadNumbersInTheLibrarysWay) {
    struct Case {
        const char *tool_text;
        const char *inst_text;
        uint32_t tool_id;
        uint32_t inst_id;
    };
    const Case cases[] = {{"0C", "00ABCDEF", 0x0C, 0xABCDEF}, {"xC", "0xABCdeF", 0x0C, 0xABCDEF},
                          {" c", " a b c  ", 0x0C, 0xABC},    {"c,", "abcg1234", 0x0C, 0xABC},
                          {"Xc", "0X1234ff", 0, 0},           {"-1", "+1234567", 0, 0}};
    Answers expected;
    for (const Case &test : cases) {
        answer_.tool_id = test.tool_id;
        answer_.inst_id = test.inst_id;
        take({{kToolId, test.tool_text}, {kInstId, test.inst_text}});
        expected.push_back(answer_);
        EXPECT_EQ(machine_.answers(), expected) << test.inst_text;
    }
}

// ---- characters that do not count ----

TEST_F(ReceiveStates, DropLineFeedsAndNulsFromTexts) {
    const std::string dropped("\n\0", 2);
    Answer stripped = answer_;
    answer_.dev_id = "m" + dropped + "box0";
    answer_.dev_name = dropped + "lpc";
    answer_.data = "00000062,0001,08" + dropped + ",Success" + dropped;
    answer_.support = dropped + ",01";
    take({{kCrc, hex(stripped.crc(), 8)}});
    EXPECT_EQ(machine_.answers(), Answers{stripped}) << "lengths are those of what is left";
}

TEST_F(ReceiveStates, KeepOtherControlCharacters) {
    answer_.data = "\r\t\x01\x7F\x80\xFF";
    EXPECT_TRUE(accepts(machine_, answer_));
}

TEST_F(ReceiveStates, CountLineFeedsTowardsANumber) {
    answer_.tool_id = 3;
    answer_.inst_id = 0x12;
    take({{kToolId, "3\n"}, {kInstId, "\n\n\n12\n\n\n"}});
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

TEST_F(ReceiveStates, ReadATextOfDroppedCharactersAsEmpty) {
    Answer stripped = answer_;
    stripped.dev_id = stripped.support = "";
    stripped.tool_id = 0;
    answer_.dev_id = std::string(5, '\0');
    answer_.support = "\n\n\n";
    take({{kToolId, "\n\n"}, {kCrc, hex(stripped.crc(), 8)}});
    EXPECT_EQ(machine_.answers(), Answers{stripped});
}

TEST_F(ReceiveStates, FindNoMarkAcrossALineFeed) {
    take({{kHeader, "RP\nS"}});
    take({{kHeader, std::string("R\0PS", 4)}});
    EXPECT_EQ(machine_.answers(), Answers());
    take({{kFooter, "RP\nE"}});
    EXPECT_EQ(machine_.answers(), Answers());
}

// ---- marks ----

TEST_F(ReceiveStates, SkipWhatIsInFrontOfTheStartMark) {
    for (const char *garbage :
         {"x", "RP", "RPx", "PS", "SPR", "RPERPE", "RQS", "rps", "\n\n", "RPRPE"}) {
        Machine machine;
        EXPECT_EQ(machine.take(std::string(garbage) + "." + answer_.frame()), 0U);
        EXPECT_EQ(machine.answers(), Answers{answer_}) << garbage;
    }
}

TEST_F(ReceiveStates, MissAMarkThatFollowsItsOwnBeginning) {
    for (const char *garbage : {"R", "RP"}) {
        Machine machine;
        EXPECT_EQ(machine.take(garbage + answer_.frame()), 0U);
        EXPECT_EQ(machine.answers(), Answers()) << garbage;
        EXPECT_TRUE(accepts(machine, answer_));
    }
}

TEST_F(ReceiveStates, RefuseAnotherEndMark) {
    for (const char *mark : {"RQE", "RSP", "rpe", "RPX", "xPE", "RP"}) {
        Machine machine;
        std::vector<std::string> pieces = answer_.pieces();
        pieces[kFooter] = mark;
        EXPECT_EQ(machine.take(joined(pieces) + "."), 0U);
        EXPECT_EQ(machine.answers(), Answers()) << mark;
        EXPECT_EQ(machine->cur_req, nullptr);
        machine.take(".");
        EXPECT_TRUE(accepts(machine, answer_)) << mark;
    }
}

// The start mark in place of the end mark begins the next answer.
TEST_F(ReceiveStates, FindAnAnswerInPlaceOfTheEndMark) {
    std::vector<std::string> pieces = answer_.pieces();
    pieces[kFooter] = "";
    EXPECT_EQ(machine_.take(joined(pieces) + answer_.frame()), 0U);
    EXPECT_EQ(machine_.answers(), Answers{answer_});
}

TEST_F(ReceiveStates, DropAFrameWithAWrongCrcSilently) {
    std::vector<std::string> pieces = answer_.pieces();
    pieces[kCrc] = hex(answer_.crc() ^ 1, 8);
    const Messages messages = messages_of(joined(pieces));
    EXPECT_EQ(messages.back(), (Message{3, "Calculated CRC =0x" + hex(answer_.crc(), 1) + "\n"}));
    EXPECT_EQ(machine_.take(joined(pieces) + answer_.frame()), 0U);
    EXPECT_EQ(machine_.answers(), Answers{answer_});
    EXPECT_TRUE(is_reset(machine_));
}

TEST_F(ReceiveStates, TakeSeveralAnswersOfOneDatagram) {
    Answer other;
    other.transac_id = 8;
    other.data = "Rx Ack";
    EXPECT_EQ(machine_.take(answer_.frame() + other.frame() + "?" + answer_.frame()), 0U);
    EXPECT_EQ(machine_.answers(), (Answers{answer_, other, answer_}));
}

TEST_F(ReceiveStates, WorkWithoutACompletionCall) {
    machine_->req_done = nullptr;
    EXPECT_EQ(machine_.take(answer_.frame()), 0U);
    EXPECT_TRUE(is_reset(machine_));
}

}  // namespace
}  // namespace diag::test
