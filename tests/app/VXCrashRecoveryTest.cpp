// A crash at any moment costs at most the time since the journal's last flush: random days
// through `wendle simulate`'s engine, each ended by a crash at a random instant and recovered,
// against the same day ended by a clean quit right after the last flushed tick. The two records
// must be equal value for value, event logs included (the clean one with its open periods
// closed at its last moment, as a recovery closes them).

#include "VXJournal.h"
#include "VXPropertyListSerialization.h"
#include "VXScenario.h"
#include "VXScenarioRunner.h"
#include "VXTrackingTestSupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <random>

using namespace Qt::StringLiterals;

namespace {

constexpr double kStart = 1'772'438'400.0;

struct Day {
    QJsonObject json;
    // Times of the events that change the tree (resets, undo...) and of pauses, for the crash
    // instants that matter most.
    std::vector<double> moments;
};

// Events and desktop changes fall on quarter seconds; a tick's time plus 1/8 s never meets one.
double quarter(std::mt19937 &random, double from, double to)
{
    std::uniform_int_distribution<int> pick(int(from * 4), int(to * 4));
    return pick(random) / 4.0;
}

Day randomDay(std::mt19937 &random, double end)
{
    const QStringList names {u"Editor"_s, u"Browser"_s, u"Mail"_s, u"Terminal"_s};
    QJsonArray applications;
    for (int i = 0; i < names.size(); ++i)
        applications.append(QJsonObject {{u"name"_s, names[i]},
                                         {u"identifier"_s, names[i].toLower()},
                                         {u"path"_s, u"/usr/share/applications/%1.desktop"_s.arg(names[i].toLower())},
                                         {u"pid"_s, 100 + i}});
    Day day;
    QJsonArray states;
    std::uniform_int_distribution<int> count(1, 4);
    std::uniform_int_distribution<int> which(0, int(names.size()) - 1);
    std::uniform_int_distribution<int> title(0, 5);
    double at = 0;
    while (at < end) {
        QJsonArray running;
        QJsonArray windows;
        const int open = count(random);
        for (int i = 0; i < open; ++i) {
            const int app = which(random);
            if (!running.contains(applications[app]))
                running.append(applications[app]);
            windows.append(QJsonObject {{u"pid"_s, 100 + app},
                                        {u"title"_s, u"%1 document %2"_s.arg(names[app]).arg(title(random))},
                                        {u"number"_s, i + 1}});
        }
        const QJsonObject front
            = running[std::uniform_int_distribution<int>(0, int(running.size()) - 1)(random)].toObject();
        states.append(QJsonObject {{u"at"_s, at},
                                   {u"front"_s, front.value(u"path"_s)},
                                   {u"applications"_s, running},
                                   {u"windows"_s, windows}});
        at = quarter(random, at + 2, at + 40);
    }

    static const QStringList kinds {u"input"_s,
                                    u"sleep"_s,
                                    u"wake"_s,
                                    u"lock"_s,
                                    u"unlock"_s,
                                    u"suspendAutomatic"_s,
                                    u"wakeUp"_s,
                                    u"resetApplicationTimers"_s,
                                    u"resetPoolTimers"_s,
                                    u"resetAllTimers"_s,
                                    u"clearApplications"_s,
                                    u"undo"_s,
                                    u"redo"_s,
                                    u"forceTick"_s,
                                    u"suspendManual"_s};
    QJsonArray events;
    std::vector<double> times;
    for (int i = std::uniform_int_distribution<int>(3, 8)(random); i > 0; --i)
        times.push_back(quarter(random, 1, end - 1));
    std::sort(times.begin(), times.end());
    for (double time : times) {
        const QString kind = kinds[std::uniform_int_distribution<int>(0, int(kinds.size()) - 1)(random)];
        events.append(QJsonObject {{u"at"_s, time}, {u"type"_s, kind}});
        if (kind != u"input"_s)
            day.moments.push_back(time);
    }
    const QJsonObject pool {{u"Type"_s, u"Pool Item"_s},
                            {u"Name"_s, u"Writing"_s},
                            {u"Path"_s, u"_Pool"_s},
                            {u"Children"_s,
                             QJsonArray {QJsonObject {{u"Type"_s, u"Pool Item"_s},
                                                      {u"Name"_s, u"Editor"_s},
                                                      {u"Path"_s, u"/usr/share/applications/editor.desktop"_s},
                                                      {u"Application ID"_s, u"editor"_s}},
                                         QJsonObject {{u"Type"_s, u"Pool Item"_s},
                                                      {u"Name"_s, u"Browser"_s},
                                                      {u"Path"_s, u"/usr/share/applications/browser.desktop"_s},
                                                      {u"Application ID"_s, u"browser"_s},
                                                      {u"Children"_s,
                                                       QJsonArray {QJsonObject {{u"Type"_s, u"Pool Item"_s},
                                                                                {u"Name"_s, u"*document 1*"_s},
                                                                                {u"Path"_s, u"_Window"_s}}}}}}}};
    day.json = QJsonObject {
        {u"start"_s, kStart},
        {u"end"_s, end},
        {u"defaults"_s,
         QJsonObject {{u"Hibernation Interval"_s, std::uniform_int_distribution<int>(0, 1)(random) ? 30 : 0},
                      {u"Update Interval"_s, std::uniform_int_distribution<int>(0, 1)(random) ? 0.5 : 1.0},
                      {u"Show Inactive Application Items"_s, std::uniform_int_distribution<int>(0, 1)(random) == 1}}},
        {u"configuration"_s, QJsonObject {{u"Pools"_s, QJsonArray {pool}}}},
        {u"desktop"_s, states},
        {u"events"_s, events},
    };
    return day;
}

// The record the day leaves when it ends at `end`, in a crash or by quitting.
VXValue run(QJsonObject json, double end, bool crash, QString *error)
{
    json[u"end"_s] = end;
    json[u"crash"_s] = crash;
    QJsonArray states;
    for (const QJsonValue &state : json.value(u"desktop"_s).toArray())
        if (state.toObject().value(u"at"_s).toDouble() <= end)
            states.append(state);
    json[u"desktop"_s] = states;
    QJsonArray events;
    for (const QJsonValue &event : json.value(u"events"_s).toArray())
        if (event.toObject().value(u"at"_s).toDouble() <= end)
            events.append(event);
    json[u"events"_s] = events;
    const std::optional<VXScenario> scenario = VXScenario::fromJson(QJsonDocument(json).toJson(), error);
    if (!scenario)
        return VXValue();
    VXScenarioRunner runner(*scenario);
    return VXPropertyListSerialization::valueFromData(runner.run(error));
}

}   // namespace

