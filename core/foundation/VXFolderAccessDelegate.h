#pragma once

// What the folder-path helpers of the settings store need from the rest of the program: whether
// it runs in an application sandbox, the bookmark manager's write-access test and release, and a
// modal alert. The program installs its implementation at start-up; tests install one that
// records the calls.

#include <QString>
#include <QStringList>

#include <functional>

class VXFolderAccessDelegate
{
public:
    // Text shown below the unlock panel for the requested path, or an empty string for none.
    using SandboxExplanation = std::function<QString(const QString &path)>;

    virtual ~VXFolderAccessDelegate() = default;

    // Whether folders outside the program's own need the user's leave (an application sandbox).
    // No desktop the program runs on has one: the sandbox rules stay asleep unless a delegate
    // says otherwise.
    virtual bool isSandboxed() const { return false; }

    // May the program write `path` (with `viaParentFolder`, the folder that holds it) now? With a
    // null `cancel` nobody is asked; otherwise the user may be shown the unlock panel and
    // `*cancel` tells whether they dismissed it. When a stored bookmark grants the access, its
    // path comes back through `accessedBookmarkPath` and must be handed to
    // stopAccessingBookmarkForPath() once the work is done.
    virtual bool confirmWriteAccessForPath(const QString &path, bool viaParentFolder, bool *cancel,
                                           QString *accessedBookmarkPath, const SandboxExplanation &sandboxExplanation)
        = 0;
    virtual void stopAccessingBookmarkForPath(const QString &bookmarkPath) = 0;

    // Brings the program to the front and runs a modal alert with the buttons in this order.
    // Answers the index of the button chosen (0 for the first).
    virtual int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles)
        = 0;

    // The program's delegate, set once at start-up; null until then (tests install their own).
    static VXFolderAccessDelegate *shared() { return s_shared; }
    static void setShared(VXFolderAccessDelegate *delegate) { s_shared = delegate; }

private:
    static inline VXFolderAccessDelegate *s_shared = nullptr;
};
