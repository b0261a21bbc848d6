#pragma once

// The organizer as a window of its own (windowed mode, and tray mode until the tray has its
// panel): the menu bar, and a place for the list container, which shows the applications and
// the pools. The window is a view: closing it by its close button tells the controller, which
// remembers that the organizer was closed.

#include <QMainWindow>
#include <QPointer>

#include <functional>

class VXMainController;

// The window's texts (translation context "VXOrganizerWindow").
inline constexpr char VXOrganizerWindowTitle[] = QT_TRANSLATE_NOOP("VXOrganizerWindow", "Wendle");
inline constexpr char VXOrganizerListsName[] = QT_TRANSLATE_NOOP("VXOrganizerWindow", "Organizer lists");

class VXOrganizerWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit VXOrganizerWindow(VXMainController &controller, QWidget *parent = nullptr);

    // The widget that holds the lists; the window takes it (an empty one until then).
    void setListContainer(QWidget *container);
    QWidget *listContainer() const { return m_listContainer; }

    // Told the window's frame whenever a person moves or resizes the shown window.
    void setFrameChangedHandler(std::function<void(const QRect &)> handler) { m_frameChanged = std::move(handler); }

protected:
    void closeEvent(QCloseEvent *event) override;
    void moveEvent(QMoveEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void frameChanged();

    VXMainController &m_controller;
    QPointer<QWidget> m_listContainer;
    std::function<void(const QRect &)> m_frameChanged;
};
