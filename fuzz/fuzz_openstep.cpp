// libFuzzer target: the old-style (OpenStep) text property-list reader, and the round trips of
// what it accepts.

#include "VXFuzzRoundTrip.h"
#include "VXPropertyListSerialization.h"

int VXFuzzOpenStep(const std::uint8_t *data, std::size_t size)
{
    VXFuzzReadAndRoundTrip(data, size, VXPropertyListSerialization::valueFromOpenStepData);
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzOpenStep(data, size);
}
#endif
