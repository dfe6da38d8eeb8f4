// SPDX-License-Identifier: MIT
// The data texts that a request's parameters become.
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <numeric>
#include <string>
#include <vector>

#include "busbroker.h"
#include "diag_util.h"

#include "tests/common/busbroker/answer.h"
#include "tests/common/busbroker/request_record.h"
#include "tests/common/library_test.h"
#include "tests/support/failing_allocations.h"
#include "tests/support/logged_messages.h"

namespace diag::test {
namespace {

class RequestData : public LibraryTest {
  protected:
    // The data text, after a look at its length field.
    std::string data_of(uint32_t type) {
        EXPECT_EQ(req_.update(type), 0U);
        EXPECT_EQ(std::strlen(req_.actual_data), req_.actual_datalen);
        return req_.actual_data;
    }

    RequestRecord req_;
};

TEST_F(RequestData, KeepsWhatItIsGiven) {
    char id[] = "mbox0";
    char name[] = "lpc";
    EXPECT_EQ(req_.update(2, id, name, 2, 1), 0U);
    EXPECT_EQ(req_.dev_id, id) << "the caller's own text";
    EXPECT_EQ(req_.dev_name, name);
    EXPECT_EQ(req_.dev_id_len, 5);
    EXPECT_EQ(req_.dev_name_len, 3);
    EXPECT_EQ(req_.req_prio, 2U);
    EXPECT_EQ(req_.req_type, 2U);
    EXPECT_EQ(req_.transac_ind, 1);
    EXPECT_EQ(req_.tool_id, 3);
    EXPECT_EQ(req_.inst_id, 1U);
    EXPECT_EQ(req_.transac_id, 7U);
}

TEST_F(RequestData, AReadNamesAddressCountWidthAndFlags) {
    struct Case {
        uint32_t addr;
        uint16_t count;
        uint8_t width;
        uint8_t flags;
        const char *text;
    };
    const Case cases[] = {{0x62, 1, 8, 28, "00000062,0001,08,1c"},
                          {0, 0, 0, 0, "00000000,0000,00,00"},
                          {0xDEADBEEF, 0xABCD, 0xEF, 0xFA, "deadbeef,abcd,ef,fa"},
                          {0xFFFFFFFF, 0xFFFF, 0xFF, 0xFF, "ffffffff,ffff,ff,ff"}};
    for (const Case &test : cases) {
        req_.access_addr = test.addr;
        req_.access_count = test.count;
        req_.access_width = test.width;
        req_.access_flags = test.flags;
        EXPECT_EQ(data_of(2), test.text);
        EXPECT_EQ(req_.actual_datalen, 19);
    }
}

TEST_F(RequestData, AReadNeedsNoBuffers) {
    req_.access_count = 4;
    EXPECT_EQ(req_.update(2), 0U);
    EXPECT_EQ(req_.support_data, nullptr);
    EXPECT_EQ(req_.suprt_data_len, 0);
}

TEST_F(RequestData, AWriteAppendsItsBytesWithoutALastComma) {
    std::array<uint8_t, 3> bytes = {0x5A, 0x00, 0xFF};
    req_.access_addr = 0x62;
    req_.access_width = 8;
    req_.access_flags = 28;
    req_.write_buf = bytes.data();
    const char *const texts[] = {"00000062,0000,08,1c", "00000062,0001,08,1c,5a",
                                 "00000062,0002,08,1c,5a,00", "00000062,0003,08,1c,5a,00,ff"};
    for (uint16_t count = 0; count < 4; count++) {
        req_.access_count = count;
        EXPECT_EQ(data_of(3), texts[count]);
        EXPECT_EQ(req_.actual_datalen, 3 * count + 19);
    }
}

TEST_F(RequestData, AWriteFillsTheLengthFieldUpToItsLastValue) {
    constexpr uint16_t kMost = (65535 - 19) / 3;
    std::vector<uint8_t> bytes(kMost);
    std::iota(bytes.begin(), bytes.end(), uint8_t{0});
    req_.access_count = kMost;
    req_.write_buf = bytes.data();
    const std::string text = data_of(3);
    ASSERT_EQ(text.size(), 3 * size_t{kMost} + 19);
    for (size_t i = 0; i < bytes.size(); i++) {
        ASSERT_EQ(text.substr(19 + 3 * i, 3), "," + hex(bytes[i], 2)) << i;
    }
}

// 65,536 characters: the length field starts anew, and so does what travels.
TEST_F(RequestData, AWriteThatIsTooLongWrapsItsLength) {
    std::vector<uint8_t> bytes(21839, 0x11);
    req_.access_count = static_cast<uint16_t>(bytes.size());
    req_.write_buf = bytes.data();
    EXPECT_EQ(req_.update(3), 0U);
    EXPECT_EQ(std::strlen(req_.actual_data), 65536U);
    EXPECT_EQ(req_.actual_datalen, 0);
    EXPECT_EQ(calculate_req_len_in_ascii(&req_), 68U);
    EXPECT_EQ(req_.frame().size(), 68U);
}

TEST_F(RequestData, AWriteWithoutABufferIsRefused) {
    req_.access_count = 0;
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(req_.update(3), DIAG_E_INVAL); }),
              (Messages{{1, "Rx NULL pointer as Write input buffer\n"}}));
}

