// The report controller through its real window on the offscreen platform: the date controls
// and the effective range, the range chosen with the mouse, showing and closing, the settings of
// each report, menu validation, the saved frame, and when the view is rebuilt.

#include "VXReportControllerTestSupport.h"

#include "VXChameleonDatePicker.h"
#include "VXFullscreenReportWindow.h"
#include "VXLiveReportNotification.h"
#include "VXMainController.h"
#include "VXReportBottomBar.h"
#include "VXReportController.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportView.h"
#include "VXScenarioSteps.h"

#include <QAction>
#include <QCheckBox>
#include <QLineEdit>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QToolButton>
#include <cstdlib>
#include <optional>

#include <gtest/gtest.h>

using namespace vxreporttest;
using namespace Qt::StringLiterals;

namespace {

constexpr double kFirst = 1'750'000'000.25;
constexpr double kDay = 86'400.0;
constexpr double kLast = kFirst + 400 * kDay;

double pickerTime(const VXChameleonDatePicker *picker)
{
    return VXReportController::timestampForDate(picker->dateValue());
}

class ReportControllerTest : public ::testing::Test
{
protected:
    ReportControllerTest()
    {
        source.first = kFirst;
        source.last = kLast;
        VXArrayRef entries = VXMakeArray();
        entries->append(
            applicationEntry(u"Editor"_s, {kFirst, -(kFirst + 3600)}, {kFirst, -(kFirst + 7200)}, kFirst, kLast));
        source.entries = entries;
    }

    std::shared_ptr<VXReportController> makeController(const QString &uniqueID)
    {
        return VXReportController::reportControllerWithUniqueID(uniqueID, &source, settings.defaults.get());
    }

    // Shows the window through the toggle and waits until it is the active one.
    static void showActive(VXReportController &controller)
    {
        controller.toggleReportWindow(nullptr);
        ASSERT_TRUE(controller.reportWindow()->isVisible());
        ASSERT_TRUE(QTest::qWaitForWindowActive(controller.reportWindow()));
    }

    double stored(const QString &key) const { return settings.defaults->doubleForKey(key); }
    bool has(const QString &key) const { return !settings.defaults->objectForKey(key).isNull(); }

    // The whole range of report "Day" on both sides: a fixed side has its check box on, its
    // picker enabled and showing it, its key stored and the view starting or ending there; an
    // open side has none of these, and picker and view show the data's bound.
    void expectRange(VXReportController &controller, std::optional<double> begin, std::optional<double> end) const
    {
        const struct {
            const char *name;
            std::optional<double> value;
            QCheckBox *check;
            VXChameleonDatePicker *picker;
            QString key;
            double shown;
            double bound;
        } sides[] = {
            {"begin", begin, controller.beginDateSwitch(), controller.beginDatePicker(), u"Report: Day: Begin"_s,
             controller.reportView()->beginTimestamp(), kFirst},
            {"end", end, controller.endDateSwitch(), controller.endDatePicker(), u"Report: Day: End"_s,
             controller.reportView()->endTimestamp(), kLast},
        };
        for (const auto &side : sides) {
            SCOPED_TRACE(side.name);
            EXPECT_EQ(side.check->isChecked(), side.value.has_value());
            EXPECT_EQ(side.picker->isEnabled(), side.value.has_value());
            EXPECT_EQ(has(side.key), side.value.has_value());
            if (side.value) {
                EXPECT_DOUBLE_EQ(stored(side.key), *side.value);
            }
            EXPECT_DOUBLE_EQ(pickerTime(side.picker), side.value.value_or(side.bound));
            EXPECT_DOUBLE_EQ(side.shown, side.value.value_or(side.bound));
        }
    }

    PrivateSettings settings;
    FakeDataSource source;
};

}   // namespace

TEST_F(ReportControllerTest, KeysAreFormedFromTheUniqueIDAndAMissingIDBecomesAUUID)
{
    auto live = makeController(u"Default"_s);
    EXPECT_TRUE(live->isLiveReport());
    EXPECT_EQ(live->keyForReport(VXReportKey::kBegin), u"Report: Default: Begin"_s);
    EXPECT_EQ(live->windowFrameKey(), u"ReportWindow"_s);

    auto snapshot = makeController(u"/home/me/2026-11-21.csv"_s);
    EXPECT_EQ(snapshot->keyForReport(VXReportKey::kTimeFormat), u"Report: /home/me/2026-11-21.csv: Time Format"_s);
    EXPECT_EQ(snapshot->windowFrameKey(), u"ReportWindow: /home/me/2026-11-21.csv"_s);

    auto unnamed = makeController(QString());
    auto other = makeController(QString());
    EXPECT_EQ(unnamed->uniqueID().size(), 36);
    EXPECT_NE(unnamed->uniqueID(), other->uniqueID());
}

