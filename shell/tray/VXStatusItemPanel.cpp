#include "VXStatusItemPanel.h"

#include "VXStatusItemPanelResizeView.h"
#include "VXUserDefaults.h"
#include "VXWindowFrameText.h"
#include "ui_StatusItem.h"

#include <QApplication>
#include <QButtonGroup>
#include <QDialog>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <QPropertyAnimation>
#include <QScreen>
#include <QShortcut>
#include <QToolButton>

#ifdef WENDLE_HAVE_XCB
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#endif

namespace {

constexpr int kFadeMilliseconds = 150;
// A click on the tray icon within this time after the panel closed for losing the focus was the
// click that took the focus away: it closed the panel, and does not open it again.
constexpr int kReopenGuardMilliseconds = 300;

// Three dots, the usual sign of a menu of actions, in the text colour.
QIcon actionIcon(const QPalette &palette)
{
    QIcon themed = QIcon::fromTheme(QStringLiteral("open-menu-symbolic"));
    if (!themed.isNull())
        return themed;
    QIcon icon;
    for (const qreal ratio : {1.0, 2.0}) {
        QPixmap pixmap(QSize(16, 16) * ratio);
        pixmap.setDevicePixelRatio(ratio);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(Qt::NoPen);
        painter.setBrush(palette.color(QPalette::ButtonText));
        for (int i = 0; i < 3; ++i)
            painter.drawEllipse(QPointF(3.5 + 4.5 * i, 8), 1.6, 1.6);
        icon.addPixmap(pixmap);
    }
    return icon;
}

#ifdef WENDLE_HAVE_XCB
xcb_connection_t *x11Connection()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return nullptr;
    auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return x11 ? x11->connection() : nullptr;
}

// The atom of a name, or XCB_ATOM_NONE (`onlyIfExists`: none when no client made it yet).
xcb_atom_t x11Atom(xcb_connection_t *connection, const QByteArray &name, bool onlyIfExists = false)
{
    std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, onlyIfExists, name.size(), name.constData()),
                              nullptr),
        &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}
#endif

// The panel belongs to the tray icon: no entry of its own in taskbars and pagers. (Set on the
// window before it maps; the window system merges it with the states of the window's flags.)
void skipTaskbar(QWidget *window)
{
#ifdef WENDLE_HAVE_XCB
    xcb_connection_t *connection = x11Connection();
    if (!connection)
        return;
    const xcb_atom_t states[]
        = {x11Atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"), x11Atom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, xcb_window_t(window->winId()),
                        x11Atom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, 2, states);
#else
    Q_UNUSED(window);
#endif
}

}   // namespace

VXStatusItemPanel::VXStatusItemPanel(VXUserDefaults &defaults, QWidget *parent) :
    QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint), m_defaults(defaults),
    m_ui(new Ui::StatusItem)
{
    m_ui->setupUi(this);
    setWindowTitle(tr("Wendle"));
    m_resizeView = m_ui->resizeView;
    m_ui->actionButton->setIcon(actionIcon(palette()));

    m_scopeBar = new QButtonGroup(this);
    m_scopeBar->setExclusive(true);
    m_scopeBar->addButton(m_ui->organizerButton);
    m_scopeBar->addButton(m_ui->reportButton);
    // Only a selection counts, never the button that was unchecked by it.
    connect(m_ui->organizerButton, &QToolButton::toggled, this, [this](bool on) {
        if (on)
            selectSection(kOrganizerIdentifier);
    });
    connect(m_ui->reportButton, &QToolButton::toggled, this, [this](bool on) {
        if (on)
            selectSection(kActivityReportIdentifier);
    });
    // The sections from the keyboard, as in a tab bar.
    auto *organizerShortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_1), this);
    connect(organizerShortcut, &QShortcut::activated, this, [this] { selectSection(kOrganizerIdentifier); });
    auto *reportShortcut = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_2), this);
    connect(reportShortcut, &QShortcut::activated, this, [this] { selectSection(kActivityReportIdentifier); });
    m_ui->organizerButton->setToolTip(tr("Organizer (Ctrl+1)"));
    m_ui->reportButton->setToolTip(tr("Activity Report (Ctrl+2)"));

    connect(m_resizeView, &VXStatusItemPanelResizeView::resizeFinished, this, &VXStatusItemPanel::saveFrame);
    restoreFrame();
}

VXStatusItemPanel::~VXStatusItemPanel()
{
    // The views belong to their windows: they leave with the panel's layout, not with it.
    for (const QString &identifier : {kOrganizerIdentifier, kActivityReportIdentifier})
        takeView(identifier);
    delete m_ui;
}

