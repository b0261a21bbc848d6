#include "VXReportController.h"

#include "VXChameleonDatePicker.h"
#include "VXColorExtensions.h"
#include "VXConfigurationKeys.h"
#include "VXMainController.h"
#include "VXRegisteredDefaults.h"
#include "VXReportBottomBar.h"
#include "VXReportMenuAdapter.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportView.h"
#include "VXReportsLogging.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"
#include "VXWindowFrameText.h"
#include "ui_Report.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>
#include <QSignalBlocker>
#include <QStyle>
#include <QToolButton>

#include <algorithm>
#include <cmath>
#include <vector>

namespace {

// Settings that change how every report draws.
bool redrawsReports(const QString &key)
{
    return key == VXColorSchemeKey || key == kExpressTimeIntervalsAsDaysKey
        || key == VXReportViewKey::kReportsShowPercentages || key == VXReportViewKey::kShowTimeAtMouseLocation
        || key == VXReportViewKey::kIndicatorLineTracksMouse || key == VXDefaultsKey::kHeaderTranslucency;
}

bool applicationTerminating = false;

// Report windows carry the name of their layout.
const QString kReportWindowName = QStringLiteral("Report");

// How far each new report window stands from one it would otherwise hide.
constexpr int kCascadeStep = 28;

// Where a new report window goes so that it does not open exactly over another one (they all
// start centred): `place`, moved down and right a step at a time until no other report's top
// left corner is within a step of it; a step that would leave the available area starts again
// at its top left.
QPoint cascadedPosition(QPoint place, const QSize &size, const QRect &available, const std::vector<QPoint> &taken)
{
    const auto isTaken = [&taken](QPoint point) {
        return std::any_of(taken.begin(), taken.end(),
                           [point](QPoint other) { return (other - point).manhattanLength() < kCascadeStep; });
    };
    for (std::size_t i = 0; i <= taken.size() && isTaken(place); ++i) {
        place += QPoint(kCascadeStep, kCascadeStep);
        if (!available.contains(QRect(place, size)))
            place = available.topLeft();
    }
    return place;
}

}   // namespace

void VXReportController::setApplicationTerminating(bool terminating)
{
    applicationTerminating = terminating;
}

bool VXReportController::isApplicationTerminating()
{
    return applicationTerminating;
}

std::shared_ptr<VXReportController> VXReportController::reportControllerWithUniqueID(const QString &uniqueID,
                                                                                     VXReportDataSource *delegate,
                                                                                     VXUserDefaults *defaults)
{
    return std::make_shared<VXReportController>(uniqueID, delegate, defaults);
}

VXReportController::VXReportController(const QString &uniqueID, VXReportDataSource *delegate, VXUserDefaults *defaults,
                                       QObject *parent) :
    QObject(parent),
    m_uniqueID(uniqueID.isEmpty() ? newUUIDString() : uniqueID), m_delegate(delegate),
    m_defaults(defaults ? defaults : VXUserDefaults::standard())
{
    if (!m_defaults) {
        m_ownDefaults = std::make_unique<VXUserDefaults>();
        m_defaults = m_ownDefaults.get();
    }
    connect(m_defaults, &VXUserDefaults::valueChanged, this, &VXReportController::settingChanged);
}

VXReportController::~VXReportController()
{
    detachReportView();
    if (m_reportWindow) {
        m_reportWindow->removeEventFilter(this);
        delete m_reportWindow.data();
    }
}

VXUserDefaults &VXReportController::defaults() const
{
    return *m_defaults;
}

QString VXReportController::keyForReport(const QString &pattern) const
{
    return VXFillFormat(pattern, {m_uniqueID});
}

QString VXReportController::windowFrameKey() const
{
    return isLiveReport() ? VXReportKey::kLiveWindowFrame : VXReportKey::kWindowFramePrefix + m_uniqueID;
}

QDateTime VXReportController::dateForTimestamp(double timestamp)
{
    return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(timestamp * 1000.0)));
}

double VXReportController::timestampForDate(const QDateTime &date)
{
    return double(date.toMSecsSinceEpoch()) / 1000.0;
}

// ---- Windows

