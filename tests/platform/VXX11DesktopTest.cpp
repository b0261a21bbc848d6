// The X11 desktop adapter against a real X server (Xvfb), a real window manager (openbox) and
// real clients (the test client, xterm, xmessage), driven with xdotool and wmctrl.

#include "VXX11Desktop.h"
#include "VXTestSupport.h"
#include "VXWindowTitles.h"
#include "VXX11RigSuite.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>

using namespace Qt::StringLiterals;

namespace {

using Predicate = std::function<bool(const VXDesktopSnapshot &)>;

// Takes snapshots until the predicate holds (as a tracker would, tick after tick), at most timeoutMs.
bool waitUntil(VXX11Desktop &desktop, VXDesktopSnapshot &snapshot, const Predicate &predicate, int timeoutMs = 5000)
{
    QElapsedTimer timer;
    timer.start();
    while (true) {
        desktop.takeSnapshot(snapshot);
        if (predicate(snapshot))
            return true;
        if (timer.elapsed() > timeoutMs)
            return false;
        QThread::msleep(10);
    }
}

const VXWindowListEntry *findWindow(const VXDesktopSnapshot &snapshot, std::uint64_t number)
{
    for (const VXWindowListEntry &entry : snapshot.windows) {
        if (entry.number == number)
            return &entry;
    }
    return nullptr;
}

const VXRunningApplication *findApplication(const VXDesktopSnapshot &snapshot, std::int64_t pid)
{
    for (const VXRunningApplication &application : snapshot.runningApplications) {
        if (application.processIdentifier == pid)
            return &application;
    }
    return nullptr;
}

const VXRunningApplication *findApplication(const VXDesktopSnapshot &snapshot, const QString &bundlePath)
{
    for (const VXRunningApplication &application : snapshot.runningApplications) {
        if (application.bundlePath == bundlePath)
            return &application;
    }
    return nullptr;
}

Predicate hasWindow(std::uint64_t number)
{
    return [number](const VXDesktopSnapshot &s) { return findWindow(s, number) != nullptr; };
}

Predicate lacksWindow(std::uint64_t number)
{
    return [number](const VXDesktopSnapshot &s) { return findWindow(s, number) == nullptr; };
}

QString testClientPath()
{
    return QFileInfo(QStringLiteral(WENDLE_X11_TEST_CLIENT)).canonicalFilePath();
}

// Sets a property of a window (or of the root) through the rig's own connection, and waits until
// the server has it.
void setProperty(VXX11TestRig &rig, std::uint32_t window, const char *name, const char *type, std::uint8_t format,
                 const void *data, std::size_t count)
{
    xcb_connection_t *c = rig.connection();
    const auto intern = [&](const char *atomName) {
        std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
            xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, uint16_t(std::strlen(atomName)), atomName), nullptr),
            &std::free);
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    };
    xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, intern(name), intern(type), format, uint32_t(count), data);
    std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

void setText(VXX11TestRig &rig, std::uint32_t window, const char *name, const char *type, const QByteArray &bytes)
{
    setProperty(rig, window, name, type, 8, bytes.constData(), std::size_t(bytes.size()));
}

class VXX11DesktopTest : public VXX11RigSuite<VXX11DesktopTest>
{
public:
    static QStringList rigPrograms() { return {u"xdotool"_s, u"wmctrl"_s}; }
    static VXX11TestRig::Options rigOptions() { return {}; }

protected:
    void SetUp() override
    {
        VXX11RigSuite::SetUp();
        if (IsSkipped())
            return;
        m_applications = m_temporary.filePath(u"applications"_s);
        QDir().mkpath(m_applications);
    }

    std::unique_ptr<VXX11Desktop> connectDesktop()
    {
        VXX11Desktop::Options options;
        options.display = s_rig->display();
        options.applicationFolders = QStringList {m_applications};
        options.localeName = u"de_DE"_s;
        QString whyNot;
        auto desktop = VXX11Desktop::connect(options, &whyNot);
        EXPECT_TRUE(desktop) << whyNot.toStdString();
        return desktop;
    }

    std::unique_ptr<VXX11TestClient> client(const QStringList &arguments)
    {
        auto started = s_rig->startTestClient(arguments);
        EXPECT_TRUE(started) << "the test client did not start with " << arguments.join(u' ').toStdString();
        return started;
    }

    bool xdotool(const QStringList &arguments) { return s_rig->run(u"xdotool"_s, arguments, 5000); }

