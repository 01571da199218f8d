// The byte ring: capacity minus one usable bytes, the full and empty lines,
// strings that stop short, the shared retry budget of the Wait forms, the
// lock and the signal, and the edges of creation.
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_ringbuffer.h"
#include "log_lines.hpp"
#include "sync_spy.hpp"

using containers_spy::Recording;
using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

using Lines = std::vector<std::string>;
using Bytes = std::vector<uint8_t>;

std::string full_line(const std::string &name) { return "DDD RingBuffer_In :" + name + ":full\n"; }
std::string empty_line(const std::string &name) { return "VVV RingBuffer_Out :" + name + ":empty\n"; }

Bytes pattern(int n, int seed = 0) {
    Bytes b(static_cast<size_t>(n > 0 ? n : 0));
    for (size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(seed + 31 * i + 7);
    return b;
}

class Ring : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(7); }
    void TearDown() override {
        RingBuffer_destroy(ring_);
        Zev_Comm_SetPrintLev(5);
    }
    void *make(int capacity, const char *name = "rb") {
        RingBuffer_destroy(ring_);
        ring_ = RingBuffer_create(name, capacity);
        return ring_;
    }
    // Stores bytes through RingBuffer_In and expects all to go in.
    void fill(const Bytes &bytes) {
        for (uint8_t b : bytes) ASSERT_EQ(RingBuffer_In(ring_, b), 1);
    }
    Bytes drain() {
        Bytes out;
        uint8_t b = 0;
        while (RingBuffer_isEmpty(ring_) == 0 && RingBuffer_Out(ring_, &b) == 1) out.push_back(b);
        return out;
    }
    void *ring_ = nullptr;
};

TEST_F(Ring, HoldsOneByteLessThanItsCapacity) {
    for (int capacity : {1, 2, 3, 8, 16, 255}) {
        make(capacity);
        ASSERT_NE(ring_, nullptr);
        EXPECT_EQ(RingBuffer_isEmpty(ring_), 1) << capacity;
        const Bytes in = pattern(capacity - 1, capacity);
        const auto lines = summarise(capture_stdout([&] { fill(in); }));
        EXPECT_TRUE(lines.empty()) << capacity;
        int r = -1;
        EXPECT_EQ(summarise(capture_stdout([&] { r = RingBuffer_In(ring_, 0xEE); })), Lines{full_line("rb")});
        EXPECT_EQ(r, 0) << capacity;
        EXPECT_EQ(RingBuffer_isFull(ring_), 1) << capacity;
        EXPECT_EQ(RingBuffer_isEmpty(ring_), capacity == 1 ? 1 : 0) << capacity;
        EXPECT_EQ(RingBuffer_GetDataSize(ring_), capacity - 1) << capacity;
        EXPECT_EQ(drain(), in) << capacity;
        uint8_t b = 0x5A;
        EXPECT_EQ(summarise(capture_stdout([&] { r = RingBuffer_Out(ring_, &b); })), Lines{empty_line("rb")});
        EXPECT_EQ(r, 0);
        EXPECT_EQ(b, 0x5A) << "an empty ring leaves the byte alone";
        EXPECT_EQ(RingBuffer_GetDataSize(ring_), 0);
    }
}

