// `wendle simulate` on the stories in tests/app/scenarios, through the built program, with the
// times and logs worked out by hand. Times in the comments are seconds after the story's start;
// with an update interval of 1 second the ticks fall on whole seconds and the last one runs one
// second before "end" (timers due at the end do not run). An interval is credited to an item
// only when it was active at both ticks, so a switch between two ticks credits neither side.
//
// Then the scenarios the command refuses, the order of things at one instant, and the user's
// own files, which a simulation must never touch.

#include "VXPropertyListSerialization.h"
#include "VXScenario.h"
#include "VXScenarioRunner.h"
#include "VXSettingsTestSupport.h"
#include "VXTestProcess.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <initializer_list>

using namespace Qt::StringLiterals;

namespace {

// 2026-03-02 08:00 UTC, the start of the morning stories.
constexpr double kMonday = 1772438400;

struct Record {
    VXDictionaryRef configuration;

    const VXDictionary *application(const QString &identifier) const
    {
        const VXDictionary *applications = configuration->value(u"Applications"_s).dictionary();
        return applications ? applications->value(identifier).dictionary() : nullptr;
    }
    const VXDictionary *window(const QString &identifier, const QString &title) const
    {
        const VXDictionary *item = application(identifier);
        const VXDictionary *windows = item ? item->value(u"Windows By Name"_s).dictionary() : nullptr;
        return windows ? windows->value(title).dictionary() : nullptr;
    }
    // A pool, or a member or entry under it by names: pool(u"Thesis"_s, {u"Browser"_s, u"Thesis*"_s}).
    const VXDictionary *pool(const QString &name, std::initializer_list<QString> below = {}) const
    {
        const VXArray *level = configuration->value(u"Pools"_s).array();
        const VXDictionary *found = nullptr;
        std::vector<QString> names {name};
        names.insert(names.end(), below.begin(), below.end());
        for (const QString &step : names) {
            found = nullptr;
            const VXArray none;
            for (const VXValue &element : level ? *level : none) {
                if (element.dictionary() && element.dictionary()->value(u"Name"_s).toString() == step)
                    found = element.dictionary();
            }
            if (!found)
                return nullptr;
            level = found->value(u"Children"_s).array();
        }
        return found;
    }
    double timestamp(const QString &key) const { return configuration->value(key).toDouble(); }
};

double timeOf(const VXDictionary *item, const QString &key = u"Time"_s)
{
    return item ? item->value(key).toDouble() : -1.0;
}

double frontTimeOf(const VXDictionary *item)
{
    return timeOf(item, u"Front Time"_s);
}

// An event log as offsets from `start`: positive entries open a period, negative ones close it.
std::vector<double> logOf(const VXDictionary *item, const QString &key, double start)
{
    std::vector<double> offsets;
    const VXArray *log = item ? item->value(key).array() : nullptr;
    const VXArray none;
    for (const VXValue &entry : log ? *log : none) {
        const double value = entry.toDouble();
        offsets.push_back(value >= 0 ? value - start : -(-value - start));
    }
    return offsets;
}

std::vector<double> activeLog(const VXDictionary *item, double start)
{
    return logOf(item, u"Active Log"_s, start);
}

std::vector<double> frontLog(const VXDictionary *item, double start)
{
    return logOf(item, u"Front Active Log"_s, start);
}

QString scenarioPath(const QString &name)
{
    return VXTestDataPath(u"app/scenarios/"_s + name);
}

// Runs the built program on a scenario file and reads the record it wrote.
Record simulate(const QString &scenarioFile)
{
    QTemporaryDir folder;
    const QString output = folder.filePath(u"out.plist"_s);
    const VXProcessResult result
        = VXRunProcess(QStringLiteral(WENDLE_BINARY), {u"simulate"_s, scenarioFile, u"-o"_s, output});
    EXPECT_TRUE(result.started);
    EXPECT_EQ(result.exitCode, 0) << result.standardError.constData();
    QFile file(output);
    EXPECT_TRUE(file.open(QIODevice::ReadOnly)) << qPrintable(output);
    EXPECT_EQ(file.permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther), QFileDevice::Permissions());
    Record record {deeplyMutableDictionaryWithData(file.readAll())};
    EXPECT_TRUE(record.configuration) << "no binary property list in " << qPrintable(output);
    if (!record.configuration)
        record.configuration = VXMakeDictionary();
    return record;
}

