#include "VXConfigurationStore.h"

#include "VXConfigurationKeys.h"
#include "VXFolderAccessDelegate.h"
#include "VXJournal.h"
#include "VXLibraryFolders.h"
#include "VXLog.h"
#include "VXPersistenceLogging.h"
#include "VXPrivateFiles.h"
#include "VXPropertyListSerialization.h"
#include "VXRecordReading.h"
#include "VXScheduler.h"
#include "VXStringExtensions.h"
#include "VXTreeSnapshots.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QThreadPool>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <future>
#include <mutex>

#include <fcntl.h>
#ifdef __GLIBC__
#include <malloc.h>
#endif
#include <sys/stat.h>
#include <unistd.h>

const QString VXConfigurationStore::kSaveOperation = QStringLiteral("save:");

namespace {

void releaseFreedMemory()
{
#ifdef __GLIBC__
    malloc_trim(0);
#endif
}

}   // namespace

// One thread that writes the record and its journal in the order given. A snapshot that a newer
// one replaced before its turn came is skipped, and so are the journal entries that followed it
// (the newer snapshot holds them). An entry goes only to the journal of the record it continues.
struct VXConfigurationStore::Writer {
    QThreadPool thread;
    std::atomic<std::uint64_t> latest {0};
    // Writer thread only: the snapshot whose journal is on disk, and entries not yet written.
    std::uint64_t journalGeneration = 0;
    QByteArray unwritten;
    bool appendFailed = false;
    // Set while the latest record could not be written: the journal cannot continue it.
    std::atomic<bool> recordFailed {false};
    // How the last record written here went, for the main thread to take up.
    struct Result {
        bool pending = false;
        bool written = false;
        QString path;
        QString failure;
    };
    std::mutex resultLock;
    Result result;
    // Those waiting to hear how a record or a copy went, with the answer once the writer is done
    // with it: taken up on the main thread, which `wake` (set by the store) prompts.
    using Done = std::function<void(bool written)>;
    std::vector<std::pair<Done, bool>> answered;
    std::function<void()> wake;
    // Writer thread only: those waiting on snapshots a newer one replaced (it answers them).
    std::vector<Done> waiting;

    Result takeResult()
    {
        const std::lock_guard lock(resultLock);
        return std::exchange(result, Result());
    }
    std::vector<std::pair<Done, bool>> takeAnswered()
    {
        const std::lock_guard lock(resultLock);
        return std::exchange(answered, {});
    }
    // Writer thread: hands the answer to those waiting.
    void answer(std::vector<Done> done, bool written)
    {
        if (done.empty())
            return;
        {
            const std::lock_guard lock(resultLock);
            for (Done &each : done)
                answered.emplace_back(std::move(each), written);
        }
        if (wake)
            wake();
    }

    // The thread is made now and kept: a thread made later needs descriptors for its event
    // dispatcher, and a process that ran out of them would then end on the spot, before a save.
    Writer()
    {
        thread.setMaxThreadCount(1);
        thread.setExpiryTimeout(-1);
        thread.start([] {});
    }
    ~Writer() { thread.waitForDone(); }

    // Returns once every task given so far has run. The thread stays: QThreadPool::waitForDone
    // would end it, and the next task would need a new one.
    void drain()
    {
        std::promise<void> reached;
        std::future<void> done = reached.get_future();
        thread.start([&reached] { reached.set_value(); });
        done.wait();
    }

