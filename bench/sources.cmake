# tessel_bench_stages: Google Benchmark timings of the render stages, one by one.
# It reaches into the core's internal headers, so core/src is on its include path.
find_package(benchmark REQUIRED)

add_executable(tessel_bench_stages ${CMAKE_CURRENT_LIST_DIR}/stages.cpp)
target_include_directories(tessel_bench_stages PRIVATE ${PROJECT_SOURCE_DIR}/core/src)
target_link_libraries(tessel_bench_stages PRIVATE tessel_core benchmark::benchmark)
tessel_warnings(tessel_bench_stages)

# A stage is timed only once its area of the core is part of the build.
foreach(stage vips draw encode)
  if(EXISTS ${PROJECT_SOURCE_DIR}/core/src/${stage}/sources.cmake)
    string(TOUPPER ${stage} upper)
    target_compile_definitions(tessel_bench_stages PRIVATE TESSEL_BENCH_HAS_${upper}=1)
  endif()
endforeach()
