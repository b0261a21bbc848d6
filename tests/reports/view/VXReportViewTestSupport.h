#pragma once

// What the report view's tests share: a QApplication on the offscreen platform for the whole
// run, a settings store of their own, and a delegate over hand-made items whose logs are clipped
// by the real clipping code, as the report controller's data sources do.

#include "VXConfigurationKeys.h"
#include "VXEventLogDictionaryExtensions.h"
#include "VXMainController.h"
#include "VXRegisteredDefaults.h"
#include "VXReportEventLogs.h"
#include "VXReportView.h"
#include "VXReportViewDelegate.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"
#include "VXValue.h"

#include <QApplication>
#include <QColor>
#include <QImage>
#include <QMenu>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <utility>
#include <vector>

namespace reportviewtest {

// A realistic Unix time to work from (2024-03-01 00:00 UTC).
inline constexpr double kBase = 1709251200.0;

class ApplicationEnvironment : public ::testing::Environment
{
public:
    void SetUp() override
    {
        if (qEnvironmentVariableIsEmpty("WENDLE_REPORT_VIEW_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        static int argc = 1;
        static char name[] = "test_report_view";
        static char *argv[] = {name, nullptr};
        m_application = std::make_unique<QApplication>(argc, argv);
        m_folder = std::make_unique<QTemporaryDir>();
        m_defaults = std::make_unique<VXUserDefaults>(QStringLiteral("org.example.WendleTests"), m_folder->path());
        VXUserDefaults::setStandard(m_defaults.get());
    }
    void TearDown() override
    {
        VXUserDefaults::setStandard(nullptr);
        m_defaults.reset();
        m_folder.reset();
        m_application.reset();
    }

private:
    std::unique_ptr<QApplication> m_application;
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<VXUserDefaults> m_defaults;
};

inline VXUserDefaults &defaults()
{
    return *VXUserDefaults::standard();
}

// A log of periods given relative to kBase: {{100, 300}, {500, 500.2}} is +100, -300, +500, -500.2.
inline VXArrayRef eventLog(std::initializer_list<std::pair<double, double>> periods)
{
    VXArrayRef log = VXMakeArray();
    for (const auto &[from, to] : periods) {
        log->append(kBase + from);
        log->append(-(kBase + to));
    }
    return log;
}

// An item as the tree holds it; windows carry the "_Window" path, pool members the type
// "Pool Item", pools the "_Pool" path.
inline VXDictionaryRef item(const QString &name, const VXArrayRef &activeLog, const VXArrayRef &frontLog,
                            const QString &path = QString(), const QString &type = QString())
{
    VXDictionaryRef dictionary = VXMakeDictionary();
    dictionary->insert(VXNameKey, name);
    if (!path.isEmpty())
        dictionary->insert(VXPathKey, path);
    if (!type.isEmpty())
        dictionary->insert(VXTypeKey, type);
    if (activeLog)
        dictionary->insert(VXActiveLogKey, activeLog);
    if (frontLog)
        dictionary->insert(VXFrontActiveLogKey, frontLog);
    return dictionary;
}

inline VXDictionaryRef pool(const QString &name, const VXArrayRef &activeLog, const VXArrayRef &frontLog)
{
    return item(name, activeLog, frontLog, VXPoolPathMarker);
}

class TestDelegate : public VXReportViewDelegate
{
public:
    double begin = kBase;
    double end = kBase + 1000.0;
    double first = kBase;
    double last = kBase + 1000.0;
    std::vector<VXDictionaryRef> items;
    int format = 0;
    bool front = true;
    bool total = true;
    bool offerMenus = false;

    std::vector<std::pair<double, double>> rangesSet;
    std::vector<VXDictionaryRef> menusAskedFor;
    int clippings = 0;
    VXReportView *view = nullptr;
    // Clips through this cache when set, as the live report's data source does.
    VXEventLogClipCache *clipCache = nullptr;

    void getBeginTimestamp(double *beginTimestamp, double *endTimestamp, double *firstTimestamp, double *lastTimestamp,
                           VXReportView *) override
    {
        if (beginTimestamp)
            *beginTimestamp = begin;
        if (endTimestamp)
            *endTimestamp = end;
        if (firstTimestamp)
            *firstTimestamp = first;
        if (lastTimestamp)
            *lastTimestamp = last;
    }

    // As the controller does: an open side falls back to the data's border, then the view is
    // rebuilt.
    void setBeginTimestamp(double beginTimestamp, double endTimestamp, VXReportView *reportView) override
    {
        rangesSet.emplace_back(beginTimestamp, endTimestamp);
        begin = beginTimestamp > 0.0 ? beginTimestamp : first;
        end = endTimestamp > 0.0 ? endTimestamp : last;
        reportView->update(nullptr);
    }

    VXArrayRef eventLogsForReportView(VXReportView *, double from, double to) override
    {
        ++clippings;
        VXArrayRef logs = VXMakeArray();
        for (const VXDictionaryRef &source : items)
            logs->append(eventLogClippedBetweenTimestamp(source, from, to, nullptr, clipCache));
        if (clipCache)
            clipCache->forgetUnused();
        return logs;
    }

    std::unique_ptr<QMenu> contextMenuForEventLog(const VXDictionaryRef &log) override
    {
        menusAskedFor.push_back(log);
        if (!offerMenus)
            return nullptr;
        auto menu = std::make_unique<QMenu>();
        menu->setTitle(log->value(VXNameKey).toString());
        return menu;
    }

    int timeFormat() const override { return format; }
    bool drawFrontActivity() const override { return front; }
    bool drawTotalActivity() const override { return total; }
};

// Colours as the report specifies them, made here independently of the drawing code.
inline QRgb grey(double white)
{
    return QColor::fromRgbF(float(white), float(white), float(white)).rgb();
}
inline QRgb pieColor()
{
    return QColor::fromRgbF(0.6f, 0.4f, 0.6f).rgb();
}

// Contrast of two opaque pixels as WCAG defines it, from their sRGB channels.
inline double contrast(QRgb a, QRgb b)
{
    const auto luminance = [](QRgb c) {
        const auto linear = [](int channel) {
            const double v = channel / 255.0;
            return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * linear(qRed(c)) + 0.7152 * linear(qGreen(c)) + 0.0722 * linear(qBlue(c));
    };
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

inline bool isNeutral(QRgb c)
{
    return qRed(c) == qGreen(c) && qGreen(c) == qBlue(c);
}

}   // namespace reportviewtest