// One report "Day" from its loading to its hiding; each step names the fault it catches.
TEST_F(ReportControllerTest, TheDayReportFromLoadingToHiding)
{
    auto controller = makeController(u"Day"_s);
    ASSERT_NE(controller->loadReportWindow(), nullptr);
    VXScenarioSteps steps;
    VX_STEP(steps, "the view button offers the data source's menu, filled once at loading");
    ASSERT_NE(controller->viewMenuButton(), nullptr);
    ASSERT_NE(controller->viewMenu(), nullptr);
    EXPECT_EQ(source.menusFilled, 1);
    EXPECT_EQ(controller->viewMenuButton()->toolTip(), u"View"_s);
    EXPECT_EQ(controller->viewMenuButton()->width(), 36);
    EXPECT_EQ(controller->viewMenu()->title(), u"Index"_s);
    const QList<QAction *> actions = controller->viewMenu()->actions();
    ASSERT_EQ(actions.size(), 2);
    EXPECT_EQ(actions[0]->text(), u"View"_s);
    EXPECT_FALSE(actions[0]->isEnabled());
    EXPECT_EQ(actions[1]->text(), u"Fake Entry"_s);
    actions[1]->trigger();
    EXPECT_EQ(source.fakeEntryChosen, 1);
    // The live report notification forces a rebuild too.
    QObject::connect(VXLiveReportNotification::defaultCenter(), &VXLiveReportNotification::posted, controller.get(),
                     &VXReportController::updateRegardless);

    VX_STEP(steps, "a view that cannot be seen is rebuilt only when forced");
    controller->update(nullptr);
    EXPECT_EQ(source.logsAsked, 0);   // the window is not visible
    controller->updateRegardless(nullptr);
    EXPECT_EQ(source.logsAsked, 1);
    VXLiveReportNotification::defaultCenter()->post();
    EXPECT_EQ(source.logsAsked, 2);
    showActive(*controller);

    VX_STEP(steps, "a shown view is rebuilt on update and by settings of every report's look");
    const int shown = source.logsAsked;
    controller->update(nullptr);
    EXPECT_EQ(source.logsAsked, shown + 1);
    settings.defaults->setInteger(3, VXColorSchemeKey);
    EXPECT_EQ(source.logsAsked, shown + 2);
    settings.defaults->setInteger(3, u"Unrelated Setting"_s);
    EXPECT_EQ(source.logsAsked, shown + 2);
    settings.defaults->setInteger(0, VXColorSchemeKey);

    VX_STEP(steps, "a check box turned on fixes the date its disabled picker showed");
    // Disabled pickers show the data's bounds.
    expectRange(*controller, std::nullopt, std::nullopt);
    EXPECT_EQ(source.lastClip, std::make_pair(kFirst, kLast));
    QTest::mouseClick(controller->beginDateSwitch(), Qt::LeftButton);
    expectRange(*controller, kFirst, std::nullopt);
    QTest::mouseClick(controller->endDateSwitch(), Qt::LeftButton);
    expectRange(*controller, kFirst, kLast);

    // Changing the enabled picker's date fixes the new date and rebuilds the report.
    const int asked = source.logsAsked;
    controller->beginDatePicker()->setDateTime(VXReportController::dateForTimestamp(kFirst + 2 * kDay));
    expectRange(*controller, kFirst + 2 * kDay, kLast);
    EXPECT_GT(source.logsAsked, asked);
    EXPECT_EQ(source.lastClip, std::make_pair(kFirst + 2 * kDay, kLast));

    // Turned off: the key goes, the picker is disabled and shows the first timestamp again.
    QTest::mouseClick(controller->beginDateSwitch(), Qt::LeftButton);
    expectRange(*controller, std::nullopt, kLast);
    EXPECT_EQ(source.lastClip, std::make_pair(kFirst, kLast));
    // The range chosen with the mouse: both sides, one side (the other is opened), and zero for both.
    for (const auto &[begin, end] :
         {std::pair {kFirst + kDay, kFirst + 3 * kDay}, std::pair {kFirst + 2 * kDay, 0.0}, std::pair {0.0, 0.0}}) {
        SCOPED_TRACE(::testing::Message() << "the range from the mouse, " << begin - kFirst << " to " << end - kFirst);
        controller->setBeginTimestamp(begin, end, controller->reportView());
        expectRange(*controller, begin ? std::optional(begin) : std::nullopt, end ? std::optional(end) : std::nullopt);
    }

    VX_STEP(steps, "a click on a disabled picker enables it and starts editing at once");
    VXChameleonDatePicker *picker = controller->beginDatePicker();
    controller->endDateSwitch()->setFocus();
    ASSERT_FALSE(picker->isEnabled());
    ASSERT_FALSE(picker->hasFocus());
    QTest::mouseClick(picker, Qt::LeftButton, {}, QPoint(8, picker->height() / 2));
    EXPECT_TRUE(controller->beginDateSwitch()->isChecked());
    EXPECT_TRUE(picker->isEnabled());
    EXPECT_DOUBLE_EQ(stored(u"Report: Day: Begin"_s), kFirst);
    EXPECT_TRUE(picker->hasFocus());
    EXPECT_EQ(picker->currentSectionIndex(), 0);   // the section under the mouse

    // The same click left the picker editing: the next key changes the fixed date.
    QTest::keyClick(picker, Qt::Key_Up);
    EXPECT_GT(stored(u"Report: Day: Begin"_s), kFirst);
    EXPECT_DOUBLE_EQ(stored(u"Report: Day: Begin"_s), pickerTime(picker));
    EXPECT_DOUBLE_EQ(controller->reportView()->beginTimestamp(), pickerTime(picker));

    VX_STEP(steps, "the whole window follows the colour scheme");
    // The begin picker is enabled (a field), the end one plain text.
    ASSERT_FALSE(controller->endDatePicker()->isEnabled());
    auto *scrollArea = qobject_cast<QScrollArea *>(controller->reportView()->parentWidget()->parentWidget());
    ASSERT_NE(scrollArea, nullptr);
    scrollArea->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    const auto brightness = [](QWidget *widget) {
        const QImage image = widget->grab().toImage();
        double sum = 0.0;
        int brightest = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                sum += qGray(image.pixel(x, y));
                brightest = std::max(brightest, qGray(image.pixel(x, y)));
            }
        }
        return std::make_pair(sum / (image.width() * image.height()), brightest);
    };
    for (int scheme : {0, 3}) {
        SCOPED_TRACE(scheme);
        settings.defaults->setInteger(scheme, VXColorSchemeKey);
        for (QWidget *part :
             std::initializer_list<QWidget *> {controller->bottomBar(), controller->beginDatePicker(),
                                               controller->endDatePicker(), scrollArea->verticalScrollBar()}) {
            const auto [mean, brightest] = brightness(part);
            EXPECT_LT(mean, 110.0) << qPrintable(part->objectName()) << " is dark";
            if (part != scrollArea->verticalScrollBar()) {
                EXPECT_GT(brightest, 180) << qPrintable(part->objectName()) << " has light text";
            }
        }
    }
    settings.defaults->setInteger(2, VXColorSchemeKey);
    for (QWidget *part : std::initializer_list<QWidget *> {controller->bottomBar(), controller->endDatePicker(),
                                                           scrollArea->verticalScrollBar()})
        EXPECT_GT(brightness(part).first, 170.0) << qPrintable(part->objectName()) << " is light";

    VX_STEP(steps, "at its narrowest the bottom bar's controls do not overlap");
    controller->setBeginTimestamp(0.0, 0.0, controller->reportView());
    QWidget *window = controller->reportWindow();
    const auto narrowest = [&] {
        QCoreApplication::processEvents();
        window->resize(100, 100);
        QCoreApplication::processEvents();
        QList<QWidget *> controls;
        for (QWidget *child : controller->bottomBar()->findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
            if (child->isVisible())
                controls << child;
        }
        EXPECT_EQ(controls.size(), 5);
        for (int i = 0; i < controls.size(); ++i) {
            EXPECT_TRUE(controller->bottomBar()->rect().contains(controls[i]->geometry()))
                << qPrintable(controls[i]->objectName());
            for (int j = i + 1; j < controls.size(); ++j)
                EXPECT_FALSE(controls[i]->geometry().intersects(controls[j]->geometry()))
                    << qPrintable(controls[i]->objectName()) << " and " << qPrintable(controls[j]->objectName());
        }
        return window->width();
    };
    const int disabled = narrowest();
    EXPECT_GE(disabled, 460);
    // Enabled pickers are wider (a frame and a stepper): the narrowest window is wider too.
    controller->beginDateSwitch()->click();
    controller->endDateSwitch()->click();
    ASSERT_TRUE(controller->beginDatePicker()->isEnabled());
    EXPECT_GT(narrowest(), disabled);

    VX_STEP(steps, "a hidden view is never rebuilt");
    const int beforeHiding = source.logsAsked;
    controller->reportView()->hide();
    controller->update(nullptr);
    controller->updateRegardless(nullptr);
    VXLiveReportNotification::defaultCenter()->post();
    EXPECT_EQ(source.logsAsked, beforeHiding);
    QObject::disconnect(VXLiveReportNotification::defaultCenter(), nullptr, controller.get(), nullptr);

    // Without a data source there is no menu to offer.
    auto lonely = VXReportController::reportControllerWithUniqueID(u"Lonely"_s, nullptr, settings.defaults.get());
    ASSERT_NE(lonely->loadReportWindow(), nullptr);
    EXPECT_TRUE(lonely->viewMenuButton()->isHidden());
    EXPECT_EQ(lonely->viewMenu(), nullptr);
}

