#pragma once

// Shows that Wendle is running and tracking, and offers Quit: an icon in the system tray when
// the desktop has one, else a small ordinary window. Its tooltip (or label) carries a one-line
// status that the program updates; its icon is Wendle's, in grey while tracking hibernates.

#include <QObject>
#include <QString>

class QAction;
class QLabel;
class QMenu;
class QSystemTrayIcon;
class QWidget;

class VXTrackingIndicator : public QObject
{
    Q_OBJECT
public:
    explicit VXTrackingIndicator(QObject *parent = nullptr);
    ~VXTrackingIndicator() override;

    // Shows the tray icon, or the window when no tray is available.
    void show();
    bool usesTray() const { return m_tray != nullptr; }
    void setStatus(const QString &status);
    QString status() const { return m_status; }
    // Grey icon while hibernating, the colour one otherwise.
    void setHibernating(bool hibernating);
    bool isHibernating() const { return m_hibernating; }
    // The window shown when there is no tray (null before show()).
    QWidget *window() const { return m_window; }

Q_SIGNALS:
    void quitRequested();

private:
    QMenu *m_menu = nullptr;
    QAction *m_statusAction = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    QWidget *m_window = nullptr;
    QLabel *m_label = nullptr;
    QString m_status;
    bool m_hibernating = false;
};