QWidget *VXReportController::loadReportWindow()
{
    if (m_reportWindow)
        return m_reportWindow.data();

    // The layout is compiled in: it cannot go missing.
    auto window = std::make_unique<QWidget>();
    Ui::Report ui;
    ui.setupUi(window.get());
    m_reportContainer = ui.reportContainer;
    m_reportView = ui.reportView;
    m_bottomBar = ui.bottomBar;
    m_beginDateSwitch = ui.beginDateSwitch;
    m_endDateSwitch = ui.endDateSwitch;
    m_beginDatePicker = ui.beginDatePicker;
    m_endDatePicker = ui.endDatePicker;
    m_viewMenuButton = ui.viewMenuButton;
    QWidget *reportWindow = window.release();
    m_reportWindow = reportWindow;

    m_beginDatePicker->setEnablingSwitch(m_beginDateSwitch);
    m_endDatePicker->setEnablingSwitch(m_endDateSwitch);
    m_reportView->setDelegate(this);
    setUpEmptyReportMessage();
    // The whole window in the report's colours; the container carries them into the tray panel.
    m_reportContainer->setAutoFillBackground(true);
    applyColorScheme();

    if (m_snapshotConfiguration) {
        const QString path = m_snapshotConfiguration->value(VXPathKey).toString();
        if (!path.isEmpty()) {
            reportWindow->setWindowTitle(QFileInfo(path).fileName());
            reportWindow->setWindowFilePath(path);
        }
    }

    setUpViewMenuButton();

    // The taskbar has no Windows menu to leave the live report out of; it floats on request.
    if (isLiveReport() && defaults().boolForKey(VXReportKey::kDefaultStayInFront))
        reportWindow->setWindowFlag(Qt::WindowStaysOnTopHint, true);
    m_hasSavedFrame = restoreWindowFrame();

    readDateControl(VXReportKey::kBegin, m_beginDateSwitch, m_beginDatePicker);
    readDateControl(VXReportKey::kEnd, m_endDateSwitch, m_endDatePicker);

    connect(m_beginDateSwitch, &QCheckBox::clicked, this, [this] { changeSetting(m_beginDateSwitch); });
    connect(m_endDateSwitch, &QCheckBox::clicked, this, [this] { changeSetting(m_endDateSwitch); });
    connect(m_beginDatePicker, &QDateTimeEdit::dateTimeChanged, this, [this] { changeSetting(m_beginDatePicker); });
    connect(m_endDatePicker, &QDateTimeEdit::dateTimeChanged, this, [this] { changeSetting(m_endDatePicker); });

    reportWindow->installEventFilter(this);
    return reportWindow;
}

void VXReportController::setSnapshotConfiguration(VXDictionaryRef configuration)
{
    m_snapshotConfiguration = std::move(configuration);
    setUpEmptyReportMessage();
}

void VXReportController::setUpEmptyReportMessage()
{
    if (!m_reportView)
        return;
    if (m_snapshotConfiguration)
        m_reportView->setOverlayMessage(tr(VXReportNoActivityTitle), tr(VXReportNoActivitySubtitle));
    else
        m_reportView->setOverlayMessage(tr(VXReportNothingTrackedTitle), tr(VXReportNothingTrackedSubtitle));
}

void VXReportController::setUpViewMenuButton()
{
    if (!m_viewMenuButton)
        return;
    if (!m_delegate) {
        m_viewMenuButton->hide();
        return;
    }
    m_viewMenuButton->setToolTip(tr(VXReportViewButtonToolTip));
    m_viewMenuButton->setAccessibleName(tr(VXReportViewButtonToolTip));
    m_viewMenuButton->setIcon(m_viewMenuButton->style()->standardIcon(QStyle::SP_FileDialogDetailedView));
    m_viewMenuButton->setToolButtonStyle(Qt::ToolButtonIconOnly);
    m_viewMenuButton->setPopupMode(QToolButton::InstantPopup);

    m_viewMenu = new QMenu(tr(VXReportViewMenuTitle), m_viewMenuButton);
    VXReportMenuAdapter &menu = VXReportMenuAdapter::attachedTo(m_viewMenu);
    menu.addHeading(tr(VXReportViewButtonToolTip));
    m_delegate->populateViewMenu(menu, *this);
    m_viewMenuButton->setMenu(m_viewMenu);

    m_viewMenuButton->adjustSize();
    m_viewMenuButton->resize(36, m_viewMenuButton->height());
}

void VXReportController::readDateControl(const QString &pattern, QCheckBox *dateSwitch, VXChameleonDatePicker *picker)
{
    const VXValue stored = defaults().objectForKey(keyForReport(pattern));
    const QSignalBlocker blocker(picker);
    if (stored.isNumber()) {
        dateSwitch->setChecked(true);
        picker->setEnabled(true);
        picker->setDateValue(dateForTimestamp(stored.toDouble()));
    } else {
        dateSwitch->setChecked(false);
        picker->setEnabled(false);
    }
}

