// The Wayland adapters on their real compositors, each started headless by the test: sway
// (wlroots foreign-toplevel protocol), kwin_wayland (Plasma window management and the KWin script)
// and gnome-shell (Wendle's extension). Real windows (the test window, a Qt program) with known app
// ids and titles; focus moved, a title changed, windows closed, input injected, all through the
// compositor's own means; and Wendle itself run on each, its saved record checked against what
// the test did.

#include "VXGnomeShellDesktop.h"
#include "VXIdleReporter.h"
#include "VXKWinScriptDesktop.h"
#include "VXPresenceRecorder.h"
#include "VXPropertyListSerialization.h"
#include "VXTestProcess.h"
#include "VXTestSupport.h"
#include "VXToplevelDesktop.h"
#include "VXWaylandConnection.h"
#include "VXWaylandSession.h"
#include "VXWaylandTestRig.h"
#include "VXWindowTitles.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <tuple>

using namespace Qt::StringLiterals;

namespace {

using Compositor = VXWaylandTestRig::Compositor;

QString s(const char *text)
{
    return QString::fromUtf8(text);
}

const QString kAlphaId = s("org.wendle.Alpha");
const QString kBetaId = s("org.wendle.Beta");

// The rig, the test's desktop entries, and what the checks share.
class WaylandTest : public ::testing::Test
{
protected:
    explicit WaylandTest(Compositor family) : compositor(family) { }

    void SetUp() override
    {
        VXEnsureCoreApplication();
        options.compositor = compositor;
        for (const auto &[id, name] : {std::pair {kAlphaId, s("Alpha")}, std::pair {kBetaId, s("Beta")}})
            options.desktopEntries.emplace_back(
                id + s(".desktop"), u"[Desktop Entry]\nType=Application\nName=%1\nExec=%2\n"_s.arg(name, id).toUtf8());
        if (compositor == VXWaylandTestRig::GnomeShell) {
            options.extensionFolders << VXTestDataPath(s("platform/wayland/wendle-test@wendle"));
            options.enabledExtensions << s("wendle-test@wendle");
        }
    }

    bool startRig()
    {
        QString whyNot;
        if (rig.start(options, &whyNot))
            return true;
        skipReason = whyNot;
        return false;
    }

    QString entryPath(const QString &id) const { return rig.dataHome() + s("/applications/") + id + s(".desktop"); }

    // Takes snapshots, as the tracker's ticks would, until the predicate holds (the bound only
    // ends a test whose compositor never gets there, however loaded the machine).
    bool waitFor(VXDesktop &desktop, const std::function<bool()> &predicate, int timeoutMs = 30000)
    {
        return VXWaitUntil(
            [&] {
                desktop.takeSnapshot(snapshot);
                return predicate();
            },
            timeoutMs);
    }

    const VXRunningApplication *application(const QString &id) const
    {
        for (const VXRunningApplication &a : snapshot.runningApplications)
            if (a.bundleIdentifier == id)
                return &a;
        return nullptr;
    }
    QStringList titles() const
    {
        QStringList list;
        for (const VXWindowListEntry &w : snapshot.windows)
            list << w.title;
        return list;
    }
    bool inFront(const QString &id, const QString &title) const
    {
        return snapshot.frontmostApplicationPath == entryPath(id) && !snapshot.windows.empty()
            && snapshot.windows.front().title == title;
    }
    std::string state() const
    {
        return u"front <%1>, windows <%2>; the compositor's log ends:\n%3"_s
            .arg(snapshot.frontmostApplicationPath, titles().join(s("|")),
                 QString::fromUtf8(rig.compositorLog().right(1500)))
            .toStdString();
    }

    // The desktop and idle source the program would choose here.
    void choose()
    {
        choice = VXChooseWaylandDesktop();
        ASSERT_TRUE(choice.desktop) << choice.description.toStdString();
    }

    // What every family must do: focus, titles, windows closing, one application for two
    // processes, bringing to the front and quitting through the compositor, and idle.
    void exercise(VXToplevelDesktop &desktop, VXPresenceSource *idle);

