#pragma once

// What the tray widgets' tests share: one QApplication on the offscreen platform for the whole
// run (unless a display was chosen), made before the first widget.

#include "VXTestSupport.h"

#include <QApplication>

#include <gtest/gtest.h>

inline QApplication *VXEnsureWidgetApplication()
{
    if (auto *application = qobject_cast<QApplication *>(QCoreApplication::instance()))
        return application;
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "wendle-tray-tests";
    static char *argv[] = {name, nullptr};
    // Kept to the end of the program, like the core tests' application (see VXEnsureCoreApplication).
    return new QApplication(argc, argv);
}

// A fixture whose application exists before any member of the fixtures derived from it (a
// settings store would otherwise make a QCoreApplication first, and widgets need a QApplication).
class VXWidgetTest : public ::testing::Test
{
protected:
    VXWidgetTest() { VXEnsureWidgetApplication(); }
};
