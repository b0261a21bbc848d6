# Ten years on one machine: ticks, start-up, save, the commands and the idle program on records
# of 1, 2, 5 and 10 heavy years against an empty one, in one run.
if(TARGET Wendle::PlatformX11)
  if(NOT TARGET wendle_x11_test_rig)
    include(${PROJECT_SOURCE_DIR}/tests/platform/VXX11TestRig.cmake)
  endif()
  add_executable(bench_years ${CMAKE_CURRENT_LIST_DIR}/VXYearsBench.cpp)
  target_link_libraries(bench_years PRIVATE wendle_bench_support Wendle::Controller Wendle::Persistence
    Wendle::PlatformFake wendle_x11_test_rig Wendle::CompileOptions)
  target_compile_definitions(bench_years PRIVATE WENDLE_BINARY="$<TARGET_FILE:wendle>")
  add_dependencies(bench_years wendle)
endif()

# Where a long record's start-up time and its tree's memory go, phase by phase and kind by kind.
add_executable(bench_load_census ${CMAKE_CURRENT_LIST_DIR}/VXLoadCensus.cpp)
target_link_libraries(bench_load_census PRIVATE Wendle::Persistence Wendle::CompileOptions)
