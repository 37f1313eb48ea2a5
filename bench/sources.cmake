# tessel_bench_stages: Google Benchmark timings of the render stages, one by one.
# It reaches into the core's internal headers, so core/src is on its include path.
find_package(benchmark REQUIRED)

add_executable(tessel_bench_stages ${CMAKE_CURRENT_LIST_DIR}/stages.cpp)
target_include_directories(tessel_bench_stages PRIVATE ${PROJECT_SOURCE_DIR}/core/src)
target_link_libraries(tessel_bench_stages PRIVATE tessel_core benchmark::benchmark)
tessel_warnings(tessel_bench_stages)

# A stage is timed only once its part of the core has landed.
foreach(stage vips/Decode draw/PageDrawing encode/Encode)
  if(EXISTS ${PROJECT_SOURCE_DIR}/core/src/${stage}.cpp)
    string(REGEX REPLACE "/.*" "" area ${stage})
    string(TOUPPER ${area} upper)
    target_compile_definitions(tessel_bench_stages PRIVATE TESSEL_BENCH_HAS_${upper}=1)
  endif()
endforeach()

# The page-drawing header names cairo and Pango types.
if(EXISTS ${PROJECT_SOURCE_DIR}/core/src/draw/PageDrawing.cpp)
  pkg_check_modules(BENCH_CAIRO REQUIRED IMPORTED_TARGET cairo pangocairo)
  target_link_libraries(tessel_bench_stages PRIVATE PkgConfig::BENCH_CAIRO)
endif()

# tessel_bench_model: the application model driven without a window (bench/model.sh).
if(TARGET tessel_app)
  add_executable(tessel_bench_model ${CMAKE_CURRENT_LIST_DIR}/model.cpp)
  target_link_libraries(tessel_bench_model PRIVATE tessel_app)
  tessel_warnings(tessel_bench_model)
endif()