    const Compositor compositor;
    VXWaylandTestRig::Options options;
    VXWaylandTestRig rig;
    QString skipReason;
    QTemporaryDir extension;
    VXWaylandChoice choice;
    VXDesktopSnapshot snapshot;
};

void WaylandTest::exercise(VXToplevelDesktop &desktop, VXPresenceSource *idle)
{
    // Each new window takes the focus, a moment after it is shown: the next starts once it has.
    std::unique_ptr<VXWaylandTestWindow> alpha, notes, beta;
    for (auto [window, id, title] :
         {std::tuple {&alpha, kAlphaId, s("Alpha document")}, std::tuple {&notes, kAlphaId, s("Alpha notes")},
          std::tuple {&beta, kBetaId, s("Beta document")}}) {
        *window = rig.startWindow(id, title);
        ASSERT_TRUE(*window) << rig.compositorLog().right(2000).constData();
        ASSERT_TRUE(waitFor(desktop, [&] { return inFront(id, title); })) << state();
    }
    EXPECT_EQ(titles().size(), 3) << state();

    ASSERT_TRUE(rig.focus(alpha->pid()));
    ASSERT_TRUE(waitFor(desktop, [&] { return inFront(kAlphaId, s("Alpha document")); })) << state();
    EXPECT_EQ(rig.focusedPid(), alpha->pid()) << "the compositor agrees";
    // Two processes, one application: both windows under one process identifier.
    const VXRunningApplication *alphaApplication = application(kAlphaId);
    ASSERT_TRUE(alphaApplication);
    EXPECT_EQ(alphaApplication->localizedName, s("Alpha"));
    EXPECT_EQ(alphaApplication->activationPolicy, VXActivationPolicy::Regular);
    if (compositor == VXWaylandTestRig::Sway)
        EXPECT_GE(alphaApplication->processIdentifier, VXToplevelMirror::kFirstOwnProcessIdentifier);
    else
        EXPECT_EQ(alphaApplication->processIdentifier, std::min(alpha->pid(), notes->pid()));
    int alphaWindows = 0;
    for (const VXWindowListEntry &w : snapshot.windows)
        alphaWindows += w.ownerPID == alphaApplication->processIdentifier;
    EXPECT_EQ(alphaWindows, 2) << state();

    ASSERT_TRUE(rig.focus(beta->pid()));
    ASSERT_TRUE(waitFor(desktop, [&] { return inFront(kBetaId, s("Beta document")); })) << state();
    EXPECT_EQ(rig.focusedPid(), beta->pid()) << "the compositor agrees";
    ASSERT_TRUE(beta->setTitle(0, s("Beta renamed")));
    ASSERT_TRUE(waitFor(desktop, [&] { return inFront(kBetaId, s("Beta renamed")); })) << state();
    EXPECT_FALSE(titles().contains(s("Beta document")));
    // A title of any length and with control characters never breaks a tick; it is cleaned.
    const QString wild = s("Wild\ttitle\x01\x7f ") + QString(3000, QChar(0xe9)) + s(" \U0001F600");
    ASSERT_TRUE(beta->setTitle(0, wild));
    ASSERT_TRUE(waitFor(desktop, [&] { return titles().first().startsWith(s("Wild")); })) << state();
    const QString cleaned = titles().first();
    EXPECT_TRUE(cleaned.startsWith(s("Wild title"))) << cleaned.left(40).toStdString();
    EXPECT_LE(cleaned.toUtf8().size(), kVXMaxWindowTitleBytes);
    EXPECT_FALSE(
        std::any_of(cleaned.begin(), cleaned.end(), [](QChar c) { return c.category() == QChar::Other_Control; }));
    ASSERT_TRUE(beta->setTitle(0, s("Beta renamed")));
    ASSERT_TRUE(waitFor(desktop, [&] { return inFront(kBetaId, s("Beta renamed")); })) << state();

    notes->quit();
    ASSERT_TRUE(waitFor(desktop, [&] { return !titles().contains(s("Alpha notes")); })) << state();
    EXPECT_TRUE(application(kAlphaId));

    // The organizer's operations, through the compositor.
    QString whyNot;
    ASSERT_TRUE(desktop.activateApplication(entryPath(kAlphaId), &whyNot)) << whyNot.toStdString();
    ASSERT_TRUE(waitFor(desktop, [&] { return inFront(kAlphaId, s("Alpha document")); })) << state();
    ASSERT_TRUE(desktop.quitApplication(entryPath(kBetaId), &whyNot)) << whyNot.toStdString();
    ASSERT_TRUE(waitFor(desktop, [&] { return !application(kBetaId); })) << state();
    EXPECT_TRUE(beta->waitForExit(30000)) << "the window was asked to close";
    EXPECT_FALSE(desktop.quitApplication(entryPath(kBetaId), &whyNot));
    EXPECT_FALSE(whyNot.isEmpty());

    if (!idle)
        return;
    // Idle: no input, no reports; input is reported within a second or so.
    VXPresenceRecorder counter;
    ASSERT_TRUE(idle->start(counter)) << idle->name().toStdString();
    VXSpinEventLoop(VXIdleReporter::kCoolingMs + 1000);
    const int quiet = counter.inputs();
    VXSpinEventLoop(VXIdleReporter::kCoolingMs + 500);
    EXPECT_EQ(counter.inputs(), quiet) << "nothing reported while idle";
    ASSERT_TRUE(rig.injectInput());
    EXPECT_TRUE(VXWaitUntil([&] { return counter.inputs() > quiet; }, 3000)) << "input after idling";
    VXSpinEventLoop(VXIdleReporter::kCoolingMs + 1000);
    const int after = counter.inputs();
    ASSERT_TRUE(rig.injectInput());
    EXPECT_TRUE(VXWaitUntil([&] { return counter.inputs() > after; }, 3000)) << "input after idling again";
    idle->stop();
}

class WaylandDesktop : public WaylandTest, public ::testing::WithParamInterface<Compositor>
{
protected:
    WaylandDesktop() : WaylandTest(GetParam()) { }
};

}   // namespace

