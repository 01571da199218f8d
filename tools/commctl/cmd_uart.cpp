// SPDX-License-Identifier: MIT
// uart: receive bytes from a serial device and show them in hex.
#include <cstring>
#include <ctime>

#include "comm_uart.h"
#include "command.hpp"

namespace {

const char kUsage[] =
    "usage: commctl uart recv DEVICE BAUD LENGTH TIMEOUT_MS\n"
    "\n"
    "Opens DEVICE, sets BAUD (300, 1200, 2400, 4800, 9600, 19200, 38400 or\n"
    "115200) with 8 data bits, no parity and one stop bit, and waits up to\n"
    "TIMEOUT_MS milliseconds in all for LENGTH bytes (at most 65536). What\n"
    "came is shown in hex; a time-out shows what did come and exits with 1.\n";

constexpr uint32_t kBauds[] = {300, 1200, 2400, 4800, 9600, 19200, 38400, 115200};
constexpr uint32_t kMaxLength = 65536;

bool baud_selector(uint32_t baud, uint32_t &selector) {
    for (uint32_t i = 0; i < sizeof kBauds / sizeof kBauds[0]; ++i) {
        if (kBauds[i] == baud) {
            selector = i;
            return true;
        }
    }
    return false;
}

uint64_t now_ms() {
    struct timespec ts {};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<uint64_t>(ts.tv_sec) * 1000 + static_cast<uint64_t>(ts.tv_nsec) / 1000000;
}

void hex_dump(const unsigned char *data, uint32_t len) {
    for (uint32_t row = 0; row < len; row += 16) {
        printf("%04x:", row);
        for (uint32_t i = row; i < row + 16 && i < len; ++i) printf(" %02x", data[i]);
        printf("\n");
    }
}

// One byte per call, so that the count is known even after a time-out; the
// time-out stays one budget for the whole receive.
uint32_t receive(int32_t fd, unsigned char *buf, uint32_t len, uint32_t timeout_ms) {
    const uint64_t deadline = now_ms() + timeout_ms;
    uint32_t got = 0;
    while (got < len) {
        const uint64_t now = now_ms();
        const uint32_t left = now >= deadline ? 0 : static_cast<uint32_t>(deadline - now);
        if (ZEV_UART_RecvRawData(fd, buf + got, 1, left) != 0) break;
        ++got;
    }
    return got;
}

int run_uart(commctl::Args args) {
    if (args.size() != 5 || strcmp(args[0], "recv") != 0)
        return commctl::usage_error(
            "uart wants: recv DEVICE BAUD LENGTH TIMEOUT_MS (see commctl uart --help)");
    uint32_t baud = 0, len = 0, timeout = 0, selector = 0;
    if (!commctl::parse_u32(args[2], baud) || !baud_selector(baud, selector))
        return commctl::usage_error("'%s' is not one of the eight speeds", args[2]);
    if (!commctl::parse_u32(args[3], len) || len > kMaxLength)
        return commctl::usage_error("'%s' is not a length from 0 to %u", args[3], kMaxLength);
    if (!commctl::parse_u32(args[4], timeout))
        return commctl::usage_error("'%s' is not a time-out in ms", args[4]);

    int32_t fd = -1;
    if (ZEV_UART_Init(args[1], &fd) != 0) return commctl::failure("cannot open %s", args[1]);
    UART_ATTR_S attr = {selector, 1, 0, 0};
    if (ZEV_UART_SetAttr(fd, &attr) != 0) {
        ZEV_UART_DeInit(fd);
        return commctl::failure("cannot set up %s", args[1]);
    }
    static unsigned char buf[kMaxLength];
    const uint32_t got = len == 0 ? 0 : receive(fd, buf, len, timeout);
    ZEV_UART_DeInit(fd);
    hex_dump(buf, got);
    if (got < len) return commctl::failure("timed out: %u of %u bytes came", got, len);
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(uart, "uart", "receive bytes from a serial device", kUsage, run_uart);
