#include "VXJournal.h"

#include "VXActivitySampler.h"
#include "VXConfigurationKeys.h"
#include "VXConfigurationStore.h"
#include "VXPersistenceLogging.h"
#include "VXPropertyListSerialization.h"
#include "VXScheduler.h"
#include "VXSorting.h"
#include "VXTreeSnapshots.h"

#include <QtEndian>

#include <libdeflate.h>

#include <algorithm>
#include <array>
#include <bit>
#include <bitset>
#include <cstring>
#include <unordered_set>
#include <utility>

const QString VXJournal::kFlushOperation = QStringLiteral("flushJournal");

// ---- Checksums

std::uint32_t VXChecksum(const char *data, std::size_t size, std::uint32_t crc)
{
    // A ten-year record is checked whole when a journal is replayed onto it and whenever a full
    // save starts a journal: libdeflate folds with carry-less multiplies (several gigabytes a
    // second) where a table-driven loop reads one byte table per byte.
    return std::uint32_t(libdeflate_crc32(crc, data, size));
}

// ---- The file

namespace {

constexpr char kMagic[8] = {'W', 'N', 'D', 'L', 'J', 'R', 'N', '1'};
constexpr int kFrameSize = 8;   // length and checksum before each payload
// An entry larger than this is damage, not data: a day's entries are a few hundred kilobytes.
constexpr std::uint32_t kLargestEntry = 64u << 20;

void appendU32(QByteArray &out, std::uint32_t value)
{
    char bytes[4];
    qToLittleEndian(value, bytes);
    out.append(bytes, 4);
}

std::uint32_t readU32(const char *at)
{
    return qFromLittleEndian<std::uint32_t>(at);
}

// The windows a save compares anew are a handful among tens of thousands in a list: a bit per
// address slot tells most others apart without a search.
constexpr std::size_t kChangedFilterBits = 1024;

std::size_t changedFilterSlot(const void *window)
{
    // (Heap objects lie at least 16 bytes apart.)
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(window) >> 4;
    return std::size_t((address ^ (address >> 10)) % kChangedFilterBits);
}

// A list's windows lie all over the heap, and so do their places in the table from addresses:
// each is asked for this many elements ahead.
constexpr std::size_t kPlacesAhead = 16;

}   // namespace

QByteArray VXJournalFile::header(const QByteArray &record)
{
    QByteArray out(kMagic, sizeof kMagic);
    char size[8];
    qToLittleEndian(std::uint64_t(record.size()), size);
    out.append(size, 8);
    appendU32(out, VXChecksum(record));
    appendU32(out, VXChecksum(out));
    return out;
}

QByteArray VXJournalFile::frame(const QByteArray &payload)
{
    QByteArray out;
    out.reserve(payload.size() + kFrameSize);
    appendU32(out, std::uint32_t(payload.size()));
    appendU32(out, VXChecksum(payload));
    out.append(payload);
    return out;
}

VXJournalFile::Contents VXJournalFile::read(const QByteArray &journal, const QByteArray &record)
{
    return readContinuing(journal, header(record));
}

VXJournalFile::Contents VXJournalFile::readContinuing(const QByteArray &journal, const QByteArray &recordHeader)
{
    Contents contents;
    if (journal.isEmpty())
        return contents;
    if (journal.size() < kHeaderSize || std::memcmp(journal.constData(), kMagic, sizeof kMagic) != 0
        || readU32(journal.constData() + 20) != VXChecksum(journal.constData(), 20)) {
        contents.status = Contents::Status::Damaged;
        return contents;
    }
    if (journal.left(kHeaderSize) != recordHeader) {
        contents.status = Contents::Status::OtherRecord;
        return contents;
    }
    contents.status = Contents::Status::Matches;
    qsizetype at = kHeaderSize;
    while (journal.size() - at >= kFrameSize) {
        const std::uint32_t length = readU32(journal.constData() + at);
        const std::uint32_t checksum = readU32(journal.constData() + at + 4);
        const qsizetype end = at + kFrameSize + qsizetype(length);
        if (length > kLargestEntry || end > journal.size()) {
            // Torn at the end, or a length that was damaged: nothing after it can be trusted.
            contents.damagedInTheMiddle = length > kLargestEntry;
            break;
        }
        if (VXChecksum(journal.constData() + at + kFrameSize, length) != checksum) {
            contents.damagedInTheMiddle = end < journal.size();
            break;
        }
        contents.entries.push_back(journal.mid(at + kFrameSize, length));
        at = end;
    }
    contents.intactSize = at;
    return contents;
}

// ---- Entries
//
// An entry is a sequence of operations, each a byte and its operands (numbers as unsigned
// varints, reals as 8 little-endian bytes, texts as a varint length and UTF-8). Items are
// numbered in the order the journal first names them, counting from 0 in each journal.

namespace {

enum Operation : std::uint8_t {
    kRoot = 1,   // changed mask, present mask, a real per changed and present key
    kApplication = 2,   // key: names an application of the tree
    kNewApplication = 3,   // key, plist: adds it (without windows) and names it
    kWindow = 4,   // application number, title: names a window of the tree
    kNewWindow = 5,   // application number, title, plist: adds it and names it
    kPoolItem = 6,   // depth 1-3 and as many indexes in the record's order: names a pool item
    kTimes = 7,   // item, mask, reals (see TimeBits)
    kLog = 8,   // item, which (0 active, 1 front), kept + 1 (0: no log), count, reals
    kChildren = 9,   // application, present, count, window numbers
    kOrder = 10,   // depth 0-2 and indexes (the list's owner), count, indexes in the record's order
    // application, size, count, pairs of a window and its place + 1 (0: gone): the windows named
    // come out of the application's list, then go in at their places
    kMoveChildren = 11,
};

enum TimeBits : std::uint8_t {
    kTimeSet = 1,
    kTimeRemoved = 2,
    kFrontTimeSet = 4,
    kFrontTimeRemoved = 8,
    kActiveFlag = 16,
    kFrontActiveFlag = 32,
};

const std::array<const QString *, 5> &rootKeys()
{
    static const std::array<const QString *, 5> keys {&VXLastTimestampKey, &VXOverallTimeKey, &VXOverallPoolTimeKey,
                                                      &VXFirstTimestampKey, &VXFirstPoolTimestampKey};
    return keys;
}

std::uint64_t bitsOf(double value)
{
    return std::bit_cast<std::uint64_t>(value);
}

class Writer
{
public:
    QByteArray bytes;

    void op(Operation operation) { bytes.append(char(operation)); }
    void byte(std::uint8_t value) { bytes.append(char(value)); }
    void number(std::uint64_t value)
    {
        while (value >= 0x80) {
            bytes.append(char(value | 0x80));
            value >>= 7;
        }
        bytes.append(char(value));
    }
    void real(double value)
    {
        char raw[8];
        qToLittleEndian(bitsOf(value), raw);
        bytes.append(raw, 8);
    }
    void text(const QString &value)
    {
        const QByteArray utf8 = value.toUtf8();
        number(std::uint64_t(utf8.size()));
        bytes.append(utf8);
    }
    void data(const QByteArray &value)
    {
        number(std::uint64_t(value.size()));
        bytes.append(value);
    }
};

class Reader
{
public:
    explicit Reader(const QByteArray &bytes) : m_at(bytes.constData()), m_end(bytes.constData() + bytes.size()) { }

    bool atEnd() const { return m_at == m_end; }
    bool ok() const { return m_ok; }

    std::uint8_t byte()
    {
        if (m_at >= m_end)
            return fail();
        return std::uint8_t(*m_at++);
    }
    std::uint64_t number()
    {
        std::uint64_t value = 0;
        for (int shift = 0; shift < 64; shift += 7) {
            if (m_at >= m_end)
                return fail();
            const std::uint8_t b = std::uint8_t(*m_at++);
            value |= std::uint64_t(b & 0x7F) << shift;
            if (!(b & 0x80))
                return value;
        }
        return fail();
    }
    double real()
    {
        if (m_end - m_at < 8)
            return fail();
        const std::uint64_t bits = qFromLittleEndian<std::uint64_t>(m_at);
        m_at += 8;
        return std::bit_cast<double>(bits);
    }
    QByteArray data()
    {
        const std::uint64_t size = number();
        if (!m_ok || size > std::uint64_t(m_end - m_at))
            return fail(), QByteArray();
        QByteArray out(m_at, qsizetype(size));
        m_at += size;
        return out;
    }
    QString text() { return QString::fromUtf8(data()); }

private:
    std::uint8_t fail()
    {
        m_ok = false;
        m_at = m_end;
        return 0;
    }

    const char *m_at;
    const char *m_end;
    bool m_ok = true;
};

// Where an event log stands: its length (-1 when the item has none) and its last two numbers,
// which is all a tick can change in what was there (it appends, or drops the opening number
// it appended at the tick before).
struct LogMark {
    std::int64_t size = -1;
    std::uint64_t last = 0;
    std::uint64_t beforeLast = 0;

