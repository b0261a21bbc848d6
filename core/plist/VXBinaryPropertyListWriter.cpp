#include "VXBinaryPropertyListWriter.h"

#include "VXMappedTable.h"

#include "VXPlistLogging.h"
#include "VXPropertyListSerialization.h"

#include <QHash>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>
#include <vector>

#include <sys/mman.h>

namespace {

std::uint64_t hashKey(std::uint8_t kind, std::uint64_t bits)
{
    std::uint64_t h = bits ^ (std::uint64_t(kind) << 56) ^ 0x9E3779B97F4A7C15ull;
    h ^= h >> 33;
    h *= 0xFF51AFD7ED558CCDull;
    h ^= h >> 33;
    h *= 0xC4CEB9FE1A85EC53ull;
    h ^= h >> 33;
    return h;
}

// Open-addressing map from a (kind, 64-bit) key to an object number; it uniques containers by
// their address. Each slot is one word: a fingerprint of the key and the index of its entry.
class ObjectNumberMap
{
public:
    static constexpr std::uint32_t kMissing = 0xFFFFFFFFu;

    void reserve(std::size_t count)
    {
        if (m_entries.empty() && capacityFor(count) > m_slots.size())
            m_slots.assign(capacityFor(count), 0);
        m_entries.reserve(count);
    }

    // The number stored for the key, or stores `number` and answers kMissing.
    std::uint32_t findOrInsert(std::uint8_t kind, std::uint64_t bits, std::uint32_t number)
    {
        if (capacityFor(m_entries.size() + 1) > m_slots.size())
            grow();
        const std::uint64_t h = hashKey(kind, bits);
        const std::uint64_t fingerprint = (h >> 32) | 1;   // never 0, so 0 marks an empty slot
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = h & mask;; i = (i + 1) & mask) {
            const std::uint64_t slot = m_slots[i];
            if (slot == 0) {
                m_slots[i] = (fingerprint << 32) | m_entries.size();
                m_entries.push_back(Entry {bits, number, kind});
                return kMissing;
            }
            if ((slot >> 32) == fingerprint) {
                const Entry &entry = m_entries[static_cast<std::uint32_t>(slot)];
                if (entry.bits == bits && entry.kind == kind)
                    return entry.number;
            }
        }
    }

private:
    struct Entry {
        std::uint64_t bits;
        std::uint32_t number;
        std::uint8_t kind;
    };

    // Linear probing stays short up to about two thirds full.
    static std::size_t capacityFor(std::size_t count)
    {
        std::size_t size = 64;
        while (size * 2 < count * 3)
            size *= 2;
        return size;
    }

    void grow()
    {
        m_slots.assign(capacityFor(m_entries.size() + 1) * 2, 0);
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t e = 0; e < m_entries.size(); ++e) {
            const std::uint64_t h = hashKey(m_entries[e].kind, m_entries[e].bits);
            std::size_t i = h & mask;
            while (m_slots[i] != 0)
                i = (i + 1) & mask;
            m_slots[i] = (((h >> 32) | 1) << 32) | e;
        }
    }

    std::vector<std::uint64_t> m_slots;
    std::vector<Entry> m_entries;
};

// A growing output buffer that writes big-endian numbers without per-call checks beyond one
// capacity test.
class Output
{
public:
    explicit Output(std::size_t expected)
    {
        m_bytes.resize(static_cast<qsizetype>(std::max<std::size_t>(expected, 64)));
        adviseHugePages();
    }

    std::size_t size() const { return m_used; }

