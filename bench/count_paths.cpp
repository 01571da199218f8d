// SPDX-License-Identifier: MIT
// The hot paths one by one, for counting their instructions under
// callgrind (scripts/check-counts.sh). Each path runs its loop between a
// start and a stop of the instrumentation and is dumped under its own name,
// so that set-up does not count; the script divides by the repeat count
// printed beside each name.
//
//   valgrind --tool=callgrind --instr-atstart=no build/release/bench/count_paths DIR
//
// DIR is a scratch folder for the MP3 file (made with lame). The identity
// record's load needs a flash and is counted alone, in a run of its own under
// umockdev-wrapper (outside valgrind), so that the preload's wrappers of
// open, read and write touch no other path; only the calling thread counts
// (the testbed serves its files from a thread of its own):
//
//   umockdev-wrapper valgrind --tool=callgrind --separate-threads=yes --instr-atstart=no \
//       build/release/bench/count_paths --flash
#include <valgrind/callgrind.h>
#if COMM_COUNT_FLASH
#include <umockdev.h>
#endif

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "bench_input.hpp"
#include "comm_clock.h"
#include "comm_digest.h"
#include "comm_log.h"
#include "comm_mp3.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"
#include "comm_sn.h"

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

#if COMM_COUNT_FLASH
// The record's layout: digest-bearing fields (offset, size, slot of the
// digest text), the record digest, and where both copies sit.
constexpr struct {
    size_t offset, size, slot;
} kDigestFields[] = {
    {0x000, 64, 0x040}, {0x070, 64, 0x0B0}, {0x0E0, 64, 0x120}, {0x150, 64, 0x190}, {0x220, 512, 0x420}};
constexpr size_t kRecordSize = 1152, kRecordMd5 = 0x450;
constexpr long kCopyAt = 0x6000;

bool write_file(const std::string &path, const std::vector<unsigned char> &bytes, long at = 0) {
    FILE *f = fopen(path.c_str(), at == 0 ? "wb" : "r+b");
    if (f == nullptr) return false;
    const bool ok = fseek(f, at, SEEK_SET) == 0 && fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    return fclose(f) == 0 && ok;
}

// Two identical good copies on KEY_CUST and KEY_CUST1, as plain files under
// the testbed's /proc and /dev: the load judges both and writes nothing.
bool make_flash(UMockdevTestbed *bed) {
    gchar *root_dir = umockdev_testbed_get_root_dir(bed);
    const std::string root = root_dir;
    g_free(root_dir);
    std::vector<unsigned char> rec(kRecordSize, 0);
    for (const auto &f : kDigestFields) {
        snprintf(reinterpret_cast<char *>(&rec[f.offset]), f.size, "field-%zx", f.offset);
        dir_md5_string(reinterpret_cast<char *>(&rec[f.slot]), &rec[f.offset], static_cast<uint32_t>(f.size));
    }
    dir_md5_string(reinterpret_cast<char *>(&rec[kRecordMd5]), rec.data(), kRecordMd5);
    const std::string list =
        "dev:    size   erasesize  name\nmtd1: 00008000 00001000 \"KEY_CUST1\"\n"
        "mtd2: 00008000 00001000 \"KEY_CUST\"\n";
    const std::vector<unsigned char> erased(0x8000, 0xFF);
    bool ok = g_mkdir_with_parents((root + "/proc").c_str(), 0755) == 0 &&
              g_mkdir_with_parents((root + "/dev").c_str(), 0755) == 0 &&
              write_file(root + "/proc/mtd", std::vector<unsigned char>(list.begin(), list.end()));
    for (const char *node : {"/dev/mtdblock1", "/dev/mtdblock2"})
        ok = ok && write_file(root + node, erased) && write_file(root + node, rec, kCopyAt);
    return ok;
}

// Zev_SnManager_Start over good copies, logging silenced (the log rows count
// printing). Returns 1 when the load did not see the record.
int count_identity_record_load() {
    // umockdev_in_mock_environment() misses the preload once valgrind has
    // put its own libraries in front of it.
    const char *preload = getenv("LD_PRELOAD");
    if (preload == nullptr || strstr(preload, "libumockdev-preload") == nullptr) {
        fprintf(stderr, "count_paths: --flash needs umockdev-wrapper\n");
        return 1;
    }
    UMockdevTestbed *bed = umockdev_testbed_new();
    int result = 0;
    char sn[64] = {};
    if (!make_flash(bed)) {
        fprintf(stderr, "count_paths: could not build the flash images\n");
        result = 1;
    } else {
        Zev_Comm_SetPrintLev(0);
        measure("identity_record_load", 20, [] { (void)Zev_SnManager_Start(); });
        if (Zev_SnManager_GetData(1, sn, sizeof sn) != 0 || strcmp(sn, "field-0") != 0) {
            fprintf(stderr, "count_paths: the identity record load did not read the record\n");
            result = 1;
        }
    }
    g_object_unref(bed);
    return result;
}
#endif

}  // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: count_paths SCRATCH_DIR | --flash\n");
        return 2;
    }
    if (strcmp(argv[1], "--flash") == 0) {
#if COMM_COUNT_FLASH
        return count_identity_record_load();
#else
        fprintf(stderr, "count_paths: identity_record_load skipped, built without umockdev\n");
        return 0;
#endif
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
