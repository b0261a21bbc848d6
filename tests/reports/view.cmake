# The report view: its geometry, its drawing into images, and mouse sessions through the real
# widget, all on the offscreen platform (unit); screenshots of each colour scheme under a private
# Xvfb (gui).
find_package(Qt6 REQUIRED COMPONENTS Widgets Test)

wendle_add_test(NAME test_report_view
  SOURCES
    view/VXReportViewTestSupport.h
    view/VXReportGeometryTest.cpp
    view/VXReportViewRenderTest.cpp
    view/VXReportViewMouseTest.cpp
    view/VXStringDrawingExtensionsTest.cpp
  LIBS Wendle::Reports Qt6::Widgets Qt6::Test
  LABELS unit)
target_include_directories(test_report_view PRIVATE ${CMAKE_CURRENT_LIST_DIR}/view)

# Screenshots a person can open: the tool draws a sample day in each colour scheme and writes
# PNG files; the gui test runs it on a private Xvfb and checks what the server showed.
add_executable(wendle_report_screenshots view/VXReportScreenshotTool.cpp)
target_include_directories(wendle_report_screenshots PRIVATE ${CMAKE_CURRENT_LIST_DIR}/view)
target_link_libraries(wendle_report_screenshots PRIVATE Wendle::Reports Qt6::Widgets Wendle::CompileOptions)

if(TARGET wendle_x11_test_rig)
  wendle_add_test(NAME test_report_view_screenshots
    SOURCES view/VXReportScreenshotTest.cpp
    LIBS wendle_x11_test_rig Qt6::Gui
    LABELS gui)
  target_compile_definitions(test_report_view_screenshots PRIVATE
    WENDLE_REPORT_SCREENSHOT_TOOL="$<TARGET_FILE:wendle_report_screenshots>"
    WENDLE_SCREENSHOT_DIR="${CMAKE_BINARY_DIR}/screenshots/report-view")
  add_dependencies(test_report_view_screenshots wendle_report_screenshots)
endif()
