#include "VXWelcomeWindow.h"

#include "ui_Welcome.h"

#include "VXApplicationIcon.h"
#include "VXMainController.h"

VXWelcomeWindow::VXWelcomeWindow(VXMainController &controller, QWidget *parent) :
    QDialog(parent), m_ui(std::make_unique<Ui::Welcome>())
{
    m_ui->setupUi(this);
    setWindowIcon(applicationIcon());
    m_ui->welcomeIcon->setPixmap(applicationIcon().pixmap(64, 64));
    m_ui->welcomeIcon->setAccessibleName(tr("Wendle"));
    QFont title = m_ui->welcomeTitle->font();
    title.setPointSizeF(title.pointSizeF() * 1.4);
    title.setBold(true);
    m_ui->welcomeTitle->setFont(title);
    if (!controller.isSystemTrayAvailable()) {
        m_ui->welcomeMenuBarButton->setEnabled(false);
        m_ui->welcomeMenuBarButton->setToolTip(tr(VXNoTrayToolTip));
        m_ui->welcomeMenuBarText->setText(m_ui->welcomeMenuBarText->text() + u' ' + tr(VXNoTrayToolTip));
    }
    connect(m_ui->welcomeDockButton, &QPushButton::clicked, this, [&controller] { controller.welcomeDock(); });
    connect(m_ui->welcomeMenuBarButton, &QPushButton::clicked, this, [&controller] { controller.welcomeMenuBar(); });
    m_ui->welcomeDockButton->setFocus();
}

VXWelcomeWindow::~VXWelcomeWindow() = default;

QPushButton *VXWelcomeWindow::dockButton() const
{
    return m_ui->welcomeDockButton;
}

QPushButton *VXWelcomeWindow::menuBarButton() const
{
    return m_ui->welcomeMenuBarButton;
}