    // Test clients are all one executable, so without an entry of their own they are one
    // application: this gives a client a desktop entry (and the window class that finds it).
    QStringList ownApplication(const QString &name)
    {
        EXPECT_TRUE(VXWriteFile(m_applications + u'/' + name + u".desktop"_s,
                                "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() + "\nExec=x\n"));
        return {u"--class"_s, name + u',' + name};
    }

    QTemporaryDir m_temporary;
    QString m_applications;
};

}   // namespace

TEST_F(VXX11DesktopTest, FrontmostApplicationFollowsTheActiveWindow)
{
    ASSERT_TRUE(VXWriteFile(m_applications + u"/wendle-alpha.desktop"_s,
                            "[Desktop Entry]\nType=Application\nName=Alpha\nExec=alpha\n"));
    ASSERT_TRUE(VXWriteFile(m_applications + u"/wendle-beta.desktop"_s,
                            "[Desktop Entry]\nType=Application\nName=Beta\nExec=beta\n"));
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    EXPECT_TRUE(desktop->hasWindowManager());
    auto alpha = client({u"--title"_s, u"Alpha document"_s, u"--class"_s, u"wendle-alpha,Wendle-alpha"_s});
    auto beta = client({u"--title"_s, u"Beta document"_s, u"--class"_s, u"wendle-beta,Wendle-beta"_s});
    ASSERT_TRUE(alpha && beta);
    const QString alphaPath = m_applications + u"/wendle-alpha.desktop"_s;
    const QString betaPath = m_applications + u"/wendle-beta.desktop"_s;

    VXDesktopSnapshot snapshot;
    for (int round = 0; round < 2; ++round) {
        for (const auto &[who, path] : {std::pair {alpha.get(), alphaPath}, std::pair {beta.get(), betaPath}}) {
            ASSERT_TRUE(xdotool({u"windowactivate"_s, u"--sync"_s, who->windowText(0)}));
            ASSERT_TRUE(waitUntil(*desktop, snapshot,
                                  [&](const VXDesktopSnapshot &s) {
                                      return s.frontmostApplicationPath == path && !s.windows.empty()
                                          && s.windows.front().number == who->windows()[0];
                                  }))
                << "front: " << snapshot.frontmostApplicationPath.toStdString();
        }
    }
    const VXRunningApplication *alphaApplication = findApplication(snapshot, alpha->pid());
    ASSERT_NE(alphaApplication, nullptr);
    EXPECT_EQ(alphaApplication->localizedName, u"Alpha"_s);
    EXPECT_EQ(alphaApplication->bundleIdentifier, u"wendle-alpha"_s);
    EXPECT_EQ(alphaApplication->activationPolicy, VXActivationPolicy::Regular);
    // Windows front to back: beta in front, alpha behind it.
    const auto betaAt = std::find_if(snapshot.windows.begin(), snapshot.windows.end(),
                                     [&](const VXWindowListEntry &e) { return e.number == beta->windows()[0]; });
    const auto alphaAt = std::find_if(snapshot.windows.begin(), snapshot.windows.end(),
                                      [&](const VXWindowListEntry &e) { return e.number == alpha->windows()[0]; });
    EXPECT_LT(betaAt, alphaAt);

    // A real client without a desktop entry: xterm sets _NET_WM_PID and WM_NAME only.
    if (!VXX11TestRig::missingProgram({u"xterm"_s}).isEmpty())
        return;
    QProcess *xterm = s_rig->startProgram(u"xterm"_s, {u"-T"_s, u"Terminal ümlaut"_s, u"-e"_s, u"sleep"_s, u"60"_s});
    const std::int64_t xtermPid = xterm->processId();
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return std::any_of(s.windows.begin(), s.windows.end(),
                           [&](const VXWindowListEntry &e) { return e.ownerPID == xtermPid; });
    }));
    const auto xtermWindow = std::find_if(snapshot.windows.begin(), snapshot.windows.end(),
                                          [&](const VXWindowListEntry &e) { return e.ownerPID == xtermPid; });
    EXPECT_EQ(xtermWindow->title, u"Terminal ümlaut"_s);
    ASSERT_TRUE(xdotool({u"windowactivate"_s, u"--sync"_s, QString::number(xtermWindow->number)}));
    const QString xtermExecutable = QFileInfo(u"/proc/%1/exe"_s.arg(xtermPid)).canonicalFilePath();
    ASSERT_TRUE(waitUntil(*desktop, snapshot,
                          [&](const VXDesktopSnapshot &s) { return s.frontmostApplicationPath == xtermExecutable; }))
        << "front: " << snapshot.frontmostApplicationPath.toStdString();
    const VXRunningApplication *xtermApplication = findApplication(snapshot, xtermPid);
    ASSERT_NE(xtermApplication, nullptr);
    EXPECT_EQ(xtermApplication->localizedName, u"XTerm"_s);
    EXPECT_TRUE(xtermApplication->bundleIdentifier.isEmpty());
    xterm->kill();
    xterm->waitForFinished(3000);
}

