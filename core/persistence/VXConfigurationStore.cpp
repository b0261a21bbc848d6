#include "VXConfigurationStore.h"

#include "VXConfigurationKeys.h"
#include "VXFolderAccessDelegate.h"
#include "VXLibraryFolders.h"
#include "VXLog.h"
#include "VXPersistenceLogging.h"
#include "VXPrivateFiles.h"
#include "VXPropertyListSerialization.h"
#include "VXRecordReading.h"
#include "VXScheduler.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThreadPool>

#include <atomic>
#include <cstdint>

const QString VXConfigurationStore::kSaveOperation = QStringLiteral("save:");

// One thread that encodes and writes snapshots in the order given, skipping any that a newer
// one has replaced before its turn came.
struct VXConfigurationStore::Writer {
    QThreadPool thread;
    std::atomic<std::uint64_t> latest {0};

    Writer() { thread.setMaxThreadCount(1); }
    ~Writer() { thread.waitForDone(); }

    void write(const VXDictionaryRef &snapshot, const QString &path)
    {
        const std::uint64_t generation = ++latest;
        thread.start([this, snapshot, path, generation] {
            if (generation == latest.load())
                writeToBinaryFile(VXValue(snapshot), path, true);
        });
    }
};

namespace {

QString tr(const char *context, const char *text)
{
    return QCoreApplication::translate(context, text);
}

}   // namespace

VXConfigurationStore::VXConfigurationStore(VXUserDefaults &defaults, VXScheduler &scheduler,
                                           std::function<VXDictionaryRef()> configuration,
                                           VXFolderAccessDelegate *folderAccess) :
    m_defaults(defaults),
    m_scheduler(scheduler), m_configuration(std::move(configuration)), m_folderAccess(folderAccess),
    m_writer(std::make_unique<Writer>())
{
}

VXConfigurationStore::~VXConfigurationStore()
{
    m_scheduler.cancelAll(this);
    m_writer.reset();
}

VXFolderAccessDelegate *VXConfigurationStore::folderAccess() const
{
    return m_folderAccess ? m_folderAccess : VXFolderAccessDelegate::shared();
}

// ---- The path

QString VXConfigurationStore::configurationPath(QString *accessedBookmarkPath)
{
    const QString folder = libraryFolderPathWithName(VXConfigurationsFolderName);
    const QString defaultPath = folder.isEmpty() ? QString() : folder + u'/' + VXDefaultConfigurationFileName;
    if (!VXApplicationIsSandboxed())
        return defaultPath;

    QString accessed;
    const QString path = sandboxedConfigurationPath(defaultPath, &accessed);
    if (accessedBookmarkPath)
        *accessedBookmarkPath = accessed;
    else if (!accessed.isEmpty() && folderAccess())
        folderAccess()->stopAccessingBookmarkForPath(accessed);
    return path;
}

QString VXConfigurationStore::sandboxedConfigurationPath(const QString &defaultPath, QString *accessedBookmarkPath)
{
    VXFolderAccessDelegate *access = folderAccess();
    const QString stored = m_defaults.stringForKey(VXDefaultConfigurationSandboxKey);
    if (!stored.isEmpty() && access) {
        bool cancel = false;
        if (access->confirmWriteAccessForPath(stored, true, &cancel, accessedBookmarkPath, {})) {
            VXDebugLog(VXFillFormat(VXUsingSandboxConfigurationPathMessage, {stored}));
            return stored;
        }
    }
    if (m_defaults.boolForKey(VXDefaultConfigurationSandboxConversionAttemptedKey))
        return defaultPath;

    // The same file in the real home, where an earlier version outside the sandbox kept it.
    const QString earlier = stringByDeletingWendleCountainerPathComponents(defaultPath);
    QString result = defaultPath;
    if (!earlier.isEmpty() && QFileInfo::exists(earlier) && access) {
        if (access->confirmWriteAccessForPath(earlier, true, nullptr, accessedBookmarkPath, {})) {
            m_defaults.setString(earlier, VXDefaultConfigurationSandboxKey);
            VXDebugLog(VXFillFormat(VXStoringSandboxConfigurationPathSilentlyMessage, {earlier}));
            result = earlier;
        } else {
            const QString informative = VXFillFormat(tr("VXConfigurationStore", VXConfigurationFoundInformativeText),
                                                     {readablePathRepresentation(QFileInfo(earlier).path())});
            const int answer = access->runAlert(
                tr("VXConfigurationStore", VXConfigurationFoundMessage), informative,
                {tr("VXUserDefaults", kUnlockButtonTitle), tr("VXConfigurationStore", VXStartOverButtonTitle)});
            bool cancel = false;
            if (answer == 0 && access->confirmWriteAccessForPath(earlier, true, &cancel, accessedBookmarkPath, {})) {
                m_defaults.setString(earlier, VXDefaultConfigurationSandboxKey);
                VXDebugLog(VXFillFormat(VXStoringSandboxConfigurationPathAfterConfirmationMessage, {earlier}));
                result = earlier;
            }
        }
    }
    m_defaults.setBool(true, VXDefaultConfigurationSandboxConversionAttemptedKey);
    return result;
}

