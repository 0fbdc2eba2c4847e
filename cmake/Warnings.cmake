# Our own code builds with these warnings; the engines' headers are included as system headers.
function(corvantis_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-missing-field-initializers
    # GCC 12 reports temporaries inside coroutine frames of Qt containers that are not dangling.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-dangling-pointer>)
endfunction()
