#include "VXValue.h"
#include "VXSeededRandom.h"
#include "VXValueBuilders.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <thread>
#include <utility>

namespace {

QString key(int i)
{
    return QStringLiteral("window %1").arg(i);
}

// An event log as the tracker keeps it: reals (packed), or reals and a text of its own storage.
VXArrayRef makeLog(bool packed = false)
{
    VXArrayRef log = VXMakeArray();
    for (double v : {10.0, 20.5, 30.0, 41.0})
        log->append(v);
    if (!packed)
        log->append(QStringLiteral("note %1").arg(1));
    return log;
}

}   // namespace

TEST(VXValue, ContainersAreSharedAndDeepCopiesAreNot)
{
    VXDictionaryRef window = VXMakeDictionary();
    window->insert(QStringLiteral("Name"), QStringLiteral("Inbox"));

    // The same window object filed in two places, as an application's "Windows By Name" and
    // "Children" hold it.
    VXDictionaryRef byName = VXMakeDictionary();
    byName->insert(QStringLiteral("Inbox"), VXValue(window));
    VXArrayRef children = VXMakeArray();
    children->append(VXValue(window));

    byName->valuePointer(QStringLiteral("Inbox"))->dictionary()->insert(QStringLiteral("Time"), 12.5);
    EXPECT_EQ(children->at(0).dictionary()->value(QStringLiteral("Time")).toDouble(), 12.5);
    EXPECT_TRUE(children->at(0).isSameObject(byName->value(QStringLiteral("Inbox"))));
    EXPECT_EQ(children->indexOfIdentical(VXValue(window)), 0);

    VXValue copy = VXValue(byName).deepCopy();
    EXPECT_EQ(copy, VXValue(byName));
    EXPECT_FALSE(copy.isSameObject(VXValue(byName)));
    copy.dictionary()->value(QStringLiteral("Inbox")).dictionary()->insert(QStringLiteral("Time"), 1.0);
    EXPECT_EQ(window->value(QStringLiteral("Time")).toDouble(), 12.5);
    EXPECT_NE(copy, VXValue(byName));

    // An equal but distinct dictionary is not the same object.
    VXValue twin = VXValue(window).deepCopy();
    EXPECT_EQ(twin, VXValue(window));
    EXPECT_EQ(children->indexOfIdentical(twin), -1);
}

TEST(VXValue, LenientReadersAndStrictEquality)
{
    EXPECT_EQ(VXValue(QStringLiteral("12")).toDouble(), 0.0);
    EXPECT_FALSE(VXValue(QStringLiteral("YES")).toBool());
    EXPECT_EQ(VXValue().toDouble(), 0.0);
    EXPECT_EQ(VXValue(true).toDouble(), 1.0);
    EXPECT_TRUE(VXValue(0.25).toBool());
    EXPECT_FALSE(VXValue(0.0).toBool());
    EXPECT_EQ(VXValue(3.9).toInteger(), 3);
    EXPECT_EQ(VXValue(-3.9).toInteger(), -3);
    EXPECT_EQ(VXValue(1e300).toInteger(), INT64_MAX);
    EXPECT_EQ(VXValue(std::nan("")).toInteger(), 0);
    EXPECT_TRUE(VXValue(1.0).toString().isEmpty());

    EXPECT_NE(VXValue(1), VXValue(1.0));
    EXPECT_NE(VXValue(1), VXValue(true));
    EXPECT_NE(VXValue(0.0), VXValue(-0.0));
    EXPECT_EQ(VXValue(std::nan("")), VXValue(std::nan("")));
    EXPECT_NE(VXValue::dateSince2001(5), VXValue(5.0));
    EXPECT_EQ(VXValue::dateFromUnixTime(VXValue::kUnixTimeOf2001).dateSince2001(), 0.0);

    const VXValue big = VXValue::unsignedInteger(18446744073709551615ull);
    EXPECT_TRUE(big.isUnsignedInteger());
    EXPECT_EQ(big.toDouble(), 18446744073709551615.0);
    EXPECT_EQ(big.toInteger(), INT64_MAX);
    EXPECT_FALSE(VXValue::unsignedInteger(5).isUnsignedInteger());
    EXPECT_EQ(VXValue::unsignedInteger(5), VXValue(5));
    EXPECT_NE(big, VXValue(-1));
}

