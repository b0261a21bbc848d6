#pragma once

// "About Wendle": the version, what Wendle is, where the record and the settings live, and the
// licence. The paths are selectable so that a person can copy them.

#include <QDialog>

inline constexpr char VXAboutTitle[] = QT_TRANSLATE_NOOP("VXAboutDialog", "About Wendle");
inline constexpr char VXAboutDescription[] = QT_TRANSLATE_NOOP(
    "VXAboutDialog", "Wendle keeps track of the time you spend in each application and window, on its own.");
inline constexpr char VXAboutVersionFormat[] = QT_TRANSLATE_NOOP("VXAboutDialog", "Version %1");
inline constexpr char VXAboutRecordFormat[] = QT_TRANSLATE_NOOP("VXAboutDialog", "Your record: %1");
inline constexpr char VXAboutSettingsFormat[] = QT_TRANSLATE_NOOP("VXAboutDialog", "Your settings: %1");
inline constexpr char VXAboutLicence[] = QT_TRANSLATE_NOOP(
    "VXAboutDialog",
    "Free software under the GNU General Public License, version 3 or later. It comes with no warranty.");

class VXAboutDialog : public QDialog
{
    Q_OBJECT
public:
    VXAboutDialog(const QString &recordPath, const QString &settingsPath, QWidget *parent = nullptr);
};
