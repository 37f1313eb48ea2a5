target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Caption.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PageCanvas.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PageDrawing.cpp)
