# tessel-sheet: a thin main over a library that tests link too.
find_package(CLI11 REQUIRED)
find_package(nlohmann_json 3 REQUIRED)
pkg_check_modules(CLI_UUID REQUIRED IMPORTED_TARGET uuid)

add_library(tessel_sheet_lib STATIC
  ${CMAKE_CURRENT_LIST_DIR}/CommandLine.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SheetRun.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Listing.cpp)
target_include_directories(tessel_sheet_lib PUBLIC ${CMAKE_CURRENT_LIST_DIR})
target_link_libraries(tessel_sheet_lib
  PUBLIC Tessel::core
  PRIVATE CLI11::CLI11 nlohmann_json::nlohmann_json PkgConfig::CLI_UUID)
if(TESSEL_VERSION)
  target_compile_definitions(tessel_sheet_lib PRIVATE TESSEL_VERSION="${TESSEL_VERSION}")
endif()
tessel_warnings(tessel_sheet_lib)
# GCC 12's optimiser reports a null dereference inside CLI11's inlined string splitting (a
# false positive in library code that -isystem cannot silence, as it is diagnosed after
# inlining).
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/CommandLine.cpp
  PROPERTIES COMPILE_OPTIONS -Wno-null-dereference)

add_executable(tessel-sheet ${CMAKE_CURRENT_LIST_DIR}/main.cpp)
target_link_libraries(tessel-sheet PRIVATE tessel_sheet_lib)
tessel_warnings(tessel-sheet)
install(TARGETS tessel-sheet RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