QWidget *VXStatusItemPanel::sectionContainer(const QString &identifier) const
{
    if (identifier == kOrganizerIdentifier)
        return m_ui->organizerSection;
    if (identifier == kActivityReportIdentifier)
        return m_ui->reportSection;
    return nullptr;
}

QWidget *VXStatusItemPanel::view(const QString &identifier) const
{
    if (identifier == kOrganizerIdentifier)
        return m_organizerView;
    if (identifier == kActivityReportIdentifier)
        return m_reportView;
    return nullptr;
}

QWidget *VXStatusItemPanel::setView(QWidget *newView, const QString &identifier)
{
    QWidget *container = sectionContainer(identifier);
    if (!container)
        return nullptr;
    QWidget *previous = view(identifier) == newView ? nullptr : takeView(identifier);
    if (newView) {
        container->layout()->addWidget(newView);
        newView->show();
    }
    (identifier == kOrganizerIdentifier ? m_organizerView : m_reportView) = newView;
    return previous;
}

QWidget *VXStatusItemPanel::takeView(const QString &identifier)
{
    QPointer<QWidget> &slot = identifier == kOrganizerIdentifier ? m_organizerView : m_reportView;
    QWidget *taken = slot;
    if (!taken || !sectionContainer(identifier))
        return nullptr;
    slot = nullptr;
    if (taken->parentWidget() == sectionContainer(identifier)) {
        sectionContainer(identifier)->layout()->removeWidget(taken);
        taken->setParent(nullptr);
    }
    return taken;
}

void VXStatusItemPanel::setActionMenu(QMenu *menu)
{
    m_ui->actionButton->setMenu(menu);
}

QWidget *VXStatusItemPanel::actionButton() const
{
    return m_ui->actionButton;
}

void VXStatusItemPanel::updateSelection()
{
    selectSection(m_defaults.boolForKey(kShowsActivityReportKey) ? kActivityReportIdentifier : kOrganizerIdentifier);
}

void VXStatusItemPanel::selectSection(const QString &identifier)
{
    const bool report = identifier == kActivityReportIdentifier;
    if (!report && identifier != kOrganizerIdentifier)
        return;
    QToolButton *button = report ? m_ui->reportButton : m_ui->organizerButton;
    if (!button->isChecked()) {
        button->setChecked(true);   // comes back here through the scope bar
        return;
    }
    m_selected = identifier;
    m_defaults.setBool(report, kShowsActivityReportKey);
    m_ui->reportSection->setVisible(report);
    m_ui->organizerSection->setVisible(!report);
    Q_EMIT sectionSelected(identifier);
}

void VXStatusItemPanel::setInitialSize(const QSize &size)
{
    if (!restoreFrame())
        resize(size);
}

bool VXStatusItemPanel::restoreFrame()
{
    const std::optional<QRect> frame = VXWindowFrameFromText(m_defaults.stringForKey(kFrameAutosaveName));
    if (!frame)
        return false;
    // The place follows the tray icon at every opening; the size is what the person chose.
    resize(frame->size());
    return true;
}

void VXStatusItemPanel::saveFrame()
{
    m_defaults.setString(VXWindowFrameText(geometry()), kFrameAutosaveName);
}

void VXStatusItemPanel::setAnchor(const std::optional<QRect> &iconGeometry, const std::optional<QPoint> &clickPosition)
{
    m_iconGeometry = iconGeometry;
    m_clickPosition = clickPosition;
}

VXPanelPlacement VXStatusItemPanel::positionPanel(bool display)
{
    QScreen *screen = nullptr;
    if (m_iconGeometry && m_iconGeometry->isValid())
        screen = QGuiApplication::screenAt(m_iconGeometry->center());
    if (!screen && m_clickPosition)
        screen = QGuiApplication::screenAt(*m_clickPosition);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect(0, 0, 1024, 768);
    const QRect whole = screen ? screen->geometry() : available;
    const VXPanelPlacement placement = VXPositionPanel(size(), available, whole, m_iconGeometry, m_clickPosition);
    setMinimumSize(placement.minimumSize);
    setMaximumSize(placement.maximumSize);
    setGeometry(placement.frame);
    // The strip lies along the edge that moves.
    auto *layout = static_cast<QBoxLayout *>(this->layout());
    layout->removeWidget(m_resizeView);
    layout->insertWidget(placement.anchoredAtTop ? layout->count() : 0, m_resizeView);
    m_resizeView->setResizableEdges(placement.canResizeLeft, placement.canResizeRight, placement.anchoredAtTop);
    if (display)
        update();
    return placement;
}

