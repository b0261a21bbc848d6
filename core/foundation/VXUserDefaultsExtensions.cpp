#include "VXUserDefaultsExtensions.h"

#include "VXFolderAccessDelegate.h"
#include "VXLog.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <optional>

namespace {

std::optional<bool> s_sandboxed;

const QString kFormatPlaceholder = QStringLiteral("%@");

QString translated(const char *text)
{
    return QCoreApplication::translate("VXUserDefaults", text);
}

// "~" and "~/..." name the home folder (inside a sandbox, the container's data folder).
QString expandingTilde(const QString &path)
{
    if (path == QStringLiteral("~"))
        return QDir::homePath();
    if (path.startsWith(QStringLiteral("~/")))
        return QDir::homePath() + path.mid(1);
    return path;
}

// Asks for write access to the folder (the unlock panel only when `cancel` is given) and, when
// it is granted, releases it again at once: the export takes its own access when it writes.
bool confirmAndReleaseWriteAccess(VXFolderAccessDelegate &delegate, const QString &path, bool *cancel)
{
    QString bookmarkPath;
    if (!delegate.confirmWriteAccessForPath(path, false, cancel, &bookmarkPath, {}))
        return false;
    if (!bookmarkPath.isEmpty())
        delegate.stopAccessingBookmarkForPath(bookmarkPath);
    return true;
}

}   // namespace

bool importUserDefaultsFromDomain(VXUserDefaults &defaults, const QString &domain)
{
    const QString flagKey = QString(kImportedUserDefaultsKeyFormat).replace(kFormatPlaceholder, domain);
    if (defaults.boolForKey(flagKey))
        return false;
    bool copied = false;
    if (const VXDictionaryRef older = defaults.persistentDomainForName(domain)) {
        for (const VXDictionary::Entry &entry : *older) {
            if (!defaults.persistentObjectForKey(entry.key).isNull())
                continue;
            defaults.setObject(entry.value, entry.key);
            copied = true;
        }
    }
    defaults.setBool(true, flagKey);
    return copied;
}

void setFolderPath(VXUserDefaults &defaults, const QString &path, const QString &key)
{
    const VXValue value = path.isEmpty() ? VXValue() : VXValue(path);
    if (VXApplicationIsSandboxed()) {
        defaults.setObject(value, key + kSandboxKeySuffix);
        defaults.removeObjectForKey(key);
    } else {
        defaults.setObject(value, key);
    }
}

QString folderPathForKey(VXUserDefaults &defaults, const QString &key, const QString &defaultPath)
{
    return folderPathForKey(defaults, key, defaultPath, VXFolderAccessDelegate::shared());
}

QString folderPathForKey(VXUserDefaults &defaults, const QString &key, const QString &defaultPath,
                         VXFolderAccessDelegate *delegate)
{
    const QString stored = defaults.stringForKey(key);
    QString path = stored.isEmpty() ? defaultPath : stored;
    if (!VXApplicationIsSandboxed())
        return path;

    const QString sandboxKey = key + kSandboxKeySuffix;
    const QString sandboxPath = defaults.stringForKey(sandboxKey);
    if (!sandboxPath.isEmpty())
        return sandboxPath;
    const QString flagKey = key + kSandboxConversionAttemptedKeySuffix;
    if (defaults.boolForKey(flagKey))
        return path;

    // Inside the sandbox "~" is the container: name the folder in the real home instead.
    if (path.startsWith(u'~'))
        path = stringByDeletingWendleCountainerPathComponents(expandingTilde(path));
    if (!delegate) {
        qCWarning(lcFoundation).noquote()
            << QStringLiteral("cannot convert folder path <%1> without folder access").arg(key);
        return path;
    }

    QString result = path;
    if (QFileInfo::exists(path)) {
        if (confirmAndReleaseWriteAccess(*delegate, path, nullptr)) {
            defaults.setString(path, sandboxKey);
        } else {
            const QString informativeText = translated(kExportFolderFoundInformativeText)
                                                .replace(kFormatPlaceholder, readablePathRepresentation(path));
            const int choice
                = delegate->runAlert(translated(kExportFolderFoundMessage), informativeText,
                                     {translated(kUnlockButtonTitle), translated(kSwitchToSandboxDefaultButtonTitle)});
            bool cancelled = false;
            if (choice == 0 && confirmAndReleaseWriteAccess(*delegate, path, &cancelled)) {
                defaults.setString(path, sandboxKey);
            } else {
                defaults.removeObjectForKey(key);
                result = defaultPath;
            }
        }
    }
    defaults.setBool(true, flagKey);
    return result;
}

bool VXApplicationIsSandboxed()
{
    if (!s_sandboxed)
        s_sandboxed = qEnvironmentVariableIsSet(kSandboxContainerIDVariable);
    return *s_sandboxed;
}

void VXResetApplicationIsSandboxedForTesting()
{
    s_sandboxed.reset();
}
