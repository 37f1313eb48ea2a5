target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/Verify.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Write.cpp)