// Runs a scenario given as JSON in this process.
Record simulateInProcess(const QByteArray &json)
{
    VXEnsureCoreApplication();
    QString error;
    const std::optional<VXScenario> scenario = VXScenario::fromJson(json, &error);
    EXPECT_TRUE(scenario) << qPrintable(error);
    if (!scenario)
        return Record {VXMakeDictionary()};
    VXScenarioRunner runner(*scenario);
    const QByteArray saved = runner.run(&error);
    EXPECT_FALSE(saved.isEmpty()) << qPrintable(error);
    VXDictionaryRef configuration = deeplyMutableDictionaryWithData(saved);
    return Record {configuration ? configuration : VXMakeDictionary()};
}

// One editor with one window in front from the start; `rest` goes after "desktop" (events, ...).
QByteArray editorDay(double end, const char *defaults, const char *rest)
{
    return QStringLiteral(R"({"start": %1, "end": %2, "defaults": {%3},
        "desktop": [{"at": 0, "front": "/apps/editor.desktop",
                     "applications": [{"name": "Editor", "identifier": "editor", "path": "/apps/editor.desktop", "pid": 100}],
                     "windows": [{"pid": 100, "title": "Report.odt"}]}]%4})")
        .arg(kMonday, 0, 'f', 0)
        .arg(end)
        .arg(QString::fromUtf8(defaults), QString::fromUtf8(rest))
        .toUtf8();
}

}   // namespace

TEST(SimulateStories, AMorningOfEditingAndBrowsing)
{
    // 08:00 the report in the editor; 09:00 mail in the browser; 09:30 back to the editor, where
    // a letter opens in front of the report; noon ends the story.
    const Record record = simulate(scenarioPath(u"morning.json"_s));

    // Editor in front 0-3599 and 5400-10799; the switches at 3600 and 5400 credit nobody.
    EXPECT_EQ(frontTimeOf(record.application(u"editor"_s)), 3599 + 5399);
    EXPECT_EQ(frontLog(record.application(u"editor"_s), kMonday), (std::vector<double> {0, -3599, 5400}));
    EXPECT_EQ(frontTimeOf(record.application(u"browser"_s)), 1799);
    EXPECT_EQ(frontLog(record.application(u"browser"_s), kMonday), (std::vector<double> {3600, -5399}));
    // Both run all morning.
    EXPECT_EQ(timeOf(record.application(u"editor"_s)), 10799);
    EXPECT_EQ(timeOf(record.application(u"browser"_s)), 10799);

    // The report is the editor's front window until the letter covers it.
    EXPECT_EQ(frontTimeOf(record.window(u"editor"_s, u"Report.odt"_s)), 3599);
    EXPECT_EQ(timeOf(record.window(u"editor"_s, u"Report.odt"_s)), 10799);
    EXPECT_EQ(frontTimeOf(record.window(u"editor"_s, u"Letter.odt"_s)), 5399);
    EXPECT_EQ(activeLog(record.window(u"editor"_s, u"Letter.odt"_s), kMonday), (std::vector<double> {5400}));
    // Mail is in front only while the browser is.
    EXPECT_EQ(frontTimeOf(record.window(u"browser"_s, u"Mail"_s)), 1799);

    EXPECT_EQ(record.timestamp(u"First Timestamp"_s), kMonday);
    EXPECT_EQ(record.timestamp(u"Last Timestamp"_s), kMonday + 10799);
    EXPECT_EQ(record.timestamp(u"Overall Time"_s), 10799);
}