    static LogMark of(const VXValue &log)
    {
        LogMark mark;
        if (const VXArray *array = log.array()) {
            mark.size = std::int64_t(array->size());
            if (mark.size >= 1)
                mark.last = bitsOf(array->at(array->size() - 1).toDouble());
            if (mark.size >= 2)
                mark.beforeLast = bitsOf(array->at(array->size() - 2).toDouble());
        }
        return mark;
    }
    bool operator==(const LogMark &) const = default;
};

bool sameReal(const VXValue &value, std::uint64_t bits)
{
    return value.isReal() && bitsOf(value.realValue()) == bits;
}

// How much of the log the mark describes is still there, unchanged.
std::int64_t keptLength(const VXArray &log, const LogMark &mark)
{
    const std::int64_t size = std::int64_t(log.size());
    const auto holds = [&](std::int64_t index, std::uint64_t bits) {
        return index < size && sameReal(log.at(std::size_t(index)), bits);
    };
    if (mark.size <= 0)
        return 0;
    if (mark.size >= 2 && !holds(mark.size - 2, mark.beforeLast))
        return 0;
    if (holds(mark.size - 1, mark.last))
        return mark.size;
    return mark.size - 1;
}

}   // namespace

// ---- Replay

VXJournalReplay::VXJournalReplay(VXDictionary &tree) : m_tree(tree)
{
    if (const VXArray *pools = tree.value(VXPoolsKey).array()) {
        for (const VXValue &pool : *pools) {
            auto &members = m_canonicalPools.emplace_back();
            members.emplace_back().push_back(pool.dictionaryRef());
            const VXArray *children = pool.dictionary() ? pool.dictionary()->value(VXChildrenKey).array() : nullptr;
            const VXArray none;
            for (const VXValue &member : children ? *children : none) {
                auto &entries = members.emplace_back();
                entries.push_back(member.dictionaryRef());
                const VXArray *windows
                    = member.dictionary() ? member.dictionary()->value(VXChildrenKey).array() : nullptr;
                for (const VXValue &entry : windows ? *windows : none)
                    entries.push_back(entry.dictionaryRef());
            }
        }
    }
}

namespace {

VXDictionary *dictionaryFor(VXDictionary &parent, const QString &key, bool create)
{
    if (VXDictionary *found = parent.value(key).dictionary())
        return found;
    if (!create)
        return nullptr;
    VXDictionaryRef made = VXMakeDictionary();
    VXDictionary *raw = made.get();
    parent.insert(key, std::move(made));
    return raw;
}

}   // namespace

bool VXJournalReplay::apply(const QByteArray &payload)
{
    Reader in(payload);
    const auto item = [&](std::uint64_t number) -> VXDictionary * {
        return number < m_items.size() ? m_items[number].get() : nullptr;
    };
    const auto canonicalPoolItem = [&](std::uint8_t depth, const std::array<std::uint64_t, 3> &at) -> VXDictionaryRef {
        if (depth < 1 || depth > 3 || at[0] >= m_canonicalPools.size())
            return VXDictionaryRef();
        const auto &pool = m_canonicalPools[at[0]];
        if (depth == 1)
            return pool[0][0];
        if (at[1] + 1 >= pool.size())
            return VXDictionaryRef();
        const auto &member = pool[at[1] + 1];
        if (depth == 2)
            return member[0];
        return at[2] + 1 < member.size() ? member[at[2] + 1] : VXDictionaryRef();
    };
    const auto readPath = [&](std::uint8_t depth) {
        std::array<std::uint64_t, 3> at {};
        for (std::uint8_t i = 0; i < depth && i < 3; ++i)
            at[i] = in.number();
        return at;
    };

    while (in.ok() && !in.atEnd()) {
        const std::uint8_t operation = in.byte();
        switch (operation) {
        case kRoot: {
            const std::uint8_t changed = in.byte();
            const std::uint8_t present = in.byte();
            for (std::size_t i = 0; i < rootKeys().size(); ++i) {
                if (!(changed & (1u << i)))
                    continue;
                if (present & (1u << i))
                    m_tree.insert(*rootKeys()[i], in.real());
                else
                    m_tree.remove(*rootKeys()[i]);
            }
            break;
        }
        case kApplication: {
            const VXDictionary *applications = m_tree.value(VXApplicationsKey).dictionary();
            VXDictionaryRef found = applications ? applications->value(in.text()).dictionaryRef() : VXDictionaryRef();
            if (!found)
                return false;
            m_items.push_back(std::move(found));
            break;
        }
        case kNewApplication: {
            const QString key = in.text();
            VXDictionaryRef made = deeplyMutableDictionaryWithData(in.data());
            if (!made || key.isEmpty())
                return false;
            dictionaryFor(m_tree, VXApplicationsKey, true)->insert(key, made);
            m_items.push_back(std::move(made));
            break;
        }
        case kWindow:
        case kNewWindow: {
            VXDictionary *application = item(in.number());
            const QString title = in.text();
            if (!application || !in.ok())
                return false;
            if (operation == kWindow) {
                const VXDictionary *windows = application->value(VXWindowsByNameKey).dictionary();
                VXDictionaryRef found = windows ? windows->value(title).dictionaryRef() : VXDictionaryRef();
                if (!found)
                    return false;
                m_items.push_back(std::move(found));
            } else {
                VXDictionaryRef made = deeplyMutableDictionaryWithData(in.data());
                if (!made)
                    return false;
                dictionaryFor(*application, VXWindowsByNameKey, true)->insert(title, made);
                m_items.push_back(std::move(made));
            }
            break;
        }
        case kPoolItem: {
            const std::uint8_t depth = in.byte();
            VXDictionaryRef found = canonicalPoolItem(depth, readPath(depth));
            if (!found)
                return false;
            m_items.push_back(std::move(found));
            break;
        }
        case kTimes: {
            VXDictionary *target = item(in.number());
            const std::uint8_t mask = in.byte();
            if (!target)
                return false;
            if (mask & kTimeSet)
                target->insert(VXTimeKey, in.real());
            if (mask & kTimeRemoved)
                target->remove(VXTimeKey);
            if (mask & kFrontTimeSet)
                target->insert(VXFrontTimeKey, in.real());
            if (mask & kFrontTimeRemoved)
                target->remove(VXFrontTimeKey);
            // The flags are stored as true, or not at all.
            if (mask & kActiveFlag)
                target->insert(VXActiveKey, true);
            else
                target->remove(VXActiveKey);
            if (mask & kFrontActiveFlag)
                target->insert(VXFrontActiveKey, true);
            else
                target->remove(VXFrontActiveKey);
            break;
        }
        case kLog: {
            VXDictionary *target = item(in.number());
            const std::uint8_t which = in.byte();
            const std::uint64_t kept = in.number();
            if (!target || which > 1 || !in.ok())
                return false;
            const QString &key = which ? VXFrontActiveLogKey : VXActiveLogKey;
            if (kept == 0) {
                target->remove(key);
                break;
            }
            VXArray *log = target->value(key).array();
            if (!log) {
                VXArrayRef made = VXMakeArray();
                log = made.get();
                target->insert(key, std::move(made));
            }
            if (kept - 1 > log->size())
                return false;
            log->truncate(std::size_t(kept - 1));
            const std::uint64_t count = in.number();
            if (!in.ok() || count > std::uint64_t(payload.size()) / 8)
                return false;
            for (std::uint64_t i = 0; i < count; ++i)
                log->append(in.real());
            break;
        }
        case kChildren: {
            VXDictionary *application = item(in.number());
            const bool present = in.byte() != 0;
            if (!application)
                return false;
            if (!present) {
                application->remove(VXChildrenKey);
                break;
            }
            const std::uint64_t count = in.number();
            if (!in.ok() || count > std::uint64_t(payload.size()))
                return false;
            VXArrayRef children = VXMakeArray();
            children->reserve(std::size_t(count));
            for (std::uint64_t i = 0; i < count; ++i) {
                VXDictionary *window = item(in.number());
                if (!window)
                    return false;
                children->append(VXDictionaryRef(window));
            }
            application->insert(VXChildrenKey, std::move(children));
            break;
        }
        case kMoveChildren: {
            VXDictionary *application = item(in.number());
            const std::uint64_t size = in.number();
            const std::uint64_t count = in.number();
            VXArray *list = application ? application->value(VXChildrenKey).array() : nullptr;
            if (!list || !in.ok() || count > std::uint64_t(payload.size()) || size > list->size() + count)
                return false;
            std::vector<std::pair<std::uint64_t, const VXDictionary *>> placed;
            std::vector<const VXDictionary *> named;
            for (std::uint64_t i = 0; i < count; ++i) {
                const VXDictionary *window = item(in.number());
                const std::uint64_t at = in.number();
                if (!window || !in.ok())
                    return false;
                named.push_back(window);
                if (at)
                    placed.emplace_back(at - 1, window);
            }
            std::sort(named.begin(), named.end());
            std::sort(placed.begin(), placed.end());
            std::vector<VXValue> windows;
            windows.reserve(std::size_t(size));
            for (const VXValue &window : std::as_const(*list)) {
                if (!std::binary_search(named.begin(), named.end(), window.dictionary()))
                    windows.push_back(window);
            }
            for (const auto &[at, window] : placed) {
                if (at > windows.size())
                    return false;
                windows.insert(windows.begin() + std::ptrdiff_t(at),
                               VXValue(VXDictionaryRef(const_cast<VXDictionary *>(window))));
            }
            if (windows.size() != size)
                return false;
            list->items() = std::move(windows);
            break;
        }
        case kOrder: {
            const std::uint8_t depth = in.byte();
            if (depth > 2)
                return false;
            const std::array<std::uint64_t, 3> at = readPath(depth);
            VXArray *list = nullptr;
            if (depth == 0)
                list = m_tree.value(VXPoolsKey).array();
            else if (VXDictionaryRef owner = canonicalPoolItem(depth, at))
                list = owner->value(VXChildrenKey).array();
            const std::uint64_t count = in.number();
            if (!list || !in.ok() || count != list->size())
                return false;
            std::vector<VXValue> ordered;
            ordered.reserve(std::size_t(count));
            for (std::uint64_t i = 0; i < count; ++i) {
                std::array<std::uint64_t, 3> child = at;
                child[depth] = in.number();
                VXDictionaryRef found = canonicalPoolItem(std::uint8_t(depth + 1), child);
                if (!found)
                    return false;
                ordered.emplace_back(std::move(found));
            }
            list->items() = std::move(ordered);
            break;
        }
        default: return false;
        }
    }
    return in.ok();
}

