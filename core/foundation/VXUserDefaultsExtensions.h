#pragma once

// Helpers on the settings store: the one-time import of an older settings domain, folder paths
// that keep a separate " (Sandbox)" key while the program runs in an application sandbox, and
// the sandbox test itself.

#include <QString>
#include <QtGlobal>

class VXFolderAccessDelegate;
class VXUserDefaults;

// Set once the settings of the domain named in place of "%@" have been copied in.
inline const QString kImportedUserDefaultsKeyFormat = QStringLiteral("Imported User Defaults: %@");
// Appended to a folder-path key: the path used while sandboxed, and the flag of its one-time
// conversion from the path stored outside the sandbox.
inline const QString kSandboxKeySuffix = QStringLiteral(" (Sandbox)");
inline const QString kSandboxConversionAttemptedKeySuffix = QStringLiteral(" (Sandbox): Conversion Attempted");

// The alert offered once per folder-path key when a sandboxed program finds a folder it used
// before; "%@" is replaced by the folder's readable path. Translation context "VXUserDefaults".
inline constexpr char kExportFolderFoundMessage[] = QT_TRANSLATE_NOOP("VXUserDefaults", "Export Folder Found");
inline constexpr char kExportFolderFoundInformativeText[] = QT_TRANSLATE_NOOP(
    "VXUserDefaults",
    "You have previously used a version of Wendle that may have exported data to the following folder:\n\n%@\n\n"
    "If you want to continue using this folder for exports, please unlock it to give Wendle access.");
inline constexpr char kUnlockButtonTitle[] = QT_TRANSLATE_NOOP("VXUserDefaults", "Unlock...");
inline constexpr char kSwitchToSandboxDefaultButtonTitle[]
    = QT_TRANSLATE_NOOP("VXUserDefaults", "Switch to Sandbox Default");

// Copies every key of the older domain's file that this store has no stored value for; existing
// values are never overwritten (a registered default does not count as a value). Runs once per
// domain: answers false without looking when the "Imported User Defaults: <domain>" flag is set,
// else sets it (also when that domain has no file) and answers whether anything was copied.
bool importUserDefaultsFromDomain(VXUserDefaults &defaults, const QString &domain);

// Stores the folder path under `key`, or, sandboxed, under key + " (Sandbox)" and removes `key`.
// An empty path removes the value.
void setFolderPath(VXUserDefaults &defaults, const QString &path, const QString &key);

// The folder path stored under `key`, else `defaultPath`. Sandboxed, the first read converts a
// path stored outside the sandbox: a folder that still exists is kept when write access to it
// can be confirmed (silently, else after an alert and the unlock panel); otherwise the stored
// path is dropped for `defaultPath`. The conversion runs once per key. The form without a
// delegate uses VXFolderAccessDelegate::shared(); with no delegate there is no sandbox.
QString folderPathForKey(VXUserDefaults &defaults, const QString &key, const QString &defaultPath);
QString folderPathForKey(VXUserDefaults &defaults, const QString &key, const QString &defaultPath,
                         VXFolderAccessDelegate *delegate);

// Whether the program's folder-access delegate (VXFolderAccessDelegate::shared()) says it runs
// sandboxed; false without one.
bool VXApplicationIsSandboxed();
