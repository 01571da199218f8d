// SPDX-License-Identifier: MIT
// video: the video parameters that the settings give.
#include "comm_record.h"
#include "command.hpp"
#include "json.hpp"

namespace {

int run_video(commctl::Args args) {
    if (!args.empty()) return commctl::usage_error("video takes no arguments");
    if (commctl::json_wanted()) {
        commctl::JsonOut()
            .num("height", Zev_Comm_GetVideoHight())
            .num("fps_thousandths", Zev_Comm_GetVideoFps())
            .end();
        return commctl::kOk;
    }
    printf("height %d\n", Zev_Comm_GetVideoHight());
    printf("fps    %d (thousandths)\n", Zev_Comm_GetVideoFps());
    return commctl::kOk;
}

}  // namespace

COMMCTL_COMMAND(video, "video", "video height and frame rate from the settings",
                "usage: commctl video\n"
                "\n"
                "Shows the height of the video mode in Camera.Menu.VideoRes (0 when it is\n"
                "not set) and the recorder's frame rate in thousandths of a frame.\n",
                run_video);