TEST(SimulateStories, ALunchBreakCaughtByHibernation)
{
    // 11:00, input every four minutes until 12:00 (the last at 3600). After 300 idle seconds the
    // program hibernates at 3900, before the tick due then. At 13:00 (7200) the user is back and
    // keeps working until 13:30.
    const double start = kMonday + 3 * 3600;
    const Record record = simulate(scenarioPath(u"lunch.json"_s));
    const VXDictionary *editor = record.application(u"editor"_s);

    // 0-3899, then the first tick after the return is a gap: 7200-8999.
    EXPECT_EQ(frontTimeOf(editor), 3899 + 1799);
    EXPECT_EQ(timeOf(editor), 3899 + 1799);
    // The open periods close at the last tick before the break and reopen at the return.
    EXPECT_EQ(frontLog(editor, start), (std::vector<double> {0, -3899, 7200}));
    EXPECT_EQ(activeLog(record.window(u"editor"_s, u"Report.odt"_s), start), (std::vector<double> {0, -3899, 7200}));
    EXPECT_EQ(record.timestamp(u"Last Timestamp"_s), start + 8999);
}

TEST(SimulateStories, ALaptopLidClosedOvernight)
{
    // 17:00 to 18:00 at work; asleep from 18:00 (3600) until 08:00 the next morning (54000);
    // the story ends at 09:00. The night is never credited.
    const double start = kMonday + 9 * 3600;
    const Record record = simulate(scenarioPath(u"overnight.json"_s));
    const VXDictionary *editor = record.application(u"editor"_s);

    EXPECT_EQ(frontTimeOf(editor), 3599 + 3599);
    EXPECT_EQ(frontLog(editor, start), (std::vector<double> {0, -3599, 54000}));
    EXPECT_EQ(record.timestamp(u"Overall Time"_s), 7198);
    EXPECT_EQ(record.timestamp(u"Last Timestamp"_s), start + 57599);
}

TEST(SimulateStories, APoolBuiltFromTwoApplicationsAndAWindowTitle)
{
    // The pool "Thesis": the editor, the notes application, and browser windows titled
    // "Thesis*". Editor in front 0-1199; the browser's "Thesis sources" in front 1200-1799;
    // mail in front 1800-2399 (the thesis window stays open behind it); notes, launched at 2400,
    // in front until the end.
    const Record record = simulate(scenarioPath(u"pool.json"_s));

    // The pool stays in front across the switch from the editor to the thesis window, since it
    // was in front at both ticks: 0-1799; then from notes: 2400-2999.
    const VXDictionary *pool = record.pool(u"Thesis"_s);
    ASSERT_NE(pool, nullptr);
    EXPECT_EQ(frontTimeOf(pool), 1799 + 599);
    EXPECT_EQ(frontLog(pool, kMonday), (std::vector<double> {0, -1799, 2400}));
    // The editor runs all along, so the pool is active all along.
    EXPECT_EQ(timeOf(pool), 2999);

    EXPECT_EQ(frontTimeOf(record.pool(u"Thesis"_s, {u"Editor"_s})), 1199);
    EXPECT_EQ(timeOf(record.pool(u"Thesis"_s, {u"Notes"_s})), 599);
    // The browser member counts only through its matching window: open 1200-2999, in front
    // 1200-1799. Mail never counts.
    for (const VXDictionary *item :
         {record.pool(u"Thesis"_s, {u"Browser"_s}), record.pool(u"Thesis"_s, {u"Browser"_s, u"Thesis*"_s})}) {
        EXPECT_EQ(timeOf(item), 1799);
        EXPECT_EQ(frontTimeOf(item), 599);
        EXPECT_EQ(activeLog(item, kMonday), (std::vector<double> {1200}));
    }
    // The browser itself is in front 1200-2399 with either window.
    EXPECT_EQ(frontTimeOf(record.application(u"browser"_s)), 1199);
    EXPECT_EQ(record.timestamp(u"Overall Pool Time"_s), 2999);
}