TEST_F(ReportControllerTest, TheStoredRangeSetsTheControlsAndEnabledPickersAreLimitedToTheDataAndTheEndToTheBegin)
{
    settings.defaults->setDouble(kFirst + kDay, u"Report: Day: Begin"_s);
    auto controller = makeController(u"Day"_s);
    ASSERT_NE(controller->loadReportWindow(), nullptr);
    EXPECT_TRUE(controller->beginDateSwitch()->isChecked());
    EXPECT_TRUE(controller->beginDatePicker()->isEnabled());
    EXPECT_DOUBLE_EQ(pickerTime(controller->beginDatePicker()), kFirst + kDay);
    EXPECT_FALSE(controller->endDateSwitch()->isChecked());
    EXPECT_FALSE(controller->endDatePicker()->isEnabled());

    double from = 0, to = 0, first = 0, last = 0;
    controller->getBeginTimestamp(&from, &to, &first, &last, controller->reportView());
    EXPECT_EQ(first, kFirst);
    EXPECT_EQ(last, kLast);
    EXPECT_DOUBLE_EQ(from, kFirst + kDay);
    EXPECT_EQ(to, kLast);
    // Each pointer is optional.
    controller->getBeginTimestamp(nullptr, &to, nullptr, nullptr, nullptr);
    EXPECT_EQ(to, kLast);

    // Stored values outside the data are kept as they are; the pickers narrow the range.
    settings.defaults->setDouble(kFirst - 30 * kDay, u"Report: Wide: Begin"_s);
    settings.defaults->setDouble(kLast + 30 * kDay, u"Report: Wide: End"_s);
    controller = makeController(u"Wide"_s);
    showActive(*controller);
    VXChameleonDatePicker *begin = controller->beginDatePicker();
    VXChameleonDatePicker *end = controller->endDatePicker();
    EXPECT_EQ(controller->reportView()->beginTimestamp(), kFirst);
    EXPECT_EQ(controller->reportView()->endTimestamp(), kLast);
    EXPECT_DOUBLE_EQ(stored(u"Report: Wide: Begin"_s), kFirst - 30 * kDay);
    EXPECT_EQ(VXReportController::timestampForDate(begin->minimumDateTime()), kFirst);
    EXPECT_EQ(VXReportController::timestampForDate(begin->maximumDateTime()), kLast);
    EXPECT_EQ(VXReportController::timestampForDate(end->maximumDateTime()), kLast);

    // A begin after the end may be chosen (its upper limit is the last timestamp); it then
    // becomes the end picker's lower limit and pulls the end up to it.
    controller->setBeginTimestamp(kFirst + 10 * kDay, kFirst + 5 * kDay, controller->reportView());
    EXPECT_DOUBLE_EQ(pickerTime(begin), kFirst + 10 * kDay);
    EXPECT_DOUBLE_EQ(VXReportController::timestampForDate(end->minimumDateTime()), kFirst + 10 * kDay);
    EXPECT_DOUBLE_EQ(controller->reportView()->beginTimestamp(), kFirst + 10 * kDay);
    EXPECT_DOUBLE_EQ(controller->reportView()->endTimestamp(), kFirst + 10 * kDay);

    // With the begin open, the end's lower limit is the first timestamp.
    controller->setBeginTimestamp(0.0, kFirst + 5 * kDay, controller->reportView());
    EXPECT_EQ(VXReportController::timestampForDate(end->minimumDateTime()), kFirst);
    EXPECT_DOUBLE_EQ(controller->reportView()->endTimestamp(), kFirst + 5 * kDay);

    // Disabled pickers lose their limits.
    controller->setBeginTimestamp(0.0, 0.0, controller->reportView());
    const QDateTimeEdit plain;
    EXPECT_EQ(begin->minimumDateTime(), plain.minimumDateTime());
    EXPECT_EQ(end->maximumDateTime(), plain.maximumDateTime());
}

