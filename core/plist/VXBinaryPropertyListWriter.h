#pragma once

#include "VXValue.h"

#include <QByteArray>

#include <optional>

// Writes the binary property-list format, version "bplist00". Equal strings, numbers, dates and
// data are stored once; a container reached twice (the same object, as an application's window
// items are) is stored once and referenced twice. Objects are laid out depth first, keys before
// values, keys in code-point order, which gives the same bytes as Python's plistlib.
class VXBinaryPropertyListWriter
{
public:
    // Nothing for a null value anywhere in the tree, or for a tree that refers to itself.
    static std::optional<QByteArray> write(const VXValue &value);
};