    // `earlier`: the snapshot it replaces, released here once this one is written, so that what
    // only it held (a large window table or list copied for it) is freed on this thread.
    // `done`: told whether the record went to the disk (by this snapshot or a newer one).
    void write(const VXDictionaryRef &snapshot, const QString &path, VXDictionaryRef earlier = {}, Done done = {})
    {
        const std::uint64_t generation = ++latest;
        thread.start(
            [this, snapshot, path, generation, earlier = std::move(earlier), done = std::move(done)]() mutable {
                if (done)
                    waiting.push_back(std::move(done));
                if (generation != latest.load())
                    return earlier.reset();
                std::optional<QByteArray> data = propertyListData(VXValue(snapshot));
                QString failure;
                const bool written = data && writeDataToFile(*data, path, true, &failure);
                if (!data)
                    failure = QStringLiteral("cannot encode the record for <%1>").arg(path);
                recordFailed = !written;
                {
                    const std::lock_guard lock(resultLock);
                    result = Result {true, written, path, failure};
                }
                if (written)
                    startJournal(*data, path, generation);
                answer(std::exchange(waiting, {}), written);
                earlier.reset();
                // The encoding and the codec's tables are freed: their pages go back to the system
                // rather than stay with this thread's arena.
                data.reset();
                releaseFreedMemory();
            });
    }

    // A snapshot written to another file (the record kept aside before an import), never
    // replaced by a newer one and no journal's record.
    void writeCopy(const VXDictionaryRef &snapshot, const QString &path, Done done)
    {
        thread.start([this, snapshot, path, done = std::move(done)]() mutable {
            std::optional<QByteArray> data = propertyListData(VXValue(snapshot));
            QString failure;
            const bool written = data && writeDataToFile(*data, path, true, &failure);
            if (!written)
                qCWarning(lcPersistence).noquote()
                    << QStringLiteral("cannot write <%1>: %2")
                           .arg(path, data ? failure : QStringLiteral("the record cannot be encoded"));
            std::vector<Done> one;
            one.push_back(std::move(done));
            answer(std::move(one), written);
            data.reset();
            releaseFreedMemory();
        });
    }

    // After the record was written: its journal starts empty. Until that succeeds, entries are
    // dropped (the journal on disk belongs to another record and is never replayed onto this).
    void startJournal(const QByteArray &record, const QString &path, std::uint64_t generation)
    {
        startJournalWithHeader(VXJournalFile::header(record), path, generation);
    }
    void startJournalWithHeader(const QByteArray &header, const QString &path, std::uint64_t generation)
    {
        unwritten.clear();
        journalGeneration = writeDataToFile(header, journalPathFor(path), true) ? generation : 0;
    }

    void append(const QByteArray &entry, const QString &path)
    {
        const std::uint64_t generation = latest.load();
        thread.start([this, entry, path, generation] {
            if (generation != journalGeneration || generation != latest.load())
                return;
            unwritten.append(entry);
            const bool written = appendToFile(journalPathFor(path));
            if (written && appendFailed)
                qCInfo(lcPersistence, "the journal is written again");
            appendFailed = !written;
            if (written)
                unwritten.clear();
        });
    }

    // Appends what is unwritten and flushes it to the disk; a failure leaves the file as it was.
    bool appendToFile(const QString &journalPath)
    {
        const QByteArray name = QFile::encodeName(journalPath);
        const int fd = ::open(name.constData(), O_WRONLY | O_APPEND | O_CLOEXEC);
        if (fd < 0)
            return reportAppendFailure(journalPath, errno);
        struct stat before {
        };
        ::fstat(fd, &before);
        qsizetype done = 0;
        int error = 0;
        while (done < unwritten.size()) {
            const ssize_t n = ::write(fd, unwritten.constData() + done, std::size_t(unwritten.size() - done));
            if (n < 0 && errno == EINTR)
                continue;
            if (n <= 0) {
                error = n < 0 ? errno : ENOSPC;
                break;
            }
            done += n;
        }
        if (!error && ::fdatasync(fd) != 0)
            error = errno;
        if (error && ::ftruncate(fd, before.st_size) != 0)
            qCWarning(lcPersistence).noquote()
                << QStringLiteral("cannot take back a part of an entry in <%1>").arg(journalPath);
        ::close(fd);
        return !error || reportAppendFailure(journalPath, error);
    }

