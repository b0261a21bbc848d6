#include "VXPreferenceHandlers.h"

#include "VXCSVExport.h"
#include "VXControllerLogging.h"
#include "VXExporter.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXRegisteredDefaults.h"
#include "VXResets.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <QCoreApplication>
#include <QDir>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXPreferenceHandlers", text);
}

QString fill(QString pattern, const QStringList &values)
{
    for (const QString &value : values) {
        const qsizetype at = pattern.indexOf(u"%@");
        if (at < 0)
            break;
        pattern.replace(at, 2, value);
    }
    return pattern;
}

}   // namespace

VXPreferenceHandlers::VXPreferenceHandlers(VXMainController &controller, VXUserDefaults &defaults) :
    m_controller(controller), m_defaults(defaults)
{
}

QString VXPreferenceHandlers::keyOfControl(VXPreferenceControl control)
{
    using C = VXPreferenceControl;
    switch (control) {
    case C::StatusItemSwitch: return VXStatusItemKey;
    case C::StatusItemIconSelector: return VXDefaultsKey::kStatusItemIcon;
    case C::ShowInactiveApplicationItemsSwitch: return VXShowInactiveApplicationItemsKey;
    case C::ShowInactivePoolsSwitch: return VXDefaultsKey::kShowInactivePools;
    case C::AutoResetApplicationTimersSwitch: return VXAutoResetApplicationsKey;
    case C::AutoResetPoolTimersSwitch: return VXAutoResetPoolsKey;
    case C::HibernationIntervalSelector: return VXDefaultsKey::kHibernationInterval;
    case C::ScreenLockCountsAsAwaySwitch: return VXDefaultsKey::kScreenLockCountsAsAway;
    case C::UpdateIntervalSlider: return VXUpdateIntervalKey;
    case C::LiveReportApplicationSwitch: return VXDefaultsKey::kLiveReportApplications;
    case C::LiveReportPoolSwitch: return VXDefaultsKey::kLiveReportPools;
    case C::LiveReportContentSelector: return VXLiveReportContentKey;
    case C::LiveReportDockSwitch: return VXShowActivityReportInDockKey;
    case C::LiveReportDesktopSwitch: return VXShowActivityReportOnDesktopKey;
    case C::LiveReportDesktopFractionSlider: return VXDefaultsKey::kShowActivityReportOnDesktopAlpha;
    case C::LiveReportMouseTrackingSwitch: return VXShowTimeAtMouseLocationKey;
    case C::ExportColumnPoolSwitch: return VXDefaultsKey::kExportColumnPool;
    case C::ExportColumnPoolInfoSwitch: return VXExportKey::kExportColumnPoolNotes;
    case C::ExportColumnApplicationSwitch: return VXDefaultsKey::kExportColumnApplication;
    case C::ExportColumnWindowSwitch: return VXDefaultsKey::kExportColumnWindow;
    case C::ExportColumnFrontSwitch: return VXDefaultsKey::kExportColumnFront;
    case C::ExportColumnTotalSwitch: return VXExportKey::kExportColumnTotal;
    case C::ExportContentSelector: return VXDefaultsKey::kExportedReportContent;
    case C::ExportColumnSeparatorSelector: return VXExportKey::kExportedReportColumnSeparator;
    case C::ExportRowSeparatorSelector: return VXExportKey::kExportedReportRowSeparator;
    case C::AutoExportSwitch: return VXAutoExportKey::kAutoExportReports;
    case C::AutoExportTimeSelector: return VXAutoExportHourKey;
    case C::AutoExportRangeSelector: return VXAutoExportKey::kAutoExportRange;
    case C::AutoExportFolderSelector: return VXAutoExportKey::kAutoExportFolder;
    }
    return QString();
}

// ---- The three handlers

// Turning one of a pair off while the other is off clicks the other on: never both off.
void VXPreferenceHandlers::setBoolKeepingOneOn(const QString &key, bool on, VXPreferenceControl other)
{
    m_defaults.setBool(on, key);
    if (!on && !m_defaults.boolForKey(keyOfControl(other)))
        toggleBooleanPreference(other, true);
}

