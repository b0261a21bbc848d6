#include "VXValue.h"

#include "VXContainerChanges.h"

#include <QHash>
#include <QHashFunctions>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>

namespace {

// See VXContainerChangesOnThisThread().
thread_local std::uint64_t containerChanges = 0;

#if defined(__SANITIZE_ADDRESS__)
#define VX_OBJECTS_FROM_SLABS 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VX_OBJECTS_FROM_SLABS 0
#endif
#endif
#ifndef VX_OBJECTS_FROM_SLABS
#define VX_OBJECTS_FROM_SLABS 1
#endif

// Objects of one class carved from 64 KiB slabs: the allocator would give a 16-byte array object a
// 32-byte chunk. A freed object goes back to a list shared by every thread (a tree is built on
// one and freed on another); slabs are kept for the objects to come. Under AddressSanitizer the
// objects come from the allocator, so that a use after free is still caught.
template <class T> class ObjectSlabs
{
public:
    // Never destroyed: objects may outlive every static.
    static ObjectSlabs &instance()
    {
        static auto *slabs = new ObjectSlabs;
        return *slabs;
    }

    void *allocate()
    {
#if VX_OBJECTS_FROM_SLABS
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_free)
            addSlab();
        Slot *slot = m_free;
        m_free = slot->next;
        return slot;
#else
        return ::operator new(sizeof(T));
#endif
    }

    void release(void *object) noexcept
    {
#if VX_OBJECTS_FROM_SLABS
        auto *slot = static_cast<Slot *>(object);
        const std::lock_guard<std::mutex> lock(m_mutex);
        slot->next = m_free;
        m_free = slot;
#else
        ::operator delete(object);
#endif
    }

private:
    union Slot {
        Slot *next;
        alignas(T) unsigned char bytes[sizeof(T)];
    };

    void addSlab()
    {
        constexpr std::size_t count = 65536 / sizeof(Slot);
        auto *slab = static_cast<Slot *>(::operator new(count * sizeof(Slot)));
        m_slabs.push_back(slab);
        for (std::size_t i = 0; i < count; ++i)
            slab[i].next = i + 1 < count ? &slab[i + 1] : nullptr;
        m_free = slab;
    }

    std::mutex m_mutex;
    Slot *m_free = nullptr;
    std::vector<Slot *> m_slabs;   // kept, so that the slabs stay reachable
};

}   // namespace

std::uint64_t VXContainerChangesOnThisThread() noexcept
{
    return containerChanges;
}

namespace vx_detail {

struct VXDataBox final : VXHeapObject {
    explicit VXDataBox(const QByteArray &d) : data(d) { }
    QByteArray data;
};

const QString &VXEmptyText() noexcept
{
    static const QString empty;
    return empty;
}

}   // namespace vx_detail

using vx_detail::VXDataBox;
using vx_detail::VXStringBox;

namespace {

template <class T> void releaseObject(T *object) noexcept
{
    if (object && object->release())
        delete object;
}

const QString &emptyString()
{
    static const QString empty;
    return empty;
}

const QByteArray &emptyData()
{
    static const QByteArray empty;
    return empty;
}

const VXValue &nullValue()
{
    static const VXValue null;
    return null;
}

bool sameReal(double a, double b) noexcept
{
    return a == b ? std::signbit(a) == std::signbit(b) : (std::isnan(a) && std::isnan(b));
}

}   // namespace

VXArrayRef VXMakeArray()
{
    return VXArrayRef(new VXArray);
}

VXDictionaryRef VXMakeDictionary()
{
    return VXDictionaryRef(new VXDictionary);
}

// ---- VXKey

