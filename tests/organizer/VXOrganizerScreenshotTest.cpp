// Screenshots of the organizer's lists on a real X server (a private Xvfb with openbox): a
// working day with pools, windows, an application that has quit and pool notes, in a light and
// a dark theme, at scale 1 and 2, and once more while tracking hibernates. Written as PNG files
// a person can open, in build/screenshots/organizer.
//
// The test starts the X server, then runs this same program again on it (the drawing needs an
// application of its own on that display), and checks the pictures it leaves.

#include "VXOrganizerTestSupport.h"

#include "VXItemSorting.h"
#include "VXScreenshotSupport.h"
#include "VXTrackingTestSupport.h"
#include "VXX11TestRig.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QScreen>
#include <QStyleFactory>
#include <QTest>

#include <cstdio>
#include <set>

using namespace vxtest;

namespace {

const char *const kOutputVariable = "WENDLE_ORGANIZER_SCREENSHOTS";
const char *const kScaleVariable = "WENDLE_ORGANIZER_SCREENSHOT_SCALE";

struct Theme {
    const char16_t *name;
    bool dark;
};
constexpr Theme kThemes[] = {{u"light", false}, {u"dark", true}};
constexpr const char16_t *kStates[] = {u"day", u"suspended"};
constexpr const char16_t *kScaleSuffixes[] = {u"", u"@2x"};

QString fileName(const QString &folder, const char16_t *state, const char16_t *theme, const char16_t *suffix)
{
    return folder + u"/organizer-"_s + QString::fromUtf16(state) + u'-' + QString::fromUtf16(theme)
        + QString::fromUtf16(suffix) + u".png"_s;
}

bool saveWindow(QWidget *window, const QString &path)
{
    window->raise();
    window->activateWindow();
    QTest::qWait(300);
    const QPixmap shot = window->screen()->grabWindow(window->winId());
    if (shot.isNull() || !shot.save(path))
        return false;
    std::printf("screenshot: %s\n", qPrintable(path));
    std::fflush(stdout);
    return true;
}

}   // namespace