// ---- Closing what was open

namespace {

void closeOpenPeriods(VXDictionary &item, double at)
{
    for (const QString *key : {&VXFrontActiveLogKey, &VXActiveLogKey}) {
        VXArray *log = item.value(*key).array();
        if (!log || log->isEmpty() || log->last().toDouble() <= 0)
            continue;
        if (at < 0.001 || VXSimilarAbsoluteTimeIntervals(log->last().toDouble(), at))
            log->removeLast();
        else
            log->append(-at);
    }
}

void closeOpenPeriodsBelow(const VXValue &items, double at, int depth)
{
    const auto each = [&](const VXValue &value) {
        if (VXDictionary *item = value.dictionary()) {
            closeOpenPeriods(*item, at);
            if (depth > 1) {
                const VXValue &windows = item->value(VXWindowsByNameKey);
                closeOpenPeriodsBelow(windows.isDictionary() ? windows : item->value(VXChildrenKey), at, depth - 1);
            }
        }
    };
    if (const VXArray *array = items.array()) {
        for (const VXValue &value : *array)
            each(value);
    } else if (const VXDictionary *dictionary = items.dictionary()) {
        // A window table holds tens of thousands of windows all over the heap: those a few places
        // ahead are fetched meanwhile, the dictionaries first, then their entries, then the logs.
        const std::vector<VXDictionary::Entry> &entries = dictionary->entries();
        const auto ahead = [&](std::size_t i) -> const VXDictionary * {
            return i < entries.size() ? entries[i].value.dictionary() : nullptr;
        };
        for (std::size_t i = 0; i < entries.size(); ++i) {
            if (const VXDictionary *item = ahead(i + 24))
                __builtin_prefetch(item);
            if (const VXDictionary *item = ahead(i + 16))
                __builtin_prefetch(item->entries().data());
            if (const VXDictionary *item = ahead(i + 8)) {
                for (const VXDictionary::Entry &entry : item->entries()) {
                    if (const VXArray *log = entry.value.array())
                        __builtin_prefetch(log);
                }
            }
            each(entries[i].value);
        }
    }
}

}   // namespace

void VXCloseOpenPeriods(VXDictionary &tree)
{
    const double at = tree.value(VXLastTimestampKey).toDouble();
    // A window is filed under "Windows By Name" and listed again under "Children": only the
    // first is walked, and a closed log is left alone in any case.
    closeOpenPeriodsBelow(tree.value(VXApplicationsKey), at, 2);
    closeOpenPeriodsBelow(tree.value(VXPoolsKey), at, 3);
}

// ---- Recording

namespace {

bool samePlain(const VXValue &a, const VXValue &b)
{
    if (a.type() != b.type())
        return false;
    return a.isReal() ? bitsOf(a.realValue()) == bitsOf(b.realValue()) : a == b;
}

}   // namespace

// What the journal last wrote about one item (or what the record holds, until it writes).
struct VXJournal::Mark {
    VXDictionaryRef keep;   // keeps the address from being reused
    std::int64_t number = -1;   // the journal's number for the item, once named
    VXValue time;
    VXValue frontTime;
    bool active = false;
    bool frontActive = false;
    LogMark logs[2];
    QString key;   // under "Applications" or "Windows By Name"
    const VXDictionary *application = nullptr;   // a window's
    const VXDictionary *parent = nullptr;   // a pool member's or entry's
    // The item of the last full save that the mark started from, and whether the item moved
    // since (itself, or an item within it): an item that did not is still equal to it.
    VXDictionaryRef base;
    bool moved = false;
    // The change counts of the item and of its window table when it was last known equal to
    // `base`: a change the journal does not follow (a flag the organizer stores) moves them.
    std::uint32_t changes = 0;
    std::uint32_t tableChanges = 0;
    // Applications: the window table's size and the listed windows.
    std::size_t windowCount = 0;
    bool childrenKnown = false;
    bool hasChildren = false;
    std::vector<const VXDictionary *> children;
    // Applications, when the last full save found them as they are marked (`asSaved`): their
    // window table then (its size and change count: a table only added to since holds the saved
    // windows in the same places) and the windows then listed under "Children", in order; and
    // the marks of their windows, for a save to find those that may have changed.
    bool asSaved = false;
    VXDictionaryRef savedTable;
    std::size_t savedTableSize = 0;
    std::uint32_t savedTableChanges = 0;
    std::vector<const VXDictionary *> savedChildren;
    // Once the lists were sorted anew: `savedChildren` holds the saved windows in the order
    // listed then, and this their places in the saved list (empty while they are in saved order).
    std::vector<std::uint32_t> savedPlaces;
    std::vector<std::pair<const VXDictionary *, const Mark *>> windowMarks;
    // Applications: the round whose slice of windows was last compared with the saved ones.
    std::uint64_t verifiedInRound = ~std::uint64_t(0);
    // Pool items: where the record holds them.
    std::uint8_t depth = 0;
    std::array<std::uint32_t, 3> path {};

    // The place in the saved list of `savedChildren[j]`.
    std::size_t savedPlaceOf(std::size_t j) const { return savedPlaces.empty() ? j : std::size_t(savedPlaces[j]); }
    // Whether `savedChildren` (with its places) still describes a saved list of `count` windows.
    bool savedChildrenFit(std::size_t count) const
    {
        return savedPlaces.empty() ? savedChildren.size() == count : savedPlaces.size() == savedChildren.size();
    }
    // Whether the window table is the saved one, only added to since (it holds the saved windows
    // in the same places, and none of them left its address to another).
    bool tableOnlyAddedTo(const VXDictionary *table) const
    {
        return table && table == savedTable.get() && table->size() >= savedTableSize
            && table->changeCount() - savedTableChanges == std::uint32_t(table->size() - savedTableSize);
    }
    // The saved windows' places in the saved list by address, kept one past them so that 0 stays
    // "none".
    VXAddressMap savedPlacesByWindow() const
    {
        VXAddressMap places(savedChildren.size());
        for (std::size_t j = 0; j < savedChildren.size(); ++j)
            places.insert(savedChildren[j], reinterpret_cast<const void *>(savedPlaceOf(j) + 1));
        return places;
    }

    // `item` is as `base` holds it now.
    void tie(const VXDictionary &item)
    {
        changes = item.changeCount();
        tableChanges = tableChangesOf(item);
    }
    bool tiedTo(const VXDictionary &item) const
    {
        return changes == item.changeCount() && tableChanges == tableChangesOf(item);
    }
    // Only an application has a window table.
    std::uint32_t tableChangesOf(const VXDictionary &item) const
    {
        const VXDictionary *table = application || depth ? nullptr : item.value(VXWindowsByNameKey).dictionary();
        return table ? table->changeCount() : 0;
    }

    void take(const VXDictionary &item)
    {
        time = item.value(VXTimeKey);
        frontTime = item.value(VXFrontTimeKey);
        active = item.value(VXActiveKey).toBool();
        frontActive = item.value(VXFrontActiveKey).toBool();
        logs[0] = LogMark::of(item.value(VXActiveLogKey));
        logs[1] = LogMark::of(item.value(VXFrontActiveLogKey));
    }
};

struct VXJournal::Encoder {
    // A list of pool items that the tracker sorts in place.
    struct List {
        VXArrayRef array;
        const VXDictionary *owner = nullptr;   // the pool item holding it (none for "Pools")
        std::uint8_t depth = 0;   // 0 "Pools", 1 a pool's members, 2 a member's entries
        std::array<std::uint32_t, 3> path {};
        std::vector<const VXDictionary *> written;   // the order last written
        std::unordered_map<const VXDictionary *, std::uint32_t> index;   // in the record
    };

    VXDictionaryRef base;
    std::unordered_map<const VXDictionary *, Mark> marks;
    std::size_t windowMarkCount = 0;   // of `marks`, those of windows (made by addWindow)
    std::int64_t nextNumber = 0;
    std::array<VXValue, 5> root;
    std::vector<const VXDictionary *> poolItems;
    std::vector<List> lists;
    std::unordered_map<const VXArray *, std::size_t> listIndexes;   // of `lists`, by array
    bool broken = false;   // the tree changed in a way entries cannot say
    // The entry being made goes to the journal (otherwise it only brings the marks up to date,
    // for a save that writes the tree whole); and whether it found a list of windows that only
    // a whole save can say (see compareChildren).
    bool writing = true;
    bool relisted = false;
    Writer out;
    // What settledSince told of each application's windows, until the tree changes.
    struct WindowsAnswer {
        bool known = false;
        VXSettledPart table;
        VXSettledPart list;
    };
    std::unordered_map<const VXDictionary *, WindowsAnswer> windowsAnswers;

