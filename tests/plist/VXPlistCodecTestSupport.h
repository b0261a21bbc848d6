#pragma once

// Helpers shared by the XML and old-style property-list tests: building trees tersely and
// catching the codec's log lines.

#include "VXTestSupport.h"
#include "VXValue.h"

#include <QByteArrayView>
#include <QStringList>
#include <QtGlobal>

#include <initializer_list>
#include <utility>

inline VXValue VXArrayOf(std::initializer_list<VXValue> items)
{
    VXArrayRef array = VXMakeArray();
    for (const VXValue &item : items)
        array->append(item);
    return VXValue(std::move(array));
}

inline VXValue VXDictionaryOf(std::initializer_list<std::pair<QString, VXValue>> entries)
{
    VXDictionaryRef dictionary = VXMakeDictionary();
    for (const auto &[key, value] : entries)
        dictionary->insert(key, value);
    return VXValue(std::move(dictionary));
}

// Collects the lines logged in the category "wendle.plist" while it lives (and keeps them off
// the console).
class VXPlistLogCapture : public VXLogCapture
{
public:
    VXPlistLogCapture() : VXLogCapture("wendle.plist") { }
};
