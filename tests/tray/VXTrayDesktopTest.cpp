// The tray icon, its panel and the desktop report on a real X server with a window manager and
// a real tray host (trayer, XEmbed): the icon appears, a click opens the panel under it, Escape and
// losing the focus close it (not while a dialog of its own is open), the scope bar switches and
// remembers; the desktop report window is below the others at its opacity. Screenshots of the
// panel in each section, light and dark, at scale 1 and 2, go to build/screenshots/tray.

#include "VXX11TestRig.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImage>
#include <QProcess>
#include <QThread>

#include <iostream>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#ifndef WENDLE_TRAY_TOOL
#error "WENDLE_TRAY_TOOL must name the tray tool"
#endif
#ifndef WENDLE_SCREENSHOT_DIR
#error "WENDLE_SCREENSHOT_DIR must name the folder for the screenshots"
#endif

namespace {

// The next line of the tool's output that starts with `prefix`, or empty after the deadline (which
// only ends a test whose tool never says it, however loaded the machine).
QString waitForLine(QProcess *process, const QString &prefix, int timeoutMs = 30000)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        while (process->canReadLine()) {
            const QString line = QString::fromUtf8(process->readLine()).trimmed();
            if (line.startsWith(prefix))
                return line;
        }
        process->waitForReadyRead(100);
    }
    return QString();
}

QList<int> numbers(const QString &line)
{
    QList<int> values;
    for (const QString &word : line.split(u' ').mid(1))
        values << word.toInt();
    return values;
}

class TrayDesktopTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        QString whyNot;
        if (const QString missing = VXX11TestRig::missingProgram({QStringLiteral("trayer")}); !missing.isEmpty())
            GTEST_SKIP() << "no tray host: " << missing.toStdString() << " is not installed";
        if (!rig.start({}, &whyNot))
            GTEST_SKIP() << whyNot.toStdString();
    }

    void TearDown() override
    {
        // The tool ends when its input closes; what does not is killed, and each is reaped.
        for (const auto &tool : tools) {
            tool->closeWriteChannel();
            if (!tool->waitForFinished(3000)) {
                tool->kill();
                tool->waitForFinished(3000);
            }
        }
        tools.clear();
    }

    // The tool on the rig's display, its output read here, its input open for commands.
    QProcess *startTool(const QStringList &arguments)
    {
        tools.push_back(std::make_unique<QProcess>());
        QProcess *tool = tools.back().get();
        tool->setProcessEnvironment(rig.environment());
        tool->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        tool->start(QStringLiteral(WENDLE_TRAY_TOOL), arguments);
        EXPECT_TRUE(tool->waitForStarted(5000));
        return tool;
    }

    void send(QProcess *tool, const char *command)
    {
        tool->write(command);
        tool->write("\n");
        tool->waitForBytesWritten(1000);
    }

    // Whether the panel gets the focus (the window manager gives it a moment).
    bool becomesActive(QProcess *tool)
    {
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 30000) {
            send(tool, "state");
            if (waitForLine(tool, QStringLiteral("state ")) == QStringLiteral("state visible active"))
                return true;
            QThread::msleep(100);
        }
        return false;
    }

    // Waits until a window is viewable exactly where the tool says the icon is: the tray host
    // embeds the icon before it maps it, and a click in between lands on the tray itself.
    bool iconViewable(const QList<int> &icon)
    {
        const QByteArray geometry = QStringLiteral("%1x%2+").arg(icon[2]).arg(icon[3]).toUtf8();
        const QByteArray place = QStringLiteral("+%1+%2").arg(icon[0]).arg(icon[1]).toUtf8();
        QElapsedTimer timer;
        timer.start();
        while (timer.elapsed() < 30000) {
            QByteArray tree;
            rig.run(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")}, 5000, &tree);
            for (const QByteArray &line : tree.split('\n')) {
                const QList<QByteArray> words = line.simplified().split(' ');
                if (words.size() < 3 || words.last() != place || !words[words.size() - 2].startsWith(geometry))
                    continue;
                QByteArray state;
                rig.run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::fromLatin1(words.first())}, 5000,
                        &state);
                if (state.contains("IsViewable"))
                    return true;
            }
            QThread::msleep(50);
        }
        return false;
    }

    void click(int x, int y)
    {
        ASSERT_TRUE(rig.run(QStringLiteral("xdotool"),
                            {QStringLiteral("mousemove"), QString::number(x), QString::number(y),
                             QStringLiteral("click"), QStringLiteral("1")}));
    }

    VXX11TestRig rig;
    std::vector<std::unique_ptr<QProcess>> tools;
};

