// SPDX-License-Identifier: MIT
#include "tests/tools/busbroker/service_fixture.h"

namespace diag::test {

ServiceFixture::ServiceFixture() {
    device_node &cpld = maker_.chip("CPLD", 1, 0x31);
    cpld.dev_id = const_cast<char *>("2");
    maker_.reg(cpld, "BLOCK", 0).length = 0x100;
    device_node &fpga = maker_.chip("FPGA", 1, 0x32);
    fpga.dev_id = const_cast<char *>("3");
    maker_.reg(fpga, "BLOCK", 0).length = 0x100;
    maker_.reg(maker_.chip_on("PLD", DIAG_BUS_LPC, 0, 0x300), "BLOCK", 0).length = 0x1000;
}

daemon::Ground ServiceFixture::ground() {
    daemon::Ground made;
    made.identity = {"made.xml", "made.board"};
    made.directory = std::make_shared<const daemon::Directory>(maker_.tree());
    made.board = {std::shared_ptr<void>(), &board_->board()};
    made.faults = faults_;
    return made;
}

daemon::Service &ServiceFixture::service() {
    if (!service_) {
        board_.emplace(maker_, settings_);
        service_.emplace(daemon::Service::Setup{
            .ground = ground(),
            .times = {},
            .now = [this] { return now_; },
            .send =
                [this](const daemon::Endpoint &to, const std::string &frame) {
                    const auto fields = parse_answer(frame);
                    ASSERT_TRUE(fields) << frame;
                    answers_.push_back({to, *fields});
                },
            .trace = &trace_,
        });
    }
    return *service_;
}

void ServiceFixture::send_bytes(uint16_t port, const std::string &datagram) {
    service().receive({0x7F000001, port}, bytes_of(datagram));
}

void ServiceFixture::send(uint16_t port, const FrameFields &fields) {
    send_bytes(port, request_frame(fields));
    service().perform();
}

std::vector<std::string> ServiceFixture::texts(uint16_t port) {
    std::vector<std::string> found;
    for (const SentAnswer &answer : answers_) {
        if (answer.to.port == port) {
            found.push_back(answer.fields.data);
        }
    }
    std::erase_if(answers_, [port](const SentAnswer &answer) { return answer.to.port == port; });
    return found;
}

std::string ServiceFixture::ask(uint16_t port, FrameFields fields) {
    fields.transaction = transaction_++;
    texts(port);
    send(port, fields);
    const std::vector<std::string> found = texts(port);
    EXPECT_EQ(found.size(), 1U);
    return found.empty() ? std::string() : found.back();
}

nlohmann::json ServiceFixture::status() {
    std::string document;
    std::string piece;
    do {
        const auto offset = static_cast<uint32_t>(document.size());
        const std::string text = ask(9999, read_request("busbroker", offset, 200));
        const std::string hex = text.substr(text.rfind(',') + 1);
        piece.clear();
        for (size_t i = 0; i + 1 < hex.size(); i += 2) {
            piece.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        }
        document += piece;
    } while (!piece.empty());
    return nlohmann::json::parse(document);
}

FrameFields with_indication(FrameFields fields, uint32_t indication) {
    fields.indication = indication;
    return fields;
}

FrameFields numbered(FrameFields fields, uint32_t transaction) {
    fields.transaction = transaction;
    return fields;
}

}  // namespace diag::test
