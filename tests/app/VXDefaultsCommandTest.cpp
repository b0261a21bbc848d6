#include "VXDefaultsCommand.h"
#include "VXPropertyListSerialization.h"
#include "VXSettingsTestSupport.h"
#include "VXUserDefaults.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

struct CommandResult {
    int exitCode = -1;
    QString out;
    QString err;
};

class VXDefaultsCommandTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override
    {
        ASSERT_TRUE(m_dir.isValid());
        if (!QFileInfo(QStringLiteral(WENDLE_BINARY)).isExecutable())
            GTEST_SKIP() << "the wendle program has not been built";
    }

    QString folder() const { return m_dir.path() + u"/Wendle"_s; }
    QString filePath() const { return folder() + u"/com.brasswing.WendleClient.plist"_s; }

    // `wendle defaults ARGUMENTS` with XDG_CONFIG_HOME in the temporary folder.
    CommandResult defaults(const QStringList &arguments) const
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, m_dir.path());
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(WENDLE_BINARY), QStringList {u"defaults"_s} + arguments);
        CommandResult run;
        if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit) {
            ADD_FAILURE() << "wendle defaults did not finish";
            return run;
        }
        run.exitCode = process.exitCode();
        run.out = QString::fromUtf8(process.readAllStandardOutput());
        run.err = QString::fromUtf8(process.readAllStandardError());
        return run;
    }

    // The domain as plistlib reads the file.
    VXDictionaryRef stored() const
    {
        QString failure;
        const std::optional<VXValue> value = VXReadWithPlistlib(filePath(), &failure);
        EXPECT_TRUE(value) << failure.toStdString();
        return value ? value->dictionaryRef() : VXDictionaryRef();
    }

    QTemporaryDir m_dir;
};

}   // namespace

