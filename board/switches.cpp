// SPDX-License-Identifier: MIT
// Board switches and temperature: the kernel command line, the temperature
// test mode, the CPU temperature, touch, USB and console.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "board/sysfs.hpp"
#include "board_sysfs.h"
#include "comm_board.h"
#include "comm_file.h"
#include "comm_gpio.h"
#include "comm_log.h"
#include "frame/handles.hpp"
#include "frame/number_text.hpp"

// The library's only exported word. Its own data section keeps the address
// sanitizer from exporting a marker symbol beside it in checked builds.
extern "C" {
__attribute__((section(".data.s_iCpuTempTest"))) COMM_API int32_t s_iCpuTempTest = 0;
}

namespace comm {
namespace {

constexpr const char *kCmdLinePath = COMM_KERNEL_CMDLINE;
constexpr int32_t kCmdLineOffset = -100;  // refused by procfs: the read starts at byte 0
constexpr uint32_t kCmdLineReadSize = 1024;
constexpr const char *kTempTestWord = "ft=TEMP";

constexpr const char *kCpuTempPath = COMM_CPU_TEMP_ATTR;
constexpr uint32_t kCpuTempReadSize = 30;
constexpr size_t kCpuTempBufferSize = 32;
constexpr size_t kCpuTempPrefix = 12;  // the kernel's text ahead of the number
constexpr int32_t kTestModeCpuTemp = 66;

constexpr const char *kTouchIrqPath = COMM_TOUCH_IRQ_ATTR;

constexpr int32_t kUsbSwitchPin = 33;
constexpr unsigned long kConsoleRequest = 0x541D;  // TIOCCONS

constexpr int32_t kModeUnknown = -1;
int32_t s_iTempTestMode = kModeUnknown;
int32_t s_bCmdLineFirst = 1;

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_CheckCmdLime(const char *pNeedle) {
    char line[comm::kCmdLineReadSize + 1] = {};
    (void)Zev_Comm_ReadFileEx(comm::kCmdLinePath, comm::kCmdLineOffset, line, comm::kCmdLineReadSize);
    line[comm::kCmdLineReadSize] = '\0';
    if (comm::s_bCmdLineFirst != 0) ZEV_COMM_WAR("cmdline[%s]: %s\n", pNeedle, line);
    const char *match = strstr(line, pNeedle);
    if (match != nullptr) ZEV_COMM_VER("get cmdline: %s\n", match);
    comm::s_bCmdLineFirst = 0;
    return match != nullptr ? 1 : 0;
}

COMM_API int32_t Zev_Comm_IsTempTestMode(void) {
    if (comm::s_iTempTestMode != comm::kModeUnknown) return comm::s_iTempTestMode;
    comm::s_iTempTestMode = Zev_Comm_CheckCmdLime(comm::kTempTestWord) != 0 ? 1 : 0;
    return comm::s_iTempTestMode;
}

COMM_API int32_t Zev_Comm_GetCPUTemp(void) {
    if (s_iCpuTempTest != 0) return s_iCpuTempTest;
    if (Zev_Comm_IsTempTestMode() != 0) return comm::kTestModeCpuTemp;
    char text[comm::kCpuTempBufferSize] = {};
    if (Zev_Comm_ReadFile(comm::kCpuTempPath, text, comm::kCpuTempReadSize) != 0) return 0;
    return comm::atoi32(text + comm::kCpuTempPrefix);
}

COMM_API void Zev_Comm_SetCpuTemp(int32_t iTemp) {
    s_iCpuTempTest = iTemp;
    ZEV_COMM_INF("%d du\n", iTemp);
}

COMM_API void Zev_Comm_SetTouchIgnore(int32_t bIgnore) {
    ZEV_COMM_DBG("bIgnore=%d in\n", bIgnore);
    // The attribute switches the interrupt on: ignoring touches writes 0.
    if (!comm::write_attribute(comm::kTouchIrqPath, bIgnore != 0 ? "0" : "1", 1)) return;
    ZEV_COMM_DBG("bIgnore=%d out\n", bIgnore);
}

COMM_API int32_t Zev_Comm_UsbSwitcher(int32_t bSwitch) {
    (void)Zev_Comm_Gpio_Export(comm::kUsbSwitchPin);
    (void)Zev_Comm_Gpio_SetDirection(comm::kUsbSwitchPin, "out");
    return Zev_Comm_Gpio_SetVal(comm::kUsbSwitchPin, bSwitch == 0 ? 1 : 0);
}

COMM_API void Zev_Change_Console(const char *path) {
    const char *current = ttyname(STDOUT_FILENO);
    if (current == nullptr) {
        ZEV_COMM_WAR(" get ttyname error \n");
    } else {
        ZEV_COMM_DBG("get current tty_name: %s \n", current);
    }
    comm::UniqueFd fd(open(path, O_WRONLY));
    if (!fd) return;
    (void)ioctl(fd.get(), comm::kConsoleRequest);
    fd.reset();
    ZEV_COMM_DBG("conlose change to %s\n", path);
}

}  // extern "C"
