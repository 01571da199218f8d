// SPDX-License-Identifier: MIT
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
#include <thread>
#include <tuple>

#include "../media/media_test.hpp"
#include "comm_log.h"
#include "comm_uart.h"

using namespace testsupport;

// tcsetattr records the requests. A pty forces CS8 and drops PARENB: framing
// is checked on the requests, which in record-only mode do not reach the port.
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

namespace {

const tcflag_t kFraming = CSIZE | PARENB | PARODD | CSTOPB;

// The library gets the slave of a pty, the test plays the line on the master.
class Uart : public ::testing::Test {
protected:
    void SetUp() override {
        Zev_Comm_SetPrintLev(5);
        master_ = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_TRUE(master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0);
        ASSERT_EQ(ZEV_UART_Init(ptsname(master_), &fd_), 0);
        ASSERT_EQ(set({7, 1, 0, 0}), 0);  // raw: bytes pass unchanged and at once
    }
    void TearDown() override { ZEV_UART_DeInit(fd_), master_ >= 0 ? close(master_) : 0; }
    void send(const std::string &b) const {
        ASSERT_EQ(write(master_, b.data(), b.size()), ssize_t(b.size()));
    }
    struct termios attrs() const {
        struct termios t {};
        EXPECT_EQ(tcgetattr(fd_, &t), 0);
        return t;
    }
    bool readable() const {  // a pty passes bytes on through a work queue, not at once
        struct pollfd p = {fd_, POLLIN, 0};
        return poll(&p, 1, 10000) == 1;
    }
    std::string pending() const {  // what waits at the slave now
        char buf[64];
        const ssize_t n = read(fd_, buf, sizeof buf);
        return std::string(buf, n > 0 ? size_t(n) : 0);
    }
    int set(UART_ATTR_S a) { return ZEV_UART_SetAttr(fd_, &a); }
    int master_ = -1;
    int32_t fd_ = -1;
};

TEST_F(Uart, InitOpensNonBlockingAndEverySpeedSetsBothDirections) {
    EXPECT_EQ(fcntl(fd_, F_GETFL) & (O_ACCMODE | O_NONBLOCK), O_RDWR | O_NONBLOCK);
    const speed_t speeds[] = {B300, B1200, B2400, B4800, B9600, B19200, B38400, B115200};
    for (uint32_t sel = 0; sel < 8; ++sel) {
        ASSERT_EQ(set({sel, 1, 0, 0}), 0) << sel;
        const struct termios t = attrs();
        EXPECT_EQ(std::make_pair(cfgetispeed(&t), cfgetospeed(&t)), std::make_pair(speeds[sel], speeds[sel]))
            << sel;
    }
}

TEST_F(Uart, BadSettingsKeepWhatTheyMust) {
    // A bad speed changes nothing; bad framing keeps the old framing after stage one.
    const std::string speed = "no this bitrate\n";
    // clang-format off
    for (const auto &[attr, line] : {std::pair<UART_ATTR_S, std::string>{{8, 0, 1, 1}, speed},
            {{7, 2, 0, 0}, "Unsupported data size\n"}, {{7, 0, 0, 4}, "Unsupported parity\n"},
            {{7, 0, 2, 1}, "Unsupported stop bits\n"}, {{7, 5, 9, 9}, "Unsupported data size\n"}}) {  // the first only
        // clang-format on
        ASSERT_EQ(set({4, 1, 0, 0}), 0);
        const struct termios before = attrs();
        send("kept");
        ASSERT_TRUE(readable());
        const bool bad_speed = line == speed;
        const std::string stage = bad_speed ? "UART_SetSpeed :" : "UART_SetParity :";
        EXPECT_EQ(logged([&, a = attr] { return set(a); }),
                  std::make_pair(
                      bad_speed ? -1 : -2,
                      Lines{"ERR " + stage + line, bad_speed ? "ERR ZEV_UART_SetAttr :Set bit rate Error\n"
                                                             : "ERR ZEV_UART_SetAttr :Set Parity Error\n"}));
        const struct termios t = attrs();
        EXPECT_TRUE(!bad_speed || memcmp(&before, &t, sizeof t) == 0) << line;
        EXPECT_EQ(cfgetospeed(&t), bad_speed ? speed_t(B9600) : speed_t(B115200)) << line;
        EXPECT_EQ(t.c_cflag & kFraming, before.c_cflag & kFraming) << line;
        EXPECT_EQ(pending(), bad_speed ? "kept" : "") << line;
    }
}

TEST_F(Uart, FramingSelectorsAndTheFlagsThatAreCleared) {
    struct termios t = attrs();  // with every flag that SetAttr clears or keeps
    t.c_iflag |= BRKINT | INPCK | ISTRIP | ICRNL | IXON | IXANY | IXOFF | IGNPAR;
    t.c_oflag |= OPOST | ONLCR;
    t.c_lflag |= ISIG | ICANON | ECHO | ECHOE | IEXTEN | ECHOK;
    t.c_cflag |= CREAD | CLOCAL;
    const tcflag_t kOther = ~kFraming & ~tcflag_t(CBAUD);
    // Data, stop and parity selectors; the port's framing bits, those asked for.
    const std::tuple<uint32_t, uint32_t, uint32_t, tcflag_t, tcflag_t> cases[] = {
        {0, 0, 0, CS8 | PARENB | PARODD | CSTOPB, CS7 | PARODD},  // none clears PARENB only
        {1, 0, 1, CS8 | CSTOPB, CS8 | PARENB | PARODD},
        {0, 0, 2, CS8 | PARODD | CSTOPB, CS7 | PARENB},
        {1, 0, 3, CS8 | PARENB | CSTOPB, CS8},
        {1, 1, 3, CS8 | PARENB | PARODD, CS8 | PARODD | CSTOPB}};
    for (const auto &[data, stop, parity, before, after] : cases) {
        struct termios start = t;
        start.c_cflag = (t.c_cflag & ~kFraming) | before;
        ASSERT_EQ(::tcsetattr(fd_, TCSANOW, &start), 0);
        const struct termios port = attrs();  // what the pty kept of it
        g_requests.clear();
        g_record_only = true;
        EXPECT_EQ(set({6, data, stop, parity}), 0);
        g_record_only = false;
        const std::string what = std::to_string(data) + std::to_string(stop) + std::to_string(parity);
        ASSERT_EQ(g_requests.size(), 2u) << what;
        const struct termios &q = g_requests[1];
        EXPECT_EQ(q.c_cflag & kFraming, after) << what;
        EXPECT_EQ(q.c_cflag & kOther, port.c_cflag & kOther) << what;
        EXPECT_EQ(q.c_iflag, port.c_iflag & ~tcflag_t(0x1D32)) << what;  // INPCK among them
        EXPECT_EQ(q.c_oflag, port.c_oflag & ~tcflag_t(0x1)) << what;
        EXPECT_EQ(q.c_lflag, port.c_lflag & ~tcflag_t(0x801B)) << what;
        EXPECT_EQ(std::make_pair(q.c_cc[VTIME], q.c_cc[VMIN]), std::make_pair(cc_t(30), cc_t(0))) << what;
    }
}

TEST(UartFailures, OpenAndArguments) {
    Zev_Comm_SetPrintLev(5);
    int32_t fd = 77;
    EXPECT_EQ(logged([&] { return ZEV_UART_Init("/nonexistent/ttyS9", &fd); }),
              std::make_pair(-1, Lines{"ERR ZEV_UART_Init :/nonexistent/ttyS9 open failed\n"}));
    EXPECT_EQ(fd, -1);
    uint8_t buf[4];  // refused before any wait
    for (const int32_t bad : {1024, -1})
        EXPECT_EQ(logged([&] { return ZEV_UART_RecvRawData(bad, buf, 4, 60000); }),
                  std::make_pair(-1, Lines{"ERR ZEV_UART_RecvRawData :fd " + std::to_string(bad) +
                                           " does not fit the read set\n"}));
}

TEST_F(Uart, ReceivesPiecesInOrderAndStopsAtTheCount) {
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
    while (rest.size() < 4 && readable()) rest += pending();
    EXPECT_EQ(rest, "KLMN");  // nothing was read beyond the count
}

TEST_F(Uart, TimeOutsKeepWhatArrived) {
    const std::tuple<std::string, uint32_t, uint32_t, int> cases[] = {
        {"123456", 10, 150, -1}, {"", 4, 0, -1},   {"wxyz", 4, 0, 0},  // 0: one look
        {"q", 0, 150, 0},        {"", 0, 100, -1}, {"0123456789", 10, 1500, 0}, {"b", 1, 4294967295u, 0}};
    for (const auto &[sent, len, timeout, result] : cases) {
        tcflush(fd_, TCIFLUSH);
        send(sent);
        ASSERT_TRUE(sent.empty() || readable());
        char buf[17] = "................";
        const std::string what = sent + "/" + std::to_string(len) + "/" + std::to_string(timeout);
        EXPECT_EQ(ZEV_UART_RecvRawData(fd_, reinterpret_cast<uint8_t *>(buf), len, timeout), result) << what;
        const size_t kept = std::min<size_t>(sent.size(), len);
        EXPECT_EQ(std::string(buf), sent.substr(0, kept) + std::string(16 - kept, '.')) << what;
    }
}

TEST_F(Uart, TheTimeOutIsOneBudgetForTheWholeCall) {
    // A byte every 60 ms: the call ends after its 300 ms, long before 40 bytes come.
    std::atomic<bool> stop{false};
    std::thread feeder([&] {
        for (; !stop; std::this_thread::sleep_for(std::chrono::milliseconds(60))) send("x");
    });
    uint8_t buf[40];
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(ZEV_UART_RecvRawData(fd_, buf, sizeof buf, 300), -1);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));  // loose
    stop = true;
    feeder.join();
}

TEST_F(Uart, AHungUpLineWakesSelectWithoutDataAndStillEnds) {
    close(master_);
    master_ = -1;
    uint8_t buf[8];
    const auto start = std::chrono::steady_clock::now();
    const auto [r, lines] = logged([&] { return ZEV_UART_RecvRawData(fd_, buf, sizeof buf, 200); });
    EXPECT_EQ(r, -1);
    EXPECT_EQ(lines, Lines(lines.size(), "DBG ZEV_UART_RecvRawData :uartMSG read error ret= -1 \n"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));  // loose: it does not spin
}

}  // namespace
