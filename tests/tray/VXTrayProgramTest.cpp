// Wendle in the tray, run for real: the built program on a private X server with openbox and a
// real tray host (trayer), in a home folder of its own. A tray-mode start puts the icon into the
// tray and the autostart entry into place; a click opens the panel right under the icon, with
// no taskbar entry of its own; the icon comes back when the tray host is restarted, and a second
// start meanwhile opens the panel; switching to windows and back moves the organizer between its
// window and the panel; a deliberate quit from the tray's menu removes the autostart entry. A
// tray that comes up after Wendle gets the icon. The same over StatusNotifierItem, with a watcher
// on the private session bus in the tray host's place.

#include "VXTestSupport.h"
#include "VXX11TestRig.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRect>
#include <QRegularExpression>
#include <QSettings>
#include <QTemporaryDir>
#include <QThread>

#include <functional>
#include <optional>

#include <gtest/gtest.h>

#ifndef WENDLE_BINARY
#error "WENDLE_BINARY must name the program"
#endif
#ifndef WENDLE_SNI_WATCHER
#error "WENDLE_SNI_WATCHER must name the watcher script"
#endif

namespace {

QString s(const char *text)
{
    return QString::fromUtf8(text);
}

// Asks `probe` again until it answers or the deadline passes.
template <typename T> std::optional<T> waitFor(const std::function<std::optional<T>()> &probe, int timeoutMs = 10000)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!deadline.hasExpired()) {
        if (std::optional<T> answer = probe())
            return answer;
        QThread::msleep(100);
    }
    return std::nullopt;
}

