#pragma once

// Starts an application as a launcher does: from its desktop entry's Exec line (field codes
// dropped, as no files are handed over), in the entry's Path, or, for an application known only
// by its executable, that program without arguments. The program runs detached from Wendle.

#include <QString>
#include <QStringList>

struct VXDesktopEntryCommand {
    QString program;
    QStringList arguments;
    QString workingDirectory;
};

// The command line of the desktop entry at `path`; answers false with the reason when the file
// cannot be read or its Exec line is missing or malformed.
bool VXDesktopEntryCommandLine(const QString &path, VXDesktopEntryCommand &command, QString *whyNot = nullptr);

// Splits an Exec value (after the key-file escapes are undone) into its words, undoing the
// quoting and expanding or dropping the field codes; empty when it is malformed.
QStringList VXSplitExecLine(const QString &exec, const QString &name = QString(),
                            const QString &desktopFilePath = QString());

// Launches the application whose bundle path is `bundlePath`: a .desktop file, or an executable.
bool VXLaunchApplication(const QString &bundlePath, QString *whyNot = nullptr);