VXReportView *VXReportController::loadReportView()
{
    return loadReportWindow() ? m_reportView.data() : nullptr;
}

bool VXReportController::isKeyWindow() const
{
    return m_reportWindow && m_reportWindow->isVisible() && m_reportWindow->isActiveWindow();
}

void VXReportController::toggleReportWindow(QObject *sender)
{
    Q_UNUSED(sender);   // the rebuild below is not a forced one
    const bool wasLoaded = m_reportWindow != nullptr;
    QWidget *window = loadReportWindow();
    if (!window)
        return;
    if (wasLoaded && isKeyWindow()) {
        defaults().setBool(false, keyForReport(VXReportKey::kVisible));
        if (isLiveReport())
            defaults().setBool(true, VXReportKey::kDefaultClosedLast);
        m_closingByToggle = true;
        window->close();
        m_closingByToggle = false;
        return;
    }
    defaults().setBool(true, keyForReport(VXReportKey::kVisible));
    presentReportWindow(true);
}

void VXReportController::presentReportWindow(bool activate)
{
    QWidget *window = m_reportWindow.data();
    if (!window)
        return;
    if (!m_hasBeenShown && !m_hasSavedFrame) {
        // Centred on its first showing only; later showings keep where the user left it.
        if (const QScreen *screen = window->screen()) {
            const QRect available = screen->availableGeometry();
            QRect frame = window->frameGeometry();
            frame.moveCenter(available.center());
            std::vector<QPoint> taken;
            for (const QWidget *other : QApplication::topLevelWidgets()) {
                if (other != window && other->isVisible() && other->objectName() == kReportWindowName)
                    taken.push_back(other->pos());
            }
            window->move(cascadedPosition(frame.topLeft(), frame.size(), available, taken));
        }
    }
    m_hasBeenShown = true;
    window->show();
    updateRegardless(this);
    window->raise();
    if (activate)
        window->activateWindow();
}

bool VXReportController::windowShouldClose()
{
    defaults().setBool(false, keyForReport(VXReportKey::kVisible));
    if (isLiveReport())
        defaults().setBool(true, VXReportKey::kDefaultClosedLast);
    return true;
}

void VXReportController::windowWillClose()
{
    saveWindowFrame();
    Q_EMIT reportWindowClosed();
    if (m_delegate)
        m_delegate->reportWindowWillCloseForReportController(*this);
}

bool VXReportController::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_reportWindow.data())
        return QObject::eventFilter(watched, event);
    switch (event->type()) {
    case QEvent::Close:
        if (m_reportWindow->isVisible()) {
            // Quitting closes every window; that is not the user closing this one.
            if (!m_closingByToggle && !applicationTerminating && !windowShouldClose()) {
                event->ignore();
                return true;
            }
            windowWillClose();
        }
        break;
    case QEvent::Move:
    case QEvent::Resize:
        if (m_reportWindow->isVisible() && !m_restoringFrame)
            saveWindowFrame();
        break;
    case QEvent::ApplicationPaletteChange:
        // The desktop's theme changed: the scheme's palette is made from it.
        applyColorScheme();
        break;
    default: break;
    }
    return QObject::eventFilter(watched, event);
}

void VXReportController::saveWindowFrame()
{
    if (!m_reportWindow)
        return;
    const QRect frame = m_reportWindow->geometry();
    if (frame.width() <= 0 || frame.height() <= 0)
        return;
    defaults().setString(VXWindowFrameText(frame), windowFrameKey());
    m_hasSavedFrame = true;
}

bool VXReportController::restoreWindowFrame()
{
    const std::optional<QRect> frame = VXWindowFrameFromText(defaults().stringForKey(windowFrameKey()));
    if (!frame)
        return false;
    const QSize minimum = m_reportWindow->minimumSize().expandedTo(m_reportWindow->minimumSizeHint());
    m_restoringFrame = true;
    m_reportWindow->setGeometry(VXClampedToScreen(*frame, minimum));
    m_restoringFrame = false;
    return true;
}

// ---- Settings

void VXReportController::setTimeFormatFromMenuItem(int tag)
{
    defaults().setInteger(tag, keyForReport(VXReportKey::kTimeFormat));
    update(this);
}

