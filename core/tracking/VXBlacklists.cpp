#include "VXBlacklists.h"

#include "VXConfigurationKeys.h"
#include "VXSorting.h"
#include "VXStringExtensions.h"
#include "VXTrackingLogging.h"

#include <algorithm>

namespace {

const QChar kNewline = u'\n';

QStringList stringsOf(const VXArray &array)
{
    QStringList strings;
    strings.reserve(static_cast<qsizetype>(array.size()));
    for (const VXValue &value : array)
        strings.append(value.stringRef());
    return strings;
}

}   // namespace

VXArray &blacklistWithName(VXDictionary &configuration, const QString &name)
{
    const VXValue &value = configuration.value(name);
    if (VXArray *stored = value.array())
        return *stored;
    if (!value.isNull())
        qCWarning(lcTracking).noquote() << QStringLiteral("<%1> is not a list; starting it anew").arg(name);
    VXArrayRef created = VXMakeArray();
    created->append(name == VXWindowBlacklistKey ? VXDefaultWindowBlacklistEntry : VXDefaultApplicationBlacklistEntry);
    VXArray &result = *created;
    configuration.insert(name, std::move(created));
    return result;
}

QStringList VXApplicationBlacklistPatterns(const VXArray &entries)
{
    QStringList patterns;
    patterns.reserve(static_cast<qsizetype>(entries.size()));
    for (const VXValue &entry : entries)
        patterns.append(trimmedApplicationNameByIgnoringExtension(entry.stringRef()));
    return patterns;
}

VXPreprocessedWindowBlacklist VXPreprocessWindowBlacklist(const VXArray &lines)
{
    VXPreprocessedWindowBlacklist result;
    const QString triangle = rightTriangleArrowString();
    for (const VXValue &value : lines) {
        const QString &line = value.stringRef();
        const qsizetype split = line.indexOf(triangle);
        if (split < 0) {
            result.unqualified.append(line);
            continue;
        }
        const QString qualifier = trimmedApplicationNameByIgnoringExtension(line.left(split));
        const QString windowPart = trimmedString(line.mid(split + triangle.size()));
        if (!qualifier.isEmpty() && qualifier != QLatin1StringView("*"))
            result.qualified.push_back({qualifier, windowPart.isEmpty() ? QStringLiteral("*") : windowPart});
        else
            result.unqualified.append(windowPart);
    }
    return result;
}

void VXSortBlacklist(VXArray &blacklist)
{
    std::vector<VXValue> &items = blacklist.items();
    std::stable_sort(items.begin(), items.end(), [](const VXValue &a, const VXValue &b) {
        return VXSortStrings(a.stringRef(), b.stringRef()) == VXOrderedAscending;
    });
}

QString VXBlacklistText(const VXArray &blacklist)
{
    return stringsOf(blacklist).join(kNewline);
}

void VXSetBlacklistText(VXDictionary &configuration, const QString &name, const QString &text)
{
    VXArray &blacklist = blacklistWithName(configuration, name);
    blacklist.clear();
    for (QStringView line : QStringView(text).split(kNewline))
        blacklist.append(line.toString());
}

VXDictionary *cutoffs(const VXDictionary &configuration)
{
    return configuration.value(VXCutoffsKey).dictionary();
}

QStringList VXSeparatorsForApplication(const VXDictionary *cutoffs, const QString &applicationName)
{
    if (!cutoffs || cutoffs->isEmpty())
        return {};
    const VXDictionary *entry = cutoffs->value(applicationName.toLower()).dictionary();
    const VXArray *separators = entry ? entry->value(VXSeparatorsKey).array() : nullptr;
    return separators ? stringsOf(*separators) : QStringList();
}
