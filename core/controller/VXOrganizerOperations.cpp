#include "VXOrganizerOperations.h"

#include "VXConfigurationKeys.h"
#include "VXControllerLogging.h"
#include "VXDictionaryExtensions.h"
#include "VXEventStreamExtensions.h"
#include "VXMainController.h"
#include "VXPropertyListSerialization.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"
#include "VXUserDefaultsExtensions.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXOrganizer", text);
}

const QString &pathOf(const VXDictionary &item)
{
    return item.value(VXPathKey).stringRef();
}

bool isPool(const VXDictionary &item)
{
    return pathOf(item) == VXPoolPathMarker;
}

bool isWindow(const VXDictionary &item)
{
    return pathOf(item) == VXWindowPathMarker;
}

VXArray *childrenOf(const VXDictionary &item)
{
    return item.value(VXChildrenKey).array();
}

bool hasChildren(const VXDictionary &item)
{
    const VXArray *children = childrenOf(item);
    return children && !children->isEmpty();
}

// A string value that is not empty (the keys a dragged item must carry).
bool hasText(const VXDictionary &item, const QString &key)
{
    const VXValue &value = item.value(key);
    return value.isString() && !value.stringRef().isEmpty();
}

bool isCompleteDraggedItem(const VXDictionary &item)
{
    return hasText(item, VXApplicationIDKey) && hasText(item, VXPathKey) && hasText(item, VXNameKey);
}

// The pool's member for the application identifier, or null.
VXDictionary *memberWithApplicationID(const VXDictionary &pool, const QString &applicationID)
{
    if (VXArray *members = childrenOf(pool)) {
        for (const VXValue &value : *members) {
            VXDictionary *member = value.dictionary();
            if (member && member->value(VXApplicationIDKey).stringRef() == applicationID)
                return member;
        }
    }
    return nullptr;
}

bool hasWindowNamed(const VXDictionary &member, const QString &name)
{
    const QString lowered = name.toLower();
    if (const VXArray *windows = childrenOf(member)) {
        for (const VXValue &value : *windows) {
            const VXDictionary *window = value.dictionary();
            if (window && window->value(VXNameKey).stringRef().toLower() == lowered)
                return true;
        }
    }
    return false;
}

// The configuration's application for the identifier with both "Name" and "Path", or null.
const VXDictionary *applicationWithID(const VXDictionary *configuration, const QString &applicationID)
{
    const VXDictionary *applications = configuration ? configuration->value(VXApplicationsKey).dictionary() : nullptr;
    if (!applications)
        return nullptr;
    for (const VXDictionary::Entry &entry : *applications) {
        const VXDictionary *application = entry.value.dictionary();
        if (application && application->value(VXApplicationIDKey).stringRef() == applicationID)
            return hasText(*application, VXNameKey) && hasText(*application, VXPathKey) ? application : nullptr;
    }
    return nullptr;
}

VXArray &ensureArray(VXDictionary &dictionary, const QString &key)
{
    if (VXArray *array = dictionary.value(key).array())
        return *array;
    VXArrayRef created = VXMakeArray();
    VXArray &array = *created;
    dictionary.insert(key, std::move(created));
    return array;
}

VXDictionaryRef makePoolItem(const QString &name, const QString &path, const QString &applicationID)
{
    VXDictionaryRef item = VXMakeDictionary();
    item->insert(VXNameKey, name);
    item->insert(VXPathKey, path);
    if (!applicationID.isNull())
        item->insert(VXApplicationIDKey, applicationID);
    item->insert(VXTypeKey, VXPoolItemType);
    return item;
}

// An application item of the application list (not a window, pool or pool item).
bool isApplicationListApplication(const VXDictionary &item)
{
    return !isPoolOrPoolItem(item) && !isWindow(item);
}

// An item that stands for an application on disk: an application, or a pool member made from
// one (not one that matches any application).
bool standsForApplication(const VXDictionary &item)
{
    if (isPool(item) || isWindow(item) || boolForKey(item, VXMatchAnyApplicationKey))
        return false;
    return !pathOf(item).isEmpty();
}

}   // namespace

