#pragma once

// The tray panel: a frameless window that hangs from the tray icon and holds, one at a time, the
// organizer's lists or the live report, chosen by the scope bar, with the program's menu behind
// the action button and a resize strip along its free edge. The views are the windows' own
// containers, moved in (setView) and taken back out (takeView), never copies. It closes on
// Escape and when it stops being the active window, except while a dialog of its own is open.

#include "VXStatusItemPanelGeometry.h"

#include <QElapsedTimer>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QString>
#include <QWidget>

#include <optional>

class QButtonGroup;
class QMenu;
class QPropertyAnimation;
class VXStatusItemPanelResizeView;
class VXUserDefaults;

namespace Ui {
class StatusItem;
}

class VXStatusItemPanel : public QWidget
{
    Q_OBJECT
public:
    // The sections, their key and the autosave name of the frame.
    static inline const QString kOrganizerIdentifier = QStringLiteral("Organizer");
    static inline const QString kActivityReportIdentifier = QStringLiteral("Activity Report");
    static inline const QString kShowsActivityReportKey = QStringLiteral("Status Item Shows Activity Report");
    static inline const QString kFrameAutosaveName = QStringLiteral("StatusItemPanel");

    explicit VXStatusItemPanel(VXUserDefaults &defaults, QWidget *parent = nullptr);
    ~VXStatusItemPanel() override;

    // Puts `view` into the section (taking it from wherever it was); a view already there is
    // handed back unparented. takeView() removes the section's view and answers it, unparented.
    QWidget *setView(QWidget *view, const QString &identifier);
    QWidget *takeView(const QString &identifier);
    QWidget *view(const QString &identifier) const;
    // The container of a section (for tests and for the size of the panel's chrome).
    QWidget *sectionContainer(const QString &identifier) const;

    // The menu behind the action button (owned by the caller).
    void setActionMenu(QMenu *menu);
    QWidget *actionButton() const;
    VXStatusItemPanelResizeView *resizeView() const { return m_resizeView; }

    // Selects the stored section ("Status Item Shows Activity Report"), as if it were chosen.
    void updateSelection();
    // Chooses a section as the scope bar does: stores the choice and shows its view.
    void selectSection(const QString &identifier);
    QString selectedIdentifier() const { return m_selected; }

    // Size when no frame was saved yet.
    void setInitialSize(const QSize &size);

    // Where the tray icon is (when the tray says) and where the click that opens the panel was.
    void setAnchor(const std::optional<QRect> &iconGeometry, const std::optional<QPoint> &clickPosition);
    // Places the panel by the anchor on the screen it is on, with its sizes and resizable edges.
    VXPanelPlacement positionPanel(bool display = true);

    // Shows or hides the panel; answers whether that changed anything (hiding is refused while a
    // dialog is attached).
    bool setPanelVisible(bool visible);
    // Opens a closed panel and closes an open one; false when nothing changed.
    bool togglePanel();
    bool isPanelVisible() const { return isVisible() && !m_vanishing; }
    // Fades out and closes, unless a dialog of the panel is open. Answers whether it closes.
    bool vanishAndCloseIfAppropriate();
    bool hasAttachedDialog() const;
    // The desktop draws windows translucently (the panel fades in and out there, else at once).
    static bool desktopComposites();

Q_SIGNALS:
    // A section was chosen (the report wants a fresh update; the icon shows which one).
    void sectionSelected(const QString &identifier);
    // The panel is about to show (refresh the report) and begins to vanish (unhighlight the icon).
    void panelWillShow();
    void windowWillVanish();

protected:
    void changeEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    bool restoreFrame();
    void saveFrame();
    void finishVanishing();

    VXUserDefaults &m_defaults;
    Ui::StatusItem *m_ui;
    VXStatusItemPanelResizeView *m_resizeView;
    QButtonGroup *m_scopeBar;
    QPropertyAnimation *m_fade = nullptr;
    QPointer<QWidget> m_organizerView;
    QPointer<QWidget> m_reportView;
    QString m_selected;
    std::optional<QRect> m_iconGeometry;
    std::optional<QPoint> m_clickPosition;
    bool m_vanishing = false;
    // When it last closed itself because it lost the focus: the click on the tray icon that took
    // the focus must not open it again at once.
    QElapsedTimer m_closedOnDeactivation;
};
