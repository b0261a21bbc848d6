// bench_load_census: where the start-up of a long record goes, and what its tree holds in memory.
//
//     bench_load_census RECORD.plist
//
// Loads the record as the store does, one phase after the other on this thread (the store runs
// the checksum on its writer thread beside the decoding): mapping, the checksum of the journal's
// header, the decoding, the trim of the decoder's tables, and the loaded record's snapshot (the
// "last save" of the next save), then the decoding that makes that snapshot as it goes. Each phase prints its wall and processor time and the resident
// size it leaves. Then it counts the decoded tree's objects and their heap bytes by kind: event
// logs (arrays of numbers), other arrays, dictionaries (entries, hash tables), texts, and the
// snapshot's own copies; the allocator's view (in use, free but kept) closes the table.

#include "VXBinaryPropertyListReader.h"
#include "VXJournal.h"
#include "VXPropertyListSerialization.h"
#include "VXTreeSnapshots.h"
#include "VXValue.h"

#include <QFile>
#include <QSet>
#include <QString>

#include <malloc.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unordered_set>

namespace {

struct Stamp {
    std::chrono::steady_clock::time_point wall;
    double cpu = 0.0;   // ms, user and system

    static Stamp now()
    {
        Stamp stamp;
        stamp.wall = std::chrono::steady_clock::now();
        rusage usage {};
        if (getrusage(RUSAGE_SELF, &usage) == 0)
            stamp.cpu = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3
                + (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
        return stamp;
    }
};

// The process's own memory, without the mapped file's pages (which the store unmaps after loading).
double residentMiB(const char *field = "RssAnon:")
{
    QFile file(QStringLiteral("/proc/self/status"));
    if (!file.open(QIODevice::ReadOnly))
        return -1.0;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(field))
            return line.mid(qsizetype(std::strlen(field))).trimmed().split(' ').value(0).toDouble() / 1024.0;
    }
    return -1.0;
}

void phase(const char *name, const Stamp &since)
{
    const Stamp end = Stamp::now();
    std::printf("%-22s %9.1f ms wall %9.1f ms cpu   anon %7.1f MiB\n", name,
                std::chrono::duration<double, std::milli>(end.wall - since.wall).count(), end.cpu - since.cpu,
                residentMiB());
}

// glibc's chunk: the size asked for plus its header, rounded to 16 bytes, at least 32.
std::size_t chunk(std::size_t bytes)
{
    return bytes == 0 ? 0 : std::max<std::size_t>(32, (bytes + 8 + 15) / 16 * 16);
}

struct Kind {
    const char *name;
    std::size_t objects = 0;
    std::size_t items = 0;
    std::size_t bytes = 0;
    void add(std::size_t count, std::size_t heap)
    {
        ++objects;
        items += count;
        bytes += heap;
    }
};

// Every container and text once, however often the tree reaches it.
class Census
{
public:
    Kind logs {"event logs (numbers)"};
    Kind arrays {"other arrays"};
    Kind dictionaries {"dictionaries: objects"};
    Kind entries {"  entries (key, value)"};
    Kind tables {"  hash tables"};
    Kind texts {"texts (keys, values)"};
    // Dictionaries by their number of entries: up to each limit (the last takes the rest).
    static constexpr std::size_t kSizeBuckets = 15;
    static constexpr std::size_t kSizeBucketLimits[kSizeBuckets]
        = {0, 1, 2, 4, 6, 8, 9, 10, 11, 12, 16, 32, 64, 256, SIZE_MAX};
    std::size_t sizes[kSizeBuckets] = {};
    std::size_t sizedEntries[kSizeBuckets] = {};

