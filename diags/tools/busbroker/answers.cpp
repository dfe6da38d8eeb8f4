// SPDX-License-Identifier: MIT
// The service's answers: making them, sending them, remembering them.
#include <algorithm>

#include "diags/tools/busbroker/service.h"

namespace diag::daemon {

using broker::Outcome;

namespace {

bool is_access(uint32_t type) {
    return type == broker::kReadRequest || type == broker::kWriteRequest;
}

}  // namespace

void Service::write_text(const RequestHead &head, const Answer &answer) {
    if (is_access(head.type)) {
        // A request that could not be read is answered as one that asks for nothing.
        const Access nothing = {.is_write = head.type == broker::kWriteRequest};
        write_access_answer(answer.access != nullptr ? *answer.access : nothing, answer.outcome,
                            answer.bytes, &text_);
        return;
    }
    text_ = broker::outcome_text(answer.outcome);
    if (answer.outcome == Outcome::kSuccess && !answer.id.empty()) {
        text_.append(",").append(answer.id);
    }
}

void Service::answer(Client &client, const RequestHead &head, const Answer &answer) {
    write_text(head, answer);
    write_answer(head, text_, &frame_);
    if (answer.is_remembered) {
        client.answers.add(head, answer.outcome, frame_, now_());
    }
    if (broker::is_refusal(answer.outcome)) {
        client.refusal = broker::outcome_text(answer.outcome);
    }
    ++counts_.answered;
    ++counts_.outcomes[static_cast<size_t>(answer.outcome)];
    outbox_.post(client.key.endpoint, frame_, now_());
    trace(client, head, answer, false);
}

void Service::answer_again(Client &client, const RequestHead &head,
                           const AnswerMemory::Entry &known) {
    outbox_.post(client.key.endpoint, known.frame, now_());
    trace(client, head, {.outcome = known.outcome}, true);
}

void Service::send_acknowledgement(const WaitingRequest &request) {
    write_text(request.head, {.outcome = Outcome::kAcknowledged,
                              .access = request.access ? &*request.access : nullptr});
    write_answer(request.head, text_, &frame_);
    ++counts_.acknowledged;
    outbox_.post(clients_.at(request.client).key.endpoint, frame_, now_());
}

void Service::trace(const Client &client, const RequestHead &head, const Answer &answer,
                    bool is_repeated) {
    if (trace_ != nullptr) {
        trace_->record({.client = client.key,
                        .head = head,
                        .access = answer.access,
                        .outcome = answer.outcome,
                        .bytes = answer.bytes,
                        .waited = answer.waited,
                        .served = answer.served,
                        .is_repeated = is_repeated});
    }
}

}  // namespace diag::daemon
