target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Render.cpp
  ${CMAKE_CURRENT_LIST_DIR}/InspectAll.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RenderJob.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Thumbnail.cpp)
