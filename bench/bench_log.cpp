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
class RatioReporter : public benchmark::ConsoleReporter {
public:
    RatioReporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            const std::string name = r.run_name.str();
            const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
            const bool single =
                r.run_type == Run::RT_Iteration && r.iterations > 0 && medians_.count(name) == 0;
            if (!median && !single) continue;
            if (median) medians_[name] = true;
            ns_[name] = r.GetAdjustedCPUTime();  // the machine may be shared: CPU time
        }
        ConsoleReporter::ReportRuns(runs);
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        ratio("BM_LogLinePrinted", "BM_PrintfSameBytes",
              "printed line / printf of the same bytes (goal <= 3)");
        ratio("BM_LogLineSilenced", "BM_ClockRead", "silenced line / monotonic clock read (goal <= 1.2)");
    }

private:
    void ratio(const std::string &a, const std::string &b, const char *what) {
        if (ns_.count(a) == 0 || ns_.count(b) == 0 || ns_[b] <= 0) return;
        GetOutputStream() << what << ": " << ns_[a] / ns_[b] << "\n";
    }
    std::map<std::string, double> ns_;
    std::map<std::string, bool> medians_;
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
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