TEST_F(VXX11DesktopTest, TitleChangesCostOneBatchAndASteadyDesktopNone)
{
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    auto editor = client({u"--title"_s, u"First title"_s, u"--count"_s, u"3"_s});
    auto latin = client({u"--title"_s, u"Café Straße"_s, u"--no-net-wm-name"_s});
    ASSERT_TRUE(editor && latin);
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return findWindow(s, editor->windows()[2]) && findWindow(s, latin->windows()[0]);
    }));
    // WM_NAME as a Latin-1 STRING, no _NET_WM_NAME.
    EXPECT_EQ(findWindow(snapshot, latin->windows()[0])->title, u"Café Straße"_s);
    EXPECT_EQ(findWindow(snapshot, editor->windows()[1])->title, u"First title 2"_s);

    // Let the window manager finish with the new windows, then: no request at all per tick.
    QThread::msleep(300);
    desktop->takeSnapshot(snapshot);
    const VXDesktopSnapshot settled = snapshot;
    const VXX11Desktop::Statistics before = desktop->statistics();
    for (int tick = 0; tick < 100; ++tick)
        desktop->takeSnapshot(snapshot);
    const VXX11Desktop::Statistics steady = desktop->statistics();
    EXPECT_EQ(steady.requests, before.requests);
    EXPECT_EQ(steady.roundTrips, before.roundTrips);
    EXPECT_EQ(steady.processReads, before.processReads);
    EXPECT_EQ(steady.desktopEntryIndexBuilds, before.desktopEntryIndexBuilds);
    ASSERT_EQ(snapshot.windows.size(), settled.windows.size());
    for (std::size_t i = 0; i < snapshot.windows.size(); ++i) {
        EXPECT_EQ(snapshot.windows[i].number, settled.windows[i].number);
        EXPECT_EQ(snapshot.windows[i].title, settled.windows[i].title);
    }

    // A new title is seen at the next snapshot, for the two name properties the client rewrote,
    // in one round trip; nothing else is read and no application is looked up again.
    ASSERT_TRUE(editor->command(u"title 1 Zweiter Titel ✓"_s));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        const VXWindowListEntry *entry = findWindow(s, editor->windows()[1]);
        return entry && entry->title == u"Zweiter Titel ✓"_s;
    }));
    const VXX11Desktop::Statistics changed = desktop->statistics();
    EXPECT_LE(changed.requests - steady.requests, 2u);
    EXPECT_GE(changed.requests - steady.requests, 1u);
    EXPECT_LE(changed.roundTrips - steady.roundTrips, 2u);
    EXPECT_EQ(changed.processReads, steady.processReads);
    EXPECT_EQ(findWindow(snapshot, editor->windows()[0])->title, u"First title 1"_s);
}

TEST_F(VXX11DesktopTest, HostileTitlesComeOutClean)
{
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    auto editor = client({u"--title"_s, u"Plain"_s, u"--count"_s, u"3"_s});
    ASSERT_TRUE(editor);
    const std::uint32_t broken = editor->windows()[0];
    const std::uint32_t latin = editor->windows()[1];
    const std::uint32_t longest = editor->windows()[2];
    // A NUL byte, invalid UTF-8 and a line break in the EWMH name; control characters in a
    // Latin-1 WM_NAME; a name of 9000 bytes of three-byte characters, read up to 4096 bytes,
    // which ends inside one.
    setText(*s_rig, broken, "_NET_WM_NAME", "UTF8_STRING", QByteArray("Report") + '\0' + " draft \xff\xfe\nend");
    setText(*s_rig, latin, "_NET_WM_NAME", "STRING", "ignored: not UTF8_STRING");
    setText(*s_rig, latin, "WM_NAME", "STRING", "Caf\xe9\x07\x1b[2J menu");
    QByteArray euros;
    for (int i = 0; i < 3000; ++i)
        euros += "\xe2\x82\xac";
    setText(*s_rig, longest, "_NET_WM_NAME", "UTF8_STRING", euros);

    VXDesktopSnapshot snapshot;
    const QString expectedBroken = u"Report draft \uFFFD\uFFFD end"_s;
    const QString expectedLongest(kVXMaxWindowTitleBytes / 3, QChar(0x20AC));
    ASSERT_TRUE(waitUntil(*desktop, snapshot,
                          [&](const VXDesktopSnapshot &s) {
                              const VXWindowListEntry *a = findWindow(s, broken);
                              const VXWindowListEntry *b = findWindow(s, latin);
                              const VXWindowListEntry *c = findWindow(s, longest);
                              return a && b && c && a->title == expectedBroken && b->title == u"Café[2J menu"_s
                                  && c->title == expectedLongest;
                          }))
        << findWindow(snapshot, broken)->title.toStdString() << " / "
        << findWindow(snapshot, latin)->title.toStdString() << " / " << findWindow(snapshot, longest)->title.size()
        << " characters";
}