namespace {

// The texts of keys made of literals, one per text for the life of the program: the code that
// builds items names the same few keys again and again. The text stays the literal's own, so
// that finding a key by the literal it was made of compares addresses, not characters. Items
// that come and go on every tick make such keys all the time, so each thread remembers the
// literals it met last, by address, before it asks the table.
VXStringBox *literalKeyText(const QString &text)
{
    struct Seen {
        const QChar *data = nullptr;
        VXStringBox *box = nullptr;
    };
    constexpr unsigned kSlotBits = 6;
    thread_local std::array<Seen, std::size_t(1) << kSlotBits> seen;
    // Literals lie a few bytes apart ("Name", "Path", "Type" and "Time" in 10 bytes each): the
    // slot comes of all the address's bits, not of its 16-byte line, or such keys share a slot.
    const std::uint64_t address = reinterpret_cast<std::uintptr_t>(text.constData());
    Seen &slot = seen[(address * 0x9E3779B97F4A7C15ULL) >> (64 - kSlotBits)];
    if (slot.data == text.constData() && slot.box->string == text)
        return slot.box;

    static std::mutex mutex;
    static QHash<QString, VXStringBox *> *texts = new QHash<QString, VXStringBox *>;
    const std::lock_guard<std::mutex> lock(mutex);
    VXStringBox *&box = (*texts)[text];
    if (!box) {
        box = new VXStringBox(text);
        box->retain();   // the table's own reference: never released
    }
    slot = {text.constData(), box};
    return box;
}

}   // namespace

VXKey::VXKey(const QString &text) : m_box(text.data_ptr().isMutable() ? new VXStringBox(text) : literalKeyText(text))
{
    m_box->retain();
}

VXKey VXKey::ofValue(const VXValue &string)
{
    if (!string.isString() || !string.stringRef().data_ptr().isMutable())
        return VXKey(string.stringRef());
    VXKey key;
    key.m_box = string.m_payload.string;
    key.m_box->retain();
    return key;
}

// ---- VXValue

VXValue::VXValue(const QString &value) : m_type(Type::String)
{
    m_payload.string = new VXStringBox(value);
    m_payload.string->retain();
}

VXValue::VXValue(const QByteArray &value) : m_type(Type::Data)
{
    m_payload.data = new VXDataBox(value);
    m_payload.data->retain();
}

VXValue::VXValue(VXArrayRef array) noexcept : m_type(array ? Type::Array : Type::Null)
{
    m_payload.array = array.get();
    if (m_payload.array)
        m_payload.array->retain();
}

VXValue::VXValue(VXDictionaryRef dictionary) noexcept : m_type(dictionary ? Type::Dictionary : Type::Null)
{
    m_payload.dictionary = dictionary.get();
    if (m_payload.dictionary)
        m_payload.dictionary->retain();
}

VXValue VXValue::unsignedInteger(std::uint64_t value) noexcept
{
    VXValue v(static_cast<long long>(value));
    v.m_unsigned = value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    return v;
}

VXValue VXValue::dateSince2001(double seconds) noexcept
{
    VXValue v(seconds);
    v.m_type = Type::Date;
    return v;
}

VXValue::VXValue(const VXValue &other) noexcept
{
    copyFrom(other);
}

VXValue &VXValue::operator=(const VXValue &other) noexcept
{
    if (this != &other) {
        VXValue copy(other);
        *this = std::move(copy);
    }
    return *this;
}

void VXValue::copyFrom(const VXValue &other) noexcept
{
    m_payload = other.m_payload;
    m_type = other.m_type;
    m_unsigned = other.m_unsigned;
    switch (m_type) {
    case Type::String: m_payload.string->retain(); break;
    case Type::Data: m_payload.data->retain(); break;
    case Type::Array: m_payload.array->retain(); break;
    case Type::Dictionary: m_payload.dictionary->retain(); break;
    default: break;
    }
}

void VXValue::destroy() noexcept
{
    switch (m_type) {
    case Type::String: releaseObject(m_payload.string); break;
    case Type::Data: releaseObject(m_payload.data); break;
    case Type::Array: releaseObject(m_payload.array); break;
    case Type::Dictionary: releaseObject(m_payload.dictionary); break;
    default: break;
    }
    m_type = Type::Null;
    m_payload.integer = 0;
}

double VXValue::toDouble() const noexcept
{
    switch (m_type) {
    case Type::Boolean: return m_payload.integer ? 1.0 : 0.0;
    case Type::Integer:
        return m_unsigned ? static_cast<double>(static_cast<std::uint64_t>(m_payload.integer))
                          : static_cast<double>(m_payload.integer);
    case Type::Real: return m_payload.real;
    default: return 0.0;
    }
}

