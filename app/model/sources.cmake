# The model: AppModel and its records. QtCore, QtGui and QtConcurrent only; no widgets.
target_sources(tessel_app PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/AppModel.hpp
  ${CMAKE_CURRENT_LIST_DIR}/AppModel.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Background.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Export.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageItem.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageList.cpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageSort.hpp
  ${CMAKE_CURRENT_LIST_DIR}/ImageSort.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Layouts.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Preview.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecipeCheck.hpp
  ${CMAKE_CURRENT_LIST_DIR}/RecipeCheck.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SheetPreview.hpp
  ${CMAKE_CURRENT_LIST_DIR}/SkippedFile.hpp
  ${CMAKE_CURRENT_LIST_DIR}/Thumbnails.cpp
  ${CMAKE_CURRENT_LIST_DIR}/Updates.cpp)
