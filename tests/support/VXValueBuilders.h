#pragma once

// Property-list trees written tersely: VXArrayOf({1, u"x"_s}), VXDictionaryOf({{u"key"_s, 2}}).

#include "VXValue.h"

#include <initializer_list>
#include <utility>
#include <vector>

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

// The elements as an array in each of its two forms: appended one by one (reals kept packed
// while they can be), and set whole through items() (the ordinary form).
struct BothForms {
    VXArrayRef packed;
    VXArrayRef ordinary;
};
inline BothForms inBothForms(const std::vector<VXValue> &elements)
{
    BothForms forms {VXMakeArray(), VXMakeArray()};
    for (const VXValue &element : elements)
        forms.packed->append(element);
    forms.ordinary->items() = elements;
    return forms;
}

}   // namespace vxtest
