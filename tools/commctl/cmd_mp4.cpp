// SPDX-License-Identifier: MIT
// mp4 and video: the recorder's file header and video parameters.
#include "comm_record.h"
#include "command.hpp"
#include "json.hpp"

namespace {

int run_mp4(commctl::Args args) {
    if (args.size() != 1) return commctl::usage_error("mp4 wants one file (see commctl mp4 --help)");
    uint32_t duration = 0, fps0 = 0, fps1 = 0;
    const int32_t r = Zev_Comm_GetFileDurationMsAndFps(args[0], &duration, &fps0, &fps1);
    switch (r) {
        case 0:
            break;
        case -4:
            return commctl::failure("cannot open %s for reading and writing", args[0]);
        case -6:
            return commctl::failure("%s is too short for a recording's header", args[0]);
        case -7:
            return commctl::failure("%s has no movie header where the recorder puts it", args[0]);
        default:
            return commctl::failure("cannot read %s (%d)", args[0], r);
    }
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .str("file", args[0])
            .num("duration_ms", duration)
            .num("fps_word0", fps0)
            .num("fps_word1", fps1)
            .end();
        return commctl::kOk;
    }
    printf("duration_ms %u\n", duration);
    printf("fps_word0   %u (0x%08x)\n", fps0, fps0);
    printf("fps_word1   %u (0x%08x)\n", fps1, fps1);
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(mp4, "mp4", "duration and frame-rate words of a recording",
                "usage: commctl mp4 FILE\n"
                "\n"
                "Reads the movie header of a recording of the device's recorder (at\n"
                "offset 4096) and shows the duration in ms and the two frame-rate words.\n"
                "The file has to be writable, as the library opens it read-write.\n",
                run_mp4);