int VXReportController::timeFormat() const
{
    return int(defaults().integerForKey(keyForReport(VXReportKey::kTimeFormat)));
}

void VXReportController::toggleShownActivityFromMenuItem(int tag)
{
    const QString key
        = VXFillFormat(VXReportKey::kShownActivity, {m_uniqueID, tag == 0 ? VXReportKey::kFront : VXReportKey::kTotal});
    defaults().setBool(!defaults().boolForKey(key), key);
    update(this);
}

bool VXReportController::drawFrontActivity() const
{
    if (m_snapshotConfiguration)
        return m_snapshotConfiguration->value(VXForegroundActivityKey).toBool();
    return defaults().boolForKey(VXFillFormat(VXReportKey::kShownActivity, {m_uniqueID, VXReportKey::kFront}));
}

bool VXReportController::drawTotalActivity() const
{
    if (m_snapshotConfiguration)
        return m_snapshotConfiguration->value(VXTotalActivityKey).toBool();
    return defaults().boolForKey(VXFillFormat(VXReportKey::kShownActivity, {m_uniqueID, VXReportKey::kTotal}));
}

void VXReportController::storeDateOfPicker(const QString &pattern, VXChameleonDatePicker *picker)
{
    defaults().setDouble(timestampForDate(picker->dateValue()), keyForReport(pattern));
}

void VXReportController::changeSetting(QObject *sender)
{
    const auto dateSwitchChanged = [&](const QString &pattern, QCheckBox *dateSwitch, VXChameleonDatePicker *picker) {
        if (dateSwitch->isChecked()) {
            storeDateOfPicker(pattern, picker);
            picker->setEnabled(true);
        } else {
            defaults().removeObjectForKey(keyForReport(pattern));
            picker->setEnabled(false);
        }
    };
    if (sender && sender == m_beginDateSwitch)
        dateSwitchChanged(VXReportKey::kBegin, m_beginDateSwitch, m_beginDatePicker);
    else if (sender && sender == m_beginDatePicker)
        storeDateOfPicker(VXReportKey::kBegin, m_beginDatePicker);
    else if (sender && sender == m_endDateSwitch)
        dateSwitchChanged(VXReportKey::kEnd, m_endDateSwitch, m_endDatePicker);
    else if (sender && sender == m_endDatePicker)
        storeDateOfPicker(VXReportKey::kEnd, m_endDatePicker);
    update(sender);
}

bool VXReportController::isReportShown() const
{
    // The view's own window: the container may have moved into the tray panel.
    return m_reportView && m_reportView->window()->isVisible() && m_reportView->isVisibleTo(m_reportView->window());
}

VXReportMenuItemState VXReportController::validateMenuItem(VXReportMenuAction action, int tag) const
{
    const bool shown = isReportShown();
    switch (action) {
    case VXReportMenuAction::SetTimeFormatFromMenuItem: return {shown, shown && tag == timeFormat()};
    case VXReportMenuAction::ToggleShownActivityFromMenuItem:
        if (m_snapshotConfiguration) {
            const QString &key = tag == 1 ? VXTotalActivityKey : VXForegroundActivityKey;
            return {false, m_snapshotConfiguration->value(key).toBool()};
        }
        return {shown, shown && (tag == 1 ? drawTotalActivity() : drawFrontActivity())};
    }
    return {};
}

void VXReportController::applyColorScheme()
{
    if (m_reportContainer)
        m_reportContainer->setPalette(reportPalette(int(defaults().integerForKey(VXColorSchemeKey))));
}

void VXReportController::settingChanged(const QString &key)
{
    if (!redrawsReports(key))
        return;
    if (key == VXColorSchemeKey)
        applyColorScheme();
    if (m_reportContainer)
        m_reportContainer->update();
    if (m_bottomBar)
        m_bottomBar->update();
    update(nullptr);
}

// ---- The report view's questions

