#pragma once

// Reads the old-style (OpenStep/NeXT) text form of property lists, as CoreFoundation reads it:
//
//   { key = value; "quoted key" = ( a, "b", <0fbd77 1c2735ae>, ); }
//
// Leaves are strings (quoted with " or ', with C-like backslash escapes, \NNN octal in the
// NeXTSTEP character set and \UXXXX; or unquoted runs of [A-Za-z0-9_$+/:.-]) and hex data.
// Comments // and /* */ may stand between tokens. The "strings file" form, key = value; pairs
// without braces (and "key;" for key = key), reads as a dictionary, and a file holding only
// whitespace and comments as an empty one. GNUstep's typed leaves are accepted too: <*I12>
// integer, <*R1.5> real, <*BY> / <*BN> boolean, <*D2001-01-01 00:00:00 +0000> date.
//
// Unlike CoreFoundation, the last ";" before a dictionary's "}" may be left out, and junk after a
// strings file is refused. Text is UTF-8 (or UTF-16 with a byte-order mark). Anything malformed
// gives a null value and one log line, as does nesting deeper than
// VXPropertyListSerialization::kMaximumDepth.

#include "VXValue.h"

#include <QByteArray>

class VXOpenStepPropertyListReader
{
public:
    static VXValue read(const QByteArray &data);
};