std::int64_t VXValue::toInteger() const noexcept
{
    switch (m_type) {
    case Type::Boolean: return m_payload.integer ? 1 : 0;
    case Type::Integer: return m_unsigned ? std::numeric_limits<std::int64_t>::max() : m_payload.integer;
    case Type::Real: {
        const double r = m_payload.real;
        if (std::isnan(r))
            return 0;
        if (r >= 9223372036854775807.0)
            return std::numeric_limits<std::int64_t>::max();
        if (r <= -9223372036854775808.0)
            return std::numeric_limits<std::int64_t>::min();
        return static_cast<std::int64_t>(r);
    }
    default: return 0;
    }
}

bool VXValue::toBool() const noexcept
{
    switch (m_type) {
    case Type::Boolean:
    case Type::Integer: return m_payload.integer != 0;
    case Type::Real: return m_payload.real != 0.0;
    default: return false;
    }
}

QString VXValue::toString() const
{
    return stringRef();
}

QByteArray VXValue::toData() const
{
    return dataRef();
}

const QString &VXValue::stringRef() const noexcept
{
    return m_type == Type::String ? m_payload.string->string : emptyString();
}

const QByteArray &VXValue::dataRef() const noexcept
{
    return m_type == Type::Data ? m_payload.data->data : emptyData();
}

bool VXValue::isSameObject(const VXValue &other) const noexcept
{
    if (m_type != other.m_type)
        return false;
    switch (m_type) {
    case Type::Array: return m_payload.array == other.m_payload.array;
    case Type::Dictionary: return m_payload.dictionary == other.m_payload.dictionary;
    default: return *this == other;
    }
}

VXValue VXValue::deepCopy() const
{
    switch (m_type) {
    case Type::Array: {
        if (VXArrayRef shared = m_payload.array->copySharingElements())
            return VXValue(std::move(shared));
        VXArrayRef copy = VXMakeArray();
        copy->reserve(m_payload.array->size());
        for (const VXValue &item : *m_payload.array)
            copy->append(item.deepCopy());
        return VXValue(std::move(copy));
    }
    case Type::Dictionary: {
        return VXValue(
            m_payload.dictionary->copyWith([](const VXDictionary::Entry &entry) { return entry.value.deepCopy(); }));
    }
    default: return *this;
    }
}

bool operator==(const VXValue &a, const VXValue &b)
{
    if (a.m_type != b.m_type)
        return false;
    switch (a.m_type) {
    case VXValue::Type::Null: return true;
    case VXValue::Type::Boolean: return a.m_payload.integer == b.m_payload.integer;
    case VXValue::Type::Integer: return a.m_payload.integer == b.m_payload.integer && a.m_unsigned == b.m_unsigned;
    case VXValue::Type::Real:
    case VXValue::Type::Date: return sameReal(a.m_payload.real, b.m_payload.real);
    case VXValue::Type::String:
        return a.m_payload.string == b.m_payload.string || a.m_payload.string->string == b.m_payload.string->string;
    case VXValue::Type::Data:
        return a.m_payload.data == b.m_payload.data || a.m_payload.data->data == b.m_payload.data->data;
    case VXValue::Type::Array: {
        const VXArray &x = *a.m_payload.array;
        const VXArray &y = *b.m_payload.array;
        if (&x == &y || x.sharesElementsWith(y))
            return true;
        if (x.size() != y.size())
            return false;
        if (x.isPacked() && y.isPacked()) {
            const VXArray::Numbers xs = x.numbers();
            const VXArray::Numbers ys = y.numbers();
            for (std::size_t i = 0; i < xs.size(); ++i) {
                if (!sameReal(xs[i], ys[i]))
                    return false;
            }
            return true;
        }
        return std::equal(x.begin(), x.end(), y.begin());
    }
    case VXValue::Type::Dictionary: {
        const VXDictionary &x = *a.m_payload.dictionary;
        const VXDictionary &y = *b.m_payload.dictionary;
        if (&x == &y)
            return true;
        if (x.size() != y.size())
            return false;
        for (const VXDictionary::Entry &entry : x) {
            const VXValue *other = const_cast<VXDictionary &>(y).valuePointer(entry.key);
            if (!other || !(entry.value == *other))
                return false;
        }
        return true;
    }
    }
    return false;
}

