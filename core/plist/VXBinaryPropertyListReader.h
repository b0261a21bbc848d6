#pragma once

#include "VXValue.h"

#include <QByteArray>

// Reads the binary property-list format "bplist00": every object type (null and fill are
// refused, since a tree cannot hold them; sets read as arrays, UIDs as {"CF$UID": n}), integers of
// 1 to 16 bytes, offsets and references of 1 to 8 bytes. A container referenced from several
// places becomes one shared object, as it was when written.
//
// Damaged or hostile data gives a null value and one log line: every offset, count and length is
// checked against the data, references may not form a cycle, nesting is bounded, nothing is
// allocated beyond a small multiple of the input's size, and the tree, counting shared objects as
// often as they are reached, is no more than 8 times the input's size (so that whatever walks it
// stays bounded too).
class VXBinaryPropertyListReader
{
public:
    static VXValue read(const QByteArray &data);
    static bool hasBinaryMagic(const QByteArray &data);
};
