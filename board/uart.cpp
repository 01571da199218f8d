// SPDX-License-Identifier: MIT
// Serial port over termios: open, speed and framing, receive under one
// time-out budget, close.
#include <errno.h>
#include <fcntl.h>
#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

#include <ctime>

#include "comm_log.h"
#include "comm_uart.h"
#include "frame/monotonic.hpp"

namespace comm {
namespace {

constexpr speed_t kSpeeds[] = {B300, B1200, B2400, B4800, B9600, B19200, B38400, B115200};
constexpr uint32_t kSpeedCount = sizeof kSpeeds / sizeof kSpeeds[0];

constexpr tcflag_t kInputFlagsCleared = BRKINT | INPCK | ISTRIP | ICRNL | IXON | IXANY | IXOFF;
constexpr tcflag_t kOutputFlagsCleared = OPOST;
constexpr tcflag_t kLocalFlagsCleared = ISIG | ICANON | ECHO | ECHOE | IEXTEN;
constexpr cc_t kReadTenths = 30;
constexpr cc_t kReadMinimum = 0;

constexpr int kSelectSetBits = 1024;
constexpr long kIdlePassRestNs = 1000000;  // 1 ms

// The speed goes first and on its own: a bad speed selector fails
// SetAttr with -1 before the framing is looked at. False only for a
// selector without a row; a refused tcsetattr is logged and passed over.
bool set_speed(int fd, uint32_t selector) {
    struct termios tio {};
    (void)tcgetattr(fd, &tio);
    if (selector >= kSpeedCount) {
        ZEV_COMM_LOG_AS(ERR, "UART_SetSpeed", "no this bitrate\n");
        return false;
    }
    (void)tcflush(fd, TCIOFLUSH);
    (void)cfsetispeed(&tio, kSpeeds[selector]);
    (void)cfsetospeed(&tio, kSpeeds[selector]);
    if (tcsetattr(fd, TCSANOW, &tio) != 0) ZEV_COMM_LOG_AS(ERR, "UART_SetSpeed", "tcsetattr fd1");
    (void)tcflush(fd, TCIOFLUSH);
    return true;
}

bool apply_data_size(struct termios &tio, uint32_t selector) {
    tio.c_cflag &= ~CSIZE;
    switch (selector) {
        case 0:
            tio.c_cflag |= CS7;
            return true;
        case 1:
            tio.c_cflag |= CS8;
            return true;
        default:
            return false;
    }
}

bool apply_parity(struct termios &tio, uint32_t selector) {
    switch (selector) {
        case 0:
        case 3:
            tio.c_cflag &= ~PARENB;
            return true;
        case 1:
            tio.c_cflag |= PARENB | PARODD;
            return true;
        case 2:
            tio.c_cflag |= PARENB;
            tio.c_cflag &= ~PARODD;
            return true;
        default:
            return false;
    }
}

bool apply_stop_bits(struct termios &tio, uint32_t selector) {
    switch (selector) {
        case 0:
            tio.c_cflag &= ~CSTOPB;
            return true;
        case 1:
            tio.c_cflag |= CSTOPB;
            return true;
        default:
            return false;
    }
}

// Data bits, parity, stop bits and raw mode, built on a copy of the port's
// settings and applied in one tcsetattr, so that a selector without a row
// leaves the port as it was.
bool set_framing(int fd, const UART_ATTR_S &attr) {
    struct termios tio {};
    if (tcgetattr(fd, &tio) != 0) {
        ZEV_COMM_LOG_AS(ERR, "UART_SetParity", "tcgetattr err");
        return false;
    }
    if (!apply_data_size(tio, attr.u32DataBits)) {
        ZEV_COMM_LOG_AS(ERR, "UART_SetParity", "Unsupported data size\n");
        return false;
    }
    if (!apply_parity(tio, attr.u32Parity)) {
        ZEV_COMM_LOG_AS(ERR, "UART_SetParity", "Unsupported parity\n");
        return false;
    }
    if (!apply_stop_bits(tio, attr.u32StopBits)) {
        ZEV_COMM_LOG_AS(ERR, "UART_SetParity", "Unsupported stop bits\n");
        return false;
    }
    (void)tcflush(fd, TCIFLUSH);
    tio.c_iflag &= ~kInputFlagsCleared;
    tio.c_oflag &= ~kOutputFlagsCleared;
    tio.c_lflag &= ~kLocalFlagsCleared;
    tio.c_cc[VTIME] = kReadTenths;
    tio.c_cc[VMIN] = kReadMinimum;
    if (tcsetattr(fd, TCSANOW, &tio) != 0) {
        ZEV_COMM_LOG_AS(ERR, "UART_SetParity", "tcsetattr err");
        return false;
    }
    return true;
}

int64_t now_ns() {
    const struct timespec ts = monotonic_now();
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// After a pass on which the line woke select but gave no byte: rest a
// little, never past the deadline, so that a hung-up line does not spin.
void rest_after_idle_pass(int64_t deadline_ns) {
    const int64_t left = deadline_ns - now_ns();
    if (left <= 0) return;
    struct timespec rest {
        0, left < kIdlePassRestNs ? static_cast<long>(left) : kIdlePassRestNs
    };
    (void)nanosleep(&rest, nullptr);
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t ZEV_UART_Init(const char *path, int32_t *pFd) {
    ZEV_COMM_CHECK_POINTER(path);
    ZEV_COMM_CHECK_POINTER(pFd);
    *pFd = open(path, O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (*pFd == -1) {
        ZEV_COMM_ERR("%s open failed\n", path);
        return -1;
    }
    return 0;
}

COMM_API int32_t ZEV_UART_SetAttr(int32_t fd, UART_ATTR_S *pstAttr) {
    ZEV_COMM_CHECK_POINTER(pstAttr);
    if (!comm::set_speed(fd, pstAttr->u32Baud)) {
        ZEV_COMM_ERR("Set bit rate Error\n");
        return -1;
    }
    if (!comm::set_framing(fd, *pstAttr)) {
        ZEV_COMM_ERR("Set Parity Error\n");
        return -2;
    }
    return 0;
}

COMM_API int32_t ZEV_UART_RecvRawData(int32_t fd, uint8_t *pBuf, uint32_t u32Len, uint32_t u32TimeoutMs) {
    ZEV_COMM_CHECK_POINTER(pBuf);
    if (fd < 0 || fd >= comm::kSelectSetBits) {
        ZEV_COMM_ERR("fd %d does not fit the read set\n", fd);
        return -1;
    }
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(fd, &readable);
    struct timeval left {};
    left.tv_sec = static_cast<time_t>(u32TimeoutMs / 1000);
    left.tv_usec = static_cast<suseconds_t>((u32TimeoutMs % 1000) * 1000);
    const int64_t deadline_ns = comm::now_ns() + static_cast<int64_t>(u32TimeoutMs) * 1000000;

    uint32_t count = 0;
    for (;;) {
        // select empties the set when it times out; that pass ends the call.
        if (select(fd + 1, &readable, nullptr, nullptr, &left) == 0) return -1;
        const ssize_t got = read(fd, pBuf + count, u32Len - count);
        if (got < 0) {
            ZEV_COMM_DBG("uartMSG read error ret= %d \n", static_cast<int>(got));
        } else {
            count += static_cast<uint32_t>(got);
        }
        if (count >= u32Len) return 0;
        if (got <= 0) {
            if (comm::now_ns() >= deadline_ns) return -1;
            comm::rest_after_idle_pass(deadline_ns);
        }
    }
}

COMM_API int32_t ZEV_UART_DeInit(int32_t fd) {
    (void)close(fd);
    return 0;
}

}  // extern "C"
