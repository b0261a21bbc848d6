// The twin the binary reader makes as it decodes, against the snapshot VXTreeSnapshot takes of the
// same tree afterwards (what the store used to keep as the loaded record): equal to it, made of
// containers of its own that pair one to one with the tree's (one for a container the tree holds
// in two places), sharing the event logs' elements and the texts as the snapshot does, and left
// as it was read when the tree changes.

#include "VXBinaryPropertyListReader.h"
#include "VXPlistCodecTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXSeededRandom.h"
#include "VXTreeSnapshots.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

const void *containerOf(const VXValue &value)
{
    if (const VXArray *array = value.array())
        return array;
    return value.dictionary();
}

// Walks the tree and a copy of it side by side: what differs from a faithful, independent copy
// goes into `problems`; whether each array shares its elements with its copy, in walk order,
// into `sharing`.
struct Pairing {
    std::unordered_map<const void *, const void *> copyOf;
    std::unordered_set<const void *> copies;
    std::vector<VXValue> containers;   // the tree's, once each
    std::vector<bool> sharing;
    std::size_t packed = 0;   // the tree's arrays of reals alone
    std::vector<std::string> problems;

    void walk(const VXValue &live, const VXValue &copy, const QString &path)
    {
        const auto problem = [&](const char *what) { problems.push_back(path.toStdString() + ": " + what); };
        if (live.type() != copy.type())
            return problem("another type");
        if (copy.isString() && !copy.stringRef().data_ptr().isMutable())
            problem("a text over static data");
        const void *container = containerOf(live);
        if (!container) {
            if (!(live == copy))
                problem("another value");
            return;
        }
        if (container == containerOf(copy))
            return problem("the tree's own container");
        if (const auto found = copyOf.find(container); found != copyOf.end()) {
            if (found->second != containerOf(copy))
                problem("a container the tree holds twice copied twice");
            return;
        }
        if (!copies.insert(containerOf(copy)).second)
            return problem("one copy for two containers");
        copyOf.emplace(container, containerOf(copy));
        containers.push_back(live);
        if (const VXArray *array = live.array()) {
            const VXArray &other = *copy.array();
            sharing.push_back(array->sharesElementsWith(other));
            if (array->isPacked() != other.isPacked())
                problem("packed in one and not in the other");
            packed += array->isPacked() ? 1 : 0;
            if (array->size() != other.size())
                return problem("another count");
            for (std::size_t i = 0; i < array->size(); ++i)
                walk(array->at(i), other.at(i), path + QStringLiteral("/%1").arg(i));
            return;
        }
        const VXDictionary &dictionary = *live.dictionary();
        const VXDictionary &other = *copy.dictionary();
        if (dictionary.size() != other.size())
            return problem("another count");
        for (std::size_t i = 0; i < dictionary.size(); ++i) {
            const VXDictionary::Entry &entry = dictionary.entries()[i];
            const VXDictionary::Entry &copied = other.entries()[i];
            if (entry.key != copied.key)
                problem("another key");
            walk(entry.value, copied.value, path + u'/' + entry.key);
        }
    }
};

// Changes every container in place and by growing it, as tracking does.
void changeEverything(const std::vector<VXValue> &containers)
{
    for (const VXValue &container : containers) {
        if (VXArray *array = container.array()) {
            if (!array->isEmpty() && !array->at(0).isContainer())
                (*array)[0] = VXValue(-1.0);
            array->append(VXValue(7.5));
        } else {
            VXDictionary &dictionary = *container.dictionary();
            if (!dictionary.isEmpty() && !dictionary.entries()[0].value.isContainer())
                dictionary.valueAt(0) = VXValue(QStringLiteral("changed"));
            dictionary.insert(QStringLiteral("added"), VXValue(1));
        }
    }
}

VXValue log(std::initializer_list<double> periods)
{
    return VXValue(vxtest::numbers(periods));
}

// Applications whose windows are listed by title and, the same dictionaries, in a list.
VXValue applicationsWithWindowsHeldTwice()
{
    VXDictionaryRef applications = VXMakeDictionary();
    for (int a = 0; a < 3; ++a) {
        VXDictionaryRef byName = VXMakeDictionary();
        VXArrayRef children = VXMakeArray();
        for (int w = 0; w < 4; ++w) {
            const VXValue window = VXDictionaryOf({{QStringLiteral("Title"), QStringLiteral("Document %1").arg(w)},
                                                   {QStringLiteral("Time"), 12.5 * w},
                                                   {QStringLiteral("Active Log"), log({1.0 * w, 2.0, 3.5, 4.0})}});
            byName->insert(QStringLiteral("Document %1").arg(w), window);
            children->append(window);
        }
        applications->insert(QStringLiteral("App %1").arg(a),
                             VXDictionaryOf({{QStringLiteral("Windows By Name"), VXValue(byName)},
                                             {QStringLiteral("Children"), VXValue(children)},
                                             {QStringLiteral("Active Log"), log({})},
                                             {QStringLiteral("Name"), QStringLiteral("App %1").arg(a)}}));
    }
    return VXDictionaryOf({{QStringLiteral("Applications"), VXValue(applications)}, {QStringLiteral("Version"), 3}});
}

// Texts a copy must own (empty ones), texts in lists, data, dates, booleans, 64-bit integers.
VXValue textsAndPlainValues()
{
    return VXDictionaryOf({
        {QString(), QStringLiteral("empty key")},
        {QStringLiteral("empty"), QString()},
        {QStringLiteral("names"), VXArrayOf({QStringLiteral("Ünïcode ✓"), QString(), QStringLiteral("plain")})},
        {QStringLiteral("mixed log"), VXArrayOf({1, 2.5, QStringLiteral("note"), VXValue::dateSince2001(3.0)})},
        {QStringLiteral("data"), VXArrayOf({QByteArray("\x01\x02", 2), 4})},
        {QStringLiteral("flags"), VXArrayOf({true, false})},
        {QStringLiteral("large"), VXArrayOf({VXValue::unsignedInteger(~0ull), VXValue(-(1ll << 62))})},
    });
}

