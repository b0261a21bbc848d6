#include "VXAutostartFolder.h"

#include "VXDesktopEntry.h"
#include "VXXdgLogging.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>
#include <QSet>
#include <QStandardPaths>

#include <algorithm>

namespace {

constexpr QLatin1StringView kAutostart("autostart");
constexpr QLatin1StringView kApplicationType("Application");

// Characters that make an argument of an Exec line need quotes, and those escaped inside them.
constexpr QLatin1StringView kReservedCharacters(" \t\n\"'\\><~|&;$*?#()`");
constexpr QLatin1StringView kEscapedInQuotes("\"`$\\");

QString firstArgument(const QString &commandLine)
{
    const QString line = commandLine.trimmed();
    if (!line.startsWith(u'"'))
        return line.section(u' ', 0, 0, QString::SectionSkipEmpty);
    QString argument;
    for (qsizetype i = 1; i < line.size(); ++i) {
        const QChar c = line[i];
        if (c == u'"')
            return argument;
        if (c == u'\\' && i + 1 < line.size() && kEscapedInQuotes.contains(line[i + 1]))
            argument.append(line[++i]);
        else
            argument.append(c);
    }
    return QString();   // no closing quote: not a command line
}

// Backslashes are escaped once more in the file itself; "%" is a field code unless doubled.
QByteArray fileValue(const QString &value)
{
    QString escaped = value;
    escaped.replace(u'\\', QLatin1String("\\\\"))
        .replace(u'%', QLatin1String("%%"))
        .replace(u'\n', QLatin1String("\\n"));
    return escaped.toUtf8();
}

}   // namespace

VXAutostartFolder::VXAutostartFolder(const QString &userFolder, const QStringList &systemFolders) :
    m_userFolder(userFolder), m_systemFolders(systemFolders)
{
}

VXAutostartFolder VXAutostartFolder::standard()
{
    // The first configuration location is the user's; the others are the system's, in order.
    QStringList folders = QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation);
    const QString user = folders.isEmpty() ? QString() : folders.takeFirst();
    for (QString &folder : folders)
        folder = folder + u'/' + kAutostart;
    return VXAutostartFolder(user.isEmpty() ? QString() : user + u'/' + kAutostart, folders);
}

QString VXAutostartFolder::executableForCommandLine(const QString &commandLine)
{
    // "%%" is a plain "%" (other field codes never stand in the program's path).
    const QString argument = firstArgument(commandLine).replace(QLatin1String("%%"), QLatin1String("%"));
    if (argument.isEmpty())
        return QString();
    QString path;
    if (argument.contains(u'/')) {
        if (!QDir::isAbsolutePath(argument))
            return QString();
        path = QDir::cleanPath(argument);
    } else {
        path = QStandardPaths::findExecutable(argument);
        if (path.isEmpty())
            return QString();
    }
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? path : canonical;
}

QString VXAutostartFolder::commandLineForExecutable(const QString &path)
{
    if (!std::any_of(path.begin(), path.end(), [](QChar c) { return kReservedCharacters.contains(c); }))
        return path;
    QString quoted = QStringLiteral("\"");
    for (const QChar c : path) {
        if (kEscapedInQuotes.contains(c))
            quoted.append(u'\\');
        quoted.append(c);
    }
    return quoted + u'"';
}

bool VXAutostartFolder::open()
{
    if (m_userFolder.isEmpty())
        return false;
    // A folder that does not exist yet is an empty list; something else under its name is not.
    const QFileInfo folder(m_userFolder);
    return !folder.exists() || folder.isDir();
}

