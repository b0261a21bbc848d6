#include "VXTrackingIndicator.h"

#include "VXApplicationIcon.h"

#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QSystemTrayIcon>
#include <QVBoxLayout>
#include <QWidget>

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
        m_tray = new QSystemTrayIcon(applicationIcon(m_hibernating));
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
    m_window->setWindowIcon(applicationIcon(m_hibernating));
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

void VXTrackingIndicator::setHibernating(bool hibernating)
{
    if (hibernating == m_hibernating)
        return;
    m_hibernating = hibernating;
    if (m_tray)
        m_tray->setIcon(applicationIcon(hibernating));
    if (m_window)
        m_window->setWindowIcon(applicationIcon(hibernating));
}
