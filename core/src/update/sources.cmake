target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Updater.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Version.cpp)