TEST_F(ReportControllerTest, TheToggleBringsAnOpenButInactiveWindowForwardAndClosesAnActiveOne)
{
    auto controller = makeController(VXReportKey::kDefaultUniqueID);
    showActive(*controller);
    EXPECT_TRUE(settings.defaults->boolForKey(u"Report: Default: Visible"_s));
    EXPECT_TRUE(controller->isKeyWindow());

    QWidget other;
    other.resize(200, 100);
    other.show();
    other.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&other));
    EXPECT_FALSE(controller->isKeyWindow());

    controller->toggleReportWindow(nullptr);
    EXPECT_TRUE(controller->reportWindow()->isVisible());
    ASSERT_TRUE(QTest::qWaitForWindowActive(controller->reportWindow()));
    EXPECT_FALSE(has(u"Report: Default: Closed Last"_s));
    EXPECT_EQ(source.closeNotices, 0);

    controller->toggleReportWindow(nullptr);
    EXPECT_FALSE(controller->reportWindow()->isVisible());
    EXPECT_FALSE(settings.defaults->boolForKey(u"Report: Default: Visible"_s));
    EXPECT_TRUE(settings.defaults->boolForKey(u"Report: Default: Closed Last"_s));
    EXPECT_EQ(source.closeNotices, 1);

    // Its close button does the same.
    settings.defaults->setBool(false, u"Report: Default: Closed Last"_s);
    showActive(*controller);
    EXPECT_TRUE(settings.defaults->boolForKey(u"Report: Default: Visible"_s));
    EXPECT_TRUE(controller->reportWindow()->close());
    EXPECT_FALSE(controller->reportWindow()->isVisible());
    EXPECT_FALSE(settings.defaults->boolForKey(u"Report: Default: Visible"_s));
    EXPECT_TRUE(settings.defaults->boolForKey(u"Report: Default: Closed Last"_s));
    EXPECT_EQ(source.closeNotices, 2);

    // Windows closed because the program quits keep their state.
    showActive(*controller);
    settings.defaults->setBool(false, u"Report: Default: Closed Last"_s);
    VXReportController::setApplicationTerminating(true);
    controller->reportWindow()->close();
    VXReportController::setApplicationTerminating(false);
    EXPECT_FALSE(controller->reportWindow()->isVisible());
    EXPECT_TRUE(settings.defaults->boolForKey(u"Report: Default: Visible"_s));
    EXPECT_FALSE(settings.defaults->boolForKey(u"Report: Default: Closed Last"_s));
    EXPECT_EQ(source.closeNotices, 3);

    // Other reports never touch the live report's key.
    settings.defaults->setBool(false, u"Report: Default: Closed Last"_s);
    auto snapshot = makeController(u"/tmp/day.csv"_s);
    showActive(*snapshot);
    snapshot->reportWindow()->close();
    snapshot->toggleReportWindow(nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowActive(snapshot->reportWindow()));
    snapshot->toggleReportWindow(nullptr);
    EXPECT_FALSE(settings.defaults->boolForKey(u"Report: Default: Closed Last"_s));
    EXPECT_FALSE(settings.defaults->boolForKey(u"Report: /tmp/day.csv: Visible"_s));
    EXPECT_EQ(source.closeNotices, 5);
}