TEST_F(RequestData, ABusDeviceIsNamedBySelectorsAlone) {
    struct Case {
        uint8_t by_index, sel_a, sel_b, sel_c, hold;
        const char *text;
    };
    const Case cases[] = {
        {1, 2, 3, 4, 100, "01,02,03,04,10"}, {0xFF, 0xAB, 0xCD, 0xEF, 30, "ff,ab,cd,ef,30"},
        {1, 0, 0, 0, 0, "01,00,00,00,00"},   {1, 0, 0, 0, 7, "01,00,00,00,07"},
        {1, 0, 0, 0, 99, "01,00,00,00,99"},  {1, 0, 0, 0, 255, "01,00,00,00,25"}};
    std::strcpy(req_.asset_id, "unused");
    for (const Case &test : cases) {
        req_.bdev_by_index = test.by_index;
        req_.bdev_sel_a = test.sel_a;
        req_.bdev_sel_b = test.sel_b;
        req_.bdev_sel_c = test.sel_c;
        req_.bdev_hold = test.hold;
        EXPECT_EQ(data_of(6), test.text);
        EXPECT_EQ(req_.actual_datalen, 14);
    }
}

TEST_F(RequestData, ABusDeviceIsNamedByItsAssetIdToo) {
    req_.bdev_sel_a = 1;
    req_.bdev_hold = 30;
    EXPECT_EQ(data_of(6), "00,01,00,00,30,");
    EXPECT_EQ(req_.actual_datalen, 15);
    std::strcpy(req_.asset_id, "FAN1");
    EXPECT_EQ(data_of(6), "00,01,00,00,30,FAN1");
    EXPECT_EQ(req_.actual_datalen, 19);
    const std::string longest(31, 'a');
    std::memcpy(req_.asset_id, longest.c_str(), longest.size() + 1);
    EXPECT_EQ(data_of(6), "00,01,00,00,30," + longest);
    EXPECT_EQ(req_.actual_datalen, 46);
}

TEST_F(RequestData, AnAssetIdWithoutANulEndsWithItsField) {
    std::memset(req_.asset_id, 'a', sizeof req_.asset_id);
    req_.dyn_dev_key = 0x6161;  // what lies behind the field
    EXPECT_EQ(data_of(6), "00,00,00,00,00," + std::string(32, 'a'));
}

TEST_F(RequestData, ADynamicIdHasAHexadecimalKeyAndADecimalArgument) {
    struct Case {
        uint16_t key, argument;
        const char *text;
    };
    const Case cases[] = {{0, 0, "0000,0000"},         {0x12, 34, "0012,0034"},
                          {0xFFFF, 9999, "ffff,9999"}, {0xABC, 10000, "0abc,1000"},
                          {1, 65535, "0001,6553"},     {1, 12345, "0001,1234"}};
    for (const Case &test : cases) {
        req_.dyn_dev_key = test.key;
        req_.dyn_dev_arg = test.argument;
        EXPECT_EQ(data_of(5), test.text);
        EXPECT_EQ(req_.actual_datalen, 9);
    }
}

TEST_F(RequestData, OtherTypesHaveNone) {
    uint8_t byte = 1;
    req_.access_addr = 0x62;
    req_.access_count = 1;
    req_.write_buf = &byte;
    for (const uint32_t type : {0U, 1U, 4U, 7U, 8U, 0x102U, 0xFFFFFFFFU}) {
        EXPECT_EQ(data_of(type), "") << type;
        EXPECT_EQ(req_.req_type, type);
    }
}

