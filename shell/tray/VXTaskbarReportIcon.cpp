#include "VXTaskbarReportIcon.h"

#include "VXApplicationIcon.h"
#include "VXReportView.h"
#include "VXScheduler.h"
#include "VXStatusItemIcon.h"
#include "VXUserDefaults.h"

#include <QApplication>
#include <QPainter>
#include <QPainterPath>
#include <QScreen>

namespace {

const QString kUpdateIconOperation = QStringLiteral("updateIcon");
const QString kReportImage = QStringLiteral("Report");
// The sheet of the "Report" picture, below its title strip, in its 128-point design.
const QRectF kSheetBody(9, 27, 110, 86);
constexpr qreal kSheetCornerRadius = 12;

}   // namespace

VXTaskbarReportIcon::VXTaskbarReportIcon(VXUserDefaults &defaults, VXScheduler &scheduler, QObject *parent) :
    QObject(parent), m_defaults(defaults), m_scheduler(scheduler)
{
}

VXTaskbarReportIcon::~VXTaskbarReportIcon()
{
    m_scheduler.cancelAll(this);
}

void VXTaskbarReportIcon::setReportView(VXReportView *view)
{
    m_view = view;
}

void VXTaskbarReportIcon::setWindowedMode(bool windowed)
{
    m_windowed = windowed;
}

void VXTaskbarReportIcon::setHibernating(bool hibernating)
{
    m_hibernating = hibernating;
}

QImage VXTaskbarReportIcon::renderReportImage(VXReportView *view, qreal devicePixelRatio)
{
    const int pixels = qRound(kPoints * devicePixelRatio);
    QImage image = VXNamedStatusImage(kReportImage, pixels);
    if (image.isNull() || !view)
        return image;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(devicePixelRatio, devicePixelRatio);
    // The report replaces the picture's sample rows, inside the sheet's rounded bottom corners.
    QPainterPath sheet;
    sheet.addRoundedRect(kSheetBody.adjusted(0, -kSheetCornerRadius, 0, 0), kSheetCornerRadius, kSheetCornerRadius);
    painter.setClipPath(sheet.intersected([] {
        QPainterPath body;
        body.addRect(kSheetBody);
        return body;
    }()));
    view->drawFlippedAndSimplifiedReportInRect(painter, kSheetBody, false);
    painter.end();
    image.setDevicePixelRatio(devicePixelRatio);
    return image;
}

void VXTaskbarReportIcon::refreshHiddenView(VXReportView *view)
{
    if (view && !view->isVisible())
        view->updateUnlessCurrent();
}

void VXTaskbarReportIcon::updateIcon()
{
    m_scheduler.cancel(this, kUpdateIconOperation);
    if (m_hibernating)
        return apply(Kind::GreyProgramIcon);
    if (!m_windowed)
        return apply(Kind::ProgramIcon);
    if (!m_defaults.boolForKey(kShowInDockKey))
        return apply(m_defaults.boolForKey(kFallBackToFakeKey) ? Kind::FakeReport : Kind::ProgramIcon);
    if (!m_view) {
        apply(Kind::FakeReport);
    } else {
        refreshHiddenView(m_view);
        const QScreen *screen = QGuiApplication::primaryScreen();
        const qreal ratio = screen ? screen->devicePixelRatio() : 1.0;
        // Drawn again only when the report or the picture's size changed: a refresh that finds
        // the report as it was (nothing credited since, as while paused) costs next to nothing.
        if (m_kind != Kind::LiveReport || m_liveRevision != m_view->revision()
            || m_liveImage.devicePixelRatio() != ratio) {
            m_liveImage = renderReportImage(m_view, ratio);
            m_liveRevision = m_view->revision();
            m_kind = Kind::LiveReport;
            QApplication::setWindowIcon(QIcon(QPixmap::fromImage(m_liveImage)));
        }
    }
    m_scheduler.performAfterDelay(this, kUpdateIconOperation, kRefreshInterval, [this] { updateIcon(); });
}

void VXTaskbarReportIcon::apply(Kind kind)
{
    m_liveImage = QImage();
    if (kind == m_kind)
        return;
    m_kind = kind;
    if (kind == Kind::FakeReport)
        QApplication::setWindowIcon(QIcon(QPixmap::fromImage(VXNamedStatusImage(kReportImage, kPoints))));
    else
        QApplication::setWindowIcon(applicationIcon(kind == Kind::GreyProgramIcon));
}
