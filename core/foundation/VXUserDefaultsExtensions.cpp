#include "VXUserDefaultsExtensions.h"

#include "VXFolderAccessDelegate.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

QString translated(const char *text)
{
    return QCoreApplication::translate("VXUserDefaults", text);
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
    const QString flagKey = VXFillFormat(kImportedUserDefaultsKeyFormat, {domain});
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
    if (!delegate || !delegate->isSandboxed())
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
        path = stringByDeletingWendleContainerPathComponents(stringByExpandingTildeInPath(path));

    QString result = path;
    if (QFileInfo::exists(path)) {
        if (confirmAndReleaseWriteAccess(*delegate, path, nullptr)) {
            defaults.setString(path, sandboxKey);
        } else {
            const QString informativeText
                = VXFillFormat(translated(kExportFolderFoundInformativeText), {readablePathRepresentation(path)});
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
    const VXFolderAccessDelegate *delegate = VXFolderAccessDelegate::shared();
    return delegate && delegate->isSandboxed();
}
