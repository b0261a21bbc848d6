// Mouse sessions through the real widget: a drag that selects a range and zooms to it, the
// chooser strip's edges and middle dragged, a double click that shows all data, and the
// read-out label that follows the mouse and stays inside the view.

#include "VXColorExtensions.h"
#include "VXReportGeometry.h"
#include "VXReportViewTestSupport.h"

#include <QApplication>
#include <QMouseEvent>
#include <QScrollArea>
#include <QTest>

#include <gtest/gtest.h>

using namespace reportviewtest;

namespace {

class ReportViewMouse : public ::testing::Test
{
protected:
    void SetUp() override
    {
        scrollArea.setFrameShape(QFrame::NoFrame);
        scrollArea.setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scrollArea.resize(600, 400);
        view = new VXReportView;
        scrollArea.setWidget(view);
        delegate.view = view;
        view->setDelegate(&delegate);
        // All data spans 10 000 seconds; the report shows 2 000..4 000 of it.
        delegate.first = kBase;
        delegate.last = kBase + 10000.0;
        delegate.begin = kBase + 2000.0;
        delegate.end = kBase + 4000.0;
        for (int i = 0; i < 3; ++i)
            delegate.items.push_back(item(QStringLiteral("App %1").arg(i), eventLog({{0, 10000}}),
                                          eventLog({{1000.0 * i, 1000.0 * i + 2500}})));
        scrollArea.show();
        view->update(&scrollArea);
        QApplication::processEvents();   // the deferred tracking registration
    }
    void TearDown() override
    {
        defaults().removeObjectForKey(VXReportViewKey::kShowTimeAtMouseLocation);
        defaults().removeObjectForKey(VXReportViewKey::kIndicatorLineTracksMouse);
    }

    void send(QEvent::Type type, QPointF at, Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent event(type, at, view->mapToGlobal(at), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(view, &event);
    }
    void press(QPointF at) { send(QEvent::MouseButtonPress, at, Qt::LeftButton, Qt::LeftButton); }
    void drag(QPointF at) { send(QEvent::MouseMove, at, Qt::NoButton, Qt::LeftButton); }
    void release(QPointF at) { send(QEvent::MouseButtonRelease, at, Qt::LeftButton, Qt::NoButton); }
    void hover(QPointF at) { send(QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton); }

    qreal width() const { return view->visibleRect().width(); }
    qreal stripY() const { return view->visibleRect().bottom() - 7.0; }
    // Times on the strip (all data) and on the rows (the shown range) at x.
    double stripTime(qreal x) const { return kBase + 10000.0 * std::clamp(x / width(), 0.0, 1.0); }

    QScrollArea scrollArea;
    VXReportView *view = nullptr;
    TestDelegate delegate;
};

}   // namespace

TEST_F(ReportViewMouse, DraggingOverTheRowsSelectsARangeAndZoomsToIt)
{
    ASSERT_EQ(width(), 600.0);
    press(QPointF(150, 40));
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::Select);
    EXPECT_EQ(view->cursor().shape(), Qt::SizeHorCursor);
    drag(QPointF(300, 60));
    drag(QPointF(450, 80));
    EXPECT_EQ(view->mouseDownLocation(), QPointF(150, 40));
    EXPECT_EQ(view->mouseDragLocation(), QPointF(450, 80));
    EXPECT_TRUE(delegate.rangesSet.empty()) << "a selection is told only when the button goes up";

    // While selecting, the span is drawn: the label of the dragged edge is shown.
    view->grab();
    EXPECT_FALSE(view->lastMouseLabelRect().isEmpty());