    char *reserve(std::size_t count)
    {
        if (m_used + count > static_cast<std::size_t>(m_bytes.size())) {
            m_bytes.resize(
                static_cast<qsizetype>(std::max((m_used + count) * 2, static_cast<std::size_t>(m_bytes.size()) * 2)));
            adviseHugePages();
        }
        char *at = m_bytes.data() + m_used;
        m_used += count;
        return at;
    }
    void byte(std::uint8_t b) { *reserve(1) = static_cast<char>(b); }
    void bytes(const char *data, std::size_t count)
    {
        if (count)
            std::memcpy(reserve(count), data, count);
    }
    void bigEndian(std::uint64_t value, int width)
    {
        char *at = reserve(static_cast<std::size_t>(width));
        for (int i = width - 1; i >= 0; --i) {
            at[i] = static_cast<char>(value & 0xFF);
            value >>= 8;
        }
    }
    // A marker with a small count in its low nibble, or 0xF and the count as an integer object.
    void sizedMarker(std::uint8_t marker, std::uint64_t count)
    {
        if (count < 15) {
            byte(static_cast<std::uint8_t>(marker | count));
        } else if (count < (1u << 8)) {
            byte(marker | 0xF), byte(0x10), bigEndian(count, 1);
        } else if (count < (1u << 16)) {
            byte(marker | 0xF), byte(0x11), bigEndian(count, 2);
        } else if (count < (std::uint64_t(1) << 32)) {
            byte(marker | 0xF), byte(0x12), bigEndian(count, 4);
        } else {
            byte(marker | 0xF), byte(0x13), bigEndian(count, 8);
        }
    }
    QByteArray take()
    {
        m_bytes.resize(static_cast<qsizetype>(m_used));
        return std::move(m_bytes);
    }

private:
    // The buffer comes from QByteArray's allocator: advise the whole huge pages inside it.
    void adviseHugePages()
    {
        constexpr std::uintptr_t kHugePage = 2 * 1024 * 1024;
        const auto begin = reinterpret_cast<std::uintptr_t>(m_bytes.data());
        const std::uintptr_t end = begin + static_cast<std::uintptr_t>(m_bytes.size());
        const std::uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
        const std::uintptr_t last = end & ~(kHugePage - 1);
        if (last > first)
            ::madvise(reinterpret_cast<void *>(first), last - first, MADV_HUGEPAGE);
    }

    QByteArray m_bytes;
    std::size_t m_used = 0;
};

int widthForCount(std::uint64_t count)
{
    if (count < (1u << 8))
        return 1;
    if (count < (1u << 16))
        return 2;
    if (count < (std::uint64_t(1) << 32))
        return 4;
    return 8;
}

bool isAscii(const QString &s)
{
    const auto *c = reinterpret_cast<const char16_t *>(s.constData());
    for (qsizetype i = 0, n = s.size(); i < n; ++i) {
        if (c[i] >= 0x80)
            return false;
    }
    return true;
}

enum Kind : std::uint8_t { KindBoolean = 1, KindInteger, KindUnsigned, KindReal, KindDate, KindContainer };

// Objects in the layout are tagged pointers: a value, a number (a value uniqued after the
// layout), a dictionary key (a QString), or a real of a packed array (a double, uniqued as a
// number). Every pointee is 8-byte aligned.
constexpr std::uintptr_t kTagMask = 3;
constexpr std::uintptr_t kTagValue = 0;
constexpr std::uintptr_t kTagKey = 1;
constexpr std::uintptr_t kTagNumber = 2;
constexpr std::uintptr_t kTagReal = 3;

std::uint8_t numberKind(const VXValue &value)
{
    switch (value.type()) {
    case VXValue::Type::Boolean: return KindBoolean;
    case VXValue::Type::Real: return KindReal;
    case VXValue::Type::Date: return KindDate;
    case VXValue::Type::Integer: return value.isUnsignedInteger() ? KindUnsigned : KindInteger;
    default: return 0;
    }
}

std::uint64_t numberBits(const VXValue &value)
{
    switch (value.type()) {
    case VXValue::Type::Boolean: return value.toBool() ? 1 : 0;
    case VXValue::Type::Real: return std::bit_cast<std::uint64_t>(value.realValue());
    case VXValue::Type::Date: return std::bit_cast<std::uint64_t>(value.dateSince2001());
    default: return static_cast<std::uint64_t>(value.integerBits());
    }
}

const VXValue &taggedValue(std::uintptr_t tagged)
{
    return *reinterpret_cast<const VXValue *>(tagged & ~kTagMask);
}

// A number met while laying out: its bits, kind and place in the layout, and the top bits of
// its hash (which bucket of kBucketBits it falls in), worked out while it was at hand.
constexpr int kBucketBits = 16;
struct NumberRecord {
    std::uint64_t bits;
    std::uint32_t index;
    std::uint8_t kind;
    std::uint16_t bucket;
};

