// SPDX-License-Identifier: MIT
#include "diags/common/src/lib/field_readers.h"

#include <cstdint>
#include <cstdlib>
#include <gtest/gtest.h>

#include "tests/common/library_test.h"
#include "tests/support/failing_allocations.h"

namespace {

using diag::Field;
using diag::test::error_text;
using diag::test::printed;

struct Record {
    uint32_t address;
    uint8_t width;
    int count;
    char *name;
};

constexpr Field<Record> kFields[] = {
    {"address", diag::read_hex<&Record::address>},
    {"width", diag::read_number<&Record::width, 10>},
    {"count", diag::read_number<&Record::count, 0>},
    {"name", diag::read_text<&Record::name>, "No room for a name\n"},
};

class FieldReaders : public diag::test::LibraryTest {
  protected:
    ~FieldReaders() override { std::free(record_.name); }

    uint32_t read(const char *tag, const char *text) {
        const Field<Record> *field = diag::find_field(kFields, tag);
        return field != nullptr ? diag::read_field("parse", *field, record_, text) : 99;
    }

    Record record_{};
};

TEST_F(FieldReaders, FieldsAreFoundByTheirWholeName) {
    EXPECT_EQ(diag::find_field(kFields, "width"), &kFields[1]);
    EXPECT_EQ(diag::find_field(kFields, "widt"), nullptr);
    EXPECT_EQ(diag::find_field(kFields, "widths"), nullptr);
    EXPECT_EQ(diag::find_field(kFields, "Width"), nullptr);
    EXPECT_EQ(diag::find_field(kFields, ""), nullptr);
}

TEST_F(FieldReaders, EachReadsItsMemberAlone) {
    EXPECT_EQ(read("address", "0x1F"), 0U);
    EXPECT_EQ(read("width", "16"), 0U);
    EXPECT_EQ(read("count", "0x10"), 0U);
    EXPECT_EQ(record_.address, 0x1FU);
    EXPECT_EQ(record_.width, 16);
    EXPECT_EQ(record_.count, 16);
    EXPECT_EQ(record_.name, nullptr);
    EXPECT_EQ(read("name", "status"), 0U);
    EXPECT_STREQ(record_.name, "status");
}

TEST_F(FieldReaders, HexadecimalNeedsNoPrefix) {
    read("address", "10");
    EXPECT_EQ(record_.address, 0x10U);
}

TEST_F(FieldReaders, NumbersFollowTheirBaseAndAreCutToTheirMember) {
    read("width", "0x10");
    EXPECT_EQ(record_.width, 0);  // decimal: ends at the x
    read("width", "260");
    EXPECT_EQ(record_.width, 4);
    read("count", "010");
    EXPECT_EQ(record_.count, 8);
    read("count", "-7");
    EXPECT_EQ(record_.count, -7);
    read("count", "none");
    EXPECT_EQ(record_.count, 0);
}

TEST_F(FieldReaders, TextReplacesWhatWasThere) {
    read("name", "first");
    read("name", "second");
    EXPECT_STREQ(record_.name, "second");
}

TEST_F(FieldReaders, TextWithoutMemoryIsReported) {
    const int failures = diag::test::for_each_failing_allocation([](auto &watch) {
        Record record{};
        uint32_t status = 99;
        const std::string text = printed([&] {
            watch.start();
            status = diag::read_field("parse", kFields[3], record, "status");
            watch.stop();
        });
        EXPECT_EQ(status, watch.has_failed() ? DIAG_E_NOMEM : 0U);
        EXPECT_EQ(text, watch.has_failed() ? error_text("parse", "No room for a name\n") : "");
        EXPECT_STREQ(record.name, watch.has_failed() ? nullptr : "status");
        std::free(record.name);
    });
    EXPECT_EQ(failures, 1);
}

}  // namespace
