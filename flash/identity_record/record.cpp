#include "flash/identity_record/record.hpp"

#include <cstring>

#include "comm_digest.h"
#include "comm_log.h"

namespace comm::sn {
namespace {

unsigned char s_image[kRecordSize];
uint32_t s_started;

struct Weighted {
    const Field *field;
    int weight;
};

}  // namespace

unsigned char *image() { return s_image; }
bool started() { return s_started != 0; }
void set_started() { s_started = 1; }

bool is_empty(const unsigned char *p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        if (static_cast<unsigned char>(p[i] - 1) < 254) return false;
    }
    return true;
}

DigestText digest_text(const unsigned char *p, size_t n) {
    DigestText d;
    dir_md5_string(d.text, p, static_cast<uint32_t>(n));
    return d;
}

bool field_digest_matches(const Field &f, const DigestText &computed) {
    return memcmp(computed.text, s_image + f.slot, kTextSize) == 0;
}

bool record_digest_matches() {
    const DigestText computed = digest_text(s_image, kDigestedSize);
    const char *stored = reinterpret_cast<const char *>(s_image + kRecordMd5At);
    // The computed buffer holds a NUL behind its 32 characters, so a stored
    // string longer than that never agrees.
    const size_t n = strnlen(stored, kSlotSize);
    return memcmp(computed.text, stored, n) == 0;
}

int score() {
    static constexpr Weighted kScored[] = {{&kSn, 2}, {&kDid, 2}, {&kSpeech, 3}, {&kAdas, 1}, {&kUi, 5}};
    int total = 0;
    for (const Weighted &w : kScored) {
        const Field &f = *w.field;
        if (is_empty(s_image + f.offset, f.size)) continue;
        if (!field_digest_matches(f, digest_text(s_image + f.offset, f.size))) continue;
        total += w.weight;
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_CheckMd5", "%s ok!\n", f.name);
    }
    return total;
}

}  // namespace comm::sn