TEST_F(VXX11DesktopTest, MinimisedAndOtherDesktopWindowsAreOffScreen)
{
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    auto editor = client({u"--title"_s, u"Page"_s, u"--count"_s, u"3"_s});
    ASSERT_TRUE(editor);
    const std::uint32_t minimised = editor->windows()[0];
    const std::uint32_t elsewhere = editor->windows()[1];
    const std::uint32_t visible = editor->windows()[2];
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(visible)));

    ASSERT_TRUE(xdotool({u"windowminimize"_s, u"--sync"_s, QString::number(minimised)}));
    ASSERT_TRUE(xdotool({u"set_desktop_for_window"_s, QString::number(elsewhere), u"1"_s}));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        const VXWindowListEntry *a = findWindow(s, minimised);
        const VXWindowListEntry *b = findWindow(s, elsewhere);
        return a && b && !a->onScreen && !b->onScreen;
    }));
    const VXWindowListEntry *a = findWindow(snapshot, minimised);
    const VXWindowListEntry *b = findWindow(snapshot, elsewhere);
    const VXWindowListEntry *c = findWindow(snapshot, visible);
    ASSERT_TRUE(c);
    EXPECT_FALSE(a->orderedIn);   // minimised: not ordered in
    EXPECT_TRUE(b->orderedIn);   // on another desktop: ordered in
    EXPECT_TRUE(c->onScreen);
    EXPECT_TRUE(c->orderedIn);
    // On-screen windows come before the others.
    EXPECT_LT(c, a);
    EXPECT_LT(c, b);

    // Going to the other desktop brings that window on screen and takes the visible one off.
    ASSERT_TRUE(xdotool({u"set_desktop"_s, u"1"_s}));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        const VXWindowListEntry *x = findWindow(s, elsewhere);
        const VXWindowListEntry *y = findWindow(s, visible);
        return x && y && x->onScreen && !y->onScreen && y->orderedIn;
    }));
    ASSERT_TRUE(xdotool({u"set_desktop"_s, u"0"_s}));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        const VXWindowListEntry *y = findWindow(s, visible);
        return y && y->onScreen;
    }));
}

