#pragma once

// Helpers for the persistence tests: an application object, a settings store of their own,
// the log lines of the "wendle.persistence" category, building trees and event logs, and a
// seeded random tree with awkward names for round trips.

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXListRows.h"
#include "VXRegisteredDefaults.h"
#include "VXSeededRandom.h"
#include "VXTestSettings.h"
#include "VXTestSupport.h"
#include "VXUserDefaults.h"
#include "VXValue.h"
#include "VXValueBuilders.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLocale>
#include <QMutex>
#include <QMutexLocker>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <ostream>
#include <utility>
#include <vector>

namespace vxtest {

// The organizer's lists as the clipping sees them: the items with a row.
class ListRows final : public VXListRows
{
public:
    std::vector<const VXDictionary *> listed;
    bool applicationListHasRowForItem(const VXDictionary &item) const override { return has(item); }
    bool poolListHasRowForItem(const VXDictionary &item) const override { return has(item); }

private:
    bool has(const VXDictionary &item) const { return std::find(listed.begin(), listed.end(), &item) != listed.end(); }
};

// Collects the lines logged in "wendle.persistence" (from any thread) while it lives, and
// keeps them off the console.
class LogCapture : public VXLogCapture
{
public:
    LogCapture() : VXLogCapture("wendle.persistence") { }
};

// Sets the default locale for a test and puts the previous one back.
class ScopedLocale
{
public:
    explicit ScopedLocale(const QLocale &locale) : m_previous(QLocale()) { QLocale::setDefault(locale); }
    ~ScopedLocale() { QLocale::setDefault(m_previous); }

private:
    QLocale m_previous;
};

inline std::vector<double> doublesOf(const VXValue &value)
{
    std::vector<double> result;
    if (const VXArray *array = value.array()) {
        for (const VXValue &item : *array)
            result.push_back(item.toDouble());
    }
    return result;
}

inline VXDictionaryRef item(const QString &name, const QString &path = QString())
{
    VXDictionaryRef dictionary = VXMakeDictionary();
    dictionary->insert(VXNameKey, name);
    if (!path.isNull())
        dictionary->insert(VXPathKey, path);
    return dictionary;
}

inline VXDictionaryRef withLogs(VXDictionaryRef dictionary, VXArrayRef front, VXArrayRef active)
{
    if (front)
        dictionary->insert(VXFrontActiveLogKey, std::move(front));
    if (active)
        dictionary->insert(VXActiveLogKey, std::move(active));
    return dictionary;
}

// An application with windows, filed in the tree as the tracker files them.
inline VXDictionaryRef addApplication(VXDictionary &configuration, const QString &identifier,
                                      VXDictionaryRef application)
{
    VXValue *applications = configuration.valuePointer(VXApplicationsKey);
    if (!applications) {
        configuration.insert(VXApplicationsKey, VXMakeDictionary());
        applications = configuration.valuePointer(VXApplicationsKey);
    }
    applications->dictionary()->insert(identifier, application);
    return application;
}

inline VXDictionaryRef addWindow(VXDictionary &application, VXDictionaryRef window)
{
    VXValue *windows = application.valuePointer(VXWindowsByNameKey);
    if (!windows) {
        application.insert(VXWindowsByNameKey, VXMakeDictionary());
        windows = application.valuePointer(VXWindowsByNameKey);
    }
    windows->dictionary()->insert(window->value(VXNameKey).toString(), window);
    return window;
}

inline VXDictionaryRef addChild(VXDictionary &parent, VXDictionaryRef child)
{
    VXValue *children = parent.valuePointer(VXChildrenKey);
    if (!children) {
        parent.insert(VXChildrenKey, VXMakeArray());
        children = parent.valuePointer(VXChildrenKey);
    }
    children->array()->append(child);
    return child;
}

inline VXDictionaryRef addPool(VXDictionary &configuration, VXDictionaryRef pool)
{
    VXValue *pools = configuration.valuePointer(VXPoolsKey);
    if (!pools) {
        configuration.insert(VXPoolsKey, VXMakeArray());
        pools = configuration.valuePointer(VXPoolsKey);
    }
    pools->array()->append(pool);
    return pool;
}

inline VXDictionaryRef makePool(const QString &name, const QString &notes = QString())
{
    VXDictionaryRef pool = item(name, VXPoolPathMarker);
    pool->insert(VXTypeKey, VXPoolItemType);
    if (!notes.isNull())
        pool->insert(VXPoolNotesKey, notes);
    return pool;
}

inline VXDictionaryRef makeMember(const QString &name)
{
    VXDictionaryRef member = item(name, QStringLiteral("/usr/share/applications/") + name + QStringLiteral(".desktop"));
    member->insert(VXTypeKey, VXPoolItemType);
    return member;
}

using Random = VXSeededRandom;

// Names that make a CSV writer and reader work: separators, quotes, line breaks, blanks at the
// ends, the header words, non-Latin text.
inline QString awkwardName(Random &random, const QString &stem, int index)
{
    static const char16_t *const pieces[] = {
        u"",         u"",      u", draft", u"; v2",        u"\tindented", u" \"quoted\"",   u"\nsecond line",
        u"\r\nCRLF", u" Pool", u"Window ", u"Application", u" Caf\u00e9", u" \u65e5\u672c", u" \U0001F642",
        u"  ",       u"\"",
    };
    QString name = stem + QString::number(index);
    const int count = random.below(3);
    for (int i = 0; i < count; ++i)
        name += QString::fromUtf16(pieces[random.below(static_cast<int>(std::size(pieces)))]);
    return name;
}

// A well-formed event log: periods of at least a second between `begin` and `end`, times with
// millisecond resolution, sometimes ending with a period still open.
inline VXArrayRef randomLog(Random &random, double begin, double end, int periods)
{
    VXArrayRef log = VXMakeArray();
    double t = begin;
    const double step = (end - begin) / (2.0 * periods + 1.0);
    for (int i = 0; i < periods; ++i) {
        t += 1.0 + random.uniform() * step;
        const double open = std::round(t * 1000.0) / 1000.0;
        t += 1.0 + random.uniform() * step;
        const double close = std::round(t * 1000.0) / 1000.0;
        if (close >= end)
            break;
        log->append(open);
        if (i == periods - 1 && random.chance(0.3))
            break;
        log->append(-close);
    }
    return log;
}

}   // namespace vxtest
