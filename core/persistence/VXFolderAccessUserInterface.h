#pragma once

// The dialogs that asking for a folder needs: a modal alert and the "Unlock" folder chooser.
// The shell implements them; tests answer them. Without a user interface nobody answers: an
// alert answers -1 and the panel is cancelled.

#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <optional>

// The button that leaves every confirmation without a change. Translation context "VXDialogs".
inline constexpr char VXCancelButtonTitle[] = QT_TRANSLATE_NOOP("VXDialogs", "Cancel");

// What the unlock panel shows: a folder chooser opened at `directoryPath` (one folder, no files,
// no new folders), with `explanation` below it when not empty.
struct VXUnlockPanelRequest {
    QString title;
    QString prompt;
    QString directoryPath;
    QString explanation;
};

class VXFolderAccessUserInterface
{
public:
    virtual ~VXFolderAccessUserInterface() = default;

    // Brings the program to the front and runs a modal alert with the buttons in this order.
    // Answers the index of the button chosen (0 for the first), or -1 when nobody answered.
    virtual int runAlert(const QString &messageText, const QString &informativeText, const QStringList &buttonTitles)
    {
        Q_UNUSED(messageText);
        Q_UNUSED(informativeText);
        Q_UNUSED(buttonTitles);
        return -1;
    }

    // Runs the unlock panel; answers the chosen folder, or nothing when cancelled.
    virtual std::optional<QString> runUnlockPanel(const VXUnlockPanelRequest &request)
    {
        Q_UNUSED(request);
        return std::nullopt;
    }
};
