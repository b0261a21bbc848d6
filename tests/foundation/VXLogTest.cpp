// The program's log: plain lines on a stream (the journal when started by the session), and debug
// lines that follow the "VXDebugLog" setting of the real user-defaults store as it changes.

#include "VXLog.h"
#include "VXTestSupport.h"
#include "VXUserDefaults.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>
#include <QStringList>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <optional>
#include <ostream>
#include <thread>
#include <vector>

#include <sys/stat.h>

namespace {

// Sets or clears an environment variable for the lifetime of the object.
// A type whose text form counts how often it is made, to see whether a debug line was formatted.
struct FormatProbe {
    static inline int formatted = 0;
};

QDebug operator<<(QDebug debug, const FormatProbe &)
{
    ++FormatProbe::formatted;
    return debug << "probe";
}

class VXLogTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override
    {
        ASSERT_TRUE(m_folder.isValid());
        m_logPath = m_folder.filePath(QStringLiteral("log.txt"));
        m_stream = std::fopen(QFile::encodeName(m_logPath).constData(), "w+");
        ASSERT_NE(m_stream, nullptr);
    }
    void TearDown() override
    {
        VXRemoveMessageHandler();
        VXUserDefaults::setStandard(nullptr);
        if (m_stream)
            std::fclose(m_stream);
    }

    QStringList loggedLines() const
    {
        std::fflush(m_stream);
        QFile file(m_logPath);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QString text = QString::fromUtf8(file.readAll());
        if (text.endsWith(u'\n'))
            text.chop(1);
        return text.isEmpty() ? QStringList() : text.split(u'\n');
    }

    QTemporaryDir m_folder;
    QString m_logPath;
    std::FILE *m_stream = nullptr;
    VXScopedEnvironment m_noPattern {"QT_MESSAGE_PATTERN", std::nullopt};
    VXScopedEnvironment m_noJournal {"JOURNAL_STREAM", std::nullopt};
};

}   // namespace

TEST_F(VXLogTest, HandlerWritesWholePlainLinesFromManyThreads)
{
    VXInstallMessageHandler(m_stream);
    qCWarning(lcFoundation).noquote() << QStringLiteral("cannot load <Notes.nib>");
    qCInfo(lcFoundation).noquote() << QStringLiteral("using sandbox configuration path: /tmp/x");
    qCDebug(lcFoundation).noquote() << QStringLiteral("below the category's threshold");

    constexpr int kThreads = 4;
    constexpr int kLinesEach = 250;
    const QString padding(200, u'x');
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &padding] {
            for (int i = 0; i < kLinesEach; ++i)
                qCWarning(lcFoundation).noquote() << QStringLiteral("thread %1 line %2 %3").arg(t).arg(i).arg(padding);
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    VXRemoveMessageHandler();
    qCWarning(lcFoundation).noquote() << QStringLiteral("after removal (expected on standard error)");

    const QStringList lines = loggedLines();
    ASSERT_GE(lines.size(), 2);
    EXPECT_EQ(lines[0], QStringLiteral("cannot load <Notes.nib>"));
    EXPECT_EQ(lines[1], QStringLiteral("using sandbox configuration path: /tmp/x"));
    const QRegularExpression threadLine(QStringLiteral("^thread [0-3] line \\d+ x{200}$"));
    int intact = 0;
    for (const QString &line : lines.mid(2))
        intact += threadLine.match(line).hasMatch();
    EXPECT_EQ(intact, kThreads * kLinesEach);
    EXPECT_EQ(lines.size(), 2 + kThreads * kLinesEach);
}

TEST_F(VXLogTest, JournalLinesCarryTheirPriority)
{
    struct stat status = {};
    ASSERT_EQ(fstat(fileno(m_stream), &status), 0);
    {
        // systemd names its journal socket in JOURNAL_STREAM; here the log file plays the socket.
        VXScopedEnvironment journal("JOURNAL_STREAM",
                                    QByteArray::number(qulonglong(status.st_dev)) + ':'
                                        + QByteArray::number(qulonglong(status.st_ino)));
        VXInstallMessageHandler(m_stream);
        qCWarning(lcFoundation).noquote() << QStringLiteral("cannot install event monitor");
        qCInfo(lcFoundation).noquote() << QStringLiteral("first\nsecond");
        qCCritical(lcFoundation).noquote() << QStringLiteral("critical");
    }
    // Another stream (a terminal) gets the bare message, even with JOURNAL_STREAM set.
    QTemporaryDir otherFolder;
    std::FILE *other = std::fopen(QFile::encodeName(otherFolder.filePath(QStringLiteral("t"))).constData(), "w+");
    ASSERT_NE(other, nullptr);
    {
        VXScopedEnvironment journal("JOURNAL_STREAM",
                                    QByteArray::number(qulonglong(status.st_dev)) + ':'
                                        + QByteArray::number(qulonglong(status.st_ino)));
        VXInstallMessageHandler(other);   // replaces the stream of the handler already installed
        qCWarning(lcFoundation).noquote() << QStringLiteral("plain");
    }
    VXRemoveMessageHandler();
    std::fseek(other, 0, SEEK_SET);
    char buffer[64] = {};
    const size_t read = std::fread(buffer, 1, sizeof buffer - 1, other);
    std::fclose(other);
    EXPECT_EQ(QByteArray(buffer, qsizetype(read)), QByteArray("plain\n"));

    EXPECT_EQ(loggedLines(),
              (QStringList {QStringLiteral("<4>cannot install event monitor"), QStringLiteral("<6>first"),
                            QStringLiteral("<6>second"), QStringLiteral("<3>critical")}));
}

