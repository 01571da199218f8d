// SPDX-License-Identifier: MIT
// Queue and ring throughput, each beside its baseline in the same run:
//  - a push and a pop of one 64-byte element against the bare lock, copy,
//    unlock pair that each of them has to make;
//  - a 4 KiB string in and out of a ring, in bytes per second, against
//    moving the same bytes one call per byte.
// The ratios are printed after the table.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "comm_queue.h"
#include "comm_ringbuffer.h"
#include "ratio_reporter.hpp"

namespace {

constexpr size_t kElem = 64;
constexpr int kString = 4096;

struct QueuePair {
    QueuePair() : q(Zev_Queue_Create(kElem, 16)) { memset(in, 0x5A, sizeof in); }
    ~QueuePair() { Zev_Queue_Destroy(q); }
    void operator()() {
        Zev_Queue_Push(q, in);
        Zev_Queue_Pop(q, out);
        benchmark::DoNotOptimize(out);
    }
    void *q;
    unsigned char in[kElem], out[kElem];
};

// What a push and a pop cannot do without: lock, copy, unlock, twice.
struct MutexPair {
    MutexPair() { memset(in, 0x5A, sizeof in); }
    ~MutexPair() { pthread_mutex_destroy(&m); }
    void operator()() {
        pthread_mutex_lock(&m);
        memcpy(slot, in, kElem);
        pthread_mutex_unlock(&m);
        benchmark::ClobberMemory();
        pthread_mutex_lock(&m);
        memcpy(out, slot, kElem);
        pthread_mutex_unlock(&m);
        benchmark::DoNotOptimize(out);
    }
    pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
    unsigned char slot[kElem], in[kElem], out[kElem];
};

template <typename Pair>
void Repeat(benchmark::State &state) {
    Pair pair;
    for (auto _ : state) pair();
}
void QueuePushPop64(benchmark::State &state) { Repeat<QueuePair>(state); }
void MutexCopyPair64(benchmark::State &state) { Repeat<MutexPair>(state); }
BENCHMARK(QueuePushPop64);
BENCHMARK(MutexCopyPair64);

// On a shared machine a plain mean mixes in other people's work. Here the
// two alternate in short blocks, and the fastest block of each stands for
// it: what the code costs when nothing else gets in the way.
template <typename Pair>
double block_ns(Pair &pair, int per_block) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < per_block; ++i) pair();
    const std::chrono::duration<double, std::nano> took = std::chrono::steady_clock::now() - start;
    return took.count() / per_block;
}

void QueueVersusMutexBestBlocks(benchmark::State &state) {
    QueuePair queue;
    MutexPair mutex;
    constexpr int kPerBlock = 2000;
    double best_queue = 1e9, best_mutex = 1e9;
    for (auto _ : state) {
        best_queue = std::min(best_queue, block_ns(queue, kPerBlock));
        best_mutex = std::min(best_mutex, block_ns(mutex, kPerBlock));
    }
    state.counters["queue_ns"] = best_queue;
    state.counters["mutex_ns"] = best_mutex;
    state.counters["ratio"] = best_queue / best_mutex;
}
BENCHMARK(QueueVersusMutexBestBlocks)->Iterations(2000);

void RingStrInOut4K(benchmark::State &state) {
    void *ring = RingBuffer_create("bench", 3 * kString);
    std::vector<unsigned char> in(kString, 0xA5), out(kString);
    for (auto _ : state) {
        RingBuffer_StrIn(ring, in.data(), kString);
        RingBuffer_StrOut(ring, out.data(), kString);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kString);
    RingBuffer_destroy(ring);
}
BENCHMARK(RingStrInOut4K);

void RingByteAtATime4K(benchmark::State &state) {
    void *ring = RingBuffer_create("bench", 3 * kString);
    std::vector<unsigned char> in(kString, 0xA5), out(kString);
    for (auto _ : state) {
        for (int i = 0; i < kString; ++i) RingBuffer_In(ring, in[static_cast<size_t>(i)]);
        for (int i = 0; i < kString; ++i) RingBuffer_Out(ring, &out[static_cast<size_t>(i)]);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kString);
    RingBuffer_destroy(ring);
}
BENCHMARK(RingByteAtATime4K);

// The console table, then each measured case against its baseline.
class ContainerRatios : public comm::bench::RatioReporter {
public:
    void Finalize() override {
        ConsoleReporter::Finalize();
        ratio("QueuePushPop64", "MutexCopyPair64", "queue push+pop / mutex copy pair (means)");
        const double best = counter("QueueVersusMutexBestBlocks", "ratio");
        if (best > 0) GetOutputStream() << "queue push+pop / mutex copy pair (best blocks): " << best << "\n";
        ratio("RingByteAtATime4K", "RingStrInOut4K", "ring byte-at-a-time / string moves");
        if (ns("RingStrInOut4K") > 0)
            GetOutputStream() << "ring string moves: " << kString / ns("RingStrInOut4K") << " GB/s\n";
    }
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    ContainerRatios reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