    // The windows the ticks since the last entry may have changed, by application; while a tick
    // did not say (a tick without the sampler's list), every window of an application that
    // moved is compared.
    std::unordered_map<const VXDictionary *, std::vector<std::pair<QString, const VXDictionary *>>> tickWindows;
    bool tickWindowsUnknown = true;
    // The same for applications and pool items: those the ticks consolidated (the others did
    // not move), unless a tick walked all of them; and the lists of pool items they sorted.
    bool everyApplication = true;
    std::vector<std::pair<const VXDictionary *, QString>> tickApplications;
    std::unordered_set<const VXDictionary *> tickApplicationSet;
    bool everyPoolItem = true;
    std::vector<const VXDictionary *> tickPoolItems;
    std::unordered_set<const VXDictionary *> tickPoolItemSet;
    std::unordered_set<const VXArray *> tickPoolLists;

    // The safety net: each half-hourly save compares one slice of the items value for value
    // whatever the journal says, so that a change no one reported reaches the record within
    // kVerifyRounds saves. `round` picks the slice; `missed` counts what the comparison found.
    std::uint64_t round = 0;
    std::size_t missed = 0;
    // The round whose windows the flushes compared ahead of its save (see verifyAhead), all of
    // them, so that the save need not; none after a save or a restore.
    static constexpr std::uint64_t kNoRound = ~std::uint64_t(0);
    std::uint64_t verifiedRound = kNoRound;

    void noteTickWindows(const VXTickWindows *windows)
    {
        if (!windows) {
            tickWindowsUnknown = true;
            everyApplication = true;
            everyPoolItem = true;
            return;
        }
        for (const VXTickWindows::Window &window : windows->windows)
            tickWindows[window.application].emplace_back(window.key, window.window);
        everyApplication = everyApplication || windows->everyApplication;
        if (!everyApplication) {
            for (const VXTickWindows::Application &application : windows->applications) {
                if (tickApplicationSet.insert(application.application).second)
                    tickApplications.emplace_back(application.application, application.key);
            }
        }
        everyPoolItem = everyPoolItem || windows->everyPoolItem;
        if (!everyPoolItem) {
            for (const VXDictionary *item : windows->poolItems) {
                if (tickPoolItemSet.insert(item).second)
                    tickPoolItems.push_back(item);
            }
            tickPoolLists.insert(windows->sortedPoolLists.begin(), windows->sortedPoolLists.end());
        }
    }

    void forgetTickWindows()
    {
        tickWindows.clear();
        tickWindowsUnknown = false;
        everyApplication = false;
        tickApplications.clear();
        tickApplicationSet.clear();
        everyPoolItem = false;
        tickPoolItems.clear();
        tickPoolItemSet.clear();
        tickPoolLists.clear();
    }

    void reset(const VXDictionaryRef &snapshot, const VXDictionary &live)
    {
        marks.clear();
        windowMarkCount = 0;
        startFrom(snapshot, live);
    }

    // A full save wrote `snapshot`, the live tree as the marks describe it. The applications'
    // marks stay, tied to the saved items; the windows' are let go (a window as saved needs none:
    // the next change makes one from the saved window, and a save finds the others settled
    // without one), so that the marks stay as many as the items that change between two saves,
    // not every window a tick ever walked. The pool items are marked anew.
    void carryOver(const VXDictionaryRef &snapshot, const VXDictionary &live)
    {
        const VXDictionary *applications = snapshot->value(VXApplicationsKey).dictionary();
        std::erase_if(marks, [](const auto &entry) { return entry.second.depth || entry.second.application; });
        windowMarkCount = 0;
        for (auto &[item, mark] : marks) {
            mark.number = -1;
            mark.windowMarks.clear();
            // One the save did not share (it moved, or a change the counts see) is the saved one now.
            if (mark.base && !mark.moved && mark.tiedTo(*item))
                continue;
            VXDictionary *saved = applications ? applications->value(mark.key).dictionary() : nullptr;
            mark.base = VXDictionaryRef(saved);
            mark.moved = false;
            mark.tie(*item);
            noteSaved(mark, *item);
        }
        startFrom(snapshot, live);
    }

    // The application is as the save that is being made (or was just loaded) holds it.
    static void noteSaved(Mark &mark, const VXDictionary &application)
    {
        const VXDictionary *table = application.value(VXWindowsByNameKey).dictionary();
        mark.asSaved = true;
        mark.savedTable = VXDictionaryRef(const_cast<VXDictionary *>(table));
        mark.savedTableSize = table ? table->size() : 0;
        mark.savedTableChanges = table ? table->changeCount() : 0;
        mark.savedChildren.clear();
        mark.savedPlaces.clear();
        if (const VXArray *list = application.value(VXChildrenKey).array()) {
            mark.savedChildren.reserve(list->size());
            for (const VXValue &child : *list)
                mark.savedChildren.push_back(child.dictionary());
        }
        // The list the record holds is the live one: the journal names it again only when it changes.
        mark.childrenKnown = true;
        mark.hasChildren = application.value(VXChildrenKey).isArray();
        mark.children = mark.savedChildren;
    }

    void startFrom(const VXDictionaryRef &snapshot, const VXDictionary &live)
    {
        // The tree is as saved: what the ticks changed before is in the snapshot.
        forgetTickWindows();
        windowsAnswers.clear();
        verifiedRound = kNoRound;
        base = snapshot;
        nextNumber = 0;
        broken = false;
        for (std::size_t i = 0; i < root.size(); ++i)
            root[i] = live.value(*rootKeys()[i]);
        poolItems.clear();
        lists.clear();
        listIndexes.clear();
        addList(live.value(VXPoolsKey), snapshot->value(VXPoolsKey), nullptr, 0, {});
        // Every application is marked at the save, while it is as saved, so that its change
        // counts tell from then on whether anything touched it.
        const VXDictionary *applications = live.value(VXApplicationsKey).dictionary();
        const VXDictionary *baseApplications = snapshot->value(VXApplicationsKey).dictionary();
        for (std::size_t i = 0; applications && baseApplications && i < applications->size(); ++i) {
            const VXDictionary *application = applications->entries()[i].value.dictionary();
            const VXDictionary *saved = baseApplications->value(applications->entries()[i].key).dictionary();
            if (application && saved && !marks.contains(application))
                noteSaved(markFromBase(applications->entries()[i].key, *application, *saved), *application);
        }
    }

    Mark &markFromBase(const QString &key, const VXDictionary &application, const VXDictionary &saved)
    {
        Mark &mark = marks[&application];
        mark.keep = VXDictionaryRef(const_cast<VXDictionary *>(&application));
        mark.key = key;
        mark.base = VXDictionaryRef(const_cast<VXDictionary *>(&saved));
        mark.take(saved);
        mark.tie(application);
        const VXDictionary *savedWindows = saved.value(VXWindowsByNameKey).dictionary();
        mark.windowCount = savedWindows ? savedWindows->size() : 0;
        return mark;
    }

    // The pools changed in ways the marks cannot follow (a user's change): marked anew with no
    // saved counterpart, so that a save compares them whole (they are few).
    void remarkPools(const VXDictionary &live)
    {
        std::erase_if(marks, [](const auto &entry) { return entry.second.depth != 0; });
        poolItems.clear();
        lists.clear();
        listIndexes.clear();
        addList(live.value(VXPoolsKey), VXValue(), nullptr, 0, {});
    }

    // `baseValue`: the same list in the last full save (the tree as it was then).
    void addList(const VXValue &value, const VXValue &baseValue, const VXDictionary *owner, std::uint8_t depth,
                 std::array<std::uint32_t, 3> path)
    {
        VXArray *array = value.array();
        if (!array)
            return;
        const VXArray *baseArray = baseValue.array();
        lists.push_back({VXArrayRef(array), owner, depth, path, {}, {}});
        const std::size_t listIndex = lists.size() - 1;
        listIndexes.emplace(array, listIndex);
        std::uint32_t index = 0;
        for (const VXValue &element : *array) {
            VXDictionary *item = element.dictionary();
            if (!item) {
                broken = true;
                return;
            }
            const VXDictionary *baseItem
                = baseArray && index < baseArray->size() ? baseArray->objectAt(index).dictionary() : nullptr;
            lists[listIndex].written.push_back(item);
            lists[listIndex].index.emplace(item, index);
            std::array<std::uint32_t, 3> at = path;
            at[depth] = index++;
            Mark &mark = marks[item];
            mark.keep = VXDictionaryRef(item);
            mark.depth = std::uint8_t(depth + 1);
            mark.path = at;
            mark.parent = owner;
            mark.base = VXDictionaryRef(const_cast<VXDictionary *>(baseItem));
            mark.take(*item);
            mark.tie(*item);
            poolItems.push_back(item);
            if (depth < 2)
                addList(item->value(VXChildrenKey), baseItem ? baseItem->value(VXChildrenKey) : VXValue(), item,
                        std::uint8_t(depth + 1), at);
        }
    }

    // ---- What moved since the last full save

    // The item changed: it and the items holding it are no longer as the last full save has them.
    void move(Mark &mark)
    {
        for (Mark *item = &mark; item && !item->moved;) {
            item->moved = true;
            const VXDictionary *holder = item->application ? item->application : item->parent;
            auto found = holder ? marks.find(holder) : marks.end();
            item = found != marks.end() ? &found->second : nullptr;
        }
    }