    void visit(const VXValue &value)
    {
        if (value.isString()) {
            const QString &text = value.stringRef();
            countText(text);
            return;
        }
        if (const VXArray *array = value.array()) {
            if (!m_seen.insert(array).second)
                return;
            bool numbers = !array->isEmpty();
            for (const VXValue &item : *array) {
                numbers = numbers && item.isNumber();
                visit(item);
            }
            // The array object, its buffer (counted once however many arrays share it) and the
            // buffer's elements (a decoded array's capacity is its size): 8 bytes a real when
            // packed, a VXValue each otherwise.
            std::size_t heap = sizeof(VXArray);   // from slabs, no chunk of its own
            const void *elements = array->isPacked() ? static_cast<const void *>(array->numbers().reals())
                                                     : static_cast<const void *>(&array->objectAt(0));
            const std::size_t elementSize = array->isPacked() ? sizeof(double) : sizeof(VXValue);
            if (!array->isEmpty() && m_buffers.insert(elements).second)
                heap += chunk(sizeof(std::vector<VXValue>) + 8) + chunk(array->size() * elementSize);
            (numbers ? logs : arrays).add(array->size(), heap);
            return;
        }
        if (const VXDictionary *dictionary = value.dictionary()) {
            if (!m_seen.insert(dictionary).second)
                return;
            for (const VXDictionary::Entry &entry : *dictionary) {
                countText(entry.key);
                visit(entry.value);
            }
            const std::size_t count = dictionary->size();
            std::size_t bucket = 0;
            while (bucket + 1 < kSizeBuckets && count > kSizeBucketLimits[bucket])
                ++bucket;
            ++sizes[bucket];
            sizedEntries[bucket] += count;
            std::size_t tableSize = 8;
            while (tableSize < count * 2)
                tableSize *= 2;
            dictionaries.add(count, sizeof(VXDictionary));   // from slabs too
            entries.add(count, chunk(dictionary->entries().capacity() * sizeof(VXDictionary::Entry)));
            // A small dictionary scans its entries; a large one has a table object (two vectors)
            // with the hashes and the slots.
            if (dictionary->hasHashTable())
                tables.add(count,
                           chunk(2 * sizeof(std::vector<std::uint32_t>)) + chunk(count * 4) + chunk(tableSize * 4));
        }
    }

    std::size_t total() const
    {
        return logs.bytes + arrays.bytes + dictionaries.bytes + entries.bytes + tables.bytes + texts.bytes;
    }

private:
    void countText(const QString &text)
    {
        if (!text.data_ptr().isMutable() || !m_seen.insert(text.constData()).second)
            return;
        texts.add(std::size_t(text.size()), chunk(16 + std::size_t(text.capacity() + 1) * 2));
    }

    std::unordered_set<const void *> m_seen;
    std::unordered_set<const void *> m_buffers;
};

void printCensus(const char *title, const Census &census)
{
    std::printf("\n%s\n%-24s %10s %12s %10s\n", title, "kind", "objects", "items", "MiB");
    for (const Kind *kind :
         {&census.logs, &census.arrays, &census.dictionaries, &census.entries, &census.tables, &census.texts})
        std::printf("%-24s %10zu %12zu %10.1f\n", kind->name, kind->objects, kind->items, kind->bytes / 1048576.0);
    std::printf("%-24s %10s %12s %10.1f\n", "sum", "", "", census.total() / 1048576.0);
}

