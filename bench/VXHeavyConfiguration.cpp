#include "VXHeavyConfiguration.h"
#include "VXSeededRandom.h"

#include <QString>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// The tree's vocabulary, as the tracker writes it.
const QString kApplicationsKey = QStringLiteral("Applications");
const QString kPoolsKey = QStringLiteral("Pools");
const QString kApplicationBlacklistKey = QStringLiteral("Application Blacklist");
const QString kWindowBlacklistKey = QStringLiteral("Window Blacklist");
const QString kCutoffsKey = QStringLiteral("Cutoffs");
const QString kSeparatorsKey = QStringLiteral("Separators");
const QString kLastTimestampKey = QStringLiteral("Last Timestamp");
const QString kFirstTimestampKey = QStringLiteral("First Timestamp");
const QString kFirstPoolTimestampKey = QStringLiteral("First Pool Timestamp");
const QString kOverallTimeKey = QStringLiteral("Overall Time");
const QString kOverallPoolTimeKey = QStringLiteral("Overall Pool Time");
const QString kNameKey = QStringLiteral("Name");
const QString kPathKey = QStringLiteral("Path");
const QString kApplicationIDKey = QStringLiteral("Application ID");
const QString kWindowsByNameKey = QStringLiteral("Windows By Name");
const QString kChildrenKey = QStringLiteral("Children");
const QString kTypeKey = QStringLiteral("Type");
const QString kMatchAnyApplicationKey = QStringLiteral("Match Any Application");
const QString kPoolNotesKey = QStringLiteral("Pool Notes");
const QString kExpandedKey = QStringLiteral("Expanded");
const QString kActiveKey = QStringLiteral("Active");
const QString kFrontActiveKey = QStringLiteral("Front Active");
const QString kTimeKey = QStringLiteral("Time");
const QString kFrontTimeKey = QStringLiteral("Front Time");
const QString kActiveLogKey = QStringLiteral("Active Log");
const QString kFrontActiveLogKey = QStringLiteral("Front Active Log");
const QString kPIDKey = QStringLiteral("PID");
const QString kWindowNumberKey = QStringLiteral("Window Number");
const QString kPoolItemType = QStringLiteral("Pool Item");
const QString kWindowPath = QStringLiteral("_Window");
const QString kPoolPath = QStringLiteral("_Pool");

// The smallest step between two samples, so that no two numbers of a log are the same time.
constexpr double kMinimumStep = 0.5;

using Random = VXSeededRandom;

const char16_t *const kWords[] = {
    u"Report", u"Budget",  u"Invoice",   u"Notes",   u"Draft",   u"Summary",    u"Roadmap", u"Minutes",
    u"Inbox",  u"Outline", u"Release",   u"Review",  u"Design",  u"Plan",       u"Sketch",  u"Index",
    u"Résumé", u"Café",    u"Überblick", u"Entwurf", u"Задачи",  u"日本語メモ", u"设计稿",  u"Ελληνικά",
    u"naïve",  u"Señal",   u"🙂 chat", u"Straße",  u"Projekt", u"Kalender",   u"Journal", u"Backlog",
};
const char16_t *const kSuffixes[] = {
    u".odt",       u".txt",         u".pdf", u".cpp", u".md",         u" — Editor",
    u" - Browser", u" (read-only)", u"",     u"",     u" [modified]", u".ods",
};
const char16_t *const kApplicationWords[] = {
    u"Text", u"Mail",  u"Web",  u"Terminal", u"Office", u"Paint", u"Music",  u"Video",   u"Notes",
    u"Chat", u"Files", u"Code", u"Calc",     u"Draw",   u"Maps",  u"Photos", u"Weather", u"Clock",
};

QString word(Random &random)
{
    return QString::fromUtf16(random.pick(kWords));
}

// One application, window, pool, member or window entry, before its logs are made.
struct Item {
    VXDictionaryRef dictionary;
    double weight = 1.0;   // share of the event-log numbers
    double lifeBegin = 0.0;   // the part of the year in which the item was seen
    double lifeEnd = 0.0;
    std::int64_t activeNumbers = 0;
    std::int64_t frontNumbers = 0;
};

