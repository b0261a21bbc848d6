#pragma once

// Access to user-chosen folders. Every caller asks the same question first: may the program
// read, or write, this path now? Outside an application sandbox (the normal case on Linux) the
// file system's own permission test answers. Sandboxed (a build that sets it), folders the
// user once unlocked are kept as bookmarks in "Security-Scoped Bookmarks" (folder path with
// links resolved -> bookmark data), and a bookmark covers its folder and everything inside it:
//
//     bookmark /home/ann/Reports   covers  /home/ann/Reports, /home/ann/Reports/2026-11-21.csv
//                                  not     /home/ann/Reports2, /home/ann
//
// A request no bookmark covers may show the "Unlock" panel when the caller allows it (a cancel
// flag is given), and an unlocked folder replaces the bookmarks of folders inside it.
//
// Bookmark data here is the folder's file URL; resolving it starts the access when the folder
// is still there. A caller handed a bookmark path through `accessedBookmarkPath` gives it back
// to stopAccessingBookmarkForPath() when its work is done.

#include "VXFolderAccessDelegate.h"
#include "VXFolderAccessUserInterface.h"

#include <QByteArray>
#include <QString>
#include <QUrl>
#include <QtGlobal>

#include <map>

class VXUserDefaults;

// The stored bookmarks.
inline const QString VXSecurityScopedBookmarksKey = QStringLiteral("Security-Scoped Bookmarks");

// The unlock panel. Translation context "VXSecurityScopedBookmarkManager".
inline constexpr char VXUnlockFolderPanelTitle[]
    = QT_TRANSLATE_NOOP("VXSecurityScopedBookmarkManager", "Unlock Folder");
inline constexpr char VXUnlockPanelTitle[] = QT_TRANSLATE_NOOP("VXSecurityScopedBookmarkManager", "Unlock");

// Debug-log lines ("%@" is filled in).
inline const QString VXBookmarkUsingMessage
    = QStringLiteral("[Security-Scoped Bookmark Manager] using bookmark for path: %@ (requested path: %@)");
inline const QString VXBookmarkUselessMessage
    = QStringLiteral("[Security-Scoped Bookmark Manager] confused by useless bookmark for URL: %@ (requested URL: %@)");
inline const QString VXBookmarkCannotCreateMessage
    = QStringLiteral("[Security-Scoped Bookmark Manager] cannot create bookmark for URL: %@");
inline const QString VXBookmarkRedundantMessage = QStringLiteral(
    "[Security-Scoped Bookmark Manager] ignoring redundant request for bookmark with URL: %@ (existing bookmark covers URL: %@)");
inline const QString VXBookmarkCreatedMessage
    = QStringLiteral("[Security-Scoped Bookmark Manager] created bookmark for URL: %@");

// The path with the symbolic links of its existing part resolved; the part that does not exist
// yet is appended as it stands. Relative paths are taken from the current folder.
QString VXPathByResolvingSymlinks(const QString &path);

// Whether the bookmark path covers the path: equal, or the path lies inside it.
bool VXBookmarkPathCoversPath(const QString &bookmarkPath, const QString &path);

class VXSecurityScopedBookmarkManager final : public VXFolderAccessDelegate
{
public:
    // `userInterface` shows the unlock panel and the alerts of the folder-path helpers; null:
    // nobody answers.
    explicit VXSecurityScopedBookmarkManager(VXUserDefaults &defaults,
                                             VXFolderAccessUserInterface *userInterface = nullptr);
    ~VXSecurityScopedBookmarkManager() override;

    VXSecurityScopedBookmarkManager(const VXSecurityScopedBookmarkManager &) = delete;
    VXSecurityScopedBookmarkManager &operator=(const VXSecurityScopedBookmarkManager &) = delete;

    // The program's manager, installed at start-up (null until then).
    static VXSecurityScopedBookmarkManager *bookmarkManager() { return s_shared; }
    static void setBookmarkManager(VXSecurityScopedBookmarkManager *manager) { s_shared = manager; }

    void setUserInterface(VXFolderAccessUserInterface *userInterface) { m_userInterface = userInterface; }

    // Off unless a sandboxed build of the program turns it on.
    bool isSandboxed() const override { return m_sandboxed; }
    void setSandboxed(bool sandboxed) { m_sandboxed = sandboxed; }

    // May the program access `path` (with `viaParentFolder`, its folder) in `mode` (R_OK, W_OK,
    // as for access(2)) now? A null `cancel` means nobody may be asked; otherwise the unlock
    // panel may be shown and `*cancel` tells whether it was dismissed.
    bool confirmAccess(int mode, const QString &path, bool viaParentFolder, bool *cancel, QString *accessedBookmarkPath,
                       const SandboxExplanation &sandboxExplanation);
    bool confirmReadAccessForPath(const QString &path, bool *cancel, QString *accessedBookmarkPath,
                                  const SandboxExplanation &sandboxExplanation);
    bool confirmWriteAccessForPath(const QString &path, bool viaParentFolder, bool *cancel,
                                   QString *accessedBookmarkPath,
                                   const SandboxExplanation &sandboxExplanation) override;

    // Stores a bookmark for the folder unless a stored one covers it already; bookmarks of
    // folders inside it are dropped.
    bool createBookmarkForURL(const QUrl &url);
    // The folder the bookmark names, with its access started; empty when it cannot be resolved.
    QUrl accessedURLForBookmark(const QByteArray &bookmark);

    void stopAccessingBookmarkForPath(const QString &bookmarkPath) override;
    void stopAccessingAnyBookmarks();

    int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles) override;

    // The stored bookmarks by folder path, and the folders whose access is started.
    const std::map<QString, QByteArray> &bookmarksByPath();
    QStringList accessedBookmarkPaths() const;

private:
    void loadBookmarks();
    void storeBookmarks();
    // The first stored bookmark covering the path whose access can be started.
    bool accessCoveringBookmark(const QString &path, QString *bookmarkPath, QUrl *url);

    VXUserDefaults &m_defaults;
    VXFolderAccessUserInterface *m_userInterface;
    bool m_sandboxed = false;
    std::map<QString, QByteArray> m_bookmarksByPath;
    bool m_bookmarksLoaded = false;
    std::map<QString, QUrl> m_accessedURLsByPath;

    static inline VXSecurityScopedBookmarkManager *s_shared = nullptr;
};
