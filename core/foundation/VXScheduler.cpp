#include "VXScheduler.h"

#include "VXLog.h"

#include <exception>

void VXRunDelayedCall(const QString &operation, const std::function<void()> &call)
{
    try {
        call();
    } catch (const std::exception &exception) {
        qCWarning(lcFoundation).noquote() << QStringLiteral("delayed call \"%1\" failed: %2")
                                                 .arg(operation, QString::fromLocal8Bit(exception.what()));
    } catch (...) {
        qCWarning(lcFoundation).noquote() << QStringLiteral("delayed call \"%1\" failed").arg(operation);
    }
}
