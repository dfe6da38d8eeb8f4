// SPDX-License-Identifier: MIT
#include <cstdio>
#include <functional>
#include <gtest/gtest.h>

#include "busbroker.h"

#include "tests/common/device_tree/device_tree_test.h"

namespace diag::test {
namespace {

using SocketConfig = DeviceTreeTest;

constexpr char kFunction[] = "parse_socket_cfg";

// One reading; what nothing sets stays as it is here.
struct Reading {
    socket_cfg cfg{};
    uint32_t status = 0;

    Reading() {
        cfg.maxsockcnt = 7;
        cfg.is_udp = 77;
        cfg.is_ipv4 = 77;
        std::snprintf(cfg.ip, sizeof cfg.ip, "before");
        cfg.PortNo = 7;
        cfg.addr.sin_port = 7;
    }
};

Reading from_xml(const std::string &content) {
    Reading reading;
    const XmlText text("<system>" + content + "</system>");
    reading.status = parse_socket_cfg(text.root(), &reading.cfg, 1, nullptr);
    return reading;
}

Reading from_line(std::string line) {
    Reading reading;
    reading.status = parse_socket_cfg(nullptr, &reading.cfg, 0, line.data());
    return reading;
}

void expect_untouched(const socket_cfg &cfg) {
    const Reading fresh;
    EXPECT_EQ(cfg.maxsockcnt, fresh.cfg.maxsockcnt);
    EXPECT_EQ(cfg.is_udp, fresh.cfg.is_udp);
    EXPECT_EQ(cfg.is_ipv4, fresh.cfg.is_ipv4);
    EXPECT_STREQ(cfg.ip, fresh.cfg.ip);
    EXPECT_EQ(cfg.PortNo, fresh.cfg.PortNo);
    EXPECT_EQ(cfg.addr.sin_port, fresh.cfg.addr.sin_port);
}

Messages logged_for_element(const std::string &content) {
    return logged_by([&] { from_xml(content); });
}

Messages logged_for_line(const std::string &line) {
    return logged_by([&] { from_line(line); });
}

// ---- elements ----

constexpr char kAllElements[] =
    "\n <ip>127.0.0.1</ip>\n <PortNo>5000</PortNo><inetfamily>ipv4</inetfamily>"
    "<maxsockcnt>12</maxsockcnt><sock_type>udp</sock_type>\n";

TEST_F(SocketConfig, AllElementsAreRead) {
    const Reading reading = from_xml(kAllElements);
    EXPECT_EQ(reading.status, 0U);
    EXPECT_STREQ(reading.cfg.ip, "127.0.0.1");
    EXPECT_EQ(reading.cfg.PortNo, 5000);
    EXPECT_EQ(reading.cfg.is_ipv4, 1);
    EXPECT_EQ(reading.cfg.maxsockcnt, 12);
    EXPECT_EQ(reading.cfg.is_udp, 1);
    EXPECT_EQ(reading.cfg.addr.sin_port, 7);  // is the socket's matter
}

TEST_F(SocketConfig, ElementsAreEchoedAtLevelThreeButForTheType) {
    EXPECT_EQ(logged_for_element(kAllElements), (Messages{{3, "Ip addr = 127.0.0.1\n"},
                                                          {3, "Ip Port = 5000\n"},
                                                          {3, "Config ip family = ipv4\n"},
                                                          {3, "Max allowed count = 12\n"}}));
}

TEST_F(SocketConfig, OrderAndMissingElementsDoNotMatter) {
    const Reading reading = from_xml("<sock_type>udp</sock_type><PortNo>1</PortNo>");
    EXPECT_EQ(reading.status, 0U);
    EXPECT_EQ(reading.cfg.is_udp, 1);
    EXPECT_EQ(reading.cfg.PortNo, 1);
    EXPECT_STREQ(reading.cfg.ip, "before");
    EXPECT_EQ(reading.cfg.is_ipv4, 77);
    EXPECT_EQ(reading.cfg.maxsockcnt, 7);
    expect_untouched(from_xml("").cfg);
}

struct WordCase {
    const char *name;
    const char *text;
    uint8_t in_element;  // looked for at the front
    uint8_t in_line;     // looked for anywhere
};

class Family : public DeviceTreeTest, public testing::WithParamInterface<WordCase> {};

TEST_P(Family, OfAnElementAndOfALine) {
    const std::string text = GetParam().text;
    EXPECT_EQ(from_xml("<inetfamily>" + text + "</inetfamily>").cfg.is_ipv4, GetParam().in_element);
    EXPECT_EQ(from_line("1.2.3.4|1|" + text + "|1|tcp").cfg.is_ipv4, GetParam().in_line);
}

INSTANTIATE_TEST_SUITE_P(
    All, Family,
    testing::Values(WordCase{"Word", "ipv4", 1, 1}, WordCase{"Behind", "ipv4 only", 1, 1},
                    WordCase{"BlankBefore", " ipv4", 0, 1}, WordCase{"Inside", "use ipv4", 0, 1},
                    WordCase{"Other", "ipv6", 0, 0}, WordCase{"UpperCase", "IPV4", 0, 0},
                    WordCase{"Half", "ipv", 0, 0}),
    [](const auto &word) { return word.param.name; });

class SocketType : public DeviceTreeTest, public testing::WithParamInterface<WordCase> {};

TEST_P(SocketType, OfAnElementAndOfALine) {
    const std::string text = GetParam().text;
    EXPECT_EQ(from_xml("<sock_type>" + text + "</sock_type>").cfg.is_udp, GetParam().in_element);
    EXPECT_EQ(from_line("1.2.3.4|1|ipv4|1|" + text).cfg.is_udp, GetParam().in_line);
}

INSTANTIATE_TEST_SUITE_P(
    All, SocketType,
    testing::Values(WordCase{"Word", "udp", 1, 1}, WordCase{"Behind", "udp6", 1, 1},
                    WordCase{"LineFeed", "udp\n", 1, 1}, WordCase{"BlankBefore", " udp", 0, 1},
                    WordCase{"Other", "tcp", 0, 0}, WordCase{"UpperCase", "UDP", 0, 0}),
    [](const auto &word) { return word.param.name; });

struct NumberCase {
    const char *name;
    const char *text;
    uint16_t expected;
};

class SocketNumber : public DeviceTreeTest, public testing::WithParamInterface<NumberCase> {};

TEST_P(SocketNumber, IsDecimalInBothForms) {
    const std::string text = GetParam().text;
    const socket_cfg element =
        from_xml("<PortNo>" + text + "</PortNo><maxsockcnt>" + text + "</maxsockcnt>").cfg;
    EXPECT_EQ(element.PortNo, GetParam().expected);
    EXPECT_EQ(element.maxsockcnt, GetParam().expected);
    const socket_cfg line = from_line("1.2.3.4|" + text + "|ipv4|" + text + "|udp").cfg;
    EXPECT_EQ(line.PortNo, GetParam().expected);
    EXPECT_EQ(line.maxsockcnt, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    All, SocketNumber,
    testing::Values(NumberCase{"Plain", "5000", 5000}, NumberCase{"Largest", "65535", 65535},
                    NumberCase{"Wraps", "65616", 80}, NumberCase{"Blanks", "  12 ", 12},
                    NumberCase{"NoHexadecimal", "0x10", 0}, NumberCase{"NoOctal", "010", 10},
                    NumberCase{"NoNumber", "any", 0}),
    [](const auto &number) { return number.param.name; });

TEST_F(SocketConfig, AnElementWithoutTextIsRefused) {
    for (const char *name : {"ip", "PortNo", "inetfamily", "maxsockcnt", "sock_type"}) {
        for (const char *inner : {"", "<x/>", "<!-- 1 -->1", "<![CDATA[1]]>"}) {
            const std::string content = std::string("<") + name + ">" + inner + "</" + name + ">";
            EXPECT_EQ(from_xml(content).status, DIAG_E_INVAL) << content;
            EXPECT_EQ(logged_for_element(content),
                      error_in(kFunction, "Invalid Element Structure\n"));
        }
    }
}

TEST_F(SocketConfig, ElementsBeforeAMalformedOneStayAndNoneAfterIsRead) {
    const Reading reading = from_xml("<PortNo>1</PortNo><ip/><maxsockcnt>2</maxsockcnt>");
    EXPECT_EQ(reading.status, DIAG_E_INVAL);
    EXPECT_EQ(reading.cfg.PortNo, 1);
    EXPECT_EQ(reading.cfg.maxsockcnt, 7);
}

TEST_F(SocketConfig, OtherNamesAndWhatIsNoElementArePassedOverInSilence) {
    const std::string content =
        "t<!-- ip --><?ip x?><![CDATA[ip]]><Ip/><portno>1</portno>"
        "<ips>x</ips><i/><udp/>";
    const Reading reading = from_xml(content);
    EXPECT_EQ(reading.status, 0U);
    expect_untouched(reading.cfg);
    EXPECT_EQ(logged_for_element(content), Messages{});
}

TEST_F(SocketConfig, AnIpOfUpTo46CharactersIsKeptAndALongerOneCut) {
    const std::string longest(46, '1');
    EXPECT_EQ(from_xml("<ip>" + longest + "</ip>").cfg.ip, longest);
    EXPECT_EQ(from_xml("<ip>" + longest + "2</ip>").cfg.ip, longest);
    EXPECT_EQ(from_xml("<ip>" + std::string(1 << 20, '1') + "</ip>").cfg.ip, longest);
    EXPECT_EQ(from_line(longest + "2|1|ipv4|1|udp").cfg.ip, longest);
    EXPECT_EQ(from_line(longest + "|1|ipv4|1|udp").cfg.ip, longest);
}

TEST_F(SocketConfig, AnIpElementIsNotTrimmed) {
    EXPECT_STREQ(from_xml("<ip> 1.2.3.4 </ip>").cfg.ip, " 1.2.3.4 ");
}

// ---- lines ----

TEST_F(SocketConfig, ALineIsReadInSilence) {
    const Reading reading = from_line("127.0.0.1|5000|ipv4|12|udp\n");
    EXPECT_EQ(reading.status, 0U);
    EXPECT_STREQ(reading.cfg.ip, "127.0.0.1");
    EXPECT_EQ(reading.cfg.PortNo, 5000);
    EXPECT_EQ(reading.cfg.is_ipv4, 1);
    EXPECT_EQ(reading.cfg.maxsockcnt, 12);
    EXPECT_EQ(reading.cfg.is_udp, 1);
    EXPECT_EQ(reading.cfg.addr.sin_port, 7);
    EXPECT_EQ(logged_for_line("127.0.0.1|5000|ipv4|12|udp\n"), Messages{});
}

TEST_F(SocketConfig, RunsOfSeparatorsCountAsOne) {
    const Reading reading = from_line("||1.2.3.4|||80||ipv6||3||tcp||");
    EXPECT_EQ(reading.status, 0U);
    EXPECT_STREQ(reading.cfg.ip, "1.2.3.4");
    EXPECT_EQ(reading.cfg.PortNo, 80);
    EXPECT_EQ(reading.cfg.is_ipv4, 0);
    EXPECT_EQ(reading.cfg.maxsockcnt, 3);
    EXPECT_EQ(reading.cfg.is_udp, 0);
}

TEST_F(SocketConfig, TheIpOfALineIsTrimmedAsTrimSpacesDoes) {
    EXPECT_STREQ(from_line(" 1.2.3.4  |1|ipv4|1|udp").cfg.ip, "1.2.3.4");
    EXPECT_STREQ(from_line("  ab|1|ipv4|1|udp").cfg.ip, "aba");
    EXPECT_STREQ(from_line("   |1|ipv4|1|udp").cfg.ip, "");
}

TEST_F(SocketConfig, FurtherFieldsAreNotRead) {
    const Reading reading = from_line("1.2.3.4|1|ipv4|1|tcp|udp|more");
    EXPECT_EQ(reading.status, 0U);
    EXPECT_EQ(reading.cfg.is_udp, 0);
}

TEST_F(SocketConfig, AMissingFieldIsRefusedAndNothingStored) {
    for (const char *line : {"", "|", "|||", "1.2.3.4", "1.2.3.4|", "1.2.3.4|1", "1.2.3.4|1|ipv4",
                             "1.2.3.4|1|ipv4|1", "1.2.3.4|1|ipv4|1|", "1.2.3.4|1|ipv4|1||"}) {
        const Reading reading = from_line(line);
        EXPECT_EQ(reading.status, DIAG_E_INVAL) << line;
        expect_untouched(reading.cfg);
        EXPECT_EQ(logged_for_line(line), error_in(kFunction, "Invalid socket config \n"));
    }
}

// ---- arguments ----

TEST_F(SocketConfig, WhatIsNeededMustNotBeNull) {
    const XmlText element("<system/>");
    char line[] = "1.2.3.4|1|ipv4|1|udp";
    socket_cfg cfg{};
    const auto calls = {
        std::function<uint32_t()>([&] { return parse_socket_cfg(nullptr, &cfg, 0, nullptr); }),
        std::function<uint32_t()>(
            [&] { return parse_socket_cfg(element.root(), &cfg, 0, nullptr); }),
        std::function<uint32_t()>([&] { return parse_socket_cfg(nullptr, &cfg, 1, line); }),
        std::function<uint32_t()>([&] { return parse_socket_cfg(nullptr, nullptr, 0, line); }),
        std::function<uint32_t()>(
            [&] { return parse_socket_cfg(element.root(), nullptr, 1, nullptr); }),
    };
    for (const auto &call : calls) {
        EXPECT_EQ(call(), DIAG_E_INVAL);
        EXPECT_EQ(logged_by([&] { call(); }),
                  error_in(kFunction, "Null pointer received for socket config \n"));
    }
}

}  // namespace
}  // namespace diag::test
