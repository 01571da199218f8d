// SPDX-License-Identifier: MIT
// md5 and crc8: the library's digests over a file.
#include <cerrno>
#include <cstring>

#include "comm_digest.h"
#include "command.hpp"
#include "json.hpp"

namespace {

constexpr size_t kChunk = 1 << 20;

// Feeds the file to `take` in chunks; false with errno on a read failure.
template <typename Take>
bool each_chunk(const char *path, Take take) {
    FILE *f = fopen(path, "rb");
    if (f == nullptr) return false;
    static unsigned char buf[kChunk];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, f)) > 0) take(buf, static_cast<uint32_t>(n));
    const bool ok = ferror(f) == 0;
    const int e = errno;
    fclose(f);
    errno = e;
    return ok;
}

int run_md5(commctl::Args args) {
    if (args.size() != 1) return commctl::usage_error("md5 wants one file");
    MD5Context ctx;
    MD5Init(&ctx);
    if (!each_chunk(args[0], [&](const unsigned char *p, uint32_t n) { MD5Update(&ctx, p, n); }))
        return commctl::failure("cannot read %s: %s", args[0], strerror(errno));
    char text[33] = {};
    MD5FinalString(text, &ctx);
    if (commctl::json_wanted()) {
        commctl::JsonOut().str("file", args[0]).str("md5", text).end();
    } else {
        printf("%s  %s\n", text, args[0]);
    }
    return commctl::kOk;
}

int run_crc8(commctl::Args args) {
    if (args.empty() || args.size() > 2)
        return commctl::usage_error("crc8 wants a file and an optional start value");
    uint32_t crc = 0;
    if (args.size() == 2 && (!commctl::parse_u32(args[1], crc) || crc > 255))
        return commctl::usage_error("start value must be 0 to 255, not '%s'", args[1]);
    if (!each_chunk(args[0],
                    [&](const unsigned char *p, uint32_t n) { crc = Zev_Comm_CheckCrc8(p, n, crc); }))
        return commctl::failure("cannot read %s: %s", args[0], strerror(errno));
    if (commctl::json_wanted()) {
        commctl::JsonOut().str("file", args[0]).num("crc8", crc).end();
    } else {
        printf("0x%02X\n", crc);
    }
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(md5, "md5", "MD5 digest of a file",
                "usage: commctl md5 FILE\n"
                "\n"
                "Prints the MD5 digest of FILE (RFC 1321) as 32 lower-case hex digits and\n"
                "the file name, like md5sum.\n",
                run_md5);

COMMCTL_COMMAND(crc8, "crc8", "CRC-8 of a file",
                "usage: commctl crc8 FILE [START]\n"
                "\n"
                "Prints the library's CRC-8 of FILE (reflected, generator 0xD5, no final\n"
                "XOR) as 0xNN. START (0 to 255, default 0) is the initial value; pass an\n"
                "earlier result to continue a CRC over several files.\n",
                run_crc8);
