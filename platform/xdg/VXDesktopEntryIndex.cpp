#include "VXDesktopEntryIndex.h"

#include "VXXdgLogging.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <sys/stat.h>

namespace {

// The part after the last dot of a reverse-DNS name, or empty when there is no dot.
QString withoutReverseDNSPrefix(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot < 0 || dot + 1 == name.size())
        return QString();
    return name.mid(dot + 1);
}

qint64 modificationTime(const QString &path)
{
    struct stat status {
    };
    if (::stat(QFile::encodeName(path).constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        return -1;
    return qint64(status.st_mtim.tv_sec) * 1000000000 + status.st_mtim.tv_nsec;
}

}   // namespace

QStringList VXDesktopEntryIndex::applicationFolders()
{
    QStringList dataFolders;
    QString home = qEnvironmentVariable("XDG_DATA_HOME");
    if (home.isEmpty() || !QDir::isAbsolutePath(home))
        home = QDir::homePath() + QStringLiteral("/.local/share");
    dataFolders << home;
    QString dirs = qEnvironmentVariable("XDG_DATA_DIRS");
    if (dirs.isEmpty())
        dirs = QStringLiteral("/usr/local/share:/usr/share");
    for (const QString &dir : dirs.split(u':', Qt::SkipEmptyParts)) {
        if (QDir::isAbsolutePath(dir))
            dataFolders << dir;
    }
    QStringList folders;
    for (const QString &dataFolder : dataFolders) {
        const QString folder = QDir::cleanPath(dataFolder + QStringLiteral("/applications"));
        if (!folders.contains(folder))
            folders << folder;
    }
    return folders;
}

VXDesktopEntryIndex::VXDesktopEntryIndex(QStringList folders, int checkIntervalMs) :
    m_folders(std::move(folders)), m_checkIntervalMs(checkIntervalMs)
{
}

void VXDesktopEntryIndex::refreshIfStale()
{
    if (!m_built) {
        build();
        return;
    }
    if (m_lastCheck.isValid() && m_lastCheck.elapsed() < m_checkIntervalMs)
        return;
    m_lastCheck.start();
    const std::vector<FolderStamp> now = currentStamps();
    bool changed = now.size() != m_stamps.size();
    for (std::size_t i = 0; !changed && i < now.size(); ++i)
        changed = now[i].modified != m_stamps[i].modified;
    if (changed)
        build();
}

std::vector<VXDesktopEntryIndex::FolderStamp> VXDesktopEntryIndex::currentStamps() const
{
    std::vector<FolderStamp> stamps = m_stamps;
    for (FolderStamp &stamp : stamps)
        stamp.modified = modificationTime(stamp.path);
    return stamps;
}

void VXDesktopEntryIndex::build()
{
    m_built = true;
    ++m_buildCount;
    m_lastCheck.start();
    m_stamps.clear();
    m_entries.clear();
    m_byID.clear();
    m_byLowerID.clear();
    m_byShortName.clear();
    m_byStartupWMClass.clear();
    for (const QString &folder : std::as_const(m_folders)) {
        // The stamp is taken before the scan, so that a change during the scan is seen next time.
        m_stamps.push_back({folder, modificationTime(folder)});
        int budget = kMaximumItemsPerFolder;
        if (m_stamps.back().modified >= 0)
            scanFolder(folder, folder, 0, budget);
        if (budget < 0)
            qCWarning(lcXdg) << "more than" << kMaximumItemsPerFolder << "items below" << folder
                             << "- the rest is not indexed";
    }
    // Walk backwards so that, for each key, the earliest entry (highest precedence) is the one
    // left in the table.
    for (int i = int(m_entries.size()) - 1; i >= 0; --i) {
        const VXDesktopEntry &entry = m_entries[std::size_t(i)];
        const QString lowerID = entry.id.toLower();
        m_byLowerID.insert(lowerID, i);
        if (const QString shortName = withoutReverseDNSPrefix(lowerID); !shortName.isEmpty())
            m_byShortName.insert(shortName, i);
        if (!entry.startupWMClass.isEmpty())
            m_byStartupWMClass.insert(entry.startupWMClass.toLower(), i);
    }
    qCDebug(lcXdg) << "indexed" << m_entries.size() << "desktop entries in" << m_folders;
}

void VXDesktopEntryIndex::scanFolder(const QString &root, const QString &folder, int depth, int &budget)
{
    if (depth > 0)
        m_stamps.push_back({folder, modificationTime(folder)});
    // The names first, without looking at each, and no more of them than the budget allows: a
    // folder of a million names costs no more than one at the bound (a budget gone below 0 says
    // that some were left out). Then in name order, so that the index does not depend on the
    // order the file system lists them in.
    QStringList names;
    for (QDirIterator it(folder, QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot); it.hasNext(); --budget) {
        if (budget <= 0) {
            budget = -1;
            break;
        }
        it.next();
        if (!it.fileName().startsWith(u'.'))
            names << it.fileName();
    }
    names.sort();
    for (const QString &name : std::as_const(names)) {
        const QString path = folder + u'/' + name;
        struct stat status {
        };
        if (::stat(QFile::encodeName(path).constData(), &status) != 0)
            continue;
        if (S_ISDIR(status.st_mode)) {
            if (depth < kMaximumDepth && budget > 0)
                scanFolder(root, path, depth + 1, budget);
            continue;
        }
        const QString id = VXDesktopEntry::idForRelativePath(path.mid(root.size() + 1));
        if (id.isEmpty() || m_byID.contains(id))
            continue;   // an entry of the same ID in an earlier folder hides this one
        VXDesktopEntry entry;
        if (!VXDesktopEntry::read(path, entry)) {
            qCDebug(lcXdg) << "cannot read desktop entry" << path;
            continue;
        }
        entry.id = id;
        entry.path = path;
        m_byID.insert(id, int(m_entries.size()));
        m_entries.push_back(std::move(entry));
    }
}

const VXDesktopEntry *VXDesktopEntryIndex::find(const QHash<QString, int> &table, const QString &key) const
{
    if (key.isEmpty())
        return nullptr;
    const auto found = table.constFind(key);
    return found == table.constEnd() ? nullptr : &m_entries[std::size_t(*found)];
}

const VXDesktopEntry *VXDesktopEntryIndex::entryForID(const QString &desktopFileID)
{
    refreshIfStale();
    QString id = desktopFileID.trimmed();
    if (id.endsWith(QLatin1StringView(".desktop")))
        id.chop(8);
    if (const qsizetype slash = id.lastIndexOf(u'/'); slash >= 0)
        id = id.mid(slash + 1);
    if (const VXDesktopEntry *entry = find(m_byID, id))
        return entry;
    return find(m_byLowerID, id.toLower());
}

const VXDesktopEntry *VXDesktopEntryIndex::entryForWMClass(const QString &windowClass)
{
    refreshIfStale();
    const QString lower = windowClass.trimmed().toLower();
    if (lower.isEmpty())
        return nullptr;
    if (const VXDesktopEntry *entry = find(m_byStartupWMClass, lower))
        return entry;
    if (const VXDesktopEntry *entry = find(m_byLowerID, lower))
        return entry;
    if (const VXDesktopEntry *entry = find(m_byShortName, lower))
        return entry;
    const QString shortClass = withoutReverseDNSPrefix(lower);
    if (const VXDesktopEntry *entry = find(m_byLowerID, shortClass))
        return entry;
    return find(m_byShortName, shortClass);
}
