// Wendle ended for real without its quit path, on a private X server: killed with SIGKILL (the
// journal beside the record brings the time back at the next start, up to a few seconds before
// the kill), and with the X server killed under it (the record is saved on the way out, up to
// the moment the server went).

#include "VXProgramTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXX11TestRig.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QThread>

#include <gtest/gtest.h>

#include <csignal>

using namespace Qt::StringLiterals;

namespace {

double now()
{
    return double(QDateTime::currentMSecsSinceEpoch()) / 1000.0;
}

// What the journal may lose: its flush interval, and a tick.
constexpr double kMostLost = 5.0 + 0.5;

class TrackerCrash : public ::testing::Test
{
protected:
    void SetUp() override
    {
        VXX11TestRig::application();
        QString whyNot;
        if (!rig.start({}, &whyNot))
            GTEST_SKIP() << whyNot.toStdString();
        folders = std::make_unique<vxtest::ProgramFolders>(rig.environment());
        for (const char *name : {"alpha", "beta"}) {
            const QString folder = folders->path(u"data/applications"_s);
            ASSERT_TRUE(QDir().mkpath(folder));
            QFile entry(folder + u'/' + QString::fromLatin1(name) + u".desktop"_s);
            ASSERT_TRUE(entry.open(QIODevice::WriteOnly));
            const QString capitalised = QString::fromLatin1(name).left(1).toUpper() + QString::fromLatin1(name).mid(1);
            entry.write(u"[Desktop Entry]\nType=Application\nName=%1\nExec=%2\nStartupWMClass=%1\n"_s
                            .arg(capitalised, QString::fromLatin1(name))
                            .toUtf8());
        }
        alpha = rig.startTestClient({u"--title"_s, u"Alpha document"_s, u"--class"_s, u"alpha,Alpha"_s});
        beta = rig.startTestClient({u"--title"_s, u"Beta document"_s, u"--class"_s, u"beta,Beta"_s});
        ASSERT_TRUE(alpha && beta);
    }

    bool activate(const VXX11TestClient &client)
    {
        return rig.run(u"xdotool"_s, {u"windowactivate"_s, u"--sync"_s, client.windowText(0)});
    }

    // Alpha in front from the moment this answers.
    double startTrackingAlpha(vxtest::TrackerProcess &tracker)
    {
        EXPECT_TRUE(tracker.waitUntilTracking()) << tracker.lastStatus.constData();
        EXPECT_TRUE(activate(*alpha));
        const QDeadlineTimer deadline(10000);
        while (!deadline.hasExpired() && !folders->run({u"status"_s}).out.contains("Front: Alpha"))
            QThread::msleep(100);
        return now();
    }

    VXDictionaryRef savedRecord() const
    {
        QFile file(folders->configurationFile());
        return file.open(QIODevice::ReadOnly) ? deeplyMutableDictionaryWithData(file.readAll()) : VXDictionaryRef();
    }

    VXX11TestRig rig;
    std::unique_ptr<vxtest::ProgramFolders> folders;
    std::unique_ptr<VXX11TestClient> alpha;
    std::unique_ptr<VXX11TestClient> beta;
};

const VXDictionary *application(const VXDictionaryRef &record, const QString &key)
{
    const VXDictionary *applications = record ? record->value(u"Applications"_s).dictionary() : nullptr;
    return applications ? applications->value(key).dictionary() : nullptr;
}

}   // namespace

TEST_F(TrackerCrash, AKilledTrackerLosesOnlyTheLastSecondsAndSaysWhatItRecovered)
{
    double killed = 0;
    double started = 0;
    {
        vxtest::TrackerProcess tracker(*folders);
        started = startTrackingAlpha(tracker);
        QThread::msleep(12000);
        killed = now();
        ::kill(pid_t(tracker.process().processId()), SIGKILL);
        ASSERT_TRUE(tracker.process().waitForFinished(5000));
    }
    ASSERT_TRUE(QFile::exists(folders->path(u"data/Wendle/Configurations/Default.journal"_s)));

    // The next start replays the journal and says so.
    vxtest::TrackerProcess restarted(*folders);
    ASSERT_TRUE(restarted.waitUntilTracking()) << restarted.lastStatus.constData();
    restarted.terminate();
    const vxtest::ProgramResult ended = restarted.finish();
    ASSERT_EQ(ended.exitCode, 0) << ended.out.constData();
    EXPECT_TRUE(ended.out.contains("recovered")) << ended.out.constData();

    // Alpha's time in front before the kill ends no more than the journal's interval before it.
    const VXDictionaryRef record = savedRecord();
    const VXDictionary *a = application(record, u"alpha"_s);
    ASSERT_TRUE(a) << ended.out.constData();
    const VXArray *front = a->value(u"Front Active Log"_s).array();
    ASSERT_TRUE(front && front->size() >= 2) << ended.out.constData();
    EXPECT_NEAR(front->at(0).toDouble(), started, 1.0);
    const double lastSeen = -front->at(1).toDouble();
    EXPECT_LE(lastSeen, killed + 0.1);
    EXPECT_GE(lastSeen, killed - kMostLost);
    EXPECT_GE(a->value(u"Front Time"_s).toDouble(), lastSeen - started - 1.0);
}

TEST_F(TrackerCrash, AnXServerThatDiesTakesNoTrackedTimeWithIt)
{
    vxtest::TrackerProcess tracker(*folders);
    const double started = startTrackingAlpha(tracker);
    QThread::msleep(8000);
    const double killed = now();
    rig.killServer();
    const vxtest::ProgramResult ended = tracker.finish(15000);
    ASSERT_TRUE(ended.finished) << ended.out.constData();
    EXPECT_TRUE(ended.out.contains("saving the record")) << ended.out.constData();

    // Saved on the way out: up to the last tick before the server went.
    const VXDictionaryRef record = savedRecord();
    ASSERT_TRUE(record) << ended.out.constData();
    EXPECT_GE(record->value(u"Last Timestamp"_s).toDouble(), killed - 1.0) << ended.out.constData();
    const VXDictionary *a = application(record, u"alpha"_s);
    ASSERT_TRUE(a);
    EXPECT_NEAR(a->value(u"Front Time"_s).toDouble(), killed - started, 1.5);
}
