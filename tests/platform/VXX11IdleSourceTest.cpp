// The X11 idle source against Xvfb, with input made by xdotool (XTEST): input is reported, a burst
// of input a few times rather than once per event, and an idle desktop not at all. Both methods:
// the SYNC idle counter and the MIT-SCREEN-SAVER fallback. How fast it reports is bench/'s business.

#include "VXX11IdleSource.h"
#include "VXEventLoopScheduler.h"
#include "VXHibernation.h"
#include "VXHibernationDelegate.h"
#include "VXPresenceRecorder.h"
#include "VXSystemClock.h"
#include "VXTestSettings.h"
#include "VXX11RigSuite.h"

#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTimer>

#include <gtest/gtest.h>

#include <vector>

using namespace Qt::StringLiterals;

namespace {

// Runs the event loop for a while (the source works only from there).
void spin(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Runs the event loop until the observer has a report at or after `since`, at most timeoutMs.
bool spinUntilReport(const VXPresenceRecorder &observer, qint64 since, int timeoutMs)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < timeoutMs) {
        if (observer.inputsSince(since) > 0)
            return true;
        spin(5);
    }
    return observer.inputsSince(since) > 0;
}

class VXX11IdleSourceTest : public VXX11RigSuite<VXX11IdleSourceTest, ::testing::TestWithParam<VXX11IdleSource::Method>>
{
public:
    static QStringList rigPrograms() { return {u"xdotool"_s}; }
    static VXX11TestRig::Options rigOptions() { return {false}; }

protected:
    bool input(const QStringList &arguments) { return s_rig->run(u"xdotool"_s, arguments, 5000); }

    // Input from inside the event loop: xdotool started without waiting, as a person's input
    // arrives while the program runs.
    void inputLater(const QStringList &arguments)
    {
        auto *process = new QProcess(&m_processes);
        process->setProcessEnvironment(s_rig->environment());
        process->setStandardOutputFile(QProcess::nullDevice());
        process->setStandardErrorFile(QProcess::nullDevice());
        QObject::connect(process, &QProcess::finished, process, &QObject::deleteLater);
        process->start(u"xdotool"_s, arguments);
    }

    void TearDown() override
    {
        // A process that ended deleted itself; one still running is waited for (and reaped).
        for (QProcess *process : m_processes.findChildren<QProcess *>())
            process->waitForFinished(5000);
    }

    QObject m_processes;
};

}   // namespace

TEST_P(VXX11IdleSourceTest, ReportsInputAndNothingWhileIdle)
{
    VXX11IdleSource source(s_rig->display(), GetParam());
    VXPresenceRecorder observer;
    ASSERT_TRUE(source.start(observer));
    EXPECT_EQ(source.name(),
              GetParam() == VXX11IdleSource::Method::Automatic ? u"X11 SYNC idle counter"_s
                                                               : u"X11 screen-saver idle time"_s);
    // Input just after the start is reported by the first look (the alarm, or the first poll a
    // second after the start): a source that looks every few seconds has not looked by the
    // generous bound yet.
    ASSERT_TRUE(input({u"mousemove"_s, u"220"_s, u"160"_s}));
    EXPECT_TRUE(spinUntilReport(observer, 0, 3000)) << "not reported by the first look";
    // The source looks once more a second after a report, then settles: wait for that look
    // (later than usual on a loaded machine).
    const std::uint64_t wakeUpsAtReport = source.wakeUpCount();
    spin(1500);
    for (int i = 0; i < 1000 && source.wakeUpCount() == wakeUpsAtReport; ++i)
        spin(10);

    // Idle: nothing reported, and (with the alarm) nothing wakes the source.
    const qint64 quietFrom = observer.elapsed();
    const std::uint64_t wakeUpsBefore = source.wakeUpCount();
    spin(2000);
    EXPECT_EQ(observer.inputsSince(quietFrom), 0);
    if (GetParam() == VXX11IdleSource::Method::Automatic) {
        EXPECT_EQ(source.wakeUpCount(), wakeUpsBefore);
    }

    // A mouse movement, then a key press, each reported (the bound is generous: a source that
    // polls, instead of once a second, every few seconds or not at all misses it).
    for (const QStringList &arguments :
         {QStringList {u"mousemove"_s, u"200"_s, u"150"_s}, QStringList {u"key"_s, u"shift"_s}}) {
        const qint64 before = observer.elapsed();
        ASSERT_TRUE(input(arguments));
        EXPECT_TRUE(spinUntilReport(observer, before, 4000)) << arguments.join(u' ').toStdString();
        // After it, quiet again.
        spin(1600);
        const qint64 settledAt = observer.elapsed();
        spin(1200);
        EXPECT_EQ(observer.inputsSince(settledAt), 0);
    }

    // Stopped: input is no longer reported.
    source.stop();
    const qint64 stoppedAt = observer.elapsed();
    ASSERT_TRUE(input({u"mousemove"_s, u"10"_s, u"10"_s}));
    spin(1200);
    EXPECT_EQ(observer.inputsSince(stoppedAt), 0);
}

