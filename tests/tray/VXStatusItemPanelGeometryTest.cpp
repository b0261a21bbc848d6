// Where the panel opens and how its strip resizes it, rule by rule, on a 1280 by 1024 screen
// whose top 24 pixels (or bottom 30) belong to a panel with the tray; and the text of saved frames.

#include "VXStatusItemPanelGeometry.h"
#include "VXWindowFrameText.h"

#include <QDebug>

#include <gtest/gtest.h>

#include <optional>

namespace {

const QRect kScreen(0, 0, 1280, 1024);
const QRect kBelowTopPanel(0, 24, 1280, 1000);
const QRect kAboveBottomPanel(0, 0, 1280, 994);

std::string text(const QRect &rect)
{
    return QStringLiteral("%1,%2 %3x%4").arg(rect.x()).arg(rect.y()).arg(rect.width()).arg(rect.height()).toStdString();
}

TEST(StatusItemPanelGeometry, PlacementByTheRules)
{
    struct Row {
        const char *name;
        QSize size;
        QRect available;
        std::optional<QRect> icon;
        std::optional<QPoint> click;
        QRect frame;
        bool left, right, top;
        int heightTakenByTheTray = 0;
    };
    const Row rows[] = {
        {"icon in the middle: under it, grows to the right",
         {600, 400},
         kBelowTopPanel,
         QRect(500, 0, 24, 24),
         {},
         QRect(500, 24, 600, 400),
         false,
         true,
         true},
        {"icon near the right edge: right-aligned with it, grows to the left",
         {600, 400},
         kBelowTopPanel,
         QRect(1200, 0, 24, 24),
         {},
         QRect(624, 24, 600, 400),
         true,
         false,
         true},
        {"wider than the room on both sides: pinned left, grows both ways",
         {1250, 400},
         kBelowTopPanel,
         QRect(1000, 0, 24, 24),
         {},
         QRect(0, 24, 1250, 400),
         true,
         true,
         true},
        {"no geometry: at the click",
         {600, 400},
         kBelowTopPanel,
         {},
         QPoint(300, 10),
         QRect(300, 24, 600, 400),
         false,
         true,
         true},
        {"an empty geometry counts as none",
         {600, 400},
         kBelowTopPanel,
         QRect(),
         QPoint(300, 10),
         QRect(300, 24, 600, 400),
         false,
         true,
         true},
        {"nothing known: top right, grows both ways",
         {600, 400},
         kBelowTopPanel,
         {},
         {},
         QRect(680, 24, 600, 400),
         true,
         true,
         true},
        {"icon on another screen counts as none",
         {600, 400},
         kBelowTopPanel,
         QRect(1500, 0, 24, 24),
         {},
         QRect(680, 24, 600, 400),
         true,
         true,
         true},
        {"tray at the bottom: stands on the available bottom edge",
         {600, 400},
         kAboveBottomPanel,
         QRect(1240, 998, 24, 24),
         {},
         QRect(664, 594, 600, 400),
         true,
         false,
         false},
        {"a tray bar that reserves no room: under its icon, not over it",
         {600, 400},
         kScreen,
         QRect(1200, 0, 24, 24),
         {},
         QRect(624, 24, 600, 400),
         true,
         false,
         true,
         24},
        {"the same at the bottom: above its icon",
         {600, 400},
         kScreen,
         QRect(1200, 1000, 24, 24),
         {},
         QRect(624, 600, 600, 400),
         true,
         false,
         false,
         24},
        {"too small: the minimum",
         {100, 100},
         kBelowTopPanel,
         QRect(10, 0, 24, 24),
         {},
         QRect(10, 24, 480, 300),
         false,
         true,
         true},
        {"too large: the available area",
         {3000, 3000},
         kBelowTopPanel,
         QRect(10, 0, 24, 24),
         {},
         QRect(0, 24, 1280, 1000),
         true,
         true,
         true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        const VXPanelPlacement placement = VXPositionPanel(row.size, row.available, kScreen, row.icon, row.click);
        EXPECT_EQ(text(placement.frame), text(row.frame));
        EXPECT_EQ(placement.canResizeLeft, row.left);
        EXPECT_EQ(placement.canResizeRight, row.right);
        EXPECT_EQ(placement.anchoredAtTop, row.top);
        EXPECT_EQ(placement.minimumSize, QSize(480, 300));
        EXPECT_EQ(placement.maximumSize, row.available.size() - QSize(0, row.heightTakenByTheTray));
        EXPECT_TRUE(row.available.contains(placement.frame));
    }
    // On a screen smaller than the minimum, the minimum gives way.
    const QRect tiny(0, 0, 400, 250);
    const VXPanelPlacement small = VXPositionPanel(QSize(600, 400), tiny, tiny, {}, {});
    EXPECT_EQ(text(small.frame), text(tiny));
    EXPECT_EQ(small.minimumSize, QSize(400, 250));
}

TEST(StatusItemPanelGeometry, DraggingKeepsTheAnchoredEdgeAndTheBounds)
{
    const QRect start(500, 24, 600, 400);
    const QSize minimum(480, 300), maximum(1280, 1000);
    struct Row {
        const char *name;
        QPoint delta;
        VXPanelResizeHandle handle;
        bool top;
        QRect frame;
    };
    const Row rows[] = {
        {"bottom strip: taller, width kept", {40, 50}, VXPanelResizeHandle::Vertical, true, QRect(500, 24, 600, 450)},
        {"bottom-right corner follows", {40, 50}, VXPanelResizeHandle::Right, true, QRect(500, 24, 640, 450)},
        {"bottom-left corner follows, right edge stays",
         {-40, 50},
         VXPanelResizeHandle::Left,
         true,
         QRect(460, 24, 640, 450)},
        {"not below the minimum", {-400, -400}, VXPanelResizeHandle::Right, true, QRect(500, 24, 480, 300)},
        {"not above the maximum", {0, 5000}, VXPanelResizeHandle::Vertical, true, QRect(500, 24, 600, 1000)},
        {"anchored at the bottom: the top edge moves",
         {0, -50},
         VXPanelResizeHandle::Vertical,
         false,
         QRect(500, -26, 600, 450)},
        {"anchored at the bottom, top-left corner",
         {-40, -50},
         VXPanelResizeHandle::Left,
         false,
         QRect(460, -26, 640, 450)},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(text(VXResizedPanelFrame(start, row.delta, row.handle, row.top, minimum, maximum)), text(row.frame));
    }
}

}   // namespace

// The saved frames' text (the panel's, the report windows', the preferences'): what is read back,
// and what is refused rather than giving a window no size.
TEST(StatusItemPanelGeometry, SavedFrameTextReadsBackAndRefusesWhatIsNoFrame)
{
    struct Row {
        const char *text;
        std::optional<QRect> frame;
    };
    const Row rows[] = {
        {"10 20 300 400", QRect(10, 20, 300, 400)},
        {"  -1280 -5   640  480 ", QRect(-1280, -5, 640, 480)},   // a screen left of the primary
        {"10 20 300", std::nullopt},
        {"10 20 300 400 5", std::nullopt},
        {"10 20 wide 400", std::nullopt},
        {"10 20 0 400", std::nullopt},
        {"10 20 300 -4", std::nullopt},
        {"", std::nullopt},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(VXWindowFrameFromText(QString::fromUtf8(row.text)), row.frame);
        if (row.frame) {
            EXPECT_EQ(VXWindowFrameFromText(VXWindowFrameText(*row.frame)), row.frame);
        }
    }
}
