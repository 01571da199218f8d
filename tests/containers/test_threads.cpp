// SPDX-License-Identifier: MIT
// The containers under threads (also under ThreadSanitizer): every byte and
// element accounted for, in order where order is promised.
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <functional>
#include <thread>
#include <tuple>
#include <vector>

#include "comm_log.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"

namespace {

constexpr int kTotal = 1000000;
[[maybe_unused]] const bool kQuiet = (Zev_Comm_SetPrintLev(0), true);  // full and empty are normal here
uint8_t stream_byte(uint32_t i) { return static_cast<uint8_t>((i * 2654435761u) >> 24 ^ i); }
int chunk(uint32_t call, int max, int left) {
    return std::min(left, 1 + static_cast<int>(call * 40503u % unsigned(max)));
}
using Move = std::function<int(void *, uint8_t *, int)>;  // moves up to n bytes, gives how many

int byte_in(void *r, uint8_t *p, int n) {
    int i = 0;
    while (i < n && RingBuffer_In(r, p[i]) == 1) ++i;
    return i;
}
int byte_out(void *r, uint8_t *p, int n) {
    int i = 0;
    while (i < n && RingBuffer_Out(r, p + i) == 1) ++i;
    return i;
}

TEST(Threads, RingOneProducerOneConsumer) {
    // The Wait forms hold the lock through their sleeps: their peer is direct;
    // the waiting reader asks for little, so that the stream's end costs one sleep.
    // clang-format off
    const std::tuple<int, int, Move, Move> cases[] = {{4093, 6000, RingBuffer_StrIn, RingBuffer_StrOut}, {257, 300, byte_in, byte_out},
        {65536, 20000, [](void *r, uint8_t *p, int n) { return RingBuffer_StrInWait(r, p, n, INT32_MAX); }, byte_out},
        {65536, 512, byte_in, [](void *r, uint8_t *p, int n) { return RingBuffer_StrOutWait(r, p, n, 1); }}};
    // clang-format on
    for (const auto &[capacity, max_chunk, put, take] : cases) {
        void *ring = RingBuffer_create("stream", capacity);
        ASSERT_NE(ring, nullptr);
        std::thread producer([&, max_chunk = max_chunk, &put = put] {
            std::vector<uint8_t> buf(static_cast<size_t>(max_chunk));
            for (uint32_t sent = 0, call = 0; sent < kTotal;) {
                const int len = chunk(call++, max_chunk, kTotal - static_cast<int>(sent));
                for (int i = 0; i < len; ++i) buf[size_t(i)] = stream_byte(sent + uint32_t(i));
                for (int done = 0, n = 0; done < len; done += n)
                    if ((n = put(ring, buf.data() + done, len - done)) == 0) sched_yield();
                sent += static_cast<uint32_t>(len);
            }
        });
        std::vector<uint8_t> buf(static_cast<size_t>(max_chunk));
        uint32_t received = 0, call = 0, wrong = 0;
        while (received < kTotal) {
            const int len = chunk(call++ * 7, max_chunk, kTotal - static_cast<int>(received));
            const int n = take(ring, buf.data(), len);
            ASSERT_TRUE(n >= 0 && n <= len) << n;
            if (n == 0) sched_yield();
            for (int i = 0; i < n; ++i, ++received) wrong += buf[size_t(i)] != stream_byte(received);
        }
        producer.join();
        EXPECT_EQ(wrong, 0u) << "bytes lost, doubled or out of order; capacity " << capacity;
        EXPECT_EQ(RingBuffer_GetDataSize(ring) + RingBuffer_Out(ring, buf.data()), 0)
            << "no byte more than was sent";
        RingBuffer_destroy(ring);
    }
}

struct Element {
    uint32_t producer, seq;
    uint8_t payload[56];
};
Element element(uint32_t producer, uint32_t seq) {
    Element e{producer, seq, {}};
    for (size_t i = 0; i < sizeof e.payload; ++i)
        e.payload[i] = static_cast<uint8_t>(producer * 31 + seq + i);
    return e;
}

// Each consumer sees each producer's elements in the order pushed; over all
// consumers every element arrives exactly once, whole.
TEST(Threads, QueueProducersAndConsumers) {
    // producers, consumers, capacity (1: always full or empty), elements
    for (const auto &[producers, consumers, capacity, elements] :
         {std::tuple{1u, 1, 1024, kTotal}, {4u, 3, 64, kTotal}, {2u, 2, 1, kTotal / 5}}) {
        void *q = Zev_Queue_Create(sizeof(Element), capacity);
        ASSERT_NE(q, nullptr);
        const uint32_t per_producer = uint32_t(elements) / producers, total = per_producer * producers;
        std::atomic<uint32_t> popped{0}, disorder{0}, torn{0}, bad_len{0};
        std::vector<std::atomic<uint8_t>> seen(size_t(producers) << 20);
        std::vector<std::thread> threads;
        for (uint32_t p = 0; p < producers; ++p) {
            threads.emplace_back([&, p] {
                for (uint32_t s = 0; s < per_producer; ++s)
                    for (const Element e = element(p, s); Zev_Queue_Push(q, &e) != 0;) sched_yield();
            });
        }
        for (int c = 0; c < consumers; ++c) {
            threads.emplace_back([&, producers = producers, capacity = capacity] {
                std::vector<int64_t> last(producers, -1);
                Element e{};
                while (popped.load() < total) {
                    if (Zev_Queue_Pop(q, &e) != 0) {
                        const int len = Zev_Queue_GetLen(q);
                        bad_len += len < 0 || len > capacity;
                        sched_yield();
                        continue;
                    }
                    ++popped;
                    const Element want = element(e.producer, e.seq);
                    if (e.producer >= producers || memcmp(&e, &want, sizeof e) != 0) {
                        ++torn;
                    } else {
                        disorder += int64_t(e.seq) <= last[e.producer];
                        last[e.producer] = e.seq;
                        ++seen[size_t(e.producer) << 20 | e.seq];
                    }
                }
            });
        }
        for (auto &t : threads) t.join();
        uint32_t missing = 0, doubled = 0;
        for (size_t key = 0; key < seen.size(); ++key)
            if ((key & 0xFFFFF) < per_producer) missing += seen[key] == 0, doubled += seen[key] > 1;
        EXPECT_EQ(std::vector<uint32_t>({popped, disorder, torn, bad_len, missing, doubled}),
                  std::vector<uint32_t>({total, 0, 0, 0, 0, 0}))
            << "popped, out of order, torn, length out of range, missing, doubled; " << producers << "x"
            << consumers;
        EXPECT_EQ(Zev_Queue_GetLen(q) + Zev_Queue_Pop(q, nullptr), -2) << "empty at the end";
        Zev_Queue_Destroy(q);
    }
}

}  // namespace
