// The benchmarks' synthetic configuration must look like the tracker's tree (or the figures
// measured on it mean nothing) and must be the same on every run (or they cannot be compared).

#include "VXHeavyConfiguration.h"
#include "VXPropertyListSerialization.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace {

const QString kApplications = QStringLiteral("Applications");
const QString kWindowsByName = QStringLiteral("Windows By Name");
const QString kChildren = QStringLiteral("Children");
const QString kActiveLog = QStringLiteral("Active Log");
const QString kFrontActiveLog = QStringLiteral("Front Active Log");
const QString kTime = QStringLiteral("Time");
const QString kFrontTime = QStringLiteral("Front Time");
const QString kActive = QStringLiteral("Active");
const QString kFrontActive = QStringLiteral("Front Active");
const QString kName = QStringLiteral("Name");
const QString kPath = QStringLiteral("Path");
const QString kType = QStringLiteral("Type");
const QString kPools = QStringLiteral("Pools");

VXHeavyConfigurationParameters smallParameters()
{
    VXHeavyConfigurationParameters parameters;
    parameters.applicationCount = 30;
    parameters.windowCount = 700;
    parameters.poolCount = 6;
    parameters.membersPerPool = 4;
    parameters.eventLogNumbers = 40001;   // odd: one log must stay open to keep the total
    return parameters;
}

// Checks one item's logs against its times and flags; answers the numbers it holds.
std::int64_t checkLogs(const VXDictionary &item, const VXHeavyConfigurationParameters &parameters)
{
    std::int64_t numbers = 0;
    const double now = parameters.firstTimestamp + parameters.span;
    for (const auto &[logKey, timeKey, flagKey] :
         {std::tuple {kActiveLog, kTime, kActive}, std::tuple {kFrontActiveLog, kFrontTime, kFrontActive}}) {
        const VXArray *log = item.value(logKey).array();
        if (!log) {
            EXPECT_FALSE(item.contains(timeKey));
            continue;
        }
        double previous = parameters.firstTimestamp;
        double covered = 0.0;
        for (std::size_t i = 0; i < log->size(); ++i) {
            const VXValue &number = log->at(i);
            EXPECT_TRUE(number.isReal());
            const double t = number.toDouble();
            // +t opens, -t closes, alternately, in increasing |t| within the year.
            EXPECT_EQ(t > 0, i % 2 == 0) << "at " << i;
            EXPECT_GT(std::fabs(t), previous + 0.001) << "at " << i;
            EXPECT_LE(std::fabs(t), now);
            if (i % 2 == 1)
                covered += std::fabs(t) - std::fabs(log->at(i - 1).toDouble());
            previous = std::fabs(t);
        }
        const bool open = log->size() % 2 == 1;
        if (open)
            covered += now - log->last().toDouble();
        EXPECT_EQ(item.value(flagKey).toBool(), open) << qPrintable(logKey);
        EXPECT_NEAR(item.value(timeKey).toDouble(), covered, 1e-3 * std::max(1.0, covered));
        numbers += static_cast<std::int64_t>(log->size());
    }
    return numbers;
}

