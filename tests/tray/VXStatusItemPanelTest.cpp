// The panel through its real widgets on the offscreen platform: views moved in and out, the
// scope bar and its stored choice, Escape and a dialog that holds the panel open, and the strip.

#include "VXStatusItemPanel.h"
#include "VXStatusItemPanelResizeView.h"
#include "VXTestSettings.h"
#include "VXTrayTestSupport.h"

#include <QDialog>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QTest>
#include <QToolButton>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace {

class StatusItemPanelTest : public VXWidgetTest
{
protected:
    QToolButton *scopeButton(VXStatusItemPanel &panel, const char *name)
    {
        return panel.findChild<QToolButton *>(QString::fromLatin1(name));
    }

    vxtest::Settings settings;
};

TEST_F(StatusItemPanelTest, ViewsMoveBetweenTheirWindowsAndThePanel)
{
    // The organizer's window with its list container, as the shell has it.
    QWidget organizerWindow;
    auto *organizerLayout = new QVBoxLayout(&organizerWindow);
    auto *lists = new QLabel(QStringLiteral("lists"));
    organizerLayout->addWidget(lists);
    auto *report = new QLabel(QStringLiteral("report"));

    {
        VXStatusItemPanel panel(*settings.defaults);
        EXPECT_EQ(panel.setView(lists, VXStatusItemPanel::kOrganizerIdentifier), nullptr);
        EXPECT_EQ(panel.setView(report, VXStatusItemPanel::kActivityReportIdentifier), nullptr);
        EXPECT_EQ(lists->parentWidget(), panel.sectionContainer(VXStatusItemPanel::kOrganizerIdentifier));
        EXPECT_EQ(organizerLayout->count(), 0);
        EXPECT_EQ(panel.findChildren<QLabel *>().size(), 2);

        // Back to its window: one copy, in one place.
        EXPECT_EQ(panel.takeView(VXStatusItemPanel::kOrganizerIdentifier), lists);
        EXPECT_EQ(lists->parentWidget(), nullptr);
        organizerLayout->addWidget(lists);
        EXPECT_EQ(lists->parentWidget(), &organizerWindow);
        EXPECT_EQ(panel.view(VXStatusItemPanel::kOrganizerIdentifier), nullptr);
        EXPECT_EQ(panel.takeView(VXStatusItemPanel::kOrganizerIdentifier), nullptr);

        // Moved in again, and the panel goes: the views are not deleted with it.
        panel.setView(lists, VXStatusItemPanel::kOrganizerIdentifier);
        // A second report view replaces the first, which is handed back.
        auto *other = new QLabel(QStringLiteral("other"));
        EXPECT_EQ(panel.setView(other, VXStatusItemPanel::kActivityReportIdentifier), report);
        EXPECT_EQ(report->parentWidget(), nullptr);
        delete report;
        report = other;
    }
    EXPECT_EQ(lists->parentWidget(), nullptr);
    EXPECT_EQ(report->parentWidget(), nullptr);
    EXPECT_EQ(report->text(), QStringLiteral("other"));
    delete lists;
    delete report;
}

TEST_F(StatusItemPanelTest, TheScopeBarShowsOneSectionAndRemembersIt)
{
    VXStatusItemPanel panel(*settings.defaults);
    QLabel lists(QStringLiteral("lists")), report(QStringLiteral("report"));
    panel.setView(&lists, VXStatusItemPanel::kOrganizerIdentifier);
    panel.setView(&report, VXStatusItemPanel::kActivityReportIdentifier);
    QStringList selected;
    QObject::connect(&panel, &VXStatusItemPanel::sectionSelected, [&](const QString &id) { selected << id; });
    panel.updateSelection();   // nothing stored: the organizer
    panel.setPanelVisible(true);
    ASSERT_TRUE(VXWaitUntil([&] { return panel.isVisible(); }));
    EXPECT_TRUE(lists.isVisible());
    EXPECT_FALSE(report.isVisible());

    QTest::mouseClick(scopeButton(panel, "reportButton"), Qt::LeftButton);
    EXPECT_TRUE(report.isVisible());
    EXPECT_FALSE(lists.isVisible());
    EXPECT_TRUE(settings.defaults->boolForKey(VXStatusItemPanel::kShowsActivityReportKey));
    // Clicking the chosen section again changes nothing; Ctrl+1 goes back.
    QTest::mouseClick(scopeButton(panel, "reportButton"), Qt::LeftButton);
    QApplication::setActiveWindow(&panel);
    QTest::keyClick(&panel, Qt::Key_1, Qt::ControlModifier);
    EXPECT_TRUE(lists.isVisible());
    EXPECT_FALSE(settings.defaults->boolForKey(VXStatusItemPanel::kShowsActivityReportKey));
    EXPECT_EQ(selected,
              QStringList({VXStatusItemPanel::kOrganizerIdentifier, VXStatusItemPanel::kActivityReportIdentifier,
                           VXStatusItemPanel::kOrganizerIdentifier}));

    // A new panel (the next launch) opens on the stored section.
    settings.defaults->setBool(true, VXStatusItemPanel::kShowsActivityReportKey);
    VXStatusItemPanel next(*settings.defaults);
    next.updateSelection();
    EXPECT_EQ(next.selectedIdentifier(), VXStatusItemPanel::kActivityReportIdentifier);
    EXPECT_TRUE(scopeButton(next, "reportButton")->isChecked());
    panel.takeView(VXStatusItemPanel::kOrganizerIdentifier);
    panel.takeView(VXStatusItemPanel::kActivityReportIdentifier);
}