class TrayProgram : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VXX11TestRig::application();
        if (const QString missing = VXX11TestRig::missingProgram({s("trayer"), s("xdotool"), s("xwininfo")});
            !missing.isEmpty())
            GTEST_SKIP() << "needs " << missing.toStdString();
        QString whyNot;
        if (!rig.start({}, &whyNot))
            GTEST_SKIP() << whyNot.toStdString();
        ASSERT_TRUE(home.isValid());
        // No logind here: the program must say so and go on.
        environment = VXProgramEnvironment(rig.environment(), home.path());
        // Past the welcome, in the tray, quitting without the question.
        for (const char *key : {"Welcome", "Status Item", "Quit Without Confirmation"})
            ASSERT_TRUE(setting(s(key), true));
    }

    void TearDown() override
    {
        if (program.state() != QProcess::NotRunning) {
            program.terminate();
            if (!program.waitForFinished(10000)) {
                program.kill();
                program.waitForFinished(3000);
            }
        }
    }

    bool setting(const QString &key, bool value)
    {
        QProcess defaults;
        defaults.setProcessEnvironment(environment);
        defaults.start(s(WENDLE_BINARY), {s("defaults"), s("write"), key, s("-bool"), value ? s("YES") : s("NO")});
        return defaults.waitForFinished(15000) && defaults.exitCode() == 0;
    }

    // A tray along the top with its icons at the right end, its space kept free of windows;
    // answers when its window is there.
    bool startTray()
    {
        tray = rig.startProgram(s("trayer"),
                                {s("--edge"), s("top"), s("--align"), s("right"), s("--widthtype"), s("request"),
                                 s("--height"), s("24"), s("--SetPartialStrut"), s("true"), s("--SetDockType"),
                                 s("true")});
        return waitFor<bool>([&] {
                   return windowTree().filter(s(R"re(("panel" "trayer"))re")).isEmpty() ? std::nullopt
                                                                                        : std::optional(true);
               })
            .has_value();
    }

    // The windows of the display as xwininfo lists them.
    QStringList windowTree()
    {
        QByteArray output;
        if (!rig.run(s("xwininfo"), {s("-root"), s("-tree")}, 5000, &output))
            return {};
        return QString::fromUtf8(output).split(u'\n');
    }

    // Where Wendle's icon is in the tray, once the tray has put it in its place (two readings a
    // moment apart agree).
    std::optional<QRect> iconInTray()
    {
        const std::optional<QRect> first = iconEmbedded();
        if (!first)
            return std::nullopt;
        QThread::msleep(200);
        return iconEmbedded() == first ? first : std::nullopt;
    }

    // Where Wendle's icon is embedded in the tray (the root position of its window), if it is.
    std::optional<QRect> iconEmbedded()
    {
        static const QRegularExpression window(
            s(R"re(^(\s*)0x[0-9a-f]+ .*\("(\w+)" "(\w+)"\)\s+(\d+)x(\d+)\+-?\d+\+-?\d+\s+\+(-?\d+)\+(-?\d+))re"));
        qsizetype trayIndent = -1;
        for (const QString &line : windowTree()) {
            const QRegularExpressionMatch match = window.match(line);
            if (!match.hasMatch())
                continue;
            const qsizetype indent = match.capturedLength(1);
            if (trayIndent >= 0 && indent <= trayIndent)
                trayIndent = -1;
            if (match.captured(2) == u"panel" && match.captured(3) == u"trayer")
                trayIndent = indent;
            else if (trayIndent >= 0 && match.captured(2) == u"wendle")
                return QRect(match.captured(6).toInt(), match.captured(7).toInt(), match.captured(4).toInt(),
                             match.captured(5).toInt());
        }
        return std::nullopt;
    }

    // Wendle's shown window of at least `minimum` (the panel, the organizer), by its frame.
    std::optional<QRect> shownWindow(const QSize &minimum, QString *windowId = nullptr)
    {
        QByteArray ids;
        rig.run(s("xdotool"), {s("search"), s("--onlyvisible"), s("--class"), s("wendle")}, 5000, &ids);
        for (const QByteArray &id : ids.split('\n')) {
            QByteArray geometry;
            if (id.isEmpty() || !rig.run(s("xwininfo"), {s("-id"), QString::fromLatin1(id)}, 5000, &geometry))
                continue;
            const auto value = [&](const char *label) {
                const qsizetype at = geometry.indexOf(label);
                return at < 0 ? -1 : geometry.mid(at + qstrlen(label)).trimmed().split('\n').first().toInt();
            };
            const QRect frame(value("Absolute upper-left X:"), value("Absolute upper-left Y:"), value("Width:"),
                              value("Height:"));
            if (frame.width() >= minimum.width() && frame.height() >= minimum.height()) {
                if (windowId)
                    *windowId = QString::fromLatin1(id);
                return frame;
            }
        }
        return std::nullopt;
    }

    bool click(const QRect &at, int button = 1)
    {
        return rig.run(s("xdotool"),
                       {s("mousemove"), QString::number(at.center().x()), QString::number(at.center().y()), s("click"),
                        QString::number(button)});
    }

    QString autostartEntry() const { return home.filePath(s("config/autostart/wendle.desktop")); }

    VXX11TestRig rig;
    QTemporaryDir home;
    QProcessEnvironment environment;
    QProcess *tray = nullptr;
    QProcess program;
};

}   // namespace

