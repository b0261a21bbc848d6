#pragma once

// The preferences' logic, apart from any window: which setting each control writes, what a
// change to one control does to others, and whether each control is shown and usable. The
// preferences window sends every change here through the three handlers and then shows what
// `stateOfControl()` answers, so the window never keeps a copy of a setting. Effects that follow
// a setting wherever it was changed (a new tick interval, the daily tasks, the icon) come from
// the controller's reaction to the changed setting; the handlers add what belongs to the
// controls alone:
//
//     Export Column: Pool     off -> Application clicked on if it was off, Pool Notes off
//     Export Column: Application off -> Pool clicked on if it was off, Window off
//     Front / Total, Live Report Applications / Pools: never both off
//     Pool Notes usable with the pool column only, Window with the application column only
//     alpha slider shown with the desktop report only, auto-export time and range with the
//     automatic export only, the icon selector in tray mode only, the taskbar report in windowed
//     mode only, the tray switch while no dialog of the controller runs

#include <QString>
#include <QtGlobal>

#include <cstdint>

class VXMainController;
class VXUserDefaults;

// The controls, recognised by identity (the names are the controls' names in the layout).
enum class VXPreferenceControl {
    // General
    StatusItemSwitch,
    StatusItemIconSelector,
    ShowInactiveApplicationItemsSwitch,
    ShowInactivePoolsSwitch,
    AutoResetApplicationTimersSwitch,
    AutoResetPoolTimersSwitch,
    HibernationIntervalSelector,
    ScreenLockCountsAsAwaySwitch,
    UpdateIntervalSlider,
    // Report
    LiveReportApplicationSwitch,
    LiveReportPoolSwitch,
    LiveReportContentSelector,
    LiveReportDockSwitch,
    LiveReportDesktopSwitch,
    LiveReportDesktopFractionSlider,
    LiveReportMouseTrackingSwitch,
    // Export
    ExportColumnPoolSwitch,
    ExportColumnPoolInfoSwitch,
    ExportColumnApplicationSwitch,
    ExportColumnWindowSwitch,
    ExportColumnFrontSwitch,
    ExportColumnTotalSwitch,
    ExportContentSelector,
    ExportColumnSeparatorSelector,
    ExportRowSeparatorSelector,
    AutoExportSwitch,
    AutoExportTimeSelector,
    AutoExportRangeSelector,
    AutoExportFolderSelector,
};

// What a control shows: a switch's state (0 or 1), a selector's tag, a slider's value.
struct VXPreferenceControlState {
    double value = 0.0;
    bool enabled = true;
    bool visible = true;
};

// Whether reports read out the time under the mouse (the report view reads it).
inline const QString VXShowTimeAtMouseLocationKey = QStringLiteral("Show Time At Mouse Location");

// The export folder selector's entries: the current folder, and the one that asks for another.
inline constexpr int VXAutoExportFolderItemTag = 0;
inline constexpr int VXOtherFolderItemTag = 1;

// The folder chooser of "Other...", and what a folder that cannot be written gets. Translation
// context "VXPreferenceHandlers"; "%@" is filled in.
inline constexpr char VXChooseFolderTitle[] = QT_TRANSLATE_NOOP("VXPreferenceHandlers", "Choose Folder");
inline constexpr char VXOtherFolderTitle[] = QT_TRANSLATE_NOOP("VXPreferenceHandlers", "Other...");
inline constexpr char VXUnwritableFolderMessage[]
    = QT_TRANSLATE_NOOP("VXPreferenceHandlers", "Wendle cannot export to this folder.");
inline constexpr char VXUnwritableFolderInformativeText[]
    = QT_TRANSLATE_NOOP("VXPreferenceHandlers",
                        "The folder \u201c%@\u201d cannot be written. Automatic exports keep going to \u201c%@\u201d.");
inline constexpr char VXOKButtonTitle[] = QT_TRANSLATE_NOOP("VXPreferenceHandlers", "OK");

// The update interval's label.
inline constexpr char VXOneSecondText[] = QT_TRANSLATE_NOOP("VXPreferenceHandlers", "1 second");
inline constexpr char VXSecondsFormat[] = QT_TRANSLATE_NOOP("VXPreferenceHandlers", "%@ seconds");

class VXPreferenceHandlers
{
public:
    VXPreferenceHandlers(VXMainController &controller, VXUserDefaults &defaults);

    VXPreferenceHandlers(const VXPreferenceHandlers &) = delete;
    VXPreferenceHandlers &operator=(const VXPreferenceHandlers &) = delete;

    // A switch was turned on or off.
    void toggleBooleanPreference(VXPreferenceControl control, bool on);
    // A selector's entry with this tag was chosen.
    void changeSelectorPreference(VXPreferenceControl control, int tag);
    // A slider was moved to this value.
    void changeSliderPreference(VXPreferenceControl control, double value);

    VXPreferenceControlState stateOfControl(VXPreferenceControl control) const;

    // The window is about to show its controls: the taskbar report is off in tray mode, and
    // each export column that depends on another is off while that one is.
    void preferencesWindowWillShow();

    // The update interval as its label shows it: one fraction digit, trimmed; "1 second" or
    // "%@ seconds".
    static QString updateIntervalText(double interval);
    // The setting a switch or selector writes; empty for the controls that write none directly.
    static QString keyOfControl(VXPreferenceControl control);

private:
    void setBoolKeepingOneOn(const QString &key, bool on, VXPreferenceControl other);
    void chooseExportFolder();

    VXMainController &m_controller;
    VXUserDefaults &m_defaults;
};
