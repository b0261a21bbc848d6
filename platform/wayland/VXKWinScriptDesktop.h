#pragma once

// The desktop of KDE Plasma read through a KWin script that Wendle ships (kwin/wendle-tracker.js):
// Wendle loads it into KWin over D-Bus (org.kde.KWin /Scripting) when it starts and unloads it when
// it quits; the script calls back over D-Bus with every window's id, app id, class, title, process
// and flags, each change, the active window and the windows that close. When KWin restarts, the
// script is loaded again as soon as KWin is back on the bus.
//
// Bringing an application to the front and closing its windows are one-shot scripts
// (kwin/wendle-action.js) that Wendle loads, runs and unloads.

#include "VXToplevelDesktop.h"

#include <QDBusConnection>

#include <memory>

class VXKWinScriptDesktop final : public VXToplevelDesktop
{
    Q_OBJECT
public:
    // The names the script calls back on.
    static const QString kServiceName;   // "com.brasswing.Wendle"
    static const QString kObjectPath;   // "/com/brasswing/Wendle/KWin"
    static const QString kInterface;   // "com.brasswing.Wendle.KWin"
    // The name the script is loaded under.
    static const QString kPluginName;   // "wendle-tracker"

    // On the session bus of $DBUS_SESSION_BUS_ADDRESS (a connection of its own). Answers null,
    // with the reason, when the bus cannot be reached or another program holds kServiceName.
    // The script is loaded at once when KWin is there, else as soon as it comes.
    static std::unique_ptr<VXKWinScriptDesktop> create(const VXToplevelMirror::Options &options = {},
                                                       QString *whyNot = nullptr);
    ~VXKWinScriptDesktop() override;

    QString name() const override;
    QString notice() const override;
    bool isConnected() const override;

    // Whether the script has reported since it was last loaded.
    bool isScriptRunning() const;

protected:
    bool activateToplevel(Id id, QString *whyNot) override;
    bool closeToplevel(Id id, QString *whyNot) override;
    // One action script for all of them.
    bool closeToplevels(const std::vector<Id> &ids, QString *whyNot) override;

private:
    class Receiver;
    struct Private;
    VXKWinScriptDesktop(QDBusConnection bus, const VXToplevelMirror::Options &options);
    void loadScript();
    // Loads the script again a little later, or, after the last attempt, tells the user.
    void scriptFailed(const QString &problem);
    void kwinAppeared(const QString &owner);
    void kwinVanished();
    bool runAction(const QString &request, const std::vector<Id> &ids, QString *whyNot);
    std::unique_ptr<Private> d;
};
