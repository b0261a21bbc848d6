// The item accessors and the consolidation of event logs: every other part reads and writes the
// tree through these, and every second the program credits ends up in a log through
// consolidateFrontState().

#include "VXDictionaryExtensions.h"
#include "VXConfigurationKeys.h"
#include "VXTrackingTestSupport.h"

#include <gtest/gtest.h>

#include <limits>

using namespace vxtest;
using namespace Qt::StringLiterals;
using Log = std::vector<double>;

TEST(VXItemAccessors, MissingAndMistypedValuesReadAsZeroAndBooleansAreStoredOnlyWhenTrue)
{
    VXDictionaryRef item = dictionary({{VXTimeKey, QStringLiteral("12")},
                                       {VXFrontTimeKey, 2.5},
                                       {VXActiveKey, QStringLiteral("YES")},
                                       {VXExpandedKey, 1}});
    EXPECT_EQ(timeIntervalForKey(*item, VXTimeKey), 0.0);   // a string is no number
    EXPECT_EQ(timeIntervalForKey(*item, VXFrontTimeKey), 2.5);
    EXPECT_EQ(timeIntervalForKey(*item, VXOverallTimeKey), 0.0);   // missing
    EXPECT_FALSE(boolForKey(*item, VXActiveKey));   // a string is no boolean
    EXPECT_TRUE(boolForKey(*item, VXExpandedKey));   // a non-zero number is true
    EXPECT_FALSE(boolForKey(*item, VXFrontActiveKey));

    addTimeInterval(*item, 1.25, VXTimeKey);   // the string reads as 0 and is replaced
    addTimeInterval(*item, 1.25, VXFrontTimeKey);
    addTimeInterval(*item, 3.0, VXOverallTimeKey);
    EXPECT_EQ(item->value(VXTimeKey), VXValue(1.25));
    EXPECT_EQ(item->value(VXFrontTimeKey), VXValue(3.75));
    EXPECT_EQ(item->value(VXOverallTimeKey), VXValue(3.0));

    setBool(*item, true, VXFrontActiveKey);
    EXPECT_EQ(item->value(VXFrontActiveKey), VXValue(true));
    setBool(*item, false, VXFrontActiveKey);
    setBool(*item, false, VXActiveKey);
    EXPECT_FALSE(item->contains(VXFrontActiveKey));
    EXPECT_FALSE(item->contains(VXActiveKey));   // NO removes the key, whatever was there
}