TEST_F(TrayProgram, ATrayDayFromStartToADeliberateQuit)
{
    const QSize panelMinimum(480, 300);
    ASSERT_TRUE(startTray());
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    program.start(s(WENDLE_BINARY), QStringList());
    ASSERT_TRUE(program.waitForStarted(5000));

    // The icon in the tray at the right end of the top edge; the autostart entry in place.
    const std::optional<QRect> icon = waitFor<QRect>([&] { return iconInTray(); });
    ASSERT_TRUE(icon) << "the icon never appeared in the tray";
    EXPECT_GT(icon->x(), 1280 - 100);
    EXPECT_LT(icon->y(), 24);
    ASSERT_TRUE(QFile::exists(autostartEntry()));
    EXPECT_EQ(QSettings(autostartEntry(), QSettings::IniFormat).value(s("Desktop Entry/Exec")).toString(),
              QFileInfo(s(WENDLE_BINARY)).canonicalFilePath());
    EXPECT_FALSE(shownWindow(panelMinimum)) << "a window opened in the tray's stead";

    // A click opens the panel under the icon, right-aligned with it; Escape closes it.
    ASSERT_TRUE(click(*icon));
    QString panelWindow;
    std::optional<QRect> panel = waitFor<QRect>([&] { return shownWindow(panelMinimum, &panelWindow); });
    ASSERT_TRUE(panel) << "no panel";
    EXPECT_EQ(panel->y(), 24);
    EXPECT_EQ(panel->right(), icon->right());
    // It belongs to the icon: no taskbar entry of its own.
    QByteArray state;
    ASSERT_TRUE(rig.run(s("xprop"), {s("-id"), panelWindow, s("_NET_WM_STATE")}, 5000, &state));
    EXPECT_TRUE(state.contains("_NET_WM_STATE_SKIP_TASKBAR")) << state.constData();
    ASSERT_TRUE(rig.run(s("xdotool"), {s("key"), s("Escape")}));
    EXPECT_TRUE(waitFor<bool>([&] { return shownWindow(panelMinimum) ? std::nullopt : std::optional(true); }));

    // The tray host goes and comes back: so does the icon, and it still opens the panel.
    ASSERT_NE(tray, nullptr);
    tray->kill();
    tray->waitForFinished(3000);
    EXPECT_TRUE(waitFor<bool>([&] { return iconEmbedded() ? std::nullopt : std::optional(true); }));
    // Meanwhile a second start is the way in: the panel opens at the top right.
    QProcess second;
    second.setProcessEnvironment(environment);
    second.start(s(WENDLE_BINARY), QStringList());
    ASSERT_TRUE(second.waitForFinished(15000));
    EXPECT_EQ(second.exitCode(), 0);
    panel = waitFor<QRect>([&] { return shownWindow(panelMinimum); });
    ASSERT_TRUE(panel) << "a second start did not open the panel";
    EXPECT_EQ(panel->right(), 1279);
    ASSERT_TRUE(rig.run(s("xdotool"), {s("key"), s("Escape")}));
    EXPECT_TRUE(waitFor<bool>([&] { return shownWindow(panelMinimum) ? std::nullopt : std::optional(true); }));
    ASSERT_TRUE(startTray());
    const std::optional<QRect> again = waitFor<QRect>([&] { return iconInTray(); });
    ASSERT_TRUE(again) << "the icon did not come back to the restarted tray";
    QThread::msleep(500);   // (a click just after the panel closed is taken for the closing one)
    ASSERT_TRUE(click(*again));
    EXPECT_TRUE(waitFor<QRect>([&] { return shownWindow(panelMinimum); }));
    ASSERT_TRUE(rig.run(s("xdotool"), {s("key"), s("Escape")}));

    // To windows (as the preferences' switch does): the icon goes, the organizer's window comes;
    // and back: the window goes, the icon comes.
    ASSERT_TRUE(setting(s("Status Item"), false));
    EXPECT_TRUE(waitFor<bool>([&] { return iconEmbedded() ? std::nullopt : std::optional(true); }));
    EXPECT_TRUE(waitFor<QRect>([&] { return shownWindow(QSize(300, 300)); })) << "no organizer window";
    ASSERT_TRUE(setting(s("Status Item"), true));
    const std::optional<QRect> back = waitFor<QRect>([&] { return iconInTray(); });
    ASSERT_TRUE(back) << "the icon did not come back with tray mode";
    EXPECT_TRUE(waitFor<bool>([&] { return shownWindow(QSize(300, 300)) ? std::nullopt : std::optional(true); }));

    // Quit from the tray's menu (its last entry): Wendle ends and no longer starts with the session.
    ASSERT_TRUE(click(*back, 3));
    QThread::msleep(500);
    ASSERT_TRUE(rig.run(s("xdotool"), {s("key"), s("Up"), s("Return")}));
    ASSERT_TRUE(program.waitForFinished(15000)) << "Wendle did not quit";
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_FALSE(QFile::exists(autostartEntry()));
}

