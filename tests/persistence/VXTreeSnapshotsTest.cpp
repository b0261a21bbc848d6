// Snapshots of the tree for undo and the file writer: equal to the tree, untouched by later
// changes, sharing exactly what did not change, keeping shared containers shared (and distinct
// ones distinct), and written to a file as the live tree would be.

#include "VXTreeSnapshots.h"
#include "VXPersistenceTestSupport.h"
#include "VXPropertyListSerialization.h"
#include "VXSeededRandom.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>

using namespace vxtest;
using namespace Qt::StringLiterals;

namespace {

// Two applications with windows filed under "Windows By Name" and listed again, as the same
// objects, under "Children"; a pool; timestamps.
VXDictionaryRef sampleTree()
{
    VXDictionaryRef tree = VXMakeDictionary();
    VXDictionaryRef applications = VXMakeDictionary();
    for (const QString &name : {u"Editor"_s, u"Mail"_s}) {
        VXDictionaryRef application = VXMakeDictionary();
        application->insert(VXNameKey, name);
        application->insert(VXTimeKey, 100.0);
        VXDictionaryRef windows = VXMakeDictionary();
        VXArrayRef children = VXMakeArray();
        for (int i = 0; i < 3; ++i) {
            VXDictionaryRef window = VXMakeDictionary();
            window->insert(VXNameKey, name + u" window "_s + QString::number(i));
            VXArrayRef log = VXMakeArray();
            for (int k = 0; k < 6; ++k)
                log->append(k % 2 ? -(1000.0 + 10 * k + i) : 1000.0 + 10 * k + i);
            window->insert(VXActiveLogKey, log);
            windows->insert(name + u" window "_s + QString::number(i), window);
            children->append(window);
        }
        application->insert(VXWindowsByNameKey, windows);
        application->insert(VXChildrenKey, children);
        applications->insert(u"org.example."_s + name, application);
    }
    tree->insert(VXApplicationsKey, applications);
    VXArrayRef pools = VXMakeArray();
    pools->append(VXValue(VXMakeDictionary()));
    pools->at(0).dictionary()->insert(VXNameKey, u"Writing"_s);
    tree->insert(VXPoolsKey, pools);
    tree->insert(VXLastTimestampKey, 1060.0);
    return tree;
}

VXDictionary &application(const VXDictionary &tree, const QString &name)
{
    return *tree.value(VXApplicationsKey).dictionary()->value(u"org.example."_s + name).dictionary();
}

VXDictionary &window(const VXDictionary &tree, const QString &name, int index)
{
    return *application(tree, name)
                .value(VXWindowsByNameKey)
                .dictionary()
                ->value(name + u" window "_s + QString::number(index))
                .dictionary();
}

}   // namespace

TEST(TreeSnapshots, ASnapshotEqualsTheTreeAndIgnoresLaterChanges)
{
    const VXDictionaryRef live = sampleTree();
    const VXDictionaryRef snapshot = VXTreeSnapshot(live, VXDictionaryRef());
    ASSERT_TRUE(snapshot);
    EXPECT_NE(snapshot.get(), live.get());
    EXPECT_EQ(VXValue(snapshot), VXValue(live));

    window(*live, u"Editor"_s, 1).value(VXActiveLogKey).array()->append(1100.0);
    application(*live, u"Mail"_s).insert(VXTimeKey, 200.0);
    live->remove(VXPoolsKey);
    EXPECT_EQ(VXValue(snapshot), VXValue(sampleTree()));

    // The file written from the snapshot is the file the tree would have given.
    EXPECT_EQ(propertyListData(VXValue(snapshot)), propertyListData(VXValue(sampleTree())));

    EXPECT_FALSE(VXTreeSnapshot(VXDictionaryRef(), snapshot));
    VXDictionaryRef withNull = sampleTree();
    window(*withNull, u"Mail"_s, 2).value(VXActiveLogKey).array()->append(VXValue());
    EXPECT_FALSE(VXTreeSnapshot(withNull, snapshot));
}

