// The containers under threads: a million bytes through one ring and a
// million elements through one queue, every one accounted for and in order
// where order is promised. Also built with ThreadSanitizer (label "threads").
#include <gtest/gtest.h>
#include <sched.h>

#include <atomic>
#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <thread>
#include <vector>

#include "comm_log.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"

namespace {

constexpr int kTotal = 1000000;

// The byte at stream position i: position-dependent, so that a lost,
// doubled or reordered byte shows.
uint8_t stream_byte(uint32_t i) { return static_cast<uint8_t>((i * 2654435761u) >> 24 ^ i); }

// Chunk lengths that vary from call to call, from 1 to max.
int chunk_len(uint32_t call, int max) { return 1 + static_cast<int>((call * 40503u >> 3) % static_cast<uint32_t>(max)); }

class Threads : public ::testing::Test {
protected:
    // Full and empty are normal here; their lines would only flood the log.
    void SetUp() override { Zev_Comm_SetPrintLev(0); }
    void TearDown() override { Zev_Comm_SetPrintLev(5); }
};

// Moves kTotal stream bytes from `put` to `take`, each called with a buffer
// and a length and returning how many it moved, and checks what came out.
void run_byte_stream(void *ring, const std::function<int(const uint8_t *, int)> &put,
                     const std::function<int(uint8_t *, int)> &take, int max_chunk) {
    std::thread producer([&] {
        std::vector<uint8_t> buf(static_cast<size_t>(max_chunk));
        uint32_t sent = 0, call = 0;
        while (sent < kTotal) {
            int len = chunk_len(call++, max_chunk);
            if (len > kTotal - static_cast<int>(sent)) len = kTotal - static_cast<int>(sent);
            for (int i = 0; i < len; ++i) buf[static_cast<size_t>(i)] = stream_byte(sent + static_cast<uint32_t>(i));
            int done = 0;
            while (done < len) {
                const int n = put(buf.data() + done, len - done);
                if (n <= 0) sched_yield();
                if (n > 0) done += n;
            }
            sent += static_cast<uint32_t>(len);
        }
    });
    std::vector<uint8_t> buf(static_cast<size_t>(max_chunk));
    uint32_t received = 0, call = 0;
    int64_t wrong = 0;
    uint32_t first_wrong = UINT32_MAX;
    while (received < kTotal) {
        int len = chunk_len(call++ * 7, max_chunk);
        if (len > kTotal - static_cast<int>(received)) len = kTotal - static_cast<int>(received);
        const int n = take(buf.data(), len);
        ASSERT_GE(n, 0);
        ASSERT_LE(n, len);
        if (n == 0) sched_yield();
        for (int i = 0; i < n; ++i) {
            if (buf[static_cast<size_t>(i)] != stream_byte(received + static_cast<uint32_t>(i))) {
                if (wrong++ == 0) first_wrong = received + static_cast<uint32_t>(i);
            }
        }
        received += static_cast<uint32_t>(n);
    }
    producer.join();
    EXPECT_EQ(wrong, 0) << "first wrong byte at " << first_wrong;
    EXPECT_EQ(received, static_cast<uint32_t>(kTotal));
    EXPECT_EQ(RingBuffer_isEmpty(ring), 1);
    EXPECT_EQ(RingBuffer_GetDataSize(ring), 0);
    uint8_t extra = 0;
    EXPECT_EQ(RingBuffer_Out(ring, &extra), 0) << "no byte more than was sent";
}

// Moves bytes one direct call at a time, as far as they go.
std::function<int(const uint8_t *, int)> put_direct(void *ring) {
    return [ring](const uint8_t *p, int n) {
        int i = 0;
        while (i < n && RingBuffer_In(ring, p[i]) == 1) ++i;
        return i;
    };
}

std::function<int(uint8_t *, int)> take_direct(void *ring) {
    return [ring](uint8_t *p, int n) {
        int i = 0;
        while (i < n && RingBuffer_Out(ring, &p[i]) == 1) ++i;
        return i;
    };
}

TEST_F(Threads, RingStringsOneProducerOneConsumer) {
    void *ring = RingBuffer_create("stream", 4093);
    ASSERT_NE(ring, nullptr);
    run_byte_stream(
        ring, [&](const uint8_t *p, int n) { return RingBuffer_StrIn(ring, p, n); },
        [&](uint8_t *p, int n) { return RingBuffer_StrOut(ring, p, n); }, 6000);
    RingBuffer_destroy(ring);
}

TEST_F(Threads, RingDirectBytesOneProducerOneConsumer) {
    void *ring = RingBuffer_create("bytes", 257);
    ASSERT_NE(ring, nullptr);
    run_byte_stream(ring, put_direct(ring), take_direct(ring), 300);
    RingBuffer_destroy(ring);
}

// The waiting forms hold the lock through their sleeps, so their peer works
// with the direct calls.
TEST_F(Threads, RingWaitingWriterDirectReader) {
    void *ring = RingBuffer_create("waitin", 65536);
    ASSERT_NE(ring, nullptr);
    run_byte_stream(
        ring, [&](const uint8_t *p, int n) { return RingBuffer_StrInWait(ring, p, n, INT32_MAX); },
        take_direct(ring), 20000);
    RingBuffer_destroy(ring);
}

TEST_F(Threads, RingDirectWriterWaitingReader) {
    void *ring = RingBuffer_create("waitout", 65536);
    ASSERT_NE(ring, nullptr);
    run_byte_stream(
        ring, put_direct(ring),
        // Asks for little at a time, so that a short stream end does not
        // leave it sleeping out a long budget.
        [&](uint8_t *p, int n) { return RingBuffer_StrOutWait(ring, p, n, 1); }, 512);
    RingBuffer_destroy(ring);
}

struct Element {
    uint32_t producer;
    uint32_t seq;
    uint8_t payload[56];
};
static_assert(sizeof(Element) == 64);

void fill_payload(Element &e) {
    for (size_t i = 0; i < sizeof e.payload; ++i) e.payload[i] = static_cast<uint8_t>(e.producer * 31 + e.seq + i);
}

bool payload_ok(const Element &e) {
    Element copy = e;
    fill_payload(copy);
    return memcmp(copy.payload, e.payload, sizeof e.payload) == 0;
}

struct QueueRun {
    int producers;
    int consumers;
    int capacity;
    uint32_t elements = kTotal;
};

// Every consumer sees each producer's elements in the order pushed; over all
// consumers every element arrives exactly once, whole.
void run_queue(const QueueRun &run) {
    void *q = Zev_Queue_Create(sizeof(Element), run.capacity);
    ASSERT_NE(q, nullptr);
    const uint32_t per_producer = run.elements / static_cast<uint32_t>(run.producers);
    const uint32_t total = per_producer * static_cast<uint32_t>(run.producers);
    std::atomic<uint32_t> popped{0};
    std::atomic<bool> len_out_of_range{false};
    std::vector<std::vector<uint32_t>> seen(static_cast<size_t>(run.consumers));  // producer << 20 | seq
    std::vector<int64_t> disorder(static_cast<size_t>(run.consumers), 0), torn(static_cast<size_t>(run.consumers), 0);

    std::vector<std::thread> threads;
    for (int p = 0; p < run.producers; ++p) {
        threads.emplace_back([&, p] {
            Element e{};
            e.producer = static_cast<uint32_t>(p);
            for (uint32_t s = 0; s < per_producer; ++s) {
                e.seq = s;
                fill_payload(e);
                while (Zev_Queue_Push(q, &e) != 0) sched_yield();
            }
        });
    }
    for (int c = 0; c < run.consumers; ++c) {
        threads.emplace_back([&, c] {
            std::vector<int64_t> last(static_cast<size_t>(run.producers), -1);
            auto &mine = seen[static_cast<size_t>(c)];
            Element e{};
            while (popped.load() < total) {
                if (Zev_Queue_Pop(q, &e) != 0) {
                    const int len = Zev_Queue_GetLen(q);
                    if (len < 0 || len > run.capacity) len_out_of_range = true;
                    sched_yield();
                    continue;
                }
                popped.fetch_add(1);
                if (e.producer >= static_cast<uint32_t>(run.producers) || !payload_ok(e)) {
                    ++torn[static_cast<size_t>(c)];
                    continue;
                }
                int64_t &prev = last[e.producer];
                if (static_cast<int64_t>(e.seq) <= prev) ++disorder[static_cast<size_t>(c)];
                prev = e.seq;
                mine.push_back(e.producer << 20 | e.seq);
            }
        });
    }
    for (auto &t : threads) t.join();

    std::vector<uint8_t> count(static_cast<size_t>(run.producers) << 20, 0);
    for (const auto &mine : seen)
        for (uint32_t key : mine) ++count[key];
    int64_t missing = 0, doubled = 0;
    for (int p = 0; p < run.producers; ++p) {
        for (uint32_t s = 0; s < per_producer; ++s) {
            const uint8_t n = count[static_cast<size_t>(p) << 20 | s];
            missing += n == 0;
            doubled += n > 1;
        }
    }
    for (int c = 0; c < run.consumers; ++c) {
        EXPECT_EQ(disorder[static_cast<size_t>(c)], 0) << "consumer " << c;
        EXPECT_EQ(torn[static_cast<size_t>(c)], 0) << "consumer " << c;
    }
    EXPECT_EQ(missing, 0);
    EXPECT_EQ(doubled, 0);
    EXPECT_FALSE(len_out_of_range.load());
    EXPECT_EQ(popped.load(), total);
    EXPECT_EQ(Zev_Queue_GetLen(q), 0);
    EXPECT_EQ(Zev_Queue_Pop(q, nullptr), -2);
    Zev_Queue_Destroy(q);
}

TEST_F(Threads, QueueOneProducerOneConsumerKeepsTotalOrder) { run_queue({1, 1, 1024}); }

TEST_F(Threads, QueueManyProducersManyConsumers) { run_queue({4, 3, 64}); }

// Every push and pop meets a full or empty queue often; fewer elements keep
// it quick under ThreadSanitizer.
TEST_F(Threads, QueueTinyCapacityUnderContention) { run_queue({2, 2, 1, kTotal / 5}); }

}  // namespace
