# Manual pages made from a program's own --help and --version at build time (help2man), so
# that they never fall behind the options. Not in sanitizer and fuzzing builds, whose programs
# report at exit and are never installed.
find_program(TESSEL_HELP2MAN help2man)
if(NOT TESSEL_HELP2MAN AND NOT TESSEL_SANITIZE AND NOT TESSEL_BUILD_FUZZ)
  message(STATUS "help2man not found: no manual pages (scripts/install-deps.sh installs it)")
endif()

# tessel_man_page(<program target> <one-line description>): man1/<program>.1.gz, built with
# the program and installed with it.
function(tessel_man_page target description)
  if(NOT TESSEL_HELP2MAN OR TESSEL_SANITIZE OR TESSEL_BUILD_FUZZ)
    return()
  endif()
  set(page "${CMAKE_BINARY_DIR}/man/${target}.1")
  add_custom_command(OUTPUT "${page}.gz"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${CMAKE_BINARY_DIR}/man"
    COMMAND ${CMAKE_COMMAND} -E env QT_QPA_PLATFORM=offscreen
            ${TESSEL_HELP2MAN} --no-info --section=1 --name=${description}
            --output=${page} $<TARGET_FILE:${target}>
    COMMAND gzip -9nf "${page}"
    DEPENDS ${target}
    COMMENT "Writing the manual page of ${target}" VERBATIM)
  add_custom_target(${target}_man_page ALL DEPENDS "${page}.gz")
  install(FILES "${page}.gz" DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endfunction()
