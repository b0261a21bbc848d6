#pragma once

// The configuration tree on disk: where the file is, loading it at start-up, and saving it.
//
// The file is $XDG_DATA_HOME/Wendle/Configurations/Default.plist, a binary property list (any
// form is read), written atomically with mode 0600 in folders of mode 0700. When it cannot be
// written at quit, the whole tree goes to the settings under "Default Configuration" instead.
//
// A record is never replaced with less. At start-up:
//
//     file          settings copy      loaded                 afterwards
//     readable      -                  the file
//     readable      there              the newer by "Last Timestamp" (the file when equal or
//                                      unknown); the file stays until the next save, the copy
//                                      until a save at quit succeeds
//     unreadable    either             the copy, else empty   the file set aside beside itself
//     (damaged)                                               as Default.plist.damaged-DATE
//     missing       either             the copy, else empty
//
// A damaged file is never overwritten: when it cannot be set aside, nothing is written over it.
// Temporary files left by an interrupted save (Default.plist.XXXXXX) are removed.
//
// A save that fails says so once (and again once it succeeds), keeps the tree in memory and is
// tried again after kSaveRetryInterval instead of the usual 1800 s.
//
// Saves happen at three points, and a chain of single delayed "save:" calls keeps one save
// pending 1800 s ahead:
//
//     save point                 write  fallback  schedule next
//     end of launch                -       -        +1800 s
//     save: (timer or on demand)   x       -        +1800 s
//     quit                         x       x          -
//
//     on demand at t and t+600:  [save]----600----[save]---------1800---------[save] ...
//                                 (the save pending at t+1800 is dropped by the second)
//
// Every save but the one at quit writes an immutable snapshot of the tree (VXTreeSnapshots.h)
// and leaves its encoding and writing to a writer thread, so that neither the user's action nor
// the windows wait for it: the save before every undoable change writes the undo state, the
// periodic save a snapshot taken then (and nothing at all when the sampler changed nothing
// since the last save: a night asleep writes nothing). The save at quit first waits for the
// writer, so the file always ends up holding the latest tree; of several snapshots waiting, only
// the newest is written.
//
// Between full saves the journal (VXJournal.h) keeps what the tracker changed, in
// Default.journal beside the record; the same writer thread appends to it. Each full save starts
// a new journal tied to the record it wrote; so does a start, whose record loaded serves as the
// last full save (continueLoadedRecord), so that no whole save follows each start. At start-up a journal that continues the record is
// replayed onto it and the result saved (on the writer thread, once it is the live tree), so a
// kill or a power cut costs seconds:
//
//     journal          record it names     at start-up
//     intact           this one            replayed, saved whole, started anew; one log line
//     torn at the end  this one            replayed up to the last whole entry
//     damaged inside   this one            replayed up to the damage; the rest kept aside as
//                                          Default.journal.damaged
//     of another record, or unreadable     set aside (Default.journal.damaged-DATE), never applied

#include "VXValue.h"

#include <QByteArray>
#include <QString>
#include <QtGlobal>

#include <functional>
#include <memory>
#include <optional>

class QObject;
class VXFolderAccessDelegate;
class VXJournal;
class VXScheduler;
class VXUserDefaults;

// Settings of the store.
inline const QString VXDefaultConfigurationKey = QStringLiteral("Default Configuration");
inline const QString VXDefaultJournalFileName = QStringLiteral("Default.journal");
inline const QString VXDefaultConfigurationSandboxKey = QStringLiteral("Default Configuration (Sandbox)");
inline const QString VXDefaultConfigurationSandboxConversionAttemptedKey
    = QStringLiteral("Default Configuration (Sandbox): Conversion Attempted");

// The one-time question of a sandboxed program that finds an older configuration outside its
// container ("%@": the readable folder). Translation context "VXConfigurationStore".
inline constexpr char VXConfigurationFoundMessage[] = QT_TRANSLATE_NOOP("VXConfigurationStore", "Configuration Found");
inline constexpr char VXConfigurationFoundInformativeText[] = QT_TRANSLATE_NOOP(
    "VXConfigurationStore",
    "You have previously used a version of Wendle that stored its configuration in the following folder:\n\n%@\n\n"
    "If you want to continue using this configuration, please unlock the Configurations folder to give Wendle access.");
inline constexpr char VXStartOverButtonTitle[] = QT_TRANSLATE_NOOP("VXConfigurationStore", "Start Over");

