// SPDX-License-Identifier: MIT
// Services of the daemon that are asked for until they are given: access to a bus device, dynamic
// device ids; and the I2C write without data.
#include <array>
#include <cstdlib>
#include <cstring>

#include "busbroker.h"
#include "diag_util.h"

#include "diags/common/src/fatal_overflow.h"
#include "diags/common/src/lib/append.h"
#include "diags/common/src/lib/command_line.h"
#include "diags/common/src/lib/memory.h"
#include "diags/common/src/lib/spawn.h"
#include "diags/common/src/log.h"

namespace {

constexpr int kAttempts = 10;
constexpr uint32_t kPriority = 0;

// The data texts of an attempt. Whatever the record held before is its owner's; the last attempt
// leaves its own in the record, as a request does.
class AttemptTexts {
  public:
    explicit AttemptTexts(busbroker_req *req) : req_(req) { forget(); }

    void drop() {
        if (req_ != nullptr) {
            std::free(req_->actual_data);
            std::free(req_->support_data);
            forget();
        }
    }

  private:
    void forget() {
        if (req_ != nullptr) {
            req_->actual_data = req_->support_data = nullptr;
        }
    }

    busbroker_req *req_;
};

// Makes `attempt` until it succeeds, ten times at most, waiting after each failure.
template <typename Attempt>
bool try_until_given(busbroker_req *req, timer_t wait_ctx, double pause_seconds, Attempt attempt) {
    AttemptTexts texts(req);
    for (int left = kAttempts; left > 0; left--) {
        texts.drop();
        if (attempt() == 0) {
            return true;
        }
        waitfor_timeout(wait_ctx, pause_seconds);
    }
    return false;
}

uint32_t write_through_broker(const bb_dev_ctx *ctx) {
    // Their address stays in the record.
    static uint8_t no_data_mark = 1;
    static uint8_t filler = 0xFF;

    if (ctx == nullptr || ctx->req == nullptr) {
        DIAG_ERROR_IN("i2ctool_set_no_data", "Rx NULL pointer\n");
        return DIAG_E_INVAL;
    }
    busbroker_req *req = ctx->req;
    req->support_count = 1;
    req->support_bytes = &no_data_mark;
    req->write_buf = &filler;
    req->access_count = 1;
    return request_busbroker(req, ctx->tool_info, ctx->dev_id, ctx->dev_name, kPriority,
                             DIAG_REQ_WRITE, DIAG_TRANSAC_LAST);
}

uint32_t write_with_tool(const char *bus_path, unsigned int addr) {
    if (bus_path == nullptr) {
        DIAG_ERROR_IN("i2ctool_set_no_data", "invalid I2C bus path\n");
        return DIAG_E_INVAL;
    }
    diag::CommandLine command;
    command.append("%s --no_data --bus=%s --addr=0x%02x ", "i2ctool", bus_path, addr & 0xFF);
    diag_print(1, "i2ctool_set_no_data: %s\n", command.text());
    if (diag::run_command(command.text()) != 0) {
        diag_print(0, "%s\nError writing to I2C device\n", "FAILED <<<---");
        return DIAG_E_FAIL;
    }
    return 0;
}

}  // namespace

uint32_t update_bus_dev_acces_req_fields(busbroker_req *req, uint8_t by_index, uint8_t sel_a,
                                         uint8_t sel_b, uint8_t hold, uint8_t sel_c,
                                         const char *asset_id) {
    if (req == nullptr) {
        return DIAG_E_INVAL;
    }
    if (by_index == 0 && asset_id == nullptr) {
        constexpr int kReport = 3;
        DIAG_LOG_SITE(kReport, __func__);
        diag_print(kReport, "Received NULL asset ID \n");
        return DIAG_E_INVAL;
    }
    req->bdev_sel_a = sel_a;
    req->bdev_sel_b = sel_b;
    req->bdev_by_index = by_index;
    req->bdev_sel_c = sel_c;
    req->bdev_hold = hold;
    if (by_index == 0) {
        // The last byte stays as it is: 0 in a record that was zeroed.
        std::strncpy(req->asset_id, asset_id, sizeof req->asset_id - 1);
    }
    return 0;
}

