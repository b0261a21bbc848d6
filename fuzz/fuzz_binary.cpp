// libFuzzer target: the binary property-list reader, and the round trips of what it accepts.

#include "VXFuzzRoundTrip.h"
#include "VXPropertyListSerialization.h"

int VXFuzzBinary(const std::uint8_t *data, std::size_t size)
{
    VXFuzzReadAndRoundTrip(data, size, VXPropertyListSerialization::valueFromBinaryData);
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzBinary(data, size);
}
#endif
