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

// Reads a copy into the image as it stands; the read's own result is
// returned for the repair check only.
int32_t read_copy(Copy c) { return Zev_MtdMgr_Read(key_of(c), 0, image(), kRecordSize); }

int32_t load_copy(Copy c) {
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

// Loads the good copy and writes it over the other one. Only an image that
// was read whole and is still good goes to flash: a failed reload must not
// put zeros (or half a record) over the damaged copy.
void repair(Copy good, Copy target) {
    const int32_t got = load_copy(good);
    if (got != static_cast<int32_t>(kRecordSize) || is_empty(image(), kRecordSize) ||
        !record_digest_matches(image())) {
        ZEV_COMM_LOG_AS(WAR, "Zev_SnManager_Start", "reload of %s failed, no repair\n", key_of(good));
        return;
    }
    write_copy(target);
}

void decide(int first, int second) {
    if (first == kGoodCopy && second == kGoodCopy) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "all ok!\n");
    } else if (first == kGoodCopy) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "backup MTD_PART_SN to MTD_PART_SN_BACKUP\n");
        repair(Copy::first, Copy::second);
    } else if (second == kGoodCopy) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "backup MTD_PART_SN_BACKUP to MTD_PART_SN\n");
        repair(Copy::second, Copy::first);
    } else if (first == 0 && second == 0) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start", "no any data!\n");
        memset(image(), 0, kRecordSize);
    } else if (first > second) {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start",
                        "all error, but bMTD_PART_SN_Score > bMTD_PART_SN_BACKUP_Score!\n");
        (void)load_copy(Copy::first);
    } else {
        ZEV_COMM_LOG_AS(DBG, "Zev_SnManager_Start",
                        "all error, but bMTD_PART_SN_BACKUP_Score > bMTD_PART_SN_Score!\n");
        (void)load_copy(Copy::second);
    }
}

}  // namespace
}  // namespace comm::sn

extern "C" {

COMM_API int32_t Zev_SnManager_Start(void) {
    using namespace comm::sn;
    ZEV_COMM_DBG("enter\n");
    (void)load_copy(Copy::first);
    const int first = value_of_image(Copy::first);
    // The second copy lands on what the first left in the image: a failed
    // read judges the first copy's bytes a second time.
    (void)read_copy(Copy::second);
    const int second = value_of_image(Copy::second);
    decide(first, second);
    set_started();
    return 0;
}

}  // extern "C"