TEST(VXValue, DictionaryAgreesWithAReferenceMapUnderRandomEdits)
{
    VXDictionaryRef dictionary = VXMakeDictionary();
    std::map<int, int> reference;
    VXSeededRandom random(7);
    for (int step = 0; step < 60000; ++step) {
        const int k = static_cast<int>(random() % 3000);
        switch (random() % 3) {
        case 0:
        case 1:
            dictionary->insert(key(k), step);
            reference[k] = step;
            break;
        case 2: EXPECT_EQ(dictionary->remove(key(k)), reference.erase(k) == 1); break;
        }
    }
    ASSERT_EQ(dictionary->size(), reference.size());
    for (int k = 0; k < 3000; ++k) {
        const auto found = reference.find(k);
        if (found == reference.end())
            EXPECT_TRUE(dictionary->value(key(k)).isNull()) << k;
        else
            EXPECT_EQ(dictionary->value(key(k)).toInteger(), found->second) << k;
    }
    // Every entry is reachable through iteration exactly once.
    std::map<QString, int> seen;
    for (const auto &entry : *dictionary)
        ++seen[entry.key];
    EXPECT_EQ(seen.size(), reference.size());

    // Storing null removes a key.
    dictionary->insert(key(reference.begin()->first), VXValue());
    EXPECT_EQ(dictionary->size(), reference.size() - 1);
}

// The dictionary against a model of what it promises (a new key appended, a removed key's place
// taken by the last entry, a change counted per stored or removed entry), over random steps on a
// few keys so that its size crosses the scanning limit both ways. The keys differ only in length,
// only in their last unit, or share one length; the empty key is one of them. Now and then the
// dictionary is replaced by its copy, which must go on alike.
TEST(VXValue, DictionaryAgreesWithAnOrderedModelAcrossTheScanLimit)
{
    constexpr std::size_t limit = VXDictionary::kScanLimit;
    std::vector<QString> keys {QString(),
                               QStringLiteral("T"),
                               QStringLiteral("Tim"),
                               QStringLiteral("Time"),
                               QStringLiteral("Time "),
                               QStringLiteral("Active Log"),
                               QStringLiteral("Active Loh"),
                               QStringLiteral("Active Lof")};
    for (int i = 0; keys.size() < 2 * limit + 6; ++i)
        keys.push_back(QStringLiteral("window title %1").arg(i, 3, 10, QLatin1Char('0')));

    std::vector<std::pair<QString, int>> model;
    bool withTable = false;
    std::size_t tablesBuilt = 0, tablesDropped = 0;
    VXDictionaryRef d = VXMakeDictionary();
    VXSeededRandom random(11);
    for (int step = 0; step < 20000; ++step) {
        SCOPED_TRACE(step);
        // Phases of mostly inserting and mostly removing, so the size sweeps from empty to full.
        const bool growing = (step / 400) % 2 == 0;
        const QString key = keys[static_cast<std::size_t>(random.below(int(keys.size())))];
        const auto at = std::find_if(model.begin(), model.end(), [&](const auto &e) { return e.first == key; });
        const std::uint32_t changes = d->changeCount();
        bool changed = true;
        if (random.chance(growing ? 0.8 : 0.2)) {
            if (random.chance(0.5))
                d->insert(key, step);
            else
                d->insertNew(key, step);
            if (at == model.end())
                model.emplace_back(key, step);
            else
                at->second = step;
        } else {
            if (random.chance(0.5))
                EXPECT_EQ(d->remove(key), at != model.end());
            else
                d->insert(key, VXValue());
            changed = at != model.end();
            if (changed) {
                *at = model.back();
                model.pop_back();
            }
        }
        EXPECT_EQ(d->changeCount(), changes + (changed ? 1 : 0));
        const bool table = model.size() > limit || (withTable && model.size() > limit / 2);
        tablesBuilt += table && !withTable;
        tablesDropped += !table && withTable;
        withTable = table;
        ASSERT_EQ(d->hasHashTable(), table) << model.size();

        if (step % 97 == 0)
            d = d->copyWith([](const VXDictionary::Entry &e) { return e.value; });
        ASSERT_EQ(d->size(), model.size());
        for (std::size_t i = 0; i < model.size(); ++i) {
            ASSERT_EQ(d->entries()[i].key, model[i].first) << i;
            ASSERT_EQ(d->entries()[i].value.toInteger(), model[i].second) << i;
        }
        for (const QString &k : keys) {
            const auto in = std::find_if(model.begin(), model.end(), [&](const auto &e) { return e.first == k; });
            ASSERT_EQ(d->indexOf(QString(k.constData(), k.size())), in == model.end() ? -1 : in - model.begin())
                << k.toStdString();
        }
    }
    // The walk went through both forms, both ways, several times.
    EXPECT_GT(tablesBuilt, 3U);
    EXPECT_GT(tablesDropped, 3U);
}

