// The Wayland adapters' shared mirror: toplevels grouped into applications through real desktop
// entries in a temporary folder, the activation history as the window order, the grace before
// "no active window" is believed, and a steady desktop costing no lookups. Also the idle reporter
// on a real event loop, and the Exec lines of desktop entries. No display.

#include "VXToplevelMirror.h"
#include "VXDesktopEntryLauncher.h"
#include "VXIdleReporter.h"
#include "VXPresenceRecorder.h"
#include "VXTestSupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class ToplevelMirror : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(folder.isValid());
        ASSERT_TRUE(VXWriteFile(folder.filePath(u"org.wendle.Alpha.desktop"_s),
                                "[Desktop Entry]\nType=Application\nName=Alpha\nExec=alpha\n"));
        ASSERT_TRUE(VXWriteFile(folder.filePath(u"beta.desktop"_s),
                                "[Desktop Entry]\nType=Application\nName=Beta\nExec=beta\nStartupWMClass=BetaClass\n"));
        VXToplevelMirror::Options options;
        options.applicationFolders = QStringList {folder.path()};
        options.localeName = u"C"_s;
        options.clock = [this] { return now; };
        mirror = std::make_unique<VXToplevelMirror>(options);
    }

    static VXToplevel toplevel(const QString &appId, const QString &title, std::int64_t pid = -1)
    {
        VXToplevel t;
        t.appId = appId;
        t.title = title;
        t.pid = pid;
        return t;
    }

    const VXRunningApplication *application(const QString &name)
    {
        for (const VXRunningApplication &a : snapshot.runningApplications)
            if (a.localizedName == name)
                return &a;
        return nullptr;
    }

    QStringList titles() const
    {
        QStringList list;
        for (const VXWindowListEntry &w : snapshot.windows)
            list.append(w.title);
        return list;
    }

    QTemporaryDir folder;
    std::int64_t now = 1000;
    std::unique_ptr<VXToplevelMirror> mirror;
    VXDesktopSnapshot snapshot;
};

}   // namespace

TEST_F(ToplevelMirror, GroupsToplevelsIntoOneApplicationPerDesktopEntry)
{
    // Two processes of Alpha, one toplevel of Beta known by its window class, and three without
    // entry: a program on PATH, a name that is none, and one with nothing to go by.
    mirror->setToplevel(1, toplevel(u"org.wendle.Alpha"_s, u"Alpha one"_s, 4000));
    mirror->setToplevel(2, toplevel(u"org.wendle.Alpha"_s, u"Alpha two"_s, 3000));
    VXToplevel beta = toplevel(QString(), u"Beta"_s);
    beta.windowClass = u"BetaClass"_s;
    mirror->setToplevel(3, beta);
    mirror->setToplevel(4, toplevel(u"sh"_s, u"Shell"_s));
    mirror->setToplevel(5, toplevel(u"no-such-program-anywhere"_s, u"Nowhere"_s));
    mirror->setToplevel(6, toplevel(QString(), u"Nameless"_s));
    mirror->takeSnapshot(snapshot);

    ASSERT_EQ(snapshot.runningApplications.size(), 4u);
    const VXRunningApplication *alpha = application(u"Alpha"_s);
    ASSERT_TRUE(alpha);
    EXPECT_EQ(alpha->bundleIdentifier, u"org.wendle.Alpha"_s);
    EXPECT_EQ(alpha->bundlePath, folder.filePath(u"org.wendle.Alpha.desktop"_s));
    EXPECT_EQ(alpha->processIdentifier, 3000) << "the lowest process of the application";
    const VXRunningApplication *betaApplication = application(u"Beta"_s);
    ASSERT_TRUE(betaApplication);
    EXPECT_GE(betaApplication->processIdentifier, VXToplevelMirror::kFirstOwnProcessIdentifier);
    const VXRunningApplication *shell = application(u"sh"_s);
    ASSERT_TRUE(shell);
    EXPECT_EQ(QFileInfo(shell->bundlePath).fileName(), u"sh"_s);
    EXPECT_TRUE(QFileInfo(shell->bundlePath).isAbsolute());
    const VXRunningApplication *nowhere = application(u"no-such-program-anywhere"_s);
    ASSERT_TRUE(nowhere);
    EXPECT_EQ(nowhere->bundlePath, u"no-such-program-anywhere"_s);
    EXPECT_NE(nowhere->processIdentifier, betaApplication->processIdentifier);

    // Both Alpha windows are listed under the application's one process; the nameless one is
    // not listed at all.
    int alphaWindows = 0;
    for (const VXWindowListEntry &w : snapshot.windows) {
        EXPECT_NE(w.title, u"Nameless"_s);
        alphaWindows += w.ownerPID == 3000;
    }
    EXPECT_EQ(alphaWindows, 2);
    EXPECT_EQ(snapshot.windows.size(), 5u);

    // The made-up process identifiers stay while the application runs, even when others come
    // and go; the lowest process leaving hands the application to the next.
    const std::int64_t betaPid = betaApplication->processIdentifier;
    mirror->removeToplevel(5);
    mirror->removeToplevel(2);
    mirror->setToplevel(7, toplevel(u"another-missing-program"_s, u"Later"_s));
    mirror->takeSnapshot(snapshot);
    ASSERT_TRUE(application(u"Beta"_s));
    EXPECT_EQ(application(u"Beta"_s)->processIdentifier, betaPid);
    EXPECT_EQ(application(u"Alpha"_s)->processIdentifier, 4000);
    EXPECT_EQ(mirror->toplevelsOfApplication(application(u"Alpha"_s)->bundlePath),
              std::vector<VXToplevelMirror::Id> {1});
}