TEST_F(TrayProgram, ATrayThatComesUpAfterWendleGetsTheIcon)
{
    // At login the session's panel may come after Wendle: the organizer's window until then.
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    program.start(s(WENDLE_BINARY), QStringList());
    ASSERT_TRUE(program.waitForStarted(5000));
    ASSERT_TRUE(waitFor<QRect>([&] { return shownWindow(QSize(300, 300)); })) << "no organizer window";
    ASSERT_TRUE(startTray());
    EXPECT_TRUE(waitFor<QRect>([&] { return iconInTray(); })) << "the icon never came to the tray";
    EXPECT_TRUE(waitFor<bool>([&] { return shownWindow(QSize(300, 300)) ? std::nullopt : std::optional(true); }));
}

namespace {

const QString kWatcherService = s("org.kde.StatusNotifierWatcher");
const QString kWatcherPath = s("/StatusNotifierWatcher");
const QString kItemInterface = s("org.kde.StatusNotifierItem");

// The tray host of a StatusNotifierItem desktop: a watcher on the rig's session bus (no trayer),
// and a connection of the test's own to that bus to look at what Wendle put there.
class TrayStatusNotifier : public TrayProgram
{
protected:
    void SetUp() override
    {
        TrayProgram::SetUp();
        if (IsSkipped() || HasFatalFailure())
            return;
        QProcess check;
        if (!VXRunToEnd(check, s(WENDLE_PYTHON), {s("-c"), s("import dbus, gi")}, 15000))
            GTEST_SKIP() << "needs python3-dbus and python3-gi";
        bus = QDBusConnection::connectToBus(environment.value(s("DBUS_SESSION_BUS_ADDRESS")), s("wendle-sni-test"));
        ASSERT_TRUE(bus.isConnected()) << bus.lastError().message().toStdString();
    }

    void TearDown() override
    {
        TrayProgram::TearDown();
        VXStopProcess(watcher);
        QDBusConnection::disconnectFromBus(s("wendle-sni-test"));
    }

    // Starts the watcher and waits until it owns its name.
    bool startWatcher()
    {
        watcher.setProcessEnvironment(environment);
        watcher.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        return VXStartServer(watcher, s(WENDLE_PYTHON), {s(WENDLE_SNI_WATCHER)}) == "ready";
    }

    QVariant property(const QString &service, const QString &path, const QString &interface, const QString &name)
    {
        QDBusMessage call
            = QDBusMessage::createMethodCall(service, path, s("org.freedesktop.DBus.Properties"), s("Get"));
        call << interface << name;
        const QDBusMessage reply = bus.call(call, QDBus::Block, 5000);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
            return {};
        return reply.arguments().first().value<QDBusVariant>().variant();
    }

    // The first item the watcher has, as its bus name and object path.
    std::optional<std::pair<QString, QString>> registeredItem()
    {
        const QStringList items
            = property(kWatcherService, kWatcherPath, kWatcherService, s("RegisteredStatusNotifierItems"))
                  .toStringList();
        if (items.isEmpty())
            return std::nullopt;
        const qsizetype slash = items.first().indexOf(u'/');
        if (slash <= 0)
            return std::nullopt;
        return std::pair(items.first().left(slash), items.first().mid(slash));
    }

    // The largest of the item's pixmaps (width, height, ARGB data), whose data matches its size.
    static QSize largestPixmap(const QDBusArgument &argument)
    {
        QSize largest;
        argument.beginArray();
        while (!argument.atEnd()) {
            int width = 0;
            int height = 0;
            QByteArray data;
            argument.beginStructure();
            argument >> width >> height >> data;
            argument.endStructure();
            if (width > 0 && height > 0 && data.size() == qsizetype(width) * height * 4
                && width * height > largest.width() * largest.height())
                largest = QSize(width, height);
        }
        argument.endArray();
        return largest;
    }

    // Activates the item as a host does on a click at (x, y), the pointer being there.
    bool activate(const std::pair<QString, QString> &item, const QPoint &at)
    {
        if (!rig.run(s("xdotool"), {s("mousemove"), QString::number(at.x()), QString::number(at.y())}))
            return false;
        QDBusMessage call = QDBusMessage::createMethodCall(item.first, item.second, kItemInterface, s("Activate"));
        call << at.x() << at.y();
        return bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
    }

