# Every fuzz target: its entry file fuzz_<name>.cpp, further sources, and the libraries of the
# reader it exercises. Included by fuzz/CMakeLists.txt (the libFuzzer build) and by
# tests/fuzz/CMakeLists.txt (the replay of the corpora and regressions in the test suite).
set(WENDLE_FUZZ_TARGETS binary xml openstep csv desktop_entry scenario when defaults instance_request)
foreach(reader binary xml openstep)
  set(WENDLE_FUZZ_SOURCES_${reader} VXFuzzRoundTrip.cpp)
  set(WENDLE_FUZZ_LIBS_${reader} Wendle::Plist)
endforeach()
set(WENDLE_FUZZ_LIBS_csv Wendle::Persistence)
set(WENDLE_FUZZ_LIBS_desktop_entry Wendle::PlatformXdg)
set(WENDLE_FUZZ_LIBS_scenario Wendle::Simulation)
set(WENDLE_FUZZ_LIBS_when Wendle::Commands)
set(WENDLE_FUZZ_LIBS_defaults Wendle::Commands)
set(WENDLE_FUZZ_LIBS_instance_request Wendle::Commands)

# The libraries that hold the readers, which get coverage counters and sanitizers in the fuzz build.
set(WENDLE_FUZZED_LIBRARIES wendle_plist wendle_foundation wendle_persistence wendle_platform_xdg wendle_commands
  wendle_simulation)
