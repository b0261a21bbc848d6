// A program for the tray tests on a real X server: it runs the tray icon with its panel, or the
// desktop report, and says on standard output what happens; or it writes screenshots of the
// panel. Commands come one per line on standard input.
//
//     wendle_tray_tool tray          lines: "tray X Y W H", "shown X Y W H LEFT RIGHT", "hidden",
//                                    "section ID"; commands: dialog, closedialog, state, button ID
//     wendle_tray_tool desktop       line: "desktop WINDOW-ID"
//     wendle_tray_tool screenshots FOLDER light|dark

#include "VXDesktopReport.h"
#include "VXEventLoopScheduler.h"
#include "VXFullscreenReportWindow.h"
#include "VXReportViewTestSupport.h"
#include "VXStatusItemIcon.h"
#include "VXStatusItemPanel.h"
#include "VXStatusItemPanelResizeView.h"
#include "VXTaskbarReportIcon.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QScrollArea>
#include <QSocketNotifier>
#include <QStyleFactory>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>

#include <cstdio>
#include <memory>

#include <unistd.h>

using namespace reportviewtest;

namespace {

void say(const QString &line)
{
    std::printf("%s\n", qPrintable(line));
    std::fflush(stdout);
}

QString rectText(const QRect &r)
{
    return QStringLiteral("%1 %2 %3 %4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

// The organizer's lists as a stand-in: a tree of applications and their times.
QWidget *organizerStandIn()
{
    auto *tree = new QTreeWidget;
    tree->setHeaderLabels({QStringLiteral("Application"), QStringLiteral("Front Time"), QStringLiteral("Time")});
    const char *rows[][3] = {{"Text Editor", "2:41:07", "6:02:15"},
                             {"Web Browser", "1:58:40", "7:45:02"},
                             {"Terminal", "0:47:13", "5:10:44"},
                             {"Mail", "0:21:05", "7:50:00"}};
    for (const auto &row : rows) {
        auto *item = new QTreeWidgetItem(
            tree, {QString::fromUtf8(row[0]), QString::fromUtf8(row[1]), QString::fromUtf8(row[2])});
        item->setIcon(0, QIcon(QPixmap::fromImage(VXStatusItemImage({.style = 1}, 16, 2.0))));
    }
    tree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    tree->setRootIsDecorated(false);
    return tree;
}

// A sample day the report draws, kept alive with the program.
struct SampleReport {
    SampleReport()
    {
        delegate.items = {item(QStringLiteral("Text Editor"), eventLog({{0, 300}, {450, 700}}), eventLog({{0, 200}})),
                          item(QStringLiteral("Web Browser"), eventLog({{100, 1000}}), eventLog({{200, 450}})),
                          item(QStringLiteral("Terminal"), eventLog({{600, 1000}}), eventLog({{700, 1000}}))};
        view.setDelegate(&delegate);
        scroll.setWidget(&view);
        scroll.setFrameShape(QFrame::NoFrame);
        view.update(nullptr);
    }
    TestDelegate delegate;
    QScrollArea scroll;
    VXReportView view;
};

void applyScheme(QApplication &application, bool dark)
{
    application.setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    if (!dark)
        return application.setPalette(application.style()->standardPalette());
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(45, 45, 48));
    palette.setColor(QPalette::WindowText, QColor(230, 230, 230));
    palette.setColor(QPalette::Base, QColor(30, 30, 32));
    palette.setColor(QPalette::AlternateBase, QColor(40, 40, 44));
    palette.setColor(QPalette::Text, QColor(230, 230, 230));
    palette.setColor(QPalette::Button, QColor(55, 55, 60));
    palette.setColor(QPalette::ButtonText, QColor(230, 230, 230));
    palette.setColor(QPalette::Highlight, QColor(90, 110, 190));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    application.setPalette(palette);
}

int screenshots(QApplication &application, VXUserDefaults &defaults, const QString &folder, bool dark)
{
    applyScheme(application, dark);
    QDir().mkpath(folder);
    const qreal ratio = application.devicePixelRatio();
    const QString suffix
        = QStringLiteral("%1@%2x.png").arg(dark ? QStringLiteral("dark") : QStringLiteral("light")).arg(ratio);
    SampleReport report;
    VXStatusItemPanel panel(defaults);
    panel.setView(organizerStandIn(), VXStatusItemPanel::kOrganizerIdentifier);
    panel.setView(&report.scroll, VXStatusItemPanel::kActivityReportIdentifier);
    QMenu menu;
    menu.addAction(QStringLiteral("Quit Wendle"));
    panel.setActionMenu(&menu);
    panel.setInitialSize(QSize(560, 380));
    int written = 0;
    for (const QString &section :
         {VXStatusItemPanel::kOrganizerIdentifier, VXStatusItemPanel::kActivityReportIdentifier}) {
        panel.selectSection(section);
        panel.setPanelVisible(true);
        report.view.update(nullptr);
        for (int i = 0; i < 20; ++i)
            QApplication::processEvents(QEventLoop::AllEvents, 20);
        const QString name = QStringLiteral("panel-%1-%2").arg(section.toLower().replace(u' ', u'-'), suffix);
        written += panel.grab().save(folder + u'/' + name) ? 1 : 0;
    }
    panel.takeView(VXStatusItemPanel::kActivityReportIdentifier);
    // Every icon style in every state, on the panel colours they are meant for.
    const int styles[] = {1, 2, 11, 12, 101, 102, 111, 112, 121, 122};
    const VXStatusItemIconState states[]
        = {{}, {.hibernating = true}, {.hibernating = true, .deepHibernation = true}, {.darkPanel = true}};
    const int cell = 30;
    QImage sheet(QSize(cell * 10, cell * 4) * ratio, QImage::Format_ARGB32_Premultiplied);
    sheet.setDevicePixelRatio(ratio);
    QPainter painter(&sheet);
    for (int row = 0; row < 4; ++row) {
        painter.fillRect(QRect(0, row * cell, cell * 10, cell),
                         states[row].darkPanel ? QColor(40, 40, 44) : QColor(236, 236, 236));
        for (int column = 0; column < 10; ++column) {
            VXStatusItemIconState state = states[row];
            state.style = styles[column];
            painter.drawImage(QPoint(column * cell + 6, row * cell + 6), VXStatusItemImage(state, 18, ratio));
        }
    }
    painter.end();
    written += sheet.save(folder + QStringLiteral("/tray-icons-") + suffix) ? 1 : 0;
    written += VXTaskbarReportIcon::renderReportImage(&report.view, ratio)
                   .save(folder + QStringLiteral("/taskbar-report-") + suffix)
        ? 1
        : 0;
    say(QStringLiteral("written %1").arg(written));
    return written == 4 ? 0 : 1;
}

}   // namespace

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    const QString mode = arguments.value(1);
    QTemporaryDir settingsFolder;
    VXUserDefaults defaults(QStringLiteral("com.brasswing.WendleTests"), settingsFolder.path());
    VXUserDefaults::setStandard(&defaults);
    VXRegisterDefaults(defaults);

