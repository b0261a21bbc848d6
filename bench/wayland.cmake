# The Wayland adapters' cost per tick against the X11 adapter's, each on a private headless
# desktop (sway, KWin, GNOME Shell, Xvfb), and the whole program idle on one of them.
if(TARGET Wendle::PlatformWayland AND TARGET Wendle::PlatformX11)
  if(NOT TARGET wendle_wayland_test_rig)
    include(${PROJECT_SOURCE_DIR}/tests/platform/VXWaylandTestRig.cmake)
  endif()
  if(NOT TARGET wendle_x11_test_rig)
    include(${PROJECT_SOURCE_DIR}/tests/platform/VXX11TestRig.cmake)
  endif()
  add_executable(bench_wayland VXWaylandDesktopBench.cpp)
  target_link_libraries(bench_wayland PRIVATE Wendle::PlatformWayland Wendle::PlatformX11 wendle_wayland_test_rig
    wendle_x11_test_rig Wendle::CompileOptions)
  target_compile_definitions(bench_wayland PRIVATE WENDLE_BINARY="$<TARGET_FILE:wendle>")
  add_dependencies(bench_wayland wendle)
endif()