TEST(SimulateStories, AnUndoAfterAReset)
{
    // The application timers are reset by mistake at 600 and the reset is undone at 900. Undo
    // brings back the tree as it was before the reset (last tick 599) and forces a tick, which
    // credits the second since the last tick (899-900) to it; the five minutes the reset tree
    // counted go with it. The open period from 0 was never closed.
    const Record record = simulate(scenarioPath(u"undo.json"_s));
    const VXDictionary *editor = record.application(u"editor"_s);

    EXPECT_EQ(frontTimeOf(editor), 599 + 1 + 899);
    EXPECT_EQ(frontLog(editor, kMonday), (std::vector<double> {0}));
    EXPECT_EQ(record.timestamp(u"First Timestamp"_s), kMonday);
    EXPECT_EQ(record.timestamp(u"Overall Time"_s), 599 + 1 + 899);
}

TEST(SimulateRunner, OrderAtOneInstantAndTheEnd)
{
    // Without events the last tick runs one interval before the end: the tick due at the end
    // does not.
    EXPECT_EQ(simulateInProcess(editorDay(60, R"("Update Interval": 1)", "")).timestamp(u"Last Timestamp"_s),
              kMonday + 59);
    // An event at the end is delivered before the program quits.
    EXPECT_EQ(
        simulateInProcess(editorDay(60, R"("Update Interval": 1)", R"(, "events": [{"at": 60, "type": "forceTick"}])"))
            .timestamp(u"Last Timestamp"_s),
        kMonday + 60);

    // A new interval set at 600 comes before the tick due at 600, which already schedules the
    // next one 2 seconds later: ticks at 600, 602, ..., 1200.
    const Record slower = simulateInProcess(
        editorDay(1201, R"("Update Interval": 1, "Hibernation Interval": 0)",
                  R"(, "events": [{"at": 600, "type": "setDefault", "key": "Update Interval", "value": 2}])"));
    EXPECT_EQ(slower.timestamp(u"Last Timestamp"_s), kMonday + 1200);
    EXPECT_EQ(frontTimeOf(slower.application(u"editor"_s)), 1200);

    // The idle countdown started at launch (interval 60) fires at 60 before the tick due then.
    const Record idle = simulateInProcess(editorDay(300, R"("Update Interval": 0.5, "Hibernation Interval": 60)", ""));
    EXPECT_EQ(frontTimeOf(idle.application(u"editor"_s)), 59.5);
    EXPECT_EQ(idle.timestamp(u"Last Timestamp"_s), kMonday + 59.5);
}