// Debug-log lines ("%@": the path).
inline const QString VXUsingSandboxConfigurationPathMessage = QStringLiteral("using sandbox configuration path: %@");
inline const QString VXStoringSandboxConfigurationPathSilentlyMessage
    = QStringLiteral("storing sandbox configuration path silently: %@");
inline const QString VXStoringSandboxConfigurationPathAfterConfirmationMessage
    = QStringLiteral("storing sandbox configuration path after user confirmation: %@");

class VXConfigurationStore
{
public:
    // The scheduled save (with this store as target).
    static const QString kSaveOperation;   // "save:"
    static constexpr double kSaveInterval = 1800.0;
    static constexpr double kSaveRetryInterval = 60.0;

    // `configuration` answers the tree to save at the moment of the save (undo and "Clear all"
    // replace it). `folderAccess` is asked about the sandboxed configuration path; null means
    // VXFolderAccessDelegate::shared().
    VXConfigurationStore(VXUserDefaults &defaults, VXScheduler &scheduler,
                         std::function<VXDictionaryRef()> configuration,
                         VXFolderAccessDelegate *folderAccess = nullptr);
    ~VXConfigurationStore();

    VXConfigurationStore(const VXConfigurationStore &) = delete;
    VXConfigurationStore &operator=(const VXConfigurationStore &) = delete;

    void setFolderAccess(VXFolderAccessDelegate *folderAccess) { m_folderAccess = folderAccess; }
    // The journal told of every full save (it continues the record written).
    void setJournal(VXJournal *journal) { m_journal = journal; }

    // The file to read and write, or empty when its folder cannot be made. Sandboxed, the first
    // call may ask once whether to use a configuration found outside the container; later calls
    // are short-cut by the stored answer. When a bookmark grants the access, its path comes back
    // through `accessedBookmarkPath` for the caller to release; without it, it is released here.
    QString configurationPath(QString *accessedBookmarkPath = nullptr);

    // The journal beside the file at `configurationPath` (empty with it).
    static QString journalPathFor(const QString &configurationPath);

    // The tree as stored (see the tables above), with the journal replayed onto it; null when
    // nothing usable is stored.
    VXDictionaryRef loadConfiguration();
    // The tree loadConfiguration() answered is now the live tree: when it is the record file as
    // it stands (nothing replayed onto it, no newer copy in the settings), a snapshot of it taken
    // as it was read (its event logs shared with the live tree, not a second copy) becomes the
    // last full save, and the journal continues it. Without it the first flush would save the
    // whole tree again. When it is a record a journal was replayed onto, it is saved whole now,
    // on the writer thread.
    void continueLoadedRecord();
    // Where the record that could not be read at start-up now lies (set aside, or still in place
    // when it could not be moved); empty when the record read well. For the user interface to
    // say so.
    const QString &damagedConfigurationPath() const { return m_damagedPath; }

    // One save point (table above). Answers whether the file was written; when it was not, the
    // reason is in saveFailure().
    bool saveConfiguration(bool save, bool withUserDefaultsFallback, bool scheduleNextSave);
    // Why the last save failed ("cannot write <path>: No space left on device"); empty after a
    // save that succeeded.
    const QString &saveFailure() const { return m_saveFailure; }
    // The periodic save; with a sender (on demand) it first drops the pending one, so the 1800 s
    // start again. Without a sender it writes nothing when nothing changed since the last save.
    void save(const void *sender);
    // The same for the tree as the snapshot holds it (VXTreeSnapshots.h), which must never
    // change: the writer thread writes it. `changeFollows`: the save comes before a user's
    // change (the journal saves the changed tree whole at its next flush).
    void save(const void *sender, const VXDictionaryRef &snapshot, bool changeFollows = false);
    // The tree was just replaced as a whole by one brought in from elsewhere (an import), of
    // which `snapshot` is an immutable copy taken before anything changed it (the decoder's
    // twin): it is saved as the last full save, on the writer thread, and the journal continues
    // it as after a load, so that the save after it shares what did not move. `saved` is told
    // here, on this thread, once the writer is done (from the event loop, or from
    // waitForPendingWrites), whether the record went to the disk.
    void saveReplacedTree(const VXDictionaryRef &snapshot, std::function<void(bool written)> saved);
    // Writes `snapshot` to `path` (not the record: a copy kept aside) on the writer thread, in
    // turn with the saves; `written` is told here as `saved` above.
    void writeCopy(const VXDictionaryRef &snapshot, const QString &path, std::function<void(bool written)> written);
    // A snapshot of the tree as it is now, written as above without touching the periodic
    // save's time (the journal's whole saves).
    void writeWhole();
    // A snapshot of the tree as it is now (null when there is none, or it holds an empty value),
    // sharing with the last one what did not change: told by the journal what moved since, it
    // costs what changed, not the whole tree. For the saves and the undo states.
    VXDictionaryRef snapshotOfTree();
    // Returns once the writer thread has written (or failed to write) what it was given, and
    // those waiting on it were told (and what they gave it in turn was written).
    void waitForPendingWrites();
    // The snapshot of the last full save handed to the writer (null before the first).
    const VXDictionaryRef &lastSnapshot() const { return m_lastSnapshot; }

