// SPDX-License-Identifier: MIT
// The log line against what it is made of: a printed DBG line against one
// printf of the same bytes, and a silenced VER line against one monotonic
// clock read. Standard output goes to /dev/null, as on a camera with no
// console attached; the table and the ratios go to standard error.
//
//   build/release/bench/bench_log --benchmark_repetitions=5
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <string>

#include "comm_clock.h"
#include "comm_log.h"
#include "ratio_reporter.hpp"

namespace {

void BM_LogLinePrinted(benchmark::State &state) {
    Zev_Comm_SetPrintLev(5);
    for (auto _ : state) ZEV_COMM_DBG("%s=%d\r\n", "key", 42);
}
BENCHMARK(BM_LogLinePrinted);

// The same format and arguments, with the time text made once beforehand.
void BM_PrintfSameBytes(benchmark::State &state) {
    const char *text = ZevSysRtcTime();
    for (auto _ : state)
        printf(ZEV_COMM_OPEN_DBG "[%s %06d.%d][DBG]%s %s %d :%s=%d\r\n", text, 123, 4, ZEV_COMM_RESET_SEQ,
               "BM_LogLinePrinted", 24, "key", 42);
}
BENCHMARK(BM_PrintfSameBytes);

void BM_LogLineSilenced(benchmark::State &state) {
    Zev_Comm_SetPrintLev(5);
    for (auto _ : state) ZEV_COMM_VER("%s=%d\r\n", "key", 42);
}
BENCHMARK(BM_LogLineSilenced);

void BM_ClockRead(benchmark::State &state) {
    for (auto _ : state) {
        struct timespec ts {};
        clock_gettime(CLOCK_MONOTONIC, &ts);
        benchmark::DoNotOptimize(ts);
    }
}
BENCHMARK(BM_ClockRead);

void BM_RtcTimeText(benchmark::State &state) {
    for (auto _ : state) benchmark::DoNotOptimize(ZevSysRtcTime());
}
BENCHMARK(BM_RtcTimeText);

void BM_FormatRtcTime(benchmark::State &state) {
    char text[16];
    for (auto _ : state) {
        benchmark::DoNotOptimize(ZevSysFormatRtcTime(text));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(BM_FormatRtcTime);

// The console table, then each case against what it is measured by; with
// --benchmark_repetitions the median stands for a case.
class LogRatios : public comm::bench::RatioReporter {
public:
    LogRatios() : RatioReporter(/*cpu_time=*/true) {}  // the machine may be shared
    void Finalize() override {
        ConsoleReporter::Finalize();
        ratio("BM_LogLinePrinted", "BM_PrintfSameBytes",
              "printed line / printf of the same bytes (goal <= 3)");
        ratio("BM_LogLineSilenced", "BM_ClockRead", "silenced line / monotonic clock read (goal <= 1.2)");
    }
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    LogRatios reporter;
    reporter.SetOutputStream(&std::cerr);
    reporter.SetErrorStream(&std::cerr);
    const int null_fd = open("/dev/null", O_WRONLY);
    if (null_fd < 0 || dup2(null_fd, STDOUT_FILENO) < 0) {
        perror("bench_log: /dev/null on stdout");
        return 1;
    }
    close(null_fd);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
