#include "VXSecurityScopedBookmarkManager.h"

#include "VXLog.h"
#include "VXPersistenceLogging.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <unistd.h>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXSecurityScopedBookmarkManager", text);
}

void debugLog(const QString &format, const QStringList &arguments)
{
    VXDebugLog(VXFillFormat(format, arguments));
}

bool posixAccess(const QString &path, int mode)
{
    return !path.isEmpty() && ::access(QFile::encodeName(path).constData(), mode) == 0;
}

QString urlText(const QUrl &url)
{
    return url.toString(QUrl::FullyEncoded);
}

}   // namespace

QString VXPathByResolvingSymlinks(const QString &path)
{
    if (path.isEmpty())
        return QString();
    const QString absolute
        = QDir::cleanPath(QDir::isAbsolutePath(path) ? path : QDir::current().absoluteFilePath(path));
    // Resolve the longest part that exists; what lies below it cannot hold a link yet.
    QString existing = absolute;
    QString rest;
    while (!existing.isEmpty()) {
        const QString canonical = QFileInfo(existing).canonicalFilePath();
        if (!canonical.isEmpty())
            return rest.isEmpty() ? canonical : QDir::cleanPath(canonical + u'/' + rest);
        const qsizetype slash = existing.lastIndexOf(u'/');
        if (slash < 0)
            break;
        const QString component = existing.mid(slash + 1);
        rest = rest.isEmpty() ? component : component + u'/' + rest;
        existing = slash == 0 ? (existing.size() > 1 ? QStringLiteral("/") : QString()) : existing.left(slash);
    }
    return absolute;
}

bool VXBookmarkPathCoversPath(const QString &bookmarkPath, const QString &path)
{
    if (bookmarkPath.isEmpty())
        return false;
    if (path == bookmarkPath)
        return true;
    const QString prefix = bookmarkPath == QLatin1StringView("/") ? bookmarkPath : bookmarkPath + u'/';
    return path.startsWith(prefix);
}

VXSecurityScopedBookmarkManager::VXSecurityScopedBookmarkManager(VXUserDefaults &defaults,
                                                                 VXFolderAccessUserInterface *userInterface) :
    m_defaults(defaults),
    m_userInterface(userInterface)
{
}

VXSecurityScopedBookmarkManager::~VXSecurityScopedBookmarkManager()
{
    stopAccessingAnyBookmarks();
    if (s_shared == this)
        s_shared = nullptr;
}

// ---- Confirming access

bool VXSecurityScopedBookmarkManager::confirmAccess(int mode, const QString &path, bool viaParentFolder, bool *cancel,
                                                    QString *accessedBookmarkPath,
                                                    const SandboxExplanation &sandboxExplanation)
{
    if (cancel)
        *cancel = false;
    QString resolved = VXPathByResolvingSymlinks(path);
    if (viaParentFolder && !resolved.isEmpty())
        resolved = QFileInfo(resolved).path();
    if (posixAccess(resolved, mode))
        return true;
    if (!m_sandboxed || resolved.isEmpty())
        return false;

    QString bookmarkPath;
    QUrl url;
    if (accessCoveringBookmark(resolved, &bookmarkPath, &url)) {
        m_accessedURLsByPath[bookmarkPath] = url;
        if (accessedBookmarkPath)
            *accessedBookmarkPath = bookmarkPath;
        debugLog(VXBookmarkUsingMessage, {bookmarkPath, resolved});
        return true;
    }
    if (!cancel)
        return false;

    VXUnlockPanelRequest request;
    request.title = tr(viaParentFolder ? VXUnlockFolderPanelTitle : VXUnlockPanelTitle);
    request.prompt = tr(VXUnlockPanelTitle);
    request.directoryPath = QFileInfo(resolved).isDir() ? resolved : QFileInfo(resolved).path();
    if (sandboxExplanation)
        request.explanation = sandboxExplanation(path);
    const std::optional<QString> chosen = m_userInterface ? m_userInterface->runUnlockPanel(request) : std::nullopt;
    if (!chosen) {
        *cancel = true;
        return false;
    }
    // Choosing the folder in the panel is what grants the access to it.
    const QUrl chosenURL = QUrl::fromLocalFile(*chosen);
    if (posixAccess(resolved, mode) || VXBookmarkPathCoversPath(VXPathByResolvingSymlinks(*chosen), resolved)) {
        createBookmarkForURL(chosenURL);
        return true;
    }
    debugLog(VXBookmarkUselessMessage, {urlText(chosenURL), urlText(QUrl::fromLocalFile(resolved))});
    return false;
}

bool VXSecurityScopedBookmarkManager::confirmReadAccessForPath(const QString &path, bool *cancel,
                                                               QString *accessedBookmarkPath,
                                                               const SandboxExplanation &sandboxExplanation)
{
    return confirmAccess(R_OK, path, false, cancel, accessedBookmarkPath, sandboxExplanation);
}

