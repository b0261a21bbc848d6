#pragma once

// The property-list value tree that holds Wendle's configuration, its undo states and its
// settings. Dictionaries and arrays are shared, mutable objects: copying a VXValue that holds
// one copies a reference, so the tracker can keep the same window dictionary in two places and
// compare items by identity. Strings, numbers, booleans, dates and data are plain values.
// deepCopy() makes an independent tree.
//
// A VXValue is 16 bytes: a tag and an 8-byte payload, with heap objects counted by reference.

#include <QByteArray>
#include <QString>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

class VXArray;
class VXDictionary;
class VXKey;

namespace vx_detail {

// Common base of everything a VXValue points to. The count is atomic so that a tree built on a
// worker thread (a CSV snapshot) can be handed to the main thread; a tree is never shared by two
// threads at once.
class VXHeapObject
{
public:
    VXHeapObject() = default;
    VXHeapObject(const VXHeapObject &) = delete;
    VXHeapObject &operator=(const VXHeapObject &) = delete;

    void retain() const noexcept { m_refs.fetch_add(1, std::memory_order_relaxed); }
    // Returns true when the caller released the last reference.
    bool release() const noexcept { return m_refs.fetch_sub(1, std::memory_order_acq_rel) == 1; }

protected:
    ~VXHeapObject() = default;

private:
    mutable std::atomic<std::int32_t> m_refs {0};
};

// A text on the heap, counted by reference: a string value's, or a dictionary key's.
struct VXStringBox final : VXHeapObject {
    explicit VXStringBox(QString text) noexcept : string(std::move(text)) { }
    QString string;
};

struct VXDataBox;

const QString &VXEmptyText() noexcept;

}   // namespace vx_detail

// An owning reference to a heap object (an array or a dictionary).
template <class T> class VXRef
{
public:
    VXRef() noexcept = default;
    explicit VXRef(T *object) noexcept : m_ptr(object)
    {
        if (m_ptr)
            m_ptr->retain();
    }
    VXRef(const VXRef &other) noexcept : m_ptr(other.m_ptr)
    {
        if (m_ptr)
            m_ptr->retain();
    }
    VXRef(VXRef &&other) noexcept : m_ptr(std::exchange(other.m_ptr, nullptr)) { }
    ~VXRef() { reset(); }
    VXRef &operator=(VXRef other) noexcept
    {
        std::swap(m_ptr, other.m_ptr);
        return *this;
    }

    void reset() noexcept
    {
        if (m_ptr && m_ptr->release())
            delete m_ptr;
        m_ptr = nullptr;
    }
    T *get() const noexcept { return m_ptr; }
    T *operator->() const noexcept { return m_ptr; }
    T &operator*() const noexcept { return *m_ptr; }
    explicit operator bool() const noexcept { return m_ptr != nullptr; }
    friend bool operator==(const VXRef &a, const VXRef &b) noexcept { return a.m_ptr == b.m_ptr; }

private:
    T *m_ptr = nullptr;
};

using VXArrayRef = VXRef<VXArray>;
using VXDictionaryRef = VXRef<VXDictionary>;

// Makes a new, empty shared container.
VXArrayRef VXMakeArray();
VXDictionaryRef VXMakeDictionary();

class VXValue
{
public:
    enum class Type : std::uint8_t { Null, Boolean, Integer, Real, Date, String, Data, Array, Dictionary };

    // Seconds between 1970-01-01 and 2001-01-01 00:00:00 UTC, the reference date of property-list
    // dates.
    static constexpr double kUnixTimeOf2001 = 978307200.0;

    VXValue() noexcept : m_type(Type::Null) { m_payload.integer = 0; }
    VXValue(bool value) noexcept : m_type(Type::Boolean) { m_payload.integer = value ? 1 : 0; }
    VXValue(int value) noexcept : VXValue(static_cast<long long>(value)) { }
    VXValue(long value) noexcept : VXValue(static_cast<long long>(value)) { }
    VXValue(long long value) noexcept : m_type(Type::Integer) { m_payload.integer = value; }
    VXValue(unsigned value) noexcept : VXValue(static_cast<long long>(value)) { }
    VXValue(unsigned long value) noexcept : VXValue(unsignedInteger(value)) { }
    VXValue(unsigned long long value) noexcept : VXValue(unsignedInteger(value)) { }
    VXValue(double value) noexcept : m_type(Type::Real) { m_payload.real = value; }
    VXValue(const QString &value);
    VXValue(const char *utf8) : VXValue(QString::fromUtf8(utf8)) { }
    VXValue(const QByteArray &value);
    VXValue(VXArrayRef array) noexcept;
    VXValue(VXDictionaryRef dictionary) noexcept;
    // Disallow accidental conversions of pointers to bool.
    VXValue(const void *) = delete;