    if (mode == QLatin1String("screenshots"))
        return screenshots(application, defaults, arguments.value(2), arguments.value(3) == QLatin1String("dark"));

    VXEventLoopScheduler scheduler;
    SampleReport report;
    std::unique_ptr<VXDesktopReport> desktop;
    std::unique_ptr<VXStatusItemPanel> panel;
    std::unique_ptr<QSystemTrayIcon> tray;
    QMenu menu;
    menu.addAction(QStringLiteral("Quit Wendle"), &application, &QApplication::quit);
    QDialog *dialog = nullptr;

    if (mode == QLatin1String("desktop")) {
        defaults.setBool(true, VXDesktopReport::kShowOnDesktopKey);
        defaults.setDouble(0.5, VXDefaultsKey::kShowActivityReportOnDesktopAlpha);
        desktop = std::make_unique<VXDesktopReport>(defaults, scheduler);
        desktop->setReportView(&report.view);
        desktop->updateIcon();
        QTimer::singleShot(200, [&] { say(QStringLiteral("desktop %1").arg(desktop->window()->winId())); });
    } else if (mode == QLatin1String("tray")) {
        panel = std::make_unique<VXStatusItemPanel>(defaults);
        panel->setView(organizerStandIn(), VXStatusItemPanel::kOrganizerIdentifier);
        panel->setView(&report.scroll, VXStatusItemPanel::kActivityReportIdentifier);
        panel->setActionMenu(&menu);
        panel->setInitialSize(QSize(520, 360));
        panel->updateSelection();
        QObject::connect(panel.get(), &VXStatusItemPanel::windowWillVanish, [] { say(QStringLiteral("hidden")); });
        QObject::connect(panel.get(), &VXStatusItemPanel::sectionSelected,
                         [](const QString &id) { say(QStringLiteral("section ") + id); });
        auto *waitForTray = new QTimer(&application);
        QObject::connect(waitForTray, &QTimer::timeout, [&] {
            if (!tray && QSystemTrayIcon::isSystemTrayAvailable()) {
                tray = std::make_unique<QSystemTrayIcon>(VXStatusItemIcon({}));
                tray->setContextMenu(&menu);
                QObject::connect(tray.get(), &QSystemTrayIcon::activated, [&](QSystemTrayIcon::ActivationReason why) {
                    if (why != QSystemTrayIcon::Trigger)
                        return;
                    const QRect geometry = tray->geometry();
                    panel->setAnchor(geometry.isValid() ? std::optional<QRect>(geometry) : std::nullopt,
                                     QCursor::pos());
                    panel->togglePanel();
                    if (panel->isPanelVisible()) {
                        say(QStringLiteral("shown %1 %2 %3")
                                .arg(rectText(panel->geometry()))
                                .arg(panel->resizeView()->canResizeLeft())
                                .arg(panel->resizeView()->canResizeRight()));
                    }
                });
                tray->show();
            }
            // The tray host embeds the icon at the origin first and moves it into place after.
            if (tray && tray->geometry().isValid() && !tray->geometry().isEmpty()
                && tray->geometry().topLeft() != QPoint()) {
                say(QStringLiteral("tray ") + rectText(tray->geometry()));
                waitForTray->stop();
            }
        });
        waitForTray->start(50);
    } else {
        std::fprintf(stderr, "usage: wendle_tray_tool tray|desktop|screenshots FOLDER light|dark\n");
        return 2;
    }

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[256];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof buffer - 1);
        if (size <= 0)
            return application.quit();
        for (const QString &line : QString::fromUtf8(buffer, size).split(u'\n', Qt::SkipEmptyParts)) {
            const QStringList words = line.split(u' ');
            if (words[0] == QLatin1String("dialog") && panel) {
                dialog = new QDialog(panel.get());
                dialog->setWindowTitle(QStringLiteral("Notes"));
                dialog->resize(200, 100);
                dialog->show();
            } else if (words[0] == QLatin1String("closedialog") && dialog) {
                delete dialog;
                dialog = nullptr;
            } else if (words[0] == QLatin1String("state") && panel) {
                say(QStringLiteral("state ")
                    + (panel->isPanelVisible() ? QStringLiteral("visible") : QStringLiteral("hidden"))
                    + (panel->isActiveWindow() ? QStringLiteral(" active") : QString()));
                continue;
            } else if (words[0] == QLatin1String("button") && panel) {
                auto *button = panel->findChild<QToolButton *>(words.value(1) + QStringLiteral("Button"));
                const QPoint centre = button ? button->mapToGlobal(button->rect().center()) : QPoint(-1, -1);
                say(QStringLiteral("button %1 %2").arg(centre.x()).arg(centre.y()));
                continue;
            }
            say(QStringLiteral("ok"));
        }
    });
    return application.exec();
}