VXArrayRef VXMergedEventLog(const VXArray *a, const VXArray *b, double from)
{
    constexpr double kOpen = std::numeric_limits<double>::infinity();
    struct Period {
        double begin;
        double end;
    };
    std::vector<Period> periods;
    for (const VXArray *log : {a, b}) {
        if (!log)
            continue;
        bool open = false;
        double begin = 0.0;
        for (const VXValue &value : *log) {
            const double number = value.toDouble();
            if (std::isnan(number))
                continue;
            if (number >= 0.0 && !open) {
                open = true;
                begin = number;
            } else if (number < 0.0 && open) {
                open = false;
                periods.push_back({begin, -number});
            }
        }
        if (open)
            periods.push_back({begin, kOpen});
    }
    std::sort(periods.begin(), periods.end(), [](const Period &x, const Period &y) { return x.begin < y.begin; });

    VXArrayRef merged = VXMakeArray();
    std::vector<Period> joined;
    for (Period period : periods) {
        period.begin = std::max(period.begin, from);
        if (period.end <= period.begin)
            continue;
        if (!joined.empty() && period.begin <= joined.back().end)
            joined.back().end = std::max(joined.back().end, period.end);
        else
            joined.push_back(period);
    }
    for (const Period &period : joined) {
        merged->append(period.begin);
        if (period.end != kOpen)
            merged->append(-period.end);
    }
    return merged;
}

VXOrganizerOperations::VXOrganizerOperations(VXMainController &controller) : m_controller(controller) { }

VXDictionary *VXOrganizerOperations::configurationDictionary() const
{
    return m_controller.configuration().get();
}

// ---- Cell values

QString VXOrganizerOperations::headerName(VXOrganizerList list)
{
    return tr(list == VXOrganizerList::Applications ? VXApplicationsHeaderTitle : VXPoolsHeaderTitle);
}

double VXOrganizerOperations::overallTime(VXOrganizerList list) const
{
    return list == VXOrganizerList::Applications ? m_controller.overallApplicationTime()
                                                 : m_controller.overallPoolTime();
}

std::optional<double> VXOrganizerOperations::headerTotal(VXOrganizerList list) const
{
    const double applicationTime = m_controller.overallApplicationTime();
    if (list == VXOrganizerList::Applications)
        return applicationTime;
    const double poolTime = m_controller.overallPoolTime();
    if (std::fabs(poolTime - applicationTime) > 0.99)
        return poolTime;
    return std::nullopt;
}

// ---- Renaming

bool VXOrganizerOperations::shouldEditItem(VXOrganizerList list, const VXDictionary &item) const
{
    if (list != VXOrganizerList::Pools || !isPoolOrPoolItem(item))
        return false;
    if (isPool(item) || isWindow(item))
        return true;
    const VXUserDefaults *defaults = VXUserDefaults::standard();
    return defaults && defaults->boolForKey(VXPoolsEditableApplicationNamesKey)
        && !boolForKey(item, VXMatchAnyApplicationKey);
}

void VXOrganizerOperations::editingDidBegin()
{
    m_controller.hibernation().pauseTransitorily();
}

bool VXOrganizerOperations::setObjectValue(VXOrganizerList list, const VXDictionaryRef &item, const VXValue &value)
{
    if (!item || !value.isString() || !shouldEditItem(list, *item))
        return false;
    const QString &name = value.stringRef();
    if (name == itemName(*item))
        return false;
    if (!isPool(*item) && trimmedString(name).isEmpty())
        return false;
    m_controller.pushUndoStateAndClearRedoStatesAfterDelay();
    item->insert(VXNameKey, name);
    m_controller.updateLists(this);
    return true;
}

// ---- Dragging out

VXPasteboardItem VXOrganizerOperations::writeItem(VXOrganizerList list, const VXDictionaryRef &item)
{
    if (!item)
        return {};
    if (list == VXOrganizerList::Pools && isPool(*item)) {
        m_itemToDelete = item;
        return {VXDeleteFromListPasteboardType, QByteArray()};
    }
    const std::optional<QByteArray> data = propertyListData(VXValue(item));
    if (!data) {
        qCWarning(lcController).noquote()
            << QStringLiteral("cannot write the dragged item \"%1\"").arg(itemName(*item));
        return {};
    }
    return {VXListItemPasteboardType, *data};
}

