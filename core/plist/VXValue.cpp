#include "VXValue.h"

#include "VXContainerChanges.h"

#include <QHashFunctions>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <new>

namespace {

// See VXContainerChangesOnThisThread().
thread_local std::uint64_t containerChanges = 0;

}   // namespace

std::uint64_t VXContainerChangesOnThisThread() noexcept
{
    return containerChanges;
}

namespace vx_detail {

struct VXStringBox final : VXHeapObject {
    explicit VXStringBox(const QString &s) : string(s) { }
    QString string;
};

struct VXDataBox final : VXHeapObject {
    explicit VXDataBox(const QByteArray &d) : data(d) { }
    QByteArray data;
};

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
            m_payload.dictionary->copyWith([](const QString &key) { return key; },
                                           [](const VXDictionary::Entry &entry) { return entry.value.deepCopy(); }));
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

}   // namespace

VXDictionary::~VXDictionary() = default;

std::ptrdiff_t VXDictionary::find(const QString &key) const noexcept
{
    return m_table.empty() ? -1 : find(key, hashKey(key));
}

std::ptrdiff_t VXDictionary::find(const QString &key, std::size_t hash) const noexcept
{
    if (m_table.empty())
        return -1;
    const std::size_t mask = m_table.size() - 1;
    const auto shortHash = static_cast<std::uint32_t>(hash);
    for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
        const std::uint32_t stored = m_table[slot];
        if (stored == 0)
            return -1;
        const std::uint32_t index = stored - 1;
        if (m_hashes[index] == shortHash && m_entries[index].key == key)
            return index;
    }
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

void VXDictionary::placeInTable(std::uint32_t entryIndex, std::size_t hash)
{
    const std::size_t mask = m_table.size() - 1;
    std::size_t slot = hash & mask;
    while (m_table[slot] != 0)
        slot = (slot + 1) & mask;
    m_table[slot] = entryIndex + 1;
}

void VXDictionary::rehash(std::size_t capacity)
{
    std::size_t tableSize = 8;
    while (tableSize < capacity * 2)
        tableSize *= 2;
    if (tableSize == m_table.size())
        return;
    m_table.assign(tableSize, 0);
    const std::size_t mask = tableSize - 1;
    for (std::uint32_t i = 0; i < m_entries.size(); ++i) {
        std::size_t slot = m_hashes[i] & mask;
        while (m_table[slot] != 0)
            slot = (slot + 1) & mask;
        m_table[slot] = i + 1;
    }
}

void VXDictionary::reserve(std::size_t count)
{
    m_entries.reserve(count);
    m_hashes.reserve(count);
    if (count * 2 > m_table.size())
        rehash(count);
}

void VXDictionary::insert(const QString &key, VXValue value)
{
    if (value.isNull()) {
        remove(key);
        return;
    }
    ++m_changes;
    ++containerChanges;
    const std::size_t hash = hashKey(key);
    const std::ptrdiff_t index = find(key, hash);
    if (index >= 0) {
        m_entries[static_cast<std::size_t>(index)].value = std::move(value);
        return;
    }
    if ((m_entries.size() + 1) * 2 > m_table.size())
        rehash(std::max<std::size_t>(m_entries.size() + 1, m_entries.size() * 2));
    const auto newIndex = static_cast<std::uint32_t>(m_entries.size());
    m_entries.push_back(Entry {key, std::move(value)});
    m_hashes.push_back(static_cast<std::uint32_t>(hash));
    placeInTable(newIndex, m_hashes.back());
}

void VXDictionary::insertNew(QString key, VXValue value)
{
    if (value.isNull())
        return;
    const std::size_t hash = hashKey(key);
    if (find(key, hash) >= 0) {
        insert(key, std::move(value));
        return;
    }
    ++m_changes;
    ++containerChanges;
    if ((m_entries.size() + 1) * 2 > m_table.size())
        rehash(std::max<std::size_t>(m_entries.size() + 1, m_entries.size() * 2));
    const auto newIndex = static_cast<std::uint32_t>(m_entries.size());
    m_entries.push_back(Entry {std::move(key), std::move(value)});
    m_hashes.push_back(static_cast<std::uint32_t>(hash));
    placeInTable(newIndex, m_hashes.back());
}

bool VXDictionary::remove(const QString &key)
{
    if (m_table.empty())
        return false;
    const std::size_t hash = hashKey(key);
    const std::size_t mask = m_table.size() - 1;
    const auto shortHash = static_cast<std::uint32_t>(hash);
    std::size_t slot = hash & mask;
    for (;; slot = (slot + 1) & mask) {
        const std::uint32_t stored = m_table[slot];
        if (stored == 0)
            return false;
        if (m_hashes[stored - 1] == shortHash && m_entries[stored - 1].key == key)
            break;
    }
    const std::uint32_t removed = m_table[slot] - 1;
    ++m_changes;
    ++containerChanges;

    // Backward-shift deletion keeps every probe chain unbroken without tombstones.
    std::size_t hole = slot;
    for (std::size_t next = (hole + 1) & mask; m_table[next] != 0; next = (next + 1) & mask) {
        const std::size_t home = m_hashes[m_table[next] - 1] & mask;
        // Move the entry back when its home slot is not in the cyclic range (hole, next].
        const bool homeInRange = hole <= next ? (home > hole && home <= next) : (home > hole || home <= next);
        if (!homeInRange) {
            m_table[hole] = m_table[next];
            hole = next;
        }
    }
    m_table[hole] = 0;

    // Move the last entry into the freed place and repoint its slot.
    const auto lastIndex = static_cast<std::uint32_t>(m_entries.size() - 1);
    if (removed != lastIndex) {
        for (std::size_t s = m_hashes[lastIndex] & mask;; s = (s + 1) & mask) {
            if (m_table[s] == lastIndex + 1) {
                m_table[s] = removed + 1;
                break;
            }
        }
        m_entries[removed] = std::move(m_entries[lastIndex]);
        m_hashes[removed] = m_hashes[lastIndex];
    }
    m_entries.pop_back();
    m_hashes.pop_back();
    return true;
}

void VXDictionary::clear() noexcept
{
    ++m_changes;
    ++containerChanges;
    m_entries.clear();
    m_hashes.clear();
    m_table.clear();
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
