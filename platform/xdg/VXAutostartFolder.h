#pragma once

// The login-items list of the Linux desktop: the XDG autostart folders. The user's folder
// ($XDG_CONFIG_HOME/autostart) comes first; an entry there shadows the system-wide entry of the
// same file name ($XDG_CONFIG_DIRS/autostart), so that a person can switch a system-wide entry
// off with a user entry that says "Hidden=true". Such a copy that still names the program is the
// hidden state; one without Exec is a removal (it shadows the system-wide entry and is otherwise
// not listed), which is how Wendle removes an entry it cannot delete.

#include "VXLoginItems.h"

#include <QString>
#include <QStringList>

class VXAutostartFolder : public VXLoginItemsList
{
public:
    // The file name Wendle gives its own entry.
    static inline const QString kEntryFileName = QStringLiteral("wendle.desktop");
    // Entries looked at per folder; a folder with more keeps its first ones.
    static constexpr int kMaximumEntries = 4096;

    VXAutostartFolder(const QString &userFolder, const QStringList &systemFolders);
    // The folders of the environment ($XDG_CONFIG_HOME, $XDG_CONFIG_DIRS and their defaults).
    static VXAutostartFolder standard();

    const QString &userFolder() const { return m_userFolder; }

    // The executable an Exec line starts: its first argument unquoted, a bare name looked up on
    // PATH, the result with symbolic links resolved. Empty when there is none.
    static QString executableForCommandLine(const QString &commandLine);
    // The Exec value that starts `path` with no argument, quoted where it must be.
    static QString commandLineForExecutable(const QString &path);

    bool open() override;
    bool snapshot(QList<VXLoginItemsListEntry> &entries) override;
    bool remove(const VXLoginItemsListEntry &entry) override;
    bool insert(const QString &path) override;
    bool repair(const VXLoginItemsListEntry &entry, const QString &path) override;

private:
    QString systemEntryPath(const QString &fileName) const;
    bool writeEntry(const QString &fileName, const QString &path, bool hidden);
    bool writeRemoval(const QString &fileName);
    bool writeFile(const QString &fileName, const QByteArray &contents);

    QString m_userFolder;
    QStringList m_systemFolders;
};
