#pragma once

// The program's shell as a person meets it, on the offscreen platform: the controller over a
// fake desktop in virtual time, the real windows, menus and dialogs of VXApplicationShell, and
// settings and a record in folders of the test's own. A "launch" runs the start-up order as the
// program does; a relaunch makes a new controller and shell over the same settings.
//
// Modal dialogs (the welcome window, alerts, folder choosers) block in their own loop: a test
// says beforehand what to do with the next one (answerNextModal), as a person would.

#include "VXApplicationShell.h"
#include "VXControllerTestSupport.h"
#include "VXFakeDesktop.h"
#include "VXMainController.h"
#include "VXRegisteredDefaults.h"
#include "VXReportController.h"
#include "VXUserDefaults.h"
#include "VXVirtualScheduler.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFile>
#include <QMessageBox>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <functional>
#include <memory>

namespace vxshelltest {

constexpr double kMorning = 1'763'712'000.0;   // 2025-11-21 08:00 UTC

inline QApplication &application()
{
    static int argc = 1;
    static char name[] = "wendle-shell-tests";
    static char *argv[] = {name, nullptr};
    if (!QApplication::instance()) {
        if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
            qputenv("QT_QPA_PLATFORM", "offscreen");
        auto *app = new QApplication(argc, argv);
        app->setApplicationName(QStringLiteral("Wendle"));
        app->setApplicationVersion(QStringLiteral("0.1.0"));
        QApplication::setQuitOnLastWindowClosed(false);
    }
    return *qApp;
}

// Runs `action` on the next modal dialog as soon as it is up (within five seconds).
inline void answerNextModal(std::function<void(QWidget *)> action)
{
    auto *timer = new QTimer(qApp);
    auto started = std::make_shared<int>(0);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, started, action] {
        QWidget *modal = QApplication::activeModalWidget();
        if (!modal && ++*started < 500)
            return;
        timer->stop();
        timer->deleteLater();
        if (modal)
            action(modal);
    });
    timer->start(10);
}

// Clicks the button with this text in a dialog.
inline bool clickButton(QWidget *dialog, const QString &text)
{
    for (QAbstractButton *button : dialog->findChildren<QAbstractButton *>()) {
        if (button->text().remove(u'&') == text && button->isVisible() && button->isEnabled()) {
            button->click();
            return true;
        }
    }
    return false;
}

// Settings and a record of their own, a fake desktop in virtual time, and a launchable program.
class ShellFixture
{
public:
    ShellFixture() : dataHome()
    {
        application();
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(configFolder.path()));
        defaults = std::make_unique<VXUserDefaults>();
        VXUserDefaults::setStandard(defaults.get());
        VXLaunchExample(desktop, QStringLiteral("Editor"), 10);
        desktop.openWindow(10, QStringLiteral("report.txt"));
    }
    ~ShellFixture()
    {
        quit();
        if (VXUserDefaults::standard() == defaults.get())
            VXUserDefaults::setStandard(nullptr);
    }

    // The start-up order of the program, up to the end of completeUISetup.
    void launch()
    {
        quit();
        // The settings as the last run left them on disk.
        defaults->synchronize();
        VXUserDefaults::setStandard(nullptr);
        defaults.reset();
        defaults = std::make_unique<VXUserDefaults>();
        VXUserDefaults::setStandard(defaults.get());
        shell = std::make_unique<VXApplicationShell>(*defaults);
        shell->setSystemTrayAvailability([this] { return trayAvailable; });
        shell->setTerminateHandler([this] { ++terminations; });
        controller = std::make_unique<VXMainController>(desktop, time, time, *defaults, shell.get());
        shell->setController(controller.get());
        controller->applicationWillFinishLaunching();
        controller->applicationDidFinishLaunching({}, {});
        // completeUISetup on the loop's first turn.
        time.advanceBy(0.0);
        QApplication::processEvents();
    }
    // The program ends: the quit path, then its windows go.
    void quit()
    {
        if (!controller)
            return;
        controller->applicationShouldTerminate();
        shell.reset();
        controller.reset();
        // A new launch starts as the program does.
        VXReportController::setApplicationTerminating(false);
    }
    // Lets the loop and the virtual clock run the calls due now.
    void settle()
    {
        time.advanceBy(0.0);
        QApplication::processEvents();
    }
    // The settings as a second reader finds them in their file (under the registered defaults).
    std::unique_ptr<VXUserDefaults> reread() const
    {
        defaults->synchronize();
        auto stored = std::make_unique<VXUserDefaults>();
        VXRegisterDefaults(*stored);
        return stored;
    }

    QTemporaryDir configFolder;
    vxtest::ScopedDataHome dataHome;
    VXVirtualScheduler time {kMorning};
    VXFakeDesktop desktop;
    std::unique_ptr<VXUserDefaults> defaults;
    std::unique_ptr<VXApplicationShell> shell;
    std::unique_ptr<VXMainController> controller;
    bool trayAvailable = false;
    int terminations = 0;
};

}   // namespace vxshelltest
