// Serial port on real ptys: termios read back with tcgetattr, bytes fed in
// pieces from a thread, the time-out budget, results and log lines.
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "../media/media_test.hpp"
#include "comm_log.h"
#include "comm_uart.h"
#include "tempdir.hpp"

using testsupport::Lines;
using testsupport::logged;

// tcsetattr as the library calls it: every request is recorded, and in
// record-only mode nothing reaches the port. A pty forces CS8 and drops
// PARENB, so the framing bits are checked on the request itself.
namespace {
std::vector<struct termios> g_requests;
bool g_record_only = false;
}  // namespace

extern "C" int tcsetattr(int fd, int when, const struct termios *t) {
    static auto real =
        reinterpret_cast<int (*)(int, int, const struct termios *)>(dlsym(RTLD_NEXT, "tcsetattr"));
    g_requests.push_back(*t);
    return g_record_only ? 0 : real(fd, when, t);
}

// select as the library calls it: the time-out it is handed is recorded.
std::vector<struct timeval> g_select_timeouts;

extern "C" int select(int n, fd_set *r, fd_set *w, fd_set *e, struct timeval *tv) {
    static auto real = reinterpret_cast<int (*)(int, fd_set *, fd_set *, fd_set *, struct timeval *)>(
        dlsym(RTLD_NEXT, "select"));
    if (tv != nullptr) g_select_timeouts.push_back(*tv);
    return real(n, r, w, e, tv);
}

namespace {

const std::string kReadError = "DBG ZEV_UART_RecvRawData :uartMSG read error ret= -1 \n";

// A pty pair: the library gets the slave through ZEV_UART_Init, the test
// plays the other end of the line on the master.
class Uart : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(5);
        master_ = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_GE(master_, 0);
        ASSERT_EQ(grantpt(master_), 0);
        ASSERT_EQ(unlockpt(master_), 0);
        path_ = ptsname(master_);
        ASSERT_EQ(ZEV_UART_Init(path_.c_str(), &fd_), 0);
        ASSERT_GE(fd_, 0);
    }
    void TearDown() override {
        if (fd_ >= 0) ZEV_UART_DeInit(fd_);
        if (master_ >= 0) close(master_);
    }
    void send(const std::string &bytes) const {
        ASSERT_EQ(write(master_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
    struct termios attrs() const {
        struct termios t {};
        EXPECT_EQ(tcgetattr(fd_, &t), 0);
        return t;
    }
    // Waits (up to 10 s) until the slave has bytes: a pty passes them on
    // through a work queue, not at once.
    bool wait_readable() const {
        struct pollfd p = {fd_, POLLIN, 0};
        return poll(&p, 1, 10000) == 1;
    }
    // Bytes waiting at the slave: whether a flush happened.
    std::string pending() const {
        char buf[64] = {};
        const ssize_t n = read(fd_, buf, sizeof buf);
        return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
    }
    int set(UART_ATTR_S a) { return ZEV_UART_SetAttr(fd_, &a); }
    void raw() { ASSERT_EQ(set({7, 1, 0, 0}), 0); }  // bytes pass unchanged and at once
    int master_ = -1;
    int32_t fd_ = -1;
    std::string path_;
};

TEST_F(Uart, InitOpensNonBlockingAndFailsWithMinusOne) {
    const int flags = fcntl(fd_, F_GETFL);
    EXPECT_EQ(flags & O_ACCMODE, O_RDWR);
    EXPECT_NE(flags & O_NONBLOCK, 0);
    int32_t fd = 77;
    EXPECT_EQ(logged([&] { return ZEV_UART_Init("/nonexistent/ttyS9", &fd); }),
              std::make_pair(-1, Lines{"ERR ZEV_UART_Init :/nonexistent/ttyS9 open failed\n"}));
    EXPECT_EQ(fd, -1);
    EXPECT_EQ(ZEV_UART_Init(nullptr, &fd), -1);
    EXPECT_EQ(ZEV_UART_Init(path_.c_str(), nullptr), -1);
}

TEST_F(Uart, SpeedSelectorsSetBothDirectionsAndBadOnesLeaveThePortAlone) {
    const speed_t speeds[] = {B300, B1200, B2400, B4800, B9600, B19200, B38400, B115200};
    for (uint32_t sel = 0; sel < 8; ++sel) {
        ASSERT_EQ(set({sel, 1, 0, 0}), 0) << sel;
        const struct termios t = attrs();
        EXPECT_EQ(cfgetispeed(&t), speeds[sel]) << sel;
        EXPECT_EQ(cfgetospeed(&t), speeds[sel]) << sel;
    }
    const struct termios before = attrs();
    send("keep");
    for (const uint32_t sel : {8u, 9u, 0xFFFFFFFFu}) {
        EXPECT_EQ(logged([&] {
                      return set({sel, 0, 1, 1});
                  }),
                  std::make_pair(-1, Lines{"ERR UART_SetSpeed :no this bitrate\n",
                                           "ERR ZEV_UART_SetAttr :Set bit rate Error\n"}));
        const struct termios after = attrs();
        EXPECT_EQ(memcmp(&before, &after, sizeof before), 0);
    }
    ASSERT_TRUE(wait_readable());
    EXPECT_EQ(pending(), "keep");  // the queues were not flushed
}

TEST_F(Uart, BadFramingKeepsTheNewSpeedAndTheOldFraming) {
    const UART_ATTR_S first = {4, 1, 0, 0};
    ASSERT_EQ(set(first), 0);
    const tcflag_t framing = attrs().c_cflag & (CSIZE | PARENB | PARODD | CSTOPB);
    const struct {
        UART_ATTR_S attr;
        std::string line;
    } cases[] = {
        {{7, 2, 0, 0}, "Unsupported data size"},
        {{7, 0, 0, 4}, "Unsupported parity"},
        {{7, 0, 2, 1}, "Unsupported stop bits"},
        {{7, 5, 9, 9}, "Unsupported data size"},  // the first bad one
        {{7, 1, 9, 9}, "Unsupported parity"},
    };
    for (const auto &c : cases) {
        ASSERT_EQ(set(first), 0);
        send("gone");
        ASSERT_TRUE(wait_readable());
        EXPECT_EQ(logged([&] { return set(c.attr); }),
                  std::make_pair(-2, Lines{"ERR UART_SetParity :" + c.line + "\n",
                                           "ERR ZEV_UART_SetAttr :Set Parity Error\n"}));
        const struct termios t = attrs();
        EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B115200));
        EXPECT_EQ(t.c_cflag & (CSIZE | PARENB | PARODD | CSTOPB), framing);
        EXPECT_EQ(pending(), "");  // flushed by stage one
    }
}

