#pragma once

// The desktop of GNOME read through a GNOME Shell extension that Wendle ships
// (gnome-shell/tracker.js): it answers on the shell's D-Bus connection (org.gnome.Shell,
// /com/brasswing/Wendle/Shell) with the focused window and the window list, and signals every
// change.
//
// Wendle installs the extension for the user ($XDG_DATA_HOME/gnome-shell/extensions), in the
// legacy form for shells before 45 and the module form from 45 on, and enables it. A running
// shell on Wayland does not load an extension that appeared after it started: Wendle then
// enables it for the next login and says so, once, plainly (log, `wendle status`, the
// indicator). An extension the user turned off stays off, and is said so likewise. When the shell
// restarts, the adapter attaches to the extension again.

#include "VXToplevelDesktop.h"

#include <QDBusConnection>

#include <memory>

class QDBusMessage;

struct VXGnomeShellOptions {
    // Where the extension is installed; default: $XDG_DATA_HOME/gnome-shell/extensions.
    QString extensionsFolder;
    // The program that enables the extension for the next login; default: gsettings on PATH.
    QString gsettingsProgram;
};

class VXGnomeShellDesktop final : public VXToplevelDesktop
{
    Q_OBJECT
public:
    static const QString kExtensionUUID;   // "wendle@brasswing.com"
    static const QString kObjectPath;   // "/com/brasswing/Wendle/Shell"
    static const QString kInterface;   // "com.brasswing.Wendle.Shell"
    // The version of the extension's D-Bus interface this Wendle speaks.
    static constexpr unsigned kExtensionVersion = 1;

    enum class State {
        WaitingForShell,   // GNOME Shell is not on the bus
        Checking,   // asking the shell about the extension
        NeedsLogin,   // installed and enabled; the shell loads it at the next login
        Disabled,   // the user turned extensions, or Wendle's, off
        Broken,   // the shell could not run it
        Tracking,   // the extension reports the desktop
    };

    // On the session bus of $DBUS_SESSION_BUS_ADDRESS (a connection of its own); attaches as soon
    // as GNOME Shell is there. Null, with the reason, when the bus cannot be reached.
    static std::unique_ptr<VXGnomeShellDesktop> create(const VXToplevelMirror::Options &options = {},
                                                       const VXGnomeShellOptions &gnomeOptions = {},
                                                       QString *whyNot = nullptr);
    ~VXGnomeShellDesktop() override;

    QString name() const override;
    QString notice() const override;
    bool isConnected() const override;
    State state() const;

    // The extension's main file for a shell version ("43.9", "46.0"): the legacy form before 45,
    // the module form from 45 on, with the tracker put in.
    static QByteArray extensionScript(const QString &shellVersion);
    static QByteArray extensionMetadata(const QString &shellVersion);

Q_SIGNALS:
    void stateChanged(State state);

protected:
    bool activateToplevel(Id id, QString *whyNot) override;
    bool closeToplevel(Id id, QString *whyNot) override;
    bool launch(const QString &bundlePath, QString *whyNot) override;

private Q_SLOTS:
    void windowChanged(const QDBusMessage &message);
    void windowClosed(const QDBusMessage &message);
    void focusChanged(const QDBusMessage &message);
    void extensionStateChanged(const QDBusMessage &message);

private:
    struct Private;
    VXGnomeShellDesktop(QDBusConnection bus, const VXToplevelMirror::Options &options,
                        const VXGnomeShellOptions &gnome);
    void shellAppeared(const QString &owner);
    void shellVanished();
    void checkExtension();
    void extensionInfo(const QVariantMap &info, const QString &shellVersion, bool userExtensionsEnabled);
    bool install(const QString &shellVersion, QString *whyNot);
    void enableForNextLogin();
    void attach();
    void setState(State state, const QString &notice = QString());
    bool callExtension(const QString &method, const QVariant &argument, QString *whyNot);
    std::unique_ptr<Private> d;
};