    static VXValue unsignedInteger(std::uint64_t value) noexcept;
    // A date given as seconds since 2001-01-01 00:00:00 UTC, as the format stores it.
    static VXValue dateSince2001(double seconds) noexcept;
    static VXValue dateFromUnixTime(double seconds) noexcept { return dateSince2001(seconds - kUnixTimeOf2001); }

    VXValue(const VXValue &other) noexcept;
    // Moves and destruction are inline: trees hold millions of numbers, for which they are a
    // few stores and no call.
    VXValue(VXValue &&other) noexcept : m_payload(other.m_payload), m_type(other.m_type), m_unsigned(other.m_unsigned)
    {
        other.m_type = Type::Null;
        other.m_payload.integer = 0;
        other.m_unsigned = false;
    }
    VXValue &operator=(const VXValue &other) noexcept;
    VXValue &operator=(VXValue &&other) noexcept
    {
        if (this != &other) {
            if (holdsObject())
                destroy();
            m_payload = other.m_payload;
            m_type = other.m_type;
            m_unsigned = other.m_unsigned;
            other.m_type = Type::Null;
            other.m_payload.integer = 0;
            other.m_unsigned = false;
        }
        return *this;
    }
    ~VXValue()
    {
        if (holdsObject())
            destroy();
    }

    Type type() const noexcept { return m_type; }
    bool isNull() const noexcept { return m_type == Type::Null; }
    bool isBoolean() const noexcept { return m_type == Type::Boolean; }
    bool isInteger() const noexcept { return m_type == Type::Integer; }
    bool isReal() const noexcept { return m_type == Type::Real; }
    bool isDate() const noexcept { return m_type == Type::Date; }
    bool isString() const noexcept { return m_type == Type::String; }
    bool isData() const noexcept { return m_type == Type::Data; }
    bool isArray() const noexcept { return m_type == Type::Array; }
    bool isDictionary() const noexcept { return m_type == Type::Dictionary; }
    // Booleans, integers and reals are numbers, as they are to the tree's readers.
    bool isNumber() const noexcept
    {
        return m_type == Type::Boolean || m_type == Type::Integer || m_type == Type::Real;
    }
    bool isContainer() const noexcept { return m_type == Type::Array || m_type == Type::Dictionary; }

    // Lenient readers: a value of another type reads as 0, false, an empty string or nothing.
    double toDouble() const noexcept;
    std::int64_t toInteger() const noexcept;   // reals truncate toward zero, clamped to the range
    bool toBool() const noexcept;   // a number that is not zero
    QString toString() const;   // the string, or empty
    QByteArray toData() const;   // the data, or empty

    // Exact access to integers: whether the value is an integer stored as unsigned 64 bits because
    // it exceeds the signed range, and its raw bits.
    bool isUnsignedInteger() const noexcept { return m_type == Type::Integer && m_unsigned; }
    std::int64_t integerBits() const noexcept { return m_payload.integer; }
    double realValue() const noexcept { return m_payload.real; }
    // Dates as seconds since 2001-01-01 UTC, or as Unix time. 0 for a value that is no date.
    double dateSince2001() const noexcept { return m_type == Type::Date ? m_payload.real : 0.0; }
    double dateAsUnixTime() const noexcept { return m_type == Type::Date ? m_payload.real + kUnixTimeOf2001 : 0.0; }

    // The string or data without a copy; an empty one for other types.
    const QString &stringRef() const noexcept;
    const QByteArray &dataRef() const noexcept;

    // The shared container, or null for other types.
    VXArray *array() const noexcept { return m_type == Type::Array ? m_payload.array : nullptr; }
    VXDictionary *dictionary() const noexcept { return m_type == Type::Dictionary ? m_payload.dictionary : nullptr; }
    VXArrayRef arrayRef() const noexcept { return VXArrayRef(array()); }
    VXDictionaryRef dictionaryRef() const noexcept { return VXDictionaryRef(dictionary()); }

