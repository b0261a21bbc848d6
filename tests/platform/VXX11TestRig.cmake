# The private X11 desktop of the tests and of bench_x11: the test client and the rig that starts
# Xvfb, openbox and a session bus. Included by tests/platform and, when the tests are off, by bench.
add_executable(wendle_x11_test_client ${CMAKE_CURRENT_LIST_DIR}/VXX11TestClient.cpp)
target_link_libraries(wendle_x11_test_client PRIVATE PkgConfig::WENDLE_XCB Wendle::CompileOptions)

add_library(wendle_x11_test_rig STATIC ${CMAKE_CURRENT_LIST_DIR}/VXX11TestRig.cpp)
target_include_directories(wendle_x11_test_rig PUBLIC ${CMAKE_CURRENT_LIST_DIR} ${PROJECT_SOURCE_DIR}/tests/support)
target_link_libraries(wendle_x11_test_rig PUBLIC Qt6::Core PRIVATE PkgConfig::WENDLE_XCB Wendle::CompileOptions)
target_compile_definitions(wendle_x11_test_rig PUBLIC
  WENDLE_X11_TEST_CLIENT="$<TARGET_FILE:wendle_x11_test_client>")
add_dependencies(wendle_x11_test_rig wendle_x11_test_client)
