#pragma once

// A desktop entry (a .desktop file), reduced to what identifies an application: its ID, its
// path, its names and the window class it declares. The reader is our own and small on purpose:
// it reads only the [Desktop Entry] group, tolerates invalid UTF-8, comments, blank lines and
// stray text, and gives up (answers false, never hangs) on files or lines past fixed bounds, so
// a hostile file in an applications folder cannot hurt the tracker.

#include <QByteArrayView>
#include <QHash>
#include <QString>
#include <QStringList>

struct VXDesktopEntry {
    // Largest file read, and longest line taken into account (longer lines are skipped).
    static constexpr qsizetype kMaximumFileSize = 1 << 20;
    static constexpr qsizetype kMaximumLineLength = 16 * 1024;
    // Localized names kept per entry; further ones are ignored.
    static constexpr int kMaximumLocalizedNames = 512;

    // The desktop-file ID: the path below the applications folder without ".desktop", with
    // subfolders joined by "-" ("kde4/konsole.desktop" -> "kde4-konsole").
    QString id;
    QString path;
    QString name;
    // "Name[xx]" values by their locale ("de", "pt_BR", "sr@latin").
    QHash<QString, QString> localizedNames;
    QString startupWMClass;
    // What autostart needs: the command line, the type and whether the entry counts as deleted.
    QString exec;
    QString type;
    bool hidden = false;

    // The name for the first locale form that has one ("pt_BR", then "pt"), else Name.
    QString localizedName(const QStringList &localeForms) const;

    // Reads the keys of the [Desktop Entry] group. Answers false when the data have no such
    // group, or are larger than kMaximumFileSize; id and path are left as they are.
    static bool parse(QByteArrayView data, VXDesktopEntry &entry);
    // Reads a regular file of at most kMaximumFileSize bytes; anything else (larger, unreadable,
    // a FIFO or a device, also behind a symbolic link) answers false at once.
    static bool read(const QString &path, VXDesktopEntry &entry);
    // The ID of a desktop file at `relativePath` below an applications folder, or empty when it
    // is not a .desktop file.
    static QString idForRelativePath(const QString &relativePath);
    // The locale forms to try for a locale name: "pt_BR.UTF-8@euro" -> pt_BR@euro, pt_BR, pt@euro, pt.
    static QStringList localeForms(const QString &localeName);
};
