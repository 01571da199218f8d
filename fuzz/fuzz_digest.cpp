// SPDX-License-Identifier: MIT
// MD5 streamed in arbitrary pieces must equal the one-call digest, and the
// CRC-8 must be byte-identical however the input is aligned.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "comm_digest.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1) return 0;
    const size_t piece = 1 + data[0] % 97;
    std::vector<uint8_t> input(data + 1, data + size);

    uint8_t whole[16];
    dir_md5_digest(whole, input.data(), static_cast<uint32_t>(input.size()));

    MD5Context ctx;
    MD5Init(&ctx);
    for (size_t at = 0; at < input.size(); at += piece) {
        const size_t n = input.size() - at < piece ? input.size() - at : piece;
        MD5Update(&ctx, input.data() + at, static_cast<uint32_t>(n));
    }
    uint8_t streamed[16];
    MD5Final(streamed, &ctx);
    if (memcmp(whole, streamed, sizeof whole) != 0) abort();

    std::vector<uint8_t> shifted(input.size() + 3);
    if (!input.empty()) memcpy(shifted.data() + 3, input.data(), input.size());
    if (Zev_Comm_CheckCrc8(input.data(), static_cast<uint32_t>(input.size()), 0) !=
        Zev_Comm_CheckCrc8(shifted.data() + 3, static_cast<uint32_t>(input.size()), 0))
        abort();
    return 0;
}
