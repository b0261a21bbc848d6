#pragma once

// What every property-list fuzz target checks once its reader has accepted an input: the value
// encodes in binary and reads back equal, and re-encoding that gives the same bytes; when it
// also encodes in XML, the XML reads back equal except for what XML cannot carry (dates keep
// whole seconds; line ends become "\n"). A broken promise aborts, which the fuzzer reports as
// a crash with the input that caused it.

#include "VXFuzzTargets.h"
#include "VXValue.h"

#include <QByteArray>

#include <cstddef>
#include <cstdint>

// Reads the input with `reader` and, when it gives a value, checks the round trips above.
// Answers whether the reader accepted the input.
bool VXFuzzReadAndRoundTrip(const std::uint8_t *data, std::size_t size, VXValue (*reader)(const QByteArray &));
