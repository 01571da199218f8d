// SPDX-License-Identifier: MIT
// The PMU driver's client: one ioctl per operation on a descriptor that is
// opened on first use and kept to the end of the process.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "comm_board.h"
#include "comm_log.h"
#include "comm_pmu.h"
#include "pmu_ioctl.h"

namespace comm {
namespace {

constexpr const char *kPmuPath = COMM_PMU_NODE;
constexpr int32_t kNotOpen = -1;

constexpr int32_t kCapValue = 240;
constexpr int32_t kTestModeNtcTemperature = 37;

// Not atomic and not locked: once open, the word no longer changes.
int32_t s_iPmuFd = kNotOpen;

// Opens the device unless it is open: 1 already open, 0 opened, -2 failed.
int32_t ZevPmuInit() {
    if (s_iPmuFd != kNotOpen) return 1;
    if (access(kPmuPath, F_OK) != 0) ZEV_COMM_ERR("%s not exist\n", kPmuPath);
    s_iPmuFd = open(kPmuPath, O_RDWR);
    if (s_iPmuFd >= 0) return 0;
    ZEV_COMM_ERR("open [%s] failed\n", kPmuPath);
    return -2;
}

// True when the device is open, after one attempt to open it.
bool pmu_ready(const char *name) {
    if (s_iPmuFd == kNotOpen) (void)ZevPmuInit();
    if (s_iPmuFd != kNotOpen) return true;
    ZEV_COMM_LOG_AS(ERR, name, "pmu not initialized, please initialized first\n");
    return false;
}

// One request with the word's address; false (logged) when it fails.
bool pmu_ioctl(const char *name, unsigned long request, int32_t &word) {
    if (ioctl(s_iPmuFd, request, &word) == 0) return true;
    ZEV_COMM_LOG_AS(ERR, name, "failed\n");
    return false;
}

enum class Outcome { kNoDevice, kFailed, kDone };

// The frame of every operation: open if need be, then the request.
Outcome pmu_request(const char *name, unsigned long request, int32_t &word) {
    if (!pmu_ready(name)) return Outcome::kNoDevice;
    return pmu_ioctl(name, request, word) ? Outcome::kDone : Outcome::kFailed;
}

// For the readings whose two fall-backs are both 0.
bool pmu_read(const char *name, unsigned long request, int32_t &word) {
    return pmu_request(name, request, word) == Outcome::kDone;
}

}  // namespace
}  // namespace comm

using comm::Outcome;

extern "C" {

COMM_API int32_t Zev_Pmu_IsDcIn(void) {
    int32_t word = 0;
    const Outcome o = comm::pmu_request(__func__, COMM_PMU_IS_DC_IN, word);
    return o == Outcome::kNoDevice ? 1 : (o == Outcome::kFailed ? 0 : word);
}

COMM_API int32_t Zev_Pmu_IsAccOn(void) {
    int32_t word = 0;
    const Outcome o = comm::pmu_request(__func__, COMM_PMU_IS_ACC_ON, word);
    return o == Outcome::kNoDevice ? 1 : (o == Outcome::kFailed ? 0 : word);
}

COMM_API int32_t Zev_Pmu_GetBootRes(void) {
    int32_t word = 0;
    if (!comm::pmu_read(__func__, COMM_PMU_GET_BOOT_RES, word)) return 0;
    ZEV_COMM_INF(":0x%x\n", static_cast<unsigned>(word));
    return word;
}

COMM_API int32_t Zev_Pmu_GetType(void) {
    int32_t word = 0;
    if (!comm::pmu_read(__func__, COMM_PMU_GET_TYPE, word)) return 0;
    return word != 0 ? 1 : 0;
}

COMM_API int32_t Zev_Pmu_SetCap(void) {
    int32_t word = comm::kCapValue;
    if (!comm::pmu_read(__func__, COMM_PMU_SET_CAP, word)) return 0;
    ZEV_COMM_WAR(":%d mA\n", word);
    return word;
}

COMM_API int32_t Zev_Pmu_GetVoltage(int32_t bShow) {
    int32_t word = 0;
    if (!comm::pmu_read(__func__, COMM_PMU_GET_VOLTAGE, word)) return 0;
    if (bShow != 0) {
        ZEV_COMM_WAR("%d mv\n", word);
    } else {
        ZEV_COMM_VER("%d mv\n", word);
    }
    return word;
}

COMM_API int32_t Zev_Pmu_SetChargeCurrent(int32_t iCurrent) {
    int32_t word = iCurrent;
    if (!comm::pmu_read(__func__, COMM_PMU_SET_CHARGE_CURRENT, word)) return 0;
    ZEV_COMM_VER("%d mA\n", word);
    return word;
}

COMM_API int32_t Zev_Pmu_GetChargeCurrent(void) {
    int32_t word = 0;
    if (!comm::pmu_read(__func__, COMM_PMU_GET_CHARGE_CURRENT, word)) return 0;
    ZEV_COMM_VER("%d mA\n", word);
    return word;
}

COMM_API int32_t Zev_Pmu_GetNtcTemperature(void) {
    int32_t word = 0;
    if (!comm::pmu_ready(__func__)) return 0;
    // The test mode answers only with the device open, and asks nothing.
    if (Zev_Comm_IsTempTestMode() != 0) {
        word = comm::kTestModeNtcTemperature;
    } else if (!comm::pmu_ioctl(__func__, COMM_PMU_GET_NTC_TEMPERATURE, word)) {
        return 0;
    }
    ZEV_COMM_VER("%d du\n", word);
    return word;
}

COMM_API int32_t Zev_Pmu_PowerOff(int32_t iValue) {
    int32_t word = iValue;
    if (!comm::pmu_read(__func__, COMM_PMU_POWER_OFF, word)) return 0;
    return word;
}

COMM_API int32_t Zev_Pmu_SetPowerOffTimeOut(int32_t iTimeOut) {
    int32_t word = iTimeOut;
    (void)comm::pmu_read(__func__, COMM_PMU_SET_POWER_OFF_TIMEOUT, word);
    return 0;
}

COMM_API int32_t Zev_Pmu_IsPowerKeyPressed(void) {
    int32_t word = 0;
    if (!comm::pmu_read(__func__, COMM_PMU_IS_POWER_KEY_PRESSED, word)) return 0;
    ZEV_COMM_VER("pwrkey:%s\n", word != 0 ? "DOWN" : "UP");
    return word;
}

COMM_API int32_t Zev_Pmu_GetSDInsterStat(void) {
    int32_t word = 0;
    if (!comm::pmu_read(__func__, COMM_PMU_GET_SD_INSERT_STAT, word)) return 0;
    ZEV_COMM_VER("SD_In:%d\n", word);
    return word;
}

}  // extern "C"
