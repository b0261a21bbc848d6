// Trees exported and read back as snapshots: every separator pair, an English and a German
// locale, awkward names. The snapshot must hold every period of the range, to the hundredth of
// a second, under the same names.

#include "VXCSVExport.h"
#include "VXPersistenceTestSupport.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportSnapshotParser.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>

using namespace Qt::StringLiterals;

using namespace vxtest;

namespace {

using Periods = std::vector<std::pair<double, double>>;
// Expected periods by path of names (pool, application, window as the snapshot files them).
struct Expected {
    std::map<QStringList, Periods> front;
    std::map<QStringList, Periods> total;
};

// The periods of a well-formed log inside [lo, hi], worked out on their own.
Periods periodsInside(const VXValue &log, double lo, double hi)
{
    Periods periods;
    const std::vector<double> values = doublesOf(log);
    for (std::size_t i = 0; i < values.size(); i += 2) {
        const double begin = std::max(values[i], lo);
        const double end
            = std::min(i + 1 < values.size() ? -values[i + 1] : std::numeric_limits<double>::infinity(), hi);
        if (begin < end)
            periods.emplace_back(begin, end);
    }
    return periods;
}

void expect(Expected &expected, const QStringList &path, const VXDictionary &item, double lo, double hi)
{
    Periods front = periodsInside(item.value(VXFrontActiveLogKey), lo, hi);
    Periods total = periodsInside(item.value(VXActiveLogKey), lo, hi);
    if (!front.empty())
        expected.front[path] = std::move(front);
    if (!total.empty())
        expected.total[path] = std::move(total);
}

std::vector<VXValue> itemsOf(const VXValue &array)
{
    return array.array() ? std::vector<VXValue>(array.array()->begin(), array.array()->end()) : std::vector<VXValue>();
}

struct RandomTree {
    VXDictionaryRef configuration = VXMakeDictionary();
    std::vector<double> times;   // every time in every log

    RandomTree(std::uint64_t seed, double begin, double end)
    {
        Random random(seed);
        const auto log = [&](int periods) {
            VXArrayRef made = randomLog(random, begin, end, periods);
            for (const VXValue &value : *made)
                times.push_back(std::fabs(value.toDouble()));
            return made;
        };
        int index = 0;
        for (int a = 0; a < 6; ++a) {
            const QString name = awkwardName(random, u"App"_s, ++index);
            VXArrayRef front = log(random.below(8));
            VXArrayRef total = log(random.below(8));
            const VXDictionaryRef application
                = addApplication(*configuration, u"org.example.app%1"_s.arg(a), withLogs(item(name), front, total));
            for (int w = random.below(5); w > 0; --w) {
                const QString windowName = awkwardName(random, u"Window"_s, ++index);
                VXArrayRef windowFront = log(random.below(6));
                VXArrayRef windowTotal = log(random.below(6));
                addWindow(*application, withLogs(item(windowName, VXWindowPathMarker), windowFront, windowTotal));
            }
        }
        for (int p = 0; p < 3; ++p) {
            // One draw per statement, so that the tree is the same with every compiler.
            const QString poolName = awkwardName(random, u"Pool"_s, ++index);
            const QString notes = random.chance(0.5) ? awkwardName(random, u"note"_s, ++index) : QString();
            VXArrayRef poolFront = log(random.below(6));
            VXArrayRef poolTotal = log(random.below(6));
            const VXDictionaryRef pool
                = addPool(*configuration, withLogs(makePool(poolName, notes), poolFront, poolTotal));
            for (int m = random.below(3); m > 0; --m) {
                const QString memberName = awkwardName(random, u"Member"_s, ++index);
                VXArrayRef memberFront = log(random.below(5));
                VXArrayRef memberTotal = log(random.below(5));
                const VXDictionaryRef member
                    = addChild(*pool, withLogs(makeMember(memberName), memberFront, memberTotal));
                for (int e = random.below(3); e > 0; --e) {
                    const QString entryName = awkwardName(random, u"Entry"_s, ++index);
                    VXArrayRef entryFront = log(random.below(4));
                    VXArrayRef entryTotal = log(random.below(4));
                    addChild(*member, withLogs(item(entryName), entryFront, entryTotal));
                }
            }
        }
    }

