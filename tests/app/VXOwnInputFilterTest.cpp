// The program's own input through real widgets on the offscreen platform.

#include "VXOwnInputFilter.h"
#include "VXPresenceRecorder.h"

#include <QApplication>
#include <QLineEdit>
#include <QTest>
#include <QThread>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(VXOwnInputFilter, ReportsTypingInOwnWindowsAtMostOncePerSecond)
{
    // The application lives in this test only: one torn down among the statics after main()
    // would outlive the platform plugin it uses.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int argc = 1;
    char name[] = "test";
    char *argv[] = {name, nullptr};
    QApplication app(argc, argv);

    VXPresenceRecorder observer;
    VXOwnInputFilter filter(observer);
    app.installEventFilter(&filter);
    QLineEdit field;
    field.show();

    // A burst of typing is one report.
    QTest::keyClicks(&field, u"pool name"_s);
    EXPECT_EQ(field.text(), u"pool name"_s);
    EXPECT_EQ(observer.inputs(), 1);

    // Input a second later is reported again; events that are not input are not.
    QThread::msleep(1050);
    QEvent paint(QEvent::UpdateRequest);
    QCoreApplication::sendEvent(&field, &paint);
    EXPECT_EQ(observer.inputs(), 1);
    QTest::mouseClick(&field, Qt::LeftButton);
    EXPECT_EQ(observer.inputs(), 2);

    app.removeEventFilter(&filter);
    QTest::keyClicks(&field, u"x"_s);
    EXPECT_EQ(observer.inputs(), 2);
}
