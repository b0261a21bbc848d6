#pragma once

// Helpers for the controller's persistence and hibernation tests: a user interface that records
// what it is told and answers the dialogs from a script, presence sources that tests drive by
// hand, and a library folder ($XDG_DATA_HOME) of the test's own.

#include "VXMainControllerDelegate.h"
#include "VXPresence.h"
#include "VXTestSupport.h"

#include <QByteArray>
#include <QFile>
#include <QStringList>
#include <QTemporaryDir>

#include <deque>
#include <map>
#include <optional>
#include <vector>

namespace vxtest {

struct Alert {
    QString message;
    QString informative;
    QStringList buttons;
};

class ScriptedUserInterface : public VXMainControllerDelegate
{
public:
    // Dialogs: each alert takes the next scripted answer (-1, nobody answers, when none is left).
    int runAlert(const QString &message, const QString &informative, const QStringList &buttons) override
    {
        alerts.push_back({message, informative, buttons});
        if (alertAnswers.empty())
            return -1;
        const int answer = alertAnswers.front();
        alertAnswers.pop_front();
        return answer;
    }
    std::optional<QString> runUnlockPanel(const VXUnlockPanelRequest &request) override
    {
        panels.push_back(request);
        return panelAnswer;
    }

    void reloadApplicationList() override { ++listReloads; }
    void showBlacklistText(const QString &name, const QString &text) override { blacklistTexts[name] = text; }
    void beep() override { ++beeps; }
    VXDictionaryRef selectedItem() const override { return selection; }

    void showHibernationState(bool hibernating, bool animated) override
    {
        hibernationStates.push_back({hibernating, animated});
    }
    void updateIcon() override { ++iconUpdates; }

    void tearDownUserInterface() override { ++tearDowns; }

    std::deque<int> alertAnswers;
    std::vector<Alert> alerts;
    std::optional<QString> panelAnswer;
    std::vector<VXUnlockPanelRequest> panels;
    int listReloads = 0;
    std::map<QString, QString> blacklistTexts;
    int beeps = 0;
    VXDictionaryRef selection;
    std::vector<std::pair<bool, bool>> hibernationStates;   // (hibernating, animated)
    int iconUpdates = 0;
    int tearDowns = 0;
};

// A source of presence reports that the test drives through the observer it was started with.
class ManualPresenceSource : public VXPresenceSource
{
public:
    explicit ManualPresenceSource(bool works = true) : m_works(works) { }
    bool start(VXPresenceObserver &reportTo) override
    {
        ++starts;
        if (m_works)
            observer = &reportTo;
        return m_works;
    }
    void stop() override
    {
        ++stops;
        observer = nullptr;
    }
    QString name() const override { return QStringLiteral("manual"); }

    VXPresenceObserver *observer = nullptr;
    int starts = 0;
    int stops = 0;

private:
    bool m_works;
};

// Points $XDG_DATA_HOME at a folder of the test's own while it lives.
class ScopedDataHome
{
public:
    explicit ScopedDataHome(const QString &path = QString()) :
        m_previous(qgetenv("XDG_DATA_HOME")), m_hadPrevious(qEnvironmentVariableIsSet("XDG_DATA_HOME"))
    {
        m_path = path.isEmpty() ? m_folder.path() : path;
        qputenv("XDG_DATA_HOME", QFile::encodeName(m_path));
    }
    ~ScopedDataHome()
    {
        if (m_hadPrevious)
            qputenv("XDG_DATA_HOME", m_previous);
        else
            qunsetenv("XDG_DATA_HOME");
    }
    ScopedDataHome(const ScopedDataHome &) = delete;
    ScopedDataHome &operator=(const ScopedDataHome &) = delete;

    const QString &path() const { return m_path; }
    QString configurationFolder() const { return m_path + QStringLiteral("/Wendle/Configurations"); }
    QString configurationFile() const { return configurationFolder() + QStringLiteral("/Default.plist"); }

private:
    QTemporaryDir m_folder;
    QString m_path;
    QByteArray m_previous;
    bool m_hadPrevious;
};

// The shared file helpers under the names some suites still use.
inline QByteArray readFile(const QString &path)
{
    return VXReadFile(path);
}

inline bool writeFile(const QString &path, const QByteArray &data)
{
    return VXWriteFile(path, data);
}

}   // namespace vxtest
