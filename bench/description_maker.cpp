// SPDX-License-Identifier: MIT
#include "bench/description_maker.h"

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <unistd.h>

namespace diag::bench {

namespace {

constexpr int kRegistersPerChip = 100;
constexpr int kRegistersPerBitField = 4;

void write_xml_register(std::FILE *file, int number) {
    std::fprintf(file,
                 "    <reg>\n"
                 "      <reg-offset>0x%02x</reg-offset>\n"
                 "      <reg-name>REGISTER_%d</reg-name>\n"
                 "      <reg-size>8</reg-size>\n"
                 "      <reg-mask>0xff</reg-mask>\n"
                 "      <reg-access>RW</reg-access>\n"
                 "      <reg-default>0x%02x</reg-default>\n"
                 "      <reg-testable>1</reg-testable>\n"
                 "      <reg-test-id>%d</reg-test-id>\n",
                 number, number, number, number % 6);
    if (number % kRegistersPerBitField == 0) {
        std::fputs(
            "      <bit>\n"
            "        <bit-range>3:0</bit-range>\n"
            "        <bit-name>MODE</bit-name>\n"
            "        <bit-access>RW</bit-access>\n"
            "        <info>\n"
            "          <info-val>0</info-val>\n"
            "          <info-desc>off</info-desc>\n"
            "        </info>\n"
            "        <info>\n"
            "          <info-val>1</info-val>\n"
            "          <info-desc>on</info-desc>\n"
            "        </info>\n"
            "      </bit>\n",
            file);
    }
    std::fputs("    </reg>\n", file);
}

void write_xml_chip(std::FILE *file, int number) {
    std::fprintf(file,
                 "  <chip>\n"
                 "    <chip-type>CPLD</chip-type>\n"
                 "    <chip-name>CHIP_%d</chip-name>\n"
                 "    <chip-bus>/dev/i2c-%d</chip-bus>\n"
                 "    <chip-address>0x%02x</chip-address>\n",
                 number, number % 10, number % 0x78);
    for (int i = 0; i < kRegistersPerChip; i++) {
        write_xml_register(file, i);
    }
    std::fputs("  </chip>\n", file);
}

void write_xml(std::FILE *file, int chips) {
    std::fputs("<?xml version=\"1.0\"?>\n<config>\n", file);
    for (int i = 0; i < chips; i++) {
        write_xml_chip(file, i);
    }
    std::fputs("</config>\n", file);
}

// As save_cfg_file() writes it.
void write_text_register(std::FILE *file, int number) {
    std::fprintf(file,
                 "R | 0x%02x | 8 | 0xFF |REGISTER_%d| RW | 0x%X | 1 |\n"
                 "B |  3:0 |MODE| RW | 0x1\n"
                 "I |  1 |on\n",
                 number, number, number);
}

void write_text(std::FILE *file, int chips) {
    for (int i = 0; i < chips; i++) {
        std::fprintf(file, "=====\nC | CPLD | 0x%x |CHIP_%d| i2c | %x | | 0x00 | 0xff\n", i % 0x78,
                     i, i % 10);
        for (int reg = 0; reg < kRegistersPerChip; reg++) {
            write_text_register(file, reg);
        }
    }
}

}  // namespace

MadeDescription::MadeDescription(Form form, int chips) {
    char path[] = "/tmp/diag-bench-XXXXXX";
    const int fd = mkstemp(path);
    std::FILE *file = fd >= 0 ? fdopen(fd, "w") : nullptr;
    if (file == nullptr) {
        throw std::runtime_error("cannot make a description file in /tmp");
    }
    path_ = path;
    if (form == Form::kXml) {
        write_xml(file, chips);
    } else {
        write_text(file, chips);
    }
    if (std::fclose(file) != 0) {
        throw std::runtime_error("cannot write " + path_);
    }
}

MadeDescription::~MadeDescription() {
    unlink(path_.c_str());
}

}  // namespace diag::bench