    QElapsedTimer timer;
    timer.start();
    release(QPointF(450, 80));
    // Five animation steps of 15 ms before the exact range.
    EXPECT_GE(timer.elapsed(), 70);
    ASSERT_EQ(delegate.rangesSet.size(), 1u);
    EXPECT_DOUBLE_EQ(delegate.rangesSet[0].first, kBase + 2000.0 + 2000.0 * 150.0 / 600.0);
    EXPECT_DOUBLE_EQ(delegate.rangesSet[0].second, kBase + 2000.0 + 2000.0 * 450.0 / 600.0);
    EXPECT_FALSE(view->isAnimating());
    EXPECT_FALSE(VXReportGeometry::isLocationSet(view->mouseDownLocation()));
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::None);
    EXPECT_FALSE(view->testAttribute(Qt::WA_SetCursor));
    // The controller's answer is what the view now shows.
    EXPECT_DOUBLE_EQ(view->beginTimestamp(), kBase + 2500.0);
    EXPECT_DOUBLE_EQ(view->endTimestamp(), kBase + 3500.0);

    // Dragging right to left selects the same way; a click without a drag selects nothing.
    press(QPointF(400, 40));
    drag(QPointF(100, 40));
    release(QPointF(100, 40));
    ASSERT_EQ(delegate.rangesSet.size(), 2u);
    EXPECT_LT(delegate.rangesSet[1].first, delegate.rangesSet[1].second);
    press(QPointF(200, 40));
    release(QPointF(200, 40));
    EXPECT_EQ(delegate.rangesSet.size(), 2u);
}

TEST_F(ReportViewMouse, TimePortionsAreDrawnInNaturalTimeWhileSelecting)
{
    delegate.format = 1;
    defaults().setInteger(1, VXColorSchemeKey);
    // Foreground from 3 000 to 3 500 of the shown 2 000..4 000, total all along: in time portions
    // a bar of 500 / 2 000 of the width from the left edge (0..150), in natural time 300..375.
    delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 10000}}), eventLog({{3000, 3500}}))};
    view->update(&scrollArea);
    const auto frontAt = [&](int x) {
        const QImage image = view->grab().toImage();
        const QRgb c = image.pixel(x, 25);
        return qRed(c) != qGreen(c);
    };
    EXPECT_TRUE(frontAt(50));
    EXPECT_FALSE(frontAt(320));
    press(QPointF(590, 300));
    EXPECT_FALSE(frontAt(50)) << "natural time while the press location is set";
    EXPECT_TRUE(frontAt(320));
    release(QPointF(590, 300));
    EXPECT_TRUE(frontAt(50));
    EXPECT_FALSE(frontAt(320));
    defaults().removeObjectForKey(VXColorSchemeKey);
}

