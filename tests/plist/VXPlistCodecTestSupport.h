#pragma once

// Helpers shared by the XML and old-style property-list tests: deep trees and the codec's log
// lines.

#include "VXTestSupport.h"
#include "VXValueBuilders.h"

#include <QByteArrayView>
#include <QStringList>
#include <QtGlobal>

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