bool VXOrganizerOperations::deleteDraggedItem()
{
    const VXDictionaryRef item = std::exchange(m_itemToDelete, VXDictionaryRef());
    return item && m_controller.resets().deleteDraggedItem(item);
}

// ---- Dropping

VXDictionaryRef VXOrganizerOperations::draggedItemFromData(const QByteArray &data)
{
    VXDictionaryRef item = deeplyMutableDictionaryWithData(data);
    if (!item)
        qCWarning(lcController) << "a dropped list item is no property list of an item: refused";
    return item;
}

bool VXOrganizerOperations::validateDrop(VXOrganizerList list, const VXDictionary *proposedItem, int proposedChildIndex,
                                         const VXDictionary *dragged) const
{
    if (list != VXOrganizerList::Pools || !dragged)
        return false;
    if (!proposedItem)
        return true;   // empty space: a new pool
    if (proposedChildIndex != -1 || !isPool(*proposedItem))
        return false;
    if (!isCompleteDraggedItem(*dragged))
        return true;   // refused by the drop itself

    const QString &applicationID = dragged->value(VXApplicationIDKey).stringRef();
    const VXDictionary *member = memberWithApplicationID(*proposedItem, applicationID);
    if (!isWindow(*dragged))
        return !member || hasChildren(*member);
    if (member)
        return hasChildren(*member) && !hasWindowNamed(*member, dragged->value(VXNameKey).stringRef());
    return applicationWithID(configurationDictionary(), applicationID) != nullptr;
}

void VXOrganizerOperations::collect(std::vector<VXDictionaryRef> *collected, VXDictionary *entry) const
{
    if (collected && entry)
        collected->push_back(VXDictionaryRef(entry));
}

bool VXOrganizerOperations::dropItem(VXDictionary *pool, const VXDictionary &dragged,
                                     std::vector<VXDictionaryRef> *collected)
{
    VXDictionary *configuration = configurationDictionary();
    if (!configuration)
        return false;
    if (!pool) {
        VXDictionaryRef created = makePoolItem(QString(), VXPoolPathMarker, QString());
        created->insert(VXChildrenKey, VXMakeArray());
        pool = created.get();
        ensureArray(*configuration, VXPoolsKey).append(std::move(created));
        collect(collected, pool);
    }
    VXArray &members = ensureArray(*pool, VXChildrenKey);
    const QString &applicationID = dragged.value(VXApplicationIDKey).stringRef();
    VXDictionary *member = memberWithApplicationID(*pool, applicationID);

    if (!isWindow(dragged)) {
        if (member) {
            if (!hasChildren(*member))
                return false;
            member->remove(VXChildrenKey);   // it now covers the whole application
            collect(collected, member);
            return true;
        }
        VXDictionaryRef created = makePoolItem(dragged.value(VXNameKey).stringRef(), pathOf(dragged), applicationID);
        collect(collected, created.get());
        members.append(std::move(created));
        return true;
    }

    const QString &windowName = dragged.value(VXNameKey).stringRef();
    VXDictionaryRef window = makePoolItem(windowName, VXWindowPathMarker, applicationID);
    if (member) {
        if (!hasChildren(*member) || hasWindowNamed(*member, windowName))
            return false;
        collect(collected, member);
        collect(collected, window.get());
        childrenOf(*member)->append(std::move(window));
        return true;
    }
    const VXDictionary *application = applicationWithID(configuration, applicationID);
    if (!application)
        return false;
    VXDictionaryRef created
        = makePoolItem(application->value(VXNameKey).stringRef(), pathOf(*application), applicationID);
    collect(collected, created.get());
    collect(collected, window.get());
    VXArrayRef windows = VXMakeArray();
    windows->append(std::move(window));
    created->insert(VXChildrenKey, std::move(windows));
    members.append(std::move(created));
    return true;
}

