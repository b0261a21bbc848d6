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

    QString folder() const { return m_dir.path() + QStringLiteral("/Wendle"); }
    QString filePath() const { return folder() + QStringLiteral("/com.brasswing.WendleClient.plist"); }

    // `wendle defaults ARGUMENTS` with XDG_CONFIG_HOME in the temporary folder.
    CommandResult defaults(const QStringList &arguments) const
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.path());
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(WENDLE_BINARY), QStringList {QStringLiteral("defaults")} + arguments);
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

VXValue array(std::initializer_list<VXValue> values)
{
    VXArrayRef result = VXMakeArray();
    for (const VXValue &value : values)
        result->append(value);
    return VXValue(result);
}

}   // namespace

TEST_F(VXDefaultsCommandTest, EveryTypeFlagWritesItsTypeAndReadsBack)
{
    if (VXTestPython().isEmpty())
        GTEST_SKIP() << "no Python interpreter to read the file with plistlib";
    const double date = QDateTime::fromString(QStringLiteral("2024-05-01T09:30:00Z"), Qt::ISODate).toSecsSinceEpoch();
    VXDictionaryRef dictionary = VXMakeDictionary();
    dictionary->insert(QStringLiteral("Name"), QStringLiteral("Mail"));
    dictionary->insert(QStringLiteral("Count"), 3);

    struct Case {
        QStringList arguments;
        VXValue expected;
        QString printed;   // by `read KEY`
    };
    const std::vector<std::pair<QString, Case>> cases = {
        {QStringLiteral("Plain"),
         {{QStringLiteral("hello world")}, VXValue(QStringLiteral("hello world")), QStringLiteral("hello world")}},
        {QStringLiteral("String"),
         {{QStringLiteral("-string"), QStringLiteral("42")}, VXValue(QStringLiteral("42")), QStringLiteral("42")}},
        {QStringLiteral("Hibernation Interval"),
         {{QStringLiteral("-int"), QStringLiteral("300")}, VXValue(300), QStringLiteral("300")}},
        {QStringLiteral("Negative"),
         {{QStringLiteral("-integer"), QStringLiteral("-7")}, VXValue(-7), QStringLiteral("-7")}},
        {QStringLiteral("Update Interval"),
         {{QStringLiteral("-float"), QStringLiteral("1.5")}, VXValue(1.5), QStringLiteral("1.5")}},
        {QStringLiteral("Alpha"),
         {{QStringLiteral("-real"), QStringLiteral("0.25")}, VXValue(0.25), QStringLiteral("0.25")}},
        {QStringLiteral("VXDebugLog"),
         {{QStringLiteral("-bool"), QStringLiteral("YES")}, VXValue(true), QStringLiteral("1")}},
        {QStringLiteral("False"),
         {{QStringLiteral("-boolean"), QStringLiteral("false")}, VXValue(false), QStringLiteral("0")}},
        {QStringLiteral("Zero"), {{QStringLiteral("-bool"), QStringLiteral("0")}, VXValue(false), QStringLiteral("0")}},
        {QStringLiteral("Date"),
         {{QStringLiteral("-date"), QStringLiteral("2024-05-01T11:30:00+02:00")},
          VXValue::dateFromUnixTime(date),
          QStringLiteral("2024-05-01 09:30:00 +0000")}},
        {QStringLiteral("Data"),
         {{QStringLiteral("-data"), QStringLiteral("0aff00")},
          VXValue(QByteArray("\x0a\xff\x00", 3)),
          QStringLiteral("<0aff00>")}},
        {QStringLiteral("Array"),
         {{QStringLiteral("-array"), QStringLiteral("a b"), QStringLiteral("-int"), QStringLiteral("2"),
           QStringLiteral("3")},
          array({QStringLiteral("a b"), 2, QStringLiteral("3")}),
          QStringLiteral("(\n    \"a b\",\n    2,\n    \"3\"\n)")}},
        {QStringLiteral("Dict"),
         {{QStringLiteral("-dict"), QStringLiteral("Name"), QStringLiteral("Mail"), QStringLiteral("Count"),
           QStringLiteral("-int"), QStringLiteral("3")},
          VXValue(dictionary),
          QStringLiteral("{\n    Count = 3;\n    Name = Mail;\n}")}},
        {QStringLiteral("Pie Color Components"),
         {{QStringLiteral("(0.2, 0.4, 0.6)")},
          array({0.2, 0.4, 0.6}),
          QStringLiteral("(\n    0.2,\n    0.4,\n    0.6\n)")}},
        {QStringLiteral("Old-Style"),
         {{QStringLiteral("{ Name = \"Inbox 2\"; Sizes = (1, -2.5e1, x1); }")}, VXValue(), QString()}},
    };
    for (const auto &[key, c] : cases) {
        SCOPED_TRACE(key.toStdString());
        const CommandResult run = defaults(QStringList {QStringLiteral("write"), key} + c.arguments);
        EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty());
        if (c.expected.isNull())
            continue;
        const CommandResult readBack = defaults({QStringLiteral("read"), key});
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
    const VXDictionary *oldStyle = file->value(QStringLiteral("Old-Style")).dictionary();
    ASSERT_NE(oldStyle, nullptr);
    EXPECT_EQ(oldStyle->value(QStringLiteral("Name")), VXValue(QStringLiteral("Inbox 2")));
    EXPECT_EQ(oldStyle->value(QStringLiteral("Sizes")), array({1, -25.0, QStringLiteral("x1")}));
    EXPECT_EQ(QFileInfo(filePath()).permissions() & 0x0077, QFileDevice::Permissions());

    // `read` without a key prints the domain as old-style text that reads back to the same keys.
    const CommandResult all = defaults({QStringLiteral("read")});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_TRUE(all.out.contains(QStringLiteral("\n    \"Hibernation Interval\" = 300;\n")));
    EXPECT_TRUE(all.out.contains(QStringLiteral("\n    String = \"42\";\n")));
    const VXValue reread = VXPropertyListSerialization::valueFromOpenStepData(all.out.toUtf8());
    ASSERT_TRUE(reread.isDictionary()) << all.out.toStdString();
    EXPECT_EQ(reread.dictionary()->size(), file->size());
    for (const auto &entry : *file)
        EXPECT_TRUE(reread.dictionary()->contains(entry.key)) << entry.key.toStdString();
    EXPECT_EQ(reread.dictionary()->value(QStringLiteral("Plain")), VXValue(QStringLiteral("hello world")));
    EXPECT_EQ(reread.dictionary()->value(QStringLiteral("Data")), VXValue(QByteArray("\x0a\xff\x00", 3)));
}

