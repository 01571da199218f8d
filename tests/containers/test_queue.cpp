// The bounded queue: count-based full, first in first out across the wrap,
// the null element forms, Clear, the null handle and the ERR lines.
#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "capture.hpp"
#include "comm_log.h"
#include "comm_queue.h"
#include "log_lines.hpp"
#include "sync_spy.hpp"

using containers_spy::Recording;
using testsupport::capture_stdout;
using testsupport::summarise;

namespace {

using Lines = std::vector<std::string>;

const std::string kFull = "ERR Zev_Queue_Push :queue is full!\n";
const std::string kEmpty = "ERR Zev_Queue_Pop :queue is empity!\n";

class Queue : public ::testing::Test {
protected:
    void SetUp() override { Zev_Comm_SetPrintLev(5); }
    void TearDown() override {
        if (q_ != nullptr) Zev_Queue_Destroy(q_);
    }
    void *make(uint32_t elem_size, int capacity) {
        if (q_ != nullptr) Zev_Queue_Destroy(q_);
        q_ = Zev_Queue_Create(elem_size, capacity);
        return q_;
    }
    int push(uint32_t v) { return Zev_Queue_Push(q_, &v); }
    // The popped value, or -2 - result when the pop failed.
    int64_t pop() {
        uint32_t v = 0;
        const int r = Zev_Queue_Pop(q_, &v);
        return r == 0 ? static_cast<int64_t>(v) : -1000 + r;
    }
    void *q_ = nullptr;
};

TEST_F(Queue, EverySlotIsUsable) {
    for (int capacity : {1, 2, 4, 33}) {
        make(sizeof(uint32_t), capacity);
        ASSERT_NE(q_, nullptr);
        for (int i = 0; i < capacity; ++i) ASSERT_EQ(push(100u + static_cast<uint32_t>(i)), 0) << capacity;
        EXPECT_EQ(Zev_Queue_GetLen(q_), capacity);
        int r = 0;
        EXPECT_EQ(summarise(capture_stdout([&] { r = push(7); })), Lines{kFull}) << capacity;
        EXPECT_EQ(r, -2);
        EXPECT_EQ(Zev_Queue_GetLen(q_), capacity);
        for (int i = 0; i < capacity; ++i) ASSERT_EQ(pop(), 100 + i) << capacity;
        EXPECT_EQ(summarise(capture_stdout([&] { r = Zev_Queue_Pop(q_, nullptr); })), Lines{kEmpty});
        EXPECT_EQ(r, -2);
        EXPECT_EQ(Zev_Queue_GetLen(q_), 0);
    }
}

TEST_F(Queue, APushAfterAPopFromAFullQueueReusesSlotZero) {
    make(sizeof(uint32_t), 4);
    for (uint32_t v : {10u, 11u, 12u, 13u}) ASSERT_EQ(push(v), 0);
    ASSERT_EQ(pop(), 10);
    // A push without an element shows which slot it took: the bytes of the
    // element that left it.
    ASSERT_EQ(Zev_Queue_Push(q_, nullptr), 0);
    for (int64_t v : {11, 12, 13, 10}) EXPECT_EQ(pop(), v);
}

TEST_F(Queue, FirstInFirstOutAcrossTheWrap) {
    std::mt19937 rng(777);
    for (int capacity : {1, 2, 3, 7, 16}) {
        make(sizeof(uint32_t), capacity);
        std::deque<uint32_t> model;
        uint32_t next = 1;
        for (int step = 0; step < 50 * capacity; ++step) {
            if (rng() % 2 == 0) {
                int r = 0;
                const std::string out = capture_stdout([&] { r = push(next); });
                ASSERT_EQ(r, static_cast<int>(model.size()) < capacity ? 0 : -2) << step;
                ASSERT_EQ(out.empty(), r == 0) << step;
                if (r == 0) model.push_back(next);
                ++next;
            } else {
                int64_t v = 0;
                const std::string out = capture_stdout([&] { v = pop(); });
                ASSERT_EQ(v, model.empty() ? -1002 : int64_t{model.front()}) << step;
                ASSERT_EQ(out.empty(), !model.empty()) << step;
                if (!model.empty()) model.pop_front();
            }
            ASSERT_EQ(Zev_Queue_GetLen(q_), static_cast<int>(model.size()));
        }
    }
}

TEST_F(Queue, NullElementsCountButCopyNothing) {
    make(sizeof(uint32_t), 3);
    ASSERT_EQ(push(0xAAAA), 0);
    ASSERT_EQ(push(0xBBBB), 0);
    ASSERT_EQ(pop(), 0xAAAA);
    ASSERT_EQ(pop(), 0xBBBB);
    // Slot 2 was never used; slots 0 and 1 hold old elements.
    ASSERT_EQ(push(0xCCCC), 0);                // slot 2
    ASSERT_EQ(Zev_Queue_Push(q_, nullptr), 0);  // slot 0
    EXPECT_EQ(Zev_Queue_GetLen(q_), 2);
    ASSERT_EQ(Zev_Queue_Pop(q_, nullptr), 0);  // drops 0xCCCC
    EXPECT_EQ(Zev_Queue_GetLen(q_), 1);
    uint32_t v = 0x12345678;
    ASSERT_EQ(Zev_Queue_Pop(q_, &v), 0);
    EXPECT_EQ(v, 0xAAAAu) << "the slot's earlier element";
    EXPECT_EQ(Zev_Queue_GetLen(q_), 0);
}

TEST_F(Queue, ElementsAreCopiedToTheirSizeExactly) {
    for (uint32_t size : {1u, 3u, 64u, 4097u}) {
        make(size, 2);
        std::vector<uint8_t> in(size + 8), out(size + 8, 0xEE);
        for (size_t i = 0; i < in.size(); ++i) in[i] = static_cast<uint8_t>(i * 13 + size);
        ASSERT_EQ(Zev_Queue_Push(q_, in.data()), 0);
        ASSERT_EQ(Zev_Queue_Pop(q_, out.data()), 0);
        EXPECT_TRUE(std::equal(in.begin(), in.begin() + size, out.begin())) << size;
        EXPECT_EQ(std::vector<uint8_t>(out.begin() + size, out.end()), std::vector<uint8_t>(8, 0xEE)) << size;
        // The caller's element may change after the push: the queue keeps a copy.
        ASSERT_EQ(Zev_Queue_Push(q_, in.data()), 0);
        const uint8_t first = in[0];
        in[0] ^= 0xFF;
        ASSERT_EQ(Zev_Queue_Pop(q_, out.data()), 0);
        EXPECT_EQ(out[0], first) << size;
    }
}

TEST_F(Queue, ClearEmptiesAndRestartsAtSlotZero) {
    make(sizeof(uint32_t), 4);
    for (uint32_t v : {1u, 2u, 3u}) ASSERT_EQ(push(v), 0);
    ASSERT_EQ(pop(), 1);
    Recording rec;
    Zev_Queue_Clear(q_);
    EXPECT_EQ(rec.counts().locks, 1);
    EXPECT_EQ(Zev_Queue_GetLen(q_), 0);
    EXPECT_EQ(pop(), -1002);
    ASSERT_EQ(Zev_Queue_Push(q_, nullptr), 0);
    EXPECT_EQ(pop(), 1) << "slot 0 and its bytes";
    for (uint32_t v : {5u, 6u, 7u, 8u}) ASSERT_EQ(push(v), 0) << "all four slots again";
}

TEST_F(Queue, NullHandleIsReportedByEveryOperation) {
    const struct {
        const char *func;
        std::function<int()> call;
        int result;
    } cases[] = {
        {"Zev_Queue_GetLen", [] { return Zev_Queue_GetLen(nullptr); }, -1},
        {"Zev_Queue_Push", [] { uint32_t v = 1; return Zev_Queue_Push(nullptr, &v); }, -1},
        {"Zev_Queue_Pop", [] { uint32_t v = 1; return Zev_Queue_Pop(nullptr, &v); }, -1},
        {"Zev_Queue_Push", [] { return Zev_Queue_Push(nullptr, nullptr); }, -1},
        {"Zev_Queue_Clear", [] { Zev_Queue_Clear(nullptr); return 0; }, 0},
        {"Zev_Queue_Destroy", [] { Zev_Queue_Destroy(nullptr); return 0; }, 0},
    };
    for (const auto &c : cases) {
        int r = 99;
        const auto lines = summarise(capture_stdout([&] { r = c.call(); }));
        EXPECT_EQ(r, c.result) << c.func;
        EXPECT_EQ(lines, Lines{std::string("ERR ") + c.func + " :queueHdl is NULL!\n"});
    }
}

TEST_F(Queue, QueuesWithoutSlotsAreFullAndEmpty) {
    for (int capacity : {0, -1, INT32_MIN}) {
        make(16, capacity);
        ASSERT_NE(q_, nullptr) << capacity;
        uint8_t elem[16] = {};
        for (int round = 0; round < 2; ++round) {
            int pushed = 0, popped = 0;
            const auto lines = summarise(capture_stdout([&] {
                pushed = Zev_Queue_Push(q_, elem);
                popped = Zev_Queue_Pop(q_, elem);
            }));
            EXPECT_EQ(pushed, -2) << capacity;
            EXPECT_EQ(popped, -2) << capacity;
            EXPECT_EQ(lines, (Lines{kFull, kEmpty}));
            capture_stdout([&] { pushed = Zev_Queue_Push(q_, nullptr); });
            EXPECT_EQ(pushed, -2);
            EXPECT_EQ(Zev_Queue_GetLen(q_), 0);
        }
        Zev_Queue_Clear(q_);
    }
}

TEST_F(Queue, ElementsOfNoBytesAreCounted) {
    make(0, 2);
    ASSERT_NE(q_, nullptr);
    uint8_t b = 0x77;
    EXPECT_EQ(Zev_Queue_Push(q_, &b), 0);
    EXPECT_EQ(Zev_Queue_Push(q_, nullptr), 0);
    int r = 0;
    EXPECT_EQ(summarise(capture_stdout([&] { r = Zev_Queue_Push(q_, &b); })), Lines{kFull});
    EXPECT_EQ(r, -2);
    EXPECT_EQ(Zev_Queue_GetLen(q_), 2);
    EXPECT_EQ(Zev_Queue_Pop(q_, &b), 0);
    EXPECT_EQ(b, 0x77);
    EXPECT_EQ(Zev_Queue_Pop(q_, nullptr), 0);
    EXPECT_EQ(summarise(capture_stdout([&] { r = Zev_Queue_Pop(q_, &b); })), Lines{kEmpty});
    EXPECT_EQ(r, -2);
}

TEST_F(Queue, LockingAndTheZeroFilledMutex) {
    Recording rec;
    make(sizeof(uint32_t), 2);
    EXPECT_EQ(rec.counts().mutex_inits, 0) << "the mutex is zero-filled, never initialised";
    const struct {
        const char *what;
        std::function<void()> call;
        int locks;
    } cases[] = {
        {"push", [&] { push(1); }, 1},
        {"push to full", [&] { push(2); push(3); }, 2},
        {"len", [&] { Zev_Queue_GetLen(q_); }, 0},
        {"pop", [&] { pop(); }, 1},
        {"clear", [&] { Zev_Queue_Clear(q_); }, 1},
        {"pop of empty", [&] { pop(); }, 1},
        {"destroy", [&] { Zev_Queue_Destroy(q_); q_ = nullptr; }, 1},
    };
    for (const auto &c : cases) {
        const int before = rec.counts().locks;
        capture_stdout(c.call);
        EXPECT_EQ(rec.counts().locks - before, c.locks) << c.what;
    }
    EXPECT_EQ(rec.counts().signals, 0);
}

}  // namespace