// Fills one event log with `count` numbers between begin and end: +t opens a period, -t closes
// it, in increasing |t|; an odd count leaves the last period open. Answers the time covered,
// counting an open period up to `now`.
double fillLog(VXArray &log, std::int64_t count, double begin, double end, double now, Random &random)
{
    log.reserve(static_cast<std::size_t>(count));
    if (count <= 0)
        return 0.0;
    const double room = std::max(0.0, end - begin - kMinimumStep * static_cast<double>(count + 1));
    // Exponential steps normalised to the room left, each at least one sample long.
    std::vector<double> steps(static_cast<std::size_t>(count + 1));
    double total = 0.0;
    for (double &step : steps) {
        step = random.exponential();
        total += step;
    }
    const double scale = total > 0 ? room / total : 0.0;
    double t = begin;
    double covered = 0.0;
    double opened = 0.0;
    for (std::int64_t i = 0; i < count; ++i) {
        t += kMinimumStep + steps[static_cast<std::size_t>(i)] * scale;
        // Samples carry the wall clock's milliseconds.
        const double stamp = std::round(t * 1000.0) / 1000.0;
        if (i % 2 == 0) {
            opened = stamp;
            log.append(stamp);
        } else {
            covered += stamp - opened;
            log.append(-stamp);
        }
    }
    if (count % 2 == 1)
        covered += std::max(0.0, now - opened);
    return covered;
}

// Splits `total` numbers over the items by weight, in pairs so that logs stay closed.
void allocateNumbers(std::vector<Item *> &items, std::int64_t total)
{
    double weights = 0.0;
    for (const Item *item : items)
        weights += item->weight;
    const std::int64_t pairs = total / 2;
    std::int64_t given = 0;
    std::vector<std::int64_t> itemPairs(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        itemPairs[i]
            = weights > 0 ? static_cast<std::int64_t>(static_cast<double>(pairs) * items[i]->weight / weights) : 0;
        given += itemPairs[i];
    }
    for (std::size_t i = 0; given < pairs && !items.empty(); i = (i + 1) % items.size()) {
        ++itemPairs[i];
        ++given;
    }
    for (std::size_t i = 0; i < items.size(); ++i) {
        // About two thirds of an item's periods are active ones, the rest frontmost ones.
        const std::int64_t frontPairs = itemPairs[i] / 3;
        items[i]->frontNumbers = 2 * frontPairs;
        items[i]->activeNumbers = 2 * (itemPairs[i] - frontPairs);
    }
    if (total % 2 == 1 && !items.empty())
        ++items.front()->activeNumbers;
}

void setFlag(VXDictionary &item, const QString &key, bool on)
{
    if (on)
        item.insert(key, true);
}

}   // namespace

VXHeavyConfigurationParameters VXScaledHeavyConfigurationParameters(int factor)
{
    VXHeavyConfigurationParameters parameters;
    factor = std::max(factor, 1);
    parameters.applicationCount = std::max(1, parameters.applicationCount / factor);
    parameters.windowCount = std::max(1, parameters.windowCount / factor);
    parameters.poolCount = std::max(1, parameters.poolCount / factor);
    parameters.eventLogNumbers = std::max<std::int64_t>(2, parameters.eventLogNumbers / factor);
    return parameters;
}

VXHeavyConfigurationParameters VXHeavyConfigurationParametersForYears(int years, double lastTimestamp)
{
    VXHeavyConfigurationParameters parameters;
    years = std::max(years, 1);
    const VXHeavyConfigurationParameters year;
    parameters.applicationCount = year.applicationCount + 100 * (years - 1);
    parameters.windowCount = year.windowCount * years;
    parameters.poolCount = year.poolCount + 10 * (years - 1);
    parameters.eventLogNumbers = year.eventLogNumbers * years;
    parameters.span = year.span * years;
    parameters.firstTimestamp = lastTimestamp - parameters.span;
    return parameters;
}