    // The item of the last full save that `live` still equals, if the journal knows it.
    const VXDictionary *settled(const VXDictionary &live)
    {
        auto found = marks.find(&live);
        if (found == marks.end() || !found->second.base)
            return nullptr;
        Mark &mark = found->second;
        const bool application = !mark.depth && !mark.application;
        if (application && mark.verifiedInRound != round)
            verifyWindows(mark, live, round);
        if (mark.moved || !mark.tiedTo(live))
            return nullptr;
        if (!inVerifiedSlice(mark))
            return mark.base.get();
        // Compared here rather than copied: an equal item is shared all the same. (An
        // application's windows are compared a slice at each save, above.)
        if (sameValues(live, *mark.base, application))
            return mark.base.get();
        missedChange(mark);
        return nullptr;
    }

    // The save copies the item: from then on it is the saved item.
    void missedChange(Mark &mark)
    {
        ++missed;
        move(mark);
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("the journal missed a change of <%1> since the last save; the save copies it whole")
                   .arg(mark.depth ? QStringLiteral("a pool item") : mark.key);
    }

    // Whether an item holds the same values as a saved one (an application's window table and
    // list left out with `besidesWindows`). A log that shares its elements with the saved one is
    // the same without a look inside.
    static bool sameValues(const VXDictionary &live, const VXDictionary &saved, bool besidesWindows = false)
    {
        if (live.size() != saved.size())
            return false;
        for (std::size_t i = 0; i < live.size(); ++i) {
            const VXDictionary::Entry &entry = live.entries()[i];
            const VXValue &before
                = saved.entries()[i].key == entry.key ? saved.entries()[i].value : saved.value(entry.key);
            if (besidesWindows && (entry.key == VXWindowsByNameKey || entry.key == VXChildrenKey)) {
                if (entry.value.type() != before.type())
                    return false;
                continue;
            }
            const VXArray *log = entry.value.array();
            const VXArray *savedLog = before.array();
            if (log && savedLog && log->sharesElementsWith(*savedLog))
                continue;
            if (!entry.value.isSameObject(before) && entry.value != before)
                return false;
        }
        return true;
    }

    // The slice of an application's windows each save compares with the saved ones whatever
    // their marks say (every window within kVerifyRounds saves): one found changed gets a moved
    // mark, so that the save copies it.
    // Answers how many windows it compared.
    std::size_t verifyWindows(Mark &application, const VXDictionary &live, std::uint64_t inRound)
    {
        application.verifiedInRound = inRound;
        std::size_t compared = 0;
        const VXDictionary *table = live.value(VXWindowsByNameKey).dictionary();
        const VXDictionary *saved = application.base->value(VXWindowsByNameKey).dictionary();
        if (!table || !saved)
            return compared;
        // The windows lie all over the heap: those a few steps ahead are fetched meanwhile, the
        // dictionaries first, then (once those are in) their entries.
        constexpr std::size_t step = VXJournal::kVerifyRounds;
        const auto prefetch = [&](std::size_t i, bool entries) {
            for (const VXDictionary *in : {table, saved}) {
                if (i >= in->size())
                    continue;
                const VXDictionary *window = in->entries()[i].value.dictionary();
                if (window && entries)
                    __builtin_prefetch(window->entries().data());
                else if (window)
                    __builtin_prefetch(window);
            }
        };
        for (std::size_t i = inRound % step; i < table->size(); i += step) {
            ++compared;
            prefetch(i + 8 * step, false);
            prefetch(i + 4 * step, true);
            const VXDictionary::Entry &entry = table->entries()[i];
            VXDictionary *window = entry.value.dictionary();
            // (A table only added to since the save holds its windows at the same places.)
            const VXDictionary *before = i < saved->size() && saved->entries()[i].key == entry.key
                ? saved->entries()[i].value.dictionary()
                : saved->value(entry.key).dictionary();
            if (!window || !before)
                continue;   // new since the save: saved whole
            // (Right after a save no window has a mark.)
            auto found = windowMarkCount ? marks.find(window) : marks.end();
            // (A window the save copies in any case, or one marked under another application.)
            if (found != marks.end()
                && (found->second.application != &live || found->second.moved || !found->second.base
                    || !found->second.tiedTo(*window)))
                continue;
            if (sameValues(*window, *before))
                continue;
            Mark &mark = addWindow(application, entry.key, *window);
            mark.base = VXDictionaryRef(const_cast<VXDictionary *>(before));
            mark.take(*before);
            mark.tie(*window);
            missedChange(mark);
        }
        return compared;
    }

    // The windows the next save would compare, compared now (between two saves, a share at each
    // flush): the save then finds what they changed in their marks, as if it had compared them
    // itself, and compares only the applications not done yet. What changes after an
    // application's windows were compared is caught in a later round.
    void verifyAhead(std::size_t windowsAtMost)
    {
        const std::uint64_t next = round + 1;
        if (verifiedRound == next || !base)
            return;
        // (A missed change adds a window's mark: the applications' are gathered first.)
        std::vector<std::pair<Mark *, const VXDictionary *>> applications;
        for (auto &[item, mark] : marks) {
            if (!mark.depth && !mark.application && mark.base && mark.verifiedInRound != next)
                applications.emplace_back(&mark, item);
        }
        std::size_t compared = 0;
        for (const auto &[mark, application] : applications) {
            if (compared >= windowsAtMost)
                return;
            compared += verifyWindows(*mark, *application, next);
        }
        verifiedRound = next;
    }

    // What a save may take from the last one for a live container: an item that did not move,
    // or the window table and list of an application (see windowsAnswer).
    VXSettledPart settledPart(const VXValue &live, const VXDictionary *holder)
    {
        if (const VXDictionary *item = live.dictionary()) {
            if (const VXDictionary *same = settled(*item))
                return {VXValue(VXDictionaryRef(const_cast<VXDictionary *>(same))), false, {}, {}};
        }
        auto found = holder ? marks.find(holder) : marks.end();
        if (found == marks.end() || found->second.depth || found->second.application)
            return {};
        auto answer = windowsAnswers.find(holder);
        if (answer == windowsAnswers.end())
            answer = windowsAnswers.emplace(holder, windowsAnswer(found->second, *holder)).first;
        if (!answer->second.known)
            return {};
        if (live.isDictionary() && live.dictionary() == holder->value(VXWindowsByNameKey).dictionary())
            return answer->second.table;
        if (live.isArray() && live.array() == holder->value(VXChildrenKey).array())
            return answer->second.list;
        return {};
    }

    // An application's window table and list against the last save's, when the save found the
    // application as its mark says and the table was only added to since: the windows that may
    // differ are those whose marks moved or whose counts moved (the others, marked or not, did
    // not change: the ticks name every window they change). Nothing when the list holds a window
    // that is neither one of those nor listed at the save, and in the application's slice of
    // the rounds that compare everything.
    WindowsAnswer windowsAnswer(const Mark &mark, const VXDictionary &application) const
    {
        WindowsAnswer answer;
        if (!mark.asSaved || !mark.base)
            return answer;
        const VXDictionary *table = application.value(VXWindowsByNameKey).dictionary();
        const VXArray *list = application.value(VXChildrenKey).array();
        const VXValue &savedTable = mark.base->value(VXWindowsByNameKey);
        const VXValue &savedList = mark.base->value(VXChildrenKey);
        if (bool(table) != savedTable.isDictionary() || bool(list) != savedList.isArray())
            return answer;
        if (table && (savedTable.dictionary()->size() != mark.savedTableSize || !mark.tableOnlyAddedTo(table)))
            return answer;
        std::vector<const VXDictionary *> changed;
        for (const auto &[window, windowMark] : mark.windowMarks) {
            // (A window filed under another application since is that one's.)
            if (windowMark->application != &application
                || (!windowMark->moved && windowMark->base && windowMark->tiedTo(*window)))
                continue;
            const std::ptrdiff_t at = table ? table->indexOf(windowMark->key) : -1;
            if (at < 0 || table->entries()[std::size_t(at)].value.dictionary() != window)
                return answer;
            if (std::size_t(at) < mark.savedTableSize)
                answer.table.changed.push_back(std::size_t(at));
            changed.push_back(window);
        }
        std::sort(changed.begin(), changed.end());
        if (list) {
            const std::vector<const VXDictionary *> &saved = mark.savedChildren;
            if (!mark.savedChildrenFit(savedList.array()->size()))
                return answer;
            // A list of windows is never packed: its elements are read in place.
            if (list->isPacked() && !list->isEmpty())
                return answer;
            const VXValue *windows = list->size() ? &list->objectAt(0) : nullptr;
            const std::size_t count = list->size();
            std::vector<std::ptrdiff_t> &from = answer.list.from;
            from.assign(count, -1);
            // Most windows did not change: a filter by address answers most asks without a search.
            std::bitset<kChangedFilterBits> filter;
            for (const VXDictionary *window : changed)
                filter.set(changedFilterSlot(window));
            const auto isChanged = [&](const VXDictionary *window) {
                return filter.test(changedFilterSlot(window))
                    && std::binary_search(changed.begin(), changed.end(), window);
            };
            // The sampler moves only the windows it changed: the others keep their order, and
            // the two lists, without the changed windows, are the same.
            bool sameOrder = true;
            std::size_t i = 0;
            for (std::size_t j = 0; i < count; ++i) {
                const VXDictionary *window = windows[i].dictionary();
                if (!window)
                    return answer;
                if (j < saved.size() && saved[j] == window) {
                    // (A changed window at its saved place is compared with its saved self.)
                    from[i] = std::ptrdiff_t(mark.savedPlaceOf(j++));
                    if (isChanged(window))
                        answer.list.changed.push_back(i);
                    continue;
                }
                if (isChanged(window)) {
                    answer.list.changed.push_back(i);
                    continue;
                }
                while (j < saved.size() && isChanged(saved[j]))
                    ++j;
                if (j < saved.size() && saved[j] == window) {
                    from[i] = std::ptrdiff_t(mark.savedPlaceOf(j++));
                    continue;
                }
                sameOrder = false;
                break;
            }
            if (!sameOrder) {
                answer.list.changed.clear();
                const VXAddressMap places = mark.savedPlacesByWindow();
                for (i = 0; i < count; ++i) {
                    if (i + kPlacesAhead < count)
                        places.prefetch(windows[i + kPlacesAhead].dictionary());
                    const VXDictionary *window = windows[i].dictionary();
                    if (!window)
                        return answer;
                    from[i] = std::ptrdiff_t(reinterpret_cast<std::uintptr_t>(places.find(window))) - 1;
                    if (isChanged(window))
                        answer.list.changed.push_back(i);
                    else if (from[i] < 0)
                        return answer;
                }
            }
            answer.list.same = savedList;
            answer.list.partial = true;
        }
        if (table) {
            answer.table.same = savedTable;
            answer.table.partial = true;
        }
        answer.known = true;
        return answer;
    }

