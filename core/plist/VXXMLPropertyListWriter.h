#pragma once

// Writes a value tree as an XML property list, in exactly the bytes Python's plistlib writes for
// the same values (its default form: tab indentation, keys in code-point order), so that files
// can be compared with other tools byte for byte.
//
// Where plistlib would change or refuse a string, the data is kept instead: a carriage return is
// written as "&#13;" (plistlib turns it into a newline). Characters that XML 1.0 cannot carry at
// all (control characters other than tab, newline and carriage return, U+FFFE, U+FFFF and unpaired
// surrogates) are written as U+FFFD, with one log line for the document: a record holding a title
// saved before titles were cleaned still writes. A null value anywhere in the tree, or nesting
// deeper than VXPropertyListSerialization::kMaximumDepth, makes the whole write fail.

#include "VXValue.h"

#include <QByteArray>

#include <optional>

class VXXMLPropertyListWriter
{
public:
    // The encoded document, or nothing (after one log line) when the tree cannot be written.
    static std::optional<QByteArray> write(const VXValue &value);
};