    // The sampler changed the tree: the next periodic save has something to write.
    void noteChange() { m_changed = true; }
    // The tree was just replaced with a mutable copy of `snapshot` (VXMutableCopyOfSnapshot: an
    // undo state restored): the next save takes it as the last snapshot and, told by the journal
    // what moved since, shares the rest with it.
    void noteTreeRestored(const VXDictionaryRef &snapshot);
    // Appends a framed journal entry (VXJournalFile::frame) after the last full save, on the
    // writer thread, flushed to the disk. An entry that cannot be written is kept and tried
    // again with the next one; the failure is logged once. False when the journal cannot take
    // it (the last full save failed, or there is no folder): the tree must be saved whole.
    bool appendToJournal(const QByteArray &entry);
    // What the journal recovered at the last load: the tracked seconds, up to which moment (Unix
    // time); 0 and 0 when nothing was replayed.
    double recoveredSeconds() const { return m_recoveredSeconds; }
    double recoveredUpTo() const { return m_recoveredUpTo; }

    // Whether a periodic save is pending.
    bool isSavePending() const;

private:
    struct Writer;
    struct LoadedRecord;

    bool writeConfiguration(bool withUserDefaultsFallback);
    // Replays the journal beside `path` onto `record` (read from `data`) and, when anything was
    // replayed, saves the result and starts the journal anew.
    // Answers whether anything was replayed.
    bool recoverFromJournal(const QString &path, const LoadedRecord &loaded, VXDictionaryRef &record);
    void setJournalAside(const QString &journalPath, const QByteArray &rest, const QString &why);
    // Whether the path may be written: false while a damaged file lies there that cannot be
    // set aside.
    bool mayWriteTo(const QString &path);
    void noteSaveResult(bool written, const QString &path, const QString &failure, bool atQuit);
    void writeSnapshot(const VXDictionaryRef &snapshot, bool changeFollows, std::function<void(bool)> done = {});
    // Reports how the writer thread's last record went, and retries soon after a failure.
    void takeUpWriterResult();
    // Tells those waiting on the writer (writeCopy, saveReplacedTree) how their writes went.
    // Answers whether there were any.
    bool deliverAnswers();
    void scheduleNextSave();
    void removeInterruptedSaves(const QString &path);
    QString sandboxedConfigurationPath(const QString &defaultPath, QString *accessedBookmarkPath);
    VXFolderAccessDelegate *folderAccess() const;

    VXUserDefaults &m_defaults;
    VXScheduler &m_scheduler;
    std::function<VXDictionaryRef()> m_configuration;
    VXFolderAccessDelegate *m_folderAccess;
    std::unique_ptr<Writer> m_writer;
    // Lives on this thread: the writer's answers are delivered through it.
    std::unique_ptr<QObject> m_context;
    QString m_damagedPath;
    bool m_damagedInPlace = false;
    QString m_saveFailure;
    VXJournal *m_journal = nullptr;
    // The latest snapshot saved: the next one shares what did not change with it.
    VXDictionaryRef m_lastSnapshot;
    // The record's snapshot while loadConfiguration() to continueLoadedRecord().
    std::shared_ptr<LoadedRecord> m_loadedRecord;
    // The tree a journal was replayed onto, to be saved whole once it is the live tree.
    VXDictionaryRef m_recoveredRecord;
    bool m_changed = true;
    double m_recoveredSeconds = 0.0;
    double m_recoveredUpTo = 0.0;
};