TEST_F(Uart, FramingSelectorsAndTheFlagsThatAreCleared) {
    // Start from a port with every flag that SetAttr clears or keeps.
    struct termios t = attrs();
    t.c_iflag |= BRKINT | INPCK | ISTRIP | ICRNL | IXON | IXANY | IXOFF | IGNPAR;
    t.c_oflag |= OPOST | ONLCR;
    t.c_lflag |= ISIG | ICANON | ECHO | ECHOE | IEXTEN | ECHOK;
    t.c_cflag |= CREAD | CLOCAL;
    const tcflag_t kFraming = CSIZE | PARENB | PARODD | CSTOPB, kOther = ~kFraming & ~tcflag_t(CBAUD);
    const struct {
        uint32_t data, stop, parity;
        tcflag_t before, after;  // the framing bits of the port, and asked for
    } cases[] = {
        {0, 0, 0, CS8 | PARENB | PARODD | CSTOPB, CS7 | PARODD},  // none clears PARENB only
        {1, 0, 0, CS7, CS8},
        {1, 1, 0, CS8, CS8 | CSTOPB},
        {1, 0, 1, CS8 | CSTOPB, CS8 | PARENB | PARODD},
        {1, 1, 1, CS7, CS8 | PARENB | PARODD | CSTOPB},
        {0, 0, 2, CS8 | PARODD | CSTOPB, CS7 | PARENB},
        {1, 1, 2, CS8, CS8 | PARENB | CSTOPB},
        {1, 0, 3, CS8 | PARENB | CSTOPB, CS8},
        {0, 1, 3, CS8 | PARENB, CS7 | CSTOPB},
        {1, 1, 3, CS8 | PARENB | PARODD, CS8 | PARODD | CSTOPB},
    };
    for (const auto &c : cases) {
        struct termios start = t;
        start.c_cflag = (t.c_cflag & ~kFraming) | c.before;
        ASSERT_EQ(::tcsetattr(fd_, TCSANOW, &start), 0);
        const struct termios port = attrs();  // what the pty kept of it
        g_requests.clear();
        g_record_only = true;
        const int r = set({6, c.data, c.stop, c.parity});
        g_record_only = false;
        const std::string what = std::to_string(c.data) + std::to_string(c.stop) + std::to_string(c.parity);
        EXPECT_EQ(r, 0) << what;
        ASSERT_EQ(g_requests.size(), 2u) << what;
        const struct termios &q = g_requests[1];
        EXPECT_EQ(q.c_cflag & kFraming, c.after) << what;
        EXPECT_EQ(q.c_cflag & kOther, port.c_cflag & kOther) << what;
        EXPECT_EQ(q.c_iflag, port.c_iflag & ~tcflag_t(0x1D32)) << what;  // INPCK among them
        EXPECT_EQ(q.c_oflag, port.c_oflag & ~tcflag_t(0x1)) << what;
        EXPECT_EQ(q.c_lflag, port.c_lflag & ~tcflag_t(0x801B)) << what;
        EXPECT_EQ(q.c_cc[VTIME], 30) << what;
        EXPECT_EQ(q.c_cc[VMIN], 0) << what;
    }
}

