// SPDX-License-Identifier: MIT
// Loading the identity record at start: both copies are judged, the
// decision table picks the image, and a damaged copy is repaired from a
// good one.
#include <cstring>

#include "comm_log.h"
#include "comm_mtdmgr.h"
#include "comm_sn.h"
#include "flash/identity_record/record.hpp"
#include "zev_settings.h"

namespace comm::sn {
namespace {

constexpr int kUnprotectFirst = 2;
constexpr int kUnprotectSecond = 4;
constexpr int kProtect = 0;

enum class Copy { first, second };

const char *key_of(Copy c) { return c == Copy::first ? kFirstKey : kSecondKey; }

// Reads a copy into the image as it stands; true when all of it arrived.
bool read_copy(Copy c) {
    return Zev_MtdMgr_Read(key_of(c), 0, image(), kRecordSize) == static_cast<int32_t>(kRecordSize);
}

bool load_copy(Copy c) {
    memset(image(), 0, kRecordSize);
    return read_copy(c);
}

// 0 empty, 100 good, else the score of a bad copy.
int value_of_image(Copy c) {
    const CopyValue v = value_of(image());
    if (v.verdict != Verdict::bad) return v.value;
    if (c == Copy::first) {
        ZEV_COMM_LOG_AS(INF, "Zev_SnManager_Start", "MTD_PART_SN error score=%d!\n", v.value);
    } else {
        ZEV_COMM_LOG_AS(INF, "Zev_SnManager_Start", "MTD_PART_SN_BACKUP error score=%d!\n", v.value);
    }
    return v.value;
}

void write_copy(Copy target) {
    (void)Zev_Settings_UnProtect(target == Copy::first ? kUnprotectFirst : kUnprotectSecond);
    (void)Zev_MtdMgr_Write(key_of(target), 0, image(), kRecordSize, 1);
    (void)Zev_Settings_UnProtect(kProtect);
}

// Both copies as they were judged, and whether each was read whole (the
// second copy's read lands on the first one's bytes, as the image does).
struct Judged {
    unsigned char bytes[2][kRecordSize];
    bool whole[2];
};

// Loads the copy the decision table chose. A reload that comes back short,
// fails, or (for a repair) is no longer good is tried once more; after that
// the bytes the copy had when it was judged go back into the image, if that
// read was whole. Without them the image is not a record that was read:
// false, and updates are refused until a later start loads one.
bool load_chosen(Copy c, const Judged &judged, bool must_be_good) {
    for (int attempt = 0; attempt < 2; ++attempt) {
        if (load_copy(c) && (!must_be_good || value_of(image()).verdict == Verdict::good)) return true;
    }
    const int i = c == Copy::first ? 0 : 1;
    if (!judged.whole[i]) {
        ZEV_COMM_LOG_AS(WAR, "Zev_SnManager_Start", "reload of %s failed, record not loaded\n", key_of(c));
        return false;
    }
    ZEV_COMM_LOG_AS(WAR, "Zev_SnManager_Start", "reload of %s failed, kept as first read\n", key_of(c));
    memcpy(image(), judged.bytes[i], kRecordSize);
    return true;
}

// Only an image that was read whole and judged good goes over the other copy.
bool repair(Copy good, Copy target, const Judged &judged) {
    if (!load_chosen(good, judged, true)) return false;
    write_copy(target);
    return true;
}

// Acts on the decision table; false when the chosen copy could not be loaded.
bool decide(int first, int second, const Judged &judged) {
    if (first == kGoodCopy && second == kGoodCopy) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "all ok!\n");
        return true;
    }
    if (first == kGoodCopy) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "backup MTD_PART_SN to MTD_PART_SN_BACKUP\n");
        return repair(Copy::first, Copy::second, judged);
    }
    if (second == kGoodCopy) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "backup MTD_PART_SN_BACKUP to MTD_PART_SN\n");
        return repair(Copy::second, Copy::first, judged);
    }
    if (first == 0 && second == 0) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "no any data!\n");
        memset(image(), 0, kRecordSize);
        return true;
    }
    if (first > second) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start",
                        "all error, but bMTD_PART_SN_Score > bMTD_PART_SN_BACKUP_Score!\n");
        return load_chosen(Copy::first, judged, false);
    }
    ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start",
                    "all error, but bMTD_PART_SN_BACKUP_Score > bMTD_PART_SN_Score!\n");
    return load_chosen(Copy::second, judged, false);
}

}  // namespace
}  // namespace comm::sn

extern "C" {

COMM_API int32_t Zev_SnManager_Start(void) {
    using namespace comm::sn;
    ZEV_COMM_DBG("enter\n");
    Judged judged;
    judged.whole[0] = load_copy(Copy::first);
    memcpy(judged.bytes[0], image(), kRecordSize);
    const int first = value_of_image(Copy::first);
    // The second copy lands on what the first left in the image: a failed
    // read judges the first copy's bytes a second time.
    judged.whole[1] =
        read_copy(Copy::second) || (judged.whole[0] && memcmp(image(), judged.bytes[0], kRecordSize) == 0);
    memcpy(judged.bytes[1], image(), kRecordSize);
    const int second = value_of_image(Copy::second);
    set_loaded(decide(first, second, judged));
    set_started();
    return 0;
}

}  // extern "C"
