#include "VXScenarioRunner.h"

#include "VXFakeDesktop.h"
#include "VXJournal.h"
#include "VXMainController.h"
#include "VXMainControllerDelegate.h"
#include "VXPresence.h"
#include "VXPropertyListSerialization.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTimeZone>

#include <optional>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXScenarioRunner", text);
}

// Points the data and settings folders of the XDG rules at a folder of the run's own for as
// long as it lives.
class ScopedFolders
{
public:
    explicit ScopedFolders(const QString &root)
    {
        for (const char *name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
            m_saved.push_back({name, qgetenv(name), qEnvironmentVariableIsSet(name)});
            const QString folder = root + u'/' + QString::fromLatin1(name).toLower();
            QDir().mkpath(folder);
            qputenv(name, QFile::encodeName(folder));
        }
    }
    ~ScopedFolders()
    {
        for (const Saved &saved : m_saved) {
            if (saved.wasSet)
                qputenv(saved.name, saved.value);
            else
                qunsetenv(saved.name);
        }
    }
    ScopedFolders(const ScopedFolders &) = delete;
    ScopedFolders &operator=(const ScopedFolders &) = delete;

private:
    struct Saved {
        const char *name;
        QByteArray value;
        bool wasSet;
    };
    std::vector<Saved> m_saved;
};

// Input monitor and system notifications, driven by the scenario's events.
class ScriptedPresenceSource final : public VXPresenceSource
{
public:
    explicit ScriptedPresenceSource(QString name) : m_name(std::move(name)) { }
    bool start(VXPresenceObserver &observer) override
    {
        m_observer = &observer;
        return true;
    }
    void stop() override { m_observer = nullptr; }
    QString name() const override { return m_name; }
    VXPresenceObserver *observer() const { return m_observer; }

private:
    QString m_name;
    VXPresenceObserver *m_observer = nullptr;
};

// The program without windows: each alert is answered as the current event says.
class ScriptedUserInterface final : public VXMainControllerDelegate
{
public:
    int runAlert(const QString &, const QString &, const QStringList &buttonTitles) override
    {
        const int answer = m_answer;
        m_answer = -1;
        return answer < buttonTitles.size() ? answer : -1;
    }
    // The index of the button that the next alert's user chooses.
    void answerNextAlertWith(int button) { m_answer = button; }

private:
    int m_answer = -1;
};

// The buttons of the alerts the events answer, in the order the program offers them.
enum : int {
    kConfirmButton = 0,
    kWakeUpAutomaticallyButton = 0,
    kWakeUpManuallyButton = 1,
    kCancelButton = 2,
};

}   // namespace

QByteArray VXScenarioRunner::recoverAfterCrash(VXDesktop &desktop, VXVirtualScheduler &time, VXUserDefaults &defaults,
                                               QString *error)
{
    VXMainController restarted(desktop, time, time, defaults);
    restarted.loadConfiguration();
    restarted.store().waitForPendingWrites();
    VXDictionaryRef record = restarted.configuration() ? restarted.configuration() : VXMakeDictionary();
    // A record saved whole while tracking holds periods that the first tick ends at its last
    // moment; the output shows them ended, as a replayed journal leaves them.
    VXCloseOpenPeriods(*record);
    const std::optional<QByteArray> data = propertyListData(VXValue(record));
    if (!data && error)
        *error = tr("cannot encode the recovered record");
    return data.value_or(QByteArray());
}