// For every number equal to an earlier one, the layout index of the first one + 1, stored at its
// own index in `duplicateOf` (the others are left 0: the event logs' reals are nearly all
// distinct, and their places are not written at all).
//
// One hash table over millions of reals would miss the cache on almost every probe. Instead the
// numbers are spread by hash over partitions small enough that each one's table stays in the
// cache, in layout order, so that the first occurrence of a number is still met first within
// its partition.
void markDuplicates(const VXMappedTable<NumberRecord> &numbers, const std::vector<std::uint32_t> &bucketSizes,
                    VXMappedTable<std::uint32_t> &duplicateOf)
{
    const std::size_t count = numbers.size();
    if (count == 0)
        return;
    constexpr std::size_t kPartitionTarget = 4096;
    int partitionBits = 0;
    while ((count >> partitionBits) > kPartitionTarget && partitionBits < kBucketBits)
        ++partitionBits;
    const std::size_t partitions = std::size_t(1) << partitionBits;
    const int shift = kBucketBits - partitionBits;

    // The partitions' sizes from the buckets' (a partition is a run of buckets).
    std::vector<std::size_t> starts(partitions + 1, 0);
    for (std::size_t b = 0; b < bucketSizes.size(); ++b)
        starts[(b >> shift) + 1] += bucketSizes[b];
    std::size_t largest = 0;
    for (std::size_t p = 0; p < partitions; ++p) {
        largest = std::max(largest, starts[p + 1]);
        starts[p + 1] += starts[p];
    }
    VXMappedTable<NumberRecord> records(count);
    {
        std::vector<std::size_t> cursor(starts.begin(), starts.end() - 1);
        for (std::size_t i = 0; i < count; ++i) {
            const NumberRecord &record = numbers[i];
            records[cursor[record.bucket >> shift]++] = record;
        }
    }

    std::size_t tableSize = 16;
    while (tableSize < largest * 2)
        tableSize *= 2;
    std::vector<std::uint32_t> table(tableSize);   // record position within the partition + 1
    const std::size_t mask = tableSize - 1;
    for (std::size_t p = 0; p < partitions; ++p) {
        const NumberRecord *part = records.data() + starts[p];
        const std::size_t size = starts[p + 1] - starts[p];
        std::fill(table.begin(), table.end(), 0);
        for (std::size_t r = 0; r < size; ++r) {
            const NumberRecord &record = part[r];
            for (std::size_t slot = hashKey(record.kind, record.bits) & mask;; slot = (slot + 1) & mask) {
                const std::uint32_t stored = table[slot];
                if (stored == 0) {
                    table[slot] = static_cast<std::uint32_t>(r + 1);
                    break;
                }
                const NumberRecord &other = part[stored - 1];
                if (other.bits == record.bits && other.kind == record.kind) {
                    duplicateOf[record.index] = other.index + 1;
                    break;
                }
            }
        }
    }
}

class Writer
{
public:
    // Lays the tree out depth first, every number in place, then stores equal numbers once:
    // their later places are dropped and the references renumbered.
    bool flatten(const VXValue &root)
    {
        m_ok = true;
        number(root, 0);
        if (!m_ok)
            return false;
        uniqueNumbers();
        return true;
    }