bool VXStatusItemPanel::desktopComposites()
{
    const QString platform = QGuiApplication::platformName();
    if (platform.startsWith(QLatin1String("wayland")))
        return true;
#ifdef WENDLE_HAVE_XCB
    if (xcb_connection_t *connection = x11Connection()) {
        // A compositing manager owns the selection _NET_WM_CM_S<screen>.
        int screenNumber = 0;
        if (const QByteArray display = qgetenv("DISPLAY"); display.contains('.'))
            screenNumber = display.mid(display.lastIndexOf('.') + 1).toInt();
        const xcb_atom_t atom = x11Atom(connection, "_NET_WM_CM_S" + QByteArray::number(screenNumber), true);
        if (atom == XCB_ATOM_NONE)
            return false;
        std::unique_ptr<xcb_get_selection_owner_reply_t, decltype(&std::free)> owner(
            xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom), nullptr), &std::free);
        return owner && owner->owner != XCB_NONE;
    }
#endif
    return false;
}

bool VXStatusItemPanel::setPanelVisible(bool visible)
{
    if (!visible)
        return isPanelVisible() && vanishAndCloseIfAppropriate();
    if (isPanelVisible())
        return false;
    Q_EMIT panelWillShow();
    if (m_fade)
        m_fade->stop();
    m_vanishing = false;
    positionPanel(true);
    const bool fade = desktopComposites();
    setWindowOpacity(fade ? 0.0 : 1.0);
    if (!isVisible())
        skipTaskbar(this);
    show();
    raise();
    activateWindow();
    if (fade) {
        if (!m_fade) {
            m_fade = new QPropertyAnimation(this, "windowOpacity", this);
            m_fade->setDuration(kFadeMilliseconds);
        }
        m_fade->disconnect(this);
        m_fade->setStartValue(0.0);
        m_fade->setEndValue(1.0);
        m_fade->start();
    }
    return true;
}

bool VXStatusItemPanel::togglePanel()
{
    if (isPanelVisible())
        return setPanelVisible(false);
    if (m_closedOnDeactivation.isValid() && m_closedOnDeactivation.elapsed() < kReopenGuardMilliseconds) {
        m_closedOnDeactivation.invalidate();
        return true;
    }
    return setPanelVisible(true);
}

bool VXStatusItemPanel::hasAttachedDialog() const
{
    const auto dialogs = findChildren<QDialog *>();
    if (std::any_of(dialogs.begin(), dialogs.end(), [](const QDialog *dialog) { return dialog->isVisible(); }))
        return true;
    // A modal window opened over the panel (a message box whose parent is a view inside it).
    for (QWidget *modal = QApplication::activeModalWidget(); modal; modal = modal->parentWidget()) {
        if (modal == this)
            return true;
    }
    return false;
}

bool VXStatusItemPanel::vanishAndCloseIfAppropriate()
{
    if (!isVisible() || hasAttachedDialog())
        return false;
    if (m_vanishing)
        return true;
    m_vanishing = true;
    Q_EMIT windowWillVanish();
    saveFrame();
    if (!desktopComposites()) {
        finishVanishing();
        return true;
    }
    if (!m_fade) {
        m_fade = new QPropertyAnimation(this, "windowOpacity", this);
        m_fade->setDuration(kFadeMilliseconds);
    }
    m_fade->stop();
    m_fade->disconnect(this);
    m_fade->setStartValue(windowOpacity());
    m_fade->setEndValue(0.0);
    connect(m_fade, &QPropertyAnimation::finished, this, &VXStatusItemPanel::finishVanishing);
    m_fade->start();
    return true;
}

void VXStatusItemPanel::finishVanishing()
{
    if (!m_vanishing)
        return;
    hide();
    m_vanishing = false;
    setWindowOpacity(1.0);
}

void VXStatusItemPanel::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() != QEvent::ActivationChange || isActiveWindow() || !isVisible() || m_vanishing)
        return;
    if (vanishAndCloseIfAppropriate())
        m_closedOnDeactivation.start();
}

void VXStatusItemPanel::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        vanishAndCloseIfAppropriate();
        return;
    }
    QWidget::keyPressEvent(event);
}

void VXStatusItemPanel::closeEvent(QCloseEvent *event)
{
    // Closed from outside (the window manager's close): the same way out, without the fade.
    if (isVisible() && !m_vanishing) {
        Q_EMIT windowWillVanish();
        saveFrame();
    }
    QWidget::closeEvent(event);
}
