#pragma once

// What the tray widgets' tests share: one QApplication on the offscreen platform for the whole
// run (unless a display was chosen), made before the first widget.

#include "VXTestSupport.h"

#include <QApplication>

inline QApplication *VXEnsureWidgetApplication()
{
    if (auto *application = qobject_cast<QApplication *>(QCoreApplication::instance()))
        return application;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "wendle-tray-tests";
    static char *argv[] = {name, nullptr};
    static QApplication application(argc, argv);
    return &application;
}
