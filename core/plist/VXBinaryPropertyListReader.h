#pragma once

#include "VXValue.h"

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringView>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <vector>

// Reads the binary property-list format "bplist00": every object type (null and fill are
// refused, since a tree cannot hold them; sets read as arrays, UIDs as {"CF$UID": n}), integers of
// 1 to 16 bytes, offsets and references of 1 to 8 bytes. A container referenced from several
// places becomes one shared object, as it was when written.
//
// Damaged or hostile data gives a null value and one log line: every offset, count and length is
// checked against the data, references may not form a cycle, nesting is bounded, nothing is
// allocated beyond a small multiple of the input's size, and the tree, counting shared objects as
// often as they are reached, is no more than 8 times the input's size (so that whatever walks it
// stays bounded too).
class VXBinaryPropertyListReader
{
public:
    // The tree. With `twin`, also the tree's twin, made as each container is decoded: a copy
    // that shares nothing the tree could change (every container copied once, one copy for one
    // that the tree holds in two places) but the texts and the elements of arrays that hold no
    // containers (event logs), which their copy-on-write buffers share. It is what
    // VXTreeSnapshot makes of the tree with no earlier snapshot, without a second pass over a
    // tree of hundreds of megabytes. The twin is null when the tree is, and when the data holds
    // equal keys in a dictionary (it is then the caller's to make).
    static VXValue read(const QByteArray &data, VXValue *twin = nullptr);
    static bool hasBinaryMagic(const QByteArray &data);
};

// The same format read object by object over data that stays where it is (a mapped file): the
// parts a caller asks for, without decoding the rest into a tree. Every object it reads gets the
// checks of the full reader above; damage in what it reads makes it damaged (one log line) and
// every later answer empty, and it never reads outside the data. Damage in parts it never reads
// goes unnoticed.
class VXBinaryPropertyListView
{
public:
    // An object of the data, `depth` levels below the root (the nesting bound counts from there).
    struct Object {
        std::uint64_t index = ~std::uint64_t(0);
        int depth = 0;
        bool isNull() const { return index == ~std::uint64_t(0); }
    };
    enum class Kind : std::uint8_t { None, Array, Dictionary };
    // A container, read once for walking its entries: arrays and sets have `count` items,
    // dictionaries `count` keys and as many values. Kind::None for any other object.
    struct Container {
        Kind kind = Kind::None;
        std::uint64_t count = 0;
        const std::uint8_t *references = nullptr;
        int depth = 0;
    };

    // Refers to `data`, which must outlive the view.
    explicit VXBinaryPropertyListView(const QByteArray &data);
    // Another view over the same data, sharing no state with this one: a view is read by one
    // thread at a time, and the data by any number of views. Damage it meets makes it damaged
    // but is not logged, so that the view it was made from, reading the same part, reports it
    // once, as it would have on its own.
    std::unique_ptr<VXBinaryPropertyListView> quietSibling() const;
    ~VXBinaryPropertyListView();
    VXBinaryPropertyListView(const VXBinaryPropertyListView &) = delete;
    VXBinaryPropertyListView &operator=(const VXBinaryPropertyListView &) = delete;

    bool isDamaged() const;
    Object root() const;
    Container container(Object object);
    Object itemAt(const Container &array, std::uint64_t i);
    Object valueAt(const Container &dictionary, std::uint64_t i);
    // The value of the key (the last one of equal keys, as the tree keeps it); null when there is
    // none or the object is no dictionary.
    Object valueForKey(const Container &dictionary, QStringView key);
    Object valueForKey(Object dictionary, QStringView key);
    // Keys asked of many dictionaries in turn (each item of a walk): the view remembers which key
    // object of the data is which of them, so that it reads each key object's text once.
    class Keys
    {
    public:
        Keys(std::initializer_list<QStringView> keys);
        Keys(const Keys &) = delete;
        Keys &operator=(const Keys &) = delete;
        std::size_t size() const { return m_views.size(); }

    private:
        friend class VXBinaryPropertyListView;
        std::vector<QString> m_keys;
        std::vector<QStringView> m_views;
        std::uint64_t m_serial = 0;   // tells the view's memo which Keys it is of
    };
    // The values of the keys in one pass over the dictionary's keys, as valueForKey() finds
    // each: into `values` (keys.size() of them), null for a key that is missing.
    void valuesForKeys(const Container &dictionary, const Keys &keys, Object *values);
    // The i-th item of an array as a number, as VXValue::toDouble() answers it.
    double numberAt(const Container &array, std::uint64_t i);
    // Items `first` to `first + count` (or the array's end) as numbers into `out`, as numberAt()
    // reads them; answers how many were read.
    std::size_t numbersAt(const Container &array, std::uint64_t first, std::size_t count, double *out);
    // The object decoded into a tree, with the entries of `skippedKeys` left out of every
    // dictionary in it; null when it is damaged.
    VXValue value(Object object, const QSet<QString> &skippedKeys = {});

private:
    struct Impl;
    VXBinaryPropertyListView(const QByteArray &data, bool quiet);
    Object childAt(const Container &container, std::uint64_t reference);
    void findKeys(const Container &dictionary, const QStringView *keys, std::size_t count, Object *values,
                  bool remembered);

    const QByteArray &m_data;
    std::unique_ptr<Impl> m_reader;
};