TEST_F(TrayDesktopTest, TheIconOpensThePanelUnderItAndThePanelClosesAsItShould)
{
    // A tray along the top, its space kept free of windows, icons at its right end.
    rig.startProgram(QStringLiteral("trayer"),
                     {QStringLiteral("--edge"), QStringLiteral("top"), QStringLiteral("--align"),
                      QStringLiteral("right"), QStringLiteral("--widthtype"), QStringLiteral("request"),
                      QStringLiteral("--height"), QStringLiteral("24"), QStringLiteral("--SetPartialStrut"),
                      QStringLiteral("true"), QStringLiteral("--SetDockType"), QStringLiteral("true")});
    QProcess *tool = startTool({QStringLiteral("tray")});
    const QList<int> icon = numbers(waitForLine(tool, QStringLiteral("tray ")));
    ASSERT_EQ(icon.size(), 4) << "the icon never appeared in the tray";
    EXPECT_GT(icon[0], 1280 - 100);   // at the right end of the screen's top edge
    EXPECT_LT(icon[1], 24);
    ASSERT_TRUE(iconViewable(icon));

    // A click opens the panel right-aligned under the icon, resizable to the left only.
    click(icon[0] + icon[2] / 2, icon[1] + icon[3] / 2);
    QList<int> shown = numbers(waitForLine(tool, QStringLiteral("shown ")));
    ASSERT_EQ(shown.size(), 6);
    EXPECT_EQ(shown[0] + shown[2], icon[0] + icon[2]);
    EXPECT_EQ(shown[1], 24);
    EXPECT_EQ(shown[4], 1);
    EXPECT_EQ(shown[5], 0);
    EXPECT_TRUE(becomesActive(tool));

    // The scope bar: a click on "Activity Report" switches the section.
    send(tool, "button report");
    const QList<int> report = numbers(waitForLine(tool, QStringLiteral("button ")));
    ASSERT_EQ(report.size(), 2);
    click(report[0], report[1]);
    EXPECT_EQ(waitForLine(tool, QStringLiteral("section ")), QStringLiteral("section Activity Report"));

    // Escape closes it.
    ASSERT_TRUE(rig.run(QStringLiteral("xdotool"), {QStringLiteral("key"), QStringLiteral("Escape")}));
    EXPECT_EQ(waitForLine(tool, QStringLiteral("hidden")), QStringLiteral("hidden"));
    // (openbox leaves a panel opened again at once after Escape without the focus: a known gap.
    // Nothing it publishes marks the end of its work, it keeps calling the hidden panel active,
    // so this one wait is for a time.)
    QThread::msleep(1000);

    // Open again (on the stored section), then another window takes the focus: it closes.
    click(icon[0] + icon[2] / 2, icon[1] + icon[3] / 2);
    ASSERT_FALSE(waitForLine(tool, QStringLiteral("shown ")).isEmpty());
    ASSERT_TRUE(becomesActive(tool));
    auto client = rig.startTestClient({QStringLiteral("--title"), QStringLiteral("Other")});
    ASSERT_TRUE(client);
    ASSERT_TRUE(rig.run(QStringLiteral("xdotool"),
                        {QStringLiteral("windowactivate"), QStringLiteral("--sync"), client->windowText(0)}));
    EXPECT_EQ(waitForLine(tool, QStringLiteral("hidden")), QStringLiteral("hidden"));

    // With its notes dialog open, losing the focus leaves it open. (A click on the icon just as
    // the panel closed for losing the focus is taken for the click that took the focus.)
    QThread::msleep(500);
    click(icon[0] + icon[2] / 2, icon[1] + icon[3] / 2);
    ASSERT_FALSE(waitForLine(tool, QStringLiteral("shown ")).isEmpty());
    ASSERT_TRUE(becomesActive(tool));
    send(tool, "dialog");
    ASSERT_EQ(waitForLine(tool, QStringLiteral("ok")), QStringLiteral("ok"));
    ASSERT_TRUE(rig.run(QStringLiteral("xdotool"),
                        {QStringLiteral("windowactivate"), QStringLiteral("--sync"), client->windowText(0)}));
    QThread::msleep(300);
    send(tool, "state");
    EXPECT_TRUE(waitForLine(tool, QStringLiteral("state ")).startsWith(QStringLiteral("state visible")));
    send(tool, "closedialog");
    ASSERT_EQ(waitForLine(tool, QStringLiteral("ok")), QStringLiteral("ok"));
}