void VXPreferenceHandlers::toggleBooleanPreference(VXPreferenceControl control, bool on)
{
    using C = VXPreferenceControl;
    const QString key = keyOfControl(control);
    switch (control) {
    case C::StatusItemSwitch: m_controller.setStatusItem(on); return;
    case C::ShowInactiveApplicationItemsSwitch: m_controller.setShowInactiveApplicationItems(on); return;
    case C::ShowInactivePoolsSwitch: m_controller.setShowInactivePools(on); return;
    case C::LiveReportApplicationSwitch: setBoolKeepingOneOn(key, on, C::LiveReportPoolSwitch); return;
    case C::LiveReportPoolSwitch: setBoolKeepingOneOn(key, on, C::LiveReportApplicationSwitch); return;
    case C::ExportColumnFrontSwitch: setBoolKeepingOneOn(key, on, C::ExportColumnTotalSwitch); return;
    case C::ExportColumnTotalSwitch: setBoolKeepingOneOn(key, on, C::ExportColumnFrontSwitch); return;
    case C::ExportColumnPoolSwitch:
        setBoolKeepingOneOn(key, on, C::ExportColumnApplicationSwitch);
        if (!on)
            m_defaults.setBool(false, VXExportKey::kExportColumnPoolNotes);
        return;
    case C::ExportColumnApplicationSwitch:
        setBoolKeepingOneOn(key, on, C::ExportColumnPoolSwitch);
        if (!on)
            m_defaults.setBool(false, VXDefaultsKey::kExportColumnWindow);
        return;
    case C::AutoResetApplicationTimersSwitch:
    case C::AutoResetPoolTimersSwitch:
    case C::AutoExportSwitch:
    case C::LiveReportDockSwitch:
    case C::LiveReportDesktopSwitch:
    case C::LiveReportMouseTrackingSwitch:
    case C::ExportColumnPoolInfoSwitch:
    case C::ExportColumnWindowSwitch:
    case C::ScreenLockCountsAsAwaySwitch:
        // The daily tasks, the icon and the report follow the changed setting
        // (VXMainController::settingDidChange); the rows shown follow stateOfControl().
        m_defaults.setBool(on, key);
        return;
    default: qCWarning(lcController, "a preference that is no switch was toggled"); return;
    }
}

void VXPreferenceHandlers::changeSelectorPreference(VXPreferenceControl control, int tag)
{
    using C = VXPreferenceControl;
    switch (control) {
    case C::AutoExportFolderSelector:
        if (tag == VXOtherFolderItemTag)
            chooseExportFolder();
        // The selector shows the folder in force, whatever was chosen.
        if (VXMainControllerDelegate *delegate = m_controller.m_delegate)
            delegate->preferencesDidChange();
        m_controller.resets().doAutoTasksIfNecessary(this);
        return;
    case C::HibernationIntervalSelector: m_controller.hibernation().setHibernationInterval(tag); return;
    case C::StatusItemIconSelector:
    case C::LiveReportContentSelector:
    case C::AutoExportTimeSelector:
    case C::AutoExportRangeSelector:
    case C::ExportContentSelector:
    case C::ExportColumnSeparatorSelector:
    case C::ExportRowSeparatorSelector: m_defaults.setInteger(tag, keyOfControl(control)); return;
    default: qCWarning(lcController, "a preference that is no selector was changed"); return;
    }
}

void VXPreferenceHandlers::changeSliderPreference(VXPreferenceControl control, double value)
{
    switch (control) {
    case VXPreferenceControl::UpdateIntervalSlider: m_controller.setUpdateInterval(value); return;
    case VXPreferenceControl::LiveReportDesktopFractionSlider:
        // The desktop report takes the new opacity at once (through the icon's update).
        m_defaults.setDouble(value, VXDefaultsKey::kShowActivityReportOnDesktopAlpha);
        return;
    default: qCWarning(lcController, "a preference that is no slider was moved"); return;
    }
}