TEST_F(VXDefaultsCommandTest, DeleteAndMissingKeys)
{
    // A fresh install: no settings yet, and --all shows what Wendle uses instead.
    const CommandResult none = defaults({QStringLiteral("read")});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_TRUE(none.out.isEmpty());
    EXPECT_TRUE(none.err.startsWith(QStringLiteral("No settings have been changed yet"))) << none.err.toStdString();
    const CommandResult all = defaults({QStringLiteral("read"), QStringLiteral("--all")});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_TRUE(all.out.contains(QStringLiteral("\"Hibernation Interval\" = 600;"))) << all.out.toStdString();

    ASSERT_EQ(defaults({QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-int"), QStringLiteral("2")})
                  .exitCode,
              0);
    ASSERT_EQ(defaults({QStringLiteral("write"), QStringLiteral("Keep"), QStringLiteral("yes")}).exitCode, 0);
    const CommandResult removed = defaults({QStringLiteral("delete"), QStringLiteral("Sort")});
    EXPECT_EQ(removed.exitCode, 0) << removed.err.toStdString();

    const CommandResult missing = defaults({QStringLiteral("read"), QStringLiteral("Sort")});
    EXPECT_EQ(missing.exitCode, 1);
    EXPECT_TRUE(missing.out.isEmpty());
    EXPECT_EQ(missing.err,
              QStringLiteral("The domain/default pair of (com.brasswing.WendleClient, Sort) does not exist\n"
                             "It is not set; Wendle uses its default: 1\n"));
    // What is stored shows in --all over the defaults.
    const CommandResult effective = defaults({QStringLiteral("read"), QStringLiteral("--all")});
    EXPECT_TRUE(effective.out.contains(QStringLiteral("Keep = yes;")));
    EXPECT_TRUE(effective.out.contains(QStringLiteral("Sort = 1;")));

    const CommandResult again = defaults({QStringLiteral("delete"), QStringLiteral("Sort")});
    EXPECT_EQ(again.exitCode, 1);
    EXPECT_TRUE(again.err.contains(QStringLiteral("not found")));

    VXUserDefaults reader(VXUserDefaults::kDomain, folder());
    EXPECT_TRUE(reader.persistentObjectForKey(QStringLiteral("Sort")).isNull());
    EXPECT_EQ(reader.stringForKey(QStringLiteral("Keep")), QStringLiteral("yes"));
}

TEST_F(VXDefaultsCommandTest, UsageErrorsExitWithTwoAndChangeNothing)
{
    ASSERT_EQ(defaults({QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-int"), QStringLiteral("2")})
                  .exitCode,
              0);
    QFile file(filePath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray before = file.readAll();
    file.close();

    const QList<QStringList> wrong = {
        {},
        {QStringLiteral("frobnicate")},
        {QStringLiteral("read"), QStringLiteral("a"), QStringLiteral("b")},
        {QStringLiteral("write")},
        {QStringLiteral("write"), QStringLiteral("Sort")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("1"), QStringLiteral("2")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-int"), QStringLiteral("two")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-int")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-float"), QStringLiteral("1,5")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-bool"), QStringLiteral("maybe")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-date"), QStringLiteral("yesterday")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-data"), QStringLiteral("abc")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-dict"), QStringLiteral("lonely")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("-array"), QStringLiteral("-array"),
         QStringLiteral("x")},
        {QStringLiteral("write"), QStringLiteral("Sort"), QStringLiteral("(1, 2")},
        {QStringLiteral("delete")},
    };
    for (const QStringList &arguments : wrong) {
        SCOPED_TRACE(arguments.join(u' ').toStdString());
        const CommandResult run = defaults(arguments);
        EXPECT_EQ(run.exitCode, 2);
        // One line that says what is wrong, and where the usage is.
        EXPECT_TRUE(run.err.startsWith(QStringLiteral("wendle defaults: "))) << run.err.toStdString();
        EXPECT_EQ(run.err.count(u'\n'), 2) << run.err.toStdString();
        EXPECT_TRUE(run.err.endsWith(QStringLiteral("Run 'wendle defaults --help' for its usage.\n")));
    }
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), before);

    const CommandResult help = defaults({QStringLiteral("--help")});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_TRUE(help.out.contains(QStringLiteral("-array")));
}

TEST_F(VXDefaultsCommandTest, ARunningStoreAnnouncesWhatTheCommandWrote)
{
    VXUserDefaults running(VXUserDefaults::kDomain, folder());
    running.setInteger(600, QStringLiteral("Hibernation Interval"));
    ASSERT_TRUE(running.synchronize());
    QStringList announced;
    QObject::connect(&running, &VXUserDefaults::valueChanged, &running,
                     [&](const QString &key) { announced.append(key); });

    ASSERT_EQ(defaults({QStringLiteral("write"), QStringLiteral("VXDebugLog"), QStringLiteral("-bool"),
                        QStringLiteral("YES")})
                  .exitCode,
              0);
    ASSERT_TRUE(VXWaitUntil([&] { return !announced.isEmpty(); }));
    VXSpinEventLoop(200);
    EXPECT_EQ(announced, QStringList({QStringLiteral("VXDebugLog")}));
    EXPECT_TRUE(running.boolForKey(QStringLiteral("VXDebugLog")));
    EXPECT_EQ(running.integerForKey(QStringLiteral("Hibernation Interval")), 600);
}