TEST_F(VXLogTest, DebugLogFollowsTheSettingAtOnce)
{
    VXInstallMessageHandler(m_stream);
    FormatProbe::formatted = 0;

    // No store: off.
    VXUserDefaults::setStandard(nullptr);
    EXPECT_FALSE(VXDebugLogEnabled());
    EXPECT_FALSE(VXDebugLog(QStringLiteral("no store")));

    QTemporaryDir settingsFolder;
    ASSERT_TRUE(settingsFolder.isValid());
    VXUserDefaults defaults(VXUserDefaults::kDomain, settingsFolder.path());
    VXUserDefaults::setStandard(&defaults);
    EXPECT_FALSE(VXDebugLog(QStringLiteral("setting missing")));
    EXPECT_FALSE(VXDebugLog(QStringLiteral("probe %1"), FormatProbe {}));
    EXPECT_EQ(FormatProbe::formatted, 0) << "a debug line was formatted while debug output was off";

    defaults.setBool(true, VXDebugLogKey);
    EXPECT_TRUE(VXDebugLog(QStringLiteral("not ordered in: %1"), QStringLiteral("Untitled 3")));
    EXPECT_TRUE(VXDebugLog(QStringLiteral("probe %1"), FormatProbe {}));
    EXPECT_EQ(FormatProbe::formatted, 1);
    defaults.setBool(false, VXDebugLogKey);
    EXPECT_FALSE(VXDebugLog(QStringLiteral("switched off")));

    // Another store becomes the standard one: its setting counts from the next line on.
    {
        QTemporaryDir otherFolder;
        VXUserDefaults other(VXUserDefaults::kDomain, otherFolder.path());
        other.setBool(true, VXDebugLogKey);
        VXUserDefaults::setStandard(&other);
        EXPECT_TRUE(VXDebugLog(QStringLiteral("other store")));
        VXUserDefaults::setStandard(&defaults);
        EXPECT_FALSE(VXDebugLog(QStringLiteral("back to the first")));
        VXUserDefaults::setStandard(&other);
        EXPECT_TRUE(VXDebugLogEnabled());
    }
    // That store is gone (and was the standard one).
    EXPECT_FALSE(VXDebugLog(QStringLiteral("store destroyed")));

    EXPECT_EQ(loggedLines(),
              (QStringList {QStringLiteral("[Wendle Debug Log] not ordered in: Untitled 3"),
                            QStringLiteral("[Wendle Debug Log] probe probe"),
                            QStringLiteral("[Wendle Debug Log] other store")}));
}

TEST_F(VXLogTest, DebugLogSeesAChangeWrittenByAnotherProcess)
{
    QTemporaryDir settingsFolder;
    ASSERT_TRUE(settingsFolder.isValid());
    VXUserDefaults running(VXUserDefaults::kDomain, settingsFolder.path());
    VXUserDefaults::setStandard(&running);
    EXPECT_FALSE(VXDebugLogEnabled());

    // `wendle defaults write VXDebugLog YES` from a terminal: another store on the same file.
    {
        VXUserDefaults command(VXUserDefaults::kDomain, settingsFolder.path());
        command.setBool(true, VXDebugLogKey);
        ASSERT_TRUE(command.synchronize());
    }
    QElapsedTimer elapsed;
    elapsed.start();
    while (!VXDebugLogEnabled() && elapsed.elapsed() < 5000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(5);
    }
    EXPECT_TRUE(VXDebugLogEnabled()) << "the running program did not see the changed file";
}

TEST_F(VXLogTest, DebugArgumentsKeepTheirFullText)
{
    QTemporaryDir settingsFolder;
    VXUserDefaults defaults(VXUserDefaults::kDomain, settingsFolder.path());
    defaults.setBool(true, VXDebugLogKey);
    VXUserDefaults::setStandard(&defaults);
    VXInstallMessageHandler(m_stream);

    EXPECT_TRUE(
        VXDebugLog(QStringLiteral("at %1 after %2 s, %3 windows, paused %4"), 1774747800.25, 0.5, qint64(12), false));
    // Arguments are not searched for placeholders again.
    EXPECT_TRUE(VXDebugLog(QStringLiteral("%1|%2|%3"), QStringLiteral("50%2"), QLatin1StringView("latin"), u"utf16"));
    EXPECT_TRUE(VXDebugLog(QStringLiteral("list %1"), QStringList {QStringLiteral("a"), QStringLiteral("b")}));
    EXPECT_TRUE(VXDebugLog(QStringLiteral("100% literal, no arguments")));

    EXPECT_EQ(loggedLines(),
              (QStringList {QStringLiteral("[Wendle Debug Log] at 1774747800.25 after 0.5 s, 12 windows, paused false"),
                            QStringLiteral("[Wendle Debug Log] 50%2|latin|utf16"),
                            QStringLiteral("[Wendle Debug Log] list QList(a, b)"),
                            QStringLiteral("[Wendle Debug Log] 100% literal, no arguments")}));
}
