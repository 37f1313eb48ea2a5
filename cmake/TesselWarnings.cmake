# The project's warnings, for its own targets only; third-party headers are included as
# system headers and never warn. They are errors only with TESSEL_WERROR (on in the presets
# and in CI, off by default), so a compiler's new false positive cannot stop a plain build.
function(tessel_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic
    -Wshadow -Wnon-virtual-dtor -Wold-style-cast -Wcast-align -Wunused
    -Woverloaded-virtual -Wconversion -Wsign-conversion -Wnull-dereference
    -Wdouble-promotion -Wformat=2 -Wimplicit-fallthrough)
  if(TESSEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
