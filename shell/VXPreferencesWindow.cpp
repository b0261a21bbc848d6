#include "VXPreferencesWindow.h"

#include "ui_Preferences.h"

#include "VXApplicationIcon.h"
#include "VXConfigurationKeys.h"
#include "VXExporter.h"
#include "VXMainController.h"
#include "VXPreferenceHandlers.h"
#include "VXUserDefaults.h"
#include "VXWelcomeWindow.h"
#include "VXWindowFrameText.h"

#include <QDir>
#include <QFileIconProvider>
#include <QFileInfo>
#include <QFormLayout>
#include <QGuiApplication>
#include <QHideEvent>
#include <QKeySequence>
#include <QScreen>
#include <QShortcut>

namespace {

using C = VXPreferenceControl;

// The slider steps: the update interval in half seconds, the opacity in hundredths.
constexpr double kUpdateIntervalStep = 0.5;
constexpr double kOpacityStep = 0.01;

QString readablePath(const QString &path)
{
    const QString home = QDir::homePath();
    QString readable = QDir::toNativeSeparators(path);
    if (path == home || path.startsWith(home + u'/'))
        readable = u'~' + readable.mid(home.size());
    return readable;
}

}   // namespace

VXPreferencesWindow::VXPreferencesWindow(VXMainController &controller, VXUserDefaults &defaults, QWidget *parent) :
    QWidget(parent, Qt::Window), m_controller(controller), m_defaults(defaults),
    m_ui(std::make_unique<Ui::Preferences>())
{
    m_ui->setupUi(this);
    setWindowIcon(applicationIcon());
    bindControls();
    // Escape and Ctrl+W close the window, as they close any dialog.
    for (const QKeySequence &keys : {QKeySequence(Qt::Key_Escape), QKeySequence(QKeySequence::Close)})
        connect(new QShortcut(keys, this), &QShortcut::activated, this, &QWidget::close);
    connect(m_ui->preferencesTabView, &QTabWidget::currentChanged, this, [this] { updatePreferencesWindowFrame(); });
    // Settings changed elsewhere (the menus, `wendle defaults write`) show at once.
    connect(&m_defaults, &VXUserDefaults::valueChanged, this, [this] {
        if (isVisible() && !m_refreshing)
            refresh();
    });
    rebuildFolderSelector();
}

VXPreferencesWindow::~VXPreferencesWindow() = default;