TEST(TreeSnapshots, ANewSnapshotSharesExactlyWhatDidNotChange)
{
    const VXDictionaryRef live = sampleTree();
    const VXDictionaryRef first = VXTreeSnapshot(live, VXDictionaryRef());
    // Nothing changed: the earlier snapshot itself.
    EXPECT_EQ(VXTreeSnapshot(live, first).get(), first.get());

    window(*live, u"Editor"_s, 1).value(VXActiveLogKey).array()->append(1100.0);
    const VXDictionaryRef second = VXTreeSnapshot(live, first);
    ASSERT_TRUE(second);
    EXPECT_NE(second.get(), first.get());
    EXPECT_EQ(VXValue(second), VXValue(live));
    // Changed: the log, its window, the window table and the list holding it, the application,
    // "Applications" and the root. Shared: everything else.
    EXPECT_NE(&window(*second, u"Editor"_s, 1), &window(*first, u"Editor"_s, 1));
    EXPECT_NE(&application(*second, u"Editor"_s), &application(*first, u"Editor"_s));
    EXPECT_EQ(&window(*second, u"Editor"_s, 0), &window(*first, u"Editor"_s, 0));
    EXPECT_EQ(window(*second, u"Editor"_s, 2).value(VXActiveLogKey).array(),
              window(*first, u"Editor"_s, 2).value(VXActiveLogKey).array());
    EXPECT_EQ(&application(*second, u"Mail"_s), &application(*first, u"Mail"_s));
    EXPECT_EQ(second->value(VXPoolsKey).array(), first->value(VXPoolsKey).array());
    // The first is as it was.
    EXPECT_EQ(VXValue(first), VXValue(sampleTree()));

    // A value changed back to what an older snapshot held is shared again.
    window(*live, u"Editor"_s, 1).value(VXActiveLogKey).array()->removeLast();
    const VXDictionaryRef third = VXTreeSnapshot(live, first);
    EXPECT_EQ(third.get(), first.get());
}

