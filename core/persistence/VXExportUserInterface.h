#pragma once

// What the export needs from the user interface: the "Export Snapshot" save panel hanging from
// the report (or the status item's panel), the report's chosen range, the file manager, and
// the beep. The shell implements it; tests script it.

#include <QString>

#include <functional>
#include <optional>

class VXExportUserInterface
{
public:
    virtual ~VXExportUserInterface() = default;

    // Makes the window the save panel will hang from visible: the status item's panel when
    // the program has a status item, else the live report's window (shown first when it is
    // hidden). False when there is no report, or its window cannot be shown.
    virtual bool prepareExportPanelParentWindow() = 0;

    // The live report's begin and end date controls, as Unix seconds.
    virtual void getReportBeginTimestamp(double *beginTimestamp, double *endTimestamp) = 0;

    // While set, the program is modal: tracking goes on, and the status item's on/off control
    // is disabled.
    virtual void setExportPanelModal(bool modal) = 0;

    // Runs a save panel titled `title` for files of type `fileType` (with the option to hide
    // the extension), as a sheet of the window prepared above where the desktop allows, with
    // `suggestedName` filled in. Calls `completion` once, on the main thread, with the chosen
    // path or nothing when cancelled; it may do so before this returns.
    virtual void runSavePanel(const QString &title, const QString &fileType, const QString &suggestedName,
                              std::function<void(const std::optional<QString> &path)> completion)
        = 0;

    // Shows the folder in the desktop's file manager. False when that fails.
    virtual bool revealFolderInFileManager(const QString &path) = 0;

    virtual void beep() = 0;
};
