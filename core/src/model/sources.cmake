target_sources(tessel_core PRIVATE
  ${CMAKE_CURRENT_LIST_DIR}/TesselError.cpp
  ${CMAKE_CURRENT_LIST_DIR}/SheetRecipe.cpp
  ${CMAKE_CURRENT_LIST_DIR}/RecipeJson.cpp)