TEST_F(RequestData, SupportBytesEachBeginWithAComma) {
    std::array<uint8_t, 3> bytes = {0x01, 0xAB, 0xFF};
    req_.support_bytes = bytes.data();
    const char *const texts[] = {nullptr, ",01", ",01,ab", ",01,ab,ff"};
    for (uint8_t count = 0; count < 4; count++) {
        req_.support_count = count;
        EXPECT_EQ(req_.update(0), 0U);
        EXPECT_STREQ(req_.support_data, texts[count]);
        EXPECT_EQ(req_.suprt_data_len, 3 * count);
    }
}

TEST_F(RequestData, SupportBytesWrapTheirLengthBeyond85) {
    std::vector<uint8_t> bytes(255, 0x22);
    req_.support_bytes = bytes.data();
    struct Case {
        uint8_t count;
        int length;
    };
    for (const Case &test : {Case{85, 255}, Case{86, 2}, Case{171, 1}, Case{255, 253}}) {
        req_.support_count = test.count;
        EXPECT_EQ(req_.update(0), 0U);
        EXPECT_EQ(std::strlen(req_.support_data), 3U * test.count);
        EXPECT_EQ(req_.suprt_data_len, test.length);
    }
}

TEST_F(RequestData, ACountOfSupportBytesWithoutThemIsNone) {
    req_.support_count = 2;
    EXPECT_EQ(req_.update(0), 0U);
    EXPECT_EQ(req_.support_data, nullptr);
    EXPECT_EQ(req_.suprt_data_len, 0);
}

TEST_F(RequestData, EachUpdateMakesNewTextsAndFreesNone) {
    uint8_t byte = 1;
    req_.support_bytes = &byte;
    req_.support_count = 1;
    EXPECT_EQ(req_.update(2), 0U);
    char *const data = req_.actual_data;
    char *const support = req_.support_data;
    const std::string before = data;
    req_.access_addr = 5;
    EXPECT_EQ(update_request(&req_, "a", "b", 0, 2, 5), 0U);
    EXPECT_NE(req_.actual_data, data);
    EXPECT_NE(req_.support_data, support);
    EXPECT_EQ(data, before);
    EXPECT_STREQ(support, ",01");
    std::free(data);
    std::free(support);
}

TEST_F(RequestData, MissingArgumentsAreRefused) {
    const Messages expected = error_in("update_request", "NULL pointers received as inputs\n");
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(req_.update(2, nullptr), DIAG_E_INVAL); }), expected);
    EXPECT_EQ(logged_by([&] { EXPECT_EQ(req_.update(2, "a", nullptr), DIAG_E_INVAL); }), expected);
    EXPECT_EQ(
        logged_by([&] { EXPECT_EQ(update_request(nullptr, "a", "b", 0, 2, 5), DIAG_E_INVAL); }),
        expected);
}

TEST_F(RequestData, ASuccessIsLoggedWithTheCrc) {
    EXPECT_EQ(req_.update(2), 0U);
    const std::string crc = hex(req_.crc, 1);
    EXPECT_EQ(
        logged_by([&] { EXPECT_EQ(req_.update(2), 0U); }),
        (Messages{{3, "Calculated CRC =0x" + crc + "\n"}, {3, "Calculated CRC =" + crc + "\n"}}));
}

TEST_F(RequestData, EachAllocationThatFailsHasItsMessage) {
    const Messages data = error_in("update_request", "Couldn't allocate memory \n");
    const Messages support = error_in("update_request", "Couldn't allocate memory\n");
    for (const uint32_t type : {0U, 2U, 3U, 5U, 6U}) {
        size_t round = 0;
        const int failed = for_each_failing_allocation([&](AllocationWatch &watch) {
            RequestRecord req;
            uint8_t byte = 1;
            req.write_buf = req.support_bytes = &byte;
            req.access_count = req.support_count = 1;
            uint32_t status = 0;
            const std::string text = text_logged_by(
                [&] {
                    watch.start();
                    status = update_request(&req, "mbox0", "lpc", 0, type, 5);
                    watch.stop();
                },
                1);
            EXPECT_EQ(status, watch.has_failed() ? uint32_t{DIAG_E_NOMEM} : 0U);
            if (watch.has_failed()) {
                const Messages &expected = round == 0 ? data : support;
                EXPECT_EQ(text, expected[0].text + expected[1].text);
                EXPECT_EQ(req.actual_data == nullptr, round == 0) << "what was built stays";
                EXPECT_EQ(req.support_data, nullptr);
            }
            req.drop_texts();
            round++;
        });
        EXPECT_EQ(failed, 2) << "type " << type;
    }
}

}  // namespace
}  // namespace diag::test
