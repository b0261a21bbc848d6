#include "VXChameleonDatePicker.h"

#include <QAbstractButton>
#include <QApplication>
#include <QFontDatabase>
#include <QLineEdit>
#include <QMouseEvent>
#include <QStyle>
#include <QStyleOptionSpinBox>

VXChameleonDatePicker::VXChameleonDatePicker(QWidget *parent) : QDateTimeEdit(parent)
{
    applyLook(QWidget::isEnabled());
}

VXChameleonDatePicker::~VXChameleonDatePicker() = default;

void VXChameleonDatePicker::setEnablingSwitch(QAbstractButton *enablingSwitch)
{
    m_enablingSwitch = enablingSwitch;
    if (!m_enablingSwitch || m_tag != 1)
        return;
    m_enablingSwitch->resize(m_enablingSwitch->sizeHint().width(), m_enablingSwitch->height());
    m_enablingSwitch->move(x() - m_enablingSwitch->width(), m_enablingSwitch->y());
}

void VXChameleonDatePicker::setDateValue(const QDateTime &dateTime)
{
    setDateTime(dateTime);
    sizeToFit();
}

QColor VXChameleonDatePicker::disabledTextColor(const QColor &enabledTextColor, const QColor &windowColor)
{
    if (enabledTextColor.lightnessF() > windowColor.lightnessF())
        return enabledTextColor;
    // Black at 0.6 laid over the text alone (source-atop) keeps 40% of its colour.
    const QColor rgb = enabledTextColor.toRgb();
    return QColor::fromRgbF(rgb.redF() * 0.4f, rgb.greenF() * 0.4f, rgb.blueF() * 0.4f, rgb.alphaF());
}

void VXChameleonDatePicker::applyLook(bool enabled)
{
    m_lookEnabled = enabled;
    // The system font of the control; digits of the usual desktop fonts are already of one
    // width. Flat desktops keep it when disabled; others use it bold and a point smaller.
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    font.setWeight(QFont::Normal);
    if (!enabled && !kDrawsFlatInterface) {
        font.setBold(true);
        if (font.pointSizeF() > 1.0)
            font.setPointSizeF(font.pointSizeF() - 1.0);
    }
    setFont(font);

    // Bezel and background only while enabled; a stepper only while enabled.
    setFrame(enabled);
    setButtonSymbols(enabled ? QAbstractSpinBox::UpDownArrows : QAbstractSpinBox::NoButtons);
    applyDisabledColors();
}

void VXChameleonDatePicker::applyDisabledColors()
{
    // A palette that sets only these roles: the others stay the window's.
    QPalette own;
    if (!m_lookEnabled) {
        // The line edit inside draws the text: give it the plain text colour and no background.
        const QPalette window = parentWidget() ? parentWidget()->palette() : QApplication::palette(this);
        const QColor text = disabledTextColor(window.color(QPalette::Active, QPalette::WindowText),
                                              window.color(QPalette::Active, QPalette::Window));
        own.setColor(QPalette::Disabled, QPalette::Text, text);
        own.setColor(QPalette::Disabled, QPalette::WindowText, text);
        own.setColor(QPalette::Disabled, QPalette::Base, Qt::transparent);
        own.setColor(QPalette::Disabled, QPalette::Button, Qt::transparent);
    }
    m_applyingColors = true;
    setPalette(own);
    m_applyingColors = false;
}

void VXChameleonDatePicker::changeEvent(QEvent *event)
{
    QDateTimeEdit::changeEvent(event);
    if (!m_applyingColors && (event->type() == QEvent::PaletteChange || event->type() == QEvent::ParentChange))
        applyDisabledColors();
}

void VXChameleonDatePicker::setEnabled(bool enabled)
{
    if (enabled == m_lookEnabled && enabled == QWidget::isEnabled())
        return;
    QWidget::setEnabled(enabled);
    applyLook(enabled);
    if (m_enablingSwitch) {
        const int shift = enabled ? kEnablingShift : -kEnablingShift;
        if (m_tag == 1)
            m_enablingSwitch->move(m_enablingSwitch->pos() - QPoint(shift, 0));
        else
            move(pos() + QPoint(shift, 0));
    }
    sizeToFit();
}

QSize VXChameleonDatePicker::fittingSize() const
{
    ensurePolished();
    // As the spin box measures its texts, plus room for the blinking cursor.
    const int width = fontMetrics().horizontalAdvance(lineEdit()->displayText() + u' ') + 2;
    const int height = lineEdit()->sizeHint().height();
    QStyleOptionSpinBox option;
    initStyleOption(&option);
    return style()->sizeFromContents(QStyle::CT_SpinBox, &option, QSize(width, height), this);
}

void VXChameleonDatePicker::sizeToFit()
{
    const QRect before = geometry();
    // Kept on the same middle line, so that the text stays level with its check box's title
    // whichever look the picker has.
    const QSize fitted = fittingSize();
    setGeometry(before.x(), before.y() + (before.height() - fitted.height()) / 2, fitted.width(), fitted.height());
    const QRect after = geometry();
    if (after == before || m_tag != 1)
        return;
    const int growth = after.width() - before.width();
    move(pos() - QPoint(growth, 0));
    if (m_enablingSwitch)
        m_enablingSwitch->move(m_enablingSwitch->pos() - QPoint(growth, 0));
}

bool VXChameleonDatePicker::event(QEvent *event)
{
    if (event->type() != QEvent::MouseButtonPress || QWidget::isEnabled() || !m_enablingSwitch)
        return QDateTimeEdit::event(event);

    auto *press = static_cast<QMouseEvent *>(event);
    m_enablingSwitch->click();
    if (!QWidget::isEnabled())
        return true;
    // Enabled now: the same press goes on to the part under the mouse (the text field places
    // the cursor and selects the section there), as if the picker had been enabled all along.
    setFocus(Qt::MouseFocusReason);
    QWidget *target = childAt(press->position().toPoint());
    if (!target)
        target = this;
    const QPointF local = target->mapFrom(this, press->position());
    QMouseEvent again(press->type(), local, press->scenePosition(), press->globalPosition(), press->button(),
                      press->buttons(), press->modifiers(), press->pointingDevice());
    if (target == this)
        return QDateTimeEdit::event(&again);
    QApplication::sendEvent(target, &again);
    return true;
}