TEST(UartNoTty, FailuresOfTheTermiosCallsOnAPlainFile) {
    Zev_Comm_SetPrintLev(5);
    testsupport::TempDir dir;
    ASSERT_TRUE(testsupport::write_file(dir / "plain", ""));
    int32_t fd = -1;
    ASSERT_EQ(ZEV_UART_Init((dir / "plain").c_str(), &fd), 0);
    UART_ATTR_S a = {4, 1, 0, 0};
    // The first tcsetattr's failure is only logged.
    EXPECT_EQ(
        logged([&] { return ZEV_UART_SetAttr(fd, &a); }),
        std::make_pair(-2, Lines{"ERR UART_SetSpeed :tcsetattr fd1", "ERR UART_SetParity :tcgetattr err",
                                 "ERR ZEV_UART_SetAttr :Set Parity Error\n"}));
    EXPECT_EQ(ZEV_UART_DeInit(fd), 0);
    EXPECT_EQ(ZEV_UART_DeInit(fd), 0);  // already closed: still 0
    EXPECT_EQ(ZEV_UART_DeInit(-1), 0);
    EXPECT_EQ(ZEV_UART_SetAttr(fd, nullptr), -1);
}

TEST_F(Uart, ReceivesPiecesInOrderAndStopsAtTheCount) {
    raw();
    std::thread feeder([this] {
        for (const char *piece : {"ab", "cde", "f", "ghij", "KLMN"}) {
            std::this_thread::sleep_for(std::chrono::milliseconds(15));
            send(piece);
        }
    });
    char buf[17] = "................";
    const int r = ZEV_UART_RecvRawData(fd_, reinterpret_cast<uint8_t *>(buf), 10, 20000);
    feeder.join();
    EXPECT_EQ(r, 0);
    EXPECT_STREQ(buf, "abcdefghij......");
    std::string rest;
    while (rest.size() < 4 && wait_readable()) rest += pending();
    EXPECT_EQ(rest, "KLMN");  // nothing was read beyond the count
}

TEST_F(Uart, TimeOutsKeepWhatArrived) {
    raw();
    const struct {
        const char *what;
        std::string sent;
        uint32_t len, timeout;
        int result;
    } cases[] = {
        {"6 of 10", "123456", 10, 150, -1},     {"poll, nothing waiting", "", 4, 0, -1},
        {"poll, all waiting", "wxyz", 4, 0, 0}, {"length 0, readable", "q", 0, 150, 0},
        {"length 0, silent", "", 0, 100, -1},   {"1500 ms budget, full", "0123456789", 10, 1500, 0},
    };
    for (const auto &c : cases) {
        tcflush(fd_, TCIFLUSH);
        if (!c.sent.empty()) {
            send(c.sent);
            ASSERT_TRUE(wait_readable());
        }
        char buf[17] = "................";
        EXPECT_EQ(ZEV_UART_RecvRawData(fd_, reinterpret_cast<uint8_t *>(buf), c.len, c.timeout), c.result)
            << c.what;
        const size_t kept = std::min<size_t>(c.sent.size(), c.len);
        EXPECT_EQ(std::string(buf), c.sent.substr(0, kept) + std::string(16 - kept, '.')) << c.what;
    }
}