TEST(VXValue, DictionaryKeysThatDifferOnlyAtTheirEdgesAreFoundInEitherForm)
{
    struct Row {
        const char *name;
        std::vector<QString> stored;
        QString looked;
        std::ptrdiff_t expected;
    };
    const std::vector<Row> rows {
        {"a key one unit shorter", {QStringLiteral("Tim"), QStringLiteral("Time ")}, QStringLiteral("Time"), -1},
        {"a key one unit longer", {QStringLiteral("Time")}, QStringLiteral("Time "), -1},
        {"only the last unit differs",
         {QStringLiteral("Active Lof"), QStringLiteral("Active Log")},
         QStringLiteral("Active Loh"),
         -1},
        {"the last unit tells them apart",
         {QStringLiteral("Active Lof"), QStringLiteral("Active Log")},
         QStringLiteral("Active Log"),
         1},
        {"the empty key beside one of one unit", {QStringLiteral("a"), QString()}, QStringLiteral(""), 1},
        {"a null key finds the empty key", {QStringLiteral("")}, QString(), 0},
        {"no key in an empty dictionary", {}, QString(), -1},
        {"a key after several of its length",
         {QStringLiteral("Name"), QStringLiteral("Path"), QStringLiteral("Time")},
         QStringLiteral("Time"),
         2},
    };
    for (const Row &row : rows) {
        for (const bool table : {false, true}) {
            SCOPED_TRACE(testing::Message() << row.name << (table ? ", with a table" : ", scanned"));
            VXDictionaryRef d = VXMakeDictionary();
            // A reader reserves a large dictionary's room before its entries, and gets a table.
            if (table)
                d->reserve(VXDictionary::kScanLimit + 1);
            for (const QString &k : row.stored)
                d->insertNew(k, true);
            ASSERT_EQ(d->hasHashTable(), table);
            const VXDictionaryRef copy = d->copyWith([](const VXDictionary::Entry &e) { return e.value; });
            EXPECT_EQ(copy->hasHashTable(), table);
            // The looked-up text in a buffer of its own, as a key met at run time is.
            const QString looked = row.looked.isNull() ? QString() : QString(row.looked.constData(), row.looked.size());
            EXPECT_EQ(d->indexOf(looked), row.expected);
            EXPECT_EQ(copy->indexOf(looked), row.expected);
        }
    }
}

// Array and dictionary objects come from slabs shared by every thread: made, freed and made again
// on two threads at once (each freeing the other's), no object is handed out twice, so each keeps
// what was stored in it.
TEST(VXValue, ContainersMadeAndFreedOnTwoThreadsKeepTheirOwnContents)
{
    using Batch = std::vector<VXDictionaryRef>;
    auto make = [](int thread, Batch &batch) {
        for (int i = 0; i < 30000; ++i) {
            VXArrayRef log = VXMakeArray();
            log->append(double(thread * 100000 + i));
            VXDictionaryRef window = VXMakeDictionary();
            window->insert(QStringLiteral("Active Log"), VXValue(log));
            batch.push_back(window);
        }
    };
    auto intact = [](int thread, const Batch &batch) {
        for (std::size_t i = 0; i < batch.size(); ++i) {
            const VXArray *log = batch[i]->value(QStringLiteral("Active Log")).array();
            if (batch[i]->size() != 1 || !log || log->size() != 1 || log->at(0).toDouble() != thread * 100000.0 + i)
                return false;
        }
        return true;
    };
    Batch batches[2];
    for (int round = 0; round < 3; ++round) {
        SCOPED_TRACE(round);
        // Each thread frees what the other made in the round before.
        Batch freedByOther = std::exchange(batches[0], Batch());
        Batch freedHere = std::exchange(batches[1], Batch());
        bool kept[2] = {false, false};
        std::thread other([&] {
            freedByOther.clear();
            make(1, batches[1]);
            kept[1] = intact(1, batches[1]);
        });
        freedHere.clear();
        make(0, batches[0]);
        kept[0] = intact(0, batches[0]);
        other.join();
        EXPECT_TRUE(kept[0]);
        EXPECT_TRUE(kept[1]);
    }
}

