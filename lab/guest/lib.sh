# SPDX-License-Identifier: MIT
# Helpers of the guest's checks: each check prints one result line.

# check NAME EXPECTED ACTUAL
check() {
  if [ "$2" = "$3" ]; then
    echo "@@ pass $1"
  else
    echo "@@ fail $1: wanted [$2], got [$3]" | tr '\n' '|'
    echo
  fi
}

# The shared conversation, framed so that the host can cut it out.
lab_conversation() {
  mkdir -p /tmp/conversation
  uart_watch &
  echo "@@ conversation $1 begin"
  COMMCTL=commctl UART=/dev/ttyS0 PMU_WRITES=/sys/module/testboard/parameters/writes \
    SET_READING=/lab/set-reading LAB_TMP=/tmp/conversation sh /lab/conversation.sh "$1" 2>&1
  echo "@@ conversation $1 end"
}

# Tells the host to send the serial feed once a program has set the line up
# (canonical mode off), as boardsim's far end does.
uart_watch() {
  until stty -F /dev/ttyS0 2>/dev/null | grep -q -- -icanon; do sleep 0.2; done
  echo "@@ uart-ready"
}