void VXOrganizerOperations::carryHistory(const std::vector<VXDictionaryRef> &entries, const VXDictionary &dragged) const
{
    double first = 0.0;
    m_controller.exporter().getFirstTimestamp(&first, nullptr);
    const VXDictionary *configuration = configurationDictionary();
    const double last = configuration ? timeIntervalForKey(*configuration, VXLastTimestampKey) : 0.0;
    struct State {
        const QString &log;
        const QString &time;
        const QString &flag;
    };
    for (const State &state : {State {VXActiveLogKey, VXTimeKey, VXActiveKey},
                               State {VXFrontActiveLogKey, VXFrontTimeKey, VXFrontActiveKey}}) {
        for (const VXDictionaryRef &entry : entries) {
            VXArrayRef merged
                = VXMergedEventLog(entry->value(state.log).array(), dragged.value(state.log).array(), first);
            double total = 0.0;
            eventStreamClippedBetweenTimestamp(*merged, first, last, &total);
            setOrRemoveObject(*entry, merged->isEmpty() ? VXValue() : VXValue(merged), state.log);
            setTimeInterval(*entry, total, state.time);
            if (boolForKey(dragged, state.flag))
                setBool(*entry, true, state.flag);
        }
    }
}

bool VXOrganizerOperations::acceptDrop(VXOrganizerList list, const VXDictionaryRef &item, int childIndex,
                                       const VXDictionary *dragged, bool carryHistory)
{
    if (list != VXOrganizerList::Pools || childIndex != -1 || !dragged || !isCompleteDraggedItem(*dragged))
        return false;
    if (item && !isPool(*item))
        return false;

    m_controller.pushUndoStateAndClearRedoStatesAfterDelay();
    std::vector<VXDictionaryRef> collected;
    if (!dropItem(item.get(), *dragged, carryHistory ? &collected : nullptr)) {
        m_controller.popUndoStateAndCancelRedoStateClearing();
        return false;
    }
    if (carryHistory)
        this->carryHistory(collected, *dragged);
    m_controller.updateLists(this);
    return true;
}

bool VXOrganizerOperations::canMakePoolFromItem(const VXDictionary *item) const
{
    return item && !isPoolOrPoolItem(*item) && configurationDictionary();
}

bool VXOrganizerOperations::newPoolFromItem(const VXDictionaryRef &item)
{
    if (!canMakePoolFromItem(item.get()))
        return false;
    return acceptDrop(VXOrganizerList::Pools, VXDictionaryRef(), -1, item.get(), false);
}

// ---- Expansion

void VXOrganizerOperations::storeExpandedState(VXDictionary &item, bool expanded)
{
    setBool(item, expanded, VXExpandedKey);
}

bool VXOrganizerOperations::shouldAutoExpandItem(const VXDictionary &item)
{
    return isPoolOrPoolItem(item) && hasChildren(item);
}

// ---- The context menu

bool VXOrganizerOperations::contextMenuForItem(const VXDictionaryRef &item, bool fromEventLog, VXReportMenu &menu)
{
    if (!item || (m_view && m_view->isNotesEditorOpen()))
        return false;
    const bool inPoolList = isPoolOrPoolItem(*item);

    if (fromEventLog) {
        menu.addHeading(itemName(*item));
        const VXUserDefaults *defaults = VXUserDefaults::standard();
        const bool liveReportShowsLists = !defaults || defaults->integerForKey(VXLiveReportContentKey) == 0;
        if (hasChildren(*item) && liveReportShowsLists && m_view) {
            const bool expanded = m_view->isItemExpanded(*item);
            menu.addItem(tr(expanded ? VXCollapseTitle : VXExpandTitle), 0,
                         [this, item] { toggleExpansionViaMenuItem(item); });
        }
        menu.addSeparator();
    }
    if (isPool(*item)) {
        menu.addItem(tr(VXEditNotesTitle), 0, [this, item] { editNotesViaMenuItem(item); });
        menu.addSeparator();
    }
    menu.addItem(tr(VXResetTimerTitle), 0, [this, item] { resetTimerViaMenuItem(item); });
    menu.addSeparator();

    if (inPoolList) {
        if (!isPool(*item)) {
            const QString title = m_controller.matchAnyApplicationMenuTitle(item.get());
            if (!title.isEmpty())
                menu.addItem(title, 0, [this, item] { toggleMatchAnyApplicationViaMenuItem(item); });
        }
        menu.addItem(tr(VXRemoveFromListTitle), 0, [this, item] { deleteItemViaMenuItem(item, 0); });
    } else if (isApplicationListApplication(*item)) {
        if (!boolForKey(*item, VXActiveKey))
            menu.addItem(tr(VXRemoveFromListTitle), 0, [this, item] { deleteItemViaMenuItem(item, 0); });
        menu.addItem(tr(VXRemoveAndBlacklistTitle), -1, [this, item] { deleteItemViaMenuItem(item, -1); });
    }

    if (standsForApplication(*item) && QFileInfo::exists(pathOf(*item))) {
        menu.addSeparator();
        if (boolForKey(*item, VXActiveKey)) {
            menu.addItem(tr(VXBringToForegroundTitle), 0, [this, item] { activateApplicationViaMenuItem(item); });
            if (!VXApplicationIsSandboxed())
                menu.addItem(tr(VXQuitApplicationTitle), 0, [this, item] { quitApplicationViaMenuItem(item); });
        } else {
            menu.addItem(tr(VXLaunchApplicationTitle), 0, [this, item] { launchApplicationViaMenuItem(item); });
        }
    }
    return true;
}

