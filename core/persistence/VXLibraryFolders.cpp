#include "VXLibraryFolders.h"

#include "VXPersistenceLogging.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// Makes the folder readable by its owner only, when it is missing.
bool makePrivateFolder(const QString &path)
{
    if (QFileInfo(path).isDir())
        return true;
    if (!QDir().mkdir(path) && !QFileInfo(path).isDir())
        return false;
    QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return true;
}

}   // namespace

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
    // The folders above the library are the desktop's own; the library and its folders are ours.
    if (QDir().mkpath(QFileInfo(library).absolutePath()) && makePrivateFolder(library) && makePrivateFolder(path))
        return path;
    qCWarning(lcPersistence).noquote() << QStringLiteral("cannot create the library folder <%1>").arg(path);
    return QString();
}

QString VXDefaultConfigurationFilePath()
{
    return VXLibraryFolderPath() + u'/' + VXConfigurationsFolderName + u'/' + VXDefaultConfigurationFileName;
}