TEST(SimulateRunner, SuspendingByHandAndWakingUp)
{
    // Suspended by hand at 600 ("Wake Up Manually", deep hibernation): input does not wake the
    // program, the menu command at 1200 does, with no alert. 0-599 and 1200-1799.
    const Record manual = simulateInProcess(editorDay(1800, R"("Update Interval": 1, "Hibernation Interval": 0)", R"(,
        "events": [{"at": 600, "type": "suspendManual"}, {"at": 900, "type": "input"}, {"at": 1200, "type": "wakeUp"}])"));
    EXPECT_EQ(frontTimeOf(manual.application(u"editor"_s)), 599 + 599);
    EXPECT_EQ(frontLog(manual.application(u"editor"_s), kMonday), (std::vector<double> {0, -599, 1200}));

    // "Wake Up Automatically": the program hibernates shortly after and the next input wakes it.
    const Record automatic
        = simulateInProcess(editorDay(1800, R"("Update Interval": 1, "Hibernation Interval": 0)", R"(,
        "events": [{"at": 600, "type": "suspendAutomatic"}, {"at": 1200, "type": "input"}])"));
    const std::vector<double> log = frontLog(automatic.application(u"editor"_s), kMonday);
    ASSERT_EQ(log.size(), 3u);
    EXPECT_GE(-log[1], 600);
    EXPECT_LT(-log[1], 1200);
    EXPECT_EQ(log[2], 1200);
    EXPECT_EQ(frontTimeOf(automatic.application(u"editor"_s)), -log[1] + 599);

    // "wakeUp" while awake answers the alert with "Cancel": nothing changes.
    const Record cancelled
        = simulateInProcess(editorDay(1800, R"("Update Interval": 1, "Hibernation Interval": 0)", R"(,
        "events": [{"at": 600, "type": "wakeUp"}])"));
    EXPECT_EQ(frontTimeOf(cancelled.application(u"editor"_s)), 1799);
}

TEST(SimulateCommand, RefusesMalformedScenariosNamingTheField)
{
    struct Case {
        const char *json;
        const char *field;   // the message must name it
    };
    const Case cases[] = {
        {"[1, 2]", "scenario"},
        {"{\"start\": 0, \"end\": 10,", "scenario"},
        {R"({"end": 10})", "start"},
        {R"({"start": 0})", "end"},
        {R"({"start": 0, "end": 10, "colour": 1})", "colour"},
        {R"({"start": 0.1, "end": 10})", "start"},
        {R"({"start": 0, "end": 10.3})", "end"},
        {R"({"start": 0, "end": 10, "events": [{"at": 11, "type": "input"}]})", "events[0].at"},
        {R"({"start": 0, "end": 10, "events": [{"at": 2.0625, "type": "input"}]})", "events[0].at"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "input"}, {"at": 4, "type": "sleep"}]})",
         "events[1].at"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "dance"}]})", "events[0].type"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5}]})", "events[0].type"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "input", "key": "x"}]})", "events[0].key"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "setDefault", "key": "Color Scheme", "value": 1}]})",
         "events[0].key"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "setDefault", "key": "Update Interval"}]})",
         "events[0].value"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "setDefault", "key": "Update Interval", "value": 0.7}]})",
         "events[0].value"},
        {R"({"start": 0, "end": 10, "events": [{"at": 5, "type": "setDefault", "key": "Include Floating Windows", "value": 1}]})",
         "events[0].value"},
        {R"({"start": 0, "end": 10, "desktop": [{"at": 0}, {"at": 0}]})", "desktop[1].at"},
        {R"({"start": 0, "end": 10, "desktop": [{"at": 0, "windows": [{"title": "x"}]}]})",
         "desktop[0].windows[0].pid"},
        {R"({"start": 0, "end": 10, "desktop": [{"at": 0, "windows": [{"pid": 1, "shape": "round"}]}]})",
         "desktop[0].windows[0].shape"},
        {R"({"start": 0, "end": 10, "desktop": [{"at": 0, "applications": [{"name": "A", "path": "/a"}]}]})",
         "desktop[0].applications[0].pid"},
        {R"({"start": 0, "end": 10, "desktop": [{"at": 0, "applications": [{"name": "A", "path": "/a", "pid": 1.5}]}]})",
         "desktop[0].applications[0].pid"},
        {R"({"start": 0, "end": 10, "desktop": [{"at": 0, "front": 7}]})", "desktop[0].front"},
        {R"({"start": 0, "end": 10, "defaults": {"Auto-Export Reports": true}})", "defaults.Auto-Export Reports"},
        {R"({"start": 0, "end": 10, "defaults": {"Auto-Reset Pools": false}})", "defaults.Auto-Reset Pools"},
        {R"({"start": 0, "end": 10, "defaults": {"Update Interval": 0.9}})", "defaults.Update Interval"},
        {R"({"start": 0, "end": 10, "configuration": [1]})", "configuration"},
    };
    for (const Case &c : cases) {
        QString error;
        EXPECT_FALSE(VXScenario::fromJson(QByteArray(c.json), &error)) << c.json;
        EXPECT_TRUE(error.startsWith(QString::fromUtf8(c.field) + u':')) << c.json << " -> " << qPrintable(error);
    }

    // What the formats allows: an empty path (no bundle, skipped), intervals up to 0.5 off the
    // grid (they read as 0.5), null to remove a setting, free contents of the configuration.
    QString error;
    const auto accepted
        = VXScenario::fromJson(R"({"start": 0, "end": 10, "defaults": {"Update Interval": 0.3, "x": [1, {"y": null}]},
        "configuration": {"Anything": {"goes": true}},
        "desktop": [{"at": 0, "front": null, "applications": [{"name": "A", "path": null, "pid": 1, "regular": false}],
                     "windows": [{"pid": 1, "layer": 3, "onScreen": false, "orderedIn": false}]}],
        "events": [{"at": 10, "type": "setDefault", "key": "Hibernation Interval", "value": null}]})",
                               &error);
    ASSERT_TRUE(accepted) << qPrintable(error);
    EXPECT_TRUE(accepted->desktop[0].desktop.runningApplications[0].bundlePath.isEmpty());
    EXPECT_EQ(accepted->desktop[0].desktop.runningApplications[0].activationPolicy, VXActivationPolicy::Accessory);
    EXPECT_EQ(accepted->desktop[0].desktop.windows[0].layer, 3);
    EXPECT_FALSE(accepted->desktop[0].desktop.windows[0].orderedIn);
    EXPECT_TRUE(accepted->events[0].value.isNull());
    EXPECT_TRUE(accepted->configuration->value(u"Anything"_s).dictionary());

    // Through the program: exit status 2 and the field on standard error; 1 for a missing file.
    QTemporaryDir folder;
    const QString bad = folder.filePath(u"bad.json"_s);
    QFile file(bad);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"start": 0, "end": 10, "desktop": [{"at": 0, "windows": [{"title": "x"}]}]})");
    file.close();
    const VXProcessResult refused
        = VXRunProcess(QStringLiteral(WENDLE_BINARY), {u"simulate"_s, bad, u"-o"_s, folder.filePath(u"o.plist"_s)});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_TRUE(refused.standardError.contains("desktop[0].windows[0].pid: missing"))
        << refused.standardError.constData();
    EXPECT_FALSE(QFile::exists(folder.filePath(u"o.plist"_s)));
    const VXProcessResult missing
        = VXRunProcess(QStringLiteral(WENDLE_BINARY),
                       {u"simulate"_s, folder.filePath(u"none.json"_s), u"-o"_s, folder.filePath(u"o.plist"_s)});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_EQ(VXRunProcess(QStringLiteral(WENDLE_BINARY), {u"simulate"_s, bad}).exitCode, 2);
}