TEST(TreeSnapshots, SharedContainersStaySharedAndDistinctOnesDistinct)
{
    const VXDictionaryRef live = sampleTree();
    const VXDictionaryRef snapshot = VXTreeSnapshot(live, VXDictionaryRef());
    const VXArray &children = *application(*snapshot, u"Editor"_s).value(VXChildrenKey).array();
    EXPECT_EQ(children.at(0).dictionary(), &window(*snapshot, u"Editor"_s, 0));

    const VXDictionaryRef copy = VXMutableCopyOfSnapshot(snapshot);
    ASSERT_TRUE(copy);
    EXPECT_EQ(VXValue(copy), VXValue(snapshot));
    EXPECT_NE(&window(*copy, u"Editor"_s, 0), &window(*snapshot, u"Editor"_s, 0));
    EXPECT_EQ(application(*copy, u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary(),
              &window(*copy, u"Editor"_s, 0));
    // The copy is the program's to change; the snapshot stays.
    window(*copy, u"Editor"_s, 0).insert(VXTimeKey, 5.0);
    EXPECT_FALSE(window(*snapshot, u"Editor"_s, 0).contains(VXTimeKey));

    // The live tree now lists an equal but separate object: the next snapshot keeps them apart,
    // although the earlier snapshot had one object for both places.
    VXArray &liveChildren = *application(*live, u"Editor"_s).value(VXChildrenKey).array();
    liveChildren[0] = VXValue(liveChildren.at(0)).deepCopy();
    const VXDictionaryRef apart = VXTreeSnapshot(live, snapshot);
    EXPECT_EQ(VXValue(apart), VXValue(live));
    EXPECT_NE(application(*apart, u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary(),
              &window(*apart, u"Editor"_s, 0));
    const VXDictionaryRef apartCopy = VXMutableCopyOfSnapshot(apart);
    EXPECT_NE(application(*apartCopy, u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary(),
              &window(*apartCopy, u"Editor"_s, 0));
    // And the binary property list agrees: two objects written, two read back.
    const VXDictionaryRef read = deeplyMutableDictionaryWithData(*propertyListData(VXValue(apart)));
    EXPECT_NE(application(*read, u"Editor"_s).value(VXChildrenKey).array()->at(0).dictionary(),
              &window(*read, u"Editor"_s, 0));
}

TEST(TreeSnapshots, EverySnapshotOfARandomlyEditedTreeStaysWhatItWas)
{
    VXSeededRandom random(20261121);
    const VXDictionaryRef live = sampleTree();
    std::vector<std::pair<VXDictionaryRef, VXValue>> taken;   // snapshot, deep copy at the time
    VXDictionaryRef previous;
    for (int round = 0; round < 200; ++round) {
        const QString name = random() % 2 ? u"Editor"_s : u"Mail"_s;
        VXDictionary &item = window(*live, name, int(random() % 3));
        switch (random() % 5) {
        case 0: item.value(VXActiveLogKey).array()->append(double(2000 + round)); break;
        case 1: item.value(VXActiveLogKey).array()->removeLast(); break;
        case 2: item.insert(VXTimeKey, double(round)); break;
        case 3: application(*live, name).insert(VXFrontTimeKey, double(round)); break;
        default: live->insert(VXLastTimestampKey, double(round)); break;
        }
        VXDictionaryRef snapshot = VXTreeSnapshot(live, previous);
        ASSERT_TRUE(snapshot);
        taken.emplace_back(snapshot, VXValue(live).deepCopy());
        previous = snapshot;
    }
    for (std::size_t i = 0; i < taken.size(); ++i)
        EXPECT_EQ(VXValue(taken[i].first), taken[i].second) << "snapshot " << i;
}

// A window table and list answered as the earlier snapshot's with some places named as changed
// (as the journal answers an application that moved): the earlier table or list itself when
// what was named came out the same, a copy holding the same window objects otherwise.
TEST(TreeSnapshots, ATableOrListTakenFromTheEarlierOneIsCopiedOnlyWhenItDiffers)
{
    const struct {
        const char *name;
        std::function<void(VXDictionary &editor)> change;
        std::vector<std::size_t> changedInTable;
        std::vector<std::size_t> changedInList;
        std::vector<std::ptrdiff_t> from;
        bool tableSame;
        bool listSame;
    } rows[] = {
        {"a window named that did not change", [](VXDictionary &) {}, {1}, {1}, {0, 1, 2}, true, true},
        {"a window named that changed",
         [](VXDictionary &editor) {
             editor.value(VXWindowsByNameKey).dictionary()->valueAt(1).dictionary()->insert(VXTimeKey, 5.0);
         },
         {1},
         {1},
         {0, 1, 2},
         false,
         false},
        {"the list in another order",
         [](VXDictionary &editor) {
             VXArray &list = *editor.value(VXChildrenKey).array();
             const VXValue last = list.objectAt(2);
             list.removeLast();
             list.insert(0, last);
         },
         {},
         {},
         {2, 0, 1},
         true,
         false},
        {"a window added",
         [](VXDictionary &editor) {
             VXDictionaryRef window = VXMakeDictionary();
             window->insert(VXNameKey, u"New"_s);
             editor.value(VXWindowsByNameKey).dictionary()->insert(u"New"_s, window);
             editor.value(VXChildrenKey).array()->append(VXValue(window));
         },
         {},
         {},
         {0, 1, 2, -1},
         false,
         false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const VXDictionaryRef live = sampleTree();
        const VXDictionaryRef first = VXTreeSnapshot(live, VXDictionaryRef());
        ASSERT_TRUE(first);
        VXDictionary &editor = application(*live, u"Editor"_s);
        row.change(editor);
        const VXDictionary &earlier = application(*first, u"Editor"_s);
        const VXSettledParts settled = [&](const VXValue &container, const VXDictionary *holder) -> VXSettledPart {
            if (holder != &editor)
                return {};
            if (container.dictionary() == editor.value(VXWindowsByNameKey).dictionary())
                return {earlier.value(VXWindowsByNameKey), true, row.changedInTable, {}};
            if (container.array() == editor.value(VXChildrenKey).array())
                return {earlier.value(VXChildrenKey), true, row.changedInList, row.from};
            return {};
        };
        const VXDictionaryRef second = VXTreeSnapshot(live, first, settled);
        ASSERT_TRUE(second);
        EXPECT_EQ(VXValue(second), VXValue(live));
        const VXDictionary &saved = application(*second, u"Editor"_s);
        const VXDictionary &table = *saved.value(VXWindowsByNameKey).dictionary();
        const VXArray &list = *saved.value(VXChildrenKey).array();
        EXPECT_EQ(&table == earlier.value(VXWindowsByNameKey).dictionary(), row.tableSame);
        EXPECT_EQ(&list == earlier.value(VXChildrenKey).array(), row.listSame);
        // Filed and listed, each window is one object, as the live tree has it.
        for (std::size_t i = 0; i < list.size(); ++i) {
            const VXDictionary *window = list.objectAt(i).dictionary();
            EXPECT_EQ(table.value(window->value(VXNameKey).toString()).dictionary(), window) << i;
        }
        // The table's first window, which no row changes, is the earlier snapshot's.
        EXPECT_EQ(table.entries()[0].value.dictionary(),
                  earlier.value(VXWindowsByNameKey).dictionary()->entries()[0].value.dictionary());
    }
}

TEST(TreeSnapshots, ValuesOverStaticDataAreCopiedSoThatAnotherThreadMayReadThemAndKeysAreShared)
{
    const VXDictionaryRef live = sampleTree();
    window(*live, u"Editor"_s, 0).insert(VXPathKey, VXWindowPathMarker);   // a literal
    ASSERT_FALSE(window(*live, u"Editor"_s, 0).value(VXPathKey).stringRef().data_ptr().isMutable());
    const VXDictionaryRef snapshot = VXTreeSnapshot(live, VXDictionaryRef());
    const VXDictionary &frozen = window(*snapshot, u"Editor"_s, 0);
    EXPECT_EQ(frozen.value(VXPathKey).toString(), u"_Window"_s);
    EXPECT_TRUE(frozen.value(VXPathKey).stringRef().data_ptr().isMutable());
    // Keys are never copied (the writers read their texts without changing them): the
    // snapshot's are the live tree's texts, a literal's among them.
    const VXDictionary &original = window(*live, u"Editor"_s, 0);
    ASSERT_EQ(frozen.size(), original.size());
    for (std::size_t i = 0; i < frozen.size(); ++i)
        EXPECT_TRUE(frozen.entries()[i].key.sharesTextWith(original.entries()[i].key))
            << frozen.entries()[i].key.text().toStdString();
    // Equal texts still count as unchanged.
    EXPECT_EQ(VXTreeSnapshot(live, snapshot).get(), snapshot.get());
}

namespace {

void collectContainers(const VXValue &value, std::set<const void *> &into)
{
    if (const VXArray *array = value.array()) {
        into.insert(array);
        for (const VXValue &element : *array)
            collectContainers(element, into);
    } else if (const VXDictionary *dictionary = value.dictionary()) {
        into.insert(dictionary);
        for (const VXDictionary::Entry &entry : *dictionary)
            collectContainers(entry.value, into);
    }
}

}   // namespace

// An undo: the tree restored from a state keeps the live containers that the snapshot of the
// tree undone shares with the state, copies the others, and holds nothing of either snapshot.
TEST(TreeSnapshots, ARestoredTreeKeepsWhatDidNotChangeSinceTheStateAndCopiesTheRest)
{
    const struct {
        const char *name;
        std::function<void(VXDictionary &)> change;
    } rows[] = {
        {"nothing", [](VXDictionary &) {}},
        {"a log appended",
         [](VXDictionary &tree) { window(tree, u"Editor"_s, 1).value(VXActiveLogKey).array()->append(1100.0); }},
        {"a window added",
         [](VXDictionary &tree) {
             VXDictionaryRef added = VXMakeDictionary();
             added->insert(VXNameKey, u"Editor window 3"_s);
             application(tree, u"Editor"_s).value(VXWindowsByNameKey).dictionary()->insert(u"Editor window 3"_s, added);
             application(tree, u"Editor"_s).value(VXChildrenKey).array()->append(VXValue(added));
         }},
        {"a value removed", [](VXDictionary &tree) { application(tree, u"Editor"_s).remove(VXTimeKey); }},
        {"an application removed",
         [](VXDictionary &tree) { tree.value(VXApplicationsKey).dictionary()->remove(u"org.example.Editor"_s); }},
        {"the pools replaced", [](VXDictionary &tree) { tree.insert(VXPoolsKey, VXMakeArray()); }},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        const VXDictionaryRef live = sampleTree();
        const VXDictionaryRef state = VXTreeSnapshot(live, VXDictionaryRef());
        const VXDictionary *mail = &application(*live, u"Mail"_s);
        const VXDictionary *mailWindow = &window(*live, u"Mail"_s, 2);
        row.change(*live);
        const VXDictionaryRef current = VXTreeSnapshot(live, state);
        const VXDictionaryRef restored = VXRestoredTree(live, current, state);
        ASSERT_TRUE(restored);
        EXPECT_EQ(VXValue(restored), VXValue(state));
        EXPECT_EQ(propertyListData(VXValue(restored)), propertyListData(VXValue(state)));
        // The application the change left alone is the live one, windows and all.
        EXPECT_EQ(&application(*restored, u"Mail"_s), mail);
        EXPECT_EQ(&window(*restored, u"Mail"_s, 2), mailWindow);
        // A window filed and listed is one object, and the restored tree is the program's to change.
        const VXArray &children = *application(*restored, u"Editor"_s).value(VXChildrenKey).array();
        EXPECT_EQ(children.at(1).dictionary(), &window(*restored, u"Editor"_s, 1));
        std::set<const void *> frozen;
        collectContainers(VXValue(state), frozen);
        collectContainers(VXValue(current), frozen);
        std::set<const void *> restoredContainers;
        collectContainers(VXValue(restored), restoredContainers);
        for (const void *container : restoredContainers)
            EXPECT_FALSE(frozen.contains(container));
    }
}
