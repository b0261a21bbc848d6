// Wendle run for real: the built program against a private X server, a fresh home folder and
// two applications that take turns in front; then SIGTERM, and the saved record is checked
// against what the test did.

#include "VXProgramTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXX11TestRig.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QLocalServer>
#include <QProcess>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

QString s(const char *text)
{
    return QString::fromUtf8(text);
}

double now()
{
    return static_cast<double>(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

// When something happened in the program, as the test knows it: after `before` (the test made it
// happen) and before `after` (the test saw it), give or take the tick that noticed it. Bracketing
// each moment, rather than allowing a fixed delay, keeps the checks true on a loaded machine.
struct Moment {
    double before = 0;
    double after = 0;
};
constexpr double kTick = 0.6;   // a tick is half a second; the tenth allows for rounding

// The span from `from` to `to`, as far as the test can know it.
void expectSpan(double value, const Moment &from, const Moment &to, const char *what)
{
    EXPECT_GE(value, to.before - from.after - kTick) << what;
    EXPECT_LE(value, to.after - from.before + kTick) << what;
}

class TrackerRun : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VXX11TestRig::application();
        QString whyNot;
        if (!rig.start({}, &whyNot))
            GTEST_SKIP() << whyNot.toStdString();
        ASSERT_TRUE(home.isValid());
        // Two applications told apart by their desktop entries (the test client is one program).
        for (const char *name : {"alpha", "beta"}) {
            const QString folder = home.filePath(s("data/applications"));
            ASSERT_TRUE(QDir().mkpath(folder));
            QFile entry(folder + QLatin1Char('/') + s(name) + s(".desktop"));
            ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
            const QString capitalised = s(name).left(1).toUpper() + s(name).mid(1);
            entry.write(
                u"[Desktop Entry]\nType=Application\nName=%1\nExec=%2\nStartupWMClass=%1\n"_s.arg(capitalised, s(name))
                    .toUtf8());
        }
        // No logind here: the program must say so and go on.
        environment = VXProgramEnvironment(rig.environment(), home.path());
    }

    QByteArray wendle(const QStringList &arguments, int *exitCode = nullptr)
    {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.start(s(WENDLE_BINARY), arguments);
        process.waitForFinished(15000);
        if (exitCode)
            *exitCode = process.exitCode();
        return process.readAllStandardOutput() + process.readAllStandardError();
    }

    bool activate(const VXX11TestClient &client)
    {
        return rig.run(s("xdotool"), {s("windowactivate"), s("--sync"), client.windowText(0)});
    }

    // Waits until `wendle status` shows the application in front (the bound only ends a test
    // whose program never gets there, however loaded the machine).
    bool waitForFront(const QString &name)
    {
        const QDeadlineTimer deadline(60000);
        while (!deadline.hasExpired()) {
            lastStatus = wendle({s("status")});
            if (lastStatus.contains((s("Front: ") + name).toUtf8()))
                return true;
            QThread::msleep(100);
        }
        return false;
    }

    QByteArray lastStatus;

    VXX11TestRig rig;
    QTemporaryDir home;
    QProcessEnvironment environment;
};

}   // namespace

TEST_F(TrackerRun, TracksTwoApplicationsAndSavesOnSigterm)
{
    auto alpha = rig.startTestClient({s("--title"), s("Alpha document"), s("--class"), s("alpha,Alpha")});
    auto beta = rig.startTestClient({s("--title"), s("Beta document"), s("--class"), s("beta,Beta")});
    ASSERT_TRUE(alpha && beta);
    ASSERT_TRUE(activate(*alpha));

    QProcess program;
    program.setProcessEnvironment(environment);
    program.setProcessChannelMode(QProcess::MergedChannels);
    Moment launched {now()};
    program.start(s(WENDLE_BINARY), QStringList());
    ASSERT_TRUE(program.waitForStarted(30000));
    // Without a tray, Wendle's own window opens and takes the focus; its own windows are
    // blacklisted, so nothing is in front until the user goes back to work.
    if (!waitForFront(s("no tracked application"))) {
        program.waitForFinished(1000);
        FAIL() << lastStatus.constData() << "exit " << program.exitCode() << " " << program.readAll().constData();
    }
    launched.after = now();
    Moment started {now()};
    ASSERT_TRUE(activate(*alpha));
    ASSERT_TRUE(waitForFront(s("Alpha"))) << lastStatus.constData();
    started.after = now();

    // A second start hands over to the first and exits at once.
    int secondExit = -1;
    const QByteArray second = wendle({}, &secondExit);
    EXPECT_EQ(secondExit, 0);
    EXPECT_TRUE(second.contains("already running")) << second.constData();

    QThread::msleep(3000);
    Moment switched {now()};
    ASSERT_TRUE(activate(*beta));
    ASSERT_TRUE(waitForFront(s("Beta"))) << lastStatus.constData() << program.readAll().constData();
    switched.after = now();
    QThread::msleep(3000);

    const QByteArray status = wendle({s("status")});
    EXPECT_TRUE(status.contains("Beta document")) << status.constData();
    EXPECT_TRUE(status.contains("State: tracking")) << status.constData();

    Moment stopped {now()};
    ::kill(static_cast<pid_t>(program.processId()), SIGTERM);
    ASSERT_TRUE(program.waitForFinished(30000));
    stopped.after = now();
    const QByteArray log = program.readAll();
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit) << log.constData();
    EXPECT_EQ(program.exitCode(), 0) << log.constData();
    EXPECT_TRUE(log.contains("cannot reach the system bus")) << log.constData();

    QFile saved(home.filePath(s("data/Wendle/Configurations/Default.plist")));
    ASSERT_TRUE(saved.open(QIODevice::ReadOnly)) << log.constData();
    EXPECT_EQ(saved.permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther), QFileDevice::Permissions());
    const QByteArray savedData = saved.readAll();
    const VXDictionaryRef configuration = deeplyMutableDictionaryWithData(savedData);
    ASSERT_TRUE(configuration);
    if (qEnvironmentVariableIsSet("WENDLE_TEST_KEEP"))
        QFile::copy(saved.fileName(), qEnvironmentVariable("WENDLE_TEST_KEEP"));
    const VXDictionary *applications = configuration->value(s("Applications")).dictionary();
    ASSERT_TRUE(applications);
    const VXDictionary *a = applications->value(s("alpha")).dictionary();
    const VXDictionary *b = applications->value(s("beta")).dictionary();
    ASSERT_TRUE(a && b) << "applications: " << applications->size();
    EXPECT_EQ(a->value(s("Name")).toString(), s("Alpha"));

    expectSpan(a->value(s("Front Time")).toDouble(), started, switched, "Alpha's front time");
    expectSpan(b->value(s("Front Time")).toDouble(), switched, stopped, "Beta's front time");
    // Both ran the whole time, from the first tick to the quit.
    const double overall = configuration->value(s("Overall Time")).toDouble();
    expectSpan(overall, launched, stopped, "overall time");
    EXPECT_NEAR(a->value(s("Time")).toDouble(), overall, 0.001);
    EXPECT_NEAR(b->value(s("Time")).toDouble(), overall, 0.001);

    // Alpha's foreground log is one closed period from the start to the switch; Beta's is one
    // period from the switch that the quit path closed.
    const auto expectAt = [](double at, const Moment &moment, const char *what) {
        EXPECT_GE(at, moment.before - kTick) << what;
        EXPECT_LE(at, moment.after + kTick) << what;
    };
    const VXArray *alphaLog = a->value(s("Front Active Log")).array();
    ASSERT_TRUE(alphaLog);
    ASSERT_EQ(alphaLog->size(), 2u);
    expectAt(alphaLog->at(0).toDouble(), started, "Alpha's period begins");
    expectAt(-alphaLog->at(1).toDouble(), switched, "Alpha's period ends");
    const VXArray *betaLog = b->value(s("Front Active Log")).array();
    ASSERT_TRUE(betaLog);
    ASSERT_GE(betaLog->size(), 1u);
    expectAt(betaLog->at(0).toDouble(), switched, "Beta's period begins");

    // The window items carry the titles.
    const VXDictionary *alphaWindows = a->value(s("Windows By Name")).dictionary();
    ASSERT_TRUE(alphaWindows);
    EXPECT_TRUE(alphaWindows->contains(s("Alpha document")));
}