TEST_F(ReportViewMouse, DraggingTheChooserEdgesAndMiddle)
{
    ASSERT_TRUE(view->showTimestampIntervalChooser());
    // The strip maps all data over 600 points: begin at 120, end at 240.
    const qreal bx = 120.0, ex = 240.0;

    // A press on the begin grip moves begin there at once, then with the mouse.
    press(QPointF(bx + 3, stripY()));
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::Begin);
    ASSERT_EQ(delegate.rangesSet.size(), 1u);
    EXPECT_DOUBLE_EQ(delegate.rangesSet[0].first, stripTime(bx + 3));
    EXPECT_DOUBLE_EQ(delegate.rangesSet[0].second, kBase + 4000.0);
    drag(QPointF(60, stripY()));
    EXPECT_DOUBLE_EQ(delegate.rangesSet.back().first, stripTime(60));
    EXPECT_DOUBLE_EQ(view->beginTimestamp(), stripTime(60));
    // Past the end, begin stops at the end.
    drag(QPointF(400, stripY()));
    EXPECT_DOUBLE_EQ(delegate.rangesSet.back().first, kBase + 4000.0);
    // At the border of the data, begin is left open.
    drag(QPointF(-20, stripY()));
    EXPECT_EQ(delegate.rangesSet.back().first, -1.0);
    EXPECT_DOUBLE_EQ(view->beginTimestamp(), kBase);
    release(QPointF(-20, stripY()));
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::None);

    // The end grip: begin is at 0 now, end still at 240.
    delegate.begin = kBase + 2000.0;
    view->update(&scrollArea);
    press(QPointF(ex - 2, stripY()));
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::End);
    drag(QPointF(420, stripY()));
    EXPECT_DOUBLE_EQ(delegate.rangesSet.back().first, kBase + 2000.0);
    EXPECT_DOUBLE_EQ(delegate.rangesSet.back().second, stripTime(420));
    drag(QPointF(700, stripY()));
    EXPECT_EQ(delegate.rangesSet.back().second, -1.0) << "dragged to the end of the data: left open";
    release(QPointF(700, stripY()));

    // The middle moves the whole range and keeps its length.
    delegate.begin = kBase + 2000.0;
    delegate.end = kBase + 4000.0;
    view->update(&scrollArea);
    const std::size_t before = delegate.rangesSet.size();
    press(QPointF(180, stripY()));
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::Move);
    EXPECT_EQ(view->cursor().shape(), Qt::ClosedHandCursor);
    EXPECT_EQ(delegate.rangesSet.size(), before) << "grabbing the middle changes nothing yet";
    drag(QPointF(240, stripY()));
    const double moved = stripTime(240) - stripTime(180);
    EXPECT_NEAR(delegate.rangesSet.back().first, kBase + 2000.0 + moved, 1e-6);
    EXPECT_NEAR(delegate.rangesSet.back().second, kBase + 4000.0 + moved, 1e-6);
    // Pushed against the end of the data: it stops there, the end left open.
    drag(QPointF(900, stripY()));
    EXPECT_NEAR(delegate.rangesSet.back().first, kBase + 8000.0, 1e-6);
    EXPECT_EQ(delegate.rangesSet.back().second, -1.0);
    drag(QPointF(-500, stripY()));
    EXPECT_EQ(delegate.rangesSet.back().first, -1.0);
    EXPECT_NEAR(delegate.rangesSet.back().second, kBase + 2000.0, 1e-6);
    release(QPointF(-500, stripY()));
    EXPECT_FALSE(view->testAttribute(Qt::WA_SetCursor));
}

TEST_F(ReportViewMouse, ADoubleClickShowsAllData)
{
    QTest::mouseDClick(view, Qt::LeftButton, Qt::NoModifier, QPoint(300, 50));
    ASSERT_FALSE(delegate.rangesSet.empty());
    EXPECT_EQ(delegate.rangesSet.back(), std::make_pair(-1.0, -1.0));
    EXPECT_FALSE(view->showTimestampIntervalChooser()) << "all data shown: no chooser";
    EXPECT_DOUBLE_EQ(view->beginTimestamp(), kBase);
    EXPECT_DOUBLE_EQ(view->endTimestamp(), kBase + 10000.0);
    EXPECT_EQ(view->dragMode(), VXReportView::DragMode::None);
}