    QByteArray write()
    {
        const std::size_t objectCount = m_objectCount;
        const int refWidth = widthForCount(objectCount);

        // Most objects are reals (9 bytes) and references; strings may make it grow once.
        Output out(objectCount * 14 + m_refs.size() * static_cast<std::size_t>(refWidth) + 64);
        out.bytes("bplist00", 8);
        std::size_t refCursor = 0;
        // Each object's offset takes its place in m_objects once it is written: the kept objects
        // are in order, so object k is at or after place k.
        std::size_t written = 0;
        for (std::size_t i = 0; i < m_objects.size(); ++i) {
            const std::uintptr_t tagged = m_objects[i];
            if (tagged == 0)
                continue;   // an equal number was written earlier
            m_objects[written++] = out.size();
            if ((tagged & kTagMask) == kTagKey) {
                writeString(out, *reinterpret_cast<const QString *>(tagged & ~kTagMask));
                continue;
            }
            if ((tagged & kTagMask) == kTagReal) {
                writeReal(out, *reinterpret_cast<const double *>(tagged & ~kTagMask));
                continue;
            }
            const VXValue &value = taggedValue(tagged);
            switch (value.type()) {
            case VXValue::Type::Boolean: out.byte(value.toBool() ? 0x09 : 0x08); break;
            case VXValue::Type::Integer: writeInteger(out, value); break;
            case VXValue::Type::Real: writeReal(out, value.realValue()); break;
            case VXValue::Type::Date: {
                char *at = out.reserve(9);
                at[0] = 0x33;
                storeBigEndian(at + 1, std::bit_cast<std::uint64_t>(value.dateSince2001()));
                break;
            }
            case VXValue::Type::String: writeString(out, value.stringRef()); break;
            case VXValue::Type::Data:
                out.sizedMarker(0x40, static_cast<std::uint64_t>(value.dataRef().size()));
                out.bytes(value.dataRef().constData(), static_cast<std::size_t>(value.dataRef().size()));
                break;
            case VXValue::Type::Array: {
                const std::size_t count = value.array()->size();
                out.sizedMarker(0xA0, count);
                writeRefs(out, refCursor, count, refWidth);
                break;
            }
            case VXValue::Type::Dictionary: {
                const std::size_t count = value.dictionary()->size();
                out.sizedMarker(0xD0, count);
                writeRefs(out, refCursor, count * 2, refWidth);
                break;
            }
            case VXValue::Type::Null: break;   // refused while laying out
            }
        }

        const std::uint64_t tableOffset = out.size();
        const int offsetWidth = widthForCount(tableOffset);
        for (std::size_t i = 0; i < objectCount; ++i)
            out.bigEndian(m_objects[i], offsetWidth);
        // Trailer: five unused bytes, the sort version, the two widths, then object count, top
        // object and offset-table position as 64-bit numbers.
        std::memset(out.reserve(6), 0, 6);
        out.byte(static_cast<std::uint8_t>(offsetWidth));
        out.byte(static_cast<std::uint8_t>(refWidth));
        out.bigEndian(objectCount, 8);
        out.bigEndian(0, 8);
        out.bigEndian(tableOffset, 8);
        return out.take();
    }

private:
    static const void *containerIdentity(const VXValue &value)
    {
        return value.array() ? static_cast<const void *>(value.array()) : static_cast<const void *>(value.dictionary());
    }

    // The layout index of the value, laying it (and what it holds) out when first met. Numbers
    // get a place each time; uniqueNumbers() merges the equal ones.
    std::uint32_t number(const VXValue &value, int depth)
    {
        const auto next = static_cast<std::uint32_t>(m_objects.size());
        switch (value.type()) {
        case VXValue::Type::Null: return fail("cannot write a null value in a binary property list");
        case VXValue::Type::Boolean:
        case VXValue::Type::Integer:
        case VXValue::Type::Real:
        case VXValue::Type::Date: appendNumber(value); return next;
        case VXValue::Type::String:
            return stringNumber(value.stringRef(), reinterpret_cast<std::uintptr_t>(&value) | kTagValue);
        case VXValue::Type::Data: {
            // Stored as index + 1, so that 0 means "just added".
            std::uint32_t &slot = m_data[value.dataRef()];
            if (slot)
                return slot - 1;
            slot = next + 1;
            append(reinterpret_cast<std::uintptr_t>(&value) | kTagValue);
            return next;
        }
        case VXValue::Type::Array:
        case VXValue::Type::Dictionary: {
            const std::uint32_t found = m_containers.findOrInsert(
                KindContainer, reinterpret_cast<std::uintptr_t>(containerIdentity(value)), next);
            if (found != ObjectNumberMap::kMissing) {
                if (!m_finished[found])
                    return fail("cannot write a property list that contains itself");
                return found;
            }
            return container(value, next, depth);
        }
        }
        return fail("cannot write a value of unknown type");
    }