// ---- Loading

namespace {

// The tree's own time, for telling which of two copies is newer; nothing when it has none.
std::optional<double> lastTimestampOf(const VXDictionaryRef &tree)
{
    const VXValue &value = tree->value(VXLastTimestampKey);
    return value.isNumber() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

}   // namespace

VXDictionaryRef VXConfigurationStore::loadConfiguration()
{
    QString accessed;
    const QString path = configurationPath(&accessed);
    VXDictionaryRef fromFile;
    bool damaged = false;
    if (!path.isEmpty()) {
        removeInterruptedSaves(path);
        const VXRecordReading reading = VXReadRecordFile(path);
        fromFile = reading.configuration;
        if (reading.tooLarge) {
            // Not a byte of it loaded, and nothing written over it: it is whole, only too large.
            qCWarning(lcPersistence).noquote()
                << reading.problem + QStringLiteral(": it is left as it is, and the record is not saved over it");
            m_damagedPath = path;
            m_damagedInPlace = true;
        } else if (!reading.problem.isEmpty()) {
            qCWarning(lcPersistence).noquote() << reading.problem;
            damaged = true;
        }
    }
    if (damaged) {
        // Kept for a person (or a tool) to recover: never overwritten by the next save.
        m_damagedPath = VXSetDamagedFileAside(path);
        m_damagedInPlace = m_damagedPath.isEmpty();
        if (m_damagedInPlace) {
            m_damagedPath = path;
            qCWarning(lcPersistence).noquote()
                << QStringLiteral("the configuration <%1> cannot be read, nor set aside: it is left as it is, and "
                                  "the record is not saved over it")
                       .arg(path);
        } else {
            qCWarning(lcPersistence).noquote()
                << QStringLiteral("the configuration <%1> cannot be read: set aside as <%2>").arg(path, m_damagedPath);
        }
    }
    if (!accessed.isEmpty() && folderAccess())
        folderAccess()->stopAccessingBookmarkForPath(accessed);

    // The copy a failed save at quit left in the settings.
    VXDictionaryRef fromSettings;
    const VXValue fallback = m_defaults.objectForKey(VXDefaultConfigurationKey);
    if (fallback.isDictionary()) {
        if (std::optional<QByteArray> encoded = propertyListData(fallback))
            fromSettings = deeplyMutableDictionaryWithData(*encoded);
    }
    if (!fromFile || !fromSettings) {
        if (damaged)
            qCWarning(lcPersistence).noquote()
                << (fromSettings ? QStringLiteral("starting from the copy in the settings")
                                 : QStringLiteral("starting with an empty record"));
        return fromFile ? fromFile : fromSettings;
    }
    const std::optional<double> fileTime = lastTimestampOf(fromFile);
    const std::optional<double> settingsTime = lastTimestampOf(fromSettings);
    if (settingsTime && (!fileTime || *settingsTime > *fileTime)) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("the copy of the record in the settings is newer than <%1> (a save at quit failed): "
                              "using it; the file stays until the next save replaces it")
                   .arg(path);
        return fromSettings;
    }
    return fromFile;
}

void VXConfigurationStore::removeInterruptedSaves(const QString &path)
{
    // The temporary names of an atomic write: the file's name and six letters or digits. Only
    // this program writes there, and only one of it runs.
    const QFileInfo target(path);
    const QDir folder = target.dir();
    static const QRegularExpression temporary(QStringLiteral("^\\.[A-Za-z0-9]{6}$"));
    for (const QFileInfo &entry :
         folder.entryInfoList({target.fileName() + QStringLiteral(".??????")}, QDir::Files | QDir::Hidden)) {
        if (!temporary.match(entry.fileName().mid(target.fileName().size())).hasMatch())
            continue;
        if (QFile::remove(entry.filePath()))
            qCInfo(lcPersistence).noquote()
                << QStringLiteral("removed <%1>, left by an interrupted save").arg(entry.filePath());
    }
}

