# The report controller: its window, date controls, settings and data sources through the real
# widgets on the offscreen platform, and the program's icon on them (unit); screenshots of live and snapshot reports under Xvfb (gui).
find_package(Qt6 REQUIRED COMPONENTS Test Widgets)

wendle_add_test(NAME test_report_controller
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/controller/VXReportControllerTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/controller/VXReportDataSourcesTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/controller/VXApplicationIconTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/controller/VXHugeSnapshotCellTest.cpp
  LIBS Wendle::Reports Wendle::Controller Wendle::PlatformFake Qt6::Test Qt6::Widgets
  LABELS unit)
target_include_directories(test_report_controller PRIVATE ${CMAKE_CURRENT_LIST_DIR}/controller)
set_tests_properties(test_report_controller PROPERTIES ENVIRONMENT
  "QT_QPA_PLATFORM=offscreen;LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_LIST_DIR}/controller/lsan.supp")

if(TARGET wendle_x11_test_rig)
  wendle_add_test(NAME test_report_controller_gui
    SOURCES ${CMAKE_CURRENT_LIST_DIR}/controller/VXReportScreenshotTest.cpp
    LIBS Wendle::Reports Wendle::Controller Wendle::PlatformFake wendle_x11_test_rig Qt6::Test Qt6::Widgets
    LABELS gui)
  target_include_directories(test_report_controller_gui PRIVATE ${CMAKE_CURRENT_LIST_DIR}/controller)
  target_compile_definitions(test_report_controller_gui PRIVATE WENDLE_SCREENSHOT_DIR="${CMAKE_BINARY_DIR}/screenshots")
  set_tests_properties(test_report_controller_gui PROPERTIES ENVIRONMENT
    "LSAN_OPTIONS=suppressions=${CMAKE_CURRENT_LIST_DIR}/controller/lsan.supp")
endif()
