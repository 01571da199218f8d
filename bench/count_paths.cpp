// The hot paths one by one, for counting their instructions under
// callgrind (scripts/check-counts.sh). Each path runs its loop between a
// start and a stop of the instrumentation and is dumped under its own name,
// so that set-up does not count; the script divides by the repeat count
// printed beside each name.
//
//   valgrind --tool=callgrind --instr-atstart=no build/release/bench/count_paths DIR
//
// DIR is a scratch folder for the MP3 file (made with lame).
#include <valgrind/callgrind.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench_input.hpp"
#include "comm_clock.h"
#include "comm_digest.h"
#include "comm_log.h"
#include "comm_mp3.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"

namespace {

constexpr int kRate = 44100;

template <typename Fn>
void measure(const char *name, int repeats, Fn &&fn) {
    fn();  // warm: first-use work (zone load, page faults) stays out
    CALLGRIND_ZERO_STATS;
    CALLGRIND_START_INSTRUMENTATION;
    for (int i = 0; i < repeats; ++i) fn();
    CALLGRIND_STOP_INSTRUMENTATION;
    CALLGRIND_DUMP_STATS_AT(name);
    fprintf(stderr, "%s\t%d\n", name, repeats);
}

// One second of a stereo two-tone signal through lame at 128 kbit/s.
std::string make_mp3(const std::string &dir) {
    const std::string raw = dir + "/second.raw", mp3 = dir + "/second.mp3";
    FILE *f = fopen(raw.c_str(), "wb");
    if (f == nullptr) return "";
    for (int i = 0; i < kRate; ++i) {
        const int16_t s[2] = {static_cast<int16_t>((i * 440 * 2 / kRate % 2 ? 1 : -1) * 6000 + i % 97 * 20),
                              static_cast<int16_t>((i * 660 * 2 / kRate % 2 ? 1 : -1) * 5000 - i % 89 * 20)};
        fwrite(s, sizeof s, 1, f);
    }
    fclose(f);
    const std::string cmd = std::string(COMM_LAME) +
                            " --quiet -r -s 44.1 --bitwidth 16 --signed --little-endian -m s -b 128 " + raw +
                            " " + mp3;
    return system(cmd.c_str()) == 0 ? mp3 : "";
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: count_paths SCRATCH_DIR\n");
        return 2;
    }
    Zev_Comm_SetPrintLev(5);
    measure("log_line_printed", 2000, [] { ZEV_COMM_DBG("%s=%d\r\n", "key", 42); });
    measure("log_line_silenced", 2000, [] { ZEV_COMM_VER("%s=%d\r\n", "key", 42); });
    measure("time_text", 2000, [] { (void)ZevSysRtcTime(); });

    const auto mib = bench_input(1 << 20);
    unsigned char digest[16];
    measure("md5_per_mib", 2, [&] { dir_md5_digest(digest, mib.data(), static_cast<uint32_t>(mib.size())); });
    measure("crc8_per_64kib", 10, [&] { (void)Zev_Comm_CheckCrc8(mib.data(), 64 << 10, 0); });

    void *queue = Zev_Queue_Create(64, 16);
    unsigned char elem[64] = {1};
    measure("queue_push_pop", 1000, [&] {
        (void)Zev_Queue_Push(queue, elem);
        (void)Zev_Queue_Pop(queue, elem);
    });
    Zev_Queue_Destroy(queue);

    void *ring = RingBuffer_create("count", 3 * 4096);
    std::vector<unsigned char> out(4096);
    measure("ring_4kib_in_out", 100, [&] {
        (void)RingBuffer_StrIn(ring, mib.data(), 4096);
        (void)RingBuffer_StrOut(ring, out.data(), 4096);
    });
    RingBuffer_destroy(ring);

    const std::string mp3 = make_mp3(argv[1]);
    if (mp3.empty()) {
        fprintf(stderr, "count_paths: could not make the MP3 file with lame\n");
        return 1;
    }
    std::vector<unsigned char> pcm(4 * kRate + (1 << 16));
    measure("mp3_per_second", 1,
            [&] { (void)Zev_Mp3Decode(mp3.c_str(), pcm.data(), static_cast<int32_t>(pcm.size())); });
    return 0;
}