    // Identity: true when both hold the same container object (or are equal plain values).
    bool isSameObject(const VXValue &other) const noexcept;

    // An independent copy: containers are copied at every level, plain values shared.
    VXValue deepCopy() const;

    // Deep, type-exact equality. Integers and reals are different types; NaN equals NaN, so a
    // round trip can be compared. Reference cycles are not followed (the tree has none).
    friend bool operator==(const VXValue &a, const VXValue &b);
    friend bool operator!=(const VXValue &a, const VXValue &b) { return !(a == b); }

    static const char *typeName(Type type) noexcept;

private:
    friend class VXKey;   // shares a string's text

    // Strings, data and containers live on the heap; the other types are held in the payload.
    bool holdsObject() const noexcept { return m_type >= Type::String; }
    void destroy() noexcept;
    void copyFrom(const VXValue &other) noexcept;

    union Payload {
        std::int64_t integer;
        double real;
        vx_detail::VXStringBox *string;
        vx_detail::VXDataBox *data;
        VXArray *array;
        VXDictionary *dictionary;
    } m_payload;
    Type m_type;
    bool m_unsigned = false;
};

static_assert(sizeof(VXValue) == 16, "VXValue is meant to stay two words");

// A dictionary's key: a text shared by reference, one word. A ten-year record holds about two
// million keys, nearly all of them the same few names, and the last save's snapshot as many
// again: a QString in every entry (three words) made each entry 40 bytes, a shared text makes it
// 24. A key made of a literal keeps the literal's static text, so that looking it up by that
// literal compares addresses. A snapshot's keys are read on the writer thread while the main
// thread reads the same keys in the live tree: nothing may call QString::utf16() on a key's text
// (over static data it makes a copy in place), which is why the writers read constData().
class VXKey
{
public:
    VXKey() noexcept = default;
    // A key of this text. A literal's text is made once and shared by every key made of it.
    explicit VXKey(const QString &text);
    // A key sharing a string value's text when it is of its own storage (the readers of files
    // give every dictionary that uses a name the same key); an equal text otherwise.
    static VXKey ofValue(const VXValue &string);

    VXKey(const VXKey &other) noexcept : m_box(other.m_box)
    {
        if (m_box)
            m_box->retain();
    }
    VXKey(VXKey &&other) noexcept : m_box(std::exchange(other.m_box, nullptr)) { }
    VXKey &operator=(VXKey other) noexcept
    {
        std::swap(m_box, other.m_box);
        return *this;
    }
    ~VXKey()
    {
        if (m_box && m_box->release())
            delete m_box;
    }

    const QString &text() const noexcept { return m_box ? m_box->string : vx_detail::VXEmptyText(); }
    operator const QString &() const noexcept { return text(); }
    // Whether both keys hold the very same text object (then they are equal without a look).
    bool sharesTextWith(const VXKey &other) const noexcept { return m_box == other.m_box; }
    // Where the shared text object lies (whose count a copy of the key changes), for prefetching.
    const void *textObject() const noexcept { return m_box; }

    friend bool operator==(const VXKey &a, const VXKey &b) noexcept
    {
        return a.m_box == b.m_box || a.text() == b.text();
    }
    friend bool operator==(const VXKey &a, const QString &b) noexcept { return a.text() == b; }

private:
    vx_detail::VXStringBox *m_box = nullptr;
};

static_assert(sizeof(VXKey) == 8, "a key is meant to stay one word");

// An array's elements live in a buffer of their own, counted by reference: a deep copy of an
// array that holds no containers shares its buffer (copy-on-write), so that a snapshot of the
// tree shares every event log with the live tree and a log is copied only when one of the two
// changes it. The array object itself keeps its identity (it is still the one shared, mutable
// array); only its elements' storage is shared with its copies. The buffer's count is atomic: a
// snapshot is read on the writer thread while the main thread goes on with the live tree.
//
// An array whose elements are all reals (every event log: the sampler appends signed
// timestamps) keeps them packed, 8 bytes each instead of a VXValue's 16. Appending a real keeps
// it packed; anything else that changes it (another type appended, items(), operator[]) turns it
// into the ordinary form. Both forms read, compare and write alike, so callers never tell them
// apart except through numbers(), which reads either without a copy.
//
// Every member that may change the elements (append, insert, removeAt, removeLast, truncate,
// clear, reserve, operator[], items()) first gives the array a buffer of its own when it shares
// one; references into the elements stay valid until then. Reading goes through the const
// members (at, last, the iterators, numbers), which never copy.
class VXArray final : public vx_detail::VXHeapObject
{
    struct Buffer;

public:
    // Iterates the elements as VXValues. An ordinary array's are handed out in place; a packed
    // array's real is made in the iterator itself, so a reference to an element lasts until the
    // iterator moves (as in a range-for's body).
    class const_iterator
    {
    public:
        using iterator_category = std::input_iterator_tag;
        using value_type = VXValue;
        using difference_type = std::ptrdiff_t;
        using pointer = const VXValue *;
        using reference = const VXValue &;