// A random tree whose containers are now and then held in a second place.
VXValue randomTree(std::uint64_t seed)
{
    VXSeededRandom random(seed);
    std::vector<VXValue> made;
    const std::function<VXValue(int)> make = [&](int depth) -> VXValue {
        if (!made.empty() && random.chance(0.1))
            return made[std::size_t(random.below(int(made.size())))];
        const int kind = depth >= 4 ? random.below(3) : random.below(5);
        switch (kind) {
        case 0: return VXValue(random.uniform() * 1e6);
        case 1: return random.chance(0.2) ? QString() : QStringLiteral("text %1").arg(random.below(30));
        case 2: {
            VXArrayRef numbers = VXMakeArray();
            for (int i = random.below(20); i > 0; --i)
                numbers->append(random.chance(0.5) ? VXValue(random.uniform()) : VXValue(random.below(1000)));
            made.push_back(VXValue(numbers));
            return made.back();
        }
        case 3: {
            VXArrayRef array = VXMakeArray();
            for (int i = random.below(5); i > 0; --i)
                array->append(make(depth + 1));
            made.push_back(VXValue(array));
            return made.back();
        }
        default: {
            VXDictionaryRef dictionary = VXMakeDictionary();
            for (int i = random.below(6); i > 0; --i)
                dictionary->insert(QStringLiteral("key %1").arg(random.below(10)), make(depth + 1));
            made.push_back(VXValue(dictionary));
            return made.back();
        }
        }
    };
    VXDictionaryRef root = VXMakeDictionary();
    for (int i = 0; i < 8; ++i)
        root->insert(QStringLiteral("item %1").arg(i), make(1));
    return VXValue(root);
}

}   // namespace

TEST(VXBinaryPropertyListTwin, IsTheSnapshotOfTheTreeAsReadAndStaysSo)
{
    const struct {
        const char *name;
        VXValue tree;
        bool packedLogs;   // whether it holds logs of reals alone, which the reader packs
    } rows[] = {
        {"windows held twice", applicationsWithWindowsHeldTwice(), true},
        {"texts and plain values", textsAndPlainValues(), false},
        {"random tree, seed 1", randomTree(1), false},
        {"random tree, seed 2", randomTree(2), false},
        {"random tree, seed 3", randomTree(3), false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const std::optional<QByteArray> data
            = VXPropertyListSerialization::dataFromValue(row.tree, VXPropertyListSerialization::Format::Binary);
        ASSERT_TRUE(data.has_value());
        VXValue twin;
        const VXValue tree = VXBinaryPropertyListReader::read(*data, &twin);
        ASSERT_TRUE(tree.isDictionary());
        ASSERT_TRUE(twin.isDictionary());
        EXPECT_EQ(tree, row.tree);
        const VXDictionaryRef snapshot = VXTreeSnapshot(tree.dictionaryRef(), VXDictionaryRef());
        ASSERT_TRUE(snapshot);
        EXPECT_EQ(twin, VXValue(snapshot));

        Pairing twinPairing;
        twinPairing.walk(tree, twin, QString());
        Pairing snapshotPairing;
        snapshotPairing.walk(tree, VXValue(snapshot), QString());
        for (const std::string &problem : twinPairing.problems)
            ADD_FAILURE() << "twin: " << problem;
        EXPECT_TRUE(snapshotPairing.problems.empty());
        EXPECT_EQ(twinPairing.copyOf.size(), snapshotPairing.copyOf.size());
        EXPECT_EQ(twinPairing.sharing, snapshotPairing.sharing);
        if (row.packedLogs) {
            EXPECT_GT(twinPairing.packed, 0u);
        }

        // The tree changes everywhere; the twin stays the file as read.
        changeEverything(twinPairing.containers);
        EXPECT_EQ(twin, VXBinaryPropertyListReader::read(*data));
        EXPECT_NE(twin, tree);
    }
}

TEST(VXBinaryPropertyListTwin, HandMadeFiles)
{
    // A UID (read as {"CF$UID": n}, its key a literal) and an empty text, in an array beside a
    // number; a dictionary with two equal keys (the last value kept, and no twin made); damage.
    const QByteArray uid
        = assemble({hex("a3") + ref(1, 1) + ref(2, 1) + ref(3, 1), hex("8007"), hex("50"), hex("102a")}, 1, 1);
    const QByteArray equalKeys = assemble(
        {hex("d2") + ref(1, 1) + ref(1, 1) + ref(2, 1) + ref(3, 1), hex("516b"), hex("1001"), hex("1002")}, 1, 1);
    QByteArray damaged = uid;
    damaged[9] = char(0x0F);   // the array's reference to the UID points past the last object
    const struct {
        const char *name;
        QByteArray data;
        bool twinMade;
    } rows[] = {
        {"uid and empty text", uid, true},
        {"equal keys", equalKeys, false},
        {"damaged", damaged, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        VXPlistLogCapture log;
        VXValue twin = VXValue(QStringLiteral("not written"));
        const VXValue tree = VXBinaryPropertyListReader::read(row.data, &twin);
        EXPECT_EQ(tree, VXBinaryPropertyListReader::read(row.data));
        EXPECT_EQ(twin.isNull(), !row.twinMade);
        if (!row.twinMade)
            continue;
        EXPECT_EQ(twin, tree);
        Pairing pairing;
        pairing.walk(tree, twin, QString());
        for (const std::string &problem : pairing.problems)
            ADD_FAILURE() << problem;
    }
}
