#pragma once

// The View menu of a report holds two kinds of entries: those that act on the report itself
// (its time format, the activities it shows) and those that act on the program (the colour
// scheme, durations as days). The application controller fills the menu through VXReportMenu;
// the entries of the first kind call the report through VXReportMenuTarget, which every report
// controller implements beside VXReportClient. A menu that can show check marks and disabled
// entries (the reports layer's menus) implements VXValidatedReportMenu and asks each entry's
// validator just before it opens:
//
//     populateViewMenu(menu, report)
//       "as Time Lapse"      -> report.setTimeFormatFromMenuItem(0)       state: report.validateMenuItem(...)
//       "Foreground Activity" -> report.toggleShownActivityFromMenuItem(0) state: report.validateMenuItem(...)
//       "Dark"               -> controller.selectColorScheme(3)          state: checked when "Color Scheme" is 3

#include "VXReportDataSource.h"

#include <functional>

// How an entry shows when its menu opens.
struct VXReportMenuItemState {
    bool enabled = true;
    bool checked = false;
};

// The report operations that View menu entries send.
enum class VXReportMenuAction {
    SetTimeFormatFromMenuItem,   // tag: 0 time lapse, 1 time portions
    ToggleShownActivityFromMenuItem,   // tag: 0 foreground activity, 1 total activity
};

class VXReportMenuTarget
{
public:
    virtual ~VXReportMenuTarget() = default;

    virtual void setTimeFormatFromMenuItem(int tag) = 0;
    virtual void toggleShownActivityFromMenuItem(int tag) = 0;
    // Whether the entry of that operation and tag is enabled and checked now.
    virtual VXReportMenuItemState validateMenuItem(VXReportMenuAction action, int tag) const = 0;
};

// A menu whose entries can carry a validator.
class VXValidatedReportMenu : public VXReportMenu
{
public:
    using VXReportMenu::addItem;
    virtual void addItem(const QString &title, int tag, std::function<void()> action,
                         std::function<VXReportMenuItemState()> validate)
        = 0;
};

// Adds the entry with its validator when the menu can show one, plainly otherwise.
inline void VXAddValidatedReportMenuItem(VXReportMenu &menu, const QString &title, int tag,
                                         std::function<void()> action, std::function<VXReportMenuItemState()> validate)
{
    if (auto *validated = dynamic_cast<VXValidatedReportMenu *>(&menu))
        validated->addItem(title, tag, std::move(action), std::move(validate));
    else
        menu.addItem(title, tag, std::move(action));
}