TEST(VXHeavyConfigurationTest, HasTheTrackersShapeAndTheAskedSize)
{
    const VXHeavyConfigurationParameters parameters = smallParameters();
    VXHeavyConfigurationSummary summary;
    const VXDictionaryRef root = VXMakeHeavyConfiguration(parameters, &summary);
    ASSERT_TRUE(root);

    const VXDictionary *applications = root->value(kApplications).dictionary();
    ASSERT_NE(applications, nullptr);
    EXPECT_EQ(applications->size(), 30u);
    std::int64_t numbers = 0;
    std::size_t windows = 0;
    std::size_t largest = 0;
    for (const VXDictionary::Entry &entry : *applications) {
        const VXDictionary &app = *entry.value.dictionary();
        EXPECT_EQ(app.value(QStringLiteral("Application ID")).toString(), entry.key);
        numbers += checkLogs(app, parameters);
        const VXDictionary *byName = app.value(kWindowsByName).dictionary();
        const VXArray *children = app.value(kChildren).array();
        ASSERT_TRUE(byName && children);
        ASSERT_EQ(byName->size(), children->size());
        largest = std::max(largest, byName->size());
        // Children lists the very objects filed by name, sorted by foreground time.
        double lastFrontTime = INFINITY;
        for (const VXValue &child : *children) {
            const VXDictionary &window = *child.dictionary();
            EXPECT_TRUE(child.isSameObject(byName->value(window.value(kName).toString())));
            EXPECT_EQ(window.value(kPath).toString(), QStringLiteral("_Window"));
            EXPECT_TRUE(window.value(QStringLiteral("PID")).isInteger());
            EXPECT_TRUE(window.value(QStringLiteral("Window Number")).isInteger());
            EXPECT_LE(window.value(kFrontTime).toDouble(), lastFrontTime);
            lastFrontTime = window.value(kFrontTime).toDouble();
            numbers += checkLogs(window, parameters);
        }
        windows += byName->size();
    }
    EXPECT_EQ(windows, 700u);
    EXPECT_GT(largest, 700u / 30u * 3) << "windows should be spread unevenly";

    const VXArray *pools = root->value(kPools).array();
    ASSERT_NE(pools, nullptr);
    EXPECT_EQ(pools->size(), 6u);
    int entries = 0;
    for (const VXValue &pool : *pools) {
        EXPECT_EQ(pool.dictionary()->value(kPath).toString(), QStringLiteral("_Pool"));
        EXPECT_EQ(pool.dictionary()->value(kType).toString(), QStringLiteral("Pool Item"));
        numbers += checkLogs(*pool.dictionary(), parameters);
        const VXArray &members = *pool.dictionary()->value(kChildren).array();
        EXPECT_EQ(members.size(), 4u);
        for (const VXValue &member : members) {
            EXPECT_EQ(member.dictionary()->value(kType).toString(), QStringLiteral("Pool Item"));
            numbers += checkLogs(*member.dictionary(), parameters);
            for (const VXValue &entry : *member.dictionary()->value(kChildren).array()) {
                numbers += checkLogs(*entry.dictionary(), parameters);
                ++entries;
            }
        }
    }
    EXPECT_EQ(numbers, 40001);
    EXPECT_EQ(summary.eventLogNumbers, 40001);
    EXPECT_EQ(summary.windows, 700);
    EXPECT_EQ(summary.poolMembers, 24);
    EXPECT_EQ(summary.windowEntries, entries);

    for (const QString &key : {QStringLiteral("Application Blacklist"), QStringLiteral("Window Blacklist")})
        EXPECT_FALSE(root->value(key).array()->isEmpty()) << qPrintable(key);
    EXPECT_TRUE(root->value(QStringLiteral("Cutoffs")).isDictionary());
    EXPECT_DOUBLE_EQ(root->value(QStringLiteral("Last Timestamp")).toDouble(),
                     parameters.firstTimestamp + parameters.span);
    EXPECT_GT(root->value(QStringLiteral("Overall Time")).toDouble(), 0.0);
}

TEST(VXHeavyConfigurationTest, DependsOnlyOnItsParameters)
{
    VXHeavyConfigurationParameters parameters = smallParameters();
    const VXValue first(VXMakeHeavyConfiguration(parameters));
    const VXValue second(VXMakeHeavyConfiguration(parameters));
    EXPECT_TRUE(first == second);
    EXPECT_FALSE(first.isSameObject(second));
    parameters.seed += 1;
    EXPECT_FALSE(first == VXValue(VXMakeHeavyConfiguration(parameters)));

    // The default size is the heavy year (checked on the summary alone, to stay quick).
    const VXHeavyConfigurationParameters heavy = VXScaledHeavyConfigurationParameters(1);
    EXPECT_EQ(heavy.applicationCount, 300);
    EXPECT_EQ(heavy.windowCount, 20000);
    EXPECT_EQ(heavy.eventLogNumbers, 2'000'000);
    EXPECT_EQ(VXScaledHeavyConfigurationParameters(10).windowCount, 2000);
}

TEST(VXHeavyConfigurationTest, SurvivesTheBinaryFileWithWindowsStillShared)
{
    const VXValue tree(VXMakeHeavyConfiguration(smallParameters()));
    const auto data = VXPropertyListSerialization::dataFromValue(tree, VXPropertyListSerialization::Format::Binary);
    ASSERT_TRUE(data.has_value());
    const VXValue back = VXPropertyListSerialization::valueFromBinaryData(*data);
    ASSERT_TRUE(back == tree);
    // The file holds each window once, so reading gives one object in both places.
    for (const VXDictionary::Entry &entry : *back.dictionary()->value(kApplications).dictionary()) {
        const VXDictionary &app = *entry.value.dictionary();
        for (const VXValue &child : *app.value(kChildren).array())
            ASSERT_TRUE(child.isSameObject(
                app.value(kWindowsByName).dictionary()->value(child.dictionary()->value(kName).toString())));
    }
}

}   // namespace
