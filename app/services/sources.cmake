# Platform services: one small interface each, with the application's implementation beside it.
target_sources(tessel_app PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AppServices.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Dialogs.hpp
  ${CMAKE_CURRENT_LIST_DIR}/FileViewer.hpp
  ${CMAKE_CURRENT_LIST_DIR}/DBusFileViewer.hpp
  ${CMAKE_CURRENT_LIST_DIR}/DBusFileViewer.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Printing.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SettingsStore.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SettingsStore.cpp
  ${CMAKE_CURRENT_LIST_DIR}/UpdateInstaller.hpp)

# The services that need Qt Widgets or PrintSupport.
target_sources(tessel_app_desktop PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/WidgetDialogs.hpp
  ${CMAKE_CURRENT_LIST_DIR}/WidgetDialogs.cpp
  ${CMAKE_CURRENT_LIST_DIR}/DialogPrinting.hpp
  ${CMAKE_CURRENT_LIST_DIR}/DialogPrinting.cpp)