TEST_F(Ring, StringsStopShortWithOneLine) {
    const struct {
        int capacity;
        int prefill;  // bytes already stored
        int in_len;
        int stored;   // result of StrIn
        int out_len;
        int taken;    // result of StrOut
    } cases[] = {
        {5, 0, 10, 4, 10, 4},   // room for 4: stores 4, takes those 4
        {5, 0, 4, 4, 4, 4},     // exactly fits: no line either way
        {5, 4, 1, 0, 2, 2},     // already full: nothing stored
        {8, 3, 3, 3, 7, 6},     // fits, then asks for one more than stored
        {2, 0, 3, 1, 1, 1},     // smallest useful ring
        {1, 0, 3, 0, 3, 0},     // never holds a byte
    };
    for (const auto &c : cases) {
        SCOPED_TRACE("capacity " + std::to_string(c.capacity) + " prefill " + std::to_string(c.prefill));
        make(c.capacity);
        const Bytes pre = pattern(c.prefill, 100);
        fill(pre);
        const Bytes in = pattern(c.in_len, 1);
        int r = -1;
        Lines lines = summarise(capture_stdout([&] { r = RingBuffer_StrIn(ring_, in.data(), c.in_len); }));
        EXPECT_EQ(r, c.stored);
        EXPECT_EQ(lines, c.stored < c.in_len ? Lines{full_line("rb")} : Lines{});
        EXPECT_EQ(RingBuffer_GetDataSize(ring_), c.prefill + c.stored);

        Bytes out(static_cast<size_t>(c.out_len), 0xCC);
        lines = summarise(capture_stdout([&] { r = RingBuffer_StrOut(ring_, out.data(), c.out_len); }));
        EXPECT_EQ(r, c.taken);
        EXPECT_EQ(lines, c.taken < c.out_len ? Lines{empty_line("rb")} : Lines{});
        Bytes expected = pre;
        expected.insert(expected.end(), in.begin(), in.begin() + c.stored);
        expected.resize(static_cast<size_t>(c.taken));
        expected.resize(out.size(), 0xCC);  // bytes past the count stay untouched
        EXPECT_EQ(out, expected);
    }
}

TEST_F(Ring, BytesComeOutInOrderAcrossTheEnd) {
    for (int capacity : {2, 3, 7, 64}) {
        make(capacity);
        for (int round = 0; round < 3 * capacity; ++round) {
            // A chunk size that drifts against the capacity, so that every
            // split across the end of the data area occurs.
            const int len = 1 + round % (capacity - 1);
            const Bytes in = pattern(len, round);
            ASSERT_EQ(RingBuffer_StrIn(ring_, in.data(), len), len);
            Bytes out(static_cast<size_t>(len));
            ASSERT_EQ(RingBuffer_StrOut(ring_, out.data(), len), len);
            ASSERT_EQ(out, in) << "capacity " << capacity << " round " << round;
        }
        EXPECT_EQ(RingBuffer_isEmpty(ring_), 1);
        EXPECT_EQ(RingBuffer_GetDataSize(ring_), 0);
    }
}

// The ring as the byte-at-a-time loop defines it, to hold the string moves
// to every result, byte and line of that loop.
struct ByteLoopRing {
    explicit ByteLoopRing(int c) : data(static_cast<size_t>(c)), capacity(c) {}
    bool full() const { return (write + 1) % capacity == read; }
    bool empty() const { return read == write; }
    int in(uint8_t b, Lines &lines) {
        if (full()) {
            lines.push_back(full_line("m"));
            return 0;
        }
        data[static_cast<size_t>(write)] = b;
        write = (write + 1) % capacity;
        ++size;
        return 1;
    }
    int out(uint8_t *b, Lines &lines) {
        if (empty()) {
            lines.push_back(empty_line("m"));
            return 0;
        }
        *b = data[static_cast<size_t>(read)];
        read = (read + 1) % capacity;
        --size;
        return 1;
    }
    int str_in(const uint8_t *p, int len, Lines &lines) {
        int i = 0;
        while (i < len && in(p[i], lines) == 1) ++i;
        return len < 0 ? len : i;
    }
    int str_out(uint8_t *p, int len, Lines &lines) {
        int i = 0;
        while (i < len && out(&p[i], lines) == 1) ++i;
        return len < 0 ? len : i;
    }
    Bytes data;
    int capacity;
    int read = 0, write = 0, size = 0;
};

