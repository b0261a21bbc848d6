# The report view: its geometry, its drawing into images, and mouse sessions through the real
# widget, all on the offscreen platform (unit).
find_package(Qt6 REQUIRED COMPONENTS Widgets Test)

wendle_add_test(NAME test_report_view
  SOURCES
    view/VXReportViewTestSupport.h
    view/VXReportGeometryTest.cpp
    view/VXReportViewRenderTest.cpp
    view/VXReportViewMouseTest.cpp
    view/VXSimplifiedReportPixelTest.cpp
    view/VXStringDrawingExtensionsTest.cpp
  LIBS Wendle::Reports Qt6::Widgets Qt6::Test
  LABELS unit)
target_include_directories(test_report_view PRIVATE ${CMAKE_CURRENT_LIST_DIR}/view)
