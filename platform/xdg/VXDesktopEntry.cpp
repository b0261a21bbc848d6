#include "VXDesktopEntry.h"

#include <QFile>

#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr QLatin1StringView kDesktopSuffix(".desktop");

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v';
}

QByteArrayView trimmed(QByteArrayView text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isBlank(text[begin]))
        ++begin;
    while (end > begin && isBlank(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

// Values may escape \s, \n, \t, \r and \\; anything else after a backslash is kept as it is.
QString unescapedValue(QByteArrayView value)
{
    if (!value.contains('\\'))
        return QString::fromUtf8(value);
    QByteArray plain;
    plain.reserve(value.size());
    for (qsizetype i = 0; i < value.size(); ++i) {
        const char c = value[i];
        if (c != '\\' || i + 1 == value.size()) {
            plain.append(c);
            continue;
        }
        switch (value[++i]) {
        case 's': plain.append(' '); break;
        case 'n': plain.append('\n'); break;
        case 't': plain.append('\t'); break;
        case 'r': plain.append('\r'); break;
        case '\\': plain.append('\\'); break;
        default: plain.append('\\'); plain.append(value[i]);
        }
    }
    return QString::fromUtf8(plain);
}

}   // namespace

QString VXDesktopEntry::localizedName(const QStringList &localeForms) const
{
    for (const QString &form : localeForms) {
        const auto found = localizedNames.constFind(form);
        if (found != localizedNames.constEnd() && !found->isEmpty())
            return *found;
    }
    return name;
}

bool VXDesktopEntry::parse(QByteArrayView data, VXDesktopEntry &entry)
{
    if (data.size() > kMaximumFileSize)
        return false;
    bool sawGroup = false;
    bool inGroup = false;
    bool haveName = false;
    bool haveStartupWMClass = false;
    bool haveExec = false;
    bool haveType = false;
    bool haveHidden = false;
    qsizetype position = 0;
    while (position < data.size()) {
        qsizetype end = data.indexOf('\n', position);
        if (end < 0)
            end = data.size();
        const QByteArrayView rawLine = data.sliced(position, end - position);
        position = end + 1;
        if (rawLine.size() > kMaximumLineLength)
            continue;
        const QByteArrayView line = trimmed(rawLine);
        if (line.isEmpty() || line.front() == '#')
            continue;
        if (line.front() == '[') {
            if (inGroup)
                break;   // the group we read has ended; nothing after it matters
            if (line.back() == ']' && line.sliced(1, line.size() - 2) == QByteArrayView("Desktop Entry")) {
                inGroup = true;
                sawGroup = true;
            }
            continue;
        }
        if (!inGroup)
            continue;
        const qsizetype equals = line.indexOf('=');
        if (equals <= 0)
            continue;
        const QByteArrayView key = trimmed(line.first(equals));
        const QByteArrayView value = trimmed(line.sliced(equals + 1));
        // The first occurrence of a key counts, as in other readers.
        if (key == QByteArrayView("Name")) {
            if (!haveName) {
                entry.name = unescapedValue(value);
                haveName = true;
            }
        } else if (key == QByteArrayView("StartupWMClass")) {
            if (!haveStartupWMClass) {
                entry.startupWMClass = unescapedValue(value);
                haveStartupWMClass = true;
            }
        } else if (key == QByteArrayView("Exec")) {
            if (!std::exchange(haveExec, true))
                entry.exec = unescapedValue(value);
        } else if (key == QByteArrayView("Type")) {
            if (!std::exchange(haveType, true))
                entry.type = unescapedValue(value);
        } else if (key == QByteArrayView("Hidden")) {
            if (!std::exchange(haveHidden, true))
                entry.hidden = value.compare("true", Qt::CaseInsensitive) == 0;
        } else if (key.startsWith("Name[") && key.endsWith(']') && key.size() > 6) {
            const QString locale = QString::fromUtf8(key.sliced(5, key.size() - 6));
            if (entry.localizedNames.size() < kMaximumLocalizedNames && !entry.localizedNames.contains(locale))
                entry.localizedNames.insert(locale, unescapedValue(value));
        }
    }
    return sawGroup;
}

bool VXDesktopEntry::read(const QString &path, VXDesktopEntry &entry)
{
    // Only a regular file of sane size is read. A FIFO, a socket or a device behind the name
    // (a symbolic link can point anywhere) is not even opened, as opening some of them blocks or
    // does something; and the file is opened without blocking and looked at again once open, in
    // case it was swapped in between.
    const auto isReadable
        = [](const struct stat &status) { return S_ISREG(status.st_mode) && status.st_size <= kMaximumFileSize; };
    const QByteArray name = QFile::encodeName(path);
    struct stat status {
    };
    if (::stat(name.constData(), &status) != 0 || !isReadable(status))
        return false;
    const int descriptor = ::open(name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    QFile file;
    if (::fstat(descriptor, &status) != 0 || !isReadable(status)
        || !file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle)) {
        ::close(descriptor);
        return false;
    }
    // One byte past the bound tells a file at the bound from one that grew since.
    const QByteArray data = file.read(kMaximumFileSize + 1);
    if (data.size() > kMaximumFileSize)
        return false;
    return parse(data, entry);
}

QString VXDesktopEntry::idForRelativePath(const QString &relativePath)
{
    if (!relativePath.endsWith(kDesktopSuffix) || relativePath.size() == kDesktopSuffix.size())
        return QString();
    QString id = relativePath.chopped(kDesktopSuffix.size());
    id.replace(u'/', u'-');
    return id;
}

QStringList VXDesktopEntry::localeForms(const QString &localeName)
{
    // lang_COUNTRY.ENCODING@MODIFIER: the encoding never takes part in matching.
    QString name = localeName;
    QString modifier;
    const qsizetype at = name.indexOf(u'@');
    if (at >= 0) {
        modifier = name.mid(at);
        name.truncate(at);
    }
    const qsizetype dot = name.indexOf(u'.');
    if (dot >= 0)
        name.truncate(dot);
    const qsizetype underscore = name.indexOf(u'_');
    const QString language = underscore >= 0 ? name.left(underscore) : name;
    QStringList forms;
    if (language.isEmpty() || language == u"C" || language == u"POSIX")
        return forms;
    if (underscore >= 0 && !modifier.isEmpty())
        forms << name + modifier;
    if (underscore >= 0)
        forms << name;
    if (!modifier.isEmpty())
        forms << language + modifier;
    forms << language;
    return forms;
}