TEST(SimulateCommand, LeavesTheUsersOwnFilesAlone)
{
    // A user with a record and settings of their own.
    QTemporaryDir home;
    const QString data = home.filePath(u"data"_s);
    const QString config = home.filePath(u"config"_s);
    QDir().mkpath(data + u"/Wendle/Configurations"_s);
    QDir().mkpath(config + u"/Wendle"_s);
    const QByteArray record("not touched");
    for (const QString &path : {data + u"/Wendle/Configurations/Default.plist"_s, config + u"/Wendle/Wendle.plist"_s}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(record);
    }
    auto listing = [&] {
        QStringList files;
        QDirIterator it(home.path(), QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
        while (it.hasNext())
            files << it.next();
        files.sort();
        return files;
    };
    const QStringList before = listing();

    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home.path());
    environment.insert(u"XDG_DATA_HOME"_s, data);
    environment.insert(u"XDG_CONFIG_HOME"_s, config);
    process.setProcessEnvironment(environment);
    QTemporaryDir outside;
    process.start(QStringLiteral(WENDLE_BINARY),
                  {u"simulate"_s, scenarioPath(u"undo.json"_s), u"-o"_s, outside.filePath(u"out.plist"_s)});
    ASSERT_TRUE(process.waitForFinished(120000));
    EXPECT_EQ(process.exitCode(), 0) << process.readAllStandardError().constData();

    EXPECT_EQ(listing(), before);
    for (const QString &path : before) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_EQ(file.readAll(), record) << qPrintable(path);
    }
    EXPECT_TRUE(QFile::exists(outside.filePath(u"out.plist"_s)));
}
