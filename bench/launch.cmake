# Launch to the first window with a heavy year's record against an empty one, and the first
# opening of the preferences window, on a private Xvfb with openbox.
if(TARGET Wendle::PlatformX11)
  if(NOT TARGET wendle_x11_test_rig)
    include(${PROJECT_SOURCE_DIR}/tests/platform/VXX11TestRig.cmake)
  endif()
  find_package(Qt6 REQUIRED COMPONENTS Test Widgets)
  add_executable(bench_launch VXLaunchBench.cpp)
  target_link_libraries(bench_launch PRIVATE wendle_bench_support Wendle::Shell Wendle::Controller
    Wendle::PlatformFake wendle_x11_test_rig PkgConfig::WENDLE_XCB Qt6::Test Qt6::Widgets Wendle::CompileOptions)
  target_compile_definitions(bench_launch PRIVATE WENDLE_PROGRAM="$<TARGET_FILE:wendle>")
  add_dependencies(bench_launch wendle)
endif()