// One step's outcome as text: result, bytes delivered and the queries.
std::string outcome(int step, int op, int len, int result, const Bytes &got, int full, int empty, int size) {
    std::string s = "step " + std::to_string(step) + " op " + std::to_string(op) + " len " + std::to_string(len) +
                    ": result " + std::to_string(result) + " bytes";
    for (uint8_t b : got) s += " " + std::to_string(b);
    return s + " full " + std::to_string(full) + " empty " + std::to_string(empty) + " size " + std::to_string(size);
}

TEST_F(Ring, StringMovesMatchTheByteLoop) {
    std::mt19937 rng(12345);
    for (int capacity = 1; capacity <= 9; ++capacity) {
        make(capacity, "m");
        ByteLoopRing model(capacity);
        Lines expected_lines;
        std::vector<std::string> real, modelled;
        // No assertions inside: the capture would swallow their messages.
        const std::string output = capture_stdout([&] {
            for (int step = 0; step < 400; ++step) {
                const int op = static_cast<int>(rng() % 5);
                const int len = static_cast<int>(rng() % static_cast<unsigned>(capacity + 4)) - 1;
                const Bytes in = pattern(len > 0 ? len : 1, step);  // never a null pData
                Bytes got(in.size() + 1, 0), want(in.size() + 1, 0);
                const uint8_t byte = static_cast<uint8_t>(step);
                int r = 0, m = 0;
                switch (op) {
                case 0:
                    r = RingBuffer_StrIn(ring_, in.data(), len);
                    m = len == 0 ? 0 : model.str_in(in.data(), len, expected_lines);
                    break;
                case 1:
                    r = RingBuffer_StrOut(ring_, got.data(), len);
                    m = len == 0 ? 0 : model.str_out(want.data(), len, expected_lines);
                    break;
                case 2:
                    r = RingBuffer_In(ring_, byte);
                    m = model.in(byte, expected_lines);
                    break;
                case 3:
                    r = RingBuffer_Out(ring_, got.data());
                    m = model.out(want.data(), expected_lines);
                    break;
                default:
                    if (step % 7 == 0) {  // rarely, or the ring is mostly empty
                        r = RingBuffer_Clean(ring_);
                        m = 1;
                        model.read = model.write = model.size = 0;
                    }
                }
                real.push_back(outcome(step, op, len, r, got, RingBuffer_isFull(ring_), RingBuffer_isEmpty(ring_),
                                       RingBuffer_GetDataSize(ring_)));
                modelled.push_back(outcome(step, op, len, m, want, model.full(), model.empty(), model.size));
            }
        });
        for (size_t i = 0; i < real.size(); ++i) ASSERT_EQ(real[i], modelled[i]) << "capacity " << capacity;
        ASSERT_EQ(summarise(output), expected_lines) << "capacity " << capacity;
    }
}

