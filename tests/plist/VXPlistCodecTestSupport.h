#pragma once

// Helpers shared by the property-list tests: deep trees, the codec's log lines, and binary
// property lists assembled by hand.

#include "VXTestSupport.h"
#include "VXValueBuilders.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QStringList>
#include <QtGlobal>

#include <cstdint>
#include <vector>

// Arrays nested `depth` deep, the innermost empty.
inline VXValue VXNestedArrays(int depth)
{
    VXValue value = VXValue(VXMakeArray());
    for (int i = 1; i < depth; ++i)
        value = VXArrayOf({value});
    return value;
}

// Collects the lines logged in the category "wendle.plist" while it lives (and keeps them off
// the console).
class VXPlistLogCapture : public VXLogCapture
{
public:
    VXPlistLogCapture() : VXLogCapture("wendle.plist") { }
};

// Assembles a binary property list from encoded objects, with chosen widths, so that forms
// Wendle never writes itself (other widths, float32, UTF-8 strings, sets, UIDs) can be read.
inline QByteArray assemble(const std::vector<QByteArray> &objects, int offsetWidth, int refWidth, std::uint64_t top = 0)
{
    QByteArray out("bplist00");
    std::vector<std::uint64_t> offsets;
    for (const QByteArray &object : objects) {
        offsets.push_back(static_cast<std::uint64_t>(out.size()));
        out += object;
    }
    const auto tableOffset = static_cast<std::uint64_t>(out.size());
    auto bigEndian = [&out](std::uint64_t v, int width) {
        for (int i = width - 1; i >= 0; --i)
            out.append(static_cast<char>((v >> (8 * i)) & 0xFF));
    };
    for (std::uint64_t offset : offsets)
        bigEndian(offset, offsetWidth);
    out.append(QByteArray(6, '\0'));
    out.append(static_cast<char>(offsetWidth));
    out.append(static_cast<char>(refWidth));
    bigEndian(objects.size(), 8);
    bigEndian(top, 8);
    bigEndian(tableOffset, 8);
    return out;
}

inline QByteArray ref(std::uint64_t index, int width)
{
    QByteArray out;
    for (int i = width - 1; i >= 0; --i)
        out.append(static_cast<char>((index >> (8 * i)) & 0xFF));
    return out;
}

inline QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}
