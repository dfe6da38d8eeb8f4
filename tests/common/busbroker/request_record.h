// SPDX-License-Identifier: MIT
#ifndef TESTS_COMMON_BUSBROKER_REQUEST_RECORD_H
#define TESTS_COMMON_BUSBROKER_REQUEST_RECORD_H

#include <cstdlib>
#include <string>

#include "busbroker.h"

namespace diag::test {

// A caller's request: zeroed, with its two data texts freed at the end.
struct RequestRecord : busbroker_req {
    RequestRecord() : busbroker_req(busbroker_req{}) {
        tool_id = 3;
        inst_id = 1;
        transac_id = 7;
    }
    ~RequestRecord() { drop_texts(); }
    RequestRecord(const RequestRecord &) = delete;
    RequestRecord &operator=(const RequestRecord &) = delete;

    // A new update makes new texts.
    uint32_t update(uint32_t type, const char *id = "mbox0", const char *name = "lpc",
                    uint32_t prio = 0, uint8_t indication = DIAG_TRANSAC_LAST) {
        drop_texts();
        return update_request(this, id, name, prio, type, indication);
    }

    std::string frame() const {
        std::string text(calculate_req_len_in_ascii(this) + 1, '#');
        text.resize(frame_ascii_request(this, text.data(), static_cast<int>(text.size())));
        return text;
    }

    void drop_texts() {
        std::free(actual_data);
        std::free(support_data);
        actual_data = support_data = nullptr;
    }
};

}  // namespace diag::test

#endif