QByteArray VXScenarioRunner::run(QString *error)
{
    auto fail = [error](const QString &reason) {
        if (error)
            *error = reason;
        return QByteArray();
    };
    QTemporaryDir root;
    if (!root.isValid())
        return fail(tr("cannot make a temporary folder: %1").arg(root.errorString()));
    ScopedFolders folders(root.path());

    VXUserDefaults defaults;
    VXUserDefaults *const previousStandard = VXUserDefaults::standard();
    VXUserDefaults::setStandard(&defaults);
    struct RestoreStandard {
        VXUserDefaults *previous;
        ~RestoreStandard() { VXUserDefaults::setStandard(previous); }
    } restoreStandard {previousStandard};
    for (const auto &entry : *m_scenario.defaults)
        defaults.setObject(entry.value, entry.key);

    VXVirtualScheduler time(m_scenario.start, QTimeZone::systemTimeZone());
    VXFakeDesktop desktop;
    ScriptedUserInterface userInterface;
    ScriptedPresenceSource input(QStringLiteral("scenario input"));
    ScriptedPresenceSource notifications(QStringLiteral("scenario notifications"));
    std::optional<VXMainController> running;
    running.emplace(desktop, time, time, defaults, &userInterface);
    VXMainController &controller = *running;

    if (m_scenario.configuration) {
        const QString path = controller.store().configurationPath();
        QDir().mkpath(QFileInfo(path).path());
        if (!writeToBinaryFile(VXValue(m_scenario.configuration), path, true))
            return fail(tr("cannot write the starting configuration to <%1>").arg(path));
    }

    // Before the first state the desktop is empty; a state at 0 is there for the first tick.
    std::size_t nextState = 0;
    if (!m_scenario.desktop.empty() && m_scenario.desktop.front().at == 0)
        desktop.state() = m_scenario.desktop[nextState++].desktop;

    controller.applicationWillFinishLaunching();
    controller.applicationDidFinishLaunching({&input}, {&notifications});

    const void *const sender = this;   // the events are the user's commands
    bool crashed = false;
    auto deliver = [&](const VXScenarioEvent &event) {
        switch (event.type) {
        case VXScenarioEventType::Input:
            if (input.observer())
                input.observer()->inputHappened();
            break;
        case VXScenarioEventType::Sleep:
            if (notifications.observer())
                notifications.observer()->systemWillSleep();
            break;
        case VXScenarioEventType::Wake:
            if (notifications.observer())
                notifications.observer()->systemDidWake();
            break;
        case VXScenarioEventType::SessionResign:
            if (notifications.observer())
                notifications.observer()->sessionDidResignActive();
            break;
        case VXScenarioEventType::SessionActive:
            if (notifications.observer())
                notifications.observer()->sessionDidBecomeActive();
            break;
        case VXScenarioEventType::Lock:
            if (notifications.observer())
                notifications.observer()->screenDidLock();
            break;
        case VXScenarioEventType::Unlock:
            if (notifications.observer())
                notifications.observer()->screenDidUnlock();
            break;
        case VXScenarioEventType::SuspendAutomatic:
            userInterface.answerNextAlertWith(kWakeUpAutomaticallyButton);
            controller.hibernation().toggleHibernation();
            break;
        case VXScenarioEventType::SuspendManual:
            userInterface.answerNextAlertWith(kWakeUpManuallyButton);
            controller.hibernation().toggleHibernation();
            break;
        case VXScenarioEventType::WakeUp:
            userInterface.answerNextAlertWith(kCancelButton);
            controller.hibernation().toggleHibernation();
            break;
        case VXScenarioEventType::ResetApplicationTimers:
            userInterface.answerNextAlertWith(kConfirmButton);
            controller.resets().resetApplicationTimers();
            break;
        case VXScenarioEventType::ResetPoolTimers:
            userInterface.answerNextAlertWith(kConfirmButton);
            controller.resets().resetPoolTimers();
            break;
        case VXScenarioEventType::ResetAllTimers:
            userInterface.answerNextAlertWith(kConfirmButton);
            controller.resets().resetAllTimers();
            break;
        case VXScenarioEventType::ClearApplications:
            userInterface.answerNextAlertWith(kConfirmButton);
            controller.resets().clearApplications();
            break;
        case VXScenarioEventType::ClearPools:
            userInterface.answerNextAlertWith(kConfirmButton);
            controller.resets().clearPools();
            break;
        case VXScenarioEventType::ClearAll:
            userInterface.answerNextAlertWith(kConfirmButton);
            controller.resets().clearAll();
            break;
        case VXScenarioEventType::Undo: controller.undo(sender); break;
        case VXScenarioEventType::Redo: controller.redo(sender); break;
        case VXScenarioEventType::ForceTick: controller.updateLists(sender); break;
        case VXScenarioEventType::SetDefault:
            // The program takes a changed setting in at once, as the preferences' control would;
            // a null value removes the key.
            defaults.setObject(event.value, event.key);
            break;
        case VXScenarioEventType::Crash: crashed = true; break;
        }
        // An alert the event did not bring up must not answer a later one.
        userInterface.answerNextAlertWith(-1);
    };

    const double end = m_scenario.end;
    std::size_t nextEvent = 0;
    for (;;) {
        double next = end;
        if (nextState < m_scenario.desktop.size())
            next = std::min(next, m_scenario.desktop[nextState].at);
        if (nextEvent < m_scenario.events.size())
            next = std::min(next, m_scenario.events[nextEvent].at);
        // The program's timers up to this instant; those due at it come after its events.
        time.advanceUpTo(m_scenario.start + next);
        if (time.stoppedByRunaway())
            return fail(
                QCoreApplication::translate("VXScenarioRunner", "the program's timers ran away at %1 s").arg(next));
        if (nextState < m_scenario.desktop.size() && m_scenario.desktop[nextState].at == next)
            desktop.state() = m_scenario.desktop[nextState++].desktop;
        while (!crashed && nextEvent < m_scenario.events.size() && m_scenario.events[nextEvent].at == next)
            deliver(m_scenario.events[nextEvent++]);
        if (next == end || crashed)
            break;
    }
    if (crashed || m_scenario.crash) {
        // What the program handed to the disk before it went is there; nothing else is.
        controller.store().waitForPendingWrites();
        m_firedCalls = time.firedCount();
        running.reset();
        return recoverAfterCrash(desktop, time, defaults, error);
    }

    controller.applicationShouldTerminate();
    controller.store().waitForPendingWrites();
    m_firedCalls = time.firedCount();

    const QString path = controller.store().configurationPath();
    QFile saved(path);
    if (!saved.open(QIODevice::ReadOnly))
        return fail(tr("the program saved no configuration on quit (%1)").arg(saved.errorString()));
    return saved.readAll();
}