const char *VXValue::typeName(Type type) noexcept
{
    switch (type) {
    case Type::Null: return "null";
    case Type::Boolean: return "boolean";
    case Type::Integer: return "integer";
    case Type::Real: return "real";
    case Type::Date: return "date";
    case Type::String: return "string";
    case Type::Data: return "data";
    case Type::Array: return "array";
    case Type::Dictionary: return "dictionary";
    }
    return "unknown";
}

// ---- VXArray

void VXArray::Buffer::unpack()
{
    if (!packed)
        return;
    std::vector<double> numbers = std::move(reals);
    reals.~vector();
    new (&values) std::vector<VXValue>();
    packed = false;
    values.reserve(numbers.size());
    for (const double number : numbers)
        values.emplace_back(number);
}

bool VXArray::Buffer::isShareable() noexcept
{
    if (packed)
        return true;
    std::uint8_t known = state.load(std::memory_order_relaxed);
    if (known == Unknown) {
        known = std::all_of(values.begin(), values.end(), VXArray::isShareableElement) ? Shareable : NotShareable;
        state.store(known, std::memory_order_relaxed);
    }
    return known == Shareable;
}

// After an element was added.
void VXArray::Buffer::noteAdded(const VXValue &value) noexcept
{
    if (state.load(std::memory_order_relaxed) == Shareable && !VXArray::isShareableElement(value))
        state.store(NotShareable, std::memory_order_relaxed);
}

// After elements were removed: an unshareable one may have gone.
void VXArray::Buffer::noteRemoved() noexcept
{
    if (state.load(std::memory_order_relaxed) == NotShareable)
        state.store(Unknown, std::memory_order_relaxed);
}

