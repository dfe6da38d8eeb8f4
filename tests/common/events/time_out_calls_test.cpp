// SPDX-License-Identifier: MIT
#include <csignal>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "timer_epoll.h"

#include "tests/common/library_test.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

std::string run;  // what the calls of this test have appended

void append_text(void *text) {
    run += static_cast<const char *>(text);
}

void *text(const char *value) {
    return const_cast<char *>(value);
}

void forget(time_out_call *&head) {
    while (head != nullptr) {
        time_out_call *first = head;
        head = first->next;
        std::free(first);
    }
}

void forget_all() {
    forget(time_out_calls_list.type0);
    forget(time_out_calls_list.type1);
    forget(time_out_calls_list.type2);
}

size_t length_of(const time_out_call *head) {
    size_t length = 0;
    for (; head != nullptr; head = head->next) {
        length++;
    }
    return length;
}

// Begins with empty lists and a counter of zero.
class TimeOutCalls : public LibraryTest {
  protected:
    TimeOutCalls() {
        forget_all();
        register_timeout_calls(DIAG_TIME_OUT_TENTH_TICK, append_text, text("!"));
        for (run.clear(); run.empty();) {
            timeout_calls();
        }
        forget_all();
        run.clear();
    }
    ~TimeOutCalls() override { forget_all(); }

    std::string run_by(int ticks) {
        run.clear();
        for (int i = 0; i < ticks; i++) {
            timeout_calls();
        }
        return run;
    }
};

TEST_F(TimeOutCalls, AreKeptByListInOrderOfRegistration) {
    struct {
        int list_type;
        time_out_call *time_out_lists::*head;
    } const cases[] = {
        {0, &time_out_lists::type0},   {1, &time_out_lists::type1},
        {2, &time_out_lists::type2},   {3, &time_out_lists::type2},
        {-1, &time_out_lists::type2},  {1000, &time_out_lists::type2},
        {257, &time_out_lists::type2}, {INT32_MIN, &time_out_lists::type2},
    };
    for (const auto &list : cases) {
        forget_all();
        EXPECT_EQ(register_timeout_calls(list.list_type, append_text, text("a")), 1);
        EXPECT_EQ(register_timeout_calls(list.list_type, nullptr, text("b")), 1);
        EXPECT_EQ(register_timeout_calls(list.list_type, append_text, nullptr), 1);
        const time_out_call *call = time_out_calls_list.*list.head;
        ASSERT_EQ(length_of(call), 3U) << list.list_type;
        EXPECT_EQ(call->fn, append_text);
        EXPECT_EQ(call->next->fn, nullptr);
        EXPECT_STREQ(static_cast<const char *>(call->next->arg), "b");
        EXPECT_EQ(call->next->next->arg, nullptr);
        EXPECT_EQ(length_of(time_out_calls_list.type0) + length_of(time_out_calls_list.type1) +
                      length_of(time_out_calls_list.type2),
                  3U);
    }
}

TEST_F(TimeOutCalls, AreRegisteredInSilence) {
    EXPECT_EQ(logged_by([] { register_timeout_calls(1, append_text, nullptr); }), Messages{});
}

TEST_F(TimeOutCalls, OfTheFirstListRunOnEachTickInOrder) {
    for (const char *name : {"a", "b", "c"}) {
        register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, append_text, text(name));
    }
    EXPECT_EQ(run_by(1), "abc");
    EXPECT_EQ(run_by(2), "abcabc");
}

TEST_F(TimeOutCalls, OfTheSecondListRunOnEachTenthTickBehindTheOthers) {
    register_timeout_calls(DIAG_TIME_OUT_TENTH_TICK, append_text, text("x"));
    register_timeout_calls(DIAG_TIME_OUT_TENTH_TICK, append_text, text("y"));
    register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, append_text, text("."));
    EXPECT_EQ(run_by(9), ".........");
    EXPECT_EQ(run_by(1), ".xy");
    EXPECT_EQ(run_by(10), "..........xy");
    EXPECT_EQ(run_by(30), "..........xy..........xy..........xy");
}

TEST_F(TimeOutCalls, OfListZeroNeverRun) {
    register_timeout_calls(DIAG_TIME_OUT_KEPT, append_text, text("kept"));
    EXPECT_EQ(run_by(25), "");
}

TEST_F(TimeOutCalls, RunAsOftenAsTheyAreRegistered) {
    for (int i = 0; i < 3; i++) {
        register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, append_text, text("a"));
    }
    EXPECT_EQ(run_by(1), "aaa");
}

TEST_F(TimeOutCalls, WithoutAFunctionAreSkipped) {
    for (const int list_type : {DIAG_TIME_OUT_EACH_TICK, DIAG_TIME_OUT_TENTH_TICK}) {
        register_timeout_calls(list_type, nullptr, nullptr);
        register_timeout_calls(list_type, append_text, text(list_type == 1 ? "." : "x"));
        register_timeout_calls(list_type, nullptr, text("no"));
    }
    EXPECT_EQ(run_by(10), "..........x");
}

TEST_F(TimeOutCalls, AnEmptyListCountsItsTicksAllTheSame) {
    EXPECT_EQ(run_by(10), "");
    register_timeout_calls(DIAG_TIME_OUT_TENTH_TICK, append_text, text("x"));
    EXPECT_EQ(run_by(9), "");
    EXPECT_EQ(run_by(1), "x");
}

TEST_F(TimeOutCalls, ACallThatComesLaterRunsOnTheSameTenthTick) {
    run_by(6);
    register_timeout_calls(DIAG_TIME_OUT_TENTH_TICK, append_text, text("x"));
    EXPECT_EQ(run_by(4), "x");
}

TEST_F(TimeOutCalls, RunOnceForEachAlarm) {
    register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, append_text, text("a"));
    timer_handler(SIGALRM);
    timer_handler(0);
    EXPECT_EQ(run, "aa");
}

TEST_F(TimeOutCalls, WithoutMemoryAreNotRegistered) {
    const int failed = for_each_failing_allocation([](AllocationWatch &watch) {
        int registered = 77;
        const std::string output = printed([&] {
            watch.start();
            registered = register_timeout_calls(DIAG_TIME_OUT_EACH_TICK, append_text, nullptr);
            watch.stop();
        });
        EXPECT_EQ(registered, watch.has_failed() ? 0 : 1);
        EXPECT_EQ(length_of(time_out_calls_list.type1), watch.has_failed() ? 0U : 1U);
        EXPECT_EQ(output, watch.has_failed()
                              ? error_text("register_timeout_calls",
                                           "mem allocation for timeout calls failed \n")
                              : "");
        forget_all();
    });
    EXPECT_EQ(failed, 1);
}

}  // namespace
}  // namespace diag::test
