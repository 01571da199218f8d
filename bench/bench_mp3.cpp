// SPDX-License-Identifier: MIT
// Zev_Mp3Decode on a 3-minute 128 kbit/s stereo file, against a bare
// minimp3 frame loop over the same mapped file and against libmpg123
// decoding the same file to 16-bit PCM, in the same run; then the stack a
// decode needs.
//
//   build/release/bench/bench_mp3 --benchmark_repetitions=10
//
// The file is made with lame in a temporary folder (or taken from
// $BENCH_MP3_FILE) and removed at the end.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <mpg123.h>
#include <pthread.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "comm_log.h"
#include "comm_mp3.h"
#include "minimp3.h"

namespace {

constexpr int kRate = 44100;
constexpr int kSeconds = 180;

std::string g_path;
int64_t g_capacity = 0;  // PCM bytes of the whole file
std::vector<unsigned char> g_out;

// Stereo test signal with some of everything: tones, a sweep and noise.
bool write_source_pcm(const std::string &path) {
    FILE *f = fopen(path.c_str(), "wb");
    if (f == nullptr) return false;
    uint32_t noise = 12345;
    std::vector<int16_t> block(2 * kRate);
    for (int s = 0; s < kSeconds; ++s) {
        for (int i = 0; i < kRate; ++i) {
            const double t = s + static_cast<double>(i) / kRate;
            noise = noise * 1664525u + 1013904223u;
            const double n = (static_cast<double>(noise >> 16) / 65536.0 - 0.5) * 2000.0;
            const double sweep = std::sin(2 * M_PI * (200.0 + 30.0 * (s % 60)) * t);
            block[2 * i] = static_cast<int16_t>(6000 * std::sin(2 * M_PI * 440 * t) + 3000 * sweep + n);
            block[2 * i + 1] = static_cast<int16_t>(5000 * std::sin(2 * M_PI * 660 * t) - 3000 * sweep + n);
        }
        if (fwrite(block.data(), sizeof(int16_t), block.size(), f) != block.size()) break;
    }
    return fclose(f) == 0;
}

std::string make_file(const std::string &dir) {
    const std::string pcm = dir + "/source.raw", mp3 = dir + "/bench.mp3";
    if (!write_source_pcm(pcm)) return {};
    const std::string cmd =
        std::string(COMM_LAME) +
        " --quiet -r -s 44.1 --bitwidth 16 --signed --little-endian -m j -b 128 --cbr -t " + pcm + " " + mp3;
    const int rc = std::system(cmd.c_str());
    unlink(pcm.c_str());
    return rc == 0 ? mp3 : std::string();
}

struct MappedFile {
    const uint8_t *data = nullptr;
    size_t size = 0;
    explicit MappedFile(const std::string &path) {
        const int fd = open(path.c_str(), O_RDONLY);
        struct stat st {};
        if (fd >= 0 && fstat(fd, &st) == 0 && st.st_size > 0) {
            void *p = mmap(nullptr, static_cast<size_t>(st.st_size), PROT_READ, MAP_SHARED, fd, 0);
            if (p != MAP_FAILED) {
                data = static_cast<const uint8_t *>(p);
                size = static_cast<size_t>(st.st_size);
            }
        }
        if (fd >= 0) close(fd);
    }
    ~MappedFile() {
        if (data != nullptr) munmap(const_cast<uint8_t *>(data), size);
    }
};

// The PCM size of the file, by walking its frames without decoding.
int64_t pcm_bytes(const MappedFile &m) {
    mp3dec_t dec;
    mp3dec_init(&dec);
    int64_t bytes = 0;
    size_t pos = 0;
    while (pos < m.size) {
        mp3dec_frame_info_t info{};
        const int n = mp3dec_decode_frame(&dec, m.data + pos, static_cast<int>(m.size - pos), nullptr, &info);
        if (info.frame_bytes <= 0) break;
        bytes += static_cast<int64_t>(n) * info.channels * 2;
        pos += static_cast<size_t>(info.frame_bytes);
    }
    return bytes;
}

void BM_Zev_Mp3Decode(benchmark::State &state) {
    int32_t got = 0;
    for (auto _ : state) {
        got = Zev_Mp3Decode(g_path.c_str(), g_out.data(), static_cast<int32_t>(g_capacity));
        benchmark::DoNotOptimize(got);
    }
    if (got != g_capacity) state.SkipWithError("Zev_Mp3Decode did not decode the whole file");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * got);
}