TEST(CrashRecoveryTest, ARecoveredRecordEqualsTheDayQuitAtTheLastFlush)
{
    std::mt19937 random(20261125);
    int recoveredSomething = 0;
    for (int dayNumber = 0; dayNumber < 10; ++dayNumber) {
        const double end = quarter(random, 60, 300);
        const Day day = randomDay(random, end);
        // A crash anywhere, and right after what changes the tree or pauses tracking.
        std::vector<double> crashes {quarter(random, 0.25, end) - 0.125};
        for (double moment : day.moments)
            crashes.push_back(moment + 0.125 + 0.25 * std::uniform_int_distribution<int>(0, 30)(random));
        for (double crash : crashes) {
            if (crash <= 0 || crash > end)
                continue;
            SCOPED_TRACE(QJsonDocument(day.json).toJson(QJsonDocument::Compact).toStdString());
            SCOPED_TRACE("crash at " + std::to_string(crash));
            QString error;
            const VXValue recovered = run(day.json, crash, true, &error);
            ASSERT_TRUE(recovered.isDictionary()) << error.toStdString();
            const double lastFlush = recovered.dictionary()->value(VXLastTimestampKey).toDouble() - kStart;
            // At most the flush interval is lost (and what a pause kept from being tracked).
            ASSERT_LE(lastFlush, crash);
            if (lastFlush < 0) {
                // Killed before the first tick was saved: nothing to compare.
                continue;
            }
            VXValue clean = run(day.json, lastFlush + 0.125, false, &error);
            ASSERT_TRUE(clean.isDictionary()) << error.toStdString();
            VXCloseOpenPeriods(*clean.dictionary());
            EXPECT_EQ(vxtest::firstDifference(recovered, clean), "");
            if (crash - lastFlush < VXJournal::kFlushInterval + 1)
                ++recoveredSomething;
        }
    }
    // Most crashes come while tracking, within one flush interval of the last flush.
    EXPECT_GT(recoveredSomething, 10);
}