TEST_F(StatusItemPanelTest, EscapeClosesItUnlessADialogIsAttached)
{
    VXStatusItemPanel panel(*settings.defaults);
    QMenu menu;
    menu.addAction(QStringLiteral("Quit Wendle"));
    panel.setActionMenu(&menu);
    EXPECT_EQ(static_cast<QToolButton *>(panel.actionButton())->menu(), &menu);
    int vanished = 0;
    QObject::connect(&panel, &VXStatusItemPanel::windowWillVanish, [&] { ++vanished; });

    EXPECT_TRUE(panel.setPanelVisible(true));
    EXPECT_FALSE(panel.setPanelVisible(true));
    QTest::keyClick(&panel, Qt::Key_Escape);
    EXPECT_TRUE(VXWaitUntil([&] { return !panel.isVisible(); }));
    EXPECT_EQ(vanished, 1);
    EXPECT_FALSE(panel.setPanelVisible(false));

    // The notes dialog is open over the panel: neither Escape nor hiding closes it.
    EXPECT_TRUE(panel.togglePanel());
    QDialog notes(&panel);
    notes.show();
    QTest::keyClick(&panel, Qt::Key_Escape);
    EXPECT_FALSE(panel.setPanelVisible(false));
    VXSpinEventLoop(50);
    EXPECT_TRUE(panel.isVisible());
    notes.hide();
    EXPECT_TRUE(panel.togglePanel());
    EXPECT_TRUE(VXWaitUntil([&] { return !panel.isVisible(); }));
    EXPECT_EQ(vanished, 2);
}

TEST_F(StatusItemPanelTest, TheStripResizesFromTheCornersAllowedAndSavesTheFrame)
{
    VXStatusItemPanel panel(*settings.defaults);
    panel.setInitialSize(QSize(600, 400));
    // No tray geometry and no click: top right, both corners.
    panel.setPanelVisible(true);
    const QRect start = panel.geometry();
    EXPECT_EQ(start.size(), QSize(600, 400));
    VXStatusItemPanelResizeView *strip = panel.resizeView();
    EXPECT_TRUE(strip->canResizeLeft());
    EXPECT_TRUE(strip->canResizeRight());
    EXPECT_EQ(strip->mapTo(&panel, QPoint(0, strip->height())).y(), panel.height());

    // Dragging the left handle 50 left and 30 down: wider to the left, taller, top and right kept.
    // (The mouse's place on the screen, as the strip moves with the panel's edges.)
    const QPoint press(5, strip->height() / 2);
    const QPoint pressOnScreen = strip->mapToGlobal(press);
    const auto send = [&](QEvent::Type type, const QPoint &delta, Qt::MouseButtons buttons) {
        const QPoint global = pressOnScreen + delta;
        QMouseEvent event(type, QPointF(strip->mapFromGlobal(global)), QPointF(global), Qt::LeftButton, buttons,
                          Qt::NoModifier);
        QApplication::sendEvent(strip, &event);
    };
    send(QEvent::MouseButtonPress, QPoint(), Qt::LeftButton);
    EXPECT_TRUE(strip->isResizing());
    send(QEvent::MouseMove, QPoint(-50, 30), Qt::LeftButton);
    send(QEvent::MouseButtonRelease, QPoint(-50, 30), Qt::NoButton);
    EXPECT_FALSE(strip->isResizing());
    const QRect resized = panel.geometry();
    EXPECT_EQ(resized.size(), QSize(650, 430));
    EXPECT_EQ(resized.top(), start.top());
    EXPECT_EQ(resized.right(), start.right());
    EXPECT_EQ(settings.defaults->stringForKey(VXStatusItemPanel::kFrameAutosaveName),
              QStringLiteral("%1 %2 650 430").arg(resized.x()).arg(resized.y()));

    // The next panel takes the saved size; a damaged frame is ignored.
    VXStatusItemPanel next(*settings.defaults);
    next.setInitialSize(QSize(500, 350));
    EXPECT_EQ(next.size(), QSize(650, 430));
    settings.defaults->setString(QStringLiteral("12 x 650 430"), VXStatusItemPanel::kFrameAutosaveName);
    VXStatusItemPanel damaged(*settings.defaults);
    damaged.setInitialSize(QSize(500, 350));
    EXPECT_EQ(damaged.size(), QSize(500, 350));
}

}   // namespace
