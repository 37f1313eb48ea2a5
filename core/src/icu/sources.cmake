target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CaptionDate.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ExifDate.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NaturalOrder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Numeric.cpp)