    // Every list of windows was sorted anew (another column): the saved windows of each
    // application are put in the order listed now, with their places in the saved list, so that
    // the save that follows finds them in order instead of looking each one up. (The lookups
    // are made here, in the change that sorted the lists, rather than in the save.)
    void followSortedLists()
    {
        for (auto &[item, mark] : marks) {
            if (!mark.depth && !mark.application)
                followSortedList(mark, *item);
        }
    }

    static void followSortedList(Mark &mark, const VXDictionary &application)
    {
        const VXArray *list = application.value(VXChildrenKey).array();
        const VXDictionary *table = application.value(VXWindowsByNameKey).dictionary();
        const VXArray *savedList = mark.base ? mark.base->value(VXChildrenKey).array() : nullptr;
        // (A table that lost a window since the save may have given its address to another: the
        // save then compares the list whole in any case.)
        if (!mark.asSaved || !list || !savedList || mark.savedChildren.empty() || list->isPacked()
            || !mark.savedChildrenFit(savedList->size()) || !mark.tableOnlyAddedTo(table))
            return;
        const VXAddressMap places = mark.savedPlacesByWindow();
        std::vector<const VXDictionary *> order;
        std::vector<std::uint32_t> orderPlaces;
        order.reserve(std::min(list->size(), mark.savedChildren.size()));
        orderPlaces.reserve(order.capacity());
        const VXValue *windows = list->size() ? &list->objectAt(0) : nullptr;
        for (std::size_t i = 0; i < list->size(); ++i) {
            if (i + kPlacesAhead < list->size())
                places.prefetch(windows[i + kPlacesAhead].dictionary());
            const VXDictionary *window = windows[i].dictionary();
            // (A window listed since the save has no saved place.)
            const std::uintptr_t at = reinterpret_cast<std::uintptr_t>(places.find(window));
            if (at && at - 1 < savedList->size()) {
                order.push_back(window);
                orderPlaces.push_back(std::uint32_t(at - 1));
            }
        }
        mark.savedChildren = std::move(order);
        mark.savedPlaces = std::move(orderPlaces);
    }

    bool inVerifiedSlice(const Mark &mark) const
    {
        // Slices by application (a window with its own) and by pool.
        std::size_t slice = 0;
        if (mark.depth) {
            slice = mark.path[0];
        } else {
            auto application = mark.application ? marks.find(mark.application) : marks.end();
            slice = qHash(application != marks.end() ? application->second.key : mark.key);
        }
        return slice % VXJournal::kVerifyRounds == round % VXJournal::kVerifyRounds;
    }

    // ---- Naming

    std::int64_t name(Mark &mark)
    {
        if (mark.number >= 0)
            return mark.number;
        if (mark.depth) {
            out.op(kPoolItem);
            out.byte(mark.depth);
            for (std::uint8_t i = 0; i < mark.depth; ++i)
                out.number(mark.path[i]);
        } else if (mark.application) {
            const std::int64_t application = name(marks.at(mark.application));
            out.op(kWindow);
            out.number(std::uint64_t(application));
            out.text(mark.key);
        } else {
            out.op(kApplication);
            out.text(mark.key);
        }
        return mark.number = nextNumber++;
    }

    // ---- One item's times, flags and logs

    void compare(Mark &mark, const VXDictionary &item)
    {
        const VXValue &time = item.value(VXTimeKey);
        const VXValue &frontTime = item.value(VXFrontTimeKey);
        const bool active = item.value(VXActiveKey).toBool();
        const bool frontActive = item.value(VXFrontActiveKey).toBool();
        std::uint8_t mask = 0;
        const auto note = [&](const VXValue &now, const VXValue &then, std::uint8_t set, std::uint8_t removed) {
            if (samePlain(now, then))
                return true;
            if (now.isNull())
                mask |= removed;
            else if (now.isReal())
                mask |= set;
            else
                return false;   // the tracker writes reals only
            return true;
        };
        if (!note(time, mark.time, kTimeSet, kTimeRemoved)
            || !note(frontTime, mark.frontTime, kFrontTimeSet, kFrontTimeRemoved)) {
            broken = true;
            return;
        }
        if (mask || active != mark.active || frontActive != mark.frontActive) {
            move(mark);
            const std::int64_t number = name(mark);
            out.op(kTimes);
            out.number(std::uint64_t(number));
            out.byte(std::uint8_t(mask | (active ? kActiveFlag : 0) | (frontActive ? kFrontActiveFlag : 0)));
            if (mask & kTimeSet)
                out.real(time.realValue());
            if (mask & kFrontTimeSet)
                out.real(frontTime.realValue());
            mark.time = time;
            mark.frontTime = frontTime;
            mark.active = active;
            mark.frontActive = frontActive;
        }
        for (std::uint8_t which = 0; which < 2; ++which) {
            const VXValue &value = item.value(which ? VXFrontActiveLogKey : VXActiveLogKey);
            const LogMark now = LogMark::of(value);
            if (now == mark.logs[which])
                continue;
            move(mark);
            const std::int64_t number = name(mark);
            out.op(kLog);
            out.number(std::uint64_t(number));
            out.byte(which);
            if (const VXArray *log = value.array()) {
                const std::int64_t kept = keptLength(*log, mark.logs[which]);
                out.number(std::uint64_t(kept + 1));
                out.number(log->size() - std::size_t(kept));
                for (std::size_t i = std::size_t(kept); i < log->size(); ++i)
                    out.real(log->at(i).toDouble());
            } else {
                out.number(0);
            }
            mark.logs[which] = now;
        }
    }

    // ---- Applications and windows

    static QByteArray encoded(const VXDictionary &item, bool withoutWindows)
    {
        VXDictionaryRef copy = VXMakeDictionary();
        for (const auto &entry : item) {
            if (withoutWindows && entry.key == VXChildrenKey)
                continue;
            if (withoutWindows && entry.key == VXWindowsByNameKey && entry.value.isDictionary())
                copy->insert(entry.key, VXMakeDictionary());
            else
                copy->insert(entry.key, entry.value);
        }
        return propertyListData(VXValue(copy)).value_or(QByteArray());
    }

    Mark &addWindow(Mark &application, const QString &title, VXDictionary &window)
    {
        const auto [at, made] = marks.try_emplace(&window);
        windowMarkCount += made ? 1 : 0;
        Mark &mark = at->second;
        if (mark.application != application.keep.get())
            application.windowMarks.emplace_back(&window, &mark);
        mark.keep = VXDictionaryRef(&window);
        mark.key = title;
        mark.application = application.keep.get();
        return mark;
    }

    void newWindow(Mark &application, const QString &title, VXDictionary &window)
    {
        const QByteArray data = encoded(window, false);
        if (data.isEmpty()) {
            broken = true;
            return;
        }
        move(application);
        const std::int64_t owner = name(application);
        out.op(kNewWindow);
        out.number(std::uint64_t(owner));
        out.text(title);
        out.data(data);
        Mark &mark = addWindow(application, title, window);
        mark.take(window);
        mark.number = nextNumber++;
    }

    void newApplication(const QString &key, VXDictionary &application)
    {
        const QByteArray data = encoded(application, true);
        if (data.isEmpty()) {
            broken = true;
            return;
        }
        out.op(kNewApplication);
        out.text(key);
        out.data(data);
        Mark &mark = marks[&application];
        mark.keep = VXDictionaryRef(&application);
        mark.key = key;
        mark.take(application);
        mark.number = nextNumber++;
        if (VXDictionary *windows = application.value(VXWindowsByNameKey).dictionary()) {
            for (std::size_t i = 0; i < windows->size(); ++i) {
                if (VXDictionary *window = windows->valueAt(i).dictionary())
                    newWindow(mark, windows->entries()[i].key, *window);
            }
        }
        compareChildren(mark, application);
    }

