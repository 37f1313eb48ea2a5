target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CurlHttpSession.cpp
  ${CMAKE_CURRENT_LIST_DIR}/HttpSession.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Url.cpp)
