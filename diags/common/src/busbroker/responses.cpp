// SPDX-License-Identifier: MIT
// What the daemon's answers say.
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/lib/memory.h"
#include "diags/common/src/log.h"
#include "diags/common/src/parse_hex.h"

namespace {

constexpr char kParse[] = "busbroker_parse_update_queues";
constexpr std::string_view kSuccess = "Success";
constexpr std::string_view kAcknowledged = "Rx Ack";
constexpr std::string_view kNotFound = "Req not found";

// Pieces of a text between commas; several commas count as one.
class Tokens {
  public:
    explicit Tokens(std::string_view text) : rest_(text) {}

    // The next piece, or none at the end.
    std::optional<std::string_view> next() {
        rest_.remove_prefix(std::min(rest_.find_first_not_of(','), rest_.size()));
        if (rest_.empty()) {
            return std::nullopt;
        }
        const std::string_view token = rest_.substr(0, rest_.find(','));
        rest_.remove_prefix(token.size());
        return token;
    }

    // A piece that has a comma behind it.
    bool skip_closed() { return next().has_value() && !rest_.empty(); }

    // Whether the piece handed out last was the end of the text.
    bool at_end() const { return rest_.empty(); }

  private:
    std::string_view rest_;
};

// What one answer adds to the outcome.
struct Outcome {
    uint8_t flags = 0;
    diag::Owned<uint8_t> data;
    uint32_t length = 0;
    uint32_t status = 0;  // not 0: the answer says nothing, and this is why
};

Outcome outcome(uint8_t flags) {
    return {flags, nullptr, 0, 0};
}

Outcome no_outcome(uint32_t status) {
    return {0, nullptr, 0, status};
}

Outcome parse_status(uint32_t type, std::string_view text) {
    if (text == kAcknowledged) {
        return outcome(DIAG_RESP_ACK);
    }
    if (text == kSuccess) {
        return outcome(DIAG_RESP_SUCCESS);
    }
    return outcome(type == 0 && text == kNotFound ? DIAG_RESP_NOT_FOUND : DIAG_RESP_REFUSED);
}

std::optional<uint8_t> hex_pair(const char *digits) {
    const int high = diag::kHexDigits[static_cast<unsigned char>(digits[0])];
    const int low = diag::kHexDigits[static_cast<unsigned char>(digits[1])];
    if (high < 0 || low < 0) {
        return std::nullopt;
    }
    return static_cast<uint8_t>(high << 4 | low);
}

// At most `count` bytes; memory is taken for those that the digits can make, not for what is
// promised.
Outcome parse_bytes(size_t count, std::string_view digits) {
    const size_t most = std::min(count, digits.size() / 2);
    diag::Owned<uint8_t> bytes(static_cast<uint8_t *>(std::malloc(std::max<size_t>(most, 1))));
    if (bytes == nullptr) {
        DIAG_ERROR_IN(kParse, "Mem alloc error\n");
        return no_outcome(DIAG_E_NOMEM);
    }
    uint32_t made = 0;
    while (made < most) {
        const std::optional<uint8_t> byte = hex_pair(digits.data() + 2 * size_t{made});
        if (!byte) {
            break;
        }
        bytes.get()[made++] = *byte;
    }
    return {DIAG_RESP_SUCCESS, std::move(bytes), made, 0};
}

Outcome parse_read_success(Tokens &tokens) {
    const std::optional<std::string_view> count = tokens.next();
    const std::optional<std::string_view> digits = count ? tokens.next() : std::nullopt;
    if (!digits) {
        diag_print(0, "Data format error in the rx response\n");
        return outcome(DIAG_RESP_MALFORMED);
    }
    // The number ends at the comma behind it.
    return parse_bytes(diag::parse_hex<uint32_t>(count->data()), *digits);
}

Outcome parse_write_success(Tokens &tokens) {
    if (tokens.next() && !tokens.at_end()) {
        DIAG_ERROR_IN(kParse, "Data format error in the rx response\n");
        return outcome(DIAG_RESP_MALFORMED);
    }
    return outcome(DIAG_RESP_SUCCESS);
}

// The access comes back in front of the status: address, count, width, and a read's flags.
Outcome parse_access(uint32_t type, std::string_view text) {
    const bool is_read = type == DIAG_REQ_READ;
    Tokens tokens(text);
    const int leading = is_read ? 4 : 3;
    for (int i = 0; i < leading; i++) {
        if (!tokens.skip_closed()) {
            DIAG_ERROR_IN(kParse, "Invalid request data format\n");
            return no_outcome(DIAG_E_INVAL);
        }
    }
    const std::string_view status = tokens.next().value_or("");
    if (status == kSuccess) {
        return is_read ? parse_read_success(tokens) : parse_write_success(tokens);
    }
    return outcome(status == kAcknowledged ? DIAG_RESP_ACK : DIAG_RESP_REFUSED);
}

Outcome parse_dynamic_id(std::string_view text) {
    Tokens tokens(text);
    const bool succeeded = tokens.next() == kSuccess;
    const std::optional<std::string_view> id = succeeded ? tokens.next() : std::nullopt;
    if (!id) {
        return no_outcome(DIAG_E_INVAL);
    }
    diag::Owned<uint8_t> copy(static_cast<uint8_t *>(std::calloc(id->size() + 1, 1)));
    if (copy == nullptr) {
        DIAG_ERROR_IN(kParse, "Mem alloc error\n");
        return no_outcome(DIAG_E_NOMEM);
    }
    std::memcpy(copy.get(), id->data(), id->size());
    return {DIAG_RESP_SUCCESS, std::move(copy), static_cast<uint32_t>(id->size()), 0};
}

Outcome parse_answer(uint32_t type, std::string_view text) {
    switch (type) {
        case 0:
        case 1:
        case 4:
        case DIAG_REQ_BUS_DEV_ACCESS:
            return parse_status(type, text);
        case DIAG_REQ_READ:
        case DIAG_REQ_WRITE:
            return parse_access(type, text);
        case DIAG_REQ_DYN_DEV_ID:
            return parse_dynamic_id(text);
        default:
            DIAG_ERROR_IN(kParse, "Unknown request type received. Discarding the response\n");
            return no_outcome(DIAG_E_INVAL);
    }
}

}  // namespace

uint32_t busbroker_parse_update_queues(tool_info *ctx, void * /*arg*/, busbroker_req *record) {
    if (ctx == nullptr || record == nullptr) {
        DIAG_ERROR("Null pointer rx to parse the data \n");
        return DIAG_E_INVAL;
    }
    const char *text = record->actual_data != nullptr ? record->actual_data : "";
    Outcome answer = parse_answer(record->req_type, text);
    if (answer.status != 0) {
        return answer.status;
    }
    return enqueue_rx_queues(ctx, answer.flags, record->transac_id, answer.data.release(),
                             answer.length);
}