        const_iterator() noexcept = default;
        const VXValue &operator*() const noexcept
        {
            if (m_real) {
                m_current = VXValue(*m_real);
                return m_current;
            }
            return *m_value;
        }
        const VXValue *operator->() const noexcept { return &**this; }
        const_iterator &operator++() noexcept
        {
            if (m_real)
                ++m_real;
            else
                ++m_value;
            return *this;
        }
        const_iterator operator++(int) noexcept
        {
            const_iterator before = *this;
            ++*this;
            return before;
        }
        friend bool operator==(const const_iterator &a, const const_iterator &b) noexcept
        {
            return a.m_value == b.m_value && a.m_real == b.m_real;
        }

    private:
        friend class VXArray;
        const_iterator(const VXValue *value, const double *real) noexcept : m_value(value), m_real(real) { }

        const VXValue *m_value = nullptr;
        const double *m_real = nullptr;
        mutable VXValue m_current;
    };

    // The elements read as numbers (VXValue::toDouble) by index, without a copy of either form:
    // for the readers of event logs.
    class Numbers
    {
    public:
        std::size_t size() const noexcept { return m_size; }
        double operator[](std::size_t index) const noexcept
        {
            return m_reals ? m_reals[index] : m_values[index].toDouble();
        }
        // The packed reals themselves, or null for the ordinary form.
        const double *reals() const noexcept { return m_reals; }

    private:
        friend class VXArray;
        Numbers(const VXValue *values, const double *reals, std::size_t size) noexcept :
            m_values(values), m_reals(reals), m_size(size)
        {
        }

        const VXValue *m_values;
        const double *m_reals;
        std::size_t m_size;
    };

    VXArray() noexcept = default;
    ~VXArray();

    // Array and dictionary objects come from slabs of their own size (a tree and its snapshot
    // hold hundreds of thousands, which the allocator would round up to a larger chunk each).
    static void *operator new(std::size_t size);
    static void operator delete(void *object) noexcept;

    // A new array holding these reals, packed.
    static VXArrayRef fromReals(std::vector<double> reals);

    std::size_t size() const noexcept;
    bool isEmpty() const noexcept { return size() == 0; }
    // Whether the elements are held as 8-byte reals.
    bool isPacked() const noexcept;
    // Out-of-range indexes read as null.
    VXValue at(std::size_t index) const noexcept;
    VXValue last() const noexcept { return at(size() - 1); }
    // The element in place, without a copy (no count taken), for the lists of containers and texts
    // walked on every tick or save. Such a list is never packed: a packed array's reals are no
    // VXValues, and read as null here (read those through at() or numbers()).
    const VXValue &objectAt(std::size_t index) const noexcept;
    Numbers numbers() const noexcept;
    VXValue &operator[](std::size_t index) { return items()[index]; }

    void append(VXValue value);
    void insert(std::size_t index, VXValue value);
    void removeAt(std::size_t index);
    void removeLast();
    // Keeps the first `count` elements.
    void truncate(std::size_t count);
    void clear() noexcept;
    void reserve(std::size_t count);
    // The index of the first element that is the same object, or -1.
    std::ptrdiff_t indexOfIdentical(const VXValue &value) const noexcept;

    // Reading never copies a shared buffer; changing the elements in place goes through items().
    const_iterator begin() const noexcept;
    const_iterator end() const noexcept;
    // The elements, to change in place: the array's own buffer, in the ordinary form, from now on.
    std::vector<VXValue> &items();