void VXReportController::getBeginTimestamp(double *beginTimestamp, double *endTimestamp, double *firstTimestamp,
                                           double *lastTimestamp, VXReportView *reportView)
{
    Q_UNUSED(reportView);
    double first = 0.0;
    double last = 0.0;
    if (m_delegate)
        m_delegate->getFirstTimestamp(&first, &last, *this);
    if (firstTimestamp)
        *firstTimestamp = first;
    if (lastTimestamp)
        *lastTimestamp = last;
    double begin = first;
    double end = last;

    // Setting a picker's date or limits here is not the user's change: no signals.
    if (m_beginDatePicker) {
        const QSignalBlocker blocker(m_beginDatePicker.data());
        m_beginDateSwitch->show();
        m_beginDatePicker->show();
        if (m_beginDatePicker->isEnabled()) {
            m_beginDatePicker->setDateTimeRange(dateForTimestamp(first), dateForTimestamp(last));
            begin = timestampForDate(m_beginDatePicker->dateValue());
        } else {
            m_beginDatePicker->clearMinimumDateTime();
            m_beginDatePicker->clearMaximumDateTime();
            m_beginDatePicker->setDateValue(dateForTimestamp(first));
        }
    }
    if (m_endDatePicker) {
        const QSignalBlocker blocker(m_endDatePicker.data());
        m_endDateSwitch->show();
        m_endDatePicker->show();
        if (m_endDatePicker->isEnabled()) {
            const QDateTime lower = m_beginDatePicker && m_beginDatePicker->isEnabled() ? m_beginDatePicker->dateValue()
                                                                                        : dateForTimestamp(first);
            m_endDatePicker->setDateTimeRange(lower, dateForTimestamp(last));
            end = timestampForDate(m_endDatePicker->dateValue());
        } else {
            m_endDatePicker->clearMinimumDateTime();
            m_endDatePicker->clearMaximumDateTime();
            m_endDatePicker->setDateValue(dateForTimestamp(last));
        }
    }
    if (beginTimestamp)
        *beginTimestamp = begin;
    if (endTimestamp)
        *endTimestamp = end;
}

void VXReportController::applyRangeSide(double timestamp, const QString &pattern, QCheckBox *dateSwitch,
                                        VXChameleonDatePicker *picker)
{
    if (timestamp > 0.0) {
        defaults().setDouble(timestamp, keyForReport(pattern));
        if (dateSwitch && !dateSwitch->isChecked()) {
            dateSwitch->setChecked(true);
            if (picker)
                picker->setEnabled(true);
        }
        if (picker) {
            // The limits of the last rebuild must not bend the chosen date; the next rebuild
            // sets them again.
            const QSignalBlocker blocker(picker);
            picker->clearMinimumDateTime();
            picker->clearMaximumDateTime();
            picker->setDateValue(dateForTimestamp(timestamp));
        }
    } else {
        defaults().removeObjectForKey(keyForReport(pattern));
        if (dateSwitch && dateSwitch->isChecked()) {
            dateSwitch->setChecked(false);
            if (picker)
                picker->setEnabled(false);
        }
    }
}

void VXReportController::setBeginTimestamp(double beginTimestamp, double endTimestamp, VXReportView *reportView)
{
    Q_UNUSED(reportView);
    applyRangeSide(beginTimestamp, VXReportKey::kBegin, m_beginDateSwitch, m_beginDatePicker);
    applyRangeSide(endTimestamp, VXReportKey::kEnd, m_endDateSwitch, m_endDatePicker);
    update(this);
}

VXArrayRef VXReportController::eventLogsForReportView(VXReportView *reportView, double clippedBetweenTimestamp,
                                                      double andTimestamp)
{
    Q_UNUSED(reportView);
    if (!m_delegate)
        return VXMakeArray();
    return m_delegate->eventLogsClippedBetweenTimestamp(clippedBetweenTimestamp, andTimestamp, *this);
}

std::unique_ptr<QMenu> VXReportController::contextMenuForEventLog(const VXDictionaryRef &eventLog)
{
    if (!m_delegate || !eventLog)
        return nullptr;
    auto menu = std::make_unique<QMenu>();
    if (!m_delegate->contextMenuForEventLog(*eventLog, *this, VXReportMenuAdapter::attachedTo(menu.get())))
        return nullptr;
    return menu;
}

// ---- Refreshing

void VXReportController::updateRegardlessOfWindowVisibility(bool regardless)
{
    if (!m_reportView)
        return;
    QWidget *window = m_reportView->window();
    if (!regardless && !window->isVisible())
        return;
    if (!m_reportView->isVisibleTo(window))
        return;
    m_reportView->update(static_cast<QObject *>(this));
}

void VXReportController::update(QObject *sender)
{
    Q_UNUSED(sender);
    updateRegardlessOfWindowVisibility(false);
}

void VXReportController::updateRegardless(QObject *sender)
{
    Q_UNUSED(sender);
    updateRegardlessOfWindowVisibility(true);
}

void VXReportController::detachReportView()
{
    if (m_reportView)
        m_reportView->setDelegate(nullptr);
}