TEST_F(VXDefaultsCommandTest, EveryTypeFlagWritesItsTypeAndReadsBack)
{
    if (VXTestPython().isEmpty())
        GTEST_SKIP() << "no Python interpreter to read the file with plistlib";
    const double date = QDateTime::fromString(u"2024-05-01T09:30:00Z"_s, Qt::ISODate).toSecsSinceEpoch();
    VXDictionaryRef dictionary = VXMakeDictionary();
    dictionary->insert(u"Name"_s, u"Mail"_s);
    dictionary->insert(u"Count"_s, 3);

    struct Case {
        QStringList arguments;
        VXValue expected;
        QString printed;   // by `read KEY`
    };
    const std::vector<std::pair<QString, Case>> cases = {
        {u"Plain"_s, {{u"hello world"_s}, VXValue(u"hello world"_s), u"hello world"_s}},
        {u"String"_s, {{u"-string"_s, u"42"_s}, VXValue(u"42"_s), u"42"_s}},
        {u"Hibernation Interval"_s, {{u"-int"_s, u"300"_s}, VXValue(300), u"300"_s}},
        {u"Negative"_s, {{u"-integer"_s, u"-7"_s}, VXValue(-7), u"-7"_s}},
        {u"Update Interval"_s, {{u"-float"_s, u"1.5"_s}, VXValue(1.5), u"1.5"_s}},
        {u"Alpha"_s, {{u"-real"_s, u"0.25"_s}, VXValue(0.25), u"0.25"_s}},
        {u"VXDebugLog"_s, {{u"-bool"_s, u"YES"_s}, VXValue(true), u"1"_s}},
        {u"False"_s, {{u"-boolean"_s, u"false"_s}, VXValue(false), u"0"_s}},
        {u"Zero"_s, {{u"-bool"_s, u"0"_s}, VXValue(false), u"0"_s}},
        {u"Date"_s,
         {{u"-date"_s, u"2024-05-01T11:30:00+02:00"_s},
          VXValue::dateFromUnixTime(date),
          u"2024-05-01 09:30:00 +0000"_s}},
        {u"Data"_s, {{u"-data"_s, u"0aff00"_s}, VXValue(QByteArray("\x0a\xff\x00", 3)), u"<0aff00>"_s}},
        {u"Array"_s,
         {{u"-array"_s, u"a b"_s, u"-int"_s, u"2"_s, u"3"_s},
          VXArrayOf({u"a b"_s, 2, u"3"_s}),
          u"(\n    \"a b\",\n    2,\n    \"3\"\n)"_s}},
        {u"Dict"_s,
         {{u"-dict"_s, u"Name"_s, u"Mail"_s, u"Count"_s, u"-int"_s, u"3"_s},
          VXValue(dictionary),
          u"{\n    Count = 3;\n    Name = Mail;\n}"_s}},
        {u"Pie Color Components"_s,
         {{u"(0.2, 0.4, 0.6)"_s}, VXArrayOf({0.2, 0.4, 0.6}), u"(\n    0.2,\n    0.4,\n    0.6\n)"_s}},
        {u"Old-Style"_s, {{u"{ Name = \"Inbox 2\"; Sizes = (1, -2.5e1, x1); }"_s}, VXValue(), QString()}},
    };
    for (const auto &[key, c] : cases) {
        SCOPED_TRACE(key.toStdString());
        const CommandResult run = defaults(QStringList {u"write"_s, key} + c.arguments);
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        if (c.expected.isNull())
            continue;
        const CommandResult readBack = defaults({u"read"_s, key});
        EXPECT_EQ(readBack.exitCode, 0) << readBack.err.toStdString();
        EXPECT_EQ(readBack.out, c.printed + u'\n');
    }

    // The file, as an independent reader sees it.
    const VXDictionaryRef file = stored();
    ASSERT_TRUE(file);
    for (const auto &[key, c] : cases) {
        if (!c.expected.isNull()) {
            EXPECT_EQ(file->value(key), c.expected) << key.toStdString();
        }
    }
    // Old-style text: elements that spell numbers became numbers, others stayed text.
    const VXDictionary *oldStyle = file->value(u"Old-Style"_s).dictionary();
    ASSERT_NE(oldStyle, nullptr);
    EXPECT_EQ(oldStyle->value(u"Name"_s), VXValue(u"Inbox 2"_s));
    EXPECT_EQ(oldStyle->value(u"Sizes"_s), VXArrayOf({1, -25.0, u"x1"_s}));
    EXPECT_EQ(QFileInfo(filePath()).permissions() & 0x0077, QFileDevice::Permissions());

    // `read` without a key prints the domain as old-style text that reads back to the same keys.
    const CommandResult all = defaults({u"read"_s});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_TRUE(all.out.contains(u"\n    \"Hibernation Interval\" = 300;\n"_s));
    EXPECT_TRUE(all.out.contains(u"\n    String = \"42\";\n"_s));
    const VXValue reread = VXPropertyListSerialization::valueFromOpenStepData(all.out.toUtf8());
    ASSERT_TRUE(reread.isDictionary()) << all.out.toStdString();
    EXPECT_EQ(reread.dictionary()->size(), file->size());
    for (const auto &entry : *file)
        EXPECT_TRUE(reread.dictionary()->contains(entry.key)) << entry.key.text().toStdString();
    EXPECT_EQ(reread.dictionary()->value(u"Plain"_s), VXValue(u"hello world"_s));
    EXPECT_EQ(reread.dictionary()->value(u"Data"_s), VXValue(QByteArray("\x0a\xff\x00", 3)));
}

