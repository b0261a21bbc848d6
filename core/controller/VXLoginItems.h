#pragma once

// Starting Wendle with the session, and no longer starting it: the rules of the login-items list,
// kept apart from where the list lives. The list is one entry per program; an entry is ours when
// the executable it starts is ours (paths compared case-insensitively); a stray copy (the same
// executable file name in another place) is removed whenever we enable or disable ours, so that
// only one Wendle starts at login. Every failure answers false and writes one "[VXLoginItem] "
// line. On Linux the list is the XDG autostart folder (VXAutostartFolder).

#include <QList>
#include <QString>

class VXScheduler;
class VXUserDefaults;

// One entry of the list as it was read.
struct VXLoginItemsListEntry {
    // Where the entry lives (for the log lines and for the list to act on it).
    QString location;
    // The executable it starts, resolved; empty when the entry could not be resolved.
    QString path;
    // The entry is present but the session skips it ("Hidden=true").
    bool hidden = false;
    // Resolved, but not well formed enough for the session to start it.
    bool damaged = false;
};

// Where the entries live. open() and snapshot() fail when the list cannot be read at all.
class VXLoginItemsList
{
public:
    virtual ~VXLoginItemsList() = default;
    virtual bool open() = 0;
    virtual bool snapshot(QList<VXLoginItemsListEntry> &entries) = 0;
    virtual bool remove(const VXLoginItemsListEntry &entry) = 0;
    // Adds an entry that starts `path` at the end of the list (never hidden).
    virtual bool insert(const QString &path) = 0;
    // Writes a damaged entry of ours again in full, keeping its hidden state.
    virtual bool repair(const VXLoginItemsListEntry &entry, const QString &path) = 0;
};

// What the hidden-item warning needs from the windows.
class VXLoginItemDelegate
{
public:
    virtual ~VXLoginItemDelegate() = default;
    // No window of the program is shown (it runs in the tray with its panel closed).
    virtual bool isApplicationHidden() const = 0;
    // Brings the program forward and shows the alert (title, text, one button); answers true when
    // the person pressed the button.
    virtual bool showHiddenLoginItemAlert(const QString &title, const QString &text, const QString &button) = 0;
};

class VXLoginItems
{
public:
    // `bundlePath` is our executable; `bundleName` the program's name for the alert.
    VXLoginItems(VXLoginItemsList &list, const QString &bundlePath, const QString &bundleName);

    const QString &bundlePath() const { return m_bundlePath; }

    // Enables or disables our entry; the alert flag is accepted and changes nothing. Enabling
    // answers true when our entry was there or was added; disabling when ours was removed.
    bool setLoginItem(bool enable, bool showAlert = false);
    // Our entry is in the list (hidden or not).
    bool isLoginItem();
    // Our entry is in the list and hidden.
    bool isLoginItemHidden();

    // At launch in tray mode: registers when "Enable Login Item Automatically" is on. Answers
    // whether it registered.
    bool enableAtLaunch(const VXUserDefaults &defaults);
    // At a deliberate quit in tray mode: unregisters when "Disable Login Item Automatically" is on.
    bool disableAtQuit(const VXUserDefaults &defaults);

    // The hidden-item warning, half a second later (so that the windows of the launch are up).
    void showHiddenLoginItemWarningAfterDelay(VXScheduler &scheduler, VXLoginItemDelegate &delegate);
    // Acts only when no window is shown and our entry is hidden: asks the delegate, and on the
    // button removes the entry and adds it again, which clears the hidden state. Answers whether
    // the entry was unhidden.
    bool showHiddenLoginItemWarning(VXLoginItemDelegate &delegate);

    // Whether `path` is our executable, and whether it is a copy of it elsewhere.
    bool isOurs(const QString &path) const;
    bool isStrayCopy(const QString &path) const;

private:
    // Our entry as found by a status read, or nothing (the first, with a log line per failure).
    bool findOurs(VXLoginItemsListEntry *ours);

    VXLoginItemsList &m_list;
    QString m_bundlePath;
    QString m_bundleFileName;
    QString m_bundleName;
};
