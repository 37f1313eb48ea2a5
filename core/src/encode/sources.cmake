target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Encode.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Jpeg.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Pdf.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Qpdf.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Pixels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Png.cpp)
# qpdf 11 warns unless told which PointerHolder transition stage the code is written for.
target_compile_definitions(tessel_core PRIVATE POINTERHOLDER_TRANSITION=4)
# qpdf 11's headers do not compile as C++20 under clang 14 (JSON.hh); that one file is C++17.
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/Qpdf.cpp PROPERTIES
  COMPILE_OPTIONS "$<$<CXX_COMPILER_ID:Clang>:-std=c++17>")
