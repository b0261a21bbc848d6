#include "VXConfigCommand.h"

#include "VXBinaryPropertyListReader.h"
#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXJournal.h"
#include "VXLibraryFolders.h"
#include "VXPropertyListSerialization.h"
#include "VXRecordReading.h"
#include "VXSingleInstance.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <algorithm>

const QString VXConfigCommand::kName = QStringLiteral("config");

namespace {

// The messages' context for translators.
struct Text {
    Q_DECLARE_TR_FUNCTIONS(VXConfigCommand)
};

const QString kShow = QStringLiteral("show");
const QString kImport = QStringLiteral("import");

// The running Wendle reads and saves the file before it answers: a large record takes a while.
constexpr int kImportTimeout = 60000;   // milliseconds

// "an array", "a string": the root's type for a message (a dictionary is never asked for).
QString typeWithArticle(const VXValue &value)
{
    switch (value.type()) {
    case VXValue::Type::Boolean: return Text::tr("a boolean");
    case VXValue::Type::Integer: return Text::tr("an integer");
    case VXValue::Type::Real: return Text::tr("a real number");
    case VXValue::Type::Date: return Text::tr("a date");
    case VXValue::Type::String: return Text::tr("a string");
    case VXValue::Type::Data: return Text::tr("data");
    case VXValue::Type::Array: return Text::tr("an array");
    case VXValue::Type::Dictionary: return Text::tr("a dictionary");
    case VXValue::Type::Null: break;
    }
    return Text::tr("a null");
}

int show(QTextStream &out, QTextStream &err, const QString &settingsFolder)
{
    const QString path = VXDefaultConfigurationFilePath();
    VXValue configuration;
    QFile file(path);
    if (file.exists()) {
        if (!file.open(QIODevice::ReadOnly)) {
            err << Text::tr("cannot read the configuration <%1>: %2\n").arg(path, file.errorString());
            return VXConfigCommand::Failure;
        }
        const QByteArray data = file.readAll();
        configuration = VXPropertyListSerialization::valueFromData(data);
        // What the journal kept since the last save (after a crash) belongs to the record shown.
        VXDictionary *tree = configuration.dictionary();
        if (tree && VXJournalHasEntries(path))
            VXApplyJournalToReadTree(*tree, VXJournalFile::header(data), path);
        if (configuration.isNull()) {
            err << Text::tr("the configuration <%1> is damaged: Wendle would start with an empty record and "
                            "replace it at its next save\n")
                       .arg(path);
            return VXConfigCommand::Failure;
        }
        if (!configuration.isDictionary())
            err << Text::tr("the configuration <%1> holds a property list whose root is %2, not a dictionary: "
                            "Wendle would start with an empty record\n")
                       .arg(path, typeWithArticle(configuration));
    } else {
        const VXUserDefaults defaults(VXUserDefaults::kDomain, settingsFolder, nullptr, VXUserDefaults::Watching::None);
        configuration = defaults.persistentObjectForKey(VXDefaultConfigurationKey);
        if (!configuration.isDictionary()) {
            err << Text::tr("no saved configuration at <%1>\n").arg(path);
            return VXConfigCommand::Failure;
        }
        err << Text::tr("no configuration file at <%1>; showing the copy kept in the settings under \"%2\"\n")
                   .arg(path, VXDefaultConfigurationKey);
    }
    const std::optional<QByteArray> xml
        = VXPropertyListSerialization::dataFromValue(configuration, VXPropertyListSerialization::Format::XML);
    if (!xml) {
        err << Text::tr("cannot write the configuration <%1> as XML\n").arg(path);
        return VXConfigCommand::Failure;
    }
    out << QString::fromUtf8(*xml);
    return VXConfigCommand::Success;
}

// The file written here, while no Wendle runs (the lock is held throughout).
int importIntoFile(const QString &source, const VXDictionaryRef &configuration, QTextStream &out, QTextStream &err)
{
    const QString folder = libraryFolderPathWithName(VXConfigurationsFolderName);
    if (folder.isEmpty()) {
        err << Text::tr("cannot import <%1>: the folder <%2> cannot be made\n")
                   .arg(source, QFileInfo(VXDefaultConfigurationFilePath()).path());
        return VXConfigCommand::Failure;
    }
    const QString target = folder + u'/' + VXDefaultConfigurationFileName;
    QString backup;
    if (QFileInfo::exists(target)) {
        backup = VXConfigCommand::backupPathFor(target);
        // A copy, not a move: until the new file is in place, the old one stays where it was.
        if (!QFile::copy(target, backup)) {
            err << Text::tr("cannot import <%1>: the previous configuration cannot be kept as <%2>\n")
                       .arg(source, backup);
            return VXConfigCommand::Failure;
        }
        QFile::setPermissions(backup, QFile::ReadOwner | QFile::WriteOwner);
    }
    if (!writeToBinaryFile(VXValue(configuration), target, true)) {
        err << Text::tr("cannot import <%1>: <%2> cannot be written\n").arg(source, target);
        if (!backup.isEmpty())
            QFile::remove(backup);
        return VXConfigCommand::Failure;
    }
    out << Text::tr("imported <%1> into <%2>\n").arg(source, target);
    if (!backup.isEmpty())
        out << Text::tr("the previous configuration is kept as <%1>\n").arg(backup);
    return VXConfigCommand::Success;
}

int import(const QString &source, QTextStream &out, QTextStream &err)
{
    QString error;
    const VXDictionaryRef configuration = VXConfigCommand::importableConfiguration(source, &error);
    if (!configuration) {
        err << error << '\n';
        return VXConfigCommand::Failure;
    }
    VXSingleInstance instance(VXSingleInstance::defaultLockPath(), VXSingleInstance::defaultSocketPath());
    switch (instance.lock(&error)) {
    case VXSingleInstance::Lock::Acquired: return importIntoFile(source, configuration, out, err);
    case VXSingleInstance::Lock::Failed:
        err << Text::tr("cannot import <%1>: %2\n").arg(source, error);
        return VXConfigCommand::Failure;
    case VXSingleInstance::Lock::HeldByAnother: break;
    }
    // Wendle runs: it would save its own record over the file, so it takes the import itself.
    const std::optional<QByteArray> reply = VXSingleInstance::send(
        VXSingleInstance::defaultSocketPath(),
        {VXInstanceRequest::Kind::Import, {QFileInfo(source).absoluteFilePath()}}, kImportTimeout);
    if (!reply) {
        err << Text::tr("cannot import <%1>: Wendle is running but does not answer, and it would save its own "
                        "record over the file; quit Wendle, then import again\n")
                   .arg(source);
        return VXConfigCommand::Failure;
    }
    if (!VXSingleInstance::isOkReply(*reply, &error)) {
        err << error << '\n';
        return VXConfigCommand::Failure;
    }
    out << QString::fromUtf8(reply->mid(reply->indexOf('\n') + 1));
    return VXConfigCommand::Success;
}

}   // namespace

