target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/VipsStart.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ContainerWalk.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Inspect.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Header.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Decode.cpp)