    void compareApplication(const QString &key, VXDictionary &application, const VXDictionary *baseApplications)
    {
        auto found = marks.find(&application);
        if (found == marks.end()) {
            const VXDictionary *baseApplication
                = baseApplications ? baseApplications->value(key).dictionary() : nullptr;
            if (!baseApplication) {
                newApplication(key, application);
                return;
            }
            markFromBase(key, application, *baseApplication);
            found = marks.find(&application);
        }
        Mark &mark = found->second;
        const qsizetype sizeBefore = out.bytes.size();
        compare(mark, application);
        VXDictionary *windows = application.value(VXWindowsByNameKey).dictionary();
        const std::size_t windowCount = windows ? windows->size() : 0;
        const bool changed
            = out.bytes.size() != sizeBefore || windowCount != mark.windowCount || !(mark.childrenKnown || mark.base);
        // The ticks said which windows they may have changed (without their word, only an
        // application seen at a tick has windows that the tick changed). The others did not
        // move: a save shares them with the saved table unseen.
        const bool everyWindow = windows && tickWindowsUnknown && changed;
        const auto listed = tickWindows.find(&application);
        if (!everyWindow && listed == tickWindows.end() && !changed)
            return;
        if (everyWindow) {
            for (std::size_t i = 0; i < windows->size(); ++i) {
                if (VXDictionary *window = windows->valueAt(i).dictionary())
                    compareWindow(mark, windows->entries()[i].key, *window);
            }
        } else if (windows && listed != tickWindows.end()) {
            for (const auto &[title, window] : listed->second) {
                // Only a window still filed under its title (the pointer alone may be reused).
                if (windows->value(title).dictionary() == window)
                    compareWindow(mark, title, *windows->value(title).dictionary(), true);
            }
        }
        if (windowCount != mark.windowCount)
            move(mark);
        mark.windowCount = windowCount;
        compareChildren(mark, application);
    }

    // One window of an application: new since the last save, first seen since it, or known.
    // `named`: a tick or a change named it as one it may have changed.
    void compareWindow(Mark &application, const QString &title, VXDictionary &window, bool named = false)
    {
        auto found = marks.find(&window);
        if (found == marks.end()) {
            const VXDictionary *baseWindows
                = application.base ? application.base->value(VXWindowsByNameKey).dictionary() : nullptr;
            const VXDictionary *baseWindow = baseWindows ? baseWindows->value(title).dictionary() : nullptr;
            if (!baseWindow) {
                newWindow(application, title, window);
                return;
            }
            Mark &added = addWindow(application, title, window);
            added.base = VXDictionaryRef(const_cast<VXDictionary *>(baseWindow));
            added.take(*baseWindow);
            added.tie(window);
            // It may differ from the saved window where its times and logs do not tell (a flag
            // stored since the save, which no mark's counts saw): the save compares it.
            if (named)
                move(added);
            found = marks.find(&window);
        }
        compare(found->second, window);
    }

    // Whether an application's windows are listed as the last full save lists them, window for
    // window (each window here has its mark, made from the saved window of its title).
    bool sameChildrenAsBase(const Mark &mark, const VXArray *children,
                            const std::vector<const VXDictionary *> &now) const
    {
        if (!mark.base)
            return false;
        const VXArray *saved = mark.base->value(VXChildrenKey).array();
        if (!saved || !children)
            return !saved && !children;
        if (saved->size() != now.size())
            return false;
        for (std::size_t i = 0; i < now.size(); ++i) {
            auto found = now[i] ? marks.find(now[i]) : marks.end();
            if (found == marks.end() || !found->second.base
                || found->second.base.get() != saved->objectAt(i).dictionary())
                return false;
        }
        return true;
    }

    // The list as it was but for windows the ticks changed, which moved, came or went: names
    // only those, with their places in the list now. False when other windows changed places.
    bool writeMoves(Mark &mark, const VXDictionary &application, const std::vector<const VXDictionary *> &now)
    {
        const auto listed = tickWindows.find(&application);
        if (listed == tickWindows.end())
            return false;
        std::vector<const VXDictionary *> touched;
        for (const auto &[title, window] : listed->second) {
            if (!marks.contains(window))
                return false;
            touched.push_back(window);
        }
        std::sort(touched.begin(), touched.end());
        touched.erase(std::unique(touched.begin(), touched.end()), touched.end());
        const auto isTouched
            = [&](const VXDictionary *window) { return std::binary_search(touched.begin(), touched.end(), window); };
        const std::vector<const VXDictionary *> &before = mark.children;
        std::size_t j = 0;
        std::vector<std::pair<const VXDictionary *, std::uint64_t>> places;
        for (std::size_t i = 0; i < now.size(); ++i) {
            if (isTouched(now[i])) {
                places.emplace_back(now[i], i + 1);
                continue;
            }
            while (j < before.size() && isTouched(before[j]))
                ++j;
            if (j == before.size() || before[j] != now[i])
                return false;
            ++j;
        }
        while (j < before.size() && isTouched(before[j]))
            ++j;
        if (j != before.size())
            return false;
        // The windows touched that are no longer listed.
        std::sort(places.begin(), places.end());
        for (const VXDictionary *window : touched) {
            auto at = std::lower_bound(places.begin(), places.end(), std::pair {window, std::uint64_t(0)});
            if (at == places.end() || at->first != window)
                places.emplace_back(window, 0);
        }
        for (const auto &[window, at] : places)
            name(marks.at(window));
        move(mark);
        const std::int64_t number = name(mark);
        out.op(kMoveChildren);
        out.number(std::uint64_t(number));
        out.number(now.size());
        out.number(places.size());
        for (const auto &[window, at] : places) {
            out.number(std::uint64_t(marks.at(window).number));
            out.number(at);
        }
        return true;
    }

    void compareChildren(Mark &mark, VXDictionary &application)
    {
        const VXArray *children = application.value(VXChildrenKey).array();
        std::vector<const VXDictionary *> now;
        if (children) {
            now.reserve(children->size());
            for (const VXValue &child : *children)
                now.push_back(child.dictionary());
        }
        if (mark.childrenKnown ? mark.hasChildren == bool(children) && mark.children == now
                               : sameChildrenAsBase(mark, children, now)) {
            mark.childrenKnown = true;
            mark.hasChildren = children != nullptr;
            mark.children = std::move(now);
            return;
        }
        if (mark.childrenKnown && mark.hasChildren && children && writeMoves(mark, application, now)) {
            mark.children = std::move(now);
            return;
        }
        // Listed anew (sorted or filtered otherwise, or the first tick after a start sorting a list
        // the record holds in another order): an entry would name every window listed, and a mark
        // would be made for each. Only windows that changed since the save have marks; with any
        // other listed, the tree is saved whole instead (for a save that writes it whole in any
        // case, nothing is named).
        if (!writing || std::any_of(now.begin(), now.end(), [&](const VXDictionary *child) {
                return child && !marks.contains(child);
            })) {
            if (writing)
                relisted = true;
            move(mark);
            mark.childrenKnown = true;
            mark.hasChildren = children != nullptr;
            mark.children = std::move(now);
            return;
        }
        for (const VXDictionary *child : now) {
            auto found = child ? marks.find(child) : marks.end();
            if (found == marks.end()) {
                broken = true;
                return;
            }
            name(found->second);
        }
        move(mark);
        const std::int64_t number = name(mark);
        out.op(kChildren);
        out.number(std::uint64_t(number));
        out.byte(children ? 1 : 0);
        if (children) {
            out.number(now.size());
            for (const VXDictionary *child : now)
                out.number(std::uint64_t(marks.at(child).number));
        }
        mark.childrenKnown = true;
        mark.hasChildren = children != nullptr;
        mark.children = std::move(now);
    }

    // ---- Pools

    // `all`: every pool item and list; otherwise those the ticks said they changed.
    void comparePools(const VXDictionary &live, bool all)
    {
        if (all) {
            for (const VXDictionary *item : poolItems)
                compare(marks.at(item), *item);
        } else {
            for (const VXDictionary *item : tickPoolItems) {
                // An item the record does not list came by a user's action, which saves whole.
                auto found = marks.find(item);
                if (found == marks.end() || !found->second.depth) {
                    broken = true;
                    return;
                }
                compare(found->second, *item);
            }
        }
        const VXArray *pools = live.value(VXPoolsKey).array();
        if (lists.empty() ? pools != nullptr : lists.front().array.get() != pools) {
            broken = true;
            return;
        }
        if (!all) {
            for (const VXArray *array : tickPoolLists) {
                auto found = listIndexes.find(array);
                if (found == listIndexes.end()) {
                    broken = true;
                    return;
                }
                if (!compareList(lists[found->second]))
                    return;
            }
            return;
        }
        for (List &list : lists) {
            if (!compareList(list))
                return;
        }
    }

    // Writes the list's order when it changed; answers false when it cannot (the tree changed
    // in a way entries cannot say).
    bool compareList(List &list)
    {
        bool same = list.array->size() == list.written.size();
        for (std::size_t i = 0; same && i < list.written.size(); ++i)
            same = list.array->objectAt(i).dictionary() == list.written[i];
        if (same)
            return true;
        if (list.array->size() != list.written.size()) {
            broken = true;
            return false;
        }
        if (list.owner)
            move(marks.at(list.owner));
        out.op(kOrder);
        out.byte(list.depth);
        for (std::uint8_t i = 0; i < list.depth; ++i)
            out.number(list.path[i]);
        out.number(list.array->size());
        for (std::size_t i = 0; i < list.array->size(); ++i) {
            const VXDictionary *item = list.array->objectAt(i).dictionary();
            auto found = list.index.find(item);
            if (found == list.index.end()) {
                broken = true;
                return false;
            }
            out.number(found->second);
            list.written[i] = item;
        }
        return true;
    }

