// libFuzzer target: the XML property-list reader, and the round trips of what it accepts.

#include "VXFuzzRoundTrip.h"
#include "VXPropertyListSerialization.h"

int VXFuzzXML(const std::uint8_t *data, std::size_t size)
{
    VXFuzzReadAndRoundTrip(data, size, VXPropertyListSerialization::valueFromXMLData);
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzXML(data, size);
}
#endif