TEST_F(ReportViewMouse, TheReadOutFollowsTheMouseAndStaysInsideTheView)
{
    // Without "Show Time At Mouse Location" only the strip reads out.
    hover(QPointF(300, 50));
    EXPECT_FALSE(VXReportGeometry::isLocationSet(view->mouseTrackLocation()));
    view->grab();
    EXPECT_TRUE(view->lastMouseLabelRect().isEmpty());
    hover(QPointF(300, stripY()));
    EXPECT_TRUE(view->mouseTrackLocationIsInTimestampIntervalChooser());
    view->grab();
    EXPECT_FALSE(view->lastMouseLabelRect().isEmpty());

    defaults().setBool(true, VXReportViewKey::kShowTimeAtMouseLocation);
    defaults().setBool(true, VXReportViewKey::kIndicatorLineTracksMouse);
    view->update(&scrollArea);
    QApplication::processEvents();
    const QRectF visible = view->visibleRect();
    for (qreal x : {1.0, 150.0, 300.0, 560.0, 598.0}) {
        hover(QPointF(x, 100));
        ASSERT_TRUE(VXReportGeometry::isLocationSet(view->mouseTrackLocation())) << x;
        EXPECT_FALSE(view->mouseTrackLocationIsInTimestampIntervalChooser());
        const QImage image = view->grab().toImage();
        const QRectF label = view->lastMouseLabelRect();
        ASSERT_FALSE(label.isEmpty()) << x;
        EXPECT_GE(label.left(), visible.left() + 8.0) << x;
        EXPECT_LE(label.right(), visible.right() - 8.0) << x;
        // Above the chooser strip, 3 points clear of it.
        EXPECT_LE(label.bottom(), visible.bottom() - 15.0 - 3.0) << x;
        if (x > 500.0) {
            EXPECT_EQ(label.right(), std::floor(x) - 10.0) << "left of the line near the right edge";
        }
        // The indicator line: its dark half at the mouse is darker than the column beside the
        // line, above the label.
        const int lx = int(x);
        if (lx + 3 < image.width()) {
            EXPECT_LT(qGray(image.pixel(lx, 10)), qGray(image.pixel(lx + 3, 10))) << x;
        }
    }
    // Leaving the view clears the read-out.
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(view, &leave);
    EXPECT_FALSE(VXReportGeometry::isLocationSet(view->mouseTrackLocation()));
    view->grab();
    EXPECT_TRUE(view->lastMouseLabelRect().isEmpty());
}

TEST_F(ReportViewMouse, MovingTheMouseRedrawsTheReadOutOverWhatWasDrawn)
{
    defaults().setBool(true, VXReportViewKey::kShowTimeAtMouseLocation);
    defaults().setBool(true, VXReportViewKey::kIndicatorLineTracksMouse);
    defaults().setInteger(VXColorSchemeOriginal, VXColorSchemeKey);
    view->update(&scrollArea);
    QApplication::processEvents();

    hover(QPointF(100, 60));
    const QImage first = view->grab().toImage();
    const QRectF firstLabel = view->lastMouseLabelRect();
    hover(QPointF(400, 60));
    const QImage moved = view->grab().toImage();
    EXPECT_NE(view->lastMouseLabelRect(), firstLabel);
    // The line left x = 100 and stands at 400; away from both the report is unchanged.
    EXPECT_NE(first.pixel(100, 10), moved.pixel(100, 10));
    EXPECT_NE(moved.pixel(400, 10), first.pixel(400, 10));
    EXPECT_EQ(moved.pixel(250, 10), first.pixel(250, 10));

    // After leaving, what is shown is the report as a full drawing makes it, also when the last
    // full drawing happened under the mouse.
    view->update(&scrollArea);
    view->grab();
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(view, &leave);
    const QImage left = view->grab().toImage();
    view->update(&scrollArea);
    const QImage full = view->grab().toImage();
    EXPECT_EQ(left, full);

    // A setting changed without a rebuild still shows: percentages in the row texts, the light
    // scheme's white background.
    hover(QPointF(300, 60));
    const QImage withoutPercentages = view->grab().toImage();
    defaults().setBool(true, VXReportViewKey::kReportsShowPercentages);
    EXPECT_NE(view->grab().toImage(), withoutPercentages);
    defaults().removeObjectForKey(VXReportViewKey::kReportsShowPercentages);
    const QRgb before = view->grab().toImage().pixel(590, 5);
    defaults().setInteger(VXColorSchemeLight, VXColorSchemeKey);
    const QRgb after = view->grab().toImage().pixel(590, 5);
    EXPECT_NE(before, after);
    // New data after a rebuild shows too.
    delegate.items = {item(QStringLiteral("Only"), VXArrayRef(), VXArrayRef())};
    view->update(nullptr);
    const QImage rebuilt = view->grab().toImage();
    EXPECT_EQ(view->eventLogRects().size(), 1u);
    EXPECT_EQ(rebuilt.pixel(590, 200), QColor::fromRgbF(1, 1, 1).rgb()) << "an empty row on white";
    defaults().removeObjectForKey(VXColorSchemeKey);
}