TEST_F(VXX11DesktopTest, LayersAndDesktopElements)
{
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    // A dock is a desktop element: never listed; its process is no regular application, nor is
    // one whose only window skips the taskbar.
    enum Layer { Normal, Floating, PopUpMenu, Unlisted };
    struct Row {
        QString title, option, value, application;
        Layer layer;
        VXActivationPolicy policy;
    };
    const Row rows[] = {
        {u"Normal"_s, {}, {}, u"wendle-normal"_s, Normal, VXActivationPolicy::Regular},
        {u"Above"_s, u"--state"_s, u"above"_s, {}, Floating, VXActivationPolicy::Regular},
        {u"Dialog"_s, u"--type"_s, u"dialog"_s, {}, Normal, VXActivationPolicy::Regular},
        {u"Palette"_s, u"--type"_s, u"utility"_s, u"wendle-utility"_s, Floating, VXActivationPolicy::Regular},
        {u"Menu"_s, u"--type"_s, u"popup_menu"_s, {}, PopUpMenu, VXActivationPolicy::Regular},
        {u"Panel"_s, u"--type"_s, u"dock"_s, u"wendle-dock"_s, Unlisted, VXActivationPolicy::Accessory},
        {u"Helper"_s, u"--state"_s, u"skip_taskbar"_s, u"wendle-helper"_s, Normal, VXActivationPolicy::Accessory},
    };
    std::vector<std::unique_ptr<VXX11TestClient>> clients;
    for (const Row &row : rows) {
        QStringList arguments {u"--title"_s, row.title};
        if (!row.option.isEmpty())
            arguments << row.option << row.value;
        if (!row.application.isEmpty())
            arguments += ownApplication(row.application);
        clients.push_back(client(arguments));
        ASSERT_TRUE(clients.back());
    }
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        for (std::size_t i = 0; i < clients.size(); ++i) {
            if ((!rows[i].application.isEmpty() && !findApplication(s, clients[i]->pid()))
                || (rows[i].layer != Unlisted && !findWindow(s, clients[i]->windows()[0])))
                return false;
        }
        return true;
    }));
    EXPECT_LT(snapshot.floatingWindowLevel, snapshot.popUpMenuWindowLevel);
    const int levels[] = {0, snapshot.floatingWindowLevel, snapshot.popUpMenuWindowLevel};
    for (std::size_t i = 0; i < clients.size(); ++i) {
        SCOPED_TRACE(rows[i].title.toStdString());
        const VXWindowListEntry *window = findWindow(snapshot, clients[i]->windows()[0]);
        if (rows[i].layer == Unlisted) {
            EXPECT_EQ(window, nullptr);
        } else {
            EXPECT_EQ(window ? window->layer : -1, levels[rows[i].layer]);
        }
        if (!rows[i].application.isEmpty()) {
            EXPECT_EQ(findApplication(snapshot, clients[i]->pid())->activationPolicy, rows[i].policy);
        }
    }

    // Kept above later, and back, by the window manager on request.
    const VXX11TestClient &normal = *clients[0];
    for (const auto &[change, layer] :
         {std::pair {u"add,above"_s, levels[Floating]}, std::pair {u"remove,above"_s, 0}}) {
        ASSERT_TRUE(s_rig->run(u"wmctrl"_s, {u"-i"_s, u"-r"_s, normal.windowText(0), u"-b"_s, change}));
        ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
            const VXWindowListEntry *entry = findWindow(s, normal.windows()[0]);
            return entry && entry->layer == layer;
        })) << change.toStdString();
    }
}

TEST_F(VXX11DesktopTest, ProcessesWithoutNetWmPidComeFromTheXResourceExtension)
{
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    auto anonymous
        = client(QStringList {u"--title"_s, u"No pid"_s, u"--no-pid"_s} + ownApplication(u"wendle-anonymous"_s));
    // A _NET_WM_PID is believed for this host, not for another one.
    auto local = client({u"--title"_s, u"Local pid"_s, u"--pid"_s, u"999999"_s});
    auto remote = client(QStringList {u"--title"_s, u"Remote pid"_s, u"--pid"_s, u"999999"_s, u"--client-machine"_s,
                                      u"elsewhere.invalid"_s}
                         + ownApplication(u"wendle-remote"_s));
    ASSERT_TRUE(anonymous && local && remote);
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(remote->windows()[0])));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(anonymous->windows()[0])));
    EXPECT_EQ(findWindow(snapshot, anonymous->windows()[0])->ownerPID, anonymous->pid());
    EXPECT_EQ(findWindow(snapshot, local->windows()[0])->ownerPID, 999999);
    EXPECT_EQ(findWindow(snapshot, remote->windows()[0])->ownerPID, remote->pid());
    ASSERT_NE(findApplication(snapshot, anonymous->pid()), nullptr);
    EXPECT_EQ(findApplication(snapshot, anonymous->pid())->bundleIdentifier, u"wendle-anonymous"_s);

    // xmessage, a real client that sets neither _NET_WM_PID nor _NET_WM_NAME.
    if (!VXX11TestRig::missingProgram({u"xmessage"_s}).isEmpty())
        return;
    QProcess *xmessage = s_rig->startProgram(u"xmessage"_s, {u"-name"_s, u"wendle-xmessage"_s, u"hello"_s});
    const std::int64_t pid = xmessage->processId();
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return std::any_of(s.windows.begin(), s.windows.end(),
                           [&](const VXWindowListEntry &e) { return e.ownerPID == pid; });
    }));
    EXPECT_EQ(findApplication(snapshot, pid)->localizedName, u"Xmessage"_s);
    xmessage->kill();
    xmessage->waitForFinished(3000);
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) { return !findApplication(s, pid); }));
}

