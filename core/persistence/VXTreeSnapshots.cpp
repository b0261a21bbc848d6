#include "VXTreeSnapshots.h"

#include <QHash>
#include <QString>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <utility>
#include <vector>

namespace {

const void *containerOf(const VXValue &value)
{
    if (const VXArray *array = value.array())
        return array;
    return value.dictionary();
}

const VXValue &nullValue()
{
    static const VXValue null;
    return null;
}

// A list or table of thousands of items taken over from an earlier snapshot takes a count on
// every item, and the items lie all over the heap: asked for a few places ahead, their counts
// are fetched from memory side by side instead of one after the other.
constexpr std::size_t kPrefetchDistance = 16;

void prefetchCount(const VXValue &value)
{
    if (const void *container = containerOf(value))
        __builtin_prefetch(container, 1);
}

// A key's copy counts its shared text.
void prefetchKey(const VXKey &key)
{
    __builtin_prefetch(key.textObject(), 1);
}

// Before entries[index] is copied: the key and value a few entries ahead.
void prefetchAhead(const std::vector<VXDictionary::Entry> &entries, std::size_t index)
{
    if (index + kPrefetchDistance < entries.size()) {
        prefetchKey(entries[index + kPrefetchDistance].key);
        prefetchCount(entries[index + kPrefetchDistance].value);
    }
}

// The same plain value, bit for bit where it matters (0.0 and -0.0 differ, as in a file). The
// event logs are millions of reals: they are compared here without a call.
bool samePlainValue(const VXValue &a, const VXValue &b)
{
    if (a.type() != b.type())
        return false;
    if (a.isReal())
        return std::bit_cast<std::uint64_t>(a.realValue()) == std::bit_cast<std::uint64_t>(b.realValue());
    return a == b;
}

VXValue valueOfContainer(const void *container, bool isArray)
{
    return isArray ? VXValue(VXArrayRef(static_cast<VXArray *>(const_cast<void *>(container))))
                   : VXValue(VXDictionaryRef(static_cast<VXDictionary *>(const_cast<void *>(container))));
}

// Text that another thread may read while this one goes on. A QString over static data (a
// literal) copies itself to the heap the first time its terminated form is asked for (utf16());
// in a snapshot every such value is a heap copy to begin with, so that no reader on the writer
// thread can change what the main thread reads. Copies are made once per text.
// (Keys need none: a key's text is shared, never copied, and read with constData(), never
// utf16(), by the writers.)
class ThreadSafeTexts
{
public:
    VXValue value(const VXValue &value)
    {
        if (!value.isString() || value.stringRef().data_ptr().isMutable())
            return value;
        auto found = m_copies.find(value.stringRef());
        if (found == m_copies.end())
            found = m_copies.insert(value.stringRef(), VXValue(VXTextWithOwnStorage(value.stringRef())));
        return *found;
    }

private:
    QHash<QString, VXValue> m_copies;
};

// One snapshot in the making. Each live container becomes one snapshot container, and an
// earlier snapshot's container is reused for at most one live container, so that two live
// containers that merely look alike never become one. Every container made here ends up in
// the result (a new container's parent is new too), so the table's addresses stay valid.
class Freezer
{
    // Two arrays of plain values with the same elements.
    static bool sameElements(const VXArray &a, const VXArray &b)
    {
        return a.size() == b.size()
            && std::equal(a.begin(), a.end(), b.begin(),
                          [](const VXValue &x, const VXValue &y) { return samePlainValue(x, y); });
    }

public:
    Freezer(std::size_t expectedContainers, const VXSettledParts &settled) :
        m_map(expectedContainers * 2), m_settled(settled)
    {
    }

    bool failed() const { return m_failed; }

