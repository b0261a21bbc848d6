#pragma once

// A date picker that reads as plain text while disabled and as an editable date field with a
// stepper while enabled. It sits beside the check box that enables it (its enabling switch):
//
//     tag 0:   [x] |2026-11-21 09:00|<>        the picker moves 5 points right when enabled
//     tag 1:       [x] |2026-11-21 18:00|<>    anchored at its right edge: the check box moves
//                                              instead, and growth in width goes to the left
//
// A click on the disabled picker clicks its check box and, when that enabled the picker, goes on
// as a click on the enabled picker, so that one click both fixes the date and starts editing.

#include <QDateTimeEdit>
#include <QPointer>

#include <QAbstractButton>

class VXChameleonDatePicker : public QDateTimeEdit
{
    Q_OBJECT
    Q_PROPERTY(int tag READ tag WRITE setTag)
public:
    // How far the picker or its check box moves when the picker is enabled or disabled.
    static constexpr int kEnablingShift = 5;
    // Whether the desktop draws flat controls (then the disabled picker keeps the enabled font).
    static constexpr bool kDrawsFlatInterface = true;

    explicit VXChameleonDatePicker(QWidget *parent = nullptr);
    ~VXChameleonDatePicker() override;

    int tag() const { return m_tag; }
    void setTag(int tag) { m_tag = tag; }

    // The check box that enables the picker (not owned). A right-anchored picker (tag 1) puts
    // it right before its left edge, at its fitted size.
    QAbstractButton *enablingSwitch() const { return m_enablingSwitch; }
    void setEnablingSwitch(QAbstractButton *enablingSwitch);

    // Sets the date, then fits the size to it.
    void setDateValue(const QDateTime &dateTime);
    QDateTime dateValue() const { return dateTime(); }

    // Enables or disables the picker and changes its look, its place (or its check box's) and
    // its size; nothing when the state does not change.
    void setEnabled(bool enabled);

    // Fits the size to the text; a right-anchored picker keeps its right edge and takes its
    // check box along.
    void sizeToFit();
    // The size that fits the whole text now shown, with the frame and stepper of the current
    // look (the spin box's own hint is cached and cuts long texts).
    QSize fittingSize() const;

    // The colour in which the disabled picker's text is drawn, so that it reads as plain text:
    // on a light window the enabled text colour darkened as by black at 0.6 opacity laid over
    // it; on a dark window (light text) the text colour itself, which darkening would sink into
    // the background.
    static QColor disabledTextColor(const QColor &enabledTextColor, const QColor &windowColor);

protected:
    bool event(QEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void applyLook(bool enabled);
    // The picker's own colours: those of the disabled look, from the window's palette, which
    // it otherwise follows (a report's colour scheme sets that).
    void applyDisabledColors();

    int m_tag = 0;
    bool m_lookEnabled = true;
    bool m_applyingColors = false;
    QPointer<QAbstractButton> m_enablingSwitch;
};
