#pragma once

// The fuzz targets, and what they share. Each target reads one input with one reader of outside
// input and checks what the reader promises; a broken promise aborts (VXFuzzFail), which the
// fuzzer reports as a crash with the input that caused it.
//
// The targets are also compiled into the test suite, which replays the seed corpora and every
// input a fuzzer once found (fuzz/corpus/<target>, fuzz/regressions/<target>); there they are
// called through the functions below, without the libFuzzer entry points (WENDLE_FUZZ_NO_ENTRY).

#include <QString>

#include <cstddef>
#include <cstdint>

using VXFuzzTarget = int (*)(const std::uint8_t *data, std::size_t size);

// Property lists: binary, XML and old-style text (VXFuzzRoundTrip.h).
int VXFuzzBinary(const std::uint8_t *data, std::size_t size);
int VXFuzzXML(const std::uint8_t *data, std::size_t size);
int VXFuzzOpenStep(const std::uint8_t *data, std::size_t size);
// A CSV snapshot, read whole and in parts (fuzz_csv.cpp).
int VXFuzzCSV(const std::uint8_t *data, std::size_t size);
// A desktop entry (fuzz_desktop_entry.cpp).
int VXFuzzDesktopEntry(const std::uint8_t *data, std::size_t size);
// The scenario of `wendle simulate` (fuzz_scenario.cpp).
int VXFuzzScenario(const std::uint8_t *data, std::size_t size);
// The WHEN of export and summary (fuzz_when.cpp).
int VXFuzzWhen(const std::uint8_t *data, std::size_t size);
// The value of `defaults write` (fuzz_defaults.cpp).
int VXFuzzDefaults(const std::uint8_t *data, std::size_t size);
// A request on the single-instance socket (fuzz_instance_request.cpp).
int VXFuzzInstanceRequest(const std::uint8_t *data, std::size_t size);

// A broken promise: says which on standard error and aborts.
[[noreturn]] void VXFuzzFail(const char *target, const QString &what);

// Counts an input the target's reader accepted. The replay test checks with the count that the
// seeds named valid-* are accepted and those named refused-* are not.
void VXFuzzCountAccepted();
std::size_t VXFuzzAcceptedInputs();
