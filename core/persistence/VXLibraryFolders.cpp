#include "VXLibraryFolders.h"

#include "VXPersistenceLogging.h"
#include "VXPrivateFiles.h"

#include <QDir>

QString VXLibraryFolderPath()
{
    QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    if (dataHome.isEmpty() || !QDir::isAbsolutePath(dataHome))
        dataHome = QDir::homePath() + QStringLiteral("/.local/share");
    return QDir::cleanPath(dataHome + u'/' + VXLibraryFolderName);
}

QString libraryFolderPathWithName(const QString &name)
{
    const QString library = VXLibraryFolderPath();
    const QString path = QDir::cleanPath(library + u'/' + name);
    // The folders above the library are the desktop's own; the library and its folders are ours,
    // made private by whoever needs them first (the single-instance lock makes the library too).
    if (VXMakePrivateFolder(library, true) && VXMakePrivateFolder(path, true))
        return path;
    qCWarning(lcPersistence).noquote() << QStringLiteral("cannot create the library folder <%1>").arg(path);
    return QString();
}

QString VXDefaultConfigurationFilePath()
{
    return VXLibraryFolderPath() + u'/' + VXConfigurationsFolderName + u'/' + VXDefaultConfigurationFileName;
}
