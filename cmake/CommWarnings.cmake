function(comm_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-missing-field-initializers>)
endfunction()