TEST_F(VXDefaultsCommandTest, DeleteAndMissingKeys)
{
    // A fresh install: no settings yet, and --all shows what Wendle uses instead.
    const CommandResult none = defaults({u"read"_s});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_TRUE(none.out.isEmpty());
    EXPECT_TRUE(none.err.startsWith(u"No settings have been changed yet"_s)) << none.err.toStdString();
    const CommandResult all = defaults({u"read"_s, u"--all"_s});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_TRUE(all.out.contains(u"\"Hibernation Interval\" = 600;"_s)) << all.out.toStdString();

    ASSERT_EQ(defaults({u"write"_s, u"Sort"_s, u"-int"_s, u"2"_s}).exitCode, 0);
    ASSERT_EQ(defaults({u"write"_s, u"Keep"_s, u"yes"_s}).exitCode, 0);
    const CommandResult removed = defaults({u"delete"_s, u"Sort"_s});
    EXPECT_EQ(removed.exitCode, 0) << removed.err.toStdString();

    const CommandResult missing = defaults({u"read"_s, u"Sort"_s});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.isEmpty());
    EXPECT_EQ(missing.err,
              QStringLiteral("The domain/default pair of (com.brasswing.WendleClient, Sort) does not exist\n"
                             "It is not set; Wendle uses its default: 1\n"));
    // What is stored shows in --all over the defaults.
    const CommandResult effective = defaults({u"read"_s, u"--all"_s});
    EXPECT_TRUE(effective.out.contains(u"Keep = yes;"_s));
    EXPECT_TRUE(effective.out.contains(u"Sort = 1;"_s));

    const CommandResult again = defaults({u"delete"_s, u"Sort"_s});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.err.contains(u"not found"_s));

    VXUserDefaults reader(VXUserDefaults::kDomain, folder());
    EXPECT_TRUE(reader.persistentObjectForKey(u"Sort"_s).isNull());
    EXPECT_EQ(reader.stringForKey(u"Keep"_s), u"yes"_s);
}

TEST_F(VXDefaultsCommandTest, UsageErrorsExitWithTwoAndChangeNothing)
{
    ASSERT_EQ(defaults({u"write"_s, u"Sort"_s, u"-int"_s, u"2"_s}).exitCode, 0);
    QFile file(filePath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();

    const QList<QStringList> wrong = {
        {},
        {u"frobnicate"_s},
        {u"read"_s, u"a"_s, u"b"_s},
        {u"write"_s},
        {u"write"_s, u"Sort"_s},
        {u"write"_s, u"Sort"_s, u"1"_s, u"2"_s},
        {u"write"_s, u"Sort"_s, u"-int"_s, u"two"_s},
        {u"write"_s, u"Sort"_s, u"-int"_s},
        {u"write"_s, u"Sort"_s, u"-float"_s, u"1,5"_s},
        {u"write"_s, u"Sort"_s, u"-bool"_s, u"maybe"_s},
        {u"write"_s, u"Sort"_s, u"-date"_s, u"yesterday"_s},
        {u"write"_s, u"Sort"_s, u"-data"_s, u"abc"_s},
        {u"write"_s, u"Sort"_s, u"-dict"_s, u"lonely"_s},
        {u"write"_s, u"Sort"_s, u"-array"_s, u"-array"_s, u"x"_s},
        {u"write"_s, u"Sort"_s, u"(1, 2"_s},
        {u"delete"_s},
    };
    for (const QStringList &arguments : wrong) {
        SCOPED_TRACE(arguments.join(u' ').toStdString());
        const CommandResult run = defaults(arguments);
        EXPECT_EQ(run.exitCode, 2);
        // One line that says what is wrong, and where the usage is.
        EXPECT_TRUE(run.err.startsWith(u"wendle defaults: "_s)) << run.err.toStdString();
        EXPECT_EQ(run.err.count(u'\n'), 2) << run.err.toStdString();
        EXPECT_TRUE(run.err.endsWith(u"Run 'wendle defaults --help' for its usage.\n"_s));
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), before);

    const CommandResult help = defaults({u"--help"_s});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(u"-array"_s));
}

TEST_F(VXDefaultsCommandTest, ARunningStoreAnnouncesWhatTheCommandWrote)
{
    VXUserDefaults running(VXUserDefaults::kDomain, folder());
    running.setInteger(600, u"Hibernation Interval"_s);
    ASSERT_TRUE(running.synchronize());
    QStringList announced;
    QObject::connect(&running, &VXUserDefaults::valueChanged, &running,
                     [&](const QString &key) { announced.append(key); });

    ASSERT_EQ(defaults({u"write"_s, u"VXDebugLog"_s, u"-bool"_s, u"YES"_s}).exitCode, 0);
    ASSERT_TRUE(VXWaitUntil([&] { return !announced.isEmpty(); }));
    VXSpinEventLoop(200);
    EXPECT_EQ(announced, QStringList({u"VXDebugLog"_s}));
    EXPECT_TRUE(running.boolForKey(u"VXDebugLog"_s));
    EXPECT_EQ(running.integerForKey(u"Hibernation Interval"_s), 600);
}
