# SPDX-License-Identifier: MIT
# -Wmissing-declarations: a function with external linkage must be declared
# in a header first; one that serves its file alone belongs in the
# anonymous namespace.
function(comm_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror -Wmissing-declarations
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>)
endfunction()
