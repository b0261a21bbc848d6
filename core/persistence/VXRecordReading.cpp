#include "VXRecordReading.h"

#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXHeapGrowth.h"
#include "VXJournal.h"
#include "VXPropertyListSerialization.h"
#include "VXTwoEndedSlices.h"

#include <QFile>
#include <QFileInfo>
#include <QLocale>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <algorithm>
#include <future>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/mman.h>

qint64 VXMemoryNeededForRecord(qint64 fileSize)
{
    return fileSize * 2;
}

qint64 VXAvailableMemory()
{
    QFile meminfo(QStringLiteral("/proc/meminfo"));
    if (!meminfo.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : meminfo.readAll().split('\n')) {
        if (line.startsWith("MemAvailable:"))
            return line.mid(13).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return -1;
}

namespace {

// The tree of a record's bytes, and with `snapshot` its twin when the reader can make one.
VXDictionaryRef decodeRecord(const QByteArray &data, VXDictionaryRef *snapshot)
{
    if (snapshot && VXBinaryPropertyListReader::hasBinaryMagic(data)) {
        VXValue twin;
        const VXValue tree = VXBinaryPropertyListReader::read(data, &twin);
        if (tree.isDictionary()) {
            *snapshot = twin.dictionaryRef();
            return tree.dictionaryRef();
        }
        if (tree.isNull())
            return VXDictionaryRef();   // damaged: the reader said why
    }
    return deeplyMutableDictionaryWithData(data);
}

}   // namespace

VXRecordReading VXReadRecordFile(const QString &path, VXRecordJournal journal, VXRecordSnapshot snapshot)
{
    VXRecordReading reading;
    VXDictionaryRef *twin = snapshot == VXRecordSnapshot::Made ? &reading.snapshot : nullptr;
    QFile file(path);
    reading.exists = file.exists();
    if (!reading.exists)
        return reading;
    if (!file.open(QIODevice::ReadOnly)) {
        reading.problem = QStringLiteral("cannot read <%1>: %2").arg(path, file.errorString());
        return reading;
    }
    const qint64 size = file.size();
    const qint64 available = VXAvailableMemory();
    if (available >= 0 && VXMemoryNeededForRecord(size) > available) {
        const QLocale locale = QLocale::system();
        reading.tooLarge = true;
        reading.problem = QStringLiteral("the record <%1> is %2, too large to load in the %3 of memory available")
                              .arg(path, locale.formattedDataSize(size), locale.formattedDataSize(available));
        return reading;
    }
    if (size == 0)
        return reading;
    {
        // The tree (and its twin) in room made for it at once; what it leaves unused goes back
        // with the trim below. A binary record's tree and twin take about 0.9 of its size: that
        // much of the room is faulted in on another core while this one decodes.
        const bool binaryWithTwin = twin && VXBinaryPropertyListReader::hasBinaryMagic(file.peek(8));
        const VXHeapGrowth room(std::size_t(VXMemoryNeededForRecord(size)),
                                binaryWithTwin ? std::size_t(size) / 8 * 7 : 0);
        // Mapped, the file's pages are the system's cache, not a copy of this process's own.
        const bool withJournal = journal == VXRecordJournal::Applied && VXJournalHasEntries(path);
        const bool named = withJournal || journal == VXRecordJournal::Named;
        const auto decode = [&](const QByteArray &data) {
            // The journal names the record by its checksum: taken on a thread of its own while
            // this one decodes, it costs a ten-year record no wall time.
            std::future<QByteArray> header;
            if (named)
                header = std::async(std::launch::async, [data] { return VXJournalFile::header(data); });
            reading.configuration = decodeRecord(data, twin);
            if (named)
                reading.journalHeader = header.get();
            if (withJournal && reading.configuration)
                VXApplyJournalToReadTree(*reading.configuration, reading.journalHeader, path);
        };
        if (uchar *mapped = file.map(0, size)) {
            decode(QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), size));
            file.unmap(mapped);
        } else {
            decode(file.readAll());
        }
    }
    if (!reading.configuration)
        reading.problem = QStringLiteral("<%1> is damaged or not a record").arg(path);
#ifdef __GLIBC__
    // The decoder's tables are freed by now: give their pages back rather than keep them for
    // the life of the program.
    malloc_trim(0);
#endif
    return reading;
}

