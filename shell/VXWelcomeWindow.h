#pragma once

// The welcome window (layout "Welcome"), shown once at the first launch, modal: Wendle in
// windows or in the tray. Each choice goes to the controller (welcomeDock / welcomeMenuBar),
// which switches in place and closes the window. Closing it otherwise keeps the windows.
// Without a tray in the session, the tray choice is offered disabled, saying why.

#include <QDialog>

#include <memory>

class VXMainController;

namespace Ui {
class Welcome;
}

inline constexpr char VXNoTrayToolTip[]
    = QT_TRANSLATE_NOOP("VXWelcomeWindow", "This desktop shows no tray icons, so Wendle lives in windows.");

class VXWelcomeWindow : public QDialog
{
    Q_OBJECT
public:
    VXWelcomeWindow(VXMainController &controller, QWidget *parent = nullptr);
    ~VXWelcomeWindow() override;

    QPushButton *dockButton() const;
    QPushButton *menuBarButton() const;

private:
    std::unique_ptr<Ui::Welcome> m_ui;
};