void VXOrganizerOperations::toggleExpansionViaMenuItem(const VXDictionaryRef &item)
{
    if (item && m_view)
        m_view->setItemExpanded(item, !m_view->isItemExpanded(*item));
}

void VXOrganizerOperations::editNotesViaMenuItem(const VXDictionaryRef &item)
{
    if (item && isPool(*item) && m_view)
        m_view->editNotesForPool(item);
}

void VXOrganizerOperations::resetTimerViaMenuItem(const VXDictionaryRef &item)
{
    m_controller.resets().resetTimerViaMenuItem(item);
}

bool VXOrganizerOperations::toggleMatchAnyApplicationViaMenuItem(const VXDictionaryRef &item)
{
    return m_controller.toggleMatchAnyApplicationViaMenuItem(item.get());
}

bool VXOrganizerOperations::deleteItemViaMenuItem(const VXDictionaryRef &item, int tag)
{
    return m_controller.resets().deleteItemViaMenuItem(item, tag);
}

namespace {

// Runs one of the desktop's commands on the item's application and tells the view why when it
// cannot.
template <class Command>
bool runApplicationCommand(const VXDictionaryRef &item, VXOrganizerView *view, const char *failureMessage,
                           Command &&command)
{
    if (!item || !standsForApplication(*item))
        return false;
    QString whyNot;
    if (command(pathOf(*item), &whyNot))
        return true;
    const QString message = tr(failureMessage).arg(itemName(*item));
    qCWarning(lcController).noquote() << message << whyNot;
    if (view)
        view->reportFailure(message, whyNot);
    return false;
}

}   // namespace

bool VXOrganizerOperations::launchApplicationViaMenuItem(const VXDictionaryRef &item)
{
    return runApplicationCommand(item, m_view, VXCannotLaunchMessage, [this](const QString &path, QString *whyNot) {
        return m_controller.desktop().launchApplication(path, whyNot);
    });
}

bool VXOrganizerOperations::activateApplicationViaMenuItem(const VXDictionaryRef &item)
{
    return runApplicationCommand(item, m_view, VXCannotActivateMessage, [this](const QString &path, QString *whyNot) {
        return m_controller.desktop().activateApplication(path, whyNot);
    });
}

bool VXOrganizerOperations::quitApplicationViaMenuItem(const VXDictionaryRef &item)
{
    return runApplicationCommand(item, m_view, VXCannotQuitMessage, [this](const QString &path, QString *whyNot) {
        return m_controller.desktop().quitApplication(path, whyNot);
    });
}

// ---- Pool notes

QString VXOrganizerOperations::notesTitle(const VXDictionary &pool)
{
    return tr(VXNotesWindowTitle).arg(itemName(pool));
}

QString VXOrganizerOperations::poolNotes(const VXDictionary &pool)
{
    return pool.value(VXPoolNotesKey).toString();
}

bool VXOrganizerOperations::noteEditorDone(const VXDictionaryRef &pool, const QString &text)
{
    if (!pool || text == poolNotes(*pool))
        return false;
    m_controller.pushUndoStateAndClearRedoStatesAfterDelay();
    setOrRemoveObject(*pool, text.isEmpty() ? VXValue() : VXValue(text), VXPoolNotesKey);
    m_controller.updateLists(this);
    return true;
}