    std::uint32_t container(const VXValue &value, std::uint32_t self, int depth)
    {
        if (depth >= VXPropertyListSerialization::kMaximumDepth)
            return fail("cannot write a property list nested this deeply");
        append(reinterpret_cast<std::uintptr_t>(&value) | kTagValue);
        m_finished.resize(self + 1);   // 0 while its contents are laid out
        if (const VXArray *array = value.array()) {
            const std::size_t start = m_refs.size();
            const std::size_t count = array->size();
            m_refs.resize(start + count);
            if (array->isPacked()) {
                // The event logs' millions of reals: no VXValue, no call.
                const double *reals = array->numbers().reals();
                for (std::size_t i = 0; i < count; ++i) {
                    m_refs[start + i] = static_cast<std::uint32_t>(m_objects.size());
                    noteNumber(std::bit_cast<std::uint64_t>(reals[i]), KindReal,
                               reinterpret_cast<std::uintptr_t>(reals + i) | kTagReal);
                }
                m_finished[self] = 1;
                return self;
            }
            std::size_t i = 0;
            for (const VXValue &item : *array) {
                if (!m_ok)
                    break;
                std::uint32_t child;
                if (item.isNumber() || item.isDate()) {
                    // The event logs' millions of reals: no call.
                    child = static_cast<std::uint32_t>(m_objects.size());
                    appendNumber(item);
                } else {
                    child = number(item, depth + 1);
                }
                m_refs[start + i++] = child;
            }
        } else {
            const VXDictionary &dictionary = *value.dictionary();
            const std::vector<std::size_t> order = dictionary.sortedEntryIndexes();
            const std::size_t count = dictionary.size();
            const std::size_t start = m_refs.size();
            m_refs.resize(start + count * 2);
            for (std::size_t i = 0; i < count && m_ok; ++i) {
                const QString &key = dictionary.entries()[order[i]].key;
                const std::uint32_t child = stringNumber(key, reinterpret_cast<std::uintptr_t>(&key) | kTagKey);
                m_refs[start + i] = child;
            }
            for (std::size_t i = 0; i < count && m_ok; ++i) {
                const std::uint32_t child = number(dictionary.entries()[order[i]].value, depth + 1);
                m_refs[start + count + i] = child;
            }
        }
        m_finished[self] = 1;
        return self;
    }

    std::uint32_t stringNumber(const QString &string, std::uintptr_t tagged)
    {
        const auto next = static_cast<std::uint32_t>(m_objects.size());
        std::uint32_t &slot = m_strings[string];   // index + 1; 0 when just added
        if (slot)
            return slot - 1;
        slot = next + 1;
        append(tagged);
        return next;
    }

    // A number takes a place and is noted, while it is at hand, for merging equal ones.
    void appendNumber(const VXValue &value)
    {
        noteNumber(numberBits(value), numberKind(value), reinterpret_cast<std::uintptr_t>(&value) | kTagNumber);
    }

    void noteNumber(std::uint64_t bits, std::uint8_t kind, std::uintptr_t tagged)
    {
        const auto bucket = static_cast<std::uint16_t>(hashKey(kind, bits) >> (64 - kBucketBits));
        ++m_bucketSizes[bucket];
        m_numbers.push_back(NumberRecord {bits, static_cast<std::uint32_t>(m_objects.size()), kind, bucket});
        append(tagged);
    }

    void append(std::uintptr_t tagged) { m_objects.push_back(tagged); }