// ---- Saving

bool VXConfigurationStore::saveConfiguration(bool save, bool withUserDefaultsFallback, bool scheduleNext)
{
    bool written = false;
    if (save && m_configuration())
        written = writeConfiguration(withUserDefaultsFallback);
    if (scheduleNext)
        scheduleNextSave();
    return written;
}

void VXConfigurationStore::save(const void *sender)
{
    if (sender)
        m_scheduler.cancel(this, kSaveOperation);
    saveConfiguration(true, false, true);
}

void VXConfigurationStore::save(const void *sender, const VXDictionaryRef &snapshot)
{
    if (sender)
        m_scheduler.cancel(this, kSaveOperation);
    if (snapshot) {
        // The path is settled here, on the main thread (it may ask the user); a sandbox's
        // bookmark only records the access, so it is released at once.
        QString accessed;
        const QString path = configurationPath(&accessed);
        if (!accessed.isEmpty() && folderAccess())
            folderAccess()->stopAccessingBookmarkForPath(accessed);
        if (!path.isEmpty() && mayWriteTo(path))
            m_writer->write(snapshot, path);
    }
    scheduleNextSave();
}

void VXConfigurationStore::waitForPendingWrites()
{
    m_writer->thread.waitForDone();
}

bool VXConfigurationStore::writeConfiguration(bool withUserDefaultsFallback)
{
    // A snapshot still being written must not land after this newer tree.
    waitForPendingWrites();
    const VXDictionaryRef configuration = m_configuration();
    QString accessed;
    const QString path = configurationPath(&accessed);
    bool written = false;
    QString failure;
    if (path.isEmpty())
        failure = QStringLiteral("no folder for the record under <%1>").arg(VXLibraryFolderPath());
    else if (!mayWriteTo(path))
        failure = QStringLiteral("the record <%1> that could not be read cannot be set aside").arg(path);
    else
        written = writeToBinaryFile(VXValue(configuration), path, true, &failure);
    if (!accessed.isEmpty() && folderAccess())
        folderAccess()->stopAccessingBookmarkForPath(accessed);

    if (withUserDefaultsFallback) {
        if (written)
            m_defaults.removeObjectForKey(VXDefaultConfigurationKey);
        else
            m_defaults.setObject(VXValue(configuration), VXDefaultConfigurationKey);
    }
    noteSaveResult(written, path, failure, withUserDefaultsFallback);
    return written;
}

bool VXConfigurationStore::mayWriteTo(const QString &path)
{
    if (!m_damagedInPlace || path != m_damagedPath)
        return true;
    // Tried again at each save: the folder may have become writable.
    const QString target = VXSetDamagedFileAside(path);
    if (target.isEmpty())
        return false;
    qCWarning(lcPersistence).noquote()
        << QStringLiteral("the configuration that could not be read is set aside as <%1>").arg(target);
    m_damagedPath = target;
    m_damagedInPlace = false;
    return true;
}

void VXConfigurationStore::noteSaveResult(bool written, const QString &path, const QString &failure, bool atQuit)
{
    if (written) {
        if (!m_saveFailure.isEmpty())
            qCInfo(lcPersistence).noquote() << QStringLiteral("the record is saved again in <%1>").arg(path);
        m_saveFailure.clear();
        return;
    }
    if (atQuit) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("cannot save the record: %1; it goes to the settings instead, for the next start")
                   .arg(failure);
    } else if (m_saveFailure.isEmpty()) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("cannot save the record: %1; it stays in memory and the save is tried again every "
                              "%2 seconds")
                   .arg(failure)
                   .arg(kSaveRetryInterval);
    }
    m_saveFailure = failure;
}

void VXConfigurationStore::scheduleNextSave()
{
    const double delay = m_saveFailure.isEmpty() ? kSaveInterval : kSaveRetryInterval;
    m_scheduler.performAfterDelay(this, kSaveOperation, delay, [this] { save(nullptr); });
}

bool VXConfigurationStore::isSavePending() const
{
    return m_scheduler.isPending(this, kSaveOperation);
}