bool VXAutostartFolder::snapshot(QList<VXLoginItemsListEntry> &entries)
{
    entries.clear();
    QSet<QString> seen;
    const auto addFolder = [&](const QString &folderPath, bool isUserFolder) {
        const QDir folder(folderPath);
        if (!folder.exists())
            return true;
        if (!folder.isReadable())
            return !isUserFolder;   // an unreadable system folder hides nothing from us
        const QStringList names = folder.entryList({QStringLiteral("*.desktop")}, QDir::Files, QDir::Name);
        int count = 0;
        for (const QString &name : names) {
            if (++count > kMaximumEntries) {
                qCWarning(lcXdg).noquote() << "too many autostart entries in" << folderPath << "- the rest are skipped";
                break;
            }
            if (seen.contains(name))
                continue;
            seen.insert(name);
            VXLoginItemsListEntry item;
            item.location = folder.filePath(name);
            VXDesktopEntry entry;
            if (VXDesktopEntry::read(item.location, entry)) {
                // A hidden entry that names no program only switches off the system-wide one.
                if (entry.hidden && entry.exec.isEmpty())
                    continue;
                item.path = executableForCommandLine(entry.exec);
                item.hidden = entry.hidden;
                item.damaged = entry.type != kApplicationType;
            }
            entries.append(item);
        }
        return true;
    };
    if (!addFolder(m_userFolder, true))
        return false;
    for (const QString &folder : m_systemFolders)
        addFolder(folder, false);
    return true;
}

QString VXAutostartFolder::systemEntryPath(const QString &fileName) const
{
    for (const QString &folder : m_systemFolders) {
        const QString path = folder + u'/' + fileName;
        if (QFileInfo(path).isFile())
            return path;
    }
    return QString();
}

bool VXAutostartFolder::remove(const VXLoginItemsListEntry &entry)
{
    const QFileInfo info(entry.location);
    const QString fileName = info.fileName();
    // A system-wide entry (or one behind ours) can only be shadowed.
    if (!systemEntryPath(fileName).isEmpty())
        return writeRemoval(fileName);
    if (QFile::remove(entry.location))
        return true;
    qCWarning(lcXdg).noquote() << "cannot remove" << entry.location;
    return false;
}

bool VXAutostartFolder::insert(const QString &path)
{
    // Our file name, unless another program's entry (or one we cannot read) has it: that one is
    // left alone and ours gets a name of its own.
    const QString base = QFileInfo(kEntryFileName).completeBaseName();
    for (int attempt = 1; attempt <= 100; ++attempt) {
        const QString fileName = attempt == 1 ? kEntryFileName : QStringLiteral("%1-%2.desktop").arg(base).arg(attempt);
        const QString existing = m_userFolder + u'/' + fileName;
        if (QFileInfo::exists(existing)) {
            VXDesktopEntry entry;
            const bool replaceable = VXDesktopEntry::read(existing, entry)
                && ((entry.hidden && entry.exec.isEmpty())
                    || executableForCommandLine(entry.exec).compare(path, Qt::CaseInsensitive) == 0);
            if (!replaceable)
                continue;
        }
        return writeEntry(fileName, path, false);
    }
    return false;
}

bool VXAutostartFolder::repair(const VXLoginItemsListEntry &entry, const QString &path)
{
    return writeEntry(QFileInfo(entry.location).fileName(), path, entry.hidden);
}

bool VXAutostartFolder::writeEntry(const QString &fileName, const QString &path, bool hidden)
{
    QByteArray contents = "[Desktop Entry]\nType=Application\nName=Wendle\n"
                          "Comment=Automatic time tracker\nExec="
        + fileValue(commandLineForExecutable(path)) + "\nTerminal=false\n";
    if (hidden)
        contents += "Hidden=true\n";
    return writeFile(fileName, contents);
}

bool VXAutostartFolder::writeRemoval(const QString &fileName)
{
    return writeFile(fileName, "[Desktop Entry]\nType=Application\nHidden=true\n");
}

bool VXAutostartFolder::writeFile(const QString &fileName, const QByteArray &contents)
{
    if (!QDir().mkpath(m_userFolder)) {
        qCWarning(lcXdg).noquote() << "cannot make the autostart folder" << m_userFolder;
        return false;
    }
    QSaveFile file(m_userFolder + u'/' + fileName);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size() || !file.commit()) {
        qCWarning(lcXdg).noquote() << "cannot write" << file.fileName() << ":" << file.errorString();
        return false;
    }
    return true;
}
