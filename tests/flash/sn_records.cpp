#include "sn_records.hpp"

#include <cstring>

#include "comm_digest.h"
#include "log_lines.hpp"
#include "settings_fake.hpp"

namespace testsupport::sn {

const FieldSpec kSn{"Sn", 0x01, 0x000, 64, 0x040};
const FieldSpec kSpeech{"Speech", 0x02, 0x070, 64, 0x0B0};
const FieldSpec kDid{"Did", 0x04, 0x0E0, 64, 0x120};
const FieldSpec kAdas{"Adas", 0x40, 0x150, 64, 0x190};
const FieldSpec kPlain1{"Plain1", 0x08, 0x1C0, 48, -1};
const FieldSpec kPlain2{"Plain2", 0x10, 0x1F0, 48, -1};
const FieldSpec kUi{"Ui", 0x20, 0x220, 512, 0x420};
const FieldSpec *const kAllFields[7] = {&kSn, &kSpeech, &kDid, &kAdas, &kPlain1, &kPlain2, &kUi};

namespace {
constexpr size_t kRecordMd5 = 0x450;

std::string text_of(const unsigned char *p, size_t n) {
    char out[48] = {};
    dir_md5_string(out, p, static_cast<uint32_t>(n));
    return std::string(out, 32);
}
}  // namespace

Bytes text(const std::string &s) { return Bytes(s.begin(), s.end()); }

std::string field_digest(const Bytes &rec, const FieldSpec &f) {
    return text_of(rec.data() + f.offset, f.size);
}

void put_field(Bytes &rec, const FieldSpec &f, const Bytes &value, bool digest) {
    memcpy(rec.data() + f.offset, value.data(), value.size());
    if (f.slot < 0 || !digest) return;
    const std::string d = field_digest(rec, f);
    memcpy(rec.data() + f.slot, d.c_str(), 33);
}

void seal(Bytes &rec) {
    const std::string d = text_of(rec.data(), kRecordMd5);
    memcpy(rec.data() + kRecordMd5, d.c_str(), 33);
}

void break_seal(Bytes &rec) { memcpy(rec.data() + kRecordMd5, "00000000000000000000000000000000", 33); }

Bytes field_bytes(const Bytes &rec, const FieldSpec &f) {
    return Bytes(rec.begin() + static_cast<long>(f.offset),
                 rec.begin() + static_cast<long>(f.offset + f.size));
}

bool sealed(const Bytes &rec) {
    const std::string d = text_of(rec.data(), kRecordMd5);
    const char *stored = reinterpret_cast<const char *>(rec.data() + kRecordMd5);
    const size_t n = strnlen(stored, 48);
    return n <= 32 && memcmp(d.c_str(), stored, n) == 0;
}

bool all_empty(const Bytes &rec) {
    for (unsigned char b : rec) {
        if (b != 0x00 && b != 0xFF) return false;
    }
    return true;
}

Bytes good_record(const std::string &tag) {
    Bytes rec(kSize, 0);
    for (const FieldSpec *f : kAllFields) put_field(rec, *f, text(std::string(f->name) + "-" + tag));
    seal(rec);
    return rec;
}

Bytes bad_record(const std::vector<const FieldSpec *> &fields, const std::string &tag) {
    Bytes rec(kSize, 0);
    for (const FieldSpec *f : fields) put_field(rec, *f, text(std::string(f->name) + "-" + tag));
    break_seal(rec);
    return rec;
}

void put_copies(FlashBed &flash, const Bytes &first, const Bytes &second) {
    flash.put(kFirstDev, kCopyAt, first);
    flash.put(kSecondDev, kCopyAt, second);
}

Bytes first_copy(const FlashBed &flash) { return flash.bytes(kFirstDev, kCopyAt, kSize); }
Bytes second_copy(const FlashBed &flash) { return flash.bytes(kSecondDev, kCopyAt, kSize); }

void snapshot_on_unprotect(const FlashBed &flash, std::vector<Snapshot> &snaps) {
    settings_fake::on_unprotect([&flash, &snaps](int flag) {
        snaps.push_back({flag, first_copy(flash), second_copy(flash)});
    });
}

std::vector<std::string> record_lines(const std::string &out) {
    std::vector<std::string> kept;
    for (const std::string &l : summarise(out)) {
        if (l.find(" Zev_SnManager_") != std::string::npos) kept.push_back(l);
    }
    return kept;
}

}  // namespace testsupport::sn