TEST(VXValue, CodePointOrderPutsAstralCharactersAfterThePrivateUseArea)
{
    const QString privateUse = QString(QChar(0xE000));
    const QString astral = QString::fromUcs4(U"\U0001F600");
    EXPECT_LT(VXCompareCodePoints(privateUse, astral), 0);
    EXPECT_GT(VXCompareCodePoints(astral, privateUse), 0);
    EXPECT_LT(VXCompareCodePoints(QStringLiteral("Time"), QStringLiteral("Time Log")), 0);
    EXPECT_LT(VXCompareCodePoints(QStringLiteral("Z"), QStringLiteral("a")), 0);
    EXPECT_EQ(VXCompareCodePoints(QStringLiteral("same"), QStringLiteral("same")), 0);

    VXDictionaryRef d = VXMakeDictionary();
    for (const QString &k : {astral, QStringLiteral("b"), privateUse, QStringLiteral("A")})
        d->insert(k, true);
    std::vector<QString> order;
    for (std::size_t i : d->sortedEntryIndexes())
        order.push_back(d->entries()[i].key);
    EXPECT_EQ(order, (std::vector<QString> {QStringLiteral("A"), QStringLiteral("b"), privateUse, astral}));
}

TEST(VXValue, EachChangeToACopyOfASharedLogLeavesTheOtherAsItWas)
{
    struct Row {
        const char *name;
        std::function<void(VXArray &)> change;
    };
    const std::vector<Row> rows {
        {"append", [](VXArray &a) { a.append(99.0); }},
        {"insert", [](VXArray &a) { a.insert(1, 99.0); }},
        {"removeAt", [](VXArray &a) { a.removeAt(0); }},
        {"removeLast", [](VXArray &a) { a.removeLast(); }},
        {"clear", [](VXArray &a) { a.clear(); }},
        {"reserve, then a write in place",
         [](VXArray &a) {
             a.reserve(1000);
             a[0] = 99.0;
         }},
        {"operator[]", [](VXArray &a) { a[2] = 99.0; }},
        {"truncate", [](VXArray &a) { a.truncate(2); }},
        {"items", [](VXArray &a) { a.items().resize(2); }},
        {"an integer appended", [](VXArray &a) { a.append(7); }},
        {"a text inserted", [](VXArray &a) { a.insert(0, QStringLiteral("note %1").arg(2)); }},
    };
    for (const Row &row : rows) {
        for (bool packed : {true, false}) {
            SCOPED_TRACE(row.name);
            SCOPED_TRACE(packed ? "packed" : "ordinary");
            VXArrayRef expected = makeLog(packed);   // never shared: the change as it applies to a lone log
            row.change(*expected);
            // Changing the original (the live tree's log) and changing the copy (a snapshot's).
            for (bool changeCopy : {false, true}) {
                SCOPED_TRACE(changeCopy ? "the copy changed" : "the original changed");
                VXArrayRef original = makeLog(packed);
                const VXValue originalValue(original);
                const VXValue copy = originalValue.deepCopy();
                ASSERT_TRUE(copy.array()->sharesElementsWith(*original));
                EXPECT_FALSE(copy.isSameObject(originalValue));

                VXArray &changed = changeCopy ? *copy.array() : *original;
                const VXArray &other = changeCopy ? *original : *copy.array();
                row.change(changed);
                EXPECT_FALSE(changed.sharesElementsWith(other));
                EXPECT_EQ(VXValue(VXArrayRef(&changed)), VXValue(expected));
                EXPECT_EQ(VXValue(VXArrayRef(const_cast<VXArray *>(&other))), VXValue(makeLog(packed)));
                EXPECT_EQ(other.isPacked(), packed);
                // The array is still the object the tree holds.
                EXPECT_EQ(originalValue.array(), original.get());
            }
        }
    }
}

