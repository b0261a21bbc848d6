#pragma once

// Helpers shared by the tracking and controller tests: building items and event logs, reading
// them back, a settings store in a temporary folder, and the invariants that every tick must
// keep.

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXRegisteredDefaults.h"
#include "VXTestSettings.h"
#include "VXTestSupport.h"
#include "VXUserDefaults.h"
#include "VXValue.h"
#include "VXValueBuilders.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QStringList>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace vxtest {

inline VXArrayRef strings(std::initializer_list<const char16_t *> values)
{
    VXArrayRef array = VXMakeArray();
    for (const char16_t *value : values)
        array->append(QString::fromUtf16(value));
    return array;
}

inline std::vector<double> logOf(const VXDictionary &item, const QString &key)
{
    std::vector<double> values;
    if (const VXArray *log = item.value(key).array()) {
        for (const VXValue &value : *log)
            values.push_back(value.toDouble());
    }
    return values;
}

inline std::vector<double> activeLog(const VXDictionary &item)
{
    return logOf(item, VXActiveLogKey);
}
inline std::vector<double> frontLog(const VXDictionary &item)
{
    return logOf(item, VXFrontActiveLogKey);
}
inline double timeOf(const VXDictionary &item)
{
    return timeIntervalForKey(item, VXTimeKey);
}
inline double frontTimeOf(const VXDictionary &item)
{
    return timeIntervalForKey(item, VXFrontTimeKey);
}

inline VXDictionaryRef dictionary(std::initializer_list<std::pair<QString, VXValue>> entries)
{
    VXDictionaryRef result = VXMakeDictionary();
    for (const auto &[key, value] : entries)
        result->insert(key, value);
    return result;
}

// A pool with members, as the organizer makes them.
inline VXDictionaryRef pool(const QString &name, std::initializer_list<VXDictionaryRef> members)
{
    VXArrayRef children = VXMakeArray();
    for (const VXDictionaryRef &member : members)
        children->append(member);
    return dictionary(
        {{VXNameKey, name}, {VXPathKey, VXPoolPathMarker}, {VXTypeKey, VXPoolItemType}, {VXChildrenKey, children}});
}

inline VXDictionaryRef member(const QString &name, const QString &applicationID,
                              std::initializer_list<VXDictionaryRef> entries = {})
{
    VXDictionaryRef result = dictionary(
        {{VXNameKey, name},
         {VXPathKey, QStringLiteral("/usr/share/applications/") + applicationID + QStringLiteral(".desktop")},
         {VXApplicationIDKey, applicationID},
         {VXTypeKey, VXPoolItemType}});
    if (entries.size() > 0) {
        VXArrayRef children = VXMakeArray();
        for (const VXDictionaryRef &entry : entries)
            children->append(entry);
        result->insert(VXChildrenKey, children);
    }
    return result;
}

inline VXDictionaryRef windowEntry(const QString &pattern)
{
    return dictionary({{VXNameKey, pattern}, {VXPathKey, VXWindowPathMarker}, {VXTypeKey, VXPoolItemType}});
}

inline VXDictionary *applicationItem(const VXDictionary &configuration, const QString &applicationID)
{
    const VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary();
    return applications ? applications->value(applicationID).dictionary() : nullptr;
}

inline VXDictionary *windowItem(const VXDictionary &configuration, const QString &applicationID, const QString &key)
{
    const VXDictionary *application = applicationItem(configuration, applicationID);
    const VXDictionary *windows = application ? application->value(VXWindowsByNameKey).dictionary() : nullptr;
    return windows ? windows->value(key).dictionary() : nullptr;
}

// The display names of a list's items, in order.
inline QStringList namesOf(const VXArray &items)
{
    QStringList names;
    for (const VXValue &item : items)
        names.append(item.dictionary() ? itemName(*item.dictionary()) : QString());
    return names;
}

// Where two trees first differ ("Applications/org.example.Mail/Active Log/3: 12 != -12"), or
// nothing when they are equal.
inline std::string firstDifference(const VXValue &a, const VXValue &b, const std::string &path = std::string())
{
    auto text = [](const VXValue &value) -> std::string {
        if (value.isString())
            return '"' + value.stringRef().toStdString() + '"';
        if (value.isNumber())
            return std::to_string(value.toDouble());
        return VXValue::typeName(value.type());
    };
    if (a.type() != b.type())
        return path + ": " + text(a) + " != " + text(b);
    if (const VXDictionary *x = a.dictionary()) {
        const VXDictionary *y = b.dictionary();
        for (const VXDictionary::Entry &entry : *x) {
            const std::string where = path + '/' + entry.key.text().toStdString();
            if (!y->contains(entry.key))
                return where + ": only on the left";
            if (std::string found = firstDifference(entry.value, y->value(entry.key), where); !found.empty())
                return found;
        }
        for (const VXDictionary::Entry &entry : *y) {
            if (!x->contains(entry.key))
                return path + '/' + entry.key.text().toStdString() + ": only on the right";
        }
        return {};
    }
    if (const VXArray *x = a.array()) {
        const VXArray *y = b.array();
        for (std::size_t i = 0; i < std::min(x->size(), y->size()); ++i) {
            if (std::string found = firstDifference(x->at(i), y->at(i), path + '/' + std::to_string(i)); !found.empty())
                return found;
        }
        if (x->size() != y->size())
            return path + ": " + std::to_string(x->size()) + " items != " + std::to_string(y->size());
        return {};
    }
    return a == b ? std::string() : path + ": " + text(a) + " != " + text(b);
}

