#include "VXDesktopEntryLauncher.h"

#include "VXDesktopEntry.h"
#include "VXXdgLogging.h"

#include <QFile>
#include <QFileInfo>
#include <QProcess>

#include <utility>

namespace {

// Key-file escapes: \s, \n, \t, \r and \\.
QString unescaped(const QString &value)
{
    QString plain;
    plain.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const QChar c = value[i];
        if (c != QLatin1Char('\\') || i + 1 == value.size()) {
            plain.append(c);
            continue;
        }
        switch (value[++i].unicode()) {
        case 's': plain.append(QLatin1Char(' ')); break;
        case 'n': plain.append(QLatin1Char('\n')); break;
        case 't': plain.append(QLatin1Char('\t')); break;
        case 'r': plain.append(QLatin1Char('\r')); break;
        case '\\': plain.append(QLatin1Char('\\')); break;
        default: plain.append(QLatin1Char('\\')); plain.append(value[i]);
        }
    }
    return plain;
}

}   // namespace

QStringList VXSplitExecLine(const QString &exec, const QString &name, const QString &desktopFilePath)
{
    QStringList words;
    QString word;
    bool inWord = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec[i];
        if (quoted) {
            if (c == QLatin1Char('"')) {
                quoted = false;
            } else if (c == QLatin1Char('\\') && i + 1 < exec.size()
                       && QStringLiteral("\"`$\\").contains(exec[i + 1])) {
                word.append(exec[++i]);
            } else {
                word.append(c);
            }
            continue;
        }
        if (c == QLatin1Char(' ') || c == QLatin1Char('\t') || c == QLatin1Char('\n')) {
            if (inWord)
                words.append(std::exchange(word, QString()));
            inWord = false;
            continue;
        }
        inWord = true;
        if (c == QLatin1Char('"')) {
            quoted = true;
        } else if (c == QLatin1Char('%') && i + 1 < exec.size()) {
            // Field codes: no files or URLs are handed over, so those vanish with their word
            // when they are all of it.
            switch (exec[++i].unicode()) {
            case '%': word.append(QLatin1Char('%')); break;
            case 'c': word.append(name); break;
            case 'k': word.append(desktopFilePath); break;
            default:
                if (word.isEmpty() && (i + 1 == exec.size() || exec[i + 1] == QLatin1Char(' ')))
                    inWord = false;
            }
        } else {
            word.append(c);
        }
    }
    if (quoted)
        return {};
    if (inWord)
        words.append(word);
    return words;
}

bool VXDesktopEntryCommandLine(const QString &path, VXDesktopEntryCommand &command, QString *whyNot)
{
    const auto fail = [&](const QString &reason) {
        if (whyNot)
            *whyNot = reason;
        return false;
    };
    // A FIFO or a device behind the name would block the reader: regular files of sane size only.
    const QFileInfo info(path);
    if (!info.isFile() || info.size() > VXDesktopEntry::kMaximumFileSize)
        return fail(QStringLiteral("<%1> is not a readable desktop entry").arg(path));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read <%1>").arg(path));
    const QByteArray data = file.read(VXDesktopEntry::kMaximumFileSize);
    VXDesktopEntry entry;
    VXDesktopEntry::parse(data, entry);

    QString exec;
    bool inGroup = false;
    for (const QByteArray &rawLine : data.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (line.startsWith('['))
            inGroup = line == "[Desktop Entry]";
        else if (inGroup && line.startsWith("Exec") && line.mid(4).trimmed().startsWith('='))
            exec = unescaped(QString::fromUtf8(line.mid(line.indexOf('=') + 1).trimmed()));
        else if (inGroup && line.startsWith("Path") && line.mid(4).trimmed().startsWith('='))
            command.workingDirectory = unescaped(QString::fromUtf8(line.mid(line.indexOf('=') + 1).trimmed()));
    }
    if (exec.isEmpty())
        return fail(QStringLiteral("<%1> has no Exec line").arg(path));
    const QStringList words = VXSplitExecLine(exec, entry.name, path);
    if (words.isEmpty())
        return fail(QStringLiteral("the Exec line of <%1> cannot be read").arg(path));
    command.program = words.first();
    command.arguments = words.mid(1);
    return true;
}

bool VXLaunchApplication(const QString &bundlePath, QString *whyNot)
{
    VXDesktopEntryCommand command;
    if (bundlePath.endsWith(QLatin1StringView(".desktop"))) {
        if (!VXDesktopEntryCommandLine(bundlePath, command, whyNot))
            return false;
    } else if (QFileInfo(bundlePath).isExecutable()) {
        command.program = bundlePath;
    } else {
        if (whyNot)
            *whyNot = QStringLiteral("<%1> is neither a desktop entry nor a program").arg(bundlePath);
        return false;
    }
    qint64 pid = 0;
    if (!QProcess::startDetached(command.program, command.arguments, command.workingDirectory, &pid)) {
        if (whyNot)
            *whyNot = QStringLiteral("cannot start <%1>").arg(command.program);
        return false;
    }
    qCInfo(lcXdg).noquote() << QStringLiteral("launched <%1> (process %2)").arg(command.program, QString::number(pid));
    return true;
}