// "Other...": a folder that cannot be written is said so, and the one in force is kept.
void VXPreferenceHandlers::chooseExportFolder()
{
    VXMainControllerDelegate *delegate = m_controller.m_delegate;
    if (!delegate)
        return;
    VXExporter &exporter = m_controller.exporter();
    const QString previous = exporter.autoExportFolderPath();
    const std::optional<QString> chosen = delegate->runChooseFolderPanel(tr(VXChooseFolderTitle), previous);
    if (!chosen || exporter.setExportFolderPath(*chosen))
        return;
    qCWarning(lcController).noquote() << fill(VXCannotAutoExportMessage, {*chosen});
    m_controller.runAlert(tr(VXUnwritableFolderMessage),
                          fill(tr(VXUnwritableFolderInformativeText),
                               {QDir::toNativeSeparators(*chosen), QDir::toNativeSeparators(previous)}),
                          {tr(VXOKButtonTitle)});
}

// ---- What the controls show

VXPreferenceControlState VXPreferenceHandlers::stateOfControl(VXPreferenceControl control) const
{
    using C = VXPreferenceControl;
    const bool tray = m_controller.runsAsStatusItem();
    const auto on = [this](const QString &key) { return m_defaults.boolForKey(key) ? 1.0 : 0.0; };
    VXPreferenceControlState state;
    switch (control) {
    case C::StatusItemSwitch:
        state.value = tray ? 1.0 : 0.0;
        // Tray mode is offered only where the session has a tray.
        state.enabled = !m_controller.isModal() && (tray || m_controller.isSystemTrayAvailable());
        return state;
    case C::StatusItemIconSelector: state.visible = tray; break;
    case C::HibernationIntervalSelector: state.value = m_controller.hibernation().hibernationInterval(); return state;
    case C::UpdateIntervalSlider: state.value = m_controller.updateInterval(); return state;
    case C::LiveReportDockSwitch: state.enabled = !tray; break;
    case C::LiveReportDesktopFractionSlider:
        state.value = m_defaults.doubleForKey(VXDefaultsKey::kShowActivityReportOnDesktopAlpha);
        state.visible = m_defaults.boolForKey(VXShowActivityReportOnDesktopKey);
        return state;
    case C::ExportColumnPoolInfoSwitch: state.enabled = m_defaults.boolForKey(VXDefaultsKey::kExportColumnPool); break;
    case C::ExportColumnWindowSwitch:
        state.enabled = m_defaults.boolForKey(VXDefaultsKey::kExportColumnApplication);
        break;
    case C::AutoExportTimeSelector:
        state.value = double(m_controller.resets().autoTasksHour());
        state.visible = m_defaults.boolForKey(VXAutoExportKey::kAutoExportReports);
        return state;
    case C::AutoExportRangeSelector: state.visible = m_defaults.boolForKey(VXAutoExportKey::kAutoExportReports); break;
    case C::AutoExportFolderSelector: state.value = VXAutoExportFolderItemTag; return state;
    default: break;
    }
    switch (control) {
    case C::StatusItemIconSelector:
    case C::LiveReportContentSelector:
    case C::AutoExportRangeSelector:
    case C::ExportContentSelector:
    case C::ExportColumnSeparatorSelector:
    case C::ExportRowSeparatorSelector: state.value = double(m_defaults.integerForKey(keyOfControl(control))); break;
    default: state.value = on(keyOfControl(control)); break;
    }
    return state;
}

void VXPreferenceHandlers::preferencesWindowWillShow()
{
    if (m_controller.runsAsStatusItem())
        m_defaults.setBool(false, VXShowActivityReportInDockKey);
    if (!m_defaults.boolForKey(VXDefaultsKey::kExportColumnPool))
        m_defaults.setBool(false, VXExportKey::kExportColumnPoolNotes);
    if (!m_defaults.boolForKey(VXDefaultsKey::kExportColumnApplication))
        m_defaults.setBool(false, VXDefaultsKey::kExportColumnWindow);
}

QString VXPreferenceHandlers::updateIntervalText(double interval)
{
    const QString number = localizedStringWithDouble(interval, 1, true);
    return number == u"1" ? tr(VXOneSecondText) : fill(tr(VXSecondsFormat), {number});
}
