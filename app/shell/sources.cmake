# The shell: start-up, open requests and the single instance, menus and the quit guard.
target_sources(tessel_app_desktop PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/CommandLine.hpp
  ${CMAKE_CURRENT_LIST_DIR}/CommandLine.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DesktopServices.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Menus.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Menus.cpp
  ${CMAKE_CURRENT_LIST_DIR}/QuitGuard.hpp
  ${CMAKE_CURRENT_LIST_DIR}/QuitGuard.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SingleInstance.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SingleInstance.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TesselApp.hpp
  ${CMAKE_CURRENT_LIST_DIR}/TesselApp.cpp
  ${CMAKE_CURRENT_LIST_DIR}/TesselDelegate.hpp
  ${CMAKE_CURRENT_LIST_DIR}/TesselDelegate.cpp)
target_link_libraries(tessel_app_desktop PUBLIC Qt6::Network)
