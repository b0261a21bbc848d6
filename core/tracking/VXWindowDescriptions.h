#pragma once

// The windows a tick considers, read from the desktop's window list: each window that belongs to
// a process, sits below the window-level limit, has a title that is neither blank nor
// blacklisted, and (when it is not on screen) is ordered in. They are grouped by owning process,
// each group front to back.

#include "VXDesktop.h"
#include "VXPatternExtensions.h"
#include "VXValue.h"

#include <QString>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

struct VXWindowDescription {
    std::int64_t processIdentifier = -1;
    QString name;   // the title, trimmed
    std::uint64_t windowNumber = 0;
};

class VXWindowDescriptions
{
public:
    // The windows of one process, front to back; empty when it has none.
    std::span<const VXWindowDescription> windowsOfProcess(std::int64_t processIdentifier) const;
    std::size_t size() const { return m_descriptions.size(); }
    void clear() { m_descriptions.clear(); }

private:
    friend void VXWindowDescriptionsByPID(const VXDesktopSnapshot &,
                                          const std::function<std::optional<QString>(const QString &)> &, bool, bool,
                                          VXWindowDescriptions &);
    // Sorted by process identifier, stably, so that each group keeps the list's order.
    std::vector<VXWindowDescription> m_descriptions;
};

// Fills `descriptions` from the snapshot's window list: the windows on screen first, then, when
// `includeWindowsFromAllSpaces`, those elsewhere that are ordered in. The level limit is the
// floating level, or the pop-up-menu level when `includeFloatingWindows`. Titles are tested
// against `blacklist` (the plain window-blacklist patterns, inversion allowed).
void VXWindowDescriptionsByPID(const VXDesktopSnapshot &desktop, const std::vector<VXPattern> &blacklist,
                               bool includeWindowsFromAllSpaces, bool includeFloatingWindows,
                               VXWindowDescriptions &descriptions);

// The same with the title test given as a function: the trimmed title, or nothing when the
// window is untitled or blacklisted (so that the caller can remember the answers).
void VXWindowDescriptionsByPID(const VXDesktopSnapshot &desktop,
                               const std::function<std::optional<QString>(const QString &)> &checkedTitle,
                               bool includeWindowsFromAllSpaces, bool includeFloatingWindows,
                               VXWindowDescriptions &descriptions);

// A new window item made from a description: "PID", "Name", "Path" = "_Window", "Window Number".
VXDictionaryRef VXMakeWindowItem(const VXWindowDescription &description);