TEST_F(VXX11DesktopTest, WindowsThatVanishAreDropped)
{
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    auto editor = client({u"--title"_s, u"Doomed"_s, u"--count"_s, u"2"_s});
    auto other = client({u"--title"_s, u"Survivor"_s});
    ASSERT_TRUE(editor && other);
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(editor->windows()[1])));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(other->windows()[0])));

    // Closed between two ticks.
    ASSERT_TRUE(editor->command(u"destroy 0"_s));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, lacksWindow(editor->windows()[0])));
    EXPECT_NE(findWindow(snapshot, editor->windows()[1]), nullptr);

    // A process that dies takes its windows and its application along.
    const std::int64_t pid = editor->pid();
    ::kill(pid_t(pid), SIGKILL);
    editor->quit();
    ASSERT_TRUE(waitUntil(*desktop, snapshot, lacksWindow(editor->windows()[1])));
    EXPECT_EQ(findApplication(snapshot, pid), nullptr);

    // A stacking list that names a window already gone (as when it closes while the list is
    // read): the window is dropped, everything else is listed, and the adapter keeps working.
    const std::uint32_t gone = editor->windows()[0];
    const std::uint32_t survivor = other->windows()[0];
    const std::uint32_t stacking[] = {gone, survivor};
    setProperty(*s_rig, s_rig->rootWindow(), "_NET_CLIENT_LIST_STACKING", "WINDOW", 32, stacking, 2);
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return s.windows.size() == 1 && s.windows[0].number == survivor;
    }));
    EXPECT_TRUE(desktop->isConnected());
    // The window manager puts its own list back at the next change.
    ASSERT_TRUE(xdotool({u"windowactivate"_s, u"--sync"_s, other->windowText(0)}));
    auto fresh = client({u"--title"_s, u"Fresh"_s});
    ASSERT_TRUE(fresh);
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(fresh->windows()[0])));
    EXPECT_EQ(findWindow(snapshot, fresh->windows()[0])->title, u"Fresh"_s);
}

TEST_F(VXX11DesktopTest, ApplicationsAreNamedThroughTheirDesktopEntries)
{
    // The entries live in temporary XDG folders given through the environment.
    const QString dataHome = m_temporary.filePath(u"data-home"_s);
    const QString dataDir = m_temporary.filePath(u"data-dir"_s);
    ASSERT_TRUE(
        VXWriteFile(dataDir + u"/applications/wendle-sample-editor.desktop"_s,
                    "[Desktop Entry]\nType=Application\nName=Sample Editor\nName[de]=Beispieleditor\nExec=x\n"));
    ASSERT_TRUE(VXWriteFile(dataDir + u"/applications/tools/sample-terminal.desktop"_s,
                            "[Desktop Entry]\nType=Application\nName=Sample Terminal\nName[de_DE]=Beispielterminal\n"
                            "StartupWMClass=SampleTerm\nExec=y\n"));
    ASSERT_TRUE(VXWriteFile(dataHome + u"/applications/org.example.Viewer.desktop"_s,
                            "[Desktop Entry]\nType=Application\nName=Viewer\nExec=z\n"));
    std::unique_ptr<VXX11Desktop> desktop;
    {
        const VXScopedEnvironment home("XDG_DATA_HOME", dataHome.toLocal8Bit());
        const VXScopedEnvironment dirs("XDG_DATA_DIRS", dataDir.toLocal8Bit());
        VXX11Desktop::Options options;
        options.display = s_rig->display();
        options.localeName = u"de_DE"_s;
        desktop = VXX11Desktop::connect(options);
    }
    ASSERT_TRUE(desktop);

    auto editor = client({u"--class"_s, u"wendle-sample-editor,Wendle-sample-editor"_s});
    auto terminal = client({u"--class"_s, u"sampleterm,SampleTerm"_s});
    auto viewer = client({u"--class"_s, u"viewer,Viewer"_s});
    auto gtk = client({u"--class"_s, u"zzz,Zzz"_s, u"--gtk-app-id"_s, u"org.example.Viewer"_s});
    auto unknown = client({u"--class"_s, u"nothing,Nothing"_s});
    ASSERT_TRUE(editor && terminal && viewer && gtk && unknown);
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return findApplication(s, editor->pid()) && findApplication(s, terminal->pid())
            && findApplication(s, std::min(viewer->pid(), gtk->pid())) && findApplication(s, unknown->pid());
    }));
    const VXRunningApplication *e = findApplication(snapshot, editor->pid());
    EXPECT_EQ(e->bundleIdentifier, u"wendle-sample-editor"_s);
    EXPECT_EQ(e->bundlePath, dataDir + u"/applications/wendle-sample-editor.desktop"_s);
    EXPECT_EQ(e->localizedName, u"Beispieleditor"_s);
    const VXRunningApplication *t = findApplication(snapshot, terminal->pid());
    EXPECT_EQ(t->bundleIdentifier, u"tools-sample-terminal"_s);
    EXPECT_EQ(t->localizedName, u"Beispielterminal"_s);
    // Found by its class and by its GTK application id: two processes of one application.
    const VXRunningApplication *v = findApplication(snapshot, std::min(viewer->pid(), gtk->pid()));
    EXPECT_EQ(v->bundleIdentifier, u"org.example.Viewer"_s);
    EXPECT_EQ(v->localizedName, u"Viewer"_s);
    EXPECT_EQ(std::count_if(snapshot.runningApplications.begin(), snapshot.runningApplications.end(),
                            [&](const VXRunningApplication &a) { return a.bundlePath == v->bundlePath; }),
              1);
    // The other processes of its executable have several entries: which one it belongs to cannot
    // be told, and it stays an application of its own.
    const VXRunningApplication *u = findApplication(snapshot, unknown->pid());
    EXPECT_TRUE(u->bundleIdentifier.isEmpty());
    EXPECT_EQ(u->bundlePath, testClientPath());
    EXPECT_EQ(u->localizedName, u"Nothing"_s);
    // Indexed once; each process read once.
    EXPECT_EQ(desktop->statistics().desktopEntryIndexBuilds, 1);
}

