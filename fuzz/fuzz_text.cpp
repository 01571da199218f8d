// SPDX-License-Identifier: MIT
// Feeds arbitrary bytes to the library's text parsers: key=value texts, as
// strings and as files, line values and zone texts. Under AddressSanitizer
// any read or write past a buffer ends the run; the value buffers are as
// large as the headers promise, not larger.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "comm_datetime.h"
#include "comm_log.h"
#include "comm_param.h"
#include "fake_files.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const bool silenced = [] {
        Zev_Comm_SetPrintLev(0);
        return true;
    }();
    (void)silenced;
    // The first byte splits the input into a key and a text.
    if (size < 1) return 0;
    const size_t key_len = data[0] % 16;
    if (size < 1 + key_len) return 0;
    std::vector<char> key(data + 1, data + 1 + key_len);
    key.push_back('\0');
    std::vector<char> text(data + 1 + key_len, data + size);
    text.push_back('\0');

    int32_t value = 0;
    ZevGetFactoryParam(text.data(), key.data(), &value);
    std::vector<char> out(text.size() + 1);
    ZevGetTargetFwVer(text.data(), key.data(), out.data());

    std::vector<char> line(text);
    Zev_Comm_GetStrVal(line.data());
    line = text;
    Zev_Comm_GetIntVal(line.data());

    Zev_Comm_TimeZone_to_Sec(text.data());

    fuzz::set_file("/fuzz/param", data + 1 + key_len, size - 1 - key_len);
    Zev_Comm_GetNumFromFileBykey("/fuzz/param", key.data(), &value);
    std::vector<char> file_out(512);
    Zev_Comm_GetStrFromFileBykey("/fuzz/param", key.data(), file_out.data());
    return 0;
}
