#pragma once

// The program's library folder, $XDG_DATA_HOME/Wendle (~/.local/share/Wendle when the variable
// is unset or not absolute), and the folders inside it: "Configurations" for the tree's file,
// "Reports" for the daily exports. Folders are made on demand, readable by their owner only
// (window titles are private).

#include <QString>

inline const QString VXLibraryFolderName = QStringLiteral("Wendle");
inline const QString VXConfigurationsFolderName = QStringLiteral("Configurations");
inline const QString VXReportsFolderName = QStringLiteral("Reports");
inline const QString VXDefaultConfigurationFileName = QStringLiteral("Default.plist");

// $XDG_DATA_HOME/Wendle, whether or not it exists.
QString VXLibraryFolderPath();

// The folder of that name inside the library folder, made (with the library folder) when it
// is missing. Null, with a log line, when it cannot be made.
QString libraryFolderPathWithName(const QString &name);

// Where the tree's file is, without making anything: Configurations/Default.plist.
QString VXDefaultConfigurationFilePath();
