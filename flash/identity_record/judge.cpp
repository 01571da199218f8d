// SPDX-License-Identifier: MIT
// The judging rules of the identity record: empty bytes, field digests,
// the record digest, the score and the value of a copy.
#include <cstring>

#include "comm_digest.h"
#include "comm_log.h"
#include "record_rules.hpp"

namespace comm::sn {
namespace {

struct Weighted {
    const Field *field;
    int weight;
};

}  // namespace

bool is_empty(const unsigned char *p, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        if (p[i] != 0x00 && p[i] != 0xFF) return false;
    }
    return true;
}

DigestText digest_text(const unsigned char *p, size_t n) {
    DigestText d;
    dir_md5_string(d.text, p, static_cast<uint32_t>(n));
    return d;
}

FieldCheck check_field(const unsigned char *rec, const Field &f) {
    FieldCheck c;
    c.computed = digest_text(rec + f.offset, f.size);
    c.matches = memcmp(c.computed.text, rec + f.slot, kTextSize) == 0;
    return c;
}

bool record_digest_matches(const unsigned char *rec) {
    const DigestText computed = digest_text(rec, kDigestedSize);
    const char *stored = reinterpret_cast<const char *>(rec + kRecordMd5At);
    // The computed buffer holds a NUL behind its 32 characters, so a stored
    // string longer than that never agrees.
    const size_t n = strnlen(stored, kSlotSize);
    return memcmp(computed.text, stored, n) == 0;
}

int score(const unsigned char *rec) {
    static constexpr Weighted kScored[] = {{&kSn, 2}, {&kDid, 2}, {&kSpeech, 3}, {&kAdas, 1}, {&kUi, 5}};
    int total = 0;
    for (const Weighted &w : kScored) {
        const Field &f = *w.field;
        if (is_empty(rec + f.offset, f.size) || !check_field(rec, f).matches) continue;
        total += w.weight;
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_CheckMd5", "%s ok!\n", f.name);
    }
    return total;
}

CopyValue value_of(const unsigned char *rec) {
    if (is_empty(rec, kRecordSize)) return {Verdict::empty, 0};
    if (record_digest_matches(rec)) return {Verdict::good, kGoodCopy};
    return {Verdict::bad, score(rec)};
}

}  // namespace comm::sn
