#pragma once

// The part every Wayland desktop adapter shares: the mirror of the compositor's toplevels that
// the tick reads, the operations the organizer asks for (bring an application to the front, quit
// it, launch it), and what the adapter tells the user about itself. A subclass translates its
// compositor's events into the mirror and its requests into the compositor's.

#include "VXDesktop.h"
#include "VXToplevelMirror.h"

#include <QObject>
#include <QString>

class VXWaylandConnection;

class VXToplevelDesktop : public QObject, public VXDesktop
{
    Q_OBJECT
public:
    using Id = VXToplevelMirror::Id;

    explicit VXToplevelDesktop(const VXToplevelMirror::Options &options, QObject *parent = nullptr);
    ~VXToplevelDesktop() override;

    void takeSnapshot(VXDesktopSnapshot &snapshot) override;

    // Brings the application's front window to the front.
    bool activateApplication(const QString &bundlePath, QString *whyNot = nullptr) override;
    // Asks every window of the application to close, as its close button would.
    bool quitApplication(const QString &bundlePath, QString *whyNot = nullptr) override;
    // Starts the application from its desktop entry (or executable).
    bool launchApplication(const QString &bundlePath, QString *whyNot = nullptr) override;

    // "the wlroots foreign-toplevel protocol", for the log and `wendle status`.
    virtual QString name() const = 0;
    // What the adapter cannot see, as a sentence; empty when nothing is missing.
    virtual QString limitations() const { return QString(); }
    // Something the user has to do before tracking can work (enable an extension, log in
    // again); empty when there is nothing. It may change while the program runs.
    virtual QString notice() const { return QString(); }
    // False once the compositor is gone for good (the session ended).
    virtual bool isConnected() const { return true; }

    VXToplevelMirror &mirror() { return m_mirror; }

Q_SIGNALS:
    // The compositor went away: the session is over. Said once.
    void connectionLost();

protected:
    // Brings in what the compositor sent and the event loop has not handed over yet.
    virtual void beforeSnapshot() { }
    virtual bool activateToplevel(Id id, QString *whyNot) = 0;
    virtual bool closeToplevel(Id id, QString *whyNot) = 0;
    // All of an application's windows; by default one request each.
    virtual bool closeToplevels(const std::vector<Id> &ids, QString *whyNot);
    // By default a launcher's work (VXLaunchApplication); GNOME Shell launches itself.
    virtual bool launch(const QString &bundlePath, QString *whyNot);
    // The sentence for an operation this compositor does not allow.
    static QString notAvailableHere(const QString &what);
    // The desktop read over this connection: when it is lost, nothing is seen any more.
    void followConnection(VXWaylandConnection &connection);
    // A file Wendle carries for the compositor (the KWin scripts, the GNOME Shell extension).
    static QByteArray resource(const QString &path);

    VXToplevelMirror m_mirror;
};