// The same work with nothing around it: the file mapped once, frames decoded
// straight into the output buffer.
void BM_minimp3_frame_loop(benchmark::State &state) {
    const MappedFile m(g_path);
    static mp3dec_t dec;
    int64_t total = 0;
    for (auto _ : state) {
        mp3dec_init(&dec);
        total = 0;
        size_t pos = 0;
        while (pos < m.size) {
            mp3dec_frame_info_t info;
            const int n = mp3dec_decode_frame(&dec, m.data + pos, static_cast<int>(m.size - pos),
                                              reinterpret_cast<mp3d_sample_t *>(g_out.data() + total), &info);
            pos += static_cast<size_t>(info.frame_bytes);
            if (n == 0) break;
            total += static_cast<int64_t>(n) * info.channels * 2;
        }
        benchmark::DoNotOptimize(total);
    }
    if (total != g_capacity) state.SkipWithError("the frame loop did not decode the whole file");
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * total);
}

void BM_libmpg123(benchmark::State &state) {
    mpg123_init();
    int err = 0;
    mpg123_handle *mh = mpg123_new(nullptr, &err);
    mpg123_param(mh, MPG123_ADD_FLAGS, MPG123_QUIET, 0);
    mpg123_format_none(mh);
    mpg123_format(mh, kRate, MPG123_STEREO, MPG123_ENC_SIGNED_16);
    size_t done = 0;
    for (auto _ : state) {
        if (mpg123_open(mh, g_path.c_str()) != MPG123_OK) {
            state.SkipWithError("mpg123_open failed");
            break;
        }
        size_t total = 0;
        for (;;) {
            size_t n = 0;
            const int rc = mpg123_read(mh, g_out.data() + total, static_cast<size_t>(g_capacity) - total, &n);
            total += n;
            if (rc != MPG123_OK && rc != MPG123_NEW_FORMAT) break;
            if (total >= static_cast<size_t>(g_capacity)) break;
        }
        mpg123_close(mh);
        done = total;
        benchmark::DoNotOptimize(done);
    }
    mpg123_delete(mh);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(done));
}

double smallest(const std::vector<double> &v) {
    return v.empty() ? 0.0 : *std::min_element(v.begin(), v.end());
}

BENCHMARK(BM_Zev_Mp3Decode)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", smallest);
BENCHMARK(BM_minimp3_frame_loop)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", smallest);
BENCHMARK(BM_libmpg123)->Unit(benchmark::kMillisecond)->ComputeStatistics("min", smallest);

// Keeps the best CPU time per iteration of each benchmark over the
// repetitions for the ratios: the machine is shared, and the least
// disturbed repetition tells the cost of the code.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> best;
    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &r : runs) {
            if (r.error_occurred) continue;
            if (r.run_type == Run::RT_Aggregate && r.aggregate_name != "min") continue;
            const double t = r.GetAdjustedCPUTime();
            const std::string name = r.run_name.function_name;
            if (best.count(name) == 0 || t < best[name]) best[name] = t;
        }
        ConsoleReporter::ReportRuns(runs);
    }
};

// ---- stack ----------------------------------------------------------------

constexpr size_t kPaintedStack = 1 << 20;
constexpr unsigned char kPaint = 0xA5;

struct DecodeJob {
    const char *path;
    unsigned char *out;
    int32_t capacity;
    int32_t result;
};

void *decode_job(void *arg) {
    auto *job = static_cast<DecodeJob *>(arg);
    job->result = Zev_Mp3Decode(job->path, job->out, job->capacity);
    return nullptr;
}