uint32_t request_bus_dev_access(busbroker_req *req, tool_info *ctx, uint8_t sel_a, uint8_t sel_b,
                                uint8_t by_index, uint8_t sel_c, const char *asset_id,
                                const char *dev_id, const char *dev_name, timer_t wait_ctx) {
    constexpr double kPauseSeconds = 10.0;
    const uint8_t hold = by_index != 0 ? DIAG_HOLD_BY_INDEX : DIAG_HOLD_BY_ASSET;
    const bool is_given = try_until_given(req, wait_ctx, kPauseSeconds, [&] {
        update_bus_dev_acces_req_fields(req, by_index, sel_a, sel_b, hold, sel_c, asset_id);
        return request_busbroker(req, ctx, dev_id, dev_name, kPriority, DIAG_REQ_BUS_DEV_ACCESS,
                                 DIAG_TRANSAC_LAST);
    });
    return is_given ? 0 : DIAG_E_FAIL;
}

uint32_t update_dyn_dev_access_req_fields(busbroker_req *req, uint32_t key, uint16_t arg,
                                          uint8_t *resp_buf) {
    if (req == nullptr) {
        return DIAG_E_INVAL;
    }
    req->resp_buf = resp_buf;
    req->dyn_dev_key = static_cast<uint16_t>(key);
    req->dyn_dev_arg = arg;
    return 0;
}

char *check_dyn_dev_list(dyn_dev_node *head, uint32_t key) {
    for (dyn_dev_node *node = head; node != nullptr; node = node->next) {
        if (node->key == key && node->valid != 0) {
            return node->id_text;
        }
    }
    return nullptr;
}

char *update_dyn_dev_id_list(dyn_dev_node **head, const char *id_text, uint32_t key) {
    if (head == nullptr || id_text == nullptr) {
        return nullptr;
    }
    diag::Owned<dyn_dev_node> node(diag::allocate<dyn_dev_node>());
    if (node == nullptr) {
        DIAG_ERROR("Couldn't allocate memory for new dynamic ID node\n");
        return nullptr;
    }
    const size_t length = std::strlen(id_text);
    if (length >= sizeof node->id_text) {
        diag::fatal_overflow(__func__);
    }
    node->key = key;
    std::memcpy(node->id_text, id_text, length);
    node->valid = 1;
    diag::append(*head, node.get());
    return node.release()->id_text;
}

uint32_t request_otf_dev_id(busbroker_req *req, tool_info *ctx, const char *dev_id,
                            const char *dev_name, timer_t wait_ctx, uint32_t key, uint16_t arg,
                            char **id_out, dyn_dev_node **head) {
    constexpr double kPauseSeconds = 1.0;
    if (head == nullptr || id_out == nullptr) {
        DIAG_ERROR("Rx NULL pointer\n");
        return DIAG_E_FAIL;
    }
    if (char *known = check_dyn_dev_list(*head, key); known != nullptr) {
        *id_out = known;
        return 0;
    }
    // Room for an id that is too long, to be noticed as such.
    std::array<char, sizeof(dyn_dev_node::id_text) + 1> answer{};
    const bool is_given = try_until_given(req, wait_ctx, kPauseSeconds, [&] {
        update_dyn_dev_access_req_fields(req, key, arg, reinterpret_cast<uint8_t *>(answer.data()));
        return request_busbroker(req, ctx, dev_id, dev_name, kPriority, DIAG_REQ_DYN_DEV_ID,
                                 DIAG_TRANSAC_LAST);
    });
    if (req != nullptr) {
        req->resp_buf = nullptr;  // it pointed to the answer
    }
    char *id = is_given ? update_dyn_dev_id_list(head, answer.data(), key) : nullptr;
    if (id == nullptr) {
        return DIAG_E_FAIL;
    }
    *id_out = id;
    return 0;
}

uint32_t i2ctool_set_no_data(bb_dev_ctx *ctx, int direct, const char *bus_path, unsigned int addr) {
    return direct == 0 ? write_through_broker(ctx) : write_with_tool(bus_path, addr);
}