void printSizes(const Census &census)
{
    std::printf("\ndictionaries by entries\n%-12s %10s %12s\n", "entries", "objects", "entries");
    std::size_t from = 0;
    for (std::size_t i = 0; i < Census::kSizeBuckets; ++i) {
        const std::size_t to = Census::kSizeBucketLimits[i];
        char label[32];
        if (to == SIZE_MAX)
            std::snprintf(label, sizeof label, "%zu-", from);
        else if (from == to)
            std::snprintf(label, sizeof label, "%zu", to);
        else
            std::snprintf(label, sizeof label, "%zu-%zu", from, to);
        std::printf("%-12s %10zu %12zu\n", label, census.sizes[i], census.sizedEntries[i]);
        from = to + 1;
    }
}

}   // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_load_census RECORD.plist\n");
        return 2;
    }
    std::printf("start                  anon %7.1f MiB\n", residentMiB());
    Stamp began = Stamp::now();
    QFile file(QString::fromLocal8Bit(argv[1]));
    uchar *mapped = file.open(QIODevice::ReadOnly) ? file.map(0, file.size()) : nullptr;
    if (!mapped) {
        std::fprintf(stderr, "cannot map %s\n", argv[1]);
        return 1;
    }
    const QByteArray data = QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), file.size());
    std::printf("file                   %.1f MiB\n", double(data.size()) / 1048576.0);
    phase("map", began);

    began = Stamp::now();
    const QByteArray header = VXJournalFile::header(data);
    phase("checksum", began);

    began = Stamp::now();
    VXDictionaryRef tree = deeplyMutableDictionaryWithData(data);
    phase("decode", began);
    if (!tree) {
        std::fprintf(stderr, "cannot decode %s\n", argv[1]);
        return 1;
    }
    const double decodedRSS = residentMiB();
    began = Stamp::now();
    malloc_trim(0);
    phase("trim", began);

    began = Stamp::now();
    VXDictionaryRef snapshot = VXTreeSnapshot(tree, VXDictionaryRef());
    phase("loaded snapshot", began);
    const double withSnapshotRSS = residentMiB();
    // The next whole snapshot against it, nothing changed: every container found the same.
    began = Stamp::now();
    VXDictionaryRef again = VXTreeSnapshot(tree, snapshot);
    phase("snapshot against it", began);
    if (again != snapshot)
        std::printf("(a new snapshot: the loaded one was not found the same)\n");
    again.reset();

    Census live;
    live.visit(VXValue(tree));
    printCensus("the decoded tree", live);
    printSizes(live);
    // What the snapshot adds: the containers it does not share with the tree (its buffers and
    // texts are the tree's).
    Census both = live;
    both.visit(VXValue(snapshot));
    Census added;
    added.logs.add(both.logs.objects - live.logs.objects, both.logs.bytes - live.logs.bytes);
    added.arrays.add(both.arrays.objects - live.arrays.objects, both.arrays.bytes - live.arrays.bytes);
    added.dictionaries.add(both.dictionaries.objects - live.dictionaries.objects,
                           both.dictionaries.bytes - live.dictionaries.bytes);
    added.entries.add(both.entries.items - live.entries.items, both.entries.bytes - live.entries.bytes);
    added.tables.add(both.tables.items - live.tables.items, both.tables.bytes - live.tables.bytes);
    added.texts.add(both.texts.items - live.texts.items, both.texts.bytes - live.texts.bytes);
    printCensus("the loaded snapshot's own objects (objects column: count; items: entries)", added);

    // The same, with the snapshot made by the decoder as it goes (the store's way).
    live = Census();
    snapshot.reset();
    tree.reset();
    malloc_trim(0);
    std::printf("\nreleased               anon %7.1f MiB\n", residentMiB());
    began = Stamp::now();
    VXValue twin;
    tree = VXBinaryPropertyListReader::read(data, &twin).dictionaryRef();
    phase("decode with its twin", began);
    began = Stamp::now();
    malloc_trim(0);
    phase("trim", began);
    if (!tree || !twin.isDictionary()) {
        std::fprintf(stderr, "no twin made of %s\n", argv[1]);
        return 1;
    }
    began = Stamp::now();
    again = VXTreeSnapshot(tree, twin.dictionaryRef());
    phase("snapshot against it", began);
    if (again != twin.dictionaryRef())
        std::printf("(a new snapshot: the twin was not found the same)\n");
    again.reset();

    const struct mallinfo2 info = mallinfo2();
    std::printf("\nallocator: in use %.1f MiB, free but kept %.1f MiB, mapped chunks %.1f MiB\n",
                info.uordblks / 1048576.0, info.fordblks / 1048576.0, info.hblkhd / 1048576.0);
    std::printf("anonymous resident: after decoding %.1f MiB, with the snapshot %.1f MiB, file %.1f MiB\n", decodedRSS,
                withSnapshotRSS, double(data.size()) / 1048576.0);
    std::printf("checksum header %d bytes\n", int(header.size()));
    return 0;
}
