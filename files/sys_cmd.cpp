// SPDX-License-Identifier: MIT
// Running shell commands: with the output caught (popen), with only the
// status (system), a script from the SD card, and the process test.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "comm_log.h"
#include "comm_sys.h"

namespace comm {
namespace {

constexpr size_t kSystemExSize = 256;
constexpr size_t kSdShellSize = 128;
constexpr size_t kTaskCmdSize = 64;
constexpr size_t kTaskOutSize = 129;  // one byte more than is offered to the command
constexpr int32_t kTaskOffered = 128;

// A popen() stream that is pclose()d (status dropped) on every way out.
class PipeStream {
public:
    explicit PipeStream(const char *cmd) : f_(popen(cmd, "r")) {}
    PipeStream(const PipeStream &) = delete;
    PipeStream &operator=(const PipeStream &) = delete;
    ~PipeStream() {
        if (f_ != nullptr) (void)pclose(f_);
    }
    std::FILE *get() const { return f_; }

private:
    std::FILE *f_;
};

// snprintf into a fixed buffer; false when the text would not fit whole.
template <size_t N, typename... A>
[[nodiscard]] bool format_whole(char (&buf)[N], const char *fmt, A... args) {
    const int n = snprintf(buf, N, fmt, args...);
    return n >= 0 && static_cast<size_t>(n) < N;
}

// Runs cmd and copies up to size bytes of its output into buf, which ends
// in a NUL. 0 done (or no buffer), -1 no command or no pipe, -2 no output.
int32_t run_captured(const char *cmd, char *buf, int32_t size) {
    if (cmd == nullptr) return -1;
    PipeStream stream(cmd);
    if (stream.get() == nullptr) return -1;
    if (buf == nullptr) return 0;
    if (size <= 0) return -2;  // a negative size would become a huge size_t
    const size_t got = fread(buf, 1, static_cast<size_t>(size), stream.get());
    if (got == 0) return -2;
    if (buf[size - 1] != '\0') buf[size - 1] = '\0';
    return 0;
}

}  // namespace
}  // namespace comm

extern "C" {

COMM_API int32_t Zev_Comm_Cmd(const char *pCmd, char *pBuf, int32_t iSize) {
    return comm::run_captured(pCmd, pBuf, iSize);
}

COMM_API int32_t Zev_Comm_SystemEx(const char *pFormat, ...) {
    if (pFormat == nullptr) return -100;
    char cmd[comm::kSystemExSize];
    va_list ap;
    va_start(ap, pFormat);
    (void)vsnprintf(cmd, sizeof cmd, pFormat, ap);  // a longer text is cut, without notice
    va_end(ap);
    return system(cmd);
}

COMM_API int32_t Zev_Comm_RunSDShell(const char *pName, const char *pArg, int32_t bBackground) {
    char cmd[comm::kSdShellSize];
    memset(cmd, 0, sizeof cmd);
    const char *name = pName != nullptr ? pName : "";
    // The copy, mode and line-end steps: their results are not looked at; a
    // failed copy leaves the later steps to fail in their turn. A name is
    // never taken as a format.
    if (comm::format_whole(cmd, "cp /mnt/mmc/%s /tmp", name)) (void)Zev_Comm_SystemEx("%s", cmd);
    if (comm::format_whole(cmd, "chmod 777 /tmp/%s", name)) (void)Zev_Comm_SystemEx("%s", cmd);
    if (comm::format_whole(cmd, "dos2unix /tmp/%s", name)) (void)Zev_Comm_SystemEx("%s", cmd);
    if (!comm::format_whole(cmd, "/tmp/%s %s %s", name, pArg != nullptr ? pArg : "", bBackground ? "&" : " "))
        return -1;
    ZEV_COMM_DBG("%s\n", cmd);
    return system(cmd);
}

COMM_API int32_t Zev_Comm_IsTaskRunning(const char *pName) {
    if (pName == nullptr) return 0;
    char cmd[comm::kTaskCmdSize];
    char out[comm::kTaskOutSize];
    memset(cmd, 0, sizeof cmd);
    memset(out, 0, sizeof out);
    if (!comm::format_whole(cmd, "ps -ef | grep %s | grep -v grep", pName)) return 0;
    (void)comm::run_captured(cmd, out, comm::kTaskOffered);
    return strstr(out, pName) != nullptr ? 1 : 0;
}

}  // extern "C"
