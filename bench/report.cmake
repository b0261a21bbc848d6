# The report view on a heavy year: a full update and redraws while scrolling and while the mouse
# moves, against a deep copy of the logs and a plain fill measured in the same run.
find_package(Qt6 REQUIRED COMPONENTS Widgets)
add_executable(bench_report ${CMAKE_CURRENT_LIST_DIR}/VXReportBench.cpp)
target_link_libraries(bench_report PRIVATE wendle_bench_support Wendle::Reports Qt6::Widgets Wendle::CompileOptions)