std::size_t VXApplyJournalToReadTree(VXDictionary &tree, const QByteArray &recordHeader, const QString &recordPath)
{
    QFile file(VXConfigurationStore::journalPathFor(recordPath));
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    const VXJournalFile::Contents contents = VXJournalFile::readContinuing(file.readAll(), recordHeader);
    if (contents.status != VXJournalFile::Contents::Status::Matches)
        return 0;
    VXJournalReplay replay(tree);
    std::size_t applied = 0;
    for (const QByteArray &entry : contents.entries) {
        if (!replay.apply(entry))
            break;
        ++applied;
    }
    if (applied > 0)
        VXCloseOpenPeriods(tree);
    return applied;
}

bool VXJournalHasEntries(const QString &recordPath)
{
    return QFileInfo(VXConfigurationStore::journalPathFor(recordPath)).size() > VXJournalFile::kHeaderSize;
}

void VXKeepUntilExit(const VXValue &value)
{
    static auto *const kept = new std::vector<VXValue>();
    kept->push_back(value);
}

std::unique_ptr<VXMappedRecord> VXMappedRecord::open(const QString &path)
{
    // A journal with entries holds changes that only the tree's reading applies.
    if (VXJournalHasEntries(path))
        return nullptr;
    std::unique_ptr<VXMappedRecord> record(new VXMappedRecord());
    record->m_file.setFileName(path);
    if (!record->m_file.open(QIODevice::ReadOnly))
        return nullptr;
    const qint64 size = record->m_file.size();
    if (size <= 0 || !(record->m_mapped = record->m_file.map(0, size)))
        return nullptr;
    record->m_data = QByteArray::fromRawData(reinterpret_cast<const char *>(record->m_mapped), size);
    if (!VXBinaryPropertyListReader::hasBinaryMagic(record->m_data))
        return nullptr;
    record->m_view = std::make_unique<VXBinaryPropertyListView>(record->m_data);
    if (record->m_view->isDamaged())
        return nullptr;
    record->populate(std::size_t(size));
    return record;
}

// The pages of a long record mapped in slices by two threads, this one's from the first, the
// other's from the last, until they meet.
struct VXMappedRecord::Population {
    static constexpr std::size_t kSlice = std::size_t(8) << 20;

    uchar *mapped = nullptr;
    std::size_t size = 0;
    std::thread other;

    VXTwoEndedSlices slices;

    // Maps slices from one side until none is left.
    void run(VXTwoEndedSlices::Side side)
    {
#ifdef MADV_POPULATE_READ
        while (const std::optional<std::size_t> slice = slices.next(side)) {
            const std::size_t from = *slice * kSlice;
            madvise(mapped + from, std::min(kSlice, size - from), MADV_POPULATE_READ);
        }
#else
        Q_UNUSED(side);
#endif
    }

    Population(uchar *at, std::size_t bytes) : mapped(at), size(bytes), slices((bytes + kSlice - 1) / kSlice) { }
    ~Population()
    {
        if (other.joinable())
            other.join();
    }
};

VXMappedRecord::VXMappedRecord() = default;

void VXMappedRecord::populate(std::size_t size)
{
    // The commands read a little of nearly every page of a long record (each item's logs' last
    // numbers): its pages mapped in a few calls rather than a fault at a time. This thread never
    // waits for the other, which may still be mapping a slice when this one returns: a page not
    // mapped yet is faulted in when read.
    m_population = std::make_unique<Population>(m_mapped, size);
    if (size > 4 * Population::kSlice) {
        try {
            m_population->other = std::thread(&Population::run, m_population.get(), VXTwoEndedSlices::FromTheLast);
        } catch (const std::system_error &) {
            // This thread maps it all.
        }
    }
    m_population->run(VXTwoEndedSlices::FromTheFirst);
}

VXMappedRecord::~VXMappedRecord()
{
    m_population.reset();
    m_view.reset();
    if (m_mapped)
        m_file.unmap(m_mapped);
}

VXDictionaryRef VXMappedRecord::rootWithoutItems()
{
    static const QSet<QString> kItems {VXApplicationsKey, VXPoolsKey};
    const VXBinaryPropertyListView::Object root = m_view->root();
    if (m_view->container(root).kind != VXBinaryPropertyListView::Kind::Dictionary)
        return VXDictionaryRef();
    // Only the root's own level: the tables below it are walked in place.
    return m_view->value(root, kItems).dictionaryRef();
}
