#pragma once

// Reads an XML property list (as written by CoreFoundation, plistlib, libplist and by
// VXXMLPropertyListWriter) into a value tree.
//
// The parser works on the raw bytes in one pass and knows just the XML that property lists use:
// the declaration, a document type without an internal subset, comments, processing
// instructions, CDATA sections, the five predefined entities and character references. Nothing
// is ever fetched and no other entity is expanded. The root may stand inside <plist> or alone.
// Text must be UTF-8 (or UTF-16 with a byte-order mark); anything invalid, unknown or truncated
// gives a null value and one log line, as does nesting deeper than
// VXPropertyListSerialization::kMaximumDepth. A dictionary that repeats a key keeps the last value.

#include "VXValue.h"

#include <QByteArray>

class VXXMLPropertyListReader
{
public:
    static VXValue read(const QByteArray &data);
};
