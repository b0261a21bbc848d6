#pragma once

// A desktop that tests script: processes start and quit, windows open, close, get renamed and
// change stacking, the frontmost application changes, all between two ticks. Snapshots are
// plain copies of the scripted state.
//
//     VXFakeDesktop desktop;
//     desktop.launch(u"Editor"_s, u"/usr/share/applications/editor.desktop"_s, u"editor"_s, 100);
//     const auto report = desktop.openWindow(100, u"Report.odt"_s);
//     desktop.activate(100);
//     ... tick ...
//     desktop.setWindowTitle(report, u"Report.odt (modified)"_s);

#include "VXDesktop.h"

#include <QString>

#include <cstdint>

class VXFakeDesktop final : public VXDesktop
{
public:
    // ---- Processes, in launch order (the order the sampler sees them)

    void launch(const QString &name, const QString &bundlePath, const QString &bundleIdentifier,
                std::int64_t processIdentifier, VXActivationPolicy policy = VXActivationPolicy::Regular);
    // Ends the process and closes its windows; a frontmost process leaves no application in
    // front. Answers whether it ran.
    bool quit(std::int64_t processIdentifier);
    // Gives the menu bar to the process (by its bundle path). Answers whether it runs.
    bool activate(std::int64_t processIdentifier);
    void setFrontmostApplicationPath(const QString &path);

    // ---- Windows, front to back

    // Opens a window on top of the others and answers its number.
    std::uint64_t openWindow(std::int64_t ownerPID, const QString &title, int layer = 0);
    bool closeWindow(std::uint64_t number);
    bool setWindowTitle(std::uint64_t number, const QString &title);
    // Brings the window to the front of the stacking order.
    bool raiseWindow(std::uint64_t number);
    // Moves the window to another space (off screen) or back; `orderedIn` is what the ordered-in
    // test answers for it while it is off screen (false for a minimised window).
    bool setWindowOnScreen(std::uint64_t number, bool onScreen, bool orderedIn = true);
    void setWindowLevels(int floatingWindowLevel, int popUpMenuWindowLevel);

    // The scripted state itself, for anything the helpers above do not cover.
    VXDesktopSnapshot &state() { return m_state; }
    const VXDesktopSnapshot &state() const { return m_state; }

    // How many snapshots were taken: one per full tick.
    int snapshotCount() const { return m_snapshotCount; }

    void takeSnapshot(VXDesktopSnapshot &snapshot) override;

private:
    VXWindowListEntry *window(std::uint64_t number);

    VXDesktopSnapshot m_state;
    std::uint64_t m_nextWindowNumber = 0x3a00001;
    int m_snapshotCount = 0;
};