TEST_P(VXX11IdleSourceTest, ContinuousInputIsReportedAboutOnceASecond)
{
    VXX11IdleSource source(s_rig->display(), GetParam());
    VXPresenceRecorder observer;
    ASSERT_TRUE(source.start(observer));
    spin(1500);

    // Twenty movements over two seconds.
    const qint64 burstFrom = observer.elapsed();
    const std::uint64_t wakeUpsBefore = source.wakeUpCount();
    int moves = 0;
    QTimer mover;
    mover.setInterval(100);
    QObject::connect(&mover, &QTimer::timeout, [&] {
        if (moves == 20) {
            mover.stop();
            return;
        }
        ++moves;
        inputLater({u"mousemove"_s, QString::number(300 + 7 * moves), QString::number(200 + 3 * moves)});
    });
    mover.start();
    spin(2000 + 1800);
    ASSERT_EQ(moves, 20);
    // Input that goes on is reported again after the first report (not only once), but not once
    // per movement, and the source did not wake for each movement either.
    const int reports = observer.inputsSince(burstFrom);
    EXPECT_GE(reports, 2);
    EXPECT_LE(reports, moves / 3);
    EXPECT_LE(source.wakeUpCount() - wakeUpsBefore, std::uint64_t(moves / 2));
}

namespace {

// The user at the "Suspend Timers..." alert: moves to the button (input the source reports at
// once, after which it looks again only a second later) and clicks "Wake Up Automatically".
class AlertAnsweredByAClick final : public VXHibernationDelegate
{
public:
    explicit AlertAnsweredByAClick(VXX11TestRig &rig) : m_rig(rig) { }
    void lastPauseDidEnd() override { }
    void showHibernationState(bool, bool) override { }
    void hibernationDidChange() override { }
    int runAlert(const QString &, const QString &, const QStringList &) override
    {
        m_rig.run(u"xdotool"_s, {u"mousemove"_s, u"640"_s, u"500"_s});
        spin(300);
        m_rig.run(u"xdotool"_s, {u"click"_s, u"1"_s});
        spin(50);
        return 0;
    }

private:
    VXX11TestRig &m_rig;
};

}   // namespace

TEST_P(VXX11IdleSourceTest, TheClickThatClosesTheSuspendAlertDoesNotWakeTheProgram)
{
    vxtest::Settings settings;
    VXSystemClock clock;
    VXEventLoopScheduler scheduler(&clock);
    AlertAnsweredByAClick user(*s_rig);
    VXHibernation hibernation(scheduler, clock, *settings.defaults, user);
    hibernation.readHibernationInterval();
    hibernation.setEventMonitorInstalled(true);
    VXX11IdleSource source(s_rig->display(), GetParam());
    ASSERT_TRUE(source.start(hibernation));
    spin(1500);

    hibernation.toggleHibernation();
    // Hibernating half a second later, and still with no input since the click, though the
    // source learns of the click only when it looks again.
    spin(700);
    EXPECT_TRUE(hibernation.isHibernating());
    spin(1300);
    EXPECT_TRUE(hibernation.isHibernating());
    // The next input wakes it.
    ASSERT_TRUE(input({u"mousemove"_s, u"100"_s, u"100"_s}));
    QElapsedTimer timer;
    timer.start();
    while (hibernation.isHibernating() && timer.elapsed() < 2000)
        spin(10);
    EXPECT_FALSE(hibernation.isHibernating());
}

INSTANTIATE_TEST_SUITE_P(Methods, VXX11IdleSourceTest,
                         ::testing::Values(VXX11IdleSource::Method::Automatic, VXX11IdleSource::Method::ScreenSaver),
                         [](const ::testing::TestParamInfo<VXX11IdleSource::Method> &method) {
                             return method.param == VXX11IdleSource::Method::Automatic ? std::string("Sync")
                                                                                       : std::string("ScreenSaver");
                         });

TEST(VXX11IdleSourceAvailability, CannotStartWithoutADisplayAndStopsWhenTheServerGoes)
{
    VXX11TestRig::application();
    VXPresenceRecorder observer;
    VXX11IdleSource nowhere(u":4321"_s);
    EXPECT_FALSE(nowhere.start(observer));

    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({false}, &whyNot))
        GTEST_SKIP() << whyNot.toStdString();
    VXX11IdleSource source(rig.display());
    ASSERT_TRUE(source.start(observer));
    spin(300);
    rig.killServer();
    // The dead connection must not keep the event loop busy: the source stops listening.
    spin(300);
    const std::uint64_t wakeUps = source.wakeUpCount();
    spin(1500);
    EXPECT_LE(source.wakeUpCount() - wakeUps, 1u);
}