VXDictionaryRef VXMakeHeavyConfiguration(const VXHeavyConfigurationParameters &parameters,
                                         VXHeavyConfigurationSummary *summary)
{
    Random random(parameters.seed);
    const double first = parameters.firstTimestamp;
    const double now = first + parameters.span;
    const int applicationCount = std::max(parameters.applicationCount, 1);

    VXHeavyConfigurationSummary made;
    std::vector<Item> applications(static_cast<std::size_t>(applicationCount));
    std::vector<std::vector<Item>> windows(applications.size());
    std::vector<Item> poolItems;   // pools, members and window entries, in tree order
    std::vector<VXDictionaryRef> pools;

    // Applications: an ID (a desktop-file ID, or the executable's path when there is none), a
    // name and a path.
    for (int a = 0; a < applicationCount; ++a) {
        Item &item = applications[static_cast<std::size_t>(a)];
        item.dictionary = VXMakeDictionary();
        VXDictionary &app = *item.dictionary;
        const QString base = QString::fromUtf16(random.pick(kApplicationWords)) + QString::number(a);
        const bool hasEntry = !random.chance(0.1);
        const QString path = hasEntry ? QStringLiteral("/usr/share/applications/org.example.%1.desktop").arg(base)
                                      : QStringLiteral("/opt/%1/bin/%2").arg(base, base.toLower());
        app.insert(kNameKey, hasEntry ? base : base.toLower());
        app.insert(kPathKey, path);
        app.insert(kApplicationIDKey, hasEntry ? QStringLiteral("org.example.%1").arg(base) : path);
        setFlag(app, kExpandedKey, random.chance(0.05));
        item.weight = random.heavyWeight() * 40.0;
        item.lifeBegin = first + random.uniform() * 0.3 * parameters.span;
        item.lifeEnd = now;
        ++made.applications;
    }

    // Windows: one for each application, the rest spread by a skewed popularity (a browser and
    // an editor end up with thousands of titles, most applications with a few).
    const int windowCount = std::max(parameters.windowCount, applicationCount);
    std::vector<double> popularity(applications.size());
    double cumulative = 0.0;
    for (std::size_t a = 0; a < applications.size(); ++a) {
        cumulative += 1.0 / std::pow(static_cast<double>(a + 1), 1.1);
        popularity[a] = cumulative;
    }
    std::vector<int> windowsPerApplication(applications.size(), 1);
    for (int w = applicationCount; w < windowCount; ++w) {
        const double target = random.uniform() * cumulative;
        const auto found = std::lower_bound(popularity.begin(), popularity.end(), target);
        ++windowsPerApplication[static_cast<std::size_t>(
            std::min<std::ptrdiff_t>(found - popularity.begin(), applicationCount - 1))];
    }
    for (std::size_t a = 0; a < applications.size(); ++a) {
        const VXDictionary &app = *applications[a].dictionary;
        const QString applicationID = app.value(kApplicationIDKey).toString();
        const int pid = 1000 + random.below(400000);
        windows[a].resize(static_cast<std::size_t>(windowsPerApplication[a]));
        for (int w = 0; w < windowsPerApplication[a]; ++w) {
            Item &item = windows[a][static_cast<std::size_t>(w)];
            item.dictionary = VXMakeDictionary();
            VXDictionary &window = *item.dictionary;
            // Titles are unique within their application, as the tracker files them by title.
            const QString title = QStringLiteral("%1 %2 %3%4")
                                      .arg(word(random), word(random))
                                      .arg(w)
                                      .arg(QString::fromUtf16(random.pick(kSuffixes)));
            window.insert(kNameKey, title);
            window.insert(kPathKey, kWindowPath);
            window.insert(kPIDKey, pid + (random.chance(0.2) ? random.below(50) : 0));
            window.insert(kWindowNumberKey, 0x1e00000LL + random.below(0x1000000));
            window.insert(kApplicationIDKey, applicationID);
            item.weight = random.heavyWeight();
            item.lifeBegin = applications[a].lifeBegin + random.uniform() * (now - applications[a].lifeBegin) * 0.9;
            item.lifeEnd = std::min(now, item.lifeBegin + (0.01 + random.uniform() * 0.3) * parameters.span);
            ++made.windows;
        }
    }

    // Pools of members, each member an application with a few window patterns.
    for (int p = 0; p < parameters.poolCount; ++p) {
        Item poolItem;
        poolItem.dictionary = VXMakeDictionary();
        VXDictionary &pool = *poolItem.dictionary;
        pool.insert(kNameKey,
                    random.chance(0.2) ? QString() : QStringLiteral("Project %1 %2").arg(word(random)).arg(p));
        pool.insert(kPathKey, kPoolPath);
        pool.insert(kTypeKey, kPoolItemType);
        if (random.chance(0.3))
            pool.insert(kPoolNotesKey,
                        QStringLiteral("Billed to client %1; %2 and %3.").arg(p).arg(word(random), word(random)));
        setFlag(pool, kExpandedKey, random.chance(0.3));
        VXArrayRef members = VXMakeArray();
        pool.insert(kChildrenKey, members);
        poolItem.weight = random.heavyWeight() * 10.0;
        poolItem.lifeBegin = first + random.uniform() * 0.5 * parameters.span;
        poolItem.lifeEnd = now;
        pools.push_back(poolItem.dictionary);
        poolItems.push_back(poolItem);
        ++made.pools;

        for (int m = 0; m < parameters.membersPerPool; ++m) {
            Item memberItem;
            memberItem.dictionary = VXMakeDictionary();
            VXDictionary &member = *memberItem.dictionary;
            member.insert(kTypeKey, kPoolItemType);
            if (random.chance(0.05)) {
                member.insert(kNameKey, QString());
                member.insert(kMatchAnyApplicationKey, true);
            } else {
                const VXDictionary &app
                    = *applications[static_cast<std::size_t>(random.below(applicationCount))].dictionary;
                member.insert(kNameKey, app.value(kNameKey));
                member.insert(kPathKey, app.value(kPathKey));
                member.insert(kApplicationIDKey, app.value(kApplicationIDKey));
            }
            VXArrayRef entries = VXMakeArray();
            member.insert(kChildrenKey, entries);
            memberItem.weight = random.heavyWeight() * 3.0;
            memberItem.lifeBegin = poolItem.lifeBegin;
            memberItem.lifeEnd = now;
            members->append(memberItem.dictionary);
            poolItems.push_back(memberItem);
            ++made.poolMembers;

            const int entryCount = random.below(4);
            for (int e = 0; e < entryCount; ++e) {
                Item entryItem;
                entryItem.dictionary = VXMakeDictionary();
                VXDictionary &entry = *entryItem.dictionary;
                entry.insert(kNameKey, QStringLiteral("*%1*").arg(word(random)));
                if (random.chance(0.5))
                    entry.insert(kPathKey, kWindowPath);
                entryItem.weight = random.heavyWeight();
                entryItem.lifeBegin = poolItem.lifeBegin;
                entryItem.lifeEnd = now;
                entries->append(entryItem.dictionary);
                poolItems.push_back(entryItem);
                ++made.windowEntries;
            }
        }
    }

    // Share the event-log numbers: applications and windows hold most of them.
    std::vector<Item *> everything;
    everything.reserve(applications.size() + static_cast<std::size_t>(made.windows) + poolItems.size());
    for (Item &item : applications)
        everything.push_back(&item);
    for (auto &list : windows)
        for (Item &item : list)
            everything.push_back(&item);
    for (Item &item : poolItems)
        everything.push_back(&item);
    allocateNumbers(everything, std::max<std::int64_t>(parameters.eventLogNumbers, 0));

    // A handful of items are active right now: their logs end with an open period. The numbers
    // this takes from them go to the longest closed log, so that the total stays as asked.
    std::int64_t moved = 0;
    for (std::size_t i = 0; i < everything.size() && i < 8; ++i) {
        Item &item = *everything[i];
        if (item.activeNumbers >= 2 && item.frontNumbers >= 2 && item.activeNumbers % 2 == 0) {
            --item.activeNumbers;
            --item.frontNumbers;
            item.lifeEnd = now;
            moved += 2;
        }
    }
    if (moved > 0) {
        Item *longest = nullptr;
        for (Item *item : everything)
            if (item->activeNumbers % 2 == 0 && (!longest || item->activeNumbers > longest->activeNumbers))
                longest = item;
        if (longest)
            longest->activeNumbers += moved;
    }

    double overallTime = 0.0;
    double overallPoolTime = 0.0;
    for (std::size_t i = 0; i < everything.size(); ++i) {
        Item &item = *everything[i];
        VXDictionary &dictionary = *item.dictionary;
        VXArrayRef activeLog = VXMakeArray();
        VXArrayRef frontLog = VXMakeArray();
        const double time = fillLog(*activeLog, item.activeNumbers, item.lifeBegin, item.lifeEnd, now, random);
        const double frontTime = fillLog(*frontLog, item.frontNumbers, item.lifeBegin, item.lifeEnd, now, random);
        setFlag(dictionary, kActiveKey, item.activeNumbers % 2 == 1);
        setFlag(dictionary, kFrontActiveKey, item.frontNumbers % 2 == 1);
        made.eventLogNumbers += static_cast<std::int64_t>(activeLog->size() + frontLog->size());
        if (!activeLog->isEmpty()) {
            dictionary.insert(kTimeKey, time);
            dictionary.insert(kActiveLogKey, activeLog);
        }
        if (!frontLog->isEmpty()) {
            dictionary.insert(kFrontTimeKey, frontTime);
            dictionary.insert(kFrontActiveLogKey, frontLog);
        }
        if (i < applications.size())
            overallTime += frontTime;
    }
    overallPoolTime = overallTime * 0.8;

    // File the windows by title and list them, the same objects, as children sorted by
    // foreground time and then name.
    VXDictionaryRef applicationsByID = VXMakeDictionary();
    applicationsByID->reserve(applications.size());
    for (std::size_t a = 0; a < applications.size(); ++a) {
        VXDictionary &app = *applications[a].dictionary;
        VXDictionaryRef byName = VXMakeDictionary();
        byName->reserve(windows[a].size());
        std::vector<VXDictionaryRef> listed;
        listed.reserve(windows[a].size());
        for (const Item &item : windows[a]) {
            byName->insertNew(item.dictionary->value(kNameKey).toString(), item.dictionary);
            listed.push_back(item.dictionary);
        }
        std::stable_sort(listed.begin(), listed.end(), [](const VXDictionaryRef &x, const VXDictionaryRef &y) {
            const double fx = x->value(kFrontTimeKey).toDouble();
            const double fy = y->value(kFrontTimeKey).toDouble();
            if (fx != fy)
                return fx > fy;
            return VXCompareCodePoints(x->value(kNameKey).stringRef(), y->value(kNameKey).stringRef()) < 0;
        });
        VXArrayRef children = VXMakeArray();
        children->reserve(listed.size());
        for (VXDictionaryRef &window : listed)
            children->append(std::move(window));
        app.insert(kWindowsByNameKey, byName);
        app.insert(kChildrenKey, children);
        applicationsByID->insertNew(app.value(kApplicationIDKey).toString(), applications[a].dictionary);
    }

    VXArrayRef poolList = VXMakeArray();
    for (VXDictionaryRef &pool : pools)
        poolList->append(pool);

    VXArrayRef applicationBlacklist = VXMakeArray();
    for (const char16_t *pattern : {u"Wendle", u"Screensaver*", u"*Helper", u"!Text*", u"Password Manager"})
        applicationBlacklist->append(QString::fromUtf16(pattern));
    VXArrayRef windowBlacklist = VXMakeArray();
    for (const char16_t *pattern : {u"http*://*", u"*Private Browsing*", u"Mail\u25B8*Draft*", u"*.key", u"Untitled*"})
        windowBlacklist->append(QString::fromUtf16(pattern));

    VXDictionaryRef cutoffs = VXMakeDictionary();
    for (std::size_t a = 0; a < applications.size() && a < 20; ++a) {
        VXDictionaryRef cutoff = VXMakeDictionary();
        VXArrayRef separators = VXMakeArray();
        separators->append(QStringLiteral(" \u2014 "));
        if (a % 2 == 0)
            separators->append(QStringLiteral(" - "));
        cutoff->insert(kSeparatorsKey, separators);
        cutoffs->insert(applications[a].dictionary->value(kNameKey).toString().toLower(), cutoff);
    }

    VXDictionaryRef root = VXMakeDictionary();
    root->insert(kApplicationsKey, applicationsByID);
    root->insert(kPoolsKey, poolList);
    root->insert(kApplicationBlacklistKey, applicationBlacklist);
    root->insert(kWindowBlacklistKey, windowBlacklist);
    root->insert(kCutoffsKey, cutoffs);
    root->insert(kLastTimestampKey, now);
    root->insert(kFirstTimestampKey, first);
    root->insert(kFirstPoolTimestampKey, first + 30.0 * 86400.0);
    root->insert(kOverallTimeKey, overallTime);
    root->insert(kOverallPoolTimeKey, overallPoolTime);

    if (summary)
        *summary = made;
    return root;
}