    // Gives each object its final number: a number equal to an earlier one is dropped (its place
    // in m_objects cleared) and takes that one's number; references are renumbered to match.
    void uniqueNumbers()
    {
        const std::size_t count = m_objects.size();
        VXMappedTable<std::uint32_t> final(count);   // duplicates' first + 1, then every final number
        markDuplicates(m_numbers, m_bucketSizes, final);
        std::uint32_t next = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (const std::uint32_t first = final[i]) {
                final[i] = final[first - 1];   // already final: first - 1 < i
                m_objects[i] = 0;
                continue;
            }
            final[i] = next++;
        }
        m_objectCount = next;
        for (std::uint32_t &ref : m_refs)
            ref = final[ref];
    }

    std::uint32_t fail(const char *message)
    {
        if (m_ok)
            qCWarning(lcPlist, "%s", message);
        m_ok = false;
        return 0;
    }

    static void writeReal(Output &out, double value)
    {
        char *at = out.reserve(9);
        at[0] = 0x23;
        storeBigEndian(at + 1, std::bit_cast<std::uint64_t>(value));
    }

    static void storeBigEndian(char *at, std::uint64_t value)
    {
        if constexpr (std::endian::native == std::endian::little)
            value = __builtin_bswap64(value);
        std::memcpy(at, &value, sizeof value);
    }

    void writeRefs(Output &out, std::size_t &cursor, std::size_t count, int width)
    {
        char *at = out.reserve(count * static_cast<std::size_t>(width));
        const std::uint32_t *refs = m_refs.data() + cursor;
        cursor += count;
        if (width == 4) {
            for (std::size_t i = 0; i < count; ++i) {
                std::uint32_t ref = refs[i];
                if constexpr (std::endian::native == std::endian::little)
                    ref = __builtin_bswap32(ref);
                std::memcpy(at + 4 * i, &ref, 4);
            }
            return;
        }
        for (std::size_t i = 0; i < count; ++i) {
            std::uint32_t ref = refs[i];
            for (int b = width - 1; b >= 0; --b) {
                at[b] = static_cast<char>(ref & 0xFF);
                ref >>= 8;
            }
            at += width;
        }
    }

    static void writeInteger(Output &out, const VXValue &value)
    {
        const auto bits = static_cast<std::uint64_t>(value.integerBits());
        if (value.isUnsignedInteger()) {
            // Above the signed range the format needs its 16-byte form.
            out.byte(0x14);
            out.bigEndian(0, 8);
            out.bigEndian(bits, 8);
        } else if (value.integerBits() < 0) {
            out.byte(0x13);
            out.bigEndian(bits, 8);
        } else if (bits < (1u << 8)) {
            out.byte(0x10), out.bigEndian(bits, 1);
        } else if (bits < (1u << 16)) {
            out.byte(0x11), out.bigEndian(bits, 2);
        } else if (bits < (std::uint64_t(1) << 32)) {
            out.byte(0x12), out.bigEndian(bits, 4);
        } else {
            out.byte(0x13), out.bigEndian(bits, 8);
        }
    }

    static void writeString(Output &out, const QString &string)
    {
        const auto length = static_cast<std::size_t>(string.size());
        // (Never utf16(): over a literal it makes a copy in place, and the writer thread reads
        // texts the main thread reads too.)
        const auto *units = reinterpret_cast<const char16_t *>(string.constData());
        if (isAscii(string)) {
            out.sizedMarker(0x50, length);
            char *at = out.reserve(length);
            for (std::size_t i = 0; i < length; ++i)
                at[i] = static_cast<char>(units[i]);
        } else {
            out.sizedMarker(0x60, length);
            char *at = out.reserve(length * 2);
            for (std::size_t i = 0; i < length; ++i) {
                // Half a surrogate pair is not text: readers refuse the whole file for it, so it
                // is written as the replacement character rather than lose the configuration.
                char16_t unit = units[i];
                if (unit >= 0xD800 && unit <= 0xDFFF) {
                    const bool pairedHigh
                        = unit <= 0xDBFF && i + 1 < length && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
                    const bool pairedLow = unit >= 0xDC00 && i > 0 && units[i - 1] >= 0xD800 && units[i - 1] <= 0xDBFF;
                    if (!pairedHigh && !pairedLow)
                        unit = 0xFFFD;
                }
                at[2 * i] = static_cast<char>(unit >> 8);
                at[2 * i + 1] = static_cast<char>(unit & 0xFF);
            }
        }
    }

    VXMappedTable<std::uintptr_t> m_objects;   // tagged objects in layout order; offsets once written
    VXMappedTable<std::uint8_t> m_finished;   // per container's index: 0 while its contents are laid out
    VXMappedTable<std::uint32_t> m_refs;   // every container's references, in layout order
    VXMappedTable<NumberRecord> m_numbers;   // every number's place, in layout order
    std::vector<std::uint32_t> m_bucketSizes = std::vector<std::uint32_t>(std::size_t(1) << kBucketBits);
    std::size_t m_objectCount = 0;   // objects once equal numbers are merged
    ObjectNumberMap m_containers;   // containers laid out, by address
    QHash<QString, std::uint32_t> m_strings;   // layout index + 1
    QHash<QByteArray, std::uint32_t> m_data;   // layout index + 1
    bool m_ok = true;
};

}   // namespace

std::optional<QByteArray> VXBinaryPropertyListWriter::write(const VXValue &value)
{
    Writer writer;
    if (!writer.flatten(value))
        return std::nullopt;
    return writer.write();
}