    // A new array with the same elements, sharing this one's buffer when every element may be
    // shared (numbers, dates, and texts of their own storage; no containers, no data); null
    // when they may not, and the caller copies them.
    VXArrayRef copySharingElements() const;
    // Whether the two arrays hold their elements in the same buffer (a copy that neither
    // changed since).
    bool sharesElementsWith(const VXArray &other) const noexcept { return m_buffer && m_buffer == other.m_buffer; }
    // Whether an element may be shared with a copy: a number, a date, or a text of its own storage
    // (not one over static data, which a reader on another thread would change in place when it
    // asks for its terminated form); not a container, data or null.
    static bool isShareableElement(const VXValue &value) noexcept;
    // For a reader that filled items() with elements that are all shareable, and knows it: tells
    // the buffer so, so that copySharingElements() need not look at every element again.
    void markElementsShareable() noexcept;

private:
    // The array's buffer, its own (copied when shared, with room for `growth` more elements).
    Buffer &ownBuffer(std::size_t growth);

    Buffer *m_buffer = nullptr;   // null while empty and never written
};

// The storage of an array's elements: VXValues, or reals alone (packed).
struct VXArray::Buffer {
    // Whether every element may be shared with a copy (no container, no null, no data, no text over
    // static data, which a reader on another thread would change in place when it asks for its
    // terminated form). Known after an append to a buffer that was known; Unknown after a write
    // in place, until a copy looks. Reals always may.
    enum State : std::uint8_t { Unknown, Shareable, NotShareable };

    Buffer() noexcept : values() { }
    explicit Buffer(std::vector<double> numbers) noexcept : packed(true), reals(std::move(numbers)) { }
    Buffer(const Buffer &) = delete;
    Buffer &operator=(const Buffer &) = delete;
    ~Buffer()
    {
        if (packed)
            reals.~vector();
        else
            values.~vector();
    }

    std::size_t size() const noexcept { return packed ? reals.size() : values.size(); }
    // Turns the reals into VXValues.
    void unpack();
    bool isShareable() noexcept;
    void noteAdded(const VXValue &value) noexcept;
    void noteRemoved() noexcept;
    void release() noexcept;

    std::atomic<std::int32_t> refs {1};
    std::atomic<std::uint8_t> state {Shareable};
    bool packed = false;
    union {
        std::vector<VXValue> values;
        std::vector<double> reals;
    };
};

inline std::size_t VXArray::size() const noexcept
{
    return m_buffer ? m_buffer->size() : 0;
}

inline bool VXArray::isPacked() const noexcept
{
    return m_buffer && m_buffer->packed;
}

inline VXValue VXArray::at(std::size_t index) const noexcept
{
    if (index >= size())
        return VXValue();
    if (m_buffer->packed)
        return VXValue(m_buffer->reals[index]);
    return m_buffer->values[index];
}

inline const VXValue &VXArray::objectAt(std::size_t index) const noexcept
{
    static const VXValue null;
    return m_buffer && !m_buffer->packed && index < m_buffer->values.size() ? m_buffer->values[index] : null;
}

inline VXArray::Numbers VXArray::numbers() const noexcept
{
    if (!m_buffer)
        return Numbers(nullptr, nullptr, 0);
    if (m_buffer->packed)
        return Numbers(nullptr, m_buffer->reals.data(), m_buffer->reals.size());
    return Numbers(m_buffer->values.data(), nullptr, m_buffer->values.size());
}

inline VXArray::const_iterator VXArray::begin() const noexcept
{
    if (!m_buffer)
        return const_iterator();
    if (m_buffer->packed)
        return const_iterator(nullptr, m_buffer->reals.data());
    return const_iterator(m_buffer->values.data(), nullptr);
}

inline VXArray::const_iterator VXArray::end() const noexcept
{
    if (!m_buffer)
        return const_iterator();
    if (m_buffer->packed)
        return const_iterator(nullptr, m_buffer->reals.data() + m_buffer->reals.size());
    return const_iterator(m_buffer->values.data() + m_buffer->values.size(), nullptr);
}

// A dictionary keyed by strings. Iteration order is the insertion order, except that removing a
// key moves the last entry into its place; writers sort keys themselves.
//
// Most dictionaries of a record are small (a window's holds nine entries), and a tree and its
// snapshot hold hundreds of thousands of them: a small one keeps no hash table and finds a key by
// scanning its entries, lengths first, which hashes no key at all. A dictionary that grows past
// kScanLimit entries builds a table of hashes and keeps it until removals bring it down to half
// of that again (so that a size going back and forth over the limit does not rebuild it each time).
class VXDictionary final : public vx_detail::VXHeapObject
{
public:
    struct Entry {
        VXKey key;
        VXValue value;
    };
    using const_iterator = std::vector<Entry>::const_iterator;