bool VXSecurityScopedBookmarkManager::confirmWriteAccessForPath(const QString &path, bool viaParentFolder, bool *cancel,
                                                                QString *accessedBookmarkPath,
                                                                const SandboxExplanation &sandboxExplanation)
{
    return confirmAccess(W_OK, path, viaParentFolder, cancel, accessedBookmarkPath, sandboxExplanation);
}

bool VXSecurityScopedBookmarkManager::accessCoveringBookmark(const QString &path, QString *bookmarkPath, QUrl *url)
{
    for (const auto &[storedPath, bookmark] : bookmarksByPath()) {
        if (!VXBookmarkPathCoversPath(storedPath, path))
            continue;
        const QUrl accessed = accessedURLForBookmark(bookmark);
        if (accessed.isEmpty())
            continue;
        *bookmarkPath = storedPath;
        *url = accessed;
        return true;
    }
    return false;
}

// ---- Bookmarks

bool VXSecurityScopedBookmarkManager::createBookmarkForURL(const QUrl &url)
{
    const QString resolved = url.isLocalFile() ? VXPathByResolvingSymlinks(url.toLocalFile()) : QString();
    if (resolved.isEmpty()) {
        debugLog(VXBookmarkCannotCreateMessage, {urlText(url)});
        return false;
    }
    for (const auto &[storedPath, bookmark] : bookmarksByPath()) {
        if (VXBookmarkPathCoversPath(storedPath, resolved) && !accessedURLForBookmark(bookmark).isEmpty()) {
            debugLog(VXBookmarkRedundantMessage, {urlText(url), urlText(QUrl::fromLocalFile(storedPath))});
            return true;
        }
    }
    // A bookmark is made only for a folder that is there.
    if (!QFileInfo(resolved).isDir()) {
        debugLog(VXBookmarkCannotCreateMessage, {urlText(url)});
        return false;
    }
    const QString inside = resolved == QLatin1StringView("/") ? resolved : resolved + u'/';
    for (auto it = m_bookmarksByPath.begin(); it != m_bookmarksByPath.end();) {
        if (it->first.startsWith(inside))
            it = m_bookmarksByPath.erase(it);
        else
            ++it;
    }
    m_bookmarksByPath[resolved] = QUrl::fromLocalFile(resolved).toEncoded();
    storeBookmarks();
    debugLog(VXBookmarkCreatedMessage, {urlText(url)});
    return true;
}

QUrl VXSecurityScopedBookmarkManager::accessedURLForBookmark(const QByteArray &bookmark)
{
    const QUrl url = QUrl::fromEncoded(bookmark, QUrl::StrictMode);
    if (!url.isValid() || !url.isLocalFile() || !QFileInfo(url.toLocalFile()).isDir())
        return QUrl();
    return url;
}

void VXSecurityScopedBookmarkManager::stopAccessingBookmarkForPath(const QString &bookmarkPath)
{
    if (!bookmarkPath.isEmpty())
        m_accessedURLsByPath.erase(bookmarkPath);
}

void VXSecurityScopedBookmarkManager::stopAccessingAnyBookmarks()
{
    m_accessedURLsByPath.clear();
}

int VXSecurityScopedBookmarkManager::runAlert(const QString &messageText, const QString &informativeText,
                                              const QStringList &buttonTitles)
{
    return m_userInterface ? m_userInterface->runAlert(messageText, informativeText, buttonTitles) : -1;
}

const std::map<QString, QByteArray> &VXSecurityScopedBookmarkManager::bookmarksByPath()
{
    loadBookmarks();
    return m_bookmarksByPath;
}

QStringList VXSecurityScopedBookmarkManager::accessedBookmarkPaths() const
{
    QStringList paths;
    for (const auto &entry : m_accessedURLsByPath)
        paths.append(entry.first);
    return paths;
}

void VXSecurityScopedBookmarkManager::loadBookmarks()
{
    if (m_bookmarksLoaded)
        return;
    m_bookmarksLoaded = true;
    if (const VXDictionary *stored = m_defaults.dictionaryForKey(VXSecurityScopedBookmarksKey)) {
        for (const VXDictionary::Entry &entry : *stored) {
            if (entry.value.isData())
                m_bookmarksByPath[entry.key] = entry.value.dataRef();
        }
    }
}

void VXSecurityScopedBookmarkManager::storeBookmarks()
{
    VXDictionaryRef stored = VXMakeDictionary();
    for (const auto &[path, bookmark] : m_bookmarksByPath)
        stored->insert(path, bookmark);
    m_defaults.setObject(stored, VXSecurityScopedBookmarksKey);
}
