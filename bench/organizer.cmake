# The organizer's lists following the tick on a heavy year's record, against the tick alone.
if(TARGET Wendle::Organizer)
  add_executable(bench_organizer ${CMAKE_CURRENT_LIST_DIR}/VXOrganizerBench.cpp)
  target_link_libraries(bench_organizer PRIVATE wendle_bench_support Wendle::Organizer Wendle::Controller
    Wendle::PlatformFake benchmark::benchmark Wendle::CompileOptions)
endif()