TEST_F(TrayDesktopTest, TheDesktopReportIsBelowTheOthersAtItsOpacity)
{
    QProcess *tool = startTool({QStringLiteral("desktop")});
    const QString line = waitForLine(tool, QStringLiteral("desktop "));
    ASSERT_FALSE(line.isEmpty());
    const QString window = line.section(u' ', 1);
    QByteArray state, opacity;
    // The window manager takes a moment to put the state on the managed window.
    QElapsedTimer timer;
    timer.start();
    do {
        ASSERT_TRUE(rig.run(
            QStringLiteral("xprop"),
            {QStringLiteral("-id"), window, QStringLiteral("_NET_WM_STATE"), QStringLiteral("_NET_WM_WINDOW_OPACITY")},
            5000, &state));
    } while (!state.contains("_NET_WM_STATE_BELOW") && timer.elapsed() < 5000 && (QThread::msleep(50), true));
    EXPECT_TRUE(state.contains("_NET_WM_STATE_BELOW")) << state.constData();
    // Half of 0xffffffff, as near as the window system's steps come.
    const qsizetype at = state.indexOf("_NET_WM_WINDOW_OPACITY(CARDINAL) = ");
    ASSERT_GE(at, 0) << state.constData();
    const double alpha = state.mid(at + 35).trimmed().toDouble() / 0xffffffffu;
    EXPECT_NEAR(alpha, 0.5, 0.01);
}

TEST_F(TrayDesktopTest, ScreenshotsOfThePanelInEachSectionLightAndDarkAtScaleOneAndTwo)
{
    const QString folder = QStringLiteral(WENDLE_SCREENSHOT_DIR);
    QDir(folder).removeRecursively();
    for (const char *scale : {"1", "2"}) {
        for (const char *scheme : {"light", "dark"}) {
            SCOPED_TRACE(std::string(scheme) + " at " + scale);
            QProcess tool;
            QProcessEnvironment environment = rig.environment();
            environment.insert(QStringLiteral("QT_SCALE_FACTOR"), QString::fromLatin1(scale));
            tool.setProcessEnvironment(environment);
            tool.start(QStringLiteral(WENDLE_TRAY_TOOL),
                       {QStringLiteral("screenshots"), folder, QString::fromLatin1(scheme)});
            ASSERT_TRUE(tool.waitForFinished(30000));
            EXPECT_EQ(tool.exitCode(), 0) << tool.readAllStandardError().constData();
            const QString suffix
                = QStringLiteral("%1@%2x.png").arg(QString::fromLatin1(scheme), QString::fromLatin1(scale));
            for (const QString &name : {QStringLiteral("panel-organizer-"), QStringLiteral("panel-activity-report-")}) {
                const QImage shot(folder + u'/' + name + suffix);
                ASSERT_FALSE(shot.isNull()) << (name + suffix).toStdString();
                EXPECT_EQ(shot.width(), 560 * QString::fromLatin1(scale).toInt());
                // The scheme shows in the panel's own background (its top left corner).
                const int lightness = QColor(shot.pixel(2, 2)).lightness();
                EXPECT_EQ(lightness > 128, QByteArray(scheme) == "light") << lightness;
            }
        }
    }
    std::cout << "screenshots in " << folder.toStdString() << std::endl;
}

}   // namespace