const QStringList &VXConfigCommand::recordKeys()
{
    static const QStringList keys {VXApplicationsKey,    VXPoolsKey,       VXApplicationBlacklistKey,
                                   VXWindowBlacklistKey, VXCutoffsKey,     VXFirstTimestampKey,
                                   VXLastTimestampKey,   VXOverallTimeKey, VXFirstPoolTimestampKey,
                                   VXOverallPoolTimeKey};
    return keys;
}

VXDictionaryRef VXConfigCommand::importableConfiguration(const QString &path, QString *error, VXDictionaryRef *twin)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = Text::tr("cannot import <%1>: %2").arg(path, file.errorString());
        return VXDictionaryRef();
    }
    const QByteArray data = file.readAll();
    VXValue twinValue;
    const VXValue configuration = twin && VXBinaryPropertyListReader::hasBinaryMagic(data)
        ? VXBinaryPropertyListReader::read(data, &twinValue)
        : VXPropertyListSerialization::valueFromData(data);
    if (twin && configuration.isDictionary() && twinValue.isDictionary())
        *twin = twinValue.dictionaryRef();
    if (configuration.isNull()) {
        *error = Text::tr("cannot import <%1>: it is not a property list (binary, XML or old-style text)").arg(path);
        return VXDictionaryRef();
    }
    if (!configuration.isDictionary()) {
        *error = Text::tr("cannot import <%1>: its root is %2, not a dictionary; a configuration is a dictionary "
                          "with \"Applications\", \"Pools\" and the rest of the record")
                     .arg(path, typeWithArticle(configuration));
        return VXDictionaryRef();
    }
    const VXDictionary &dictionary = *configuration.dictionary();
    if (std::none_of(recordKeys().begin(), recordKeys().end(),
                     [&](const QString &key) { return dictionary.contains(key); })) {
        *error = Text::tr("cannot import <%1>: it is not a Wendle record; it holds none of its keys (\"%2\")%3")
                     .arg(path, recordKeys().join(QStringLiteral("\", \"")),
                          dictionary.contains(VXDefaultConfigurationKey) ? Text::tr("; it looks like the settings file")
                                                                         : QString());
        return VXDictionaryRef();
    }
    return configuration.dictionaryRef();
}

QString VXConfigCommand::backupPathFor(const QString &file)
{
    const QFileInfo info(file);
    const QString stem = info.path() + u'/' + info.completeBaseName() + u' '
        + QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd HH.mm.ss"));
    const QString suffix = u'.' + info.suffix();
    QString candidate = stem + suffix;
    for (int number = 2; QFileInfo::exists(candidate); ++number)
        candidate = stem + u' ' + QString::number(number) + suffix;
    return candidate;
}

QString VXConfigCommand::usage()
{
    return Text::tr("usage: wendle config show\n"
                    "       wendle config import FILE\n"
                    "\n"
                    "show    print the saved configuration as an XML property list\n"
                    "import  replace the record with FILE (a property list in binary, XML or\n"
                    "        old-style text form whose root is a dictionary with a record's keys);\n"
                    "        the previous record is kept beside it, named with the date and time.\n"
                    "        While Wendle runs, it takes the import in itself (Undo brings the\n"
                    "        previous record back).\n");
}

int VXConfigCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err,
                         const QString &settingsFolder)
{
    if (arguments.size() == 1
        && (arguments.at(0) == QLatin1StringView("--help") || arguments.at(0) == QLatin1StringView("-h"))) {
        out << usage();
        return Success;
    }
    if (arguments.size() == 1 && arguments.at(0) == kShow)
        return show(out, err, settingsFolder);
    if (arguments.size() == 2 && arguments.at(0) == kImport)
        return import(arguments.at(1), out, err);
    err << "wendle config: "
        << (arguments.isEmpty() ? Text::tr("a command is needed: show or import FILE")
                                : Text::tr("unknown use \"%1\"").arg(arguments.join(u' ')))
        << '\n'
        << Text::tr("Run 'wendle config --help' for its usage.") << '\n';
    return UsageError;
}