TEST_F(Ring, NothingToMoveTakesNoLockAndSignalsNothing) {
    make(8);
    fill(pattern(3));
    uint8_t buf[4] = {0xAB, 0xAB, 0xAB, 0xAB};
    const struct {
        const char *what;
        int (*call)(void *, uint8_t *);
        int result;
        int locks;
        int signals;
    } cases[] = {
        {"StrIn null", [](void *r, uint8_t *) { return RingBuffer_StrIn(r, nullptr, 4); }, 0, 0, 0},
        {"StrIn 0", [](void *r, uint8_t *b) { return RingBuffer_StrIn(r, b, 0); }, 0, 0, 0},
        {"StrOut null", [](void *r, uint8_t *) { return RingBuffer_StrOut(r, nullptr, 4); }, 0, 0, 0},
        {"StrOut 0", [](void *r, uint8_t *b) { return RingBuffer_StrOut(r, b, 0); }, 0, 0, 0},
        {"StrInWait null", [](void *r, uint8_t *) { return RingBuffer_StrInWait(r, nullptr, 4, 3); }, 0, 0, 0},
        {"StrInWait 0", [](void *r, uint8_t *b) { return RingBuffer_StrInWait(r, b, 0, 3); }, 0, 0, 0},
        {"StrOutWait null", [](void *r, uint8_t *) { return RingBuffer_StrOutWait(r, nullptr, 4, 3); }, 0, 0, 0},
        {"StrOutWait 0", [](void *r, uint8_t *b) { return RingBuffer_StrOutWait(r, b, 0, 3); }, 0, 0, 0},
        // A negative length is locked, moves nothing and comes back.
        {"StrIn -1", [](void *r, uint8_t *b) { return RingBuffer_StrIn(r, b, -1); }, -1, 1, 1},
        {"StrOut -5", [](void *r, uint8_t *b) { return RingBuffer_StrOut(r, b, -5); }, -5, 1, 0},
        {"StrInWait min", [](void *r, uint8_t *b) { return RingBuffer_StrInWait(r, b, INT32_MIN, 3); }, INT32_MIN,
         1, 1},
        {"StrOutWait -2", [](void *r, uint8_t *b) { return RingBuffer_StrOutWait(r, b, -2, 3); }, -2, 1, 0},
    };
    for (const auto &c : cases) {
        int r = 99;
        Lines lines;
        Recording rec;
        lines = summarise(capture_stdout([&] { r = c.call(ring_, buf); }));
        EXPECT_EQ(r, c.result) << c.what;
        EXPECT_TRUE(lines.empty()) << c.what;
        EXPECT_EQ(rec.counts().locks, c.locks) << c.what;
        EXPECT_EQ(rec.counts().signals, c.signals) << c.what;
        EXPECT_TRUE(rec.counts().sleeps_us.empty()) << c.what;
        EXPECT_EQ(RingBuffer_GetDataSize(ring_), 3) << c.what;
        EXPECT_EQ(buf[0], 0xAB) << c.what;
    }
}

TEST_F(Ring, OnlyTheStoringStringsAndDestroySignal) {
    Bytes buf(16, 0);
    const struct {
        const char *what;
        int prefill;  // of a ring of 8
        std::function<void(void *)> call;
        int locks;
        int signals;
    } cases[] = {
        {"StrIn fits", 0, [&](void *r) { RingBuffer_StrIn(r, buf.data(), 3); }, 1, 1},
        {"StrIn into full", 7, [&](void *r) { RingBuffer_StrIn(r, buf.data(), 3); }, 1, 1},
        {"StrOut", 5, [&](void *r) { RingBuffer_StrOut(r, buf.data(), 3); }, 1, 0},
        {"StrOut of empty", 0, [&](void *r) { RingBuffer_StrOut(r, buf.data(), 3); }, 1, 0},
        {"StrInWait", 0, [&](void *r) { RingBuffer_StrInWait(r, buf.data(), 3, 2); }, 1, 1},
        {"StrInWait into full", 7, [&](void *r) { RingBuffer_StrInWait(r, buf.data(), 3, 2); }, 1, 1},
        {"StrOutWait", 5, [&](void *r) { RingBuffer_StrOutWait(r, buf.data(), 3, 2); }, 1, 0},
        {"StrOutWait of empty", 0, [&](void *r) { RingBuffer_StrOutWait(r, buf.data(), 3, 2); }, 1, 0},
        {"Clean", 5, [](void *r) { RingBuffer_Clean(r); }, 1, 0},
        {"In", 0, [](void *r) { RingBuffer_In(r, 1); }, 0, 0},
        {"Out", 5, [&](void *r) { RingBuffer_Out(r, buf.data()); }, 0, 0},
        {"queries", 5,
         [](void *r) {
             (void)RingBuffer_isFull(r);
             (void)RingBuffer_isEmpty(r);
             (void)RingBuffer_GetDataSize(r);
         },
         0, 0},
    };
    for (const auto &c : cases) {
        make(8);
        fill(pattern(c.prefill));
        Recording rec;
        capture_stdout([&] { c.call(ring_); });
        EXPECT_EQ(rec.counts().locks, c.locks) << c.what;
        EXPECT_EQ(rec.counts().signals, c.signals) << c.what;
    }
    void *ring = RingBuffer_create("d", 4);
    Recording rec;
    RingBuffer_destroy(ring);
    EXPECT_EQ(rec.counts().signals, 1);
    EXPECT_EQ(rec.counts().locks, 0) << "destroy does not take the mutex";
}