    // The most entries a dictionary holds without a hash table.
    static constexpr std::size_t kScanLimit = 12;

    VXDictionary() noexcept;
    ~VXDictionary();

    // From slabs, as arrays.
    static void *operator new(std::size_t size);
    static void operator delete(void *object) noexcept;

    std::size_t size() const noexcept { return m_entries.size(); }
    bool isEmpty() const noexcept { return m_entries.empty(); }
    bool contains(const QString &key) const noexcept { return find(key) >= 0; }
    // The key's place in entries(), or -1 when it is missing.
    std::ptrdiff_t indexOf(const QString &key) const noexcept { return find(key); }
    // The value for the key, or null when it is missing.
    const VXValue &value(const QString &key) const noexcept;
    // A pointer to the stored value, or null when it is missing.
    VXValue *valuePointer(const QString &key) noexcept;
    // Stores the value; storing a null value removes the key.
    void insert(const QString &key, VXValue value);
    // The same, keeping this key's text (shared, not copied) when the key is new.
    void insert(const VXKey &key, VXValue value);
    // Appends an entry whose key the caller knows to be new (readers of files that were checked
    // for duplicate keys); falls back to insert when it is not.
    void insertNew(VXKey key, VXValue value);
    void insertNew(const QString &key, VXValue value) { insertNew(VXKey(key), std::move(value)); }
    bool remove(const QString &key);
    void clear() noexcept;
    void reserve(std::size_t count);

    const_iterator begin() const noexcept { return m_entries.begin(); }
    const_iterator end() const noexcept { return m_entries.end(); }
    const std::vector<Entry> &entries() const noexcept { return m_entries; }
    // Values may be changed in place through this; keys may not.
    VXValue &valueAt(std::size_t index) noexcept { return m_entries[index].value; }
    // The keys in code-point order, as writers emit them.
    std::vector<std::size_t> sortedEntryIndexes() const;
    // A new dictionary with this one's keys (shared, not copied) in this order, and
    // valueOf(entry) as each one's value (never null). A hash table is copied, not rebuilt: a copy
    // costs no key hashed or looked up.
    template <class ValueOf> VXDictionaryRef copyWith(ValueOf &&valueOf) const
    {
        VXDictionaryRef copy = VXMakeDictionary();
        copy->m_entries.reserve(m_entries.size());
        for (const Entry &entry : m_entries)
            copy->m_entries.push_back(Entry {entry.key, valueOf(entry)});
        copyTableTo(*copy);
        copy->m_changes = static_cast<std::uint32_t>(m_entries.size());   // as many as entries made
        return copy;
    }
    // Counts the calls that stored, replaced or removed an entry (insert, insertNew, remove,
    // clear), so that a reader can tell cheaply that the table is the one it last saw. Changes
    // made in place through valueAt() or valuePointer() are not counted.
    std::uint32_t changeCount() const noexcept { return m_changes; }
    // Whether lookups go through a hash table (for tests and the memory census).
    bool hasHashTable() const noexcept { return m_table != nullptr; }

private:
    struct Table;

    // The key's index or -1; *hash is the key's hash when the dictionary has a table.
    std::ptrdiff_t find(const QString &key, std::size_t *hash = nullptr) const noexcept;
    void store(const QString &key, const VXKey *shared, VXValue value);
    void append(VXKey key, VXValue value, std::size_t hash);
    void buildTable(std::size_t capacity);
    void copyTableTo(VXDictionary &copy) const;

    std::uint32_t m_changes = 0;   // fits beside the reference count
    std::vector<Entry> m_entries;
    // The hash table, only for more than kScanLimit entries; null below.
    std::unique_ptr<Table> m_table;
};

// A copy of the text in storage of its own. A QString over static data (a literal) copies itself
// to the heap the first time its terminated form is asked for, so one that another thread reads
// at the same time must be such a copy from the start.
QString VXTextWithOwnStorage(const QString &text);

// Compares two strings by Unicode code point (not by UTF-16 unit), the order in which
// property-list writers emit dictionary keys.
int VXCompareCodePoints(const QString &a, const QString &b) noexcept;
