# The journal on a heavy record with a busy desktop (bytes and CPU per hour, a day's replay) and
# the main thread's part of the half-hourly save of a one-year and a ten-year record.
add_executable(bench_journal VXJournalBench.cpp)
target_link_libraries(bench_journal PRIVATE wendle_bench_support Wendle::Controller Wendle::PlatformFake Wendle::CompileOptions)