TEST_P(WaylandDesktop, TracksFocusTitlesWindowsAndIdle)
{
    if (GetParam() == VXWaylandTestRig::GnomeShell) {
        // Wendle's extension is not there when the shell starts: Wendle installs it, enables it
        // and asks for a new login; after it (the shell started again) it tracks.
        if (!startRig())
            GTEST_SKIP() << skipReason.toStdString();
        VXLogCapture log("wendle.wayland");
        choose();
        auto *gnome = static_cast<VXGnomeShellDesktop *>(choice.desktop.get());
        ASSERT_TRUE(VXWaitUntil([&] { return gnome->state() == VXGnomeShellDesktop::State::NeedsLogin; }))
            << int(gnome->state());
        EXPECT_TRUE(gnome->notice().contains(s("log out and back in"))) << gnome->notice().toStdString();
        const QString installed = rig.dataHome() + s("/gnome-shell/extensions/") + VXGnomeShellDesktop::kExtensionUUID;
        EXPECT_TRUE(QFile::exists(installed + s("/extension.js")));
        EXPECT_TRUE(QFile::exists(installed + s("/metadata.json")));
        QByteArray enabled;
        ASSERT_TRUE(VXWaitUntil([&] {
            rig.run(s("gsettings"), {s("get"), s("org.gnome.shell"), s("enabled-extensions")}, 5000, &enabled);
            return enabled.contains(VXGnomeShellDesktop::kExtensionUUID.toUtf8());
        })) << enabled.constData();
        EXPECT_TRUE(enabled.contains("wendle-test@wendle")) << "the user's other extensions stay";
        QString whyNot;
        ASSERT_TRUE(rig.restartCompositor(&whyNot)) << whyNot.toStdString();
        ASSERT_TRUE(VXWaitUntil([&] { return gnome->state() == VXGnomeShellDesktop::State::Tracking; }, 15000))
            << int(gnome->state()) << rig.compositorLog().right(3000).constData();
        EXPECT_TRUE(gnome->notice().isEmpty());
        EXPECT_EQ(log.take().filter(s("log out and back in")).size(), 1) << "said once";

        // The user turns the extension off, then on again: said plainly, and tracked again.
        const auto extensions = [&](const char *method) {
            return rig.call(s("org.gnome.Shell"), s("/org/gnome/Shell"), s("org.gnome.Shell.Extensions"), s(method),
                            {VXGnomeShellDesktop::kExtensionUUID});
        };
        extensions("DisableExtension");
        ASSERT_TRUE(VXWaitUntil([&] { return gnome->state() == VXGnomeShellDesktop::State::Disabled; }));
        EXPECT_TRUE(gnome->notice().contains(s("turned off"))) << gnome->notice().toStdString();
        extensions("EnableExtension");
        ASSERT_TRUE(VXWaitUntil([&] { return gnome->state() == VXGnomeShellDesktop::State::Tracking; }));
        EXPECT_TRUE(gnome->notice().isEmpty());
        exercise(*gnome, choice.idleSources.empty() ? nullptr : choice.idleSources.front().get());
        return;
    }
    if (!startRig())
        GTEST_SKIP() << skipReason.toStdString();
    choose();
    if (GetParam() == VXWaylandTestRig::KWin)
        EXPECT_TRUE(choice.description.contains(s("org_kde_plasma_window_management")))
            << choice.description.toStdString();
    else
        EXPECT_TRUE(choice.description.contains(s("zwlr_foreign_toplevel_manager_v1")))
            << choice.description.toStdString();
    ASSERT_FALSE(choice.idleSources.empty());
    exercise(*choice.desktop, choice.idleSources.front().get());
}