// Runs a decode on a thread whose painted stack we own; the bytes no longer
// painted are what the thread used (thread start included).
size_t painted_stack_use(const std::string &path, unsigned char *out, int32_t capacity) {
    void *stack = nullptr;
    if (posix_memalign(&stack, 4096, kPaintedStack) != 0) return 0;
    memset(stack, kPaint, kPaintedStack);
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setstack(&attr, stack, kPaintedStack);
    DecodeJob job{path.c_str(), out, capacity, 0};
    pthread_t t;
    pthread_create(&t, &attr, decode_job, &job);
    pthread_join(t, nullptr);
    pthread_attr_destroy(&attr);
    size_t untouched = 0;
    const auto *p = static_cast<const unsigned char *>(stack);
    while (untouched < kPaintedStack && p[untouched] == kPaint) ++untouched;
    free(stack);
    return kPaintedStack - untouched;
}

// In a child process, decodes on a thread made with a stack of `size`
// bytes (pthread attributes). True when the child ends normally with the
// whole result; a stack overflow kills only the child.
bool decodes_with_stack(const std::string &path, size_t size, int32_t capacity) {
    const pid_t pid = fork();
    if (pid == 0) {
        std::vector<unsigned char> out(static_cast<size_t>(capacity));
        pthread_attr_t attr;
        pthread_attr_init(&attr);
        if (pthread_attr_setstacksize(&attr, size) != 0) _exit(3);
        DecodeJob job{path.c_str(), out.data(), capacity, 0};
        pthread_t t;
        if (pthread_create(&t, &attr, decode_job, &job) != 0) _exit(4);
        pthread_join(t, nullptr);
        _exit(job.result == capacity ? 0 : 2);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void report_stack(const std::string &path) {
    const MappedFile m(path);
    const int64_t cap = std::min<int64_t>(pcm_bytes(m), 4 << 20);  // the first seconds are enough
    std::vector<unsigned char> out(static_cast<size_t>(cap));
    const size_t used = painted_stack_use(path, out.data(), static_cast<int32_t>(cap));
    size_t smallest = 0;
    for (size_t size = 256 * 1024; size >= 16 * 1024; size -= 4 * 1024) {
        if (!decodes_with_stack(path, size, static_cast<int32_t>(cap))) break;
        smallest = size;
    }
    printf("\nstack: a decode thread touched %zu bytes of its stack (painted, thread start included)\n",
           used);
    printf("stack: smallest pthread stack size that decoded (4 KiB steps): %zu bytes\n", smallest);
}

}  // namespace

int main(int argc, char **argv) {
    Zev_Comm_SetPrintLev(0);
    benchmark::Initialize(&argc, argv);
    std::string dir;
    if (const char *f = getenv("BENCH_MP3_FILE"); f != nullptr && *f != '\0') {
        g_path = f;
    } else {
        char tmpl[] = "/tmp/bench_mp3.XXXXXX";
        if (mkdtemp(tmpl) == nullptr) return 1;
        dir = tmpl;
        fprintf(stderr, "making a %d s 128 kbit/s stereo file with lame...\n", kSeconds);
        g_path = make_file(dir);
        if (g_path.empty()) {
            fprintf(stderr, "bench_mp3: lame failed\n");
            return 1;
        }
    }
    {
        const MappedFile m(g_path);
        g_capacity = pcm_bytes(m);
        fprintf(stderr, "%s: %zu bytes, %lld bytes of PCM\n", g_path.c_str(), m.size,
                static_cast<long long>(g_capacity));
    }
    g_out.assign(static_cast<size_t>(g_capacity), 0);

    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    const double zev = reporter.best["BM_Zev_Mp3Decode"];
    const double loop = reporter.best["BM_minimp3_frame_loop"];
    const double mpg = reporter.best["BM_libmpg123"];
    if (zev > 0 && loop > 0)
        printf("\nZev_Mp3Decode / bare minimp3 loop: %.4f (%+.2f %%)\n", zev / loop, (zev / loop - 1) * 100);
    if (zev > 0 && mpg > 0) printf("Zev_Mp3Decode / libmpg123:         %.4f\n", zev / mpg);
    report_stack(g_path);
    if (!dir.empty()) {
        unlink(g_path.c_str());
        rmdir(dir.c_str());
    }
    return 0;
}
