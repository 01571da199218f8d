// SPDX-License-Identifier: MIT
// The two hex dumps, to the byte.
#include <gtest/gtest.h>

#include <string>

#include "capture.hpp"
#include "comm_log.h"

using testsupport::capture_stdout;

namespace {

std::string hex_dump(const std::string &data) {
    return capture_stdout([&] { Zev_Comm_DumpHexEx("T", data.data(), static_cast<int32_t>(data.size())); });
}
std::string ascii_dump(const std::string &data) {
    return capture_stdout(
        [&] { Zev_Comm_DumpHexAndAscii("T", data.data(), static_cast<int32_t>(data.size())); });
}

std::string hex_of(const std::string &data, size_t from, size_t to) {
    std::string s;
    char b[8];
    for (size_t i = from; i < to; ++i)
        s += (snprintf(b, sizeof b, " %02x", static_cast<unsigned char>(data[i])), b);
    return s;
}

std::string sequence(size_t n) {
    std::string s;
    for (size_t i = 0; i < n; ++i) s += static_cast<char>('A' + i % 26);
    return s;
}

TEST(Dump, HexExRows) {
    const std::pair<size_t, std::string> cases[] = {
        {1, "T:\n 41\r\n"},
        {15, "T:\n" + hex_of(sequence(15), 0, 15) + "\r\n"},
        {16, "T:\n" + hex_of(sequence(16), 0, 16) + "\n\r\n"},
        {17, "T:\n" + hex_of(sequence(17), 0, 16) + "\n" + hex_of(sequence(17), 16, 17) + "\r\n"},
        {32, "T:\n" + hex_of(sequence(32), 0, 16) + "\n" + hex_of(sequence(32), 16, 32) + "\n\r\n"},
    };
    for (const auto &[len, want] : cases) EXPECT_EQ(hex_dump(sequence(len)), want) << len;
}

TEST(Dump, HexExZeroLengthStillPrintsTheFirstByte) {
    const char byte = 0x7f;
    EXPECT_EQ(capture_stdout([&] { Zev_Comm_DumpHexEx("z", &byte, 0); }), "z:\n 7f\r\n");
}

TEST(Dump, AsciiRows) {
    const std::string pad15(45, ' ');
    const std::pair<std::string, std::string> cases[] = {
        {"A", "T:\n 41" + pad15 + "    |    A\n\r\n"},
        {sequence(16), "T:\n" + hex_of(sequence(16), 0, 16) + "    |    " + sequence(16) + "\n\r\n"},
        {sequence(18), "T:\n" + hex_of(sequence(18), 0, 16) + "    |    " + sequence(16) + "\n" +
                           hex_of(sequence(18), 16, 18) + std::string(42, ' ') + "    |    QR\n\r\n"},
        // the text column stops at the row's first zero byte; the hex shows all
        {std::string("\0BC", 3), "T:\n 00 42 43" + std::string(39, ' ') + "    |    \n\r\n"},
        {std::string("AB\0D", 4), "T:\n 41 42 00 44" + std::string(36, ' ') + "    |    AB\n\r\n"},
    };
    for (const auto &[data, want] : cases) EXPECT_EQ(ascii_dump(data), want) << data.size();
}

TEST(Dump, DumpsIgnoreThePrintLevel) {
    Zev_Comm_SetPrintLev(0);
    EXPECT_EQ(hex_dump("A"), "T:\n 41\r\n");
    EXPECT_NE(ascii_dump("A"), "");
    Zev_Comm_SetPrintLev(5);
}

}  // namespace