    VXValue freeze(const VXValue &live, const VXValue &previous, const VXDictionary *holder = nullptr)
    {
        const void *key = containerOf(live);
        if (!key) {
            if (live.isNull())
                m_failed = true;
            return live;
        }
        const bool isArray = live.isArray();
        if (const void *frozen = m_map.find(key))
            return valueOfContainer(frozen, isArray);
        VXValue frozen;
        if (m_settled) {
            const VXSettledPart part = m_settled(live, holder);
            const void *same = containerOf(part.same);
            // The earlier container, unless another live container took it already.
            if (same && part.same.type() == live.type() && !m_map.find(same)) {
                if (!part.partial)
                    frozen = part.same;
                else if (isArray)
                    frozen = freezeListFrom(*live.array(), part);
                else
                    frozen = freezeTableFrom(*live.dictionary(), part);
            }
        }
        if (!containerOf(frozen)) {
            const VXValue *candidate = previous.type() == live.type() ? &previous : nullptr;
            if (candidate) {
                const void *claimant = m_map.find(containerOf(*candidate));
                if (claimant && claimant != key)
                    candidate = nullptr;
            }
            frozen = isArray ? freezeArray(*live.array(), candidate) : freezeDictionary(*live.dictionary(), candidate);
        }
        m_map.insert(key, containerOf(frozen));
        m_map.insert(containerOf(frozen), key);
        return frozen;
    }

private:
    // A table of items from the earlier one: its entries where nothing changed (the hash table
    // copied, not rebuilt), the changed items compared anew, the added ones frozen and added.
    // The changed items are frozen first: when they all come out as the earlier ones, the
    // earlier table is the answer and nothing is copied.
    VXValue freezeTableFrom(const VXDictionary &live, const VXSettledPart &part)
    {
        const VXDictionary &earlier = *part.same.dictionary();
        bool same = live.size() == earlier.size();
        std::vector<VXValue> changed;
        changed.reserve(part.changed.size());
        for (const std::size_t index : part.changed) {
            const VXValue &value = live.entries()[index].value;
            const VXValue &before = earlier.entries()[index].value;
            if (value.isNull())
                m_failed = true;
            changed.push_back(value.isContainer() ? freeze(value, before, &live) : m_texts.value(value));
            same = same
                && (value.isContainer() ? changed.back().isSameObject(before) : samePlainValue(changed.back(), before));
        }
        if (same)
            return part.same;
        const std::vector<VXDictionary::Entry> &entries = earlier.entries();
        VXDictionaryRef copy = earlier.copyWith([&entries](const VXDictionary::Entry &entry) {
            prefetchAhead(entries, std::size_t(&entry - entries.data()));
            return entry.value;
        });
        for (std::size_t i = 0; i < changed.size(); ++i)
            copy->valueAt(part.changed[i]) = std::move(changed[i]);
        for (std::size_t index = earlier.size(); index < live.size(); ++index) {
            const VXDictionary::Entry &entry = live.entries()[index];
            if (entry.value.isNull())
                m_failed = true;
            copy->insert(entry.key,
                         entry.value.isContainer() ? freeze(entry.value, VXValue(), &live)
                                                   : m_texts.value(entry.value));
        }
        return VXValue(std::move(copy));
    }

    // A list of items from the earlier one's elements, in the live order. The elements compared
    // anew are frozen first: a list that comes out as the earlier one is not copied.
    VXValue freezeListFrom(const VXArray &live, const VXSettledPart &part)
    {
        const VXArray &earlier = *part.same.array();
        std::vector<bool> isChanged(live.size());
        for (const std::size_t index : part.changed)
            isChanged[index] = true;
        bool same = live.size() == earlier.size();
        std::vector<VXValue> changed;
        for (std::size_t i = 0; i < live.size(); ++i) {
            const std::ptrdiff_t from = part.from[i];
            same = same && from == std::ptrdiff_t(i);
            if (from >= 0 && !isChanged[i])
                continue;
            const VXValue &before = from >= 0 ? earlier.objectAt(std::size_t(from)) : nullValue();
            changed.push_back(freeze(live.objectAt(i), before));
            same = same && changed.back().isSameObject(before);
        }
        if (same)
            return part.same;
        // (The earlier list holds containers, never packed reals: its elements are read in place.)
        const VXValue *before = earlier.isEmpty() || earlier.isPacked() ? nullptr : &earlier.objectAt(0);
        const std::size_t count = live.size();
        VXArrayRef copy = VXMakeArray();
        std::vector<VXValue> &items = copy->items();
        items.reserve(count);
        std::size_t next = 0;
        for (std::size_t i = 0; i < count; ++i) {
            // The earlier element's place a few steps ahead, then the count it names.
            if (before && i + 2 * kPrefetchDistance < count && part.from[i + 2 * kPrefetchDistance] >= 0)
                __builtin_prefetch(&before[part.from[i + 2 * kPrefetchDistance]]);
            if (before && i + kPrefetchDistance < count && part.from[i + kPrefetchDistance] >= 0)
                prefetchCount(before[part.from[i + kPrefetchDistance]]);
            const std::ptrdiff_t from = part.from[i];
            if (from >= 0 && !isChanged[i])
                items.push_back(before ? before[from] : nullValue());
            else
                items.push_back(std::move(changed[next++]));
        }
        return VXValue(std::move(copy));
    }

