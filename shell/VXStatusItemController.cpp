#include "VXStatusItemController.h"

#include "VXLiveReportNotification.h"
#include "VXMenuBuilder.h"
#include "VXRegisteredDefaults.h"
#include "VXStatusItemPanel.h"
#include "VXUserDefaults.h"

#include <QApplication>
#include <QCursor>
#include <QMenu>
#include <QSystemTrayIcon>

VXStatusItemController::VXStatusItemController(VXMenuBuilder &menus, VXUserDefaults &defaults, QObject *parent) :
    QObject(parent), m_defaults(defaults), m_actionMenu(std::make_unique<QMenu>()),
    m_panel(std::make_unique<VXStatusItemPanel>(defaults))
{
    m_actionMenu->setObjectName(QStringLiteral("actionMenu"));
    menus.populateActionMenu(m_actionMenu.get());
    m_panel->setActionMenu(m_actionMenu.get());

    // The report is drawn afresh when it comes into view; the icon shows the panel's state.
    const auto updateReport = [] { VXLiveReportNotification::defaultCenter()->post(); };
    connect(m_panel.get(), &VXStatusItemPanel::panelWillShow, this, [this, updateReport] {
        m_iconState.highlighted = true;
        updateReport();
        redrawIcon();
    });
    connect(m_panel.get(), &VXStatusItemPanel::windowWillVanish, this, [this] {
        m_iconState.highlighted = false;
        redrawIcon();
    });
    connect(m_panel.get(), &VXStatusItemPanel::sectionSelected, this, [this, updateReport](const QString &identifier) {
        m_iconState.reporting = identifier == VXStatusItemPanel::kActivityReportIdentifier;
        if (m_iconState.reporting)
            updateReport();
        redrawIcon();
    });
    // The desktop's theme, which tells whether the tray is dark.
    m_panel->installEventFilter(this);
    // The preferences' icon selector.
    connect(&m_defaults, &VXUserDefaults::valueChanged, this, [this](const QString &key) {
        if (key == VXDefaultsKey::kStatusItemIcon)
            redrawIcon();
    });

    m_tray = std::make_unique<QSystemTrayIcon>();
    redrawIcon();
    m_tray->setContextMenu(m_actionMenu.get());
    connect(m_tray.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger)
            handleClick(QCursor::pos());
    });
    m_tray->show();
}

VXStatusItemController::~VXStatusItemController()
{
    // The icon goes before the menu it shows, the panel before the menu behind its button.
    m_tray.reset();
    m_panel.reset();
}

void VXStatusItemController::setStatus(const QString &status)
{
    if (m_tray->toolTip() != status)
        m_tray->setToolTip(status);
}

void VXStatusItemController::setHibernating(bool hibernating, bool deepHibernation)
{
    m_iconState.hibernating = hibernating;
    m_iconState.deepHibernation = deepHibernation;
    redrawIcon();
}

void VXStatusItemController::redrawIcon()
{
    m_iconState.style = int(m_defaults.integerForKey(VXDefaultsKey::kStatusItemIcon));
    // The tray's panel is drawn in the desktop's colours, as far as the theme tells.
    m_iconState.darkPanel = VXPaletteIsDark(QApplication::palette());
    if (m_drawnState == m_iconState)
        return;
    m_drawnState = m_iconState;
    m_tray->setIcon(VXStatusItemIcon(m_iconState));
}

bool VXStatusItemController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == m_panel.get() && event->type() == QEvent::ApplicationPaletteChange && m_tray)
        redrawIcon();
    return QObject::eventFilter(watched, event);
}

void VXStatusItemController::anchorPanel(const std::optional<QPoint> &clickPosition)
{
    const QRect geometry = m_tray->geometry();
    m_panel->setAnchor(geometry.isValid() && !geometry.isEmpty() ? std::optional<QRect>(geometry) : std::nullopt,
                       clickPosition);
}

void VXStatusItemController::handleClick(const std::optional<QPoint> &clickPosition)
{
    anchorPanel(clickPosition);
    if (!m_panel->togglePanel())
        QApplication::beep();
}

void VXStatusItemController::showSection(const QString &identifier)
{
    m_panel->selectSection(identifier);
    if (m_panel->isPanelVisible()) {
        m_panel->raise();
        m_panel->activateWindow();
        return;
    }
    // Opened from a menu, not by a click: under the icon, else at the top right.
    anchorPanel(std::nullopt);
    m_panel->setPanelVisible(true);
}
