target_sources(tessel_core PRIVATE ${CMAKE_CURRENT_LIST_DIR}/ImageFiles.cpp)