TEST_F(TrackerRun, ASilentSessionBusHoldsUpNeitherTrackingNorQuitting)
{
    // A bus that takes connections (the kernel queues them) and never says a word.
    QLocalServer silent;
    ASSERT_TRUE(silent.listen(home.filePath(s("silent-bus"))));
    vxtest::ProgramFolders folders(rig.environment());
    folders.environment.insert(s("DBUS_SESSION_BUS_ADDRESS"), s("unix:path=") + home.filePath(s("silent-bus")));

    // Asked to quit while it waits for the bus: it quits, and saves.
    {
        vxtest::TrackerProcess early(folders);
        QThread::msleep(500);
        early.terminate();
        const vxtest::ProgramResult ended = early.finish(10000);
        EXPECT_EQ(ended.exitCode, 0) << ended.out.constData();
        EXPECT_TRUE(QFile::exists(folders.configurationFile()));
    }

    // Left to run: it tracks meanwhile, and its windows come without the bus.
    vxtest::TrackerProcess tracker(folders);
    ASSERT_TRUE(tracker.waitUntilTracking()) << tracker.finish(1000).out.constData();
    const vxtest::ProgramResult report = folders.run({s("--report")});
    EXPECT_EQ(report.exitCode, 0) << report.err.constData();
    tracker.terminate();
    const vxtest::ProgramResult ended = tracker.finish();
    EXPECT_EQ(ended.exitCode, 0) << ended.out.constData();
    EXPECT_TRUE(ended.out.contains("the session bus does not answer")) << ended.out.constData();
}

TEST_F(TrackerRun, ReportsAndCSVFilesGoToTheRunningWendleWhichSaysWhyItRefusesOne)
{
    vxtest::ProgramFolders folders(rig.environment());
    const QString good = folders.path(s("good.csv"));
    const QString bad = folders.path(s("bad.csv"));
    for (const auto &[path, content] :
         {std::pair {good,
                     QByteArray("Application,Foreground Begin (Unix Time),Foreground End (Unix Time)\n"
                                "Editor,1700000000.00,1700000300.00\n")},
          std::pair {bad, QByteArray("Name,Value\nx,1\n")}}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }
    const QByteArray why = "cannot open <" + QFile::encodeName(bad) + "> as a report: no relevant event stream types";

    // The first start says it on its own standard error, and tracks all the same.
    vxtest::TrackerProcess tracker(folders, {bad});
    ASSERT_TRUE(tracker.waitUntilTracking()) << tracker.finish(1000).out.constData();
    // A later start hands the files over and hears back.
    const vxtest::ProgramResult opened = folders.run({good});
    EXPECT_EQ(opened.exitCode, 0) << opened.err.constData();
    const vxtest::ProgramResult refused = folders.run({bad});
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(refused.err.contains(why)) << refused.err.constData();
    const vxtest::ProgramResult report = folders.run({s("--report")});
    EXPECT_EQ(report.exitCode, 0) << report.err.constData();

    tracker.terminate();
    const vxtest::ProgramResult ended = tracker.finish();
    EXPECT_EQ(ended.exitCode, 0);
    EXPECT_TRUE(ended.out.contains(why)) << ended.out.constData();
}
