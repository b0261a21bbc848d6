#pragma once

// Property-list trees written tersely: VXArrayOf({1, u"x"_s}), VXDictionaryOf({{u"key"_s, 2}}).

#include "VXValue.h"

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

namespace vxtest {

// An array of numbers (an event log, colour components).
inline VXArrayRef numbers(std::initializer_list<double> values)
{
    VXArrayRef array = VXMakeArray();
    for (double value : values)
        array->append(value);
    return array;
}

}   // namespace vxtest