    VXValue freezeArray(const VXArray &live, const VXValue *previous)
    {
        const VXArray *earlier = previous ? previous->array() : nullptr;
        // An event log shares its elements with the live tree: unchanged since the earlier
        // snapshot, it is that snapshot's array; changed, a new array over the live elements.
        if (earlier && live.sharesElementsWith(*earlier))
            return *previous;
        if (VXArrayRef shared = live.copySharingElements()) {
            if (earlier && sameElements(live, *earlier))
                return *previous;
            return VXValue(std::move(shared));
        }
        const std::size_t count = live.size();
        const std::size_t earlierCount = earlier ? earlier->size() : 0;
        bool same = earlier && earlierCount == count;
        // Containers are frozen (they must be visited in any case) onto the shared stack; plain
        // values are only compared.
        const std::size_t mark = m_stack.size();
        for (std::size_t i = 0; i < count; ++i) {
            const VXValue &value = live.objectAt(i);
            const VXValue &before = i < earlierCount ? earlier->objectAt(i) : nullValue();
            if (value.isContainer()) {
                VXValue frozen = freeze(value, before);
                same = same && frozen.isSameObject(before);
                m_stack.push_back(std::move(frozen));
            } else if (same) {
                same = samePlainValue(value, before);
            } else if (value.isNull()) {
                m_failed = true;
            }
        }
        if (same) {
            m_stack.resize(mark);
            return *previous;
        }
        VXArrayRef copy = VXMakeArray();
        copy->reserve(count);
        std::size_t next = mark;
        for (const VXValue &value : live) {
            if (value.isNull())
                m_failed = true;
            copy->append(value.isContainer() ? std::move(m_stack[next++]) : m_texts.value(value));
        }
        m_stack.resize(mark);
        return VXValue(std::move(copy));
    }

    VXValue freezeDictionary(const VXDictionary &live, const VXValue *previous)
    {
        const VXDictionary *earlier = previous ? previous->dictionary() : nullptr;
        bool same = earlier && earlier->size() == live.size();
        const std::size_t mark = m_stack.size();
        std::size_t index = 0;
        for (const VXDictionary::Entry &entry : live) {
            // A snapshot keeps the live order, so the same key is usually at the same place; one
            // in another order is not the same (a table taken from it later relies on the places).
            const VXValue *before = &nullValue();
            if (earlier) {
                if (index < earlier->size() && earlier->entries()[index].key == entry.key) {
                    before = &earlier->entries()[index].value;
                } else {
                    before = &earlier->value(entry.key);
                    same = false;
                }
            }
            ++index;
            if (entry.value.isContainer()) {
                VXValue frozen = freeze(entry.value, *before, &live);
                same = same && frozen.isSameObject(*before);
                m_stack.push_back(std::move(frozen));
            } else {
                if (entry.value.isNull())
                    m_failed = true;
                // Equal sizes and every key at its place with an equal value: the same dictionary.
                same = same && samePlainValue(entry.value, *before);
            }
        }
        if (same) {
            m_stack.resize(mark);
            return *previous;
        }
        std::size_t next = mark;
        VXDictionaryRef copy = live.copyWith([&](const VXDictionary::Entry &entry) {
            return entry.value.isContainer() ? std::move(m_stack[next++]) : m_texts.value(entry.value);
        });
        m_stack.resize(mark);
        return VXValue(std::move(copy));
    }

    // A live container to its snapshot, and a snapshot container to the live one that took it
    // (a container is never both).
    VXAddressMap m_map;
    const VXSettledParts &m_settled;
    std::vector<VXValue> m_stack;
    ThreadSafeTexts m_texts;
    bool m_failed = false;
};

class Thawer
{
public:
    explicit Thawer(std::size_t expectedContainers) : m_map(expectedContainers) { }