INSTANTIATE_TEST_SUITE_P(Compositors, WaylandDesktop,
                         ::testing::Values(VXWaylandTestRig::Sway, VXWaylandTestRig::KWin,
                                           VXWaylandTestRig::GnomeShell),
                         [](const ::testing::TestParamInfo<Compositor> &parameter) {
                             return std::string(parameter.param == VXWaylandTestRig::Sway       ? "Sway"
                                                    : parameter.param == VXWaylandTestRig::KWin ? "KWin"
                                                                                                : "GnomeShell");
                         });

namespace {

class WaylandKWin : public WaylandTest
{
protected:
    WaylandKWin() : WaylandTest(VXWaylandTestRig::KWin) { }
};

class WaylandSway : public WaylandTest
{
protected:
    WaylandSway() : WaylandTest(VXWaylandTestRig::Sway) { }
};

}   // namespace

TEST_F(WaylandKWin, ScriptReportsTheDesktopAndIsLoadedAgainWhenKWinComesBack)
{
    if (!startRig())
        GTEST_SKIP() << skipReason.toStdString();
    VXLogCapture log("wendle.wayland");
    QString whyNot;
    auto desktop = VXKWinScriptDesktop::create({}, &whyNot);
    ASSERT_TRUE(desktop) << whyNot.toStdString();
    ASSERT_TRUE(VXWaitUntil([&] { return desktop->isScriptRunning(); })) << rig.compositorLog().right(3000).constData();
    exercise(*desktop, nullptr);
    if (HasFatalFailure())
        return;

    // KWin goes and comes back: the script is loaded again and reports the new desktop.
    ASSERT_TRUE(rig.restartCompositor(&whyNot)) << whyNot.toStdString();
    ASSERT_TRUE(VXWaitUntil([&] { return desktop->isScriptRunning(); }, 15000))
        << rig.compositorLog().right(3000).constData();
    auto beta = rig.startWindow(kBetaId, s("Beta after the restart"));
    ASSERT_TRUE(beta);
    ASSERT_TRUE(waitFor(*desktop, [&] { return inFront(kBetaId, s("Beta after the restart")); })) << state();
    const QStringList lines = log.take();
    EXPECT_EQ(lines.filter(s("KWin left the session bus")).size(), 1) << lines.join(s("\n")).toStdString();
    EXPECT_EQ(lines.filter(s("loading its script again")).size(), 1) << lines.join(s("\n")).toStdString();

    // Quitting unloads the script.
    desktop.reset();
    const QDBusMessage loaded = rig.call(s("org.kde.KWin"), s("/Scripting"), s("org.kde.kwin.Scripting"),
                                         s("isScriptLoaded"), {VXKWinScriptDesktop::kPluginName});
    ASSERT_FALSE(loaded.arguments().isEmpty());
    EXPECT_FALSE(loaded.arguments().constFirst().toBool());
}