// ---- Invariants of every completed tick

// Calls `visit` for every item of the tree: applications and their windows, pools, members and
// window entries.
template <class Visit> void forEachItem(const VXDictionary &configuration, Visit &&visit)
{
    if (const VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary()) {
        for (const VXDictionary::Entry &entry : *applications) {
            const VXDictionary *application = entry.value.dictionary();
            if (!application)
                continue;
            visit(*application, QStringLiteral("application ") + entry.key);
            if (const VXDictionary *windows = application->value(VXWindowsByNameKey).dictionary()) {
                for (const VXDictionary::Entry &window : *windows) {
                    if (window.value.dictionary())
                        visit(*window.value.dictionary(), QStringLiteral("window ") + entry.key + u'/' + window.key);
                }
            }
        }
    }
    if (const VXArray *pools = configuration.value(VXPoolsKey).array()) {
        for (const VXValue &poolValue : *pools) {
            const VXDictionary *pool = poolValue.dictionary();
            if (!pool)
                continue;
            visit(*pool, QStringLiteral("pool ") + itemName(*pool));
            const VXArray *members = pool->value(VXChildrenKey).array();
            for (std::size_t m = 0; members && m < members->size(); ++m) {
                const VXDictionary *poolMember = members->at(m).dictionary();
                if (!poolMember)
                    continue;
                visit(*poolMember, QStringLiteral("member ") + itemName(*poolMember));
                const VXArray *entries = poolMember->value(VXChildrenKey).array();
                for (std::size_t e = 0; entries && e < entries->size(); ++e) {
                    if (const VXDictionary *entry = entries->at(e).dictionary())
                        visit(*entry, QStringLiteral("entry ") + itemName(*entry));
                }
            }
        }
    }
}

// An event log alternates +t and -t, starting with +t, sorted by magnitude. (A period may end
// and the next begin at the same instant when two ticks fall on one time.)
inline ::testing::AssertionResult isWellFormedLog(const std::vector<double> &log)
{
    double previous = -1.0;
    for (std::size_t i = 0; i < log.size(); ++i) {
        const bool opening = i % 2 == 0;
        if ((log[i] > 0) != opening)
            return ::testing::AssertionFailure() << "number " << i << " (" << log[i] << ") has the wrong sign";
        if (!(std::fabs(log[i]) >= previous)) {
            ::testing::AssertionResult failure = ::testing::AssertionFailure();
            failure << "number " << i << " (" << std::fixed << log[i] << ") is out of order in";
            for (double value : log)
                failure << ' ' << value;
            return failure;
        }
        previous = std::fabs(log[i]);
    }
    return ::testing::AssertionSuccess();
}

// No working mark survives a tick; every log is well formed; no item was frontmost longer than
// it existed; an item's flag says whether its log has an open period.
inline ::testing::AssertionResult treeKeepsItsInvariants(const VXDictionary &configuration)
{
    ::testing::AssertionResult result = ::testing::AssertionSuccess();
    forEachItem(configuration, [&](const VXDictionary &item, const QString &where) {
        if (!result)
            return;
        const std::string place = where.toStdString();
        if (item.contains(VXActiveMarkKey) || item.contains(VXFrontActiveMarkKey)) {
            result = ::testing::AssertionFailure() << place << " keeps a working mark";
            return;
        }
        for (const QString *key : {&VXActiveLogKey, &VXFrontActiveLogKey}) {
            const std::vector<double> log = logOf(item, *key);
            if (::testing::AssertionResult wellFormed = isWellFormedLog(log); !wellFormed) {
                result = ::testing::AssertionFailure()
                    << place << ": " << key->toStdString() << ": " << wellFormed.message();
                return;
            }
            const bool open = !log.empty() && log.back() > 0;
            const bool flag = boolForKey(item, *key == VXActiveLogKey ? VXActiveKey : VXFrontActiveKey);
            if (open != flag) {
                result = ::testing::AssertionFailure() << place << ": " << key->toStdString() << " is "
                                                       << (open ? "open" : "closed") << " but the flag says otherwise";
                return;
            }
        }
        if (frontTimeOf(item) > timeOf(item) + 1e-9)
            result = ::testing::AssertionFailure()
                << place << ": Front Time " << frontTimeOf(item) << " exceeds Time " << timeOf(item);
    });
    return result;
}

}   // namespace vxtest
