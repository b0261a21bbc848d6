#include "VXSessionBusProbe.h"

#include "VXBusProbe.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

const char kSessionBusVariable[] = "DBUS_SESSION_BUS_ADDRESS";
// A socket file that cannot be connected to: connecting fails at once.
const QByteArray kNowhere = QByteArrayLiteral("unix:path=/dev/null");

QString sessionBusAddress()
{
    if (qEnvironmentVariableIsSet(kSessionBusVariable))
        return qEnvironmentVariable(kSessionBusVariable);
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (QDir::isAbsolutePath(runtime) && QFileInfo::exists(runtime + QStringLiteral("/bus")))
        return QStringLiteral("unix:path=")
            + QString::fromLatin1(QFile::encodeName(runtime + QStringLiteral("/bus")).toPercentEncoding("/*"));
    return QString();
}

}   // namespace

bool VXSessionBusAnswers(int timeoutMs, QString *why)
{
    QString reason;
    if (VXBusProbe::ask(sessionBusAddress(), timeoutMs, &reason) != VXBusProbe::Answer::Silent)
        return true;
    if (why)
        *why = QStringLiteral("the session bus does not answer (%1)").arg(reason);
    return false;
}

void VXForgetSessionBus()
{
    qputenv(kSessionBusVariable, kNowhere);
}
