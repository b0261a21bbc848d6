// The taskbar icon's live report and the desktop report window, through real report views on the
// offscreen platform and a virtual clock: what each shows in each state, that the pictures follow
// the report, and that nothing is drawn or scheduled while their settings are off.

#include "VXColorExtensions.h"
#include "VXDesktopReport.h"
#include "VXFullscreenReportWindow.h"
#include "VXReportViewTestSupport.h"
#include "VXTaskbarReportIcon.h"
#include "VXTestSettings.h"
#include "VXTrayTestSupport.h"
#include "VXVirtualScheduler.h"

#include <QScreen>

#include <functional>

#include <gtest/gtest.h>

using namespace reportviewtest;

namespace {

class LiveReportIconsTest : public VXWidgetTest
{
protected:
    void SetUp() override
    {
        delegate.items = {item(QStringLiteral("Editor"), eventLog({{0, 400}}), eventLog({{0, 300}})),
                          item(QStringLiteral("Browser"), eventLog({{300, 1000}}), eventLog({{300, 900}}))};
        view.setDelegate(&delegate);
        view.resize(400, 300);
        view.update(nullptr);
    }

    int differingPixels(const QImage &a, const QImage &b)
    {
        int count = 0;
        for (int y = 0; y < a.height(); ++y)
            for (int x = 0; x < a.width(); ++x)
                count += a.pixel(x, y) != b.pixel(x, y) ? 1 : 0;
        return count;
    }

