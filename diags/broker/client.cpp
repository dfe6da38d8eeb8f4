// SPDX-License-Identifier: MIT
#include "diags/broker/client.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <unistd.h>

namespace diag::broker {
namespace {

using Clock = std::chrono::steady_clock;

// Fields of an answer have 16 bits for their length, and a byte takes two of them.
constexpr size_t kRoomForAnswer = size_t{1} << 16;

// A byte that goes with a write of the address alone, since a write without any cannot be framed.
constexpr uint8_t kNoDataByte = 0xFF;

constexpr int kStatusAttempts = 3;

constexpr unsigned kMaxReservedSeconds = 99;  // two decimal digits

Result refused(Outcome outcome) {
    return {Result::Kind::kRefused, std::string(outcome_text(outcome))};
}

// The daemon drops a frame with another id, and would seem to be away.
bool can_be_framed(const std::string &device) {
    return device.size() <= kMaxIdLength &&
           std::all_of(device.begin(), device.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

// Another program that had our port before us, or will have it after us, does not get our answers.
uint32_t first_number() {
    return static_cast<uint32_t>(Clock::now().time_since_epoch().count());
}

bool is_success(const Heard &heard) {
    return heard.status == outcome_text(Outcome::kSuccess);
}

// An answer that comes just when the library gives up brings no bytes: it has to be asked for
// again. One that has no bytes counts as malformed there, and is as good as any other here.
bool is_done(const Heard &heard) {
    return is_success(heard) && (heard.has_bytes || heard.bytes == 0);
}

void free_texts(busbroker_req *request) {
    std::free(request->actual_data);
    std::free(request->support_data);
    request->actual_data = nullptr;
    request->support_data = nullptr;
}

}  // namespace

Client::Client(const ClientSettings &settings)
    : settings_(settings),
      session_(
          ClientSession::open(settings.address, settings.tool, static_cast<uint32_t>(getpid()))),
      next_number_(first_number()),
      answer_(kRoomForAnswer) {
    request_.tool_id = settings.tool;
    request_.inst_id = session_->inst_id;
    request_.retry_ms = settings.retry_ms;
}

Client::~Client() = default;

Result Client::read(const std::string &device, const Access &access, std::span<uint8_t> bytes) {
    if (bytes.size() > kMaxReadBytes) {
        return refused(Outcome::kTooLong);
    }
    prepare(kReadRequest, access, bytes.size());
    Result result = transact(device, kReadRequest, access.indication);
    if (result.is_done() && delivered_ != bytes.size()) {
        return {Result::Kind::kRefused, "the answer brings " + std::to_string(delivered_) + " of " +
                                            std::to_string(bytes.size()) + " bytes"};
    }
    if (result.is_done()) {
        std::copy_n(answer_.begin(), bytes.size(), bytes.begin());
    }
    return result;
}

Result Client::write(const std::string &device, const Access &access,
                     std::span<const uint8_t> bytes) {
    if (bytes.size() > kMaxWriteBytes) {
        return refused(Outcome::kTooLong);
    }
    output_.assign(bytes.begin(), bytes.end());
    if (output_.empty()) {
        output_.push_back(kNoDataByte);
    }
    prepare(kWriteRequest, access, output_.size());
    return transact(device, kWriteRequest, access.indication);
}

Result Client::ping() {
    return transact("", kPingRequest, kLast);
}

Result Client::give_up() {
    return transact("", kGiveUpRequest, kLast);
}

Result Client::reserve(const std::string &device, unsigned seconds) {
    if (device.size() > kMaxAssetLength) {
        return refused(Outcome::kUnknownDevice);
    }
    if (seconds > kMaxReservedSeconds) {
        return refused(Outcome::kInvalidRequest);
    }
    update_bus_dev_acces_req_fields(&request_, 0, 0, 0, static_cast<uint8_t>(seconds), 0,
                                    device.c_str());
    return transact("", kReserveRequest, kLast);
}

Result Client::reserve(const BusPlace &place, unsigned seconds) {
    if (seconds > kMaxReservedSeconds) {
        return refused(Outcome::kInvalidRequest);
    }
    update_bus_dev_acces_req_fields(&request_, 1, place.bus, place.number,
                                    static_cast<uint8_t>(seconds), place.device, nullptr);
    return transact("", kReserveRequest, kLast);
}

// The daemon keeps the document for few readers: when it has dropped ours, nothing more comes, and
// the line stays without its end.
Result Client::read_status(std::string *document) {
    Result result;
    for (int i = 0; i < kStatusAttempts; ++i) {
        result = read_status_once(document);
        if (!result.is_done() || document->ends_with('\n')) {
            break;
        }
    }
    return result;
}

Result Client::read_status_once(std::string *document) {
    document->clear();
    size_t size = 0;
    do {
        prepare(kReadRequest, {.address = kStatusAddress + static_cast<uint32_t>(document->size())},
                kMaxReadBytes);
        if (Result result = transact(std::string(kStatusDevice), kReadRequest, kLast);
            !result.is_done()) {
            return result;
        }
        size = delivered_;
        document->append(reinterpret_cast<const char *>(answer_.data()), size);
    } while (size == kMaxReadBytes);
    return {};
}

Result Client::read_last_refusal(std::string *text) {
    prepare(kReadRequest, {.address = kRefusalAddress}, kMaxReadBytes);
    Result result = transact(std::string(kStatusDevice), kReadRequest, kLast);
    if (result.is_done()) {
        text->assign(reinterpret_cast<const char *>(answer_.data()), delivered_);
    }
    return result;
}

std::string Client::give_up_frame() {
    busbroker_req request{};
    request.tool_id = request_.tool_id;
    request.inst_id = request_.inst_id;
    request.transac_id = next_number_++;
    std::string frame;
    if (update_request(&request, "", "", 0, kGiveUpRequest, kLast) == 0) {
        frame.resize(calculate_req_len_in_ascii(&request) + 1);
        frame.resize(frame_ascii_request(&request, frame.data(), static_cast<int>(frame.size())));
    }
    free_texts(&request);
    return frame;
}

void Client::prepare(RequestType type, const Access &access, size_t count) {
    options_ = access.options;
    update_busbroker_req_fields(
        &request_, access.address, static_cast<uint16_t>(count), access.width,
        type == kReadRequest ? answer_.data() : output_.data(), DIAG_EXPECT_SUCCESS, type,
        kDefaultFlags, options_ != 0 ? &options_ : nullptr, options_ != 0 ? 1 : 0);
}

// A request that only waits its turn outlives its three sends: it is sent again under its own
// number, which the daemon takes for what it is and does not perform twice.
Result Client::transact(const std::string &device, RequestType type, Indication indication) {
    if (!can_be_framed(device)) {
        return refused(Outcome::kUnknownDevice);
    }
    const auto give_up_at = Clock::now() + std::chrono::milliseconds(settings_.patience_ms);
    const uint32_t number = next_number_++;
    do {
        const Heard heard = send(&request_, number, device, type, indication);
        if (is_done(heard)) {
            delivered_ = heard.bytes;
            return {};
        }
        if (heard.status && !is_success(heard)) {
            return {Result::Kind::kRefused, *heard.status};
        }
        if (!heard.anything() && !daemon_answers()) {
            return {Result::Kind::kNoAnswer, {}};
        }
    } while (Clock::now() < give_up_at);
    return abandon(type);
}

Heard Client::send(busbroker_req *request, uint32_t number, const std::string &device,
                   RequestType type, Indication indication) {
    request->transac_id = number;
    request->resp_expect = DIAG_EXPECT_SUCCESS;
    session_->listen_for(number, type);
    const uint32_t status = request_busbroker(request, session_.get(), device.c_str(), "", 0, type,
                                              static_cast<uint8_t>(indication));
    free_texts(request);
    if (status == DIAG_E_NOMEM) {
        throw std::bad_alloc();
    }
    Heard heard = session_->heard();
    heard.has_bytes = status == 0;
    return heard;
}

// Whether anybody is there to have lost, or not yet taken, a request that nobody answers.
bool Client::daemon_answers() {
    busbroker_req question{};
    question.tool_id = request_.tool_id;
    question.inst_id = request_.inst_id;
    question.retry_ms = request_.retry_ms;
    std::vector<uint8_t> text(kRoomForAnswer);
    update_busbroker_req_fields(&question, kRefusalAddress, kMaxReadBytes, 8, text.data(),
                                DIAG_EXPECT_SUCCESS, kReadRequest, kDefaultFlags, nullptr, 0);
    return send(&question, next_number_++, std::string(kStatusDevice), kReadRequest, kLast)
        .anything();
}

// What nobody waits for any more must not be performed later.
Result Client::abandon(RequestType type) {
    if (type != kGiveUpRequest) {
        busbroker_req request = request_;
        send(&request, next_number_++, "", kGiveUpRequest, kLast);
    }
    return refused(Outcome::kTimedOut);
}

}  // namespace diag::broker