TEST_F(Ring, WaitFormsShareOneRetryBudgetPerCall) {
    const struct {
        int retry;
        int sleeps;
    } budgets[] = {{INT32_MIN, 1}, {-1, 1}, {0, 1}, {1, 1}, {2, 2}, {5, 5}};
    for (const auto &b : budgets) {
        make(8);
        uint8_t out[4] = {};
        int r = -1;
        Recording rec;
        const auto lines = summarise(capture_stdout([&] { r = RingBuffer_StrOutWait(ring_, out, 4, b.retry); }));
        EXPECT_EQ(r, 0) << b.retry;
        EXPECT_EQ(rec.counts().sleeps_us, std::vector<long>(static_cast<size_t>(b.sleeps), 10000)) << b.retry;
        EXPECT_EQ(lines, Lines(static_cast<size_t>(b.sleeps), empty_line("rb"))) << b.retry;
    }
    for (const auto &b : budgets) {
        make(4);
        fill(pattern(3));
        const Bytes in = pattern(2, 9);
        int r = -1;
        Recording rec;
        const auto lines = summarise(capture_stdout([&] { r = RingBuffer_StrInWait(ring_, in.data(), 2, b.retry); }));
        EXPECT_EQ(r, 0) << b.retry;
        EXPECT_EQ(rec.counts().sleeps_us.size(), static_cast<size_t>(b.sleeps)) << b.retry;
        EXPECT_EQ(lines, Lines(static_cast<size_t>(b.sleeps), full_line("rb"))) << b.retry;
    }
}

TEST_F(Ring, StrInWaitRetriesTheSameByteWhileAPeerFreesRoom) {
    // Full twice at the first byte; at the second sleep a direct peer takes
    // four bytes; full again at the fifth byte, which spends the budget of 3.
    make(8);
    const Bytes old = pattern(7, 50);
    fill(old);
    Bytes taken;
    const Bytes in = pattern(6, 60);
    int r = -1;
    Recording rec([&](int n) {
        if (n != 2) return;
        uint8_t b = 0;
        for (int i = 0; i < 4; ++i) {
            ASSERT_EQ(RingBuffer_Out(ring_, &b), 1);
            taken.push_back(b);
        }
    });
    const auto lines = summarise(capture_stdout([&] { r = RingBuffer_StrInWait(ring_, in.data(), 6, 3); }));
    EXPECT_EQ(r, 4);
    EXPECT_EQ(rec.counts().sleeps_us.size(), 3u);
    EXPECT_EQ(lines, Lines(3, full_line("rb")));
    EXPECT_EQ(rec.counts().signals, 1);
    EXPECT_EQ(taken, Bytes(old.begin(), old.begin() + 4));
    Bytes expected(old.begin() + 4, old.end());
    expected.insert(expected.end(), in.begin(), in.begin() + 4);
    EXPECT_EQ(drain(), expected);
}

TEST_F(Ring, StrOutWaitKeepsCountingFailuresAcrossBytes) {
    // A direct peer brings one byte at every sleep; each byte that goes
    // through does not renew the budget, so three failures end the call with
    // two bytes taken and the third left in the ring.
    make(8);
    Recording rec([&](int n) { ASSERT_EQ(RingBuffer_In(ring_, static_cast<uint8_t>(0x40 + n)), 1); });
    uint8_t out[5] = {};
    int r = -1;
    const auto lines = summarise(capture_stdout([&] { r = RingBuffer_StrOutWait(ring_, out, 5, 3); }));
    EXPECT_EQ(r, 2);
    EXPECT_EQ(out[0], 0x41);
    EXPECT_EQ(out[1], 0x42);
    EXPECT_EQ(out[2], 0);
    EXPECT_EQ(lines, Lines(3, empty_line("rb")));
    EXPECT_EQ(rec.counts().signals, 0);
    EXPECT_EQ(RingBuffer_GetDataSize(ring_), 1);
    EXPECT_EQ(drain(), Bytes{0x43});
}