TEST_F(VXX11DesktopTest, BringingToTheFrontAndQuittingActOnEveryProcess)
{
    const QStringList multi = ownApplication(u"wendle-pair"_s);
    const QStringList bystanderClass = ownApplication(u"wendle-bystander"_s);
    auto desktop = connectDesktop();
    ASSERT_TRUE(desktop);
    auto one = client(QStringList {u"--title"_s, u"Pair one"_s} + multi);
    auto two = client(QStringList {u"--title"_s, u"Pair two"_s} + multi);
    ASSERT_TRUE(one && two);
    const QString pair = m_applications + u"/wendle-pair.desktop"_s;
    VXDesktopSnapshot snapshot;

    // A third process whose window class finds no entry joins the others through their executable
    // (the only entry its processes have so far).
    auto third = client({u"--title"_s, u"Pair three"_s, u"--class"_s, u"wendle-unlisted,Wendle-unlisted"_s});
    ASSERT_TRUE(third);
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(third->windows()[0])));
    EXPECT_EQ(findApplication(snapshot, testClientPath()), nullptr)
        << "the third process made an application of its own";
    EXPECT_EQ(std::count_if(snapshot.runningApplications.begin(), snapshot.runningApplications.end(),
                            [&](const VXRunningApplication &a) { return a.bundlePath == pair; }),
              1);
    third->quit();
    ASSERT_TRUE(waitUntil(*desktop, snapshot, lacksWindow(third->windows()[0])));

    auto other = client(QStringList {u"--title"_s, u"Other"_s} + bystanderClass);
    ASSERT_TRUE(other);
    const QString bystander = m_applications + u"/wendle-bystander.desktop"_s;
    ASSERT_TRUE(xdotool({u"windowactivate"_s, u"--sync"_s, other->windowText(0)}));
    ASSERT_TRUE(waitUntil(*desktop, snapshot,
                          [&](const VXDesktopSnapshot &s) { return s.frontmostApplicationPath == bystander; }));

    // The application's frontmost window (the one opened last) comes to the front.
    EXPECT_TRUE(desktop->activateApplication(pair));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return s.frontmostApplicationPath == pair && s.windows.front().number == two->windows()[0];
    }));

    // Quitting closes the windows of both processes, and only theirs.
    EXPECT_TRUE(desktop->quitApplication(pair));
    EXPECT_TRUE(one->waitForExit());
    EXPECT_TRUE(two->waitForExit());
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) { return !findApplication(s, pair); }));
    EXPECT_NE(findApplication(snapshot, bystander), nullptr);
    EXPECT_NE(findWindow(snapshot, other->windows()[0]), nullptr);
    EXPECT_FALSE(desktop->quitApplication(pair));
    EXPECT_FALSE(desktop->activateApplication(pair));
}

TEST(VXX11DesktopFactory, AnswersWhyThereIsNoDesktop)
{
    QString whyNot;
    EXPECT_EQ(VXMakeX11Desktop(&whyNot, u":4321"_s), nullptr);
    EXPECT_TRUE(whyNot.contains(u":4321"_s)) << whyNot.toStdString();
    const VXScopedEnvironment noDisplay("DISPLAY", std::nullopt);
    whyNot.clear();
    EXPECT_EQ(VXMakeX11Desktop(&whyNot), nullptr);
    EXPECT_TRUE(whyNot.contains(u"DISPLAY"_s)) << whyNot.toStdString();
}

