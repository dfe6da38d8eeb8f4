// SPDX-License-Identifier: MIT
// A call with each of its allocations failing in turn: the documented status, the message of the
// place, nothing lost, and a next call that works.
#ifndef TESTS_COMMON_DEVICE_TREE_OUT_OF_MEMORY_TEST_H
#define TESTS_COMMON_DEVICE_TREE_OUT_OF_MEMORY_TEST_H

#include <cstdint>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/common/device_tree/device_tree_test.h"
#include "tests/support/failing_allocations.h"

namespace diag::test {

// What is logged when one allocation fails: at level -1, and behind it, if anything, at a level of
// its own.
struct Site {
    std::string error;
    std::string note = "";
    int note_level = 0;

    std::string shown_at(int level) const { return error + (level >= note_level ? note : ""); }
};

inline Site site(const std::string &function, const std::string &text) {
    return {function + "[]: " + text};
}

inline Site in_register(const std::string &text) {
    return site("parse_reg_config", text);
}

inline Site in_bit(const std::string &text) {
    return site("parse_bit_config", text);
}

inline Site in_info(const std::string &text) {
    return site("parse_info_config", text);
}

inline Site in_chip(const std::string &text) {
    return site("parse_device_config", text);
}

inline const Site kTestList =
    site("init_test_reg_list", "Can't allocate memory for interrupt reg list\n");
inline const Site kTestElement =
    site("new_reg_list_entry", "Can't allocate memory for interrupt status reg\n");

using Sites = std::vector<Site>;

inline Sites operator+(Sites first, const Sites &second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

// Each round works on records of its own, which Records makes and frees.
template <typename Records>
void expect_sites(const Sites &sites, uint32_t status_without_memory,
                  const std::function<uint32_t(Records &)> &call) {
    for (const int level : {-1, 0, 1, 3}) {
        size_t round = 0;
        const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
            Records records;
            uint32_t status = 0;
            const std::string logged = text_logged_by(
                [&] {
                    watch.start();
                    status = call(records);
                    watch.stop();
                },
                level);
            if (!watch.has_failed()) {
                EXPECT_EQ(status, 0U);
                EXPECT_EQ(round, sites.size()) << "allocations without an expected message";
                return;
            }
            EXPECT_EQ(status, status_without_memory) << "allocation " << round;
            if (round < sites.size()) {
                EXPECT_EQ(logged, sites[round].shown_at(level)) << "allocation " << round;
            }
            EXPECT_EQ(call(records), 0U) << "with memory again, after allocation " << round;
            round++;
        });
        EXPECT_EQ(static_cast<size_t>(failed), sites.size());
    }
}

// The first register of a chip, its texts and what is in it left out.
inline const Sites kFirstXmlRegister = Sites{in_register("Could not allocate Register list\n")} +
                                       Sites(5, kTestList) +
                                       Sites{in_register("Could not allocate Next Register\n")};

class OutOfMemory : public DeviceTreeTest {};

}  // namespace diag::test

#endif