    QProcess watcher;
    QDBusConnection bus = QDBusConnection(s("unconnected"));
};

}   // namespace

TEST_F(TrayStatusNotifier, TheItemOpensThePanelAtTheClickAndComesBackWithTheWatcher)
{
    const QSize panelMinimum(480, 300);
    ASSERT_TRUE(startWatcher()) << "the watcher did not start";
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::ForwardedChannels);
    program.start(s(WENDLE_BINARY), QStringList());
    ASSERT_TRUE(program.waitForStarted(5000));

    // Wendle registers an item named after it, with its status as the tooltip and a picture; no
    // window in the tray's stead.
    std::optional<std::pair<QString, QString>> item
        = waitFor<std::pair<QString, QString>>([&] { return registeredItem(); });
    ASSERT_TRUE(item) << "no item registered with the watcher";
    EXPECT_EQ(property(item->first, item->second, kItemInterface, s("Title")).toString(), s("Wendle"));
    QString toolTipTitle;
    const QVariant toolTip = property(item->first, item->second, kItemInterface, s("ToolTip"));
    if (toolTip.canConvert<QDBusArgument>()) {
        // (icon name, pictures, title, text)
        const QDBusArgument argument = toolTip.value<QDBusArgument>();
        QString toolTipIcon;
        argument.beginStructure();
        argument >> toolTipIcon;
        largestPixmap(argument);
        argument >> toolTipTitle;
        argument.endStructure();
    }
    EXPECT_TRUE(toolTipTitle.contains(u"Wendle")) << toolTipTitle.toStdString();
    const QString iconName = property(item->first, item->second, kItemInterface, s("IconName")).toString();
    const QVariant pixmaps = property(item->first, item->second, kItemInterface, s("IconPixmap"));
    const QSize pixmap = pixmaps.canConvert<QDBusArgument>() ? largestPixmap(pixmaps.value<QDBusArgument>()) : QSize();
    EXPECT_TRUE(!iconName.isEmpty() || !pixmap.isEmpty()) << "the item has no icon";
    EXPECT_FALSE(shownWindow(panelMinimum)) << "a window opened in the tray's stead";

    // The item gives no geometry: the panel hangs from the top of the screen at the click, its
    // right edge there when it would cross the screen's right edge; Escape closes it.
    ASSERT_TRUE(activate(*item, QPoint(1000, 5)));
    std::optional<QRect> panel = waitFor<QRect>([&] { return shownWindow(panelMinimum); });
    ASSERT_TRUE(panel) << "activating the item opened no panel";
    EXPECT_EQ(panel->y(), 0);
    EXPECT_EQ(panel->right(), 1000);
    ASSERT_TRUE(rig.run(s("xdotool"), {s("key"), s("Escape")}));
    EXPECT_TRUE(waitFor<bool>([&] { return shownWindow(panelMinimum) ? std::nullopt : std::optional(true); }));

    // The tray host restarts: the item registers with the new watcher and opens the panel, its
    // left edge at a click near the screen's left.
    VXStopProcess(watcher);
    ASSERT_TRUE(waitFor<bool>([&] {
        return bus.interface()->isServiceRegistered(kWatcherService).value() ? std::nullopt : std::optional(true);
    }));
    ASSERT_TRUE(startWatcher()) << "the watcher did not start again";
    item = waitFor<std::pair<QString, QString>>([&] { return registeredItem(); });
    ASSERT_TRUE(item) << "the item did not register again with the restarted watcher";
    QThread::msleep(500);   // (a click just after the panel closed is taken for the closing one)
    ASSERT_TRUE(activate(*item, QPoint(100, 10)));
    panel = waitFor<QRect>([&] { return shownWindow(panelMinimum); });
    ASSERT_TRUE(panel) << "activating the item again opened no panel";
    EXPECT_EQ(panel->y(), 0);
    EXPECT_EQ(panel->x(), 100);
}