TEST_F(Ring, WaitFormsThatNeverMissDoNotSleep) {
    make(16);
    const Bytes in = pattern(15);
    Bytes out(15);
    Recording rec;
    EXPECT_EQ(RingBuffer_StrInWait(ring_, in.data(), 15, 1), 15);
    EXPECT_EQ(RingBuffer_StrOutWait(ring_, out.data(), 15, 1), 15);
    EXPECT_TRUE(rec.counts().sleeps_us.empty());
    EXPECT_EQ(out, in);
}

TEST_F(Ring, CleanEmptiesTheRing) {
    make(8);
    fill(pattern(5));
    uint8_t b = 0;
    ASSERT_EQ(RingBuffer_Out(ring_, &b), 1);
    EXPECT_EQ(RingBuffer_Clean(ring_), 1);
    EXPECT_EQ(RingBuffer_isEmpty(ring_), 1);
    EXPECT_EQ(RingBuffer_GetDataSize(ring_), 0);
    // All capacity - 1 bytes fit again, whatever the indices were.
    const Bytes in = pattern(7, 3);
    EXPECT_EQ(RingBuffer_StrIn(ring_, in.data(), 7), 7);
    EXPECT_EQ(drain(), in);
    EXPECT_EQ(RingBuffer_Clean(ring_), 1) << "on an empty ring as well";
}

TEST_F(Ring, CreationRefusesCapacitiesBelowOne) {
    for (int capacity : {0, -1, -4096, INT32_MIN}) {
        void *r = reinterpret_cast<void *>(1);
        Recording rec;
        const auto lines = summarise(capture_stdout([&] { r = RingBuffer_create("cap", capacity); }));
        EXPECT_EQ(r, nullptr) << capacity;
        EXPECT_EQ(lines, Lines{"ERR RingBuffer_create :cap:capacity[" + std::to_string(capacity) + "] below 1\n"});
        EXPECT_EQ(rec.counts().mutex_inits, 0);
    }
}

TEST_F(Ring, NamesAreCutAt31Characters) {
    const std::string thirty_one(31, 'n');
    const struct {
        const char *name;
        std::string kept;
    } cases[] = {
        {"", ""},
        {nullptr, ""},
        {"a", "a"},
        {thirty_one.c_str(), thirty_one},
        {"0123456789012345678901234567890123456789", "0123456789012345678901234567890"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefg", "ABCDEFGHIJKLMNOPQRSTUVWXYZabcde"},
    };
    for (const auto &c : cases) {
        make(1, c.name);
        ASSERT_NE(ring_, nullptr);
        const auto lines = summarise(capture_stdout([&] {
            RingBuffer_In(ring_, 1);
            uint8_t b;
            RingBuffer_Out(ring_, &b);
        }));
        EXPECT_EQ(lines, (Lines{full_line(c.kept), empty_line(c.kept)}));
    }
}

TEST_F(Ring, CreationInitialisesTheLockAndDestroyTakesNull) {
    Recording rec;
    void *r = RingBuffer_create("x", 2);
    EXPECT_EQ(rec.counts().mutex_inits, 1);
    RingBuffer_destroy(r);
    const auto lines = summarise(capture_stdout([] { RingBuffer_destroy(nullptr); }));
    EXPECT_TRUE(lines.empty());
    EXPECT_EQ(rec.counts().signals, 1) << "only the real ring's destroy signals";
}

}  // namespace
