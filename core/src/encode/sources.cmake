target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Encode.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Jpeg.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Pdf.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PdfRead.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Pixels.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Png.cpp)
# qpdf 11 warns unless told which PointerHolder transition stage the code is written for.
target_compile_definitions(tessel_core PRIVATE POINTERHOLDER_TRANSITION=4)