    Expected expected(double lo, double hi) const
    {
        Expected result;
        const QString applications = VXApplicationsKey;
        for (const VXDictionary::Entry &entry : *configuration->value(VXApplicationsKey).dictionary()) {
            const VXDictionary &application = *entry.value.dictionary();
            const QString name = application.value(VXNameKey).toString();
            expect(result, {applications, name}, application, lo, hi);
            if (const VXDictionary *windows = application.value(VXWindowsByNameKey).dictionary()) {
                for (const VXDictionary::Entry &window : *windows)
                    expect(result, {applications, name, window.key}, *window.value.dictionary(), lo, hi);
            }
        }
        const QString pools = VXPoolsKey;
        for (const VXValue &poolValue : *configuration->value(VXPoolsKey).array()) {
            const VXDictionary &pool = *poolValue.dictionary();
            const QString poolName = pool.value(VXNameKey).toString();
            expect(result, {pools, poolName}, pool, lo, hi);
            for (const VXValue &memberValue : itemsOf(pool.value(VXChildrenKey))) {
                const VXDictionary &member = *memberValue.dictionary();
                const QString memberName = member.value(VXNameKey).toString();
                expect(result, {pools, poolName, memberName}, member, lo, hi);
                for (const VXValue &entryValue : itemsOf(member.value(VXChildrenKey)))
                    expect(result, {pools, poolName, memberName, entryValue.dictionary()->value(VXNameKey).toString()},
                           *entryValue.dictionary(), lo, hi);
            }
        }
        return result;
    }
};

// Every log of the snapshot, by path of names.
void readBack(const VXDictionary &node, QStringList path, std::map<QStringList, Periods> &front,
              std::map<QStringList, Periods> &total)
{
    const auto periods = [](const VXValue &log) {
        Periods result;
        const std::vector<double> values = doublesOf(log);
        for (std::size_t i = 0; i + 1 < values.size(); i += 2)
            result.emplace_back(values[i], -values[i + 1]);
        return result;
    };
    if (!path.isEmpty()) {
        if (node.contains(VXFrontActiveLogKey))
            front[path] = periods(node.value(VXFrontActiveLogKey));
        if (node.contains(VXActiveLogKey))
            total[path] = periods(node.value(VXActiveLogKey));
    }
    if (const VXDictionary *children = node.value(VXChildrenKey).dictionary()) {
        for (const VXDictionary::Entry &child : *children)
            readBack(*child.value.dictionary(), path + QStringList {child.key}, front, total);
    }
}

void compare(const std::map<QStringList, Periods> &expected, const std::map<QStringList, Periods> &read,
             const char *stream)
{
    ASSERT_EQ(expected.size(), read.size()) << stream;
    for (const auto &[path, periods] : expected) {
        const auto found = read.find(path);
        ASSERT_NE(found, read.end()) << stream << " " << path.join(u" / "_s).toStdString();
        ASSERT_EQ(found->second.size(), periods.size()) << path.join(u" / "_s).toStdString();
        for (std::size_t i = 0; i < periods.size(); ++i) {
            // Written with two fraction digits: the hundredth nearest to each time.
            EXPECT_NEAR(found->second[i].first, periods[i].first, 0.005 + 1e-6);
            EXPECT_NEAR(found->second[i].second, periods[i].second, 0.005 + 1e-6);
        }
    }
}

}   // namespace

TEST(VXCSVRoundTrip, RandomTreesComeBackWithTheSameIntervalsToTheHundredthWithEverySeparatorInBothLocales)
{
    VXEnsureCoreApplication();
    LogCapture quiet;
    const double begin = 1'700'000'000.0;
    const double end = begin + 86400.0;
    int checked = 0;
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        const RandomTree tree(seed, begin, end);
        // A range that cuts periods, its ends on hundredths and clear of every logged time.
        Random random(seed * 31);
        double lo = 0;
        double hi = 0;
        for (bool clear = false; !clear;) {
            lo = std::round((begin + random.uniform() * 20000.0) * 100.0) / 100.0;
            hi = std::round((end - random.uniform() * 20000.0) * 100.0) / 100.0;
            clear = std::none_of(tree.times.begin(), tree.times.end(),
                                 [&](double t) { return std::fabs(t - lo) < 0.05 || std::fabs(t - hi) < 0.05; });
        }
        const Expected expected = tree.expected(lo, hi);
        std::size_t periods = 0;
        for (const auto *streams : {&expected.front, &expected.total})
            for (const auto &[path, list] : *streams)
                periods += list.size();
        ASSERT_GT(periods, 60u);

        for (const QLocale &locale :
             {QLocale(QLocale::English, QLocale::UnitedStates), QLocale(QLocale::German, QLocale::Germany)}) {
            for (int column = 0; column < 3; ++column) {
                for (int row = 0; row < 3; ++row) {
                    SCOPED_TRACE(::testing::Message() << "seed " << seed << " " << locale.name().toStdString()
                                                      << " column separator " << column << " row separator " << row);
                    VXExportSettings settings;
                    settings.pool = settings.poolNotes = settings.application = settings.window = settings.front
                        = settings.total = true;
                    settings.columnSeparator = VXColumnSeparatorForValue(column);
                    settings.rowSeparator = VXRowSeparatorForValue(row);
                    QByteArray data;
                    {
                        ScopedLocale exporting(locale);
                        data = *CSVDataWithBeginTimestamp(tree.configuration.get(), lo, hi, settings, nullptr);
                    }
                    // Read in the other locale: the file's own separators decide.
                    const VXDictionaryRef root = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(
                        data, u"/tmp/round-trip.csv"_s, QChar(u'x'));
                    ASSERT_TRUE(root);
                    std::map<QStringList, Periods> front;
                    std::map<QStringList, Periods> total;
                    readBack(*root, {}, front, total);
                    compare(expected.front, front, "foreground");
                    compare(expected.total, total, "total");
                    EXPECT_TRUE(boolForKey(*root, VXForegroundActivityKey));
                    EXPECT_TRUE(boolForKey(*root, VXTotalActivityKey));
                    ++checked;
                }
            }
        }
    }
    EXPECT_EQ(checked, 4 * 2 * 9);
}