TEST(VXItemAccessors, UnsignedIntegersSetOrRemoveAndTryToSet)
{
    VXDictionaryRef item
        = dictionary({{QStringLiteral("a"), 7},
                      {QStringLiteral("b"), -3},
                      {QStringLiteral("c"), 6.9},
                      {QStringLiteral("d"), VXValue::unsignedInteger(std::numeric_limits<std::uint64_t>::max())},
                      {QStringLiteral("e"), QStringLiteral("5")}});
    EXPECT_EQ(unsignedIntegerForKey(*item, QStringLiteral("a")), 7u);
    EXPECT_EQ(unsignedIntegerForKey(*item, QStringLiteral("b")), 0u);
    EXPECT_EQ(unsignedIntegerForKey(*item, QStringLiteral("c")), 6u);
    EXPECT_EQ(unsignedIntegerForKey(*item, QStringLiteral("d")), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(unsignedIntegerForKey(*item, QStringLiteral("e")), 0u);
    EXPECT_EQ(unsignedIntegerForKey(*item, QStringLiteral("missing")), 0u);

    setOrRemoveObject(*item, VXValue(QStringLiteral("x")), QStringLiteral("a"));
    EXPECT_EQ(item->value(QStringLiteral("a")), VXValue(QStringLiteral("x")));
    setOrRemoveObject(*item, VXValue(), QStringLiteral("a"));
    EXPECT_FALSE(item->contains(QStringLiteral("a")));

    tryToSetObject(*item, VXValue(), QStringLiteral("b"));
    EXPECT_EQ(item->value(QStringLiteral("b")), VXValue(-3));   // no value: left alone
    tryToSetObject(*item, VXValue(1), QString());
    EXPECT_EQ(item->size(), 4u);   // no key: nothing stored
    tryToSetObject(*item, VXValue(1), QStringLiteral("b"));
    EXPECT_EQ(item->value(QStringLiteral("b")), VXValue(1));
}

// ---- Consolidation

namespace {

// One sample of the active state: mark the item when it was seen, then end the sample.
bool sample(VXDictionary &item, bool seen, double now, double previous, bool gap = false)
{
    if (seen)
        setBool(item, true, VXActiveMarkKey);
    return consolidateFrontState(item, false, gap, now, previous);
}

}   // namespace

TEST(VXConsolidation, PeriodsRunFromTheFirstToTheLastSampleThatSawTheItem)
{
    // samples:  100  101  102  103  104  105
    // seen:       x    x    x    .    .    x
    // log:     [+100        -102]        [+105
    VXDictionaryRef item = VXMakeDictionary();
    EXPECT_TRUE(sample(*item, true, 100, 99));
    EXPECT_TRUE(boolForKey(*item, VXActiveKey));
    EXPECT_FALSE(item->contains(VXActiveMarkKey));
    EXPECT_TRUE(sample(*item, true, 101, 100));
    EXPECT_TRUE(sample(*item, true, 102, 101));
    EXPECT_EQ(activeLog(*item), (Log {100}));
    EXPECT_FALSE(sample(*item, false, 103, 102));
    EXPECT_EQ(activeLog(*item), (Log {100, -102}));   // ends at the last sample that saw it
    EXPECT_FALSE(item->contains(VXActiveKey));
    EXPECT_FALSE(sample(*item, false, 104, 103));
    EXPECT_EQ(activeLog(*item), (Log {100, -102}));   // closed stays closed
    EXPECT_TRUE(sample(*item, true, 105, 104));
    EXPECT_EQ(activeLog(*item), (Log {100, -102, 105}));
    EXPECT_TRUE(isWellFormedLog(activeLog(*item)));
}

TEST(VXConsolidation, AnItemSeenInOneSampleOnlyLeavesNoTrace)
{
    VXDictionaryRef item = dictionary({{VXActiveLogKey, numbers({50, -60})}});
    EXPECT_TRUE(sample(*item, true, 70, 69.5));
    EXPECT_EQ(activeLog(*item), (Log {50, -60, 70}));
    EXPECT_FALSE(sample(*item, false, 70.5, 70));
    EXPECT_EQ(activeLog(*item), (Log {50, -60}));

    // "The same time" is a difference below a millisecond, no more.
    VXDictionaryRef near = dictionary({{VXActiveLogKey, numbers({70.0})}, {VXActiveKey, true}});
    sample(*near, false, 71, 70.0009);
    EXPECT_EQ(activeLog(*near), Log {});
    VXDictionaryRef apart = dictionary({{VXActiveLogKey, numbers({70.0})}, {VXActiveKey, true}});
    sample(*apart, false, 71, 70.002);
    EXPECT_EQ(activeLog(*apart), (Log {70, -70.002}));
}

TEST(VXConsolidation, AGapClosesAnOpenPeriodAtThePreviousSampleOrDropsItWhenItBeganThere)
{
    // input:   [+100 ...  (gap)  seen at 200      output: [+100 -150][+200
    VXDictionaryRef closed = dictionary({{VXActiveLogKey, numbers({100})}, {VXActiveKey, true}});
    EXPECT_TRUE(sample(*closed, true, 200, 150, true));
    EXPECT_EQ(activeLog(*closed), (Log {100, -150, 200}));

    // Not seen after the gap: closed at the previous sample, nothing more.
    VXDictionaryRef gone = dictionary({{VXActiveLogKey, numbers({100})}, {VXActiveKey, true}});
    EXPECT_FALSE(sample(*gone, false, 200, 150, true));
    EXPECT_EQ(activeLog(*gone), (Log {100, -150}));

    // The open period began at the previous sample: it had no length and goes.
    VXDictionaryRef oneSample = dictionary({{VXActiveLogKey, numbers({10, -20, 150.0004})}, {VXActiveKey, true}});
    EXPECT_TRUE(sample(*oneSample, true, 200, 150, true));
    EXPECT_EQ(activeLog(*oneSample), (Log {10, -20, 200}));

    // No previous sample at all (0): the open period goes too.
    VXDictionaryRef noPrevious = dictionary({{VXActiveLogKey, numbers({10, -20, 30})}});
    EXPECT_FALSE(sample(*noPrevious, false, 200, 0, true));
    EXPECT_EQ(activeLog(*noPrevious), (Log {10, -20}));

    // A closed log is left alone by a gap.
    VXDictionaryRef wasClosed = dictionary({{VXActiveLogKey, numbers({10, -20})}});
    EXPECT_TRUE(sample(*wasClosed, true, 200, 150, true));
    EXPECT_EQ(activeLog(*wasClosed), (Log {10, -20, 200}));
}

TEST(VXConsolidation, WithoutAPreviousSampleAnOpenPeriodEndsNow)
{
    VXDictionaryRef item = dictionary({{VXActiveLogKey, numbers({10})}});
    EXPECT_FALSE(sample(*item, false, 40, 0));
    EXPECT_EQ(activeLog(*item), (Log {10, -40}));
}

TEST(VXConsolidation, EmptyMissingAndMistypedLogsBehaveAsClosed)
{
    VXDictionaryRef empty = dictionary({{VXActiveLogKey, VXMakeArray()}});
    EXPECT_FALSE(sample(*empty, false, 10, 9));
    EXPECT_EQ(activeLog(*empty), Log {});
    EXPECT_TRUE(sample(*empty, true, 11, 10));
    EXPECT_EQ(activeLog(*empty), (Log {11}));

    VXDictionaryRef mistyped = dictionary({{VXActiveLogKey, QStringLiteral("damaged")}});
    EXPECT_FALSE(sample(*mistyped, false, 10, 9));
    EXPECT_EQ(mistyped->value(VXActiveLogKey), VXValue(QStringLiteral("damaged")));   // untouched when not needed
    EXPECT_TRUE(sample(*mistyped, true, 11, 10));
    EXPECT_EQ(activeLog(*mistyped), (Log {11}));   // replaced by a log when a period opens

    VXDictionaryRef missing = VXMakeDictionary();
    EXPECT_FALSE(sample(*missing, false, 10, 9));
    EXPECT_TRUE(missing->isEmpty());
}

TEST(VXConsolidation, BothStatesUseTheirOwnKeysAndTheActiveResultIsAnswered)
{
    VXDictionaryRef item
        = dictionary({{VXFrontActiveMarkKey, true}, {VXActiveLogKey, numbers({5})}, {VXActiveKey, true}});
    // Front seen, active not: the answer is the active state's.
    EXPECT_FALSE(consolidateStates(*item, false, 20, 10));
    EXPECT_EQ(frontLog(*item), (Log {20}));
    EXPECT_TRUE(boolForKey(*item, VXFrontActiveKey));
    EXPECT_EQ(activeLog(*item), (Log {5, -10}));
    EXPECT_FALSE(item->contains(VXActiveKey));
    EXPECT_FALSE(item->contains(VXFrontActiveMarkKey));

    setBool(*item, true, VXActiveMarkKey);
    EXPECT_TRUE(consolidateStates(*item, false, 30, 20));
    EXPECT_EQ(frontLog(*item), Log {});   // the front period of one sample went
    EXPECT_EQ(activeLog(*item), (Log {5, -10, 30}));
}

// ---- Reset, names, kinds, running process

TEST(VXItemAccessors, ResetTimersRecursivelyClearsTheSixTimerKeysDownTheTree)
{
    auto timed = [](const QString &name) {
        return dictionary({{VXNameKey, name},
                           {VXActiveKey, true},
                           {VXFrontActiveKey, true},
                           {VXTimeKey, 5.0},
                           {VXFrontTimeKey, 2.0},
                           {VXActiveLogKey, numbers({1})},
                           {VXFrontActiveLogKey, numbers({1})},
                           {VXExpandedKey, true}});
    };
    VXDictionaryRef window = timed(QStringLiteral("Report"));
    VXDictionaryRef listedOnly = timed(QStringLiteral("listed only"));
    VXDictionaryRef application = timed(QStringLiteral("Editor"));
    application->insert(VXWindowsByNameKey, dictionary({{QStringLiteral("Report"), window}}));
    VXArrayRef children = VXMakeArray();
    children->append(listedOnly);
    application->insert(VXChildrenKey, children);   // "Windows By Name" wins over "Children"

    VXDictionaryRef entry = timed(QStringLiteral("*.odt"));
    VXDictionaryRef poolMember = timed(QStringLiteral("Editor"));
    VXArrayRef entries = VXMakeArray();
    entries->append(entry);
    poolMember->insert(VXChildrenKey, entries);
    VXDictionaryRef aPool = pool(QStringLiteral("Writing"), {poolMember});

    resetTimersRecursively(*application);
    resetTimersRecursively(*aPool);
    for (const VXDictionaryRef &reset : {application, window, aPool, poolMember, entry}) {
        for (const QString *key :
             {&VXActiveKey, &VXFrontActiveKey, &VXTimeKey, &VXFrontTimeKey, &VXActiveLogKey, &VXFrontActiveLogKey})
            EXPECT_FALSE(reset->contains(*key)) << key->toStdString();
    }
    EXPECT_TRUE(boolForKey(*window, VXExpandedKey));   // other keys stay
    EXPECT_TRUE(listedOnly->contains(VXTimeKey));   // reached only through "Children"
}

TEST(VXItemAccessors, ItemNamesOfUnnamedPoolsMembersAndAnyApplication)
{
    VXDictionaryRef mail = member(QStringLiteral("Mail"), QStringLiteral("org.example.Mail"));
    VXDictionaryRef browser = member(QStringLiteral("Browser"), QStringLiteral("org.example.Browser"),
                                     {windowEntry(QStringLiteral("*news*")), windowEntry(QStringLiteral("Docs*"))});
    EXPECT_EQ(itemName(*pool(QString(), {mail, browser})), QStringLiteral("Mail | Browser (2)"));
    EXPECT_EQ(itemName(*pool(QStringLiteral("  \t"), {mail})), QStringLiteral("Mail"));   // blank is unnamed
    EXPECT_EQ(itemName(*pool(QString(), {})), QStringLiteral("Empty Pool"));
    EXPECT_EQ(itemName(*pool(QStringLiteral("Project"), {mail})), QStringLiteral("Project"));

    VXDictionaryRef any = member(QStringLiteral("Editor"), QStringLiteral("org.example.Editor"));
    setBool(*any, true, VXMatchAnyApplicationKey);
    EXPECT_EQ(itemName(*any), QStringLiteral("Any Application"));
    EXPECT_EQ(itemName(*pool(QString(), {any, mail})), QStringLiteral("Any Application | Mail"));

    // A member with entries reads "<name> (<entries>)", its name as it is: what looks like a
    // format's marker in it is text.
    const struct {
        const char16_t *name;
        int entries;
        const char16_t *shown;
    } withCounts[] = {
        {u"Mail", 1, u"Mail | Mail (1)"},         {u"Mail", 12, u"Mail | Mail (12)"},
        {u"50% done", 3, u"Mail | 50% done (3)"}, {u"a%1b", 2, u"Mail | a%1b (2)"},
        {u"%2", 10, u"Mail | %2 (10)"},           {u"%", 1, u"Mail | % (1)"},
        {u"100%%", 4, u"Mail | 100%% (4)"},       {u"x%L1", 7, u"Mail | x%L1 (7)"},
    };
    for (const auto &row : withCounts) {
        SCOPED_TRACE(QString::fromUtf16(row.name).toStdString());
        VXDictionaryRef withEntries = member(QString::fromUtf16(row.name), QStringLiteral("org.example.Mail"));
        VXArrayRef entries = VXMakeArray();
        for (int i = 0; i < row.entries; ++i)
            entries->append(windowEntry(QStringLiteral("Doc %1").arg(i)));
        withEntries->insert(VXChildrenKey, entries);
        EXPECT_EQ(itemName(*pool(QString(), {mail, withEntries})), QString::fromUtf16(row.shown));
    }

    // Items that are not pools answer their name as it is, blank or not.
    EXPECT_EQ(itemName(*dictionary({{VXNameKey, QStringLiteral(" ")}, {VXPathKey, VXWindowPathMarker}})),
              QStringLiteral(" "));
}

TEST(VXItemAccessors, PoolItemsAreKnownByTypeOrPath)
{
    EXPECT_TRUE(isPoolOrPoolItem(*pool(QStringLiteral("P"), {})));
    EXPECT_TRUE(isPoolOrPoolItem(*dictionary({{VXPathKey, VXPoolPathMarker}})));
    EXPECT_TRUE(isPoolOrPoolItem(*dictionary({{VXTypeKey, VXPoolItemType}, {VXPathKey, VXWindowPathMarker}})));
    EXPECT_FALSE(isPoolOrPoolItem(*dictionary({{VXPathKey, VXWindowPathMarker}})));
    EXPECT_FALSE(isPoolOrPoolItem(*dictionary({{VXPathKey, QStringLiteral("/usr/bin/editor")}})));
}

TEST(VXItemAccessors, TheRunningProcessOfAnItemIsFoundByIdentifierOrByPath)
{
    std::vector<VXRunningApplication> running(3);
    running[0].bundleIdentifier = QStringLiteral("org.example.Mail");
    running[0].bundlePath = QStringLiteral("/usr/share/applications/org.example.Mail.desktop");
    running[0].processIdentifier = 10;
    running[1].bundlePath = QStringLiteral("/opt/Tool/bin/tool");
    running[1].processIdentifier = 11;
    running[2].bundleIdentifier = QStringLiteral("org.example.Mail");
    running[2].processIdentifier = 12;

    const VXRunningApplication *mail
        = itemRunningApplication(*dictionary({{VXApplicationIDKey, QStringLiteral("org.example.Mail")}}), running);
    ASSERT_NE(mail, nullptr);
    EXPECT_EQ(mail->processIdentifier, 10);   // the first one
    const VXRunningApplication *tool
        = itemRunningApplication(*dictionary({{VXApplicationIDKey, QStringLiteral("/OPT/Tool/bin/tool")}}), running);
    ASSERT_NE(tool, nullptr);
    EXPECT_EQ(tool->processIdentifier, 11);
    EXPECT_EQ(itemRunningApplication(*dictionary({{VXApplicationIDKey, QStringLiteral("org.example.Web")}}), running),
              nullptr);
    // An item without an ID is never a process without one.
    EXPECT_EQ(itemRunningApplication(*VXMakeDictionary(), running), nullptr);
}
