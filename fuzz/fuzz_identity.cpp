// SPDX-License-Identifier: MIT
// The identity record on fuzzed flash. Input: a control byte, the first and
// the second copy (1152 bytes each, 0xFF where the input ends), then
// updates of [mask, size low, size high, value...]. Control bits 0-1: the
// reload of a copy after its first read works, fails, or comes back short
// (bits 5-7 give the length); bit 2: once or every time; bits 3 and 4 seal
// the first or second copy (field digests and RecordMd5 made right), so
// that good records are within reach of mutation.
//
// A clean start on the same flash says which fields are readable. The start
// under read faults must keep them: after each update the library is
// started again with reads working, every readable field the update did not
// choose reads the same, and a written field reads back its value.
#include <cstdlib>
#include <cstring>
#include <string>

#include "comm_digest.h"
#include "comm_log.h"
#include "comm_sn.h"
#include "fake_files.hpp"

namespace {

constexpr size_t kRecord = 1152, kCopyAt = 0x6000, kImage = 0x8000, kRecordMd5 = 0x450;
const char *const kFirst = "/dev/mtdblock2", *const kSecond = "/dev/mtdblock1";

struct Field {
    uint32_t mask;
    size_t offset, size, slot;  // slot 0: none
};
constexpr Field kFields[] = {{0x01, 0x000, 64, 0x040}, {0x02, 0x070, 64, 0x0B0}, {0x04, 0x0E0, 64, 0x120},
                             {0x40, 0x150, 64, 0x190}, {0x08, 0x1C0, 48, 0},     {0x10, 0x1F0, 48, 0},
                             {0x20, 0x220, 512, 0x420}};
// The field an update chooses when several bits are set.
constexpr uint32_t kWriteOrder[] = {0x01, 0x04, 0x02, 0x40, 0x08, 0x10, 0x20};

void put_digest(std::string &rec, size_t at, size_t from, size_t n) {
    char text[48] = {};
    dir_md5_string(text, reinterpret_cast<const uint8_t *>(rec.data()) + from, static_cast<uint32_t>(n));
    memcpy(&rec[at], text, 33);
}

void seal(std::string &rec) {
    for (const Field &f : kFields) {
        if (f.slot != 0) put_digest(rec, f.slot, f.offset, f.size);
    }
    put_digest(rec, kRecordMd5, 0, kRecordMd5);
}

void put_copy(const char *device, const std::string &rec) {
    std::string image(kImage, '\xff');
    image.replace(kCopyAt, kRecord, rec);
    fuzz::set_file(device, image);
}

// Each field's bytes when it is readable, or empty.
struct Readable {
    std::string bytes[7];
};
Readable readable() {
    Readable r;
    for (size_t i = 0; i < 7; ++i) {
        std::string b(kFields[i].size, '\0');
        if (Zev_SnManager_GetData(kFields[i].mask, b.data(), static_cast<uint32_t>(b.size())) == 0)
            r.bytes[i] = b;
    }
    return r;
}

int chosen(uint32_t mask) {
    for (uint32_t bit : kWriteOrder) {
        if (mask & bit) {
            for (int i = 0; i < 7; ++i) {
                if (kFields[i].mask == bit) return i;
            }
        }
    }
    return -1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool quiet = (Zev_Comm_SetPrintLev(0), true);
    (void)quiet;
    if (size < 1) return 0;
    const uint8_t control = data[0];
    std::string copies(2 * kRecord, '\xff');
    memcpy(copies.data(), data + 1, std::min(size - 1, copies.size()));
    std::string first = copies.substr(0, kRecord), second = copies.substr(kRecord);
    if (control & 0x08) seal(first);
    if (control & 0x10) seal(second);
    fuzz::set_file("/proc/mtd",
                   "dev:    size   erasesize  name\nmtd1: 00008000 00001000 \"KEY_CUST1\"\n"
                   "mtd2: 00008000 00001000 \"KEY_CUST\"\n");
    put_copy(kFirst, first);
    put_copy(kSecond, second);

    Zev_SnManager_Start();
    Readable before = readable();
    put_copy(kFirst, first);  // as it was, repairs undone
    put_copy(kSecond, second);
    const int mode = control & 3;
    if (mode == 1 || mode == 2) {
        const size_t short_len = mode == 2 ? 1 + (control >> 5) * 160 : 0;
        for (const char *device : {kFirst, kSecond})
            fuzz::fail_reads(device, 2, control & 4 ? 9 : 1, short_len);
    }
    Zev_SnManager_Start();
    for (const char *device : {kFirst, kSecond}) fuzz::fail_reads(device, 0, 0, 0);

    size_t at = 1 + 2 * kRecord;
    for (int op = 0; op < 4 && at + 3 <= size; ++op) {
        const uint32_t mask = data[at];
        size_t len = (data[at + 1] | data[at + 2] << 8) % 600;
        at += 3;
        len = std::min(len, size - at);
        const uint8_t *value = data + at;
        at += len;
        const int32_t r = Zev_SnManager_Update(mask, len ? value : nullptr, static_cast<int32_t>(len));
        Zev_SnManager_Start();
        const Readable after = readable();
        const int f = chosen(mask);
        for (int i = 0; i < 7; ++i) {
            if (i != f && !before.bytes[i].empty() && after.bytes[i] != before.bytes[i]) abort();
        }
        // A stored value reads back, where its field was readable (a field
        // whose digest is wrong stays unreadable when the value is its start).
        if (r == 0 && f >= 0 && len != 0 && (!before.bytes[f].empty() || kFields[f].slot == 0)) {
            if (after.bytes[f].empty() || memcmp(after.bytes[f].data(), value, len) != 0) abort();
        }
        before = after;
    }
    return 0;
}
