// SPDX-License-Identifier: MIT
// Field access on the identity record's image: reads under the field's
// digest, writes and erases that renew the digests and store both copies.
#include <cstring>

#include "comm_log.h"
#include "comm_mtdmgr.h"
#include "comm_sn.h"
#include "flash/identity_record/record.hpp"
#include "zev_settings.h"

namespace comm::sn {
namespace {

constexpr int kUnprotectBoth = 4;
constexpr int kProtect = 0;

struct ReadRule {
    const Field *field;
    int32_t mismatch;
};

struct WriteRule {
    const Field *field;
    size_t longest;
    int32_t too_long;
};

constexpr ReadRule kReadOrder[] = {{&kSn, -1},    {&kSpeech, -2}, {&kDid, -2}, {&kAdas, -3},
                                   {&kPlain1, 0}, {&kPlain2, 0},  {&kUi, -3}};
constexpr WriteRule kWriteOrder[] = {{&kSn, 63, -2},
                                     {&kDid, 63, -21},
                                     {&kSpeech, 63, -3},
                                     {&kAdas, 63, -4},
                                     {&kPlain1, 48, kPlainTooLong},
                                     {&kPlain2, 48, kPlainTooLong},
                                     {&kUi, 512, -5}};

template <typename Rule, size_t N>
const Rule *first_chosen(const Rule (&order)[N], uint32_t stType) {
    for (const Rule &r : order) {
        if ((stType & r.field->mask) != 0) return &r;
    }
    return nullptr;
}

bool has_slot(const Field &f) { return f.slot != kNoSlot; }

int32_t get_data(uint32_t stType, unsigned char *out, uint32_t size) {
    const ReadRule *rule = first_chosen(kReadOrder, stType);
    if (rule == nullptr) return 0;
    const Field &f = *rule->field;
    const size_t n = size < f.size ? size : f.size;
    if (has_slot(f)) {
        const FieldCheck check = check_field(image(), f);
        if (!check.matches) {
            image()[f.slot + kMismatchMarkAt] = 0;
            ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_GetData", "%s error:%s!=%s!\n", f.name, check.computed.text,
                            reinterpret_cast<const char *>(image() + f.slot));
            return rule->mismatch;
        }
    }
    memcpy(out, image() + f.offset, n);
    return 0;
}

int32_t fail(int32_t code) {
    ZEV_COMM_LOG_AS(ERR, "Zev_SnManager_Update", "Err ret=%d\n", code);
    return code;
}

int32_t unchanged(uint32_t stType) {
    ZEV_COMM_LOG_AS(INF, "Zev_SnManager_Update", "No change (stType=%x)\n", stType);
    return 0;
}

void renew_field_digest(const Field &f) {
    if (!has_slot(f)) return;
    const DigestText d = digest_text(image() + f.offset, f.size);
    memcpy(image() + f.slot, d.text, kSlotStoreSize);
}

// Both copies, first copy first, under one lift of the write protection.
int32_t store_record() {
    (void)Zev_Settings_UnProtect(kUnprotectBoth);
    const DigestText d = digest_text(image(), kDigestedSize);
    ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Update", "md5:%s\n", d.text);
    memcpy(image() + kRecordMd5At, d.text, kSlotStoreSize);
    (void)Zev_MtdMgr_Write(kFirstKey, 0, image(), kRecordSize, 1);
    (void)Zev_MtdMgr_Write(kSecondKey, 0, image(), kRecordSize, 1);
    (void)Zev_Settings_UnProtect(kProtect);
    return 0;
}

// An image that was not read whole must never reach flash: it would go over
// both copies, good fields and all.
int32_t refusal() {
    if (!started()) return kNotStarted;
    return loaded() ? 0 : kNotLoaded;
}

int32_t write_field(uint32_t stType, const unsigned char *in, int32_t size) {
    if (const int32_t r = refusal(); r != 0) return fail(r);
    if (size < 0 || is_empty(in, static_cast<size_t>(size))) return fail(kBadValue);
    const WriteRule *rule = first_chosen(kWriteOrder, stType);
    if (rule == nullptr) return unchanged(stType);
    const Field &f = *rule->field;
    const size_t n = static_cast<size_t>(size);
    if (n > rule->longest) return fail(rule->too_long);
    if (memcmp(image() + f.offset, in, n) == 0) return unchanged(stType);
    memcpy(image() + f.offset, in, n);
    renew_field_digest(f);
    return store_record();
}

int32_t erase_field(uint32_t stType) {
    if (const int32_t r = refusal(); r != 0) return fail(r);
    const WriteRule *rule = first_chosen(kWriteOrder, stType);
    if (rule == nullptr) return unchanged(stType);
    const Field &f = *rule->field;
    const bool slot_empty = !has_slot(f) || is_empty(image() + f.slot, kSlotSize);
    if (is_empty(image() + f.offset, f.size) && slot_empty) return unchanged(stType);
    memset(image() + f.offset, 0, f.size);
    if (has_slot(f)) memset(image() + f.slot, 0, kSlotSize);
    // Ui is cleared in memory only; the next store of any field carries it.
    if (&f == &kUi) return unchanged(stType);
    return store_record();
}

}  // namespace
}  // namespace comm::sn

extern "C" {

COMM_API int32_t Zev_SnManager_GetData(uint32_t stType, void *DataOut, uint32_t size) {
    if (DataOut == nullptr) {
        ZEV_COMM_ERR("DataOut is NULL\n");
        return -1;
    }
    return comm::sn::get_data(stType, static_cast<unsigned char *>(DataOut), size);
}

COMM_API int32_t Zev_SnManager_Update(uint32_t stType, const void *DataIn, int32_t size) {
    if (DataIn == nullptr || size == 0) {
        ZEV_COMM_WAR("DataIn=0x%x, size=%d, erase type:%d\n",
                     static_cast<unsigned>(reinterpret_cast<uintptr_t>(DataIn)), size,
                     static_cast<int>(stType));
        return comm::sn::erase_field(stType);
    }
    return comm::sn::write_field(stType, static_cast<const unsigned char *>(DataIn), size);
}

}  // extern "C"
