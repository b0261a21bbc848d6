// `wendle config show` and `wendle config import FILE` against a temporary data and settings
// folder: what show prints (checked with plistlib), what import keeps and writes, and the files
// it refuses. In-process, and once through the built program.

#include "VXConfigCommand.h"
#include "VXPropertyListSerialization.h"
#include "VXSettingsTestSupport.h"
#include "VXTestProcess.h"
#include "VXUserDefaults.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTextStream>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

struct Result {
    int exitCode = -1;
    QString out;
    QString err;
};

unsigned modeOf(const QString &path)
{
    struct stat status {
    };
    return ::stat(QFile::encodeName(path).constData(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class ConfigCommandTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite() { VXEnsureCoreApplication(); }

    void SetUp() override
    {
        m_previousDataHome = qgetenv("XDG_DATA_HOME");
        qputenv("XDG_DATA_HOME", QFile::encodeName(dataHome()));
    }
    void TearDown() override { qputenv("XDG_DATA_HOME", m_previousDataHome); }

    QString dataHome() const { return m_folder.path() + u"/data"_s; }
    QString settingsFolder() const { return m_folder.path() + u"/config/Wendle"_s; }
    QString configurationFolder() const { return dataHome() + u"/Wendle/Configurations"_s; }
    QString configurationFile() const { return configurationFolder() + u"/Default.plist"_s; }
    QString scratch(const QString &name) const { return m_folder.path() + u'/' + name; }

    Result config(const QStringList &arguments) const
    {
        Result result;
        QTextStream out(&result.out);
        QTextStream err(&result.err);
        result.exitCode = VXConfigCommand::run(arguments, out, err, settingsFolder());
        return result;
    }

    // plistlib's reading of the data, as Python's repr of the value.
    static std::optional<QString> plistlibRepr(const QByteArray &data)
    {
        const QString python = VXTestPython();
        if (python.isEmpty())
            return std::nullopt;
        const VXProcessResult run = VXRunProcess(
            python, {u"-c"_s, u"import plistlib, sys; print(repr(plistlib.loads(sys.stdin.buffer.read())))"_s}, 60000,
            data);
        if (!run.started || run.exitCode != 0)
            return std::nullopt;
        return QString::fromUtf8(run.standardOutput).trimmed();
    }

    QTemporaryDir m_folder;
    QByteArray m_previousDataHome;
};

VXDictionaryRef sampleTree(double time)
{
    VXDictionaryRef editor = VXMakeDictionary();
    editor->insert(u"Name"_s, u"Editor \u00e9"_s);
    editor->insert(u"Time"_s, time);
    VXArrayRef log = VXMakeArray();
    log->append(1750000000.0);
    log->append(-1750000100.5);
    editor->insert(u"Active Log"_s, log);
    VXDictionaryRef applications = VXMakeDictionary();
    applications->insert(u"org.example.Editor"_s, editor);
    VXDictionaryRef tree = VXMakeDictionary();
    tree->insert(u"Applications"_s, applications);
    tree->insert(u"Last Timestamp"_s, 1750000100.5);
    return tree;
}

}   // namespace

TEST_F(ConfigCommandTest, ShowPrintsTheSavedFileOrTheSettingsCopyAsXML)
{
    Result shown = config({u"show"_s});
    EXPECT_EQ(shown.exitCode, VXConfigCommand::Failure);
    EXPECT_EQ(shown.err, u"no saved configuration at <%1>\n"_s.arg(configurationFile()));

    // Only the settings copy: shown, with a note.
    {
        VXUserDefaults settings(VXUserDefaults::kDomain, settingsFolder());
        settings.setObject(VXValue(sampleTree(7.0)), u"Default Configuration"_s);
        ASSERT_TRUE(settings.synchronize());
    }
    shown = config({u"show"_s});
    EXPECT_EQ(shown.exitCode, VXConfigCommand::Success);
    EXPECT_TRUE(shown.err.contains(u"Default Configuration"_s));
    EXPECT_EQ(VXPropertyListSerialization::valueFromXMLData(shown.out.toUtf8()), VXValue(sampleTree(7.0)));

    // The file wins, in binary form, printed as XML that plistlib reads to the same values.
    ASSERT_TRUE(QDir().mkpath(configurationFolder()));
    ASSERT_TRUE(writeToBinaryFile(VXValue(sampleTree(12.5)), configurationFile(), true));
    shown = config({u"show"_s});
    ASSERT_EQ(shown.exitCode, VXConfigCommand::Success);
    EXPECT_TRUE(shown.err.isEmpty());
    EXPECT_TRUE(shown.out.startsWith(u"<?xml"_s));
    EXPECT_EQ(VXPropertyListSerialization::valueFromData(shown.out.toUtf8()), VXValue(sampleTree(12.5)));
    const std::optional<QString> fromXML = plistlibRepr(shown.out.toUtf8());
    const std::optional<QString> fromBinary = plistlibRepr(VXReadFile(configurationFile()));
    if (!fromXML || !fromBinary)
        GTEST_SKIP() << "no python3 with plistlib";
    EXPECT_EQ(*fromXML, *fromBinary);
    EXPECT_TRUE(fromXML->contains(u"'Time': 12.5"_s));

    // A damaged file is reported, not shown.
    ASSERT_TRUE(VXWriteFile(configurationFile(), "bplist00\x01\x02"));
    shown = config({u"show"_s});
    EXPECT_EQ(shown.exitCode, VXConfigCommand::Failure);
    EXPECT_TRUE(shown.err.contains(u"is damaged"_s));
}

TEST_F(ConfigCommandTest, ImportKeepsThePreviousFileAndWritesTheProgramsForm)
{
    const std::optional<QByteArray> xml = VXPropertyListSerialization::dataFromValue(
        VXValue(sampleTree(30.0)), VXPropertyListSerialization::Format::XML);
    ASSERT_TRUE(xml);
    ASSERT_TRUE(VXWriteFile(scratch(u"week.plist"_s), *xml));

    // Nothing there yet: nothing to keep.
    Result imported = config({u"import"_s, scratch(u"week.plist"_s)});
    ASSERT_EQ(imported.exitCode, VXConfigCommand::Success) << imported.err.toStdString();
    EXPECT_TRUE(
        imported.out.startsWith(u"imported <%1> into <%2>\n"_s.arg(scratch(u"week.plist"_s), configurationFile())));
    EXPECT_FALSE(imported.out.contains(u"kept as"_s));
    const QByteArray first = VXReadFile(configurationFile());
    EXPECT_TRUE(first.startsWith("bplist00"));
    EXPECT_EQ(VXPropertyListSerialization::valueFromData(first), VXValue(sampleTree(30.0)));
    EXPECT_EQ(modeOf(configurationFile()), 0600u);
    EXPECT_EQ(modeOf(configurationFolder()), 0700u);
    EXPECT_EQ(modeOf(dataHome() + u"/Wendle"_s), 0700u);

    // Old-style text over it: the binary file is kept beside it, named with the time.
    ASSERT_TRUE(VXWriteFile(scratch(u"hand.txt"_s),
                            "{ Applications = {}; \"Application Blacklist\" = ( Wendle, Terminal ); }"));
    imported = config({u"import"_s, scratch(u"hand.txt"_s)});
    ASSERT_EQ(imported.exitCode, VXConfigCommand::Success) << imported.err.toStdString();
    QStringList kept = QDir(configurationFolder()).entryList({u"Default *.plist"_s}, QDir::Files);
    ASSERT_EQ(kept.size(), 1);
    EXPECT_TRUE(QRegularExpression(u"^Default \\d{4}-\\d\\d-\\d\\d \\d\\d\\.\\d\\d\\.\\d\\d\\.plist$"_s)
                    .match(kept.at(0))
                    .hasMatch())
        << kept.at(0).toStdString();
    EXPECT_EQ(VXReadFile(configurationFolder() + u'/' + kept.at(0)), first);
    EXPECT_EQ(modeOf(configurationFolder() + u'/' + kept.at(0)), 0600u);
    EXPECT_TRUE(imported.out.contains(
        u"the previous configuration is kept as <%1/%2>"_s.arg(configurationFolder(), kept.at(0))));
    const VXValue now = VXPropertyListSerialization::valueFromData(VXReadFile(configurationFile()));
    ASSERT_TRUE(now.isDictionary());
    EXPECT_EQ(now.dictionary()->value(u"Application Blacklist"_s).array()->at(1).toString(), u"Terminal"_s);

    // Again within the same second: a second name, nothing overwritten.
    ASSERT_EQ(config({u"import"_s, scratch(u"week.plist"_s)}).exitCode, VXConfigCommand::Success);
    ASSERT_EQ(config({u"import"_s, scratch(u"week.plist"_s)}).exitCode, VXConfigCommand::Success);
    kept = QDir(configurationFolder()).entryList({u"Default *.plist"_s}, QDir::Files);
    EXPECT_EQ(kept.size(), 3);
}

TEST_F(ConfigCommandTest, ImportRefusesWhatIsNoConfigurationAndTouchesNothing)
{
    ASSERT_TRUE(QDir().mkpath(configurationFolder()));
    ASSERT_TRUE(writeToBinaryFile(VXValue(sampleTree(1.0)), configurationFile(), true));
    const QByteArray before = VXReadFile(configurationFile());

    VXArrayRef list = VXMakeArray();
    list->append(u"Applications"_s);
    ASSERT_TRUE(writeToBinaryFile(VXValue(list), scratch(u"array.plist"_s), false));
    Result refused = config({u"import"_s, scratch(u"array.plist"_s)});
    EXPECT_EQ(refused.exitCode, VXConfigCommand::Failure);
    EXPECT_TRUE(refused.err.startsWith(
        u"cannot import <%1>: its root is an array, not a dictionary"_s.arg(scratch(u"array.plist"_s))))
        << refused.err.toStdString();

    ASSERT_TRUE(VXWriteFile(scratch(u"string.plist"_s), "\"just text\""));
    refused = config({u"import"_s, scratch(u"string.plist"_s)});
    EXPECT_EQ(refused.exitCode, VXConfigCommand::Failure);
    EXPECT_TRUE(refused.err.contains(u"its root is a string, not a dictionary"_s)) << refused.err.toStdString();

    ASSERT_TRUE(VXWriteFile(scratch(u"broken.plist"_s), "<?xml version=\"1.0\"?><plist><dict><key>a</key>"));
    refused = config({u"import"_s, scratch(u"broken.plist"_s)});
    EXPECT_EQ(refused.exitCode, VXConfigCommand::Failure);
    EXPECT_TRUE(refused.err.contains(u"it is not a property list"_s)) << refused.err.toStdString();

    refused = config({u"import"_s, scratch(u"missing.plist"_s)});
    EXPECT_EQ(refused.exitCode, VXConfigCommand::Failure);
    EXPECT_TRUE(refused.err.startsWith(u"cannot import <%1>: "_s.arg(scratch(u"missing.plist"_s))));

    EXPECT_EQ(VXReadFile(configurationFile()), before);
    EXPECT_EQ(QDir(configurationFolder()).entryList(QDir::Files), QStringList({u"Default.plist"_s}));

    EXPECT_EQ(config({}).exitCode, VXConfigCommand::UsageError);
    EXPECT_EQ(config({u"import"_s}).exitCode, VXConfigCommand::UsageError);
    EXPECT_EQ(config({u"show"_s, u"extra"_s}).exitCode, VXConfigCommand::UsageError);
    const Result help = config({u"--help"_s});
    EXPECT_EQ(help.exitCode, VXConfigCommand::Success);
    EXPECT_TRUE(help.out.startsWith(u"usage: wendle config show\n"_s));
}

TEST_F(ConfigCommandTest, TheBuiltProgramRunsBoth)
{
    if (!QFileInfo(QStringLiteral(WENDLE_BINARY)).isExecutable())
        GTEST_SKIP() << "the wendle program has not been built";
    const std::optional<QByteArray> xml = VXPropertyListSerialization::dataFromValue(
        VXValue(sampleTree(44.0)), VXPropertyListSerialization::Format::XML);
    ASSERT_TRUE(xml);
    ASSERT_TRUE(VXWriteFile(scratch(u"in.plist"_s), *xml));
    auto run = [&](const QStringList &arguments) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DATA_HOME"_s, dataHome());
        environment.insert(u"XDG_CONFIG_HOME"_s, m_folder.path() + u"/config"_s);
        process.setProcessEnvironment(environment);
        process.start(QStringLiteral(WENDLE_BINARY), QStringList {u"config"_s} + arguments);
        Result result;
        if (!process.waitForFinished(30000) || process.exitStatus() != QProcess::NormalExit)
            return result;
        result.exitCode = process.exitCode();
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    };
    const Result imported = run({u"import"_s, scratch(u"in.plist"_s)});
    ASSERT_EQ(imported.exitCode, 0) << imported.err.toStdString();
    const Result shown = run({u"show"_s});
    ASSERT_EQ(shown.exitCode, 0) << shown.err.toStdString();
    EXPECT_EQ(shown.out.toUtf8(), *xml);   // the same writer: the same bytes
    EXPECT_EQ(run({u"import"_s}).exitCode, 2);
}
