# SPDX-License-Identifier: MIT
# A short prompt MP3 for the demo (scripts/demo.d/50-media.sh), made at
# build time: commctl writes a tone, lame encodes it. Needs the tools and
# lame; without them there is no prompt and the demo says so.
if(COMM_BUILD_TOOLS AND NOT CMAKE_CROSSCOMPILING)
  find_program(COMM_LAME_EXECUTABLE lame)
  if(COMM_LAME_EXECUTABLE)
    set(COMM_PROMPT_DIR ${PROJECT_BINARY_DIR}/share)
    add_custom_command(OUTPUT ${COMM_PROMPT_DIR}/prompt.mp3
      COMMAND ${CMAKE_COMMAND} -E make_directory ${COMM_PROMPT_DIR}
      COMMAND ${CMAKE_COMMAND} -E env ASAN_OPTIONS=detect_leaks=0
              $<TARGET_FILE:commctl> tone 1200 880 ${COMM_PROMPT_DIR}/prompt.wav
      COMMAND ${COMM_LAME_EXECUTABLE} --quiet -t -m m -b 64 ${COMM_PROMPT_DIR}/prompt.wav ${COMM_PROMPT_DIR}/prompt.mp3
      DEPENDS commctl
      COMMENT "Encoding the demo prompt with lame"
      VERBATIM)
    add_custom_target(media_prompt ALL DEPENDS ${COMM_PROMPT_DIR}/prompt.mp3)
  endif()
endif()
