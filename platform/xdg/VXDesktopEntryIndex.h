#pragma once

// The desktop entries of the XDG application folders, indexed once for the lookups that turn a
// window's hints into an application: by desktop-file ID (_GTK_APPLICATION_ID,
// _KDE_NET_WM_DESKTOP_FILE) and by window class (WM_CLASS against file names and
// StartupWMClass). Lookups are in memory. The folders are looked at again only when a lookup is
// made and the last look is older than the check interval, and then only their modification
// times: the index is rebuilt when a folder gained, lost or renamed an entry.

#include "VXDesktopEntry.h"

#include <QElapsedTimer>
#include <QHash>
#include <QString>
#include <QStringList>

#include <vector>

class VXDesktopEntryIndex
{
public:
    // Bounds against a folder tree that would cost the tracker too much to read: the names looked
    // at below each applications folder (so that a crowded folder hides no other), and the depth.
    static constexpr int kMaximumItemsPerFolder = 5000;
    static constexpr int kMaximumDepth = 6;

    // The XDG application folders in precedence order: $XDG_DATA_HOME/applications (default
    // ~/.local/share), then each of $XDG_DATA_DIRS (default /usr/local/share:/usr/share).
    static QStringList applicationFolders();

    explicit VXDesktopEntryIndex(QStringList folders = applicationFolders(), int checkIntervalMs = 3000);

    // The entry whose ID is `desktopFileID` (a trailing ".desktop" and a leading path are
    // ignored), exact first, then ignoring case. Null when there is none.
    const VXDesktopEntry *entryForID(const QString &desktopFileID);
    // The entry for a window class: StartupWMClass, then the file name, then the file name
    // without its reverse-DNS prefix ("org.gnome.gedit" -> "gedit"), all ignoring case; the
    // class itself is also tried without such a prefix.
    const VXDesktopEntry *entryForWMClass(const QString &windowClass);

    // Looks at the folders now when the check interval has passed; rebuilds when they changed.
    void refreshIfStale();
    // How many times the index was built: a test reads it to see that nothing is reread.
    int buildCount() const { return m_buildCount; }
    // Changes whenever the index is rebuilt, so that callers can drop what they derived.
    int generation() const { return m_buildCount; }
    const QStringList &folders() const { return m_folders; }

private:
    struct FolderStamp {
        QString path;
        qint64 modified = -1;   // -1: the folder did not exist
    };

    void build();
    // Indexes the entries below `folder`, taking each name looked at from `budget`.
    void scanFolder(const QString &root, const QString &folder, int depth, int &budget);
    std::vector<FolderStamp> currentStamps() const;
    const VXDesktopEntry *find(const QHash<QString, int> &table, const QString &key) const;

    QStringList m_folders;
    int m_checkIntervalMs;
    bool m_built = false;
    int m_buildCount = 0;
    QElapsedTimer m_lastCheck;
    std::vector<FolderStamp> m_stamps;
    std::vector<VXDesktopEntry> m_entries;
    QHash<QString, int> m_byID;   // exact ID
    QHash<QString, int> m_byLowerID;   // lower-case ID
    QHash<QString, int> m_byShortName;   // lower-case ID without its reverse-DNS prefix
    QHash<QString, int> m_byStartupWMClass;   // lower-case StartupWMClass
};