namespace {

QStringList s_messages;
void collectMessages(QtMsgType, const QMessageLogContext &context, const QString &message)
{
    if (context.category && QByteArrayView(context.category) == QByteArrayView("wendle.x11"))
        s_messages << message;
}

}   // namespace

TEST(VXX11DesktopWithoutWindowManager, ListsMappedTopLevelWindowsAndFollowsAManagerThatStarts)
{
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({false}, &whyNot))
        GTEST_SKIP() << whyNot.toStdString();
    VXX11Desktop::Options options;
    options.display = rig.display();
    options.applicationFolders = QStringList();
    s_messages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectMessages);
    auto desktop = VXX11Desktop::connect(options, &whyNot);
    ASSERT_TRUE(desktop) << whyNot.toStdString();
    EXPECT_FALSE(desktop->hasWindowManager());

    auto first = rig.startTestClient({u"--title"_s, u"Bare one"_s});
    auto second = rig.startTestClient({u"--title"_s, u"Bare two"_s, u"--count"_s, u"2"_s});
    ASSERT_TRUE(first && second);
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return findWindow(s, first->windows()[0]) && findWindow(s, second->windows()[1]);
    }));
    EXPECT_TRUE(snapshot.frontmostApplicationPath.isEmpty());
    EXPECT_EQ(findWindow(snapshot, first->windows()[0])->title, u"Bare one"_s);
    for (const VXWindowListEntry &entry : snapshot.windows)
        EXPECT_EQ(entry.layer, 0);
    // Two processes of one executable without an entry: one application.
    ASSERT_NE(findApplication(snapshot, testClientPath()), nullptr);
    EXPECT_EQ(findApplication(snapshot, testClientPath())->processIdentifier, std::min(first->pid(), second->pid()));

    ASSERT_TRUE(second->command(u"destroy 0"_s));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, lacksWindow(second->windows()[0])));
    EXPECT_NE(findWindow(snapshot, second->windows()[1]), nullptr);
    ASSERT_TRUE(first->command(u"title 0 Renamed"_s));
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        const VXWindowListEntry *entry = findWindow(s, first->windows()[0]);
        return entry && entry->title == u"Renamed"_s;
    }));

    // A window manager arrives: the adapter follows it, with stacking and a front window.
    if (VXX11TestRig::missingProgram({u"openbox"_s}).isEmpty()) {
        rig.startProgram(u"openbox"_s, {u"--sm-disable"_s});
        ASSERT_TRUE(waitUntil(
            *desktop, snapshot,
            [&](const VXDesktopSnapshot &s) {
                return desktop->hasWindowManager() && findWindow(s, first->windows()[0])
                    && findWindow(s, second->windows()[1]);
            },
            10000));
        ASSERT_TRUE(rig.run(u"xdotool"_s, {u"windowactivate"_s, u"--sync"_s, first->windowText(0)}));
        ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
            return s.frontmostApplicationPath == testClientPath();
        }));
    }
    qInstallMessageHandler(previous);
    EXPECT_EQ(s_messages.filter(u"no EWMH window manager"_s).size(), 1) << s_messages.join(u'\n').toStdString();
}

TEST(VXX11DesktopServerLoss, AnswersEmptySnapshotsAfterSayingSoOnce)
{
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({true}, &whyNot))
        GTEST_SKIP() << whyNot.toStdString();
    VXX11Desktop::Options options;
    options.display = rig.display();
    options.applicationFolders = QStringList();
    auto desktop = VXX11Desktop::connect(options, &whyNot);
    ASSERT_TRUE(desktop) << whyNot.toStdString();
    auto window = rig.startTestClient({u"--title"_s, u"Before the crash"_s});
    ASSERT_TRUE(window);
    VXDesktopSnapshot snapshot;
    ASSERT_TRUE(waitUntil(*desktop, snapshot, hasWindow(window->windows()[0])));

    s_messages.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectMessages);
    rig.killServer();
    ASSERT_TRUE(waitUntil(*desktop, snapshot, [&](const VXDesktopSnapshot &s) {
        return s.windows.empty() && s.runningApplications.empty() && !desktop->isConnected();
    }));
    // Later ticks are quiet.
    for (int tick = 0; tick < 100; ++tick)
        desktop->takeSnapshot(snapshot);
    EXPECT_TRUE(snapshot.windows.empty());
    qInstallMessageHandler(previous);
    EXPECT_EQ(s_messages.filter(u"lost the connection"_s).size(), 1) << s_messages.join(u'\n').toStdString();
}