TEST_F(WaylandSway, NoticesTheCompositorGoingAwayOnce)
{
    if (!startRig())
        GTEST_SKIP() << skipReason.toStdString();
    choose();
    auto window = rig.startWindow(kAlphaId, s("Alpha document"));
    ASSERT_TRUE(window);
    ASSERT_TRUE(waitFor(*choice.desktop, [&] { return inFront(kAlphaId, s("Alpha document")); })) << state();

    VXLogCapture log("wendle.wayland");
    int lost = 0;
    QObject::connect(choice.desktop.get(), &VXToplevelDesktop::connectionLost, [&] { ++lost; });
    window.reset();
    rig.killCompositor();
    ASSERT_TRUE(waitFor(*choice.desktop, [&] { return !choice.desktop->isConnected(); }));
    for (int tick = 0; tick < 5; ++tick)
        choice.desktop->takeSnapshot(snapshot);
    VXSpinEventLoop(200);
    EXPECT_EQ(lost, 1);
    EXPECT_TRUE(snapshot.runningApplications.empty());
    EXPECT_TRUE(snapshot.windows.empty());
    EXPECT_TRUE(snapshot.frontmostApplicationPath.isEmpty());
    EXPECT_EQ(log.take().filter(s("lost the connection to the Wayland compositor")).size(), 1);
    QString whyNot;
    EXPECT_FALSE(choice.desktop->activateApplication(entryPath(kAlphaId), &whyNot));
}

