#include "VXListedItems.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"

VXListedItems::VXListedItems(const VXArray *applicationList, const VXArray *poolList)
{
    addRows(applicationList, m_applicationRows);
    addRows(poolList, m_poolRows);
}

VXListedItems VXListedItems::fromConfiguration(const VXDictionary &configuration, bool showInactivePools)
{
    VXArrayRef applications = VXMakeArray();
    if (const VXDictionary *table = configuration.value(VXApplicationsKey).dictionary()) {
        for (const VXDictionary::Entry &entry : *table) {
            const VXDictionary *application = entry.value.dictionary();
            if (application && application->value(VXChildrenKey).isArray())
                applications->append(entry.value);
        }
    }
    VXArrayRef pools = VXMakeArray();
    if (const VXArray *all = configuration.value(VXPoolsKey).array()) {
        for (const VXValue &pool : *all) {
            if (const VXDictionary *dictionary = pool.dictionary()) {
                if (showInactivePools || boolForKey(*dictionary, VXActiveKey))
                    pools->append(pool);
            }
        }
    }
    return VXListedItems(applications.get(), pools.get());
}

void VXListedItems::addRows(const VXArray *items, std::unordered_set<const VXDictionary *> &rows)
{
    if (!items)
        return;
    for (const VXValue &value : *items) {
        const VXDictionary *item = value.dictionary();
        if (!item || !rows.insert(item).second)
            continue;
        if (boolForKey(*item, VXExpandedKey))
            addRows(item->value(VXChildrenKey).array(), rows);
    }
}

bool VXListedItems::applicationListHasRowForItem(const VXDictionary &item) const
{
    return m_applicationRows.count(&item) != 0;
}

bool VXListedItems::poolListHasRowForItem(const VXDictionary &item) const
{
    return m_poolRows.count(&item) != 0;
}