TEST_F(ReportControllerTest, SettingsOfEachReportAndTheLiveReportFloatingOnRequest)
{
    settings.defaults->setBool(true, u"Report: Default: Stay In Front"_s);
    auto live = makeController(VXReportKey::kDefaultUniqueID);
    auto other = makeController(u"Other"_s);
    EXPECT_TRUE(live->loadReportWindow()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    EXPECT_FALSE(other->loadReportWindow()->windowFlags().testFlag(Qt::WindowStaysOnTopHint));
    // A floating window's bar is drawn opaque.
    EXPECT_EQ(live->bottomBar()->currentGradient().bottom.alphaF(), 1.0f);
    EXPECT_LT(other->bottomBar()->currentGradient().bottom.alphaF(), 1.0f);

    // Registered for the live report only.
    EXPECT_TRUE(live->drawFrontActivity());
    EXPECT_TRUE(live->drawTotalActivity());
    EXPECT_FALSE(other->drawFrontActivity());
    EXPECT_FALSE(other->drawTotalActivity());
    EXPECT_EQ(live->timeFormat(), 0);

    live->toggleShownActivityFromMenuItem(0);
    EXPECT_FALSE(live->drawFrontActivity());
    EXPECT_TRUE(live->drawTotalActivity());
    EXPECT_TRUE(settings.defaults->persistentObjectForKey(u"Report: Default: Front"_s).isBoolean());
    live->toggleShownActivityFromMenuItem(1);
    EXPECT_FALSE(live->drawTotalActivity());
    other->toggleShownActivityFromMenuItem(1);
    EXPECT_TRUE(other->drawTotalActivity());
    EXPECT_TRUE(settings.defaults->boolForKey(u"Report: Other: Total"_s));

    live->setTimeFormatFromMenuItem(1);
    EXPECT_EQ(live->timeFormat(), 1);
    EXPECT_EQ(settings.defaults->integerForKey(u"Report: Default: Time Format"_s), 1);
    EXPECT_EQ(other->timeFormat(), 0);
}

TEST_F(ReportControllerTest, MenuValidationFollowsWhetherTheReportIsShown)
{
    using Action = VXReportMenuAction;
    auto live = makeController(VXReportKey::kDefaultUniqueID);
    const auto state = [&](Action action, int tag) {
        const VXReportMenuItemState s = live->validateMenuItem(action, tag);
        return std::make_pair(s.enabled, s.checked);
    };
    // Not shown: disabled and unchecked.
    EXPECT_EQ(state(Action::SetTimeFormatFromMenuItem, 0), std::make_pair(false, false));
    EXPECT_EQ(state(Action::ToggleShownActivityFromMenuItem, 0), std::make_pair(false, false));

    showActive(*live);
    EXPECT_EQ(state(Action::SetTimeFormatFromMenuItem, 0), std::make_pair(true, true));
    EXPECT_EQ(state(Action::SetTimeFormatFromMenuItem, 1), std::make_pair(true, false));
    EXPECT_EQ(state(Action::ToggleShownActivityFromMenuItem, 0), std::make_pair(true, true));
    live->setTimeFormatFromMenuItem(1);
    live->toggleShownActivityFromMenuItem(1);
    EXPECT_EQ(state(Action::SetTimeFormatFromMenuItem, 1), std::make_pair(true, true));
    EXPECT_EQ(state(Action::ToggleShownActivityFromMenuItem, 1), std::make_pair(true, false));

    // A hidden view counts as not shown.
    live->reportView()->hide();
    EXPECT_EQ(state(Action::SetTimeFormatFromMenuItem, 1), std::make_pair(false, false));
    EXPECT_EQ(state(Action::ToggleShownActivityFromMenuItem, 0), std::make_pair(false, false));

    // A snapshot's activity entries show what its file holds and are never enabled.
    auto snapshot = makeController(u"/tmp/day.csv"_s);
    VXDictionaryRef configuration = VXMakeDictionary();
    configuration->insert(VXForegroundActivityKey, true);
    snapshot->setSnapshotConfiguration(configuration);
    showActive(*snapshot);
    const VXReportMenuItemState front = snapshot->validateMenuItem(Action::ToggleShownActivityFromMenuItem, 0);
    const VXReportMenuItemState total = snapshot->validateMenuItem(Action::ToggleShownActivityFromMenuItem, 1);
    EXPECT_FALSE(front.enabled);
    EXPECT_TRUE(front.checked);
    EXPECT_FALSE(total.enabled);
    EXPECT_FALSE(total.checked);
    EXPECT_TRUE(snapshot->validateMenuItem(Action::SetTimeFormatFromMenuItem, 0).enabled);
}

TEST_F(ReportControllerTest, EachReportKeepsItsOwnWindowFrame)
{
    const QRect frame(100, 120, 500, 300);
    {
        auto live = makeController(VXReportKey::kDefaultUniqueID);
        showActive(*live);
        live->reportWindow()->setGeometry(frame);
        QCoreApplication::processEvents();
        live->reportWindow()->close();
        EXPECT_EQ(settings.defaults->stringForKey(u"ReportWindow"_s), u"100 120 500 300"_s);
    }
    {
        // Another ID has no frame yet: centred on its first showing.
        auto snapshot = makeController(u"/tmp/day.csv"_s);
        showActive(*snapshot);
        // (Within the few points that window decorations add.)
        const QRect available = snapshot->reportWindow()->screen()->availableGeometry();
        EXPECT_LE((snapshot->reportWindow()->geometry().center() - available.center()).manhattanLength(), 4);
        snapshot->reportWindow()->move(40, 50);
        QCoreApplication::processEvents();
        const QRect moved = snapshot->reportWindow()->geometry();
        snapshot->reportWindow()->close();
        EXPECT_EQ(settings.defaults->stringForKey(u"ReportWindow: /tmp/day.csv"_s),
                  u"%1 %2 %3 %4"_s.arg(moved.x()).arg(moved.y()).arg(moved.width()).arg(moved.height()));
        EXPECT_LE(std::abs(moved.x() - 40), 4);
        EXPECT_EQ(settings.defaults->stringForKey(u"ReportWindow"_s), u"100 120 500 300"_s);
    }
    {
        // The same ID again: the saved frame, also when shown.
        auto live = makeController(VXReportKey::kDefaultUniqueID);
        ASSERT_NE(live->loadReportWindow(), nullptr);
        EXPECT_EQ(live->reportWindow()->geometry(), frame);
        showActive(*live);
        EXPECT_EQ(live->reportWindow()->geometry(), frame);
    }
    {
        // A damaged frame is ignored.
        settings.defaults->setString(u"12 x 500 300"_s, u"ReportWindow: Damaged"_s);
        auto damaged = makeController(u"Damaged"_s);
        showActive(*damaged);
        EXPECT_GT(damaged->reportWindow()->width(), 0);
        EXPECT_NE(damaged->reportWindow()->x(), 12);
    }
}

TEST_F(ReportControllerTest, AnEmptyReportSaysThatNothingWasTrackedInTheRange)
{
    source.entries = VXMakeArray();
    auto live = makeController(VXReportKey::kDefaultUniqueID);
    showActive(*live);
    VXReportView *view = live->reportView();
    EXPECT_EQ(view->overlayMessage(), u"Nothing Tracked Yet"_s);
    EXPECT_EQ(view->overlaySubtitle(), u"No activity has been tracked in this range yet."_s);
    // Drawn: the view is not one plain colour.
    const QImage image = view->grab().toImage();
    const QRgb background = image.pixel(0, 0);
    int marked = 0;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            marked += image.pixel(x, y) != background ? 1 : 0;
    EXPECT_GT(marked, 200);

    auto snapshot = makeController(u"/tmp/empty.csv"_s);
    snapshot->setSnapshotConfiguration(VXMakeDictionary());
    ASSERT_NE(snapshot->loadReportWindow(), nullptr);
    EXPECT_EQ(snapshot->reportView()->overlayMessage(), u"No Activity"_s);
    EXPECT_EQ(snapshot->reportView()->overlaySubtitle(), u"The file holds no activity in this range."_s);
}

TEST_F(ReportControllerTest, NewReportWindowsDoNotOpenOverEachOther)
{
    auto live = makeController(VXReportKey::kDefaultUniqueID);
    auto first = makeController(u"/tmp/first.csv"_s);
    auto second = makeController(u"/tmp/second.csv"_s);
    showActive(*live);
    showActive(*first);
    showActive(*second);
    const QPoint a = live->reportWindow()->pos();
    const QPoint b = first->reportWindow()->pos();
    const QPoint c = second->reportWindow()->pos();
    EXPECT_GE((b - a).manhattanLength(), 28);
    EXPECT_GE((c - a).manhattanLength(), 28);
    EXPECT_GE((c - b).manhattanLength(), 28);
    const QRect available = live->reportWindow()->screen()->availableGeometry();
    for (auto *controller : {live.get(), first.get(), second.get()})
        EXPECT_TRUE(available.contains(controller->reportWindow()->frameGeometry()));

    // A window with a saved frame goes back where it was, whatever is there.
    second->reportWindow()->close();
    first->reportWindow()->move(a);
    QCoreApplication::processEvents();
    first->reportWindow()->close();
    auto again = makeController(u"/tmp/first.csv"_s);
    showActive(*again);
    EXPECT_LE((again->reportWindow()->pos() - a).manhattanLength(), 4);
}

TEST_F(ReportControllerTest, SavedFramesAreKeptOnTheScreen)
{
    // Saved on a larger screen or at another scale, and a frame larger than any screen.
    settings.defaults->setString(u"3000 2000 700 400"_s, u"ReportWindow: Far"_s);
    settings.defaults->setString(u"-80 -60 5000 4000"_s, u"ReportWindow: Huge"_s);
    for (const QString &id : {u"Far"_s, u"Huge"_s}) {
        SCOPED_TRACE(id.toStdString());
        auto controller = makeController(id);
        showActive(*controller);
        QWidget *window = controller->reportWindow();
        // On the screen (but for the few points that window decorations may add), and no
        // larger than it.
        const QRect available = window->screen()->availableGeometry();
        const QRect frame = window->frameGeometry();
        const QRect seen = frame.intersected(available);
        EXPECT_GE(double(seen.width()) * seen.height(), 0.95 * frame.width() * frame.height());
        EXPECT_LE(window->width(), available.width());
        EXPECT_LE(window->height(), available.height());
        EXPECT_GE(window->width(), window->minimumWidth());
    }
    EXPECT_EQ(makeController(u"Far"_s)->loadReportWindow()->size(), QSize(700, 400))
        << "a frame that fits keeps its size";
}

TEST(ChameleonDatePickerTest, EnablingMovesThePickerOrItsCheckBoxOnlyOnAChange)
{
    application();
    QWidget bar;
    bar.resize(600, 39);
    QCheckBox leftSwitch(u"From"_s, &bar);
    leftSwitch.move(10, 9);
    VXChameleonDatePicker left(&bar);
    left.move(80, 7);
    left.setEnablingSwitch(&leftSwitch);
    EXPECT_EQ(left.enablingSwitch(), &leftSwitch);

    left.setEnabled(false);
    EXPECT_EQ(left.x(), 75);
    EXPECT_EQ(left.buttonSymbols(), QAbstractSpinBox::NoButtons);
    EXPECT_FALSE(left.hasFrame());
    left.setEnabled(false);   // no change: no move
    EXPECT_EQ(left.x(), 75);
    left.setEnabled(true);
    EXPECT_EQ(left.x(), 80);
    EXPECT_EQ(left.buttonSymbols(), QAbstractSpinBox::UpDownArrows);
    EXPECT_TRUE(left.hasFrame());
    EXPECT_EQ(leftSwitch.x(), 10);
    EXPECT_EQ(left.size(), left.fittingSize());

    // Tag 1: anchored at its right edge; the check box moves instead, and growth goes left.
    QCheckBox rightSwitch(u"To"_s, &bar);
    VXChameleonDatePicker right(&bar);
    right.setTag(1);
    right.setEnabled(false);
    right.move(400, 7);
    rightSwitch.move(300, 9);
    right.setEnablingSwitch(&rightSwitch);
    EXPECT_EQ(rightSwitch.geometry().right(), 399);   // right before the picker
    EXPECT_EQ(rightSwitch.y(), 9);
    rightSwitch.move(340, 9);
    const int rightEdge = right.geometry().right();
    const int widthDisabled = right.width();
    right.setEnabled(true);
    const int grown = right.width() - widthDisabled;
    EXPECT_GT(grown, 0);   // the stepper
    EXPECT_EQ(right.geometry().right(), rightEdge);
    EXPECT_EQ(rightSwitch.x(), 340 - 5 - grown);

    const int switchBefore = rightSwitch.x();
    const int widthBefore = right.width();
    right.setDisplayFormat(u"dddd, d MMMM yyyy HH:mm:ss"_s);
    right.sizeToFit();
    const int growth = right.width() - widthBefore;
    EXPECT_GT(growth, 0);
    EXPECT_EQ(right.geometry().right(), rightEdge);
    EXPECT_EQ(rightSwitch.x(), switchBefore - growth);

    // Setting a date fits the size to it.
    right.resize(40, right.height());
    right.setDateValue(VXReportController::dateForTimestamp(kFirst));
    EXPECT_EQ(right.size(), right.fittingSize());
}

TEST(ChameleonDatePickerTest, TheDisabledTextReadsAsPlainTextOnLightAndDarkWindows)
{
    using Picker = VXChameleonDatePicker;
    EXPECT_EQ(Picker::disabledTextColor(Qt::black, Qt::white), QColor(Qt::black));
    EXPECT_EQ(Picker::disabledTextColor(QColor::fromRgbF(0.5f, 1.0f, 0.0f, 0.5f), Qt::white),
              QColor::fromRgbF(0.2f, 0.4f, 0.0f, 0.5f));
    EXPECT_EQ(Picker::disabledTextColor(Qt::white, QColor(0x1f, 0x1f, 0x1f)), QColor(Qt::white)) << "not darkened";

    // The picker follows its window's palette, whichever it is.
    application();
    QWidget window;
    VXChameleonDatePicker picker(&window);
    picker.setEnabled(false);
    for (const QPalette &palette : {QPalette(QColor(0xee, 0xee, 0xee)), QPalette(QColor(0x30, 0x30, 0x30))}) {
        window.setPalette(palette);
        const QColor text = palette.color(QPalette::Active, QPalette::WindowText);
        EXPECT_EQ(picker.palette().color(QPalette::Disabled, QPalette::Text),
                  Picker::disabledTextColor(text, palette.color(QPalette::Window)));
        EXPECT_EQ(picker.palette().color(QPalette::Disabled, QPalette::Base).alpha(), 0);
        EXPECT_EQ(picker.palette().color(QPalette::Active, QPalette::Window), palette.color(QPalette::Window));
    }
}

namespace {

// Offers a context menu for entries of one application only.
class ContextMenuSource : public FakeDataSource
{
public:
    bool contextMenuForEventLog(const VXDictionary &eventLog, const VXReportClient &report, VXReportMenu &menu) override
    {
        if (eventLog.value(u"Name"_s).toString() != u"Editor"_s)
            return false;
        menu.addItem(u"Reset Timer of "_s + report.uniqueID(), 4, [this] { ++resets; });
        menu.addSeparator();
        VXReportMenu &more = menu.addSubmenu(u"More"_s);
        more.addHeading(u"Nothing else"_s);
        return true;
    }
    int resets = 0;
};

}   // namespace

TEST_F(ReportControllerTest, ContextMenusComeFromTheDataSourceWhenItOffersOne)
{
    ContextMenuSource menus;
    menus.first = kFirst;
    menus.last = kLast;
    auto controller = VXReportController::reportControllerWithUniqueID(u"Day"_s, &menus, settings.defaults.get());
    const VXDictionaryRef editor = applicationEntry(u"Editor"_s, {}, {}, kFirst, kLast);
    const VXDictionaryRef terminal = applicationEntry(u"Terminal"_s, {}, {}, kFirst, kLast);

    std::unique_ptr<QMenu> menu = controller->contextMenuForEventLog(editor);
    ASSERT_NE(menu, nullptr);
    const QList<QAction *> actions = menu->actions();
    ASSERT_EQ(actions.size(), 3);
    EXPECT_EQ(actions[0]->text(), u"Reset Timer of Day"_s);
    EXPECT_TRUE(actions[1]->isSeparator());
    ASSERT_NE(actions[2]->menu(), nullptr);
    EXPECT_FALSE(actions[2]->menu()->actions().value(0)->isEnabled());
    actions[0]->trigger();
    EXPECT_EQ(menus.resets, 1);

    EXPECT_EQ(controller->contextMenuForEventLog(terminal), nullptr);
    EXPECT_EQ(controller->contextMenuForEventLog(VXDictionaryRef()), nullptr);
    // A data source without context menus offers none.
    EXPECT_EQ(makeController(u"Plain"_s)->contextMenuForEventLog(editor), nullptr);
}

TEST(FullscreenReportWindowTest, DrawsItsImageScaledOverWhateverWasThere)
{
    application();
    VXFullscreenReportWindow window;
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::WindowStaysOnBottomHint));
    EXPECT_TRUE(window.windowFlags().testFlag(Qt::FramelessWindowHint));
    window.fitToScreen();
    EXPECT_EQ(window.geometry(), QGuiApplication::primaryScreen()->availableGeometry());

    QImage picture(2, 1, QImage::Format_ARGB32);
    picture.setPixel(0, 0, qRgba(255, 0, 0, 128));
    picture.setPixel(1, 0, qRgba(0, 0, 255, 255));
    window.setImage(picture);
    EXPECT_EQ(window.image().cacheKey(), picture.cacheKey());

    // Copy compositing: the half-transparent red replaces the green below instead of mixing.
    QImage canvas(40, 10, QImage::Format_ARGB32);
    canvas.fill(Qt::green);
    {
        QPainter painter(&canvas);
        VXFullscreenReportWindow::drawOverlayInBounds(painter, QRectF(0, 0, 40, 10), &window, &window);
    }
    EXPECT_EQ(canvas.pixel(5, 5), qRgba(255, 0, 0, 128));
    EXPECT_EQ(canvas.pixel(35, 5), qRgba(0, 0, 255, 255));

    // Without an image nothing is drawn.
    VXFullscreenReportWindow empty;
    canvas.fill(Qt::green);
    {
        QPainter painter(&canvas);
        VXFullscreenReportWindow::drawOverlayInBounds(painter, QRectF(0, 0, 40, 10), &empty, &empty);
    }
    EXPECT_EQ(canvas.pixel(5, 5), QColor(Qt::green).rgba());
}
