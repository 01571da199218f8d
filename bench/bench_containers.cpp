// Queue and ring throughput, each beside its baseline in the same run:
//  - a push and a pop of one 64-byte element against the bare lock, copy,
//    unlock pair that each of them has to make;
//  - a 4 KiB string in and out of a ring, in bytes per second, against
//    moving the same bytes one call per byte.
// The ratios are printed after the table.
#include <benchmark/benchmark.h>
#include <pthread.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "comm_queue.h"
#include "comm_ringbuffer.h"

namespace {

constexpr size_t kElem = 64;
constexpr int kString = 4096;

void QueuePushPop64(benchmark::State &state) {
    void *q = Zev_Queue_Create(kElem, 16);
    unsigned char in[kElem], out[kElem];
    memset(in, 0x5A, sizeof in);
    for (auto _ : state) {
        Zev_Queue_Push(q, in);
        Zev_Queue_Pop(q, out);
        benchmark::DoNotOptimize(out);
    }
    Zev_Queue_Destroy(q);
}
BENCHMARK(QueuePushPop64);

void MutexCopyPair64(benchmark::State &state) {
    pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
    unsigned char slot[kElem], in[kElem], out[kElem];
    memset(in, 0x5A, sizeof in);
    for (auto _ : state) {
        pthread_mutex_lock(&m);
        memcpy(slot, in, kElem);
        pthread_mutex_unlock(&m);
        benchmark::ClobberMemory();
        pthread_mutex_lock(&m);
        memcpy(out, slot, kElem);
        pthread_mutex_unlock(&m);
        benchmark::DoNotOptimize(out);
    }
    pthread_mutex_destroy(&m);
}
BENCHMARK(MutexCopyPair64);

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
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run> &runs) override {
        // With --benchmark_repetitions the median stands for the case.
        for (const Run &r : runs) {
            if (r.run_type == Run::RT_Iteration && r.iterations > 0 && medians_.count(r.run_name.str()) == 0) {
                ns_[r.run_name.str()] = r.GetAdjustedRealTime();
            } else if (r.run_type == Run::RT_Aggregate && r.aggregate_name == "median") {
                ns_[r.run_name.str()] = r.GetAdjustedRealTime();
                medians_[r.run_name.str()] = true;
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        ratio("QueuePushPop64", "MutexCopyPair64", "queue push+pop / mutex copy pair");
        ratio("RingByteAtATime4K", "RingStrInOut4K", "ring byte-at-a-time / string moves");
        if (ns_.count("RingStrInOut4K") != 0) {
            printf("ring string moves: %.2f GB/s\n", kString / ns_["RingStrInOut4K"]);
        }
    }

private:
    void ratio(const std::string &a, const std::string &b, const char *what) {
        if (ns_.count(a) == 0 || ns_.count(b) == 0 || ns_[b] <= 0) return;
        printf("%s: %.2f\n", what, ns_[a] / ns_[b]);
    }
    std::map<std::string, double> ns_;
    std::map<std::string, bool> medians_;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