    // ---- The whole entry

    void compareRoot(const VXDictionary &live)
    {
        std::uint8_t changed = 0;
        std::uint8_t present = 0;
        std::array<const VXValue *, 5> now {};
        for (std::size_t i = 0; i < root.size(); ++i) {
            now[i] = &live.value(*rootKeys()[i]);
            if (samePlain(*now[i], root[i]))
                continue;
            if (!now[i]->isNull() && !now[i]->isReal()) {
                broken = true;
                return;
            }
            changed |= std::uint8_t(1u << i);
            if (!now[i]->isNull())
                present |= std::uint8_t(1u << i);
            root[i] = *now[i];
        }
        if (!changed)
            return;
        out.op(kRoot);
        out.byte(changed);
        out.byte(present);
        for (std::size_t i = 0; i < root.size(); ++i) {
            if (present & (1u << i))
                out.real(now[i]->realValue());
        }
    }

    bool sameRules(const VXDictionary &live) const
    {
        for (const QString *key : {&VXApplicationBlacklistKey, &VXWindowBlacklistKey, &VXCutoffsKey}) {
            if (live.value(*key) != base->value(*key))
                return false;
        }
        return true;
    }

    // `beforeSave`: a full save follows, sharing what the marks call settled. `written`: the
    // entry goes to the journal (otherwise only the marks are brought up to date, for a save that
    // writes the tree whole: entries cannot say a change of the rules, a save can).
    std::optional<QByteArray> entry(VXDictionary &live, bool beforeSave, bool written = true)
    {
        std::optional<QByteArray> made = compareTree(live, beforeSave, written);
        forgetTickWindows();
        return made;
    }

    std::optional<QByteArray> compareTree(VXDictionary &live, bool beforeSave, bool written)
    {
        out.bytes.clear();
        windowsAnswers.clear();
        writing = written;
        relisted = false;
        if (broken || !base || (written && !sameRules(live)))
            return std::nullopt;
        VXDictionary *applications = live.value(VXApplicationsKey).dictionary();
        const VXDictionary *baseApplications = base->value(VXApplicationsKey).dictionary();
        // A save shares what the marks call settled, so it needs every item's mark up to date;
        // an entry between saves needs only what the ticks changed.
        const bool everything = beforeSave || tickWindowsUnknown;
        if (applications && !everything && !everyApplication) {
            // Windows come from the applications a tick consolidated, which it names.
            for (const auto &[application, windows] : tickWindows) {
                if (!tickApplicationSet.contains(application))
                    broken = true;
            }
            for (const auto &[application, key] : tickApplications) {
                if (broken)
                    break;
                // Applications go only by a user's action, which saves the tree whole.
                VXDictionary *filed = applications->value(key).dictionary();
                if (filed != application) {
                    broken = true;
                    break;
                }
                compareApplication(key, *filed, baseApplications);
            }
        } else if (applications) {
            std::size_t fromBase = 0;
            for (std::size_t i = 0; i < applications->size() && !broken; ++i) {
                VXDictionary *application = applications->valueAt(i).dictionary();
                if (!application) {
                    broken = true;
                    break;
                }
                const QString &key = applications->entries()[i].key;
                if (baseApplications && baseApplications->contains(key))
                    ++fromBase;
                compareApplication(key, *application, baseApplications);
            }
            // Applications go only by a user's action, which saves the tree whole.
            if (baseApplications && fromBase != baseApplications->size())
                broken = true;
        } else if (baseApplications && !baseApplications->isEmpty()) {
            broken = true;
        }
        if (!broken)
            comparePools(live, everything || everyPoolItem);
        if (!broken)
            compareRoot(live);
        if (broken)
            return std::nullopt;
        return out.bytes;
    }
};

VXJournal::VXJournal(VXScheduler &scheduler, VXConfigurationStore &store,
                     std::function<VXDictionaryRef()> configuration) :
    m_scheduler(scheduler),
    m_store(store), m_configuration(std::move(configuration)), m_encoder(std::make_unique<Encoder>())
{
}

VXJournal::~VXJournal()
{
    m_scheduler.cancelAll(this);
}

void VXJournal::noteTick(const VXTickWindows *windows)
{
    m_encoder->noteTickWindows(windows);
    noteChange();
}

void VXJournal::noteChange()
{
    m_marksCurrent = false;
    m_changeFollows = false;
    m_store.noteChange();
    if (!m_scheduler.isPending(this, kFlushOperation))
        m_scheduler.performAfterDelay(this, kFlushOperation, kFlushInterval, [this] { flush(); });
}

void VXJournal::noteListsSorted()
{
    // The windows the tick changed are known (noteTick): only the lists moved besides.
    if (m_marksHold)
        m_encoder->followSortedLists();
    m_saveWhole = true;
    noteChange();
}

void VXJournal::noteTreeReplaced()
{
    m_saveWhole = true;
    m_marksHold = false;
    noteTick();
}

void VXJournal::noteTreeRestored(const VXDictionaryRef &snapshot)
{
    const VXDictionaryRef live = m_configuration();
    if (!live || !snapshot)
        return;
    // As after a load: every application is marked while it equals the snapshot's.
    m_encoder->reset(snapshot, *live);
    m_saveWhole = true;
    m_marksHold = !m_encoder->broken;
    m_marksCurrent = false;
}

void VXJournal::noteChangeConfinedTo(const VXTickWindows &windows)
{
    if (!std::exchange(m_changeFollows, false) || !m_encoder->base)
        return;
    // The marks were made at the save, while the tree was as saved (see rebase).
    const VXDictionaryRef live = m_configuration();
    if (!live)
        return;
    m_encoder->noteTickWindows(&windows);
    m_encoder->remarkPools(*live);
    m_marksHold = !m_encoder->broken;
}

void VXJournal::rebase(const VXDictionaryRef &snapshot, bool changeFollows)
{
    const VXDictionaryRef live = m_configuration();
    m_saveWhole = changeFollows || !snapshot || !live;
    m_marksHold = !m_saveWhole;
    const bool marksCurrent = std::exchange(m_marksCurrent, false);
    if (live && snapshot && marksCurrent && !m_saveWhole)
        m_encoder->carryOver(snapshot, *live);
    else if (live && snapshot)
        m_encoder->reset(snapshot, *live);
    else
        m_encoder->base = VXDictionaryRef();
    if (changeFollows) {
        noteTick();
        m_changeFollows = live && snapshot;
    }
}

VXDictionaryRef VXJournal::continuedSnapshot(const VXDictionaryRef &lastSaved) const
{
    return m_marksHold && m_saveWhole && m_encoder->base ? m_encoder->base : lastSaved;
}

VXSettledParts VXJournal::settledSince(const VXDictionaryRef &previous)
{
    const VXDictionaryRef live = m_configuration();
    if (!m_marksHold || !live || !previous || m_encoder->base != previous)
        return {};
    const std::optional<QByteArray> payload = m_encoder->entry(*live, true, !m_saveWhole);
    if (!payload)
        return {};
    // (A list that only a whole save says: this save is one.)
    if (m_encoder->relisted)
        m_saveWhole = true;
    ++m_encoder->round;
    m_scheduler.cancel(this, kFlushOperation);
    // Written before the save, so that the journal stays whole if the save fails; after a
    // restore the journal on disk continues another record, and the save writes this one whole.
    if (!m_saveWhole && !payload->isEmpty() && !m_store.appendToJournal(VXJournalFile::frame(*payload)))
        m_saveWhole = true;
    m_marksCurrent = true;
    Encoder *encoder = m_encoder.get();
    return [encoder](const VXValue &container, const VXDictionary *holder) {
        return encoder->settledPart(container, holder);
    };
}

std::optional<QByteArray> VXJournal::entry()
{
    const VXDictionaryRef live = m_configuration();
    if (m_saveWhole || !live)
        return std::nullopt;
    std::optional<QByteArray> payload = m_encoder->entry(*live, false);
    if (payload && m_encoder->relisted) {
        m_saveWhole = true;
        return std::nullopt;
    }
    return payload;
}

void VXJournal::flush()
{
    m_scheduler.cancel(this, kFlushOperation);
    if (!m_configuration())
        return;
    const std::optional<QByteArray> payload = entry();
    if (!payload) {
        // While the record cannot be written, the periodic save tries again; the tree stays whole
        // in memory meanwhile.
        if (m_store.saveFailure().isEmpty())
            m_store.writeWhole();
    } else if (!payload->isEmpty() && !m_store.appendToJournal(VXJournalFile::frame(*payload))) {
        m_saveWhole = true;
    } else if (m_marksHold) {
        // A share of the next save's comparisons that catch unreported changes, made here
        // rather than in the save's own pause.
        m_encoder->verifyAhead(m_windowsVerifiedPerFlush);
    }
}

std::size_t VXJournal::missedChanges() const
{
    return m_encoder->missed;
}

std::size_t VXJournal::windowMarks() const
{
    return std::size_t(std::count_if(m_encoder->marks.begin(), m_encoder->marks.end(),
                                     [](const auto &entry) { return entry.second.application != nullptr; }));
}

bool VXJournal::isFlushPending() const
{
    return m_scheduler.isPending(this, kFlushOperation);
}
