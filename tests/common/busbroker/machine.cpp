// SPDX-License-Identifier: MIT
#include "tests/common/busbroker/machine.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <stdexcept>

#include "diag_util.h"

namespace diag::test {

namespace {

std::string text_of(const char *text, size_t length) {
    if (text == nullptr || text[length] != '\0') {
        throw std::logic_error("a delivered text is not as long as its length says");
    }
    return {text, length};
}

}  // namespace

Machine::Machine() : client_(std::make_unique<tool_info>()) {
    *client_ = {};
    client_->rx_stateinfo = &busbroker_rx_stateinfo;
    client_->req_done = deliver;
    update_time(client_.get());
}

Machine::~Machine() {
    reset_sm(client_.get(), nullptr);
}

void Machine::load(std::string_view datagram) {
    if (datagram.size() > kLargestDatagram) {
        throw std::length_error("no datagram is that long");
    }
    std::memcpy(client_->rx_buf, datagram.data(), datagram.size());
    client_->rx_len = static_cast<uint32_t>(datagram.size());
    client_->rx_buf[client_->rx_len] = '\0';
}

uint32_t Machine::take(std::string_view datagram) {
    load(datagram);
    const uint32_t status = busbroker_rx_state_machine(client_.get(), this);
    EXPECT_EQ(client_->rx_idx, 0U);
    return status;
}

void Machine::take_byte_by_byte(std::string_view frame) {
    for (; frame.size() > 3; frame.remove_prefix(1)) {
        take(frame.substr(0, 1));
    }
    take(frame);
}

uint32_t Machine::deliver(tool_info *client, void *machine, busbroker_req *record) {
    auto *self = static_cast<Machine *>(machine);
    EXPECT_EQ(client, self->client_.get());
    self->answers_.push_back({record->tool_id, record->inst_id, record->transac_id,
                              text_of(record->dev_id, record->dev_id_len),
                              text_of(record->dev_name, record->dev_name_len), record->req_prio,
                              record->req_type, record->transac_ind,
                              text_of(record->actual_data, record->actual_datalen),
                              text_of(record->support_data, record->suprt_data_len)});
    EXPECT_EQ(record->crc, self->answers_.back().crc());
    return 0;
}

testing::AssertionResult is_reset(Machine &machine) {
    const tool_info &client = machine.client();
    if (client.cur_state == 0 && client.field_len == 3 && client.field_pos == 0 &&
        client.field_cnt == 0 && std::string_view(client.marker, 3) == "RPS" &&
        client.field_buf == nullptr && client.cur_req == nullptr) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "state " << client.cur_state << ", field " << client.field_pos << " of "
           << client.field_len << ", " << client.field_cnt << " stored, marker "
           << std::string_view(client.marker, 3);
}

testing::AssertionResult accepts(Machine &machine, const Answer &answer) {
    const size_t before = machine.answers().size();
    const uint32_t status = machine.take(answer.frame());
    if (status != 0) {
        return testing::AssertionFailure() << "status " << status;
    }
    if (machine.answers().size() != before + 1) {
        return testing::AssertionFailure()
               << machine.answers().size() - before << " records delivered";
    }
    if (machine.answers().back() != answer) {
        return testing::AssertionFailure() << "delivered: " << machine.answers().back();
    }
    return testing::AssertionSuccess();
}

Messages without_steps(const Messages &messages) {
    Messages rest;
    std::copy_if(messages.begin(), messages.end(), std::back_inserter(rest),
                 [](const Message &message) {
                     return !message.text.starts_with("Rx current state value is ");
                 });
    return rest;
}

}  // namespace diag::test
