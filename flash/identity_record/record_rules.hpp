// SPDX-License-Identifier: MIT
// The identity record's layout and the rules that judge a record's fields
// and copies. Shared by the library and commctl's sn show through the
// comm_record_rules target; any 1152-byte record can be judged: the image,
// or a copy read by a tool.
#pragma once

#include <cstddef>
#include <cstdint>

namespace comm::sn {

constexpr size_t kRecordSize = 1152;
constexpr size_t kDigestedSize = 0x450;  // RecordMd5 covers everything before it
constexpr size_t kRecordMd5At = 0x450;
constexpr size_t kSlotSize = 48;
constexpr size_t kTextSize = 32;        // digest text, without its NUL
constexpr size_t kSlotStoreSize = 33;   // digest text and its NUL
constexpr size_t kMismatchMarkAt = 33;  // slot byte zeroed by a failed read

constexpr const char *kFirstKey = "MTD_PART_SN";
constexpr const char *kSecondKey = "MTD_PART_SN_BACKUP";

// Results of Zev_SnManager_Update that callers tell apart.
constexpr int32_t kNotStarted = -10;
constexpr int32_t kBadValue = -11;  // a negative size, or only 0x00 and 0xFF bytes
constexpr int32_t kPlainTooLong = -12;
constexpr int32_t kNotLoaded = -13;  // the last start could not load a record whole

constexpr size_t kNoSlot = static_cast<size_t>(-1);

struct Field {
    const char *name;
    uint32_t mask;
    size_t offset;
    size_t size;
    size_t slot;  // offset of the digest slot, or kNoSlot
};

constexpr Field kSn{"Sn", 0x01, 0x000, 64, 0x040};
constexpr Field kSpeech{"Speech", 0x02, 0x070, 64, 0x0B0};
constexpr Field kDid{"Did", 0x04, 0x0E0, 64, 0x120};
constexpr Field kAdas{"Adas", 0x40, 0x150, 64, 0x190};
constexpr Field kPlain1{"Plain1", 0x08, 0x1C0, 48, kNoSlot};
constexpr Field kPlain2{"Plain2", 0x10, 0x1F0, 48, kNoSlot};
constexpr Field kUi{"Ui", 0x20, 0x220, 512, 0x420};

// Zero or 0xFF bytes only.
bool is_empty(const unsigned char *p, size_t n);

// Digest text of p[0..n) in a zeroed 48-byte buffer (NUL at index 32).
struct DigestText {
    char text[kSlotSize] = {};
};
DigestText digest_text(const unsigned char *p, size_t n);

// The digest of the field over its whole size, and whether it equals the
// first 32 bytes of the field's slot.
struct FieldCheck {
    DigestText computed;
    bool matches = false;
};
FieldCheck check_field(const unsigned char *rec, const Field &f);

// RecordMd5 agrees with the digest of the first 1104 bytes, compared over
// the stored string's length (an empty string agrees).
bool record_digest_matches(const unsigned char *rec);

// Score of a record: the weights of the non-empty fields whose digest is
// right (0 to 13), logging each one that counts.
int score(const unsigned char *rec);

// What a copy is worth: 0 empty, 100 good, else its score.
constexpr int kGoodCopy = 100;
enum class Verdict { empty, good, bad };
struct CopyValue {
    Verdict verdict;
    int value;
};
CopyValue value_of(const unsigned char *rec);

}  // namespace comm::sn
