#include "VXLoginItems.h"

#include "VXControllerLogging.h"
#include "VXRegisteredDefaults.h"
#include "VXScheduler.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

const QString kShowHiddenLoginItemWarningOperation = QStringLiteral("showHiddenLoginItemWarning");
constexpr double kHiddenLoginItemWarningDelay = 0.5;

const char *const kAlertContext = "VXLoginItems";
const char *const kHiddenTitle = QT_TRANSLATE_NOOP("VXLoginItems", "%@ Login Item set to Hidden");
const char *const kHiddenText = QT_TRANSLATE_NOOP(
    "VXLoginItems",
    "%@ may not function properly if set to run at login and marked Hidden. To make sure %@ works as expected, "
    "click the button below to remove the Hidden option from %@'s Login Items entry.");
const char *const kHiddenButton = QT_TRANSLATE_NOOP("VXLoginItems", "Unhide %@");

QString withName(const char *text, const QString &name)
{
    return QCoreApplication::translate(kAlertContext, text).replace(QLatin1String("%@"), name);
}

}   // namespace

VXLoginItems::VXLoginItems(VXLoginItemsList &list, const QString &bundlePath, const QString &bundleName) :
    m_list(list), m_bundlePath(bundlePath), m_bundleFileName(QFileInfo(bundlePath).fileName().toLower()),
    m_bundleName(bundleName)
{
}

bool VXLoginItems::isOurs(const QString &path) const
{
    return !path.isEmpty() && path.compare(m_bundlePath, Qt::CaseInsensitive) == 0;
}

bool VXLoginItems::isStrayCopy(const QString &path) const
{
    return !path.isEmpty() && !isOurs(path) && QFileInfo(path).fileName().toLower() == m_bundleFileName;
}

bool VXLoginItems::setLoginItem(bool enable, bool showAlert)
{
    Q_UNUSED(showAlert);
    if (m_bundlePath.isEmpty())
        return false;
    if (!m_list.open()) {
        qCWarning(lcController).noquote() << "[VXLoginItem] cannot create shared file list";
        return false;
    }
    QList<VXLoginItemsListEntry> entries;
    if (!m_list.snapshot(entries)) {
        qCWarning(lcController).noquote() << "[VXLoginItem] cannot access login items";
        return false;
    }
    bool result = false;
    bool present = false;
    for (const VXLoginItemsListEntry &entry : entries) {
        if (entry.path.isEmpty())
            continue;
        const bool ours = isOurs(entry.path);
        if (ours && enable) {
            // A damaged entry of ours is written again; one that cannot be counts as missing.
            present = !entry.damaged || m_list.repair(entry, m_bundlePath);
            if (!present)
                qCWarning(lcController).noquote() << "[VXLoginItem] cannot repair login item:" << entry.location;
            continue;
        }
        if (!ours && !isStrayCopy(entry.path))
            continue;
        if (m_list.remove(entry))
            result = result || (ours && !enable);
        else
            qCWarning(lcController).noquote() << "[VXLoginItem] cannot remove login item:" << entry.location;
    }
    if (!enable)
        return result;
    if (present)
        return true;
    if (m_list.insert(m_bundlePath))
        return true;
    qCWarning(lcController).noquote() << "[VXLoginItem] cannot insert login item";
    return false;
}

bool VXLoginItems::findOurs(VXLoginItemsListEntry *ours)
{
    if (m_bundlePath.isEmpty())
        return false;
    if (!m_list.open()) {
        qCWarning(lcController).noquote()
            << "[VXLoginItem] cannot create shared file list while determining login item status";
        return false;
    }
    QList<VXLoginItemsListEntry> entries;
    if (!m_list.snapshot(entries)) {
        qCWarning(lcController).noquote()
            << "[VXLoginItem] cannot access login items while determining login item status";
        return false;
    }
    for (const VXLoginItemsListEntry &entry : entries) {
        if (entry.path.isEmpty()) {
            qCWarning(lcController).noquote()
                << "[VXLoginItem] cannot resolve login item while determining login item status";
            continue;
        }
        if (isOurs(entry.path)) {
            if (ours)
                *ours = entry;
            return true;
        }
    }
    return false;
}

bool VXLoginItems::isLoginItem()
{
    return findOurs(nullptr);
}

bool VXLoginItems::isLoginItemHidden()
{
    VXLoginItemsListEntry ours;
    return findOurs(&ours) && ours.hidden;
}

bool VXLoginItems::enableAtLaunch(const VXUserDefaults &defaults)
{
    return defaults.boolForKey(VXDefaultsKey::kEnableLoginItemAutomatically) && setLoginItem(true, true);
}

bool VXLoginItems::disableAtQuit(const VXUserDefaults &defaults)
{
    return defaults.boolForKey(VXDefaultsKey::kDisableLoginItemAutomatically) && setLoginItem(false, true);
}

void VXLoginItems::showHiddenLoginItemWarningAfterDelay(VXScheduler &scheduler, VXLoginItemDelegate &delegate)
{
    scheduler.cancel(this, kShowHiddenLoginItemWarningOperation);
    scheduler.performAfterDelay(this, kShowHiddenLoginItemWarningOperation, kHiddenLoginItemWarningDelay,
                                [this, &delegate] { showHiddenLoginItemWarning(delegate); });
}

bool VXLoginItems::showHiddenLoginItemWarning(VXLoginItemDelegate &delegate)
{
    if (!delegate.isApplicationHidden())
        return false;
    VXLoginItemsListEntry ours;
    if (!findOurs(&ours) || !ours.hidden)
        return false;
    if (!delegate.showHiddenLoginItemAlert(withName(kHiddenTitle, m_bundleName), withName(kHiddenText, m_bundleName),
                                           withName(kHiddenButton, m_bundleName)))
        return false;
    if (!m_list.remove(ours)) {
        qCWarning(lcController).noquote() << "[VXLoginItem] cannot remove login item:" << ours.location;
        return false;
    }
    if (m_list.insert(m_bundlePath))
        return true;
    qCWarning(lcController).noquote() << "[VXLoginItem] cannot insert login item";
    return false;
}
