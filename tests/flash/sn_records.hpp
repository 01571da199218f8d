// Identity records built byte by byte for tests: fields with or without
// their digests, a sealed or a broken record digest, and the two copies in
// a simulated flash.
#pragma once

#include <string>
#include <vector>

#include "flash_bed.hpp"

namespace testsupport::sn {

constexpr size_t kSize = 1152;
constexpr uint32_t kCopyAt = 0x6000;  // both copies: block 6 of their partition
constexpr int kFirstDev = 2;          // KEY_CUST
constexpr int kSecondDev = 1;         // KEY_CUST1

struct FieldSpec {
    const char *name;
    uint32_t mask;
    size_t offset;
    size_t size;
    long slot;  // -1: none
};

extern const FieldSpec kSn, kSpeech, kDid, kAdas, kPlain1, kPlain2, kUi;
extern const FieldSpec *const kAllFields[7];

// Puts `value` at the field's start and, when the field has a slot and
// `digest` is set, the field's digest text and a NUL into the slot.
void put_field(Bytes &rec, const FieldSpec &f, const Bytes &value, bool digest = true);
// The digest text of the whole field as stored by the library (33 bytes).
std::string field_digest(const Bytes &rec, const FieldSpec &f);
// Writes RecordMd5 over the first 1104 bytes.
void seal(Bytes &rec);
// Writes a RecordMd5 that cannot match.
void break_seal(Bytes &rec);
Bytes field_bytes(const Bytes &rec, const FieldSpec &f);
// Whether the record digest agrees, compared over the stored string's length.
bool sealed(const Bytes &rec);
bool all_empty(const Bytes &rec);

// A good record whose every field holds text derived from `tag`.
Bytes good_record(const std::string &tag);
// A record with data and right digests in `fields`, every other field empty,
// and a record digest that does not match.
Bytes bad_record(const std::vector<const FieldSpec *> &fields, const std::string &tag);

Bytes text(const std::string &s);

// The two copies in flash.
void put_copies(FlashBed &flash, const Bytes &first, const Bytes &second);
Bytes first_copy(const FlashBed &flash);
Bytes second_copy(const FlashBed &flash);

// Both copies as they stood at a Zev_Settings_UnProtect call.
struct Snapshot {
    int flag;
    Bytes first;
    Bytes second;
};
// Makes the settings fake append a snapshot to `snaps` at each
// Zev_Settings_UnProtect call.
void snapshot_on_unprotect(const FlashBed &flash, std::vector<Snapshot> &snaps);

// The identity record's own lines of captured output, as "TAG func :msg".
std::vector<std::string> record_lines(const std::string &out);

}  // namespace testsupport::sn