void VXPreferencesWindow::bindControls()
{
    const std::initializer_list<std::pair<QWidget *, C>> controls {
        {m_ui->statusItemSwitch, C::StatusItemSwitch},
        {m_ui->statusItemIconSelector, C::StatusItemIconSelector},
        {m_ui->showInactiveApplicationItemsSwitch, C::ShowInactiveApplicationItemsSwitch},
        {m_ui->showInactivePoolsSwitch, C::ShowInactivePoolsSwitch},
        {m_ui->autoResetApplicationTimersSwitch, C::AutoResetApplicationTimersSwitch},
        {m_ui->autoResetPoolTimersSwitch, C::AutoResetPoolTimersSwitch},
        {m_ui->hibernationIntervalSelector, C::HibernationIntervalSelector},
        {m_ui->screenLockCountsAsAwaySwitch, C::ScreenLockCountsAsAwaySwitch},
        {m_ui->updateIntervalSlider, C::UpdateIntervalSlider},
        {m_ui->liveReportApplicationSwitch, C::LiveReportApplicationSwitch},
        {m_ui->liveReportPoolSwitch, C::LiveReportPoolSwitch},
        {m_ui->liveReportContentSelector, C::LiveReportContentSelector},
        {m_ui->liveReportDockSwitch, C::LiveReportDockSwitch},
        {m_ui->liveReportDesktopSwitch, C::LiveReportDesktopSwitch},
        {m_ui->liveReportDesktopFractionSlider, C::LiveReportDesktopFractionSlider},
        {m_ui->liveReportMouseTrackingSwitch, C::LiveReportMouseTrackingSwitch},
        {m_ui->exportColumnPoolSwitch, C::ExportColumnPoolSwitch},
        {m_ui->exportColumnPoolInfoSwitch, C::ExportColumnPoolInfoSwitch},
        {m_ui->exportColumnApplicationSwitch, C::ExportColumnApplicationSwitch},
        {m_ui->exportColumnWindowSwitch, C::ExportColumnWindowSwitch},
        {m_ui->exportColumnFrontSwitch, C::ExportColumnFrontSwitch},
        {m_ui->exportColumnTotalSwitch, C::ExportColumnTotalSwitch},
        {m_ui->exportContentSelector, C::ExportContentSelector},
        {m_ui->exportColumnSeparatorSelector, C::ExportColumnSeparatorSelector},
        {m_ui->exportRowSeparatorSelector, C::ExportRowSeparatorSelector},
        {m_ui->autoExportSwitch, C::AutoExportSwitch},
        {m_ui->autoExportTimeSelector, C::AutoExportTimeSelector},
        {m_ui->autoExportRangeSelector, C::AutoExportRangeSelector},
        {m_ui->autoExportFolderSelector, C::AutoExportFolderSelector},
    };
    VXPreferenceHandlers &handlers = m_controller.preferences();
    for (const auto &[widget, control] : controls) {
        m_controls.insert(widget, control);
        if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            connect(button, &QAbstractButton::clicked, this, [this, &handlers, control](bool on) {
                handlers.toggleBooleanPreference(control, on);
                refresh();
            });
        } else if (auto *selector = qobject_cast<QComboBox *>(widget)) {
            connect(selector, &QComboBox::activated, this, [this, &handlers, control, selector](int index) {
                handlers.changeSelectorPreference(control, tagOfItem(selector, index));
                refresh();
            });
        } else if (auto *slider = qobject_cast<QSlider *>(widget)) {
            const double step = control == C::UpdateIntervalSlider ? kUpdateIntervalStep : kOpacityStep;
            connect(slider, &QSlider::valueChanged, this, [this, &handlers, control, step](int value) {
                if (m_refreshing)
                    return;
                handlers.changeSliderPreference(control, value * step);
                refresh();
            });
        }
    }
    // A row's label names its control for a screen reader too.
    for (QLabel *label : findChildren<QLabel *>()) {
        if (QWidget *buddy = label->buddy(); buddy && buddy->accessibleName().isEmpty())
            buddy->setAccessibleName(label->text().remove(u'&').remove(u':'));
    }
    m_ui->updateIntervalField->setAccessibleName(m_ui->updateIntervalSlider->accessibleName());
    for (QPlainTextEdit *editor : {m_ui->applicationBlacklistText, m_ui->windowBlacklistText}) {
        editor->installEventFilter(this);
        editor->setContentsMargins(1, 2, 1, 2);
    }
}

int VXPreferencesWindow::tagOfItem(const QComboBox *selector, int index)
{
    const QVariant data = selector->itemData(index);
    if (data.isValid())
        return data.toInt();
    const QStringList tags = selector->property("tags").toStringList();
    return index >= 0 && index < tags.size() ? tags.at(index).toInt() : index;
}

int VXPreferencesWindow::indexOfTag(const QComboBox *selector, int tag)
{
    for (int index = 0; index < selector->count(); ++index)
        if (tagOfItem(selector, index) == tag)
            return index;
    return -1;
}

// A value written from outside (`wendle defaults write`) that no item offers is shown as an item of
// its own, so that the selector never looks unset; it goes when a listed value is chosen.
void VXPreferencesWindow::showTag(QComboBox *selector, VXPreferenceControl control, int tag)
{
    const QSignalBlocker blocker(selector);
    for (int index = selector->count() - 1; index >= 0; --index) {
        if (selector->itemData(index).isValid() && selector->itemData(index).toInt() != tag)
            selector->removeItem(index);
    }
    int index = indexOfTag(selector, tag);
    if (index < 0 && control == C::HibernationIntervalSelector) {
        // In its place among the listed intervals.
        index = 0;
        while (index < selector->count() && tagOfItem(selector, index) < tag)
            ++index;
        selector->insertItem(index, hibernationIntervalText(tag), tag);
    }
    selector->setCurrentIndex(index);
}

