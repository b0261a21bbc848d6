#pragma once

// The preferences window (layout "Preferences"): sections General, Blacklist, Report and Export.
// It is a view of the settings: each control sends its change to the controller's three
// handlers (VXPreferenceHandlers) and then every control shows what the handlers answer, so a
// dependency (a column that turns another on, a row that hides) is decided in one place and the
// window never keeps a setting of its own. Settings changed from outside show at once too.

#include <QHash>
#include <QPointer>
#include <QWidget>

#include <memory>

class QAbstractButton;
class QComboBox;
class QPlainTextEdit;
class QSlider;
class VXMainController;
class VXUserDefaults;
enum class VXPreferenceControl;

namespace Ui {
class Preferences;
}

// The window's titles in the two modes (translation context "VXPreferencesWindow").
inline constexpr char VXPreferencesWindowTitle[] = QT_TRANSLATE_NOOP("VXPreferencesWindow", "Preferences");
inline constexpr char VXTrayPreferencesWindowTitle[] = QT_TRANSLATE_NOOP("VXPreferencesWindow", "Wendle Preferences");

class VXPreferencesWindow : public QWidget
{
    Q_OBJECT
public:
    VXPreferencesWindow(VXMainController &controller, VXUserDefaults &defaults, QWidget *parent = nullptr);
    ~VXPreferencesWindow() override;

    // Every control shows its setting again, with the title of the mode.
    void refresh();
    // A blacklist's entries, one a line (the controller sorts and sends them).
    void showBlacklistText(const QString &blacklistName, const QString &text);
    // Selects a section by its name ("General", "Blacklist", "Report", "Export") and fits the
    // window to it.
    void changePreferencesSection(const QString &name);
    QString currentSection() const;

    // The frame as text ("x y width height"), and placed at one (false when it does not parse).
    QString frameText() const;
    bool setFrameText(const QString &frame);

    // The control of a setting, by its name in the layout (for tests and for accessibility).
    QWidget *control(VXPreferenceControl control) const;
    QPlainTextEdit *blacklistEditor(const QString &blacklistName) const;

protected:
    void hideEvent(QHideEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void bindControls();
    void rebuildFolderSelector();
    void updatePreferencesWindowFrame();
    void setRowVisible(QWidget *field, bool visible);
    void applyBlacklist(QPlainTextEdit *editor);
    static int tagOfItem(const QComboBox *selector, int index);
    static int indexOfTag(const QComboBox *selector, int tag);
    static void showTag(QComboBox *selector, VXPreferenceControl control, int tag);
    static QString hibernationIntervalText(int seconds);

    VXMainController &m_controller;
    VXUserDefaults &m_defaults;
    std::unique_ptr<Ui::Preferences> m_ui;
    QHash<QWidget *, VXPreferenceControl> m_controls;
    bool m_refreshing = false;
};