    vxtest::Settings settings;
    VXVirtualScheduler scheduler {kBase};
    TestDelegate delegate;
    VXReportView view;
};

TEST_F(LiveReportIconsTest, TheTaskbarIconShowsTheLiveReportOnlyWhenAskedAndInWindowedMode)
{
    using Kind = VXTaskbarReportIcon::Kind;
    VXTaskbarReportIcon icon(*settings.defaults, scheduler);
    icon.setReportView(&view);
    struct Row {
        const char *name;
        bool windowed, hibernating, showInDock, fallBack;
        Kind kind;
    };
    const Row rows[] = {
        {"tray mode", false, false, true, false, Kind::ProgramIcon},
        {"hibernating", true, true, true, false, Kind::GreyProgramIcon},
        {"windowed, off", true, false, false, false, Kind::ProgramIcon},
        {"windowed, fixed picture", true, false, false, true, Kind::FakeReport},
        {"windowed, live", true, false, true, false, Kind::LiveReport},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        icon.setWindowedMode(row.windowed);
        icon.setHibernating(row.hibernating);
        settings.defaults->setBool(row.showInDock, VXTaskbarReportIcon::kShowInDockKey);
        settings.defaults->setBool(row.fallBack, VXTaskbarReportIcon::kFallBackToFakeKey);
        const qint64 before = QApplication::windowIcon().cacheKey();
        icon.updateIcon();
        EXPECT_EQ(icon.kind(), row.kind);
        EXPECT_NE(QApplication::windowIcon().cacheKey(), before);
        EXPECT_EQ(scheduler.isPending(&icon, QStringLiteral("updateIcon")), row.kind == Kind::LiveReport);
        EXPECT_EQ(icon.liveImage().isNull(), row.kind != Kind::LiveReport);
    }

    // Every 5 seconds the report is drawn again, and the picture follows it.
    const QImage first = icon.liveImage();
    EXPECT_EQ(first.size(), QSize(128, 128) * first.devicePixelRatio());
    EXPECT_GT(differingPixels(first, VXTaskbarReportIcon::renderReportImage(nullptr, first.devicePixelRatio())), 500);
    delegate.items.push_back(item(QStringLiteral("Terminal"), eventLog({{0, 1000}}), eventLog({{0, 1000}})));
    view.update(nullptr);
    scheduler.advanceBy(4.9);
    EXPECT_EQ(icon.liveImage().cacheKey(), first.cacheKey());
    scheduler.advanceBy(0.2);
    EXPECT_GT(differingPixels(first, icon.liveImage()), 100);

    // Turned off: the program's icon, and from then on nothing is drawn or scheduled.
    settings.defaults->setBool(false, VXTaskbarReportIcon::kShowInDockKey);
    icon.updateIcon();
    EXPECT_EQ(icon.kind(), Kind::ProgramIcon);
    const int clippings = delegate.clippings;
    const qint64 programIcon = QApplication::windowIcon().cacheKey();
    EXPECT_EQ(scheduler.advanceBy(60), 0);
    icon.updateIcon();
    EXPECT_EQ(delegate.clippings, clippings);
    EXPECT_EQ(QApplication::windowIcon().cacheKey(), programIcon);
}

TEST_F(LiveReportIconsTest, TheDesktopReportCoversTheAvailableAreaAtItsOpacityWhileItIsOn)
{
    VXDesktopReport desktop(*settings.defaults, scheduler);
    desktop.setReportView(&view);
    desktop.updateIcon();
    EXPECT_EQ(desktop.window(), nullptr);   // never made while off
    EXPECT_FALSE(scheduler.isPending(&desktop, QStringLiteral("updateDesktopReport")));

    settings.defaults->setBool(true, VXDesktopReport::kShowOnDesktopKey);
    settings.defaults->setDouble(0.6, VXDefaultsKey::kShowActivityReportOnDesktopAlpha);
    desktop.updateIcon();
    ASSERT_NE(desktop.window(), nullptr);
    VXFullscreenReportWindow *window = desktop.window();
    EXPECT_TRUE(desktop.isShown());
    EXPECT_EQ(window->geometry(), QGuiApplication::primaryScreen()->availableGeometry());
    EXPECT_DOUBLE_EQ(window->windowOpacity(), 0.6);
    EXPECT_TRUE(window->windowFlags().testFlag(Qt::WindowStaysOnBottomHint));
    const QImage first = window->image();
    EXPECT_EQ(first.size(), window->size() * window->devicePixelRatioF());

    // Redrawn every 5 seconds, with the report's changes; the opacity follows its setting.
    delegate.items.pop_back();
    view.update(nullptr);
    settings.defaults->setDouble(0.3, VXDefaultsKey::kShowActivityReportOnDesktopAlpha);
    scheduler.advanceBy(5.01);
    EXPECT_GT(differingPixels(first, window->image()), 1000);
    EXPECT_NEAR(window->windowOpacity(), 0.3, 0.01);

    // Off: it goes (at once where nothing composites), and nothing more is drawn or scheduled.
    settings.defaults->setBool(false, VXDesktopReport::kShowOnDesktopKey);
    desktop.updateIcon();
    EXPECT_FALSE(desktop.isShown());
    EXPECT_FALSE(window->isVisible());
    const int clippings = delegate.clippings;
    EXPECT_EQ(scheduler.advanceBy(60), 0);
    EXPECT_EQ(delegate.clippings, clippings);
}

TEST_F(LiveReportIconsTest, RefreshesDrawAgainOnlyWhenTheReportChanged)
{
    // A hidden live report (the report window closed): the refreshes rebuild it themselves.
    settings.defaults->setBool(true, VXTaskbarReportIcon::kShowInDockKey);
    settings.defaults->setBool(true, VXDesktopReport::kShowOnDesktopKey);
    VXTaskbarReportIcon icon(*settings.defaults, scheduler);
    icon.setWindowedMode(true);
    icon.setReportView(&view);
    VXDesktopReport desktop(*settings.defaults, scheduler);
    desktop.setReportView(&view);
    icon.updateIcon();
    desktop.updateIcon();
    ASSERT_NE(desktop.window(), nullptr);

    struct Row {
        const char *name;
        std::function<void()> change;
        bool rebuilt;   // by the refreshes (once for both)
        bool redrawn;
    };
    const Row rows[] = {
        {"nothing changed", [] {}, false, false},
        {"a tick credited the browser and moved the end of the data",
         [&] {
             delegate.last = delegate.end = kBase + 1200.0;
             delegate.items[1] = item(QStringLiteral("Browser"), eventLog({{300, 1200}}), eventLog({{300, 1200}}));
         },
         true, true},
        {"nothing changed again", [] {}, false, false},
        {"a setting changed", [&] { settings.defaults->setInteger(VXColorSchemeLight, VXColorSchemeKey); }, true, true},
        {"the view was rebuilt by its controller", [&] { view.update(nullptr); }, false, true},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        row.change();
        const int clippings = delegate.clippings;
        const QImage icon0 = icon.liveImage();
        const QImage desktop0 = desktop.window()->image();
        scheduler.advanceBy(VXTaskbarReportIcon::kRefreshInterval + 0.01);
        EXPECT_EQ(delegate.clippings - clippings, row.rebuilt ? 1 : 0);
        EXPECT_EQ(icon.liveImage().cacheKey() != icon0.cacheKey(), row.redrawn);
        EXPECT_EQ(desktop.window()->image().cacheKey() != desktop0.cacheKey(), row.redrawn);
        // Kept or drawn again, the pictures show the report as it is now.
        EXPECT_EQ(icon.liveImage(), VXTaskbarReportIcon::renderReportImage(&view, icon.liveImage().devicePixelRatio()));
        if (row.rebuilt) {
            EXPECT_GT(differingPixels(icon0, icon.liveImage()), 20);
        }
    }
    settings.defaults->removeObjectForKey(VXColorSchemeKey);
}

}   // namespace