    bool reportAppendFailure(const QString &journalPath, int error)
    {
        if (!appendFailed)
            qCWarning(lcPersistence).noquote()
                << QStringLiteral(
                       "cannot write the journal <%1>: %2; the record stays whole in memory and the entry is "
                       "tried again with the next one")
                       .arg(journalPath, QString::fromLocal8Bit(std::strerror(error)));
        return false;
    }
};

namespace {

QString translated(const char *context, const char *text)
{
    return QCoreApplication::translate(context, text);
}

}   // namespace

VXConfigurationStore::VXConfigurationStore(VXUserDefaults &defaults, VXScheduler &scheduler,
                                           std::function<VXDictionaryRef()> configuration,
                                           VXFolderAccessDelegate *folderAccess) :
    m_defaults(defaults),
    m_scheduler(scheduler), m_configuration(std::move(configuration)), m_folderAccess(folderAccess),
    m_writer(std::make_unique<Writer>()), m_context(std::make_unique<QObject>())
{
    // Answers from the writer thread reach this thread through its event loop (or sooner, at
    // waitForPendingWrites): never in the middle of a save or a flush, which they may follow
    // with a change of the tree.
    m_writer->wake = [this, context = m_context.get()] {
        QMetaObject::invokeMethod(
            context,
            [this] {
                takeUpWriterResult();
                deliverAnswers();
            },
            Qt::QueuedConnection);
    };
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
    if (!folderAccess() || !folderAccess()->isSandboxed())
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
    const QString earlier = stringByDeletingWendleContainerPathComponents(defaultPath);
    QString result = defaultPath;
    if (!earlier.isEmpty() && QFileInfo::exists(earlier) && access) {
        if (access->confirmWriteAccessForPath(earlier, true, nullptr, accessedBookmarkPath, {})) {
            m_defaults.setString(earlier, VXDefaultConfigurationSandboxKey);
            VXDebugLog(VXFillFormat(VXStoringSandboxConfigurationPathSilentlyMessage, {earlier}));
            result = earlier;
        } else {
            const QString informative
                = VXFillFormat(translated("VXConfigurationStore", VXConfigurationFoundInformativeText),
                               {readablePathRepresentation(QFileInfo(earlier).path())});
            const int answer
                = access->runAlert(translated("VXConfigurationStore", VXConfigurationFoundMessage), informative,
                                   {translated("VXUserDefaults", kUnlockButtonTitle),
                                    translated("VXConfigurationStore", VXStartOverButtonTitle)});
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

// The record file as loaded, to serve as the last full save's snapshot: the tree, copied as it
// was read (sharing its event logs with the live tree), and the header of the journal that
// continues the file, taken from its bytes beside the decoding.
struct VXConfigurationStore::LoadedRecord {
    VXDictionaryRef tree;
    QByteArray journalHeader;
};

VXDictionaryRef VXConfigurationStore::loadConfiguration()
{
    QString accessed;
    const QString path = configurationPath(&accessed);
    VXDictionaryRef fromFile;
    // The file's tree as read, made by the decoder beside it (null when it could not be): the
    // copy below without a second pass over the tree.
    VXDictionaryRef loadedSnapshot;
    bool damaged = false;
    bool replayed = false;
    m_loadedRecord.reset();
    m_recoveredRecord.reset();
    auto loaded = std::make_shared<LoadedRecord>();
    if (!path.isEmpty()) {
        removeInterruptedSaves(path);
        const bool asItStands = !VXJournalHasEntries(path);
        // The header that names the file as it stands: the journal that continues the file
        // starts with it, and a journal left to replay must match it.
        VXRecordReading reading = VXReadRecordFile(path, VXRecordJournal::Named,
                                                   asItStands ? VXRecordSnapshot::Made : VXRecordSnapshot::None);
        loaded->journalHeader = std::move(reading.journalHeader);
        fromFile = reading.configuration;
        loadedSnapshot = std::move(reading.snapshot);
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
        if (fromFile && !asItStands)
            replayed = recoverFromJournal(path, *loaded, fromFile);
    }
    // The last full save is the file as it stands, when the tree loaded is that file: copied
    // here, before anything changes the tree.
    m_writer->drain();
    const auto fromRecordAsItStands = [&](const VXDictionaryRef &tree) {
        if (tree && tree == fromFile && !replayed && !damaged && !loaded->journalHeader.isEmpty()) {
            loaded->tree = loadedSnapshot ? std::move(loadedSnapshot) : VXTreeSnapshot(tree, VXDictionaryRef());
            if (loaded->tree)
                m_loadedRecord = loaded;
        }
        return tree;
    };
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
        return fromRecordAsItStands(fromFile ? fromFile : fromSettings);
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
    return fromRecordAsItStands(fromFile);
}

void VXConfigurationStore::continueLoadedRecord()
{
    const std::shared_ptr<LoadedRecord> loaded = std::exchange(m_loadedRecord, nullptr);
    const VXDictionaryRef recovered = std::exchange(m_recoveredRecord, VXDictionaryRef());
    if (recovered && recovered == m_configuration()) {
        writeWhole();
        return;
    }
    if (!loaded || !m_configuration())
        return;
    QString accessed;
    const QString path = configurationPath(&accessed);
    if (!accessed.isEmpty() && folderAccess())
        folderAccess()->stopAccessingBookmarkForPath(accessed);
    if (path.isEmpty())
        return;
    m_lastSnapshot = loaded->tree;
    m_changed = false;
    const std::uint64_t generation = ++m_writer->latest;
    Writer *writer = m_writer.get();
    writer->thread.start([writer, header = loaded->journalHeader, path, generation] {
        writer->startJournalWithHeader(header, path, generation);
    });
    if (m_journal)
        m_journal->rebase(m_lastSnapshot, false);
}

QString VXConfigurationStore::journalPathFor(const QString &configurationPath)
{
    return configurationPath.isEmpty() ? QString()
                                       : QFileInfo(configurationPath).path() + u'/' + VXDefaultJournalFileName;
}

bool VXConfigurationStore::recoverFromJournal(const QString &path, const LoadedRecord &loaded, VXDictionaryRef &record)
{
    m_recoveredSeconds = m_recoveredUpTo = 0.0;
    const QString journalPath = journalPathFor(path);
    QFile file(journalPath);
    if (!file.exists())
        return false;
    // (The journal names its record by size and checksum: the header taken from the file's bytes.)
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("cannot read the journal <%1>: %2").arg(journalPath, file.errorString());
        return false;
    }
    const QByteArray journal = file.readAll();
    file.close();
    const VXJournalFile::Contents contents = VXJournalFile::readContinuing(journal, loaded.journalHeader);
    using Status = VXJournalFile::Contents::Status;
    if (contents.status == Status::Damaged || contents.status == Status::OtherRecord) {
        const QString aside = VXSetDamagedFileAside(journalPath);
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("the journal <%1> %2: not applied, %3")
                   .arg(journalPath,
                        contents.status == Status::Damaged ? QStringLiteral("cannot be read")
                                                           : QStringLiteral("belongs to another record"),
                        aside.isEmpty() ? QStringLiteral("and it cannot be set aside")
                                        : QStringLiteral("set aside as <%1>").arg(aside));
        return false;
    }
    if (contents.entries.empty())
        return false;

    // What the entries add to the sum of sampled intervals is the tracking they recover; the
    // last timestamps would also count the time Wendle was not running before the lost run.
    const double trackedBefore = record->value(VXOverallTimeKey).toDouble();
    VXJournalReplay replay(*record);
    std::size_t applied = 0;
    qsizetype end = VXJournalFile::kHeaderSize;
    for (const QByteArray &entry : contents.entries) {
        if (!replay.apply(entry))
            break;
        ++applied;
        end += entry.size() + 8;
    }
    const bool damaged = contents.damagedInTheMiddle || applied < contents.entries.size();
    if (damaged)
        setJournalAside(journalPath, journal.mid(end), QStringLiteral("damaged after %1 whole entries").arg(applied));
    if (applied == 0)
        return false;
    VXCloseOpenPeriods(*record);
    const double upTo = record->value(VXLastTimestampKey).toDouble();
    const double trackedAfter = record->value(VXOverallTimeKey).toDouble();
    // (Less than before: the entries hold a reset of the timers, and what follows it.)
    m_recoveredSeconds = trackedAfter >= trackedBefore ? trackedAfter - trackedBefore : trackedAfter;
    m_recoveredUpTo = upTo;
    qCWarning(lcPersistence).noquote()
        << QStringLiteral("recovered %1 seconds of tracking from the journal (%2 entries), up to %3")
               .arg(m_recoveredSeconds, 0, 'f', 1)
               .arg(applied)
               .arg(QDateTime::fromSecsSinceEpoch(qint64(upTo)).toString(Qt::ISODate));
    // The recovered record becomes the file, and its journal starts anew, once it is the live
    // tree (continueLoadedRecord): saved whole on the writer thread, since a ten-year record
    // takes seconds to encode and write. Until that save is on the disk, the journal stays for
    // the next start.
    m_recoveredRecord = record;
    return true;
}

void VXConfigurationStore::setJournalAside(const QString &journalPath, const QByteArray &rest, const QString &why)
{
    const QString aside = journalPath + QStringLiteral(".damaged");
    if (QFileInfo::exists(aside))
        VXSetDamagedFileAside(aside);   // an older one keeps a dated name
    const bool kept = writeDataToFile(rest, aside, true);
    qCWarning(lcPersistence).noquote() << QStringLiteral("the journal <%1> is %2: replayed up to the damage, %3")
                                              .arg(journalPath, why,
                                                   kept ? QStringLiteral("the rest kept as <%1>").arg(aside)
                                                        : QStringLiteral("the rest cannot be kept"));
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
    takeUpWriterResult();
    if (sender)
        m_scheduler.cancel(this, kSaveOperation);
    // A night asleep changes nothing, and writes nothing.
    if (sender || m_changed || !m_saveFailure.isEmpty())
        writeWhole();
    scheduleNextSave();
}

void VXConfigurationStore::writeWhole()
{
    if (!m_configuration())
        return;
    const VXDictionaryRef snapshot = snapshotOfTree();
    if (!snapshot) {
        qCWarning(lcPersistence, "cannot save the configuration: it holds an empty value");
        return;
    }
    writeSnapshot(snapshot, false);
}

VXDictionaryRef VXConfigurationStore::snapshotOfTree()
{
    const VXDictionaryRef configuration = m_configuration();
    if (!configuration)
        return VXDictionaryRef();
    // The journal knows what moved since the last snapshot: the rest is shared unseen, so that a
    // ten-year record costs the main thread what changed, not the whole tree. (After an undo,
    // the state restored serves as the last snapshot.)
    const VXDictionaryRef previous = m_journal ? m_journal->continuedSnapshot(m_lastSnapshot) : m_lastSnapshot;
    const VXSettledParts settled = m_journal ? m_journal->settledSince(previous) : VXSettledParts();
    return VXTreeSnapshot(configuration, previous, settled);
}

void VXConfigurationStore::noteTreeRestored(const VXDictionaryRef &snapshot)
{
    if (m_journal)
        m_journal->noteTreeRestored(snapshot);
}

void VXConfigurationStore::save(const void *sender, const VXDictionaryRef &snapshot, bool changeFollows)
{
    if (sender)
        m_scheduler.cancel(this, kSaveOperation);
    if (snapshot)
        writeSnapshot(snapshot, changeFollows);
    scheduleNextSave();
}

void VXConfigurationStore::saveReplacedTree(const VXDictionaryRef &snapshot, std::function<void(bool)> saved)
{
    if (!snapshot) {
        qCWarning(lcPersistence, "cannot save the configuration: it holds an empty value");
        m_changed = true;
        saved(false);
        return;
    }
    writeSnapshot(snapshot, false, std::move(saved));
}

void VXConfigurationStore::writeCopy(const VXDictionaryRef &snapshot, const QString &path,
                                     std::function<void(bool)> written)
{
    if (snapshot)
        m_writer->writeCopy(snapshot, path, std::move(written));
    else
        written(false);
}

void VXConfigurationStore::writeSnapshot(const VXDictionaryRef &snapshot, bool changeFollows,
                                         std::function<void(bool)> done)
{
    m_loadedRecord.reset();
    VXDictionaryRef earlier = std::exchange(m_lastSnapshot, snapshot);
    m_changed = false;
    if (m_journal)
        m_journal->rebase(snapshot, changeFollows);
    // The path is settled here, on the main thread (it may ask the user); a sandbox's bookmark
    // only records the access, so it is released at once.
    QString accessed;
    const QString path = configurationPath(&accessed);
    if (!accessed.isEmpty() && folderAccess())
        folderAccess()->stopAccessingBookmarkForPath(accessed);
    if (path.isEmpty()) {
        m_changed = true;
        noteSaveResult(false, path, QStringLiteral("no folder for the record under <%1>").arg(VXLibraryFolderPath()),
                       false);
    } else if (!mayWriteTo(path)) {
        m_changed = true;
        noteSaveResult(false, path,
                       QStringLiteral("the record <%1> that could not be read cannot be set aside").arg(path), false);
    } else {
        m_writer->write(snapshot, path, std::move(earlier), std::move(done));
        return;
    }
    if (done)
        done(false);
}

void VXConfigurationStore::waitForPendingWrites()
{
    // (An answer may give the writer more to write: an import applied once the record it
    // replaces is kept aside.)
    do {
        m_writer->drain();
        takeUpWriterResult();
    } while (deliverAnswers());
}

bool VXConfigurationStore::deliverAnswers()
{
    auto answers = m_writer->takeAnswered();
    for (auto &[done, written] : answers)
        done(written);
    return !answers.empty();
}

void VXConfigurationStore::takeUpWriterResult()
{
    const Writer::Result result = m_writer->takeResult();
    if (result.pending) {
        const bool failedBefore = !m_saveFailure.isEmpty();
        noteSaveResult(result.written, result.path, result.failure, false);
        if (!result.written) {
            m_changed = true;
            // Tried again soon instead of in half an hour.
            if (!failedBefore && isSavePending()) {
                m_scheduler.cancel(this, kSaveOperation);
                scheduleNextSave();
            }
        }
    }
}

bool VXConfigurationStore::appendToJournal(const QByteArray &entry)
{
    takeUpWriterResult();
    if (m_writer->recordFailed)
        return false;
    QString accessed;
    const QString path = configurationPath(&accessed);
    if (!accessed.isEmpty() && folderAccess())
        folderAccess()->stopAccessingBookmarkForPath(accessed);
    if (path.isEmpty())
        return false;
    m_writer->append(entry, path);
    return true;
}

bool VXConfigurationStore::writeConfiguration(bool withUserDefaultsFallback)
{
    // What changed since the last flush goes to the journal first: a large record takes seconds
    // to encode and write here, and an end that comes before that is done (the session's, or
    // the display's that took the process with it) then still finds its last moments kept.
    if (m_journal) {
        const std::optional<QByteArray> payload = m_journal->entry();
        if (payload && !payload->isEmpty())
            appendToJournal(VXJournalFile::frame(*payload));
    }
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
    else if (const std::optional<QByteArray> data = propertyListData(VXValue(configuration))) {
        written = writeDataToFile(*data, path, true, &failure);
        if (written)
            m_writer->startJournal(*data, path, ++m_writer->latest);
    } else
        failure = QStringLiteral("cannot encode the record for <%1>").arg(path);
    if (written) {
        m_changed = false;
        // The journal's entries were relative to an older record: it starts again from a whole save.
        if (m_journal)
            m_journal->rebase(VXDictionaryRef(), false);
    }
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