// Run by the test below on its X server; skipped otherwise.
TEST(OrganizerScreenshotWindows, DrawADayInEachTheme)
{
    const QString folder = qEnvironmentVariable(kOutputVariable);
    if (folder.isEmpty())
        GTEST_SKIP() << "draws on the X server that OrganizerScreenshots.* starts";
    const bool doubled = qEnvironmentVariable(kScaleVariable) == u"2"_s;
    const char16_t *suffix = kScaleSuffixes[doubled ? 1 : 0];
    application().setStyle(QStyleFactory::create(u"Fusion"_s));
    Organizer organizer;
    organizer.settings.defaults->setDouble(5.0, u"Update Interval"_s);
    organizer.settings.defaults->setBool(true, VXInfoIconsReflectNotesStatusKey);
    organizer.controller->setShowInactiveApplicationItems(true);

    CommandDesktop &desktop = organizer.desktop;
    desktop.fake.launch(u"Editor"_s, organizer.desktopEntry(kEditorID), kEditorID, 10);
    desktop.fake.openWindow(10, u"report.odt"_s);
    desktop.fake.openWindow(10, u"notes.txt"_s);
    desktop.fake.openWindow(10, u"budget.ods"_s);
    desktop.fake.launch(u"Terminal"_s, organizer.desktopEntry(kTerminalID), kTerminalID, 20);
    desktop.fake.openWindow(20, u"make"_s);
    desktop.fake.openWindow(20, u"ssh build-server"_s);
    desktop.fake.launch(u"Browser"_s, organizer.desktopEntry(u"org.example.Browser"_s), u"org.example.Browser"_s, 30);
    desktop.fake.openWindow(30, u"Documentation"_s);
    desktop.fake.openWindow(30, u"Mail"_s);
    desktop.fake.launch(u"Music"_s, organizer.desktopEntry(u"org.example.Music"_s), u"org.example.Music"_s, 40);
    desktop.fake.launch(u"Chat"_s, organizer.desktopEntry(u"org.example.Chat"_s), u"org.example.Chat"_s, 50);
    organizer.controller->setSortColumn(1);

    // The pools a person would have made: one named with notes, one left unnamed, one that
    // follows spreadsheets in any application, and one waiting for its first member.
    organizer.configuration().insert(VXPoolsKey, VXMakeArray());
    VXDictionaryRef writing = pool(u"Writing"_s,
                                   {member(u"Editor"_s, kEditorID),
                                    member(u"Browser"_s, u"org.example.Browser"_s, {windowEntry(u"Documentation"_s)})});
    writing->insert(VXPoolNotesKey, u"Chapter 3 due Friday"_s);
    setBool(*writing, true, VXExpandedKey);
    setBool(*writing->value(VXChildrenKey).array()->at(1).dictionary(), true, VXExpandedKey);
    VXDictionaryRef sheets = member(u"Any"_s, u"org.example.Any"_s, {windowEntry(u"*.ods"_s)});
    setBool(*sheets, true, VXMatchAnyApplicationKey);
    organizer.pools()->append(writing);
    organizer.pools()->append(pool(QString(), {member(u"Terminal"_s, kTerminalID, {windowEntry(u"ssh*"_s)})}));
    organizer.pools()->append(pool(u"Accounts"_s, {sheets}));
    organizer.pools()->append(pool(QString(), {}));
    organizer.controller->updateLists(&organizer);

    const std::int64_t turns[] = {10, 10, 30, 20, 10, 30, 40, 20, 10, 10, 30, 20};
    for (std::int64_t process : turns) {
        desktop.fake.activate(process);
        organizer.time.advanceBy(35 * 60.0);
        if (process == 40)
            desktop.fake.quit(40);   // the music stopped before noon
    }
    desktop.fake.activate(10);
    organizer.time.advanceBy(60.0);
    setBool(*applicationItem(organizer.configuration(), kEditorID), true, VXExpandedKey);
    organizer.controller->updateLists(&organizer);
    organizer.poolList()->selectItem(writing->value(VXChildrenKey).array()->at(0).dictionary());

    organizer.window->setWindowTitle(u"Wendle"_s);
    // Logical sizes: at twice the pixels the window must still fit the 1280 by 1024 screen.
    organizer.window->setGeometry(doubled ? QRect(10, 10, 470, 480) : QRect(60, 60, 540, 600));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(organizer.window.get()));
    for (const Theme &theme : kThemes) {
        application().setPalette(theme.dark ? VXTestDarkPalette() : application().style()->standardPalette());
        organizer.lists->showHibernationState(false, false);
        EXPECT_TRUE(saveWindow(organizer.window.get(), fileName(folder, kStates[0], theme.name, suffix)));
        organizer.lists->showHibernationState(true, false);
        EXPECT_TRUE(saveWindow(organizer.window.get(), fileName(folder, kStates[1], theme.name, suffix)));
    }
    organizer.window->close();
    QCoreApplication::processEvents();
    VXSetCurrentSortColumn(1);
}

TEST(OrganizerScreenshots, ADayInLightAndDarkAtBothScales)
{
    if (qEnvironmentVariableIsSet(kOutputVariable))
        GTEST_SKIP() << "this run draws the pictures";
    VXX11TestRig rig;
    QString whyNot;
    if (!rig.start({}, &whyNot))
        GTEST_SKIP() << whyNot.toStdString();

    const QString folder = QStringLiteral(WENDLE_SCREENSHOT_DIR);
    ASSERT_TRUE(QDir().mkpath(folder));
    ASSERT_NO_FATAL_FAILURE(VXRunDrawingAtScales(rig.environment(), kOutputVariable, kScaleVariable, folder,
                                                 u"OrganizerScreenshotWindows.*"_s, 180000));

    // Real drawings (many colours); dark darker than light; the veil changes the picture; the
    // doubled pictures have twice the pixels.
    const auto brightness = VXMeanGray;
    for (const char16_t *suffix : kScaleSuffixes) {
        for (const char16_t *state : kStates) {
            SCOPED_TRACE(QString::fromUtf16(state).toStdString() + QString::fromUtf16(suffix).toStdString());
            const QImage light(fileName(folder, state, u"light", suffix));
            const QImage dark(fileName(folder, state, u"dark", suffix));
            ASSERT_FALSE(light.isNull());
            ASSERT_FALSE(dark.isNull());
            std::set<QRgb> colours;
            for (int y = 0; y < light.height(); y += 2) {
                for (int x = 0; x < light.width(); x += 2)
                    colours.insert(light.pixel(x, y));
            }
            EXPECT_GT(colours.size(), 40u);
            EXPECT_LT(brightness(dark), brightness(light) - 40);
        }
        const QImage day(fileName(folder, kStates[0], u"light", suffix));
        EXPECT_NE(day, QImage(fileName(folder, kStates[1], u"light", suffix)));
        EXPECT_GE(day.width(), suffix[0] ? 900 : 500);
    }
}
