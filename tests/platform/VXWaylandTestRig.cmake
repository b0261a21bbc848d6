# The private Wayland desktops of the tests and of bench_wayland: the test window and the rig that
# starts sway, KWin or GNOME Shell headless. Included by tests/platform and, when the tests are
# off, by bench.
find_package(Qt6 REQUIRED COMPONENTS Gui DBus)
add_executable(wendle_wayland_test_window ${CMAKE_CURRENT_LIST_DIR}/VXWaylandTestWindow.cpp)
target_link_libraries(wendle_wayland_test_window PRIVATE Qt6::Gui Wendle::CompileOptions)

add_library(wendle_wayland_test_rig STATIC ${CMAKE_CURRENT_LIST_DIR}/VXWaylandTestRig.cpp)
wendle_wayland_protocols(wendle_wayland_test_rig ${WENDLE_PLASMA_PROTOCOLS_DIR}/fake-input.xml)
target_include_directories(wendle_wayland_test_rig PUBLIC ${CMAKE_CURRENT_LIST_DIR} ${PROJECT_SOURCE_DIR}/tests/support)
target_link_libraries(wendle_wayland_test_rig
  PUBLIC Qt6::Core Qt6::DBus
  PRIVATE PkgConfig::WENDLE_WAYLAND Wendle::CompileOptions)
target_compile_definitions(wendle_wayland_test_rig PUBLIC
  WENDLE_WAYLAND_TEST_WINDOW="$<TARGET_FILE:wendle_wayland_test_window>")
add_dependencies(wendle_wayland_test_rig wendle_wayland_test_window)