void VXArray::Buffer::release() noexcept
{
    if (refs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

void *VXArray::operator new(std::size_t size)
{
    Q_ASSERT(size == sizeof(VXArray));
    return ObjectSlabs<VXArray>::instance().allocate();
}

void VXArray::operator delete(void *object) noexcept
{
    ObjectSlabs<VXArray>::instance().release(object);
}

VXArray::~VXArray()
{
    if (m_buffer)
        m_buffer->release();
}

VXArrayRef VXArray::fromReals(std::vector<double> reals)
{
    VXArrayRef array = VXMakeArray();
    if (!reals.empty())
        array->m_buffer = new Buffer(std::move(reals));
    return array;
}

VXArray::Buffer &VXArray::ownBuffer(std::size_t growth)
{
    ++containerChanges;
    if (!m_buffer) {
        m_buffer = new Buffer;
    } else if (m_buffer->refs.load(std::memory_order_acquire) != 1) {
        // Shared with a copy: this array takes a buffer of its own, the copy keeps the old one.
        auto *own = m_buffer->packed ? new Buffer(std::vector<double>()) : new Buffer;
        own->state.store(m_buffer->state.load(std::memory_order_relaxed), std::memory_order_relaxed);
        if (own->packed) {
            own->reals.reserve(m_buffer->reals.size() + growth);
            own->reals = m_buffer->reals;
        } else {
            own->values.reserve(m_buffer->values.size() + growth);
            own->values = m_buffer->values;
        }
        m_buffer->release();
        m_buffer = own;
    }
    return *m_buffer;
}

std::vector<VXValue> &VXArray::items()
{
    Buffer &buffer = ownBuffer(0);
    buffer.unpack();
    buffer.state.store(Buffer::Unknown, std::memory_order_relaxed);
    return buffer.values;
}

void VXArray::append(VXValue value)
{
    // A log that grows after a save is copied then: with room for the half hour's periods to come
    // (a few hundred numbers on a busy desktop), not for a quarter of ten years more.
    const std::size_t growth = std::min<std::size_t>(size() / 4, 1024) + 1;
    if (value.isReal() && (!m_buffer || m_buffer->packed)) {
        if (!m_buffer)
            m_buffer = new Buffer(std::vector<double>());
        ownBuffer(growth).reals.push_back(value.realValue());
        return;
    }
    Buffer &buffer = ownBuffer(growth);
    buffer.unpack();
    buffer.noteAdded(value);
    buffer.values.push_back(std::move(value));
}

void VXArray::insert(std::size_t index, VXValue value)
{
    Buffer &buffer = ownBuffer(1);
    index = std::min(index, buffer.size());
    if (buffer.packed && value.isReal()) {
        buffer.reals.insert(buffer.reals.begin() + static_cast<std::ptrdiff_t>(index), value.realValue());
        return;
    }
    buffer.unpack();
    buffer.noteAdded(value);
    buffer.values.insert(buffer.values.begin() + static_cast<std::ptrdiff_t>(index), std::move(value));
}

void VXArray::removeAt(std::size_t index)
{
    if (index >= size())
        return;
    Buffer &buffer = ownBuffer(0);
    const auto at = static_cast<std::ptrdiff_t>(index);
    if (buffer.packed) {
        buffer.reals.erase(buffer.reals.begin() + at);
        return;
    }
    buffer.values.erase(buffer.values.begin() + at);
    buffer.noteRemoved();
}

void VXArray::removeLast()
{
    if (!isEmpty())
        truncate(size() - 1);
}

void VXArray::truncate(std::size_t count)
{
    if (count >= size())
        return;
    Buffer &buffer = ownBuffer(0);
    if (buffer.packed) {
        buffer.reals.resize(count);
        return;
    }
    buffer.values.resize(count);
    buffer.noteRemoved();
}

void VXArray::clear() noexcept
{
    ++containerChanges;
    if (m_buffer)
        std::exchange(m_buffer, nullptr)->release();
}

void VXArray::reserve(std::size_t count)
{
    if (count <= size())
        return;
    Buffer &buffer = ownBuffer(count - size());
    if (buffer.packed)
        buffer.reals.reserve(count);
    else
        buffer.values.reserve(count);
}

bool VXArray::isShareableElement(const VXValue &value) noexcept
{
    switch (value.type()) {
    case VXValue::Type::Null:
    case VXValue::Type::Data:   // rare in arrays; not worth telling static bytes apart
    case VXValue::Type::Array:
    case VXValue::Type::Dictionary: return false;
    case VXValue::Type::String: return value.stringRef().data_ptr().isMutable();
    default: return true;
    }
}

void VXArray::markElementsShareable() noexcept
{
    if (m_buffer) {
        Q_ASSERT(m_buffer->packed || std::all_of(m_buffer->values.begin(), m_buffer->values.end(), isShareableElement));
        m_buffer->state.store(Buffer::Shareable, std::memory_order_relaxed);
    }
}

VXArrayRef VXArray::copySharingElements() const
{
    VXArrayRef copy = VXMakeArray();
    if (!m_buffer || m_buffer->size() == 0)
        return copy;
    if (!m_buffer->isShareable())
        return VXArrayRef();
    m_buffer->refs.fetch_add(1, std::memory_order_relaxed);
    copy->m_buffer = m_buffer;
    return copy;
}

std::ptrdiff_t VXArray::indexOfIdentical(const VXValue &value) const noexcept
{
    std::ptrdiff_t index = 0;
    for (const VXValue &item : *this) {
        if (item.isSameObject(value))
            return index;
        ++index;
    }
    return -1;
}

// ---- VXDictionary

namespace {

std::size_t hashKey(const QString &key) noexcept
{
    // A fixed seed keeps behaviour identical from run to run.
    return qHash(key, 0x9e3779b9u);
}

// Lengths first: the keys of a small dictionary mostly differ in length, and a length is read
// from the entry itself, the units only from the text.
bool sameKey(const QString &a, const QString &b) noexcept
{
    const qsizetype length = a.size();
    return length == b.size()
        && (a.constData() == b.constData()
            || std::memcmp(a.constData(), b.constData(), std::size_t(length) * sizeof(QChar)) == 0);
}

}   // namespace

// Open addressing over the entries' indexes, with the hash of each entry's key kept beside it.
// No tombstones: removal shifts the entries after it back.
struct VXDictionary::Table {
    std::vector<std::uint32_t> hashes;   // of each entry's key, parallel to the entries
    std::vector<std::uint32_t> buckets;   // 0 is empty, otherwise entry index + 1; a power of two

    std::size_t mask() const noexcept { return buckets.size() - 1; }

    // The slot of the key's entry, or the empty slot that ends its probe.
    std::size_t slotOf(const std::vector<Entry> &entries, const QString &key, std::size_t hash) const noexcept
    {
        const auto shortHash = static_cast<std::uint32_t>(hash);
        std::size_t slot = hash & mask();
        for (; buckets[slot] != 0; slot = (slot + 1) & mask()) {
            const std::uint32_t index = buckets[slot] - 1;
            if (hashes[index] == shortHash && sameKey(entries[index].key, key))
                break;
        }
        return slot;
    }

    void place(std::uint32_t index) noexcept
    {
        std::size_t slot = hashes[index] & mask();
        while (buckets[slot] != 0)
            slot = (slot + 1) & mask();
        buckets[slot] = index + 1;
    }

    // Room for `capacity` entries at most half full.
    void resize(std::size_t capacity)
    {
        std::size_t size = 8;
        while (size < capacity * 2)
            size *= 2;
        if (size == buckets.size())
            return;
        buckets.assign(size, 0);
        for (std::uint32_t i = 0; i < hashes.size(); ++i)
            place(i);
    }

    // Empties the slot, keeping every probe chain after it unbroken.
    void erase(std::size_t slot) noexcept
    {
        std::size_t hole = slot;
        for (std::size_t next = (hole + 1) & mask(); buckets[next] != 0; next = (next + 1) & mask()) {
            const std::size_t home = hashes[buckets[next] - 1] & mask();
            // Move the entry back when its home slot is not in the cyclic range (hole, next].
            const bool homeInRange = hole <= next ? (home > hole && home <= next) : (home > hole || home <= next);
            if (!homeInRange) {
                buckets[hole] = buckets[next];
                hole = next;
            }
        }
        buckets[hole] = 0;
    }

    // Points the slot of entry `from` at entry `to`, where it is moved.
    void repoint(std::uint32_t from, std::uint32_t to) noexcept
    {
        std::size_t slot = hashes[from] & mask();
        while (buckets[slot] != from + 1)
            slot = (slot + 1) & mask();
        buckets[slot] = to + 1;
        hashes[to] = hashes[from];
    }
};

void *VXDictionary::operator new(std::size_t size)
{
    Q_ASSERT(size == sizeof(VXDictionary));
    return ObjectSlabs<VXDictionary>::instance().allocate();
}

void VXDictionary::operator delete(void *object) noexcept
{
    ObjectSlabs<VXDictionary>::instance().release(object);
}

VXDictionary::VXDictionary() noexcept = default;

VXDictionary::~VXDictionary() = default;

std::ptrdiff_t VXDictionary::find(const QString &key, std::size_t *hash) const noexcept
{
    if (!m_table) {
        const std::size_t count = m_entries.size();
        for (std::size_t i = 0; i < count; ++i) {
            if (sameKey(m_entries[i].key, key))
                return static_cast<std::ptrdiff_t>(i);
        }
        return -1;
    }
    const std::size_t keyHash = hashKey(key);
    if (hash)
        *hash = keyHash;
    const std::uint32_t stored = m_table->buckets[m_table->slotOf(m_entries, key, keyHash)];
    return stored == 0 ? -1 : static_cast<std::ptrdiff_t>(stored - 1);
}

const VXValue &VXDictionary::value(const QString &key) const noexcept
{
    const std::ptrdiff_t index = find(key);
    return index < 0 ? nullValue() : m_entries[static_cast<std::size_t>(index)].value;
}

VXValue *VXDictionary::valuePointer(const QString &key) noexcept
{
    const std::ptrdiff_t index = find(key);
    return index < 0 ? nullptr : &m_entries[static_cast<std::size_t>(index)].value;
}

void VXDictionary::buildTable(std::size_t capacity)
{
    m_table = std::make_unique<Table>();
    m_table->hashes.reserve(std::max(capacity, m_entries.size()));
    for (const Entry &entry : m_entries)
        m_table->hashes.push_back(static_cast<std::uint32_t>(hashKey(entry.key)));
    m_table->resize(std::max(capacity, m_entries.size()));
}

void VXDictionary::copyTableTo(VXDictionary &copy) const
{
    if (m_table)
        copy.m_table = std::make_unique<Table>(*m_table);
}

// A key known to be missing; `hash` is its hash when there is a table.
void VXDictionary::append(VXKey key, VXValue value, std::size_t hash)
{
    m_entries.push_back(Entry {std::move(key), std::move(value)});
    if (!m_table) {
        if (m_entries.size() > kScanLimit)
            buildTable(m_entries.size());
        return;
    }
    m_table->hashes.push_back(static_cast<std::uint32_t>(hash));
    if (m_entries.size() * 2 > m_table->buckets.size())
        m_table->resize(std::max<std::size_t>(m_entries.size(), (m_entries.size() - 1) * 2));
    else
        m_table->place(static_cast<std::uint32_t>(m_entries.size() - 1));
}

void VXDictionary::reserve(std::size_t count)
{
    m_entries.reserve(count);
    if (count <= kScanLimit)
        return;
    if (!m_table) {
        buildTable(count);
        return;
    }
    m_table->hashes.reserve(count);
    if (count * 2 > m_table->buckets.size())
        m_table->resize(count);
}

void VXDictionary::insert(const QString &key, VXValue value)
{
    store(key, nullptr, std::move(value));
}

void VXDictionary::insert(const VXKey &key, VXValue value)
{
    store(key, &key, std::move(value));
}

// A new key takes `shared`'s text when there is one, a text of its own otherwise.
void VXDictionary::store(const QString &key, const VXKey *shared, VXValue value)
{
    if (value.isNull()) {
        remove(key);
        return;
    }
    ++m_changes;
    ++containerChanges;
    std::size_t hash = 0;
    const std::ptrdiff_t index = find(key, &hash);
    if (index >= 0)
        m_entries[static_cast<std::size_t>(index)].value = std::move(value);
    else
        append(shared ? *shared : VXKey(key), std::move(value), hash);
}

void VXDictionary::insertNew(VXKey key, VXValue value)
{
    if (value.isNull())
        return;
    std::size_t hash = 0;
    if (find(key, &hash) >= 0) {
        insert(key, std::move(value));
        return;
    }
    ++m_changes;
    ++containerChanges;
    append(std::move(key), std::move(value), hash);
}

bool VXDictionary::remove(const QString &key)
{
    std::size_t slot = 0;
    std::ptrdiff_t found = -1;
    if (m_table) {
        slot = m_table->slotOf(m_entries, key, hashKey(key));
        found = static_cast<std::ptrdiff_t>(m_table->buckets[slot]) - 1;
    } else {
        found = find(key);
    }
    if (found < 0)
        return false;
    ++m_changes;
    ++containerChanges;

    // The last entry moves into the freed place.
    const auto removed = static_cast<std::uint32_t>(found);
    const auto last = static_cast<std::uint32_t>(m_entries.size() - 1);
    if (m_table) {
        m_table->erase(slot);
        if (removed != last)
            m_table->repoint(last, removed);
        m_table->hashes.pop_back();
    }
    if (removed != last)
        m_entries[removed] = std::move(m_entries[last]);
    m_entries.pop_back();
    if (m_table && m_entries.size() <= kScanLimit / 2)
        m_table.reset();
    return true;
}

void VXDictionary::clear() noexcept
{
    ++m_changes;
    ++containerChanges;
    m_entries.clear();
    m_table.reset();
}

std::vector<std::size_t> VXDictionary::sortedEntryIndexes() const
{
    std::vector<std::size_t> order(m_entries.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [this](std::size_t a, std::size_t b) {
        return VXCompareCodePoints(m_entries[a].key, m_entries[b].key) < 0;
    });
    return order;
}

QString VXTextWithOwnStorage(const QString &text)
{
    QString copy;
    copy.reserve(std::max<qsizetype>(text.size(), 1));
    copy.append(text);
    return copy;
}

int VXCompareCodePoints(const QString &a, const QString &b) noexcept
{
    const QChar *x = a.constData();
    const QChar *y = b.constData();
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t cx = x[i].unicode();
        const char16_t cy = y[i].unicode();
        if (cx == cy)
            continue;
        // In UTF-16, surrogates (U+D800-U+DFFF) stand for code points above U+FFFF, so they
        // must sort after U+E000-U+FFFF: lift them above the rest before comparing.
        auto rank = [](char16_t c) -> std::uint32_t {
            return (c >= 0xD800 && c <= 0xDFFF) ? std::uint32_t(c) + 0x2000
                                                : (c >= 0xE000 ? std::uint32_t(c) - 0x800 : c);
        };
        return rank(cx) < rank(cy) ? -1 : 1;
    }
    return a.size() < b.size() ? -1 : (a.size() > b.size() ? 1 : 0);
}
