# Our own code builds with these warnings; the engines' headers are included as system headers.
function(corvantis_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wno-missing-field-initializers)
endfunction()