TEST(VXValue, OnlyLogsOfPlainValuesShareTheirElements)
{
    struct Row {
        const char *name;
        std::function<void(VXArray &)> fill;
        bool shared;
    };
    const std::vector<Row> rows {
        {"reals, integers, dates, booleans, texts",
         [](VXArray &a) {
             a.append(1.5);
             a.append(2);
             a.append(VXValue::dateSince2001(3));
             a.append(true);
             a.append(QStringLiteral("Editor %1").arg(1));
         },
         true},
        {"a dictionary",
         [](VXArray &a) {
             a.append(1.5);
             a.append(VXValue(VXMakeDictionary()));
         },
         false},
        {"an array", [](VXArray &a) { a.append(VXValue(makeLog())); }, false},
        {"a text over static data", [](VXArray &a) { a.append(QStringLiteral("literal")); }, false},
        {"data", [](VXArray &a) { a.append(QByteArray("bytes")); }, false},
        {"a container written in place",
         [](VXArray &a) {
             a.append(1.5);
             a[0] = VXValue(VXMakeDictionary());
         },
         false},
        {"a container pushed through items()", [](VXArray &a) { a.items().push_back(VXValue(VXMakeDictionary())); },
         false},
        {"a container removed again",
         [](VXArray &a) {
             a.append(1.5);
             a.append(VXValue(VXMakeDictionary()));
             a.removeLast();
         },
         true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        VXArrayRef array = VXMakeArray();
        row.fill(*array);
        const VXValue copy = VXValue(array).deepCopy();
        EXPECT_EQ(copy.array()->sharesElementsWith(*array), row.shared);
        EXPECT_EQ(copy, VXValue(array));
        // A container inside is copied, never shared.
        for (std::size_t i = 0; i < array->size(); ++i)
            EXPECT_TRUE(!array->at(i).isContainer() || !copy.array()->at(i).isSameObject(array->at(i))) << i;
    }

    // A dictionary's deep copy is a new dictionary whose logs share their elements.
    VXDictionaryRef window = VXMakeDictionary();
    window->insert(QStringLiteral("Active Log"), VXValue(makeLog()));
    const VXValue windowCopy = VXValue(window).deepCopy();
    const VXValue &log = window->value(QStringLiteral("Active Log"));
    const VXValue &logCopy = windowCopy.dictionary()->value(QStringLiteral("Active Log"));
    EXPECT_FALSE(logCopy.isSameObject(log));
    EXPECT_TRUE(logCopy.array()->sharesElementsWith(*log.array()));
    log.array()->append(5.0);
    EXPECT_EQ(logCopy.array()->size(), log.array()->size() - 1);
}

// A snapshot's logs are read on the writer thread while the main thread goes on appending to the
// live ones (run under ThreadSanitizer to see the buffers' counts at work).
TEST(VXValue, ACopyReadOnAnotherThreadWhileTheOriginalGrows)
{
    // The log packed, as the sampler keeps it.
    VXArrayRef live = makeLog(true);
    ASSERT_TRUE(live->isPacked());
    double expected = 0;
    for (const VXValue &v : std::as_const(*live))
        expected += v.toDouble();
    for (int round = 0; round < 50; ++round) {
        VXValue snapshot = VXValue(live).deepCopy();
        double sum = -1;
        std::thread reader([&sum, snapshot = std::move(snapshot)]() mutable {
            double total = 0;
            for (const VXValue &v : std::as_const(*snapshot.array()))
                total += v.toDouble();
            sum = total;
            snapshot = VXValue();   // the last reference may go on this thread
        });
        for (int i = 0; i < 100; ++i)
            live->append(1.0);
        reader.join();
        EXPECT_EQ(sum, expected);
        expected += 100;
    }
}

// A log of reals alone is packed; every way of reading it answers what the ordinary form
// answers, and a change it cannot hold turns it ordinary without losing an element.
TEST(VXValue, APackedLogReadsAsTheOrdinaryFormAndTurnsOrdinaryWhenItMust)
{
    const std::vector<VXValue> reals {815000000.5, -815000030.25, -0.0, 7.0};
    const auto [packed, ordinary] = vxtest::inBothForms(reals);
    ASSERT_TRUE(packed->isPacked());
    ASSERT_FALSE(ordinary->isPacked());
    EXPECT_EQ(VXValue(VXArray::fromReals({815000000.5, -815000030.25, -0.0, 7.0})), VXValue(packed));

    for (const VXArray *array : {packed.get(), ordinary.get()}) {
        SCOPED_TRACE(array->isPacked() ? "packed" : "ordinary");
        ASSERT_EQ(array->size(), reals.size());
        std::size_t i = 0;
        for (const VXValue &element : *array) {
            EXPECT_TRUE(element.isReal()) << i;
            EXPECT_EQ(element, reals[i]) << i;
            EXPECT_EQ(array->at(i), reals[i]) << i;
            EXPECT_EQ(array->numbers()[i], reals[i].toDouble()) << i;
            ++i;
        }
        EXPECT_EQ(i, reals.size());
        EXPECT_EQ(array->last(), reals.back());
        EXPECT_TRUE(array->at(reals.size()).isNull());
        EXPECT_EQ(array->numbers().size(), reals.size());
        EXPECT_EQ(array->numbers().reals() != nullptr, array->isPacked());
    }

    // Equal both ways, and unequal when one element differs, even only in the sign of a zero.
    EXPECT_EQ(VXValue(packed), VXValue(ordinary));
    EXPECT_EQ(VXValue(ordinary), VXValue(packed));
    // Elements that differ in one place, even only in the sign of a zero, in either form.
    struct Difference {
        const char *name;
        std::vector<VXValue> elements;
    };
    const std::vector<Difference> differences {
        {"a zero of the other sign", {815000000.5, -815000030.25, 0.0, 7.0}},
        {"one more real", {815000000.5, -815000030.25, -0.0, 7.0, 1.0}},
        {"an integer for an equal real", {815000000.5, -815000030.25, -0.0, 7}},
    };
    for (const Difference &difference : differences) {
        SCOPED_TRACE(difference.name);
        const auto [otherPacked, otherOrdinary] = vxtest::inBothForms(difference.elements);
        for (const VXArrayRef &other : {otherPacked, otherOrdinary}) {
            for (const VXArrayRef &same : {packed, ordinary}) {
                EXPECT_NE(VXValue(other), VXValue(same));
                EXPECT_NE(VXValue(same), VXValue(other));
            }
        }
    }

    // What keeps a log packed, and what turns it ordinary, with every element kept.
    struct Step {
        const char *name;
        std::function<void(VXArray &)> change;
        bool staysPacked;
    };
    const std::vector<Step> steps {
        {"a real appended", [](VXArray &a) { a.append(8.5); }, true},
        {"a real inserted", [](VXArray &a) { a.insert(1, 8.5); }, true},
        {"removeAt, removeLast, truncate",
         [](VXArray &a) {
             a.removeAt(0);
             a.removeLast();
             a.truncate(1);
         },
         true},
        {"an integer appended", [](VXArray &a) { a.append(8); }, false},
        {"a date appended", [](VXArray &a) { a.append(VXValue::dateSince2001(8)); }, false},
        {"a dictionary inserted", [](VXArray &a) { a.insert(0, VXValue(VXMakeDictionary())); }, false},
        {"a write in place", [](VXArray &a) { a[0] = 8.5; }, false},
    };
    for (const Step &step : steps) {
        SCOPED_TRACE(step.name);
        const auto [changed, expected] = vxtest::inBothForms(reals);
        step.change(*changed);
        step.change(*expected);
        EXPECT_EQ(changed->isPacked(), step.staysPacked);
        EXPECT_EQ(VXValue(changed), VXValue(expected));
    }

    // Emptied, a log packs again from its next real; a list of dictionaries never packs.
    VXArrayRef reused = VXMakeArray();
    reused->append(VXValue(VXMakeDictionary()));
    EXPECT_FALSE(reused->isPacked());
    reused->clear();
    reused->append(1.5);
    EXPECT_TRUE(reused->isPacked());
}
