# SPDX-License-Identifier: MIT
# Media and the board's PWM and serial line (sourced by scripts/run-demo.sh).
commctl="$bin/tools/commctl"

say "play the prompt: decode the MP3 made with lame at build time into a WAV"
mkdir -p "$state"
if [ -f "$bin/share/prompt.mp3" ]; then
  "$commctl" --level 3 mp3 "$bin/share/prompt.mp3" "$state/prompt.wav"
else
  echo "(no prompt: lame was not found when the tree was configured)"
fi

say "PWM channel 0: 1 ms period, 25 % duty, running"
sim "$commctl" pwm init 0
sim "$commctl" pwm set 0 1000000 250000 normal
sim "$commctl" pwm start 0
sim "$commctl" pwm status 0

say "the serial line: boardsim plays the far end, commctl receives 20 bytes"
printf 'GPRMC,dashcam,line\r\n' > "$state/uart-feed.txt"
"$bin/sim/boardsim" --state "$state" --uart-feed="$state/uart-feed.txt" -- \
  sh -c '"$0" uart recv "$BOARDSIM_UART" 115200 20 2000' "$commctl"

say "the sample recording on the SD card, and the video parameters"
sim sh -c '"$0" mp4 "$BOARDSIM_SDCARD/DCIM/sample.mp4"' "$commctl"
sim "$commctl" video