QString VXPreferencesWindow::hibernationIntervalText(int seconds)
{
    if (seconds <= 0)
        return tr("Never");
    if (seconds % 3600 == 0)
        return seconds == 3600 ? tr("1 hour") : tr("%1 hours").arg(seconds / 3600);
    if (seconds % 60 == 0)
        return seconds == 60 ? tr("1 minute") : tr("%1 minutes").arg(seconds / 60);
    return seconds == 1 ? tr("1 second") : tr("%1 seconds").arg(seconds);
}

void VXPreferencesWindow::refresh()
{
    m_refreshing = true;
    const bool tray = m_controller.runsAsStatusItem();
    setWindowTitle(tr(tray ? VXTrayPreferencesWindowTitle : VXPreferencesWindowTitle));
    const VXPreferenceHandlers &handlers = m_controller.preferences();
    for (auto it = m_controls.cbegin(); it != m_controls.cend(); ++it) {
        QWidget *widget = it.key();
        const VXPreferenceControlState state = handlers.stateOfControl(it.value());
        widget->setEnabled(state.enabled);
        setRowVisible(widget, state.visible);
        if (auto *button = qobject_cast<QAbstractButton *>(widget)) {
            button->setChecked(state.value != 0.0);
        } else if (auto *selector = qobject_cast<QComboBox *>(widget)) {
            if (it.value() == C::AutoExportFolderSelector)
                rebuildFolderSelector();
            else
                showTag(selector, it.value(), int(state.value));
        } else if (auto *slider = qobject_cast<QSlider *>(widget)) {
            const double step = it.value() == C::UpdateIntervalSlider ? kUpdateIntervalStep : kOpacityStep;
            slider->setValue(qRound(state.value / step));
        }
    }
    m_ui->updateIntervalField->setText(VXPreferenceHandlers::updateIntervalText(m_controller.updateInterval()));
    // Tray mode is offered only where the desktop shows tray icons: say why it is not.
    m_ui->statusItemSwitch->setToolTip(!tray && !m_controller.isSystemTrayAvailable()
                                           ? QCoreApplication::translate("VXWelcomeWindow", VXNoTrayToolTip)
                                           : QString());
    m_refreshing = false;
    updatePreferencesWindowFrame();
}

void VXPreferencesWindow::setRowVisible(QWidget *field, bool visible)
{
    // A field in a form row (or in a row's own layout) hides with its label.
    for (QFormLayout *form : findChildren<QFormLayout *>()) {
        int row = -1;
        QFormLayout::ItemRole role;
        form->getWidgetPosition(field, &row, &role);
        if (row < 0) {
            for (int index = 0; index < form->rowCount() && row < 0; ++index) {
                QLayoutItem *item = form->itemAt(index, QFormLayout::FieldRole);
                if (item && item->layout() && item->layout()->indexOf(field) >= 0)
                    row = index;
            }
        }
        if (row >= 0) {
            if (form->isRowVisible(row) != visible)
                form->setRowVisible(row, visible);
            return;
        }
    }
    field->setVisible(visible);
}

void VXPreferencesWindow::rebuildFolderSelector()
{
    QComboBox *selector = m_ui->autoExportFolderSelector;
    const QSignalBlocker blocker(selector);
    selector->clear();
    const QString folder = m_controller.exporter().autoExportFolderPath();
    const QFileInfo info(folder);
    const QString name = info.fileName().isEmpty() ? readablePath(folder) : info.fileName();
    selector->addItem(QFileIconProvider().icon(info), QStringLiteral("%1 \u2014 %2").arg(name, readablePath(folder)),
                      VXAutoExportFolderItemTag);
    selector->setItemData(0, folder, Qt::ToolTipRole);
    selector->insertSeparator(1);
    selector->addItem(QCoreApplication::translate("VXPreferenceHandlers", VXOtherFolderTitle), VXOtherFolderItemTag);
    selector->setCurrentIndex(0);
}