TEST_F(ToplevelMirror, OrdersWindowsByActivationAndTellsTheFrontmostApplication)
{
    mirror->setToplevel(1, toplevel(u"org.wendle.Alpha"_s, u"A1"_s, 10));
    mirror->setToplevel(2, toplevel(u"beta"_s, u"B1"_s, 20));
    mirror->setToplevel(3, toplevel(u"org.wendle.Alpha"_s, u"A2"_s, 10));
    mirror->takeSnapshot(snapshot);
    EXPECT_EQ(titles(), (QStringList {u"A1"_s, u"B1"_s, u"A2"_s})) << "never activated: oldest first";
    EXPECT_TRUE(snapshot.frontmostApplicationPath.isEmpty());

    mirror->setActive(3);
    mirror->setActive(2);
    // Named active before the compositor described it: in front once it is there.
    mirror->setActive(4);
    mirror->setToplevel(4, toplevel(u"beta"_s, u"B2"_s, 20));
    VXToplevel minimised = toplevel(u"beta"_s, u"B1"_s, 20);
    minimised.minimized = true;
    mirror->setToplevel(2, minimised);
    mirror->setTitle(3, u"A2 renamed"_s);
    mirror->takeSnapshot(snapshot);
    EXPECT_EQ(titles(), (QStringList {u"B2"_s, u"A2 renamed"_s, u"A1"_s, u"B1"_s}))
        << "front to back by activation; the minimised window after those on screen";
    EXPECT_FALSE(snapshot.windows.back().onScreen);
    EXPECT_FALSE(snapshot.windows.back().orderedIn);
    EXPECT_EQ(snapshot.frontmostApplicationPath, folder.filePath(u"beta.desktop"_s));

    // "No active window" for a moment, as KWin says between two activations, changes nothing;
    // once it lasts, nothing is in front.
    mirror->setActive(std::nullopt);
    now += VXToplevelMirror::kNoActiveGraceMs - 1;
    mirror->takeSnapshot(snapshot);
    EXPECT_EQ(snapshot.frontmostApplicationPath, folder.filePath(u"beta.desktop"_s));
    mirror->setActive(1);
    mirror->takeSnapshot(snapshot);
    EXPECT_EQ(snapshot.frontmostApplicationPath, folder.filePath(u"org.wendle.Alpha.desktop"_s));
    mirror->setActive(std::nullopt);
    now += VXToplevelMirror::kNoActiveGraceMs;
    mirror->takeSnapshot(snapshot);
    EXPECT_TRUE(snapshot.frontmostApplicationPath.isEmpty());

    // The active window closing leaves nothing in front at once.
    mirror->setActive(4);
    mirror->removeToplevel(4);
    mirror->takeSnapshot(snapshot);
    EXPECT_TRUE(snapshot.frontmostApplicationPath.isEmpty());
}

