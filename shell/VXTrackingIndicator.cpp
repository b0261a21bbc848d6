#include "VXTrackingIndicator.h"

#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QPixmap>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QVBoxLayout>
#include <QWidget>

namespace {

// A clock face: drawn rather than loaded, so the indicator cannot lose its icon.
QIcon trackingIcon()
{
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        const qreal pen = std::max<qreal>(1.5, size / 12.0);
        painter.setPen(QPen(QColor(153, 102, 153), pen));
        painter.setBrush(QColor(250, 245, 250));
        const QRectF face(pen, pen, size - 2 * pen, size - 2 * pen);
        painter.drawEllipse(face);
        const QPointF centre = face.center();
        painter.drawLine(centre, QPointF(centre.x(), face.top() + face.height() * 0.22));
        painter.drawLine(centre, QPointF(face.right() - face.width() * 0.25, centre.y()));
        icon.addPixmap(pixmap);
    }
    return icon;
}

}   // namespace

VXTrackingIndicator::VXTrackingIndicator(QObject *parent) : QObject(parent)
{
    m_menu = new QMenu();
    m_statusAction = m_menu->addAction(tr("Wendle is tracking"));
    m_statusAction->setEnabled(false);
    m_menu->addSeparator();
    QAction *quit = m_menu->addAction(tr("Quit Wendle"));
    quit->setShortcut(QKeySequence::Quit);
    connect(quit, &QAction::triggered, this, &VXTrackingIndicator::quitRequested);
}

VXTrackingIndicator::~VXTrackingIndicator()
{
    delete m_tray;
    delete m_window;
    delete m_menu;
}

void VXTrackingIndicator::show()
{
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        m_tray = new QSystemTrayIcon(trackingIcon());
        m_tray->setContextMenu(m_menu);
        m_tray->setToolTip(m_status.isEmpty() ? tr("Wendle is tracking") : m_status);
        connect(m_tray, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
            if (reason == QSystemTrayIcon::Trigger)
                m_menu->popup(QCursor::pos());
        });
        m_tray->show();
        return;
    }
    m_window = new QWidget();
    m_window->setWindowTitle(tr("Wendle"));
    m_window->setWindowIcon(trackingIcon());
    auto *layout = new QVBoxLayout(m_window);
    m_label = new QLabel(m_status.isEmpty() ? tr("Wendle is tracking") : m_status, m_window);
    m_label->setWordWrap(true);
    m_label->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    layout->addWidget(m_label);
    auto *quit = new QPushButton(tr("&Quit Wendle"), m_window);
    quit->setDefault(true);
    connect(quit, &QPushButton::clicked, this, &VXTrackingIndicator::quitRequested);
    layout->addWidget(quit);
    m_window->resize(360, 120);
    m_window->show();
}

void VXTrackingIndicator::setStatus(const QString &status)
{
    if (status == m_status)
        return;
    m_status = status;
    m_statusAction->setText(status);
    if (m_tray)
        m_tray->setToolTip(status);
    if (m_label)
        m_label->setText(status);
}