void VXPreferencesWindow::showBlacklistText(const QString &blacklistName, const QString &text)
{
    if (QPlainTextEdit *editor = blacklistEditor(blacklistName); editor && editor->toPlainText() != text)
        editor->setPlainText(text);
}

QPlainTextEdit *VXPreferencesWindow::blacklistEditor(const QString &blacklistName) const
{
    if (blacklistName == VXApplicationBlacklistKey)
        return m_ui->applicationBlacklistText;
    if (blacklistName == VXWindowBlacklistKey)
        return m_ui->windowBlacklistText;
    return nullptr;
}

void VXPreferencesWindow::applyBlacklist(QPlainTextEdit *editor)
{
    if (!editor->document()->isModified())
        return;
    editor->document()->setModified(false);
    m_controller.blacklistTextDidChange(editor == m_ui->applicationBlacklistText ? VXApplicationBlacklistKey
                                                                                 : VXWindowBlacklistKey,
                                        editor->toPlainText());
    m_controller.updateBlacklists();
}

// An edited blacklist applies when the editor is left (or the window closes), not at every
// key: its entries are sorted then, which must not move the line being typed.
bool VXPreferencesWindow::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::FocusOut)
        if (auto *editor = qobject_cast<QPlainTextEdit *>(watched))
            applyBlacklist(editor);
    return QWidget::eventFilter(watched, event);
}

void VXPreferencesWindow::hideEvent(QHideEvent *event)
{
    applyBlacklist(m_ui->applicationBlacklistText);
    applyBlacklist(m_ui->windowBlacklistText);
    QWidget::hideEvent(event);
}

void VXPreferencesWindow::changePreferencesSection(const QString &name)
{
    if (QWidget *page = m_ui->preferencesTabView->findChild<QWidget *>(name))
        m_ui->preferencesTabView->setCurrentWidget(page);
    updatePreferencesWindowFrame();
}

QString VXPreferencesWindow::currentSection() const
{
    return m_ui->preferencesTabView->currentWidget()->objectName();
}

// The window fits the section shown: the other sections do not count towards its size, and
// rows shown or hidden a moment ago count now. (A tab widget asks every page for its size.)
void VXPreferencesWindow::updatePreferencesWindowFrame()
{
    QTabWidget *tabs = m_ui->preferencesTabView;
    for (int index = 0; index < tabs->count(); ++index) {
        const bool current = index == tabs->currentIndex();
        tabs->widget(index)->setSizePolicy(current ? QSizePolicy::Preferred : QSizePolicy::Ignored,
                                           current ? QSizePolicy::Preferred : QSizePolicy::Ignored);
    }
    QWidget *page = tabs->currentWidget();
    if (!page || !page->layout())
        return;
    page->layout()->activate();
    if (!testAttribute(Qt::WA_WState_Polished) || !isVisible())
        adjustSize();
    layout()->activate();
    // What surrounds the page (the margins, the tabs) stays; the page takes what it asks for.
    const int chrome = height() - page->height();
    const int pageHeight = qMax(page->sizeHint().height(), page->minimumSizeHint().height());
    resize(qMax(width(), minimumSizeHint().width()), chrome + pageHeight);
}

QString VXPreferencesWindow::frameText() const
{
    return VXWindowFrameText(geometry());
}

bool VXPreferencesWindow::setFrameText(const QString &frame)
{
    const std::optional<QRect> rect = VXWindowFrameFromText(frame);
    if (!rect)
        return false;
    setGeometry(rect->x(), rect->y(), qMax(rect->width(), minimumSizeHint().width()), rect->height());
    return true;
}

QWidget *VXPreferencesWindow::control(VXPreferenceControl control) const
{
    for (auto it = m_controls.cbegin(); it != m_controls.cend(); ++it)
        if (it.value() == control)
            return it.key();
    return nullptr;
}