TEST_F(ToplevelMirror, SteadyTicksLookNothingUp)
{
    for (VXToplevelMirror::Id id = 1; id <= 50; ++id)
        mirror->setToplevel(id,
                            toplevel(id % 2 ? u"org.wendle.Alpha"_s : u"unknown-app"_s, u"Window %1"_s.arg(id),
                                     id % 2 ? std::int64_t(id) : -1));
    mirror->setActive(7);
    mirror->takeSnapshot(snapshot);
    const VXToplevelMirror::Statistics first = mirror->statistics();
    EXPECT_EQ(first.resolutions, 50);
    EXPECT_EQ(first.executableSearches, 1) << "one search per app id";
    for (int tick = 0; tick < 20; ++tick)
        mirror->takeSnapshot(snapshot);
    // A title changing and a window appearing look up only what is new.
    mirror->setTitle(7, u"Renamed"_s);
    mirror->setToplevel(51, toplevel(u"unknown-app"_s, u"New"_s));
    mirror->takeSnapshot(snapshot);
    const VXToplevelMirror::Statistics after = mirror->statistics();
    EXPECT_EQ(after.resolutions, 51);
    EXPECT_EQ(after.executableSearches, first.executableSearches);
    EXPECT_EQ(after.processReads, first.processReads);
    EXPECT_EQ(after.desktopEntryIndexBuilds, first.desktopEntryIndexBuilds);
    EXPECT_EQ(snapshot.windows.front().title, u"Renamed"_s);
}

TEST(VXIdleReporter, ReportsInputOnceASecondAndNothingWhileIdle)
{
    VXEnsureCoreApplication();
    VXIdleReporter reporter;
    VXPresenceRecorder observer;
    const auto settle = [] { VXSpinEventLoop(VXIdleReporter::kCoolingMs + 150); };

    // Idle at the start: nothing to report.
    reporter.start(observer);
    reporter.idled();
    settle();
    EXPECT_EQ(observer.inputs(), 0);

    // Input after idling is reported at once; the compositor staying quiet (no "idled") for a
    // second means more input came: reported after the second, not before.
    reporter.resumed();
    EXPECT_EQ(observer.inputs(), 1);
    settle();
    EXPECT_EQ(observer.inputs(), 2);
    reporter.idled();
    settle();
    EXPECT_EQ(observer.inputs(), 2);

    // Input that came and went within the second after a report is reported at its end.
    reporter.resumed();
    reporter.idled();
    reporter.resumed();
    reporter.idled();
    EXPECT_EQ(observer.inputs(), 3);
    settle();
    EXPECT_EQ(observer.inputs(), 4);
    settle();
    EXPECT_EQ(observer.inputs(), 4);

    reporter.stop();
    reporter.resumed();
    settle();
    EXPECT_EQ(observer.inputs(), 4);
}

TEST(VXDesktopEntryLauncher, SplitsExecLinesAndLaunchesEntries)
{
    const struct {
        const char *exec;
        QStringList words;
    } rows[] = {
        {"gedit %U", {u"gedit"_s}},
        {"/usr/bin/app --new-window %f --name=%c", {u"/usr/bin/app"_s, u"--new-window"_s, u"--name=Editor"_s}},
        {"\"/opt/My App/run\" \"a \\\"quoted\\\" word\" 100%%",
         {u"/opt/My App/run"_s, u"a \"quoted\" word"_s, u"100%"_s}},
        {"  spaced   out  ", {u"spaced"_s, u"out"_s}},
        {"broken \"quote", {}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.exec);
        EXPECT_EQ(VXSplitExecLine(QString::fromUtf8(row.exec), u"Editor"_s), row.words);
    }

    // A real launch: the entry's program runs in the entry's folder.
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    const QString marker = folder.filePath(u"launched"_s);
    const QString entry = folder.filePath(u"touch.desktop"_s);
    ASSERT_TRUE(VXWriteFile(entry,
                            QStringLiteral("[Desktop Action x]\nExec=false\n[Desktop Entry]\nName=Touch\nPath=%1\n"
                                           "Exec=touch launched %U\n")
                                .arg(folder.path())
                                .toUtf8()));
    QString whyNot;
    ASSERT_TRUE(VXLaunchApplication(entry, &whyNot)) << whyNot.toStdString();
    EXPECT_TRUE(VXWaitUntil([&] { return QFileInfo::exists(marker); }, 5000));
    EXPECT_FALSE(VXLaunchApplication(folder.filePath(u"missing.desktop"_s), &whyNot));
    EXPECT_TRUE(whyNot.contains(u"missing.desktop"_s)) << whyNot.toStdString();
}
