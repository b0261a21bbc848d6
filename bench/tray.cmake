# Tray mode on a heavy year: opening the panel on the report section, and the cost of the
# 5-second refreshes of the taskbar icon and the desktop report, against references measured in
# the same run.
find_package(Qt6 REQUIRED COMPONENTS Widgets)
add_executable(bench_tray ${CMAKE_CURRENT_LIST_DIR}/VXTrayBench.cpp)
target_link_libraries(bench_tray PRIVATE wendle_bench_support Wendle::ShellTray Wendle::Reports Qt6::Widgets
  Wendle::CompileOptions)