TEST_F(Uart, TheTimeOutIsSplitIntoSecondsAndMicroseconds) {
    raw();
    const struct {
        uint32_t ms;
        long sec, usec;
    } cases[] = {
        {500, 0, 500000}, {1500, 1, 500000}, {0, 0, 0},
        {999, 0, 999000}, {1000, 1, 0},      {4294967295u, 4294967, 295000},
    };
    for (const auto &c : cases) {
        send("b");  // waiting already, so the first pass returns at once
        ASSERT_TRUE(wait_readable());
        g_select_timeouts.clear();
        uint8_t b = 0;
        EXPECT_EQ(ZEV_UART_RecvRawData(fd_, &b, 1, c.ms), 0) << c.ms;
        ASSERT_EQ(g_select_timeouts.size(), 1u) << c.ms;
        EXPECT_EQ(static_cast<long>(g_select_timeouts[0].tv_sec), c.sec) << c.ms;
        EXPECT_EQ(static_cast<long>(g_select_timeouts[0].tv_usec), c.usec) << c.ms;
    }
}

TEST_F(Uart, TheTimeOutIsOneBudgetForTheWholeCall) {
    raw();
    // A byte every 60 ms keeps every single wait short; the whole call still
    // ends when its 300 ms are used up, long before all 40 bytes could come.
    std::atomic<bool> stop{false};
    std::thread feeder([&] {
        for (; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(60))) send("x");
    });
    uint8_t buf[40];
    g_select_timeouts.clear();
    const int r = ZEV_UART_RecvRawData(fd_, buf, sizeof buf, 300);
    stop = true;
    feeder.join();
    EXPECT_EQ(r, -1);
    // Every pass is handed what the one before left of the budget.
    ASSERT_GT(g_select_timeouts.size(), 1u);
    const auto us = [](const struct timeval &tv) { return tv.tv_sec * 1000000LL + tv.tv_usec; };
    EXPECT_EQ(us(g_select_timeouts[0]), 300000);
    for (size_t i = 1; i < g_select_timeouts.size(); ++i)
        EXPECT_LE(us(g_select_timeouts[i]), us(g_select_timeouts[i - 1])) << i;
}

TEST_F(Uart, LinesThatWakeSelectWithoutDataStillEnd) {
    raw();
    close(master_);  // hung up: the slave wakes select at once, reads bring nothing
    master_ = -1;
    uint8_t buf[8];
    const auto start = std::chrono::steady_clock::now();
    for (const bool closed : {false, true}) {
        g_select_timeouts.clear();
        const auto [r, lines] = logged([&] {
            int fd = fd_;
            if (closed) close(fd = dup(fd_));  // a number in the table, closed: select and read fail
            return ZEV_UART_RecvRawData(fd, buf, sizeof buf, 200);
        });
        EXPECT_EQ(r, -1);
        EXPECT_GT(g_select_timeouts.size(), 1u) << closed;  // woken more than once
        EXPECT_EQ(lines, Lines(closed ? std::max<size_t>(lines.size(), 1) : lines.size(), kReadError))
            << closed;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(40));  // loose: it does not spin
}

TEST(UartArgs, RefusedBeforeAnyWait) {
    Zev_Comm_SetPrintLev(5);
    uint8_t buf[4];
    const std::string fit = "ERR ZEV_UART_RecvRawData :fd ";
    const struct {
        int32_t fd;
        uint8_t *buf;
        std::string line;
    } cases[] = {
        {1024, buf, fit + "1024 does not fit the read set\n"},
        {-1, buf, fit + "-1 does not fit the read set\n"},
        {0, nullptr, "ERR ZEV_UART_RecvRawData :pointer[pBuf] is NULL\n"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(logged([&] { return ZEV_UART_RecvRawData(c.fd, c.buf, 4, 60000); }),
                  std::make_pair(-1, Lines{c.line}));
}

}  // namespace