// Wendle itself on the compositor: two applications take turns in front, a title changes, then
// the end (SIGTERM, or the compositor going away); the saved record holds what the test did.
TEST_P(WaylandDesktop, WendleRecordsWhatTheTestDid)
{
    if (GetParam() == VXWaylandTestRig::GnomeShell) {
        // Wendle's extension, installed as Wendle installs it, and enabled before the shell starts.
        QProcess version;
        version.start(s("gnome-shell"), {s("--version")});
        if (!version.waitForFinished(10000))
            GTEST_SKIP() << "gnome-shell is not installed";
        const QString shellVersion
            = QString::fromUtf8(version.readAllStandardOutput()).section(QLatin1Char(' '), -1).trimmed();
        ASSERT_TRUE(extension.isValid());
        const QString folder = extension.filePath(VXGnomeShellDesktop::kExtensionUUID);
        for (const auto &[name, contents] :
             {std::pair {s("/extension.js"), VXGnomeShellDesktop::extensionScript(shellVersion)},
              std::pair {s("/metadata.json"), VXGnomeShellDesktop::extensionMetadata(shellVersion)}})
            ASSERT_TRUE(VXWriteFile(folder + name, contents));
        options.extensionFolders << folder;
        options.enabledExtensions << VXGnomeShellDesktop::kExtensionUUID;
    }
    if (!startRig())
        GTEST_SKIP() << skipReason.toStdString();
    auto alpha = rig.startWindow(kAlphaId, s("Alpha document"));
    auto beta = rig.startWindow(kBetaId, s("Beta document"));
    ASSERT_TRUE(alpha && beta);

    QProcessEnvironment environment = rig.environment();
    // No logind here: the program must say so and go on.
    if (GetParam() != VXWaylandTestRig::GnomeShell)
        environment.insert(s("DBUS_SYSTEM_BUS_ADDRESS"), s("unix:path=") + rig.temporaryPath() + s("/no-system-bus"));
    const auto wendle = [&](const QStringList &arguments) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(s(WENDLE_BINARY), arguments);
        process.waitForFinished(15000);
        return process.readAllStandardOutput() + process.readAllStandardError();
    };
    QByteArray status;
    const auto waitForFront = [&](const QString &name) {
        return VXWaitUntil(
            [&] {
                status = wendle({s("status")});
                return status.contains((s("Front: ") + name).toUtf8());
            },
            15000);
    };
    const auto now = [] { return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0; };

    QProcess program;
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::MergedChannels);
    program.start(s(WENDLE_BINARY), QStringList());
    ASSERT_TRUE(program.waitForStarted(5000));
    ASSERT_TRUE(VXWaitUntil([&] { return wendle({s("status")}).contains("Wendle is running"); }, 15000))
        << program.readAll().constData();
    // Without a tray Wendle opens a window of its own, which takes the focus; its own windows are
    // not tracked, so nothing is in front until the user goes back to work.
    ASSERT_TRUE(VXWaitUntil([&] { return rig.focusedPid() == program.processId(); }, 15000));
    EXPECT_TRUE(status.isEmpty() || !status.contains("Front: Alpha"));

    ASSERT_TRUE(rig.focus(alpha->pid()));
    ASSERT_TRUE(waitForFront(s("Alpha"))) << status.constData() << program.readAll().constData();
    const double started = now();
    EXPECT_TRUE(status.contains(GetParam() == VXWaylandTestRig::Sway       ? "wlroots foreign-toplevel"
                                    : GetParam() == VXWaylandTestRig::KWin ? "KWin script"
                                                                           : "GNOME Shell through Wendle's extension"))
        << status.constData();
    // What the adapter cannot see is said: on sway, processes and workspaces.
    EXPECT_EQ(status.contains("Not seen: "), GetParam() == VXWaylandTestRig::Sway) << status.constData();
    QThread::msleep(3000);
    const double switched = now();
    ASSERT_TRUE(rig.focus(beta->pid()));
    ASSERT_TRUE(waitForFront(s("Beta"))) << status.constData();
    ASSERT_TRUE(beta->setTitle(0, s("Beta renamed")));
    QThread::msleep(3000);
    status = wendle({s("status")});
    EXPECT_TRUE(status.contains("Beta renamed")) << status.constData();
    EXPECT_TRUE(status.contains("State: tracking")) << status.constData();

    // The end: on sway the compositor goes away (the session is over; Qt ends the program, which
    // saves first), elsewhere SIGTERM.
    const double stopped = now();
    const bool compositorGoes = GetParam() == VXWaylandTestRig::Sway;
    if (compositorGoes)
        rig.killCompositor();
    else
        ::kill(pid_t(program.processId()), SIGTERM);
    ASSERT_TRUE(program.waitForFinished(10000));
    const QByteArray log = program.readAll();
    if (compositorGoes) {
        EXPECT_TRUE(log.contains("quitting (the compositor went away): saving the record")) << log.constData();
    } else {
        EXPECT_EQ(program.exitStatus(), QProcess::NormalExit) << log.constData();
        EXPECT_EQ(program.exitCode(), 0) << log.constData();
    }

    QFile saved(rig.dataHome() + s("/Wendle/Configurations/Default.plist"));
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly)) << log.constData();
    const VXDictionaryRef configuration = deeplyMutableDictionaryWithData(saved.readAll());
    ASSERT_TRUE(configuration);
    const VXDictionary *applications = configuration->value(s("Applications")).dictionary();
    ASSERT_TRUE(applications);
    const VXDictionary *a = applications->value(kAlphaId).dictionary();
    const VXDictionary *b = applications->value(kBetaId).dictionary();
    ASSERT_TRUE(a && b) << log.constData();
    EXPECT_EQ(a->value(s("Name")).toString(), s("Alpha"));
    // Ticks come every half second, and the test's clock reads bracket the program's.
    const double tolerance = 1.0;
    EXPECT_NEAR(a->value(s("Front Time")).toDouble(), switched - started, tolerance);
    EXPECT_NEAR(b->value(s("Front Time")).toDouble(), stopped - switched, tolerance);
    const VXDictionary *alphaWindows = a->value(s("Windows By Name")).dictionary();
    const VXDictionary *betaWindows = b->value(s("Windows By Name")).dictionary();
    ASSERT_TRUE(alphaWindows && betaWindows);
    EXPECT_TRUE(alphaWindows->contains(s("Alpha document")));
    EXPECT_TRUE(betaWindows->contains(s("Beta renamed")));
    const VXDictionary *renamed = betaWindows->value(s("Beta renamed")).dictionary();
    ASSERT_TRUE(renamed);
    EXPECT_GT(renamed->value(s("Front Time")).toDouble(), 1.5);
    EXPECT_FALSE(applications->contains(s("wendle"))) << "Wendle's own window is not tracked";
}
