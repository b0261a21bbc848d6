// Draws a sample day's report in a window for each colour scheme and writes what the display
// shows to PNG files in the folder given as the first argument: a report window with a read-out
// under the mouse (Original, Light, Dark), the same as time portions, and the small rendering of
// the taskbar icon at a device pixel ratio of 2. An optional second argument is appended to the
// names (the gui test runs it again with QT_SCALE_FACTOR=2 and "@2x"). Prints each file's path.
// Run by the gui test under a private X server; with QT_QPA_PLATFORM=offscreen it draws the
// widget itself instead.

#include "VXColorExtensions.h"
#include "VXReportView.h"
#include "VXReportViewDelegate.h"
#include "VXReportViewTestSupport.h"
#include "VXUserDefaults.h"

#include <QApplication>
#include <QDir>
#include <QMouseEvent>
#include <QPainter>
#include <QRandomGenerator>
#include <QScreen>
#include <QScrollArea>
#include <QTemporaryDir>
#include <QThread>
#include <QWindow>

#include <cstdio>

using namespace reportviewtest;

namespace {

// A working day from 08:00 to 18:00 in short and long stretches, repeatable.
VXArrayRef dayLog(QRandomGenerator &random, double share)
{
    VXArrayRef log = VXMakeArray();
    double t = 8 * 3600.0 + random.bounded(1800);
    while (t < 18 * 3600.0) {
        const double length = random.bounded(1.0) < 0.2 ? random.bounded(30) + 1 : random.bounded(2400) + 60;
        if (random.bounded(1.0) < share) {
            log->append(kBase + t);
            log->append(-(kBase + std::min(t + length, 18 * 3600.0)));
        }
        t += length + random.bounded(600);
    }
    return log;
}

void sampleDay(TestDelegate &delegate)
{
    QRandomGenerator random(20240301);
    const auto add = [&](const QString &name, const QString &path, const QString &type, double share) {
        delegate.items.push_back(
            item(name, dayLog(random, std::min(1.0, share * 2)), dayLog(random, share), path, type));
    };
    add(QStringLiteral("Editor"), QStringLiteral("/usr/bin/editor"), QString(), 0.6);
    add(QStringLiteral("notes.txt"), VXWindowPathMarker, QString(), 0.4);
    add(QStringLiteral("report.tex"), VXWindowPathMarker, QString(), 0.3);
    add(QStringLiteral("Mail"), QStringLiteral("/usr/bin/mail"), QString(), 0.3);
    add(QStringLiteral("Inbox"), VXWindowPathMarker, QString(), 0.25);
    add(QStringLiteral("Browser"), QStringLiteral("/usr/bin/browser"), QString(), 0.35);
    add(QStringLiteral("Work"), VXPoolPathMarker, VXPoolItemType, 0.7);
    add(QStringLiteral("Editor"), QString(), VXPoolItemType, 0.5);
    add(QStringLiteral("Mail"), QString(), VXPoolItemType, 0.3);
    add(QStringLiteral("Play"), VXPoolPathMarker, VXPoolItemType, 0.2);
    delegate.first = kBase + 8 * 3600.0;
    delegate.last = kBase + 18 * 3600.0;
    delegate.begin = kBase + 9 * 3600.0;
    delegate.end = kBase + 17 * 3600.0;
}

void settle(int milliseconds)
{
    QElapsedTimer timer;
    timer.start();
    while (timer.elapsed() < milliseconds) {
        QApplication::processEvents(QEventLoop::AllEvents, 20);
        QThread::msleep(10);
    }
}

QImage capture(QWidget &window)
{
    // What the X server shows, when there is one; the widget's own drawing otherwise.
    if (QGuiApplication::platformName() == QLatin1String("xcb") && window.windowHandle()) {
        const QPixmap shot = window.screen()->grabWindow(window.winId());
        if (!shot.isNull())
            return shot.toImage();
    }
    return window.grab().toImage();
}

bool save(const QImage &image, const QString &folder, const QString &name)
{
    const QString path = QDir(folder).filePath(name);
    if (!image.save(path)) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    std::fflush(stdout);
    return true;
}

}   // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const QString folder = QString::fromLocal8Bit(argv[1]);
    const QString nameSuffix = argc > 2 ? QString::fromLocal8Bit(argv[2]) : QString();
    QDir().mkpath(folder);
    QTemporaryDir settingsFolder;
    VXUserDefaults settings(QStringLiteral("com.brasswing.WendleClient.Screenshots"), settingsFolder.path());
    VXUserDefaults::setStandard(&settings);
    settings.setBool(true, VXDefaultsKey::kHeaderTranslucency);
    settings.setBool(true, VXReportViewKey::kShowTimeAtMouseLocation);
    settings.setBool(true, VXReportViewKey::kIndicatorLineTracksMouse);
    settings.setBool(true, VXReportViewKey::kReportsShowPercentages);

    TestDelegate delegate;
    sampleDay(delegate);

    QScrollArea window;
    window.setWindowTitle(QStringLiteral("Report"));
    window.setFrameShape(QFrame::NoFrame);
    // Scaled by 2 the window must still fit the test display (1280 x 1024 pixels).
    window.resize(nameSuffix.isEmpty() ? QSize(900, 560) : QSize(620, 480));
    auto *view = new VXReportView;
    window.setWidget(view);
    delegate.view = view;
    view->setDelegate(&delegate);
    window.show();
    settle(300);

    bool ok = true;
    const struct {
        int scheme;
        const char *name;
    } schemes[] = {{VXColorSchemeOriginal, "original"}, {VXColorSchemeLight, "light"}, {VXColorSchemeDark, "dark"}};
    for (const auto &scheme : schemes) {
        settings.setInteger(scheme.scheme, VXColorSchemeKey);
        for (int format : {0, 1}) {
            delegate.format = format;
            view->update(&window);
            settle(100);
            const QPointF at(610, 150);
            QMouseEvent move(QEvent::MouseMove, at, view->mapToGlobal(at), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
            QApplication::sendEvent(view, &move);
            view->repaint();
            settle(150);
            ok = save(
                     capture(window), folder,
                     QStringLiteral("report-%1%2%3.png")
                         .arg(QLatin1String(scheme.name), format ? QStringLiteral("-portions") : QString(), nameSuffix))
                && ok;
        }
    }

    // The taskbar icon's rendering at a device pixel ratio of 2, in the original scheme.
    settings.setInteger(VXColorSchemeOriginal, VXColorSchemeKey);
    delegate.format = 0;
    view->update(&window);
    QImage icon(128, 128, QImage::Format_ARGB32_Premultiplied);
    icon.setDevicePixelRatio(2.0);
    icon.fill(Qt::transparent);
    QPainter painter(&icon);
    view->drawFlippedAndSimplifiedReportInRect(painter, QRectF(0, 0, 64, 64), false);
    painter.end();
    ok = save(icon, folder, QStringLiteral("report-icon@2x.png")) && ok;

    VXUserDefaults::setStandard(nullptr);
    return ok ? 0 : 1;
}