    VXValue thaw(const VXValue &frozen)
    {
        const void *key = containerOf(frozen);
        if (!key)
            return frozen;
        if (const void *copied = m_map.find(key))
            return valueOfContainer(copied, frozen.isArray());
        VXValue copy;
        if (const VXArray *array = frozen.array()) {
            VXArrayRef result = array->copySharingElements();
            if (!result) {
                result = VXMakeArray();
                result->reserve(array->size());
                for (const VXValue &item : *array)
                    result->append(item.isContainer() ? thaw(item) : item);
            }
            copy = VXValue(std::move(result));
        } else {
            copy = VXValue(frozen.dictionary()->copyWith([this](const VXDictionary::Entry &entry) {
                return entry.value.isContainer() ? thaw(entry.value) : entry.value;
            }));
        }
        m_map.insert(key, containerOf(copy));
        return copy;
    }

protected:
    VXAddressMap m_map;
};

// A mutable tree equal to a snapshot `state`, made from the live tree that `current` is a
// snapshot of: where `current` holds `state`'s own container, the live container there equals it
// and is kept; only the others are copied from `state`. The live and current trees are walked
// side by side (`current` has the live tree's shape, place for place), and only where they
// differ from `state`.
class Restorer : public Thawer
{
public:
    using Thawer::Thawer;

    VXValue restore(const VXValue &live, const VXValue &current, const VXValue &state)
    {
        const void *key = containerOf(state);
        if (!key)
            return state;
        if (const void *restored = m_map.find(key))
            return valueOfContainer(restored, state.isArray());
        if (current.isSameObject(state) && live.type() == state.type()) {
            m_map.insert(key, containerOf(live));
            return live;
        }
        const VXDictionary *dictionary = state.dictionary();
        const VXDictionary *liveDictionary = live.dictionary();
        const VXDictionary *currentDictionary = current.dictionary();
        // Only a table of containers is worth the walk; an array (an event log, a list) is copied.
        if (!dictionary || !liveDictionary || !currentDictionary)
            return thaw(state);
        // (The same key is usually at the same place: a window table costs no lookup.)
        const auto at = [&](const VXDictionary &other, const VXDictionary::Entry &entry) -> const VXValue & {
            const std::size_t index = std::size_t(&entry - dictionary->entries().data());
            return index < other.size() && other.entries()[index].key == entry.key ? other.entries()[index].value
                                                                                   : other.value(entry.key);
        };
        VXValue copy(dictionary->copyWith([&](const VXDictionary::Entry &entry) {
            if (!entry.value.isContainer())
                return entry.value;
            return restore(at(*liveDictionary, entry), at(*currentDictionary, entry), entry.value);
        }));
        m_map.insert(key, containerOf(copy));
        return copy;
    }
};

}   // namespace

VXDictionaryRef VXTreeSnapshot(const VXDictionaryRef &live, const VXDictionaryRef &previous,
                               const VXSettledParts &settled)
{
    if (!live)
        return VXDictionaryRef();
    // Told what settled, a snapshot visits few containers.
    Freezer freezer(settled ? 1 << 10 : 1 << 16, settled);
    VXValue frozen = freezer.freeze(VXValue(live), previous ? VXValue(previous) : VXValue());
    return freezer.failed() ? VXDictionaryRef() : frozen.dictionaryRef();
}

VXDictionaryRef VXMutableCopyOfSnapshot(const VXDictionaryRef &snapshot)
{
    if (!snapshot)
        return VXDictionaryRef();
    Thawer thawer(1 << 16);
    return thawer.thaw(VXValue(snapshot)).dictionaryRef();
}

VXDictionaryRef VXRestoredTree(const VXDictionaryRef &live, const VXDictionaryRef &current,
                               const VXDictionaryRef &state)
{
    if (!state)
        return VXDictionaryRef();
    if (!live || !current)
        return VXMutableCopyOfSnapshot(state);
    Restorer restorer(1 << 10);
    return restorer.restore(VXValue(live), VXValue(current), VXValue(state)).dictionaryRef();
}
