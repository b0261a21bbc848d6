#include "VXValue.h"
#include "VXSeededRandom.h"

#include <gtest/gtest.h>

#include <map>

namespace {

QString key(int i)
{
    return QStringLiteral("window %1").arg(i);
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
