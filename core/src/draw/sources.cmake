target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Caption.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PageCanvas.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PageDrawing.cpp
  ${CMAKE_CURRENT_LIST_DIR}/../icu/CaptionDate.cpp
  # Until the libvips area lists its own sources:
  ${CMAKE_CURRENT_LIST_DIR}/../vips/Decode.cpp
  ${CMAKE_CURRENT_LIST_DIR}/VipsStartLocal.cpp)
