#include "VXPrivateFiles.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>

namespace {

const QString kDamagedSuffix = QStringLiteral(".damaged-");

}   // namespace

QString VXSetDamagedFileAside(const QString &path)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    QString target = path + kDamagedSuffix + stamp;
    for (int n = 2; QFileInfo::exists(target); ++n)
        target = path + kDamagedSuffix + stamp + u'-' + QString::number(n);
    // QFile::rename never replaces a file that is there, should one appear meanwhile.
    return QFile::rename(path, target) ? target : QString();
}
