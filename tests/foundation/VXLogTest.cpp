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

using namespace Qt::StringLiterals;

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
        m_logPath = m_folder.filePath(u"log.txt"_s);
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
    qCWarning(lcFoundation).noquote() << u"cannot load <Notes.nib>"_s;
    qCInfo(lcFoundation).noquote() << u"using sandbox configuration path: /tmp/x"_s;
    qCDebug(lcFoundation).noquote() << u"below the category's threshold"_s;

    constexpr int kThreads = 4;
    constexpr int kLinesEach = 250;
    const QString padding(200, u'x');
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &padding] {
            for (int i = 0; i < kLinesEach; ++i)
                qCWarning(lcFoundation).noquote() << u"thread %1 line %2 %3"_s.arg(t).arg(i).arg(padding);
        });
    }
    for (std::thread &thread : threads)
        thread.join();

    VXRemoveMessageHandler();
    qCWarning(lcFoundation).noquote() << u"after removal (expected on standard error)"_s;

    const QStringList lines = loggedLines();
    ASSERT_GE(lines.size(), 2);
    EXPECT_EQ(lines[0], u"cannot load <Notes.nib>"_s);
    EXPECT_EQ(lines[1], u"using sandbox configuration path: /tmp/x"_s);
    const QRegularExpression threadLine(u"^thread [0-3] line \\d+ x{200}$"_s);
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
        qCWarning(lcFoundation).noquote() << u"cannot install event monitor"_s;
        qCInfo(lcFoundation).noquote() << u"first\nsecond"_s;
        qCCritical(lcFoundation).noquote() << u"critical"_s;
    }
    // Another stream (a terminal) gets the bare message, even with JOURNAL_STREAM set.
    QTemporaryDir otherFolder;
    std::FILE *other = std::fopen(QFile::encodeName(otherFolder.filePath(u"t"_s)).constData(), "w+");
    ASSERT_NE(other, nullptr);
    {
        VXScopedEnvironment journal("JOURNAL_STREAM",
                                    QByteArray::number(qulonglong(status.st_dev)) + ':'
                                        + QByteArray::number(qulonglong(status.st_ino)));
        VXInstallMessageHandler(other);   // replaces the stream of the handler already installed
        qCWarning(lcFoundation).noquote() << u"plain"_s;
    }
    VXRemoveMessageHandler();
    std::fseek(other, 0, SEEK_SET);
    char buffer[64] = {};
    const size_t read = std::fread(buffer, 1, sizeof buffer - 1, other);
    std::fclose(other);
    EXPECT_EQ(QByteArray(buffer, qsizetype(read)), QByteArray("plain\n"));

    EXPECT_EQ(loggedLines(),
              (QStringList {u"<4>cannot install event monitor"_s, u"<6>first"_s, u"<6>second"_s, u"<3>critical"_s}));
}

TEST_F(VXLogTest, DebugLogFollowsTheSettingAtOnce)
{
    VXInstallMessageHandler(m_stream);
    FormatProbe::formatted = 0;

    // No store: off.
    VXUserDefaults::setStandard(nullptr);
    EXPECT_FALSE(VXDebugLogEnabled());
    EXPECT_FALSE(VXDebugLog(u"no store"_s));

    QTemporaryDir settingsFolder;
    ASSERT_TRUE(settingsFolder.isValid());
    VXUserDefaults defaults(VXUserDefaults::kDomain, settingsFolder.path());
    VXUserDefaults::setStandard(&defaults);
    EXPECT_FALSE(VXDebugLog(u"setting missing"_s));
    EXPECT_FALSE(VXDebugLog(u"probe %1"_s, FormatProbe {}));
    EXPECT_EQ(FormatProbe::formatted, 0) << "a debug line was formatted while debug output was off";

    defaults.setBool(true, VXDebugLogKey);
    EXPECT_TRUE(VXDebugLog(u"not ordered in: %1"_s, u"Untitled 3"_s));
    EXPECT_TRUE(VXDebugLog(u"probe %1"_s, FormatProbe {}));
    EXPECT_EQ(FormatProbe::formatted, 1);
    defaults.setBool(false, VXDebugLogKey);
    EXPECT_FALSE(VXDebugLog(u"switched off"_s));

    // Another store becomes the standard one: its setting counts from the next line on.
    {
        QTemporaryDir otherFolder;
        VXUserDefaults other(VXUserDefaults::kDomain, otherFolder.path());
        other.setBool(true, VXDebugLogKey);
        VXUserDefaults::setStandard(&other);
        EXPECT_TRUE(VXDebugLog(u"other store"_s));
        VXUserDefaults::setStandard(&defaults);
        EXPECT_FALSE(VXDebugLog(u"back to the first"_s));
        VXUserDefaults::setStandard(&other);
        EXPECT_TRUE(VXDebugLogEnabled());
    }
    // That store is gone (and was the standard one).
    EXPECT_FALSE(VXDebugLog(u"store destroyed"_s));

    EXPECT_EQ(loggedLines(),
              (QStringList {u"[Wendle Debug Log] not ordered in: Untitled 3"_s, u"[Wendle Debug Log] probe probe"_s,
                            u"[Wendle Debug Log] other store"_s}));
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

    EXPECT_TRUE(VXDebugLog(u"at %1 after %2 s, %3 windows, paused %4"_s, 1774747800.25, 0.5, qint64(12), false));
    // Arguments are not searched for placeholders again.
    EXPECT_TRUE(VXDebugLog(u"%1|%2|%3"_s, u"50%2"_s, QLatin1StringView("latin"), u"utf16"));
    EXPECT_TRUE(VXDebugLog(u"list %1"_s, QStringList {u"a"_s, u"b"_s}));
    EXPECT_TRUE(VXDebugLog(u"100% literal, no arguments"_s));

    EXPECT_EQ(loggedLines(),
              (QStringList {u"[Wendle Debug Log] at 1774747800.25 after 0.5 s, 12 windows, paused false"_s,
                            u"[Wendle Debug Log] 50%2|latin|utf16"_s, u"[Wendle Debug Log] list QList(a, b)"_s,
                            u"[Wendle Debug Log] 100% literal, no arguments"_s}));
}
