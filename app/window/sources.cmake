# The window: one file per pane or dialog, the small controls they share, and the look (type,
# colours, icons, the light or dark palette). Library tessel_window (Tessel::window), which the
# tessel program and the widget tests link.

add_library(tessel_window STATIC)
add_library(Tessel::window ALIAS tessel_window)
target_link_libraries(tessel_window
  PUBLIC tessel_app_desktop Qt6::Widgets
  PRIVATE Qt6::Svg Qt6::DBus)
tessel_warnings(tessel_window)

target_sources(tessel_window PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/MainWindow.hpp
  ${CMAKE_CURRENT_LIST_DIR}/MainWindow.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FilesPane.hpp
  ${CMAKE_CURRENT_LIST_DIR}/FilesPane.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageListModel.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageListModel.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageListView.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageListView.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageRowDelegate.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageRowDelegate.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewPane.hpp
  ${CMAKE_CURRENT_LIST_DIR}/PreviewPane.cpp
  ${CMAKE_CURRENT_LIST_DIR}/PageView.hpp
  ${CMAKE_CURRENT_LIST_DIR}/PageView.cpp
  ${CMAKE_CURRENT_LIST_DIR}/OptionsPane.hpp
  ${CMAKE_CURRENT_LIST_DIR}/OptionsPane.cpp
  ${CMAKE_CURRENT_LIST_DIR}/OptionSections.cpp
  ${CMAKE_CURRENT_LIST_DIR}/OptionRows.hpp
  ${CMAKE_CURRENT_LIST_DIR}/OptionRows.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecipeBinder.hpp
  ${CMAKE_CURRENT_LIST_DIR}/RecipeBinder.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SaveLayoutDialog.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SaveLayoutDialog.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SkippedNote.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SkippedNote.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorAlert.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ErrorAlert.cpp
  ${CMAKE_CURRENT_LIST_DIR}/FileDrops.hpp
  ${CMAKE_CURRENT_LIST_DIR}/FileDrops.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SettingsWindow.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SettingsWindow.cpp
  ${CMAKE_CURRENT_LIST_DIR}/EmptyState.hpp
  ${CMAKE_CURRENT_LIST_DIR}/EmptyState.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SegmentedControl.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SegmentedControl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ColorWell.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ColorWell.cpp
  ${CMAKE_CURRENT_LIST_DIR}/NumberField.hpp
  ${CMAKE_CURRENT_LIST_DIR}/NumberField.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ProminentButton.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ProminentButton.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Spinner.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Spinner.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Texts.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Texts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Look.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Look.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Symbols.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Symbols.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ColorScheme.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ColorScheme.cpp)

# Tessel's own icons, used where the desktop's icon theme has none.
file(GLOB tessel_symbol_files CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/symbols/*.svg)
qt_add_resources(tessel_window tessel_symbols
  PREFIX /
  BASE ${CMAKE_CURRENT_LIST_DIR}
  FILES ${tessel_symbol_files})
