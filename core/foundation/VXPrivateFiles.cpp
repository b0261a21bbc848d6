#include "VXPrivateFiles.h"

#include "VXLog.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString kDamagedSuffix = QStringLiteral(".damaged-");

}   // namespace

bool VXMakePrivateFolder(const QString &path, bool tightenExisting)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat status {
    };
    const bool existed = ::stat(name.constData(), &status) == 0;
    if (!existed) {
        const QString parent = QFileInfo(path).absolutePath();
        if (parent != path && !QDir().mkpath(parent)) {
            qCWarning(lcFoundation).noquote() << QStringLiteral("cannot create the folder <%1>").arg(parent);
            return false;
        }
        if (::mkdir(name.constData(), 0700) != 0 && errno != EEXIST) {
            qCWarning(lcFoundation).noquote() << QStringLiteral("cannot create the folder <%1>: %2")
                                                     .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
            return false;
        }
        if (::stat(name.constData(), &status) != 0)
            return false;
    }
    if (!S_ISDIR(status.st_mode)) {
        qCWarning(lcFoundation).noquote() << QStringLiteral("<%1> is in the way of a folder").arg(path);
        return false;
    }
    if (existed && tightenExisting && (status.st_mode & 0077) != 0 && status.st_uid == ::geteuid())
        ::chmod(name.constData(), status.st_mode & 0700);
    return true;
}

QString VXSetDamagedFileAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = path + kDamagedSuffix + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path + kDamagedSuffix + stamp + u'-' + QString::number(n);
    // QFile::rename never replaces a file that is there, should one appear meanwhile.
    return QFile::rename(path, target) ? target : QString();
}
