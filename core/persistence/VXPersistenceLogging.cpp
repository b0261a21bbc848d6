#include "VXPersistenceLogging.h"

Q_LOGGING_CATEGORY(lcPersistence, "wendle.persistence")

QString VXFillFormat(const QString &format, const QStringList &arguments)
{
    static const QString placeholders[] = {QStringLiteral("%@"), QStringLiteral("%lu")};
    QString result;
    result.reserve(format.size());
    qsizetype position = 0;
    qsizetype next = 0;
    while (position < format.size()) {
        qsizetype found = -1;
        qsizetype length = 0;
        for (const QString &placeholder : placeholders) {
            const qsizetype at = format.indexOf(placeholder, position);
            if (at >= 0 && (found < 0 || at < found)) {
                found = at;
                length = placeholder.size();
            }
        }
        if (found < 0 || next >= arguments.size())
            break;
        result += QStringView(format).mid(position, found - position);
        result += arguments.at(next++);
        position = found + length;
    }
    result += QStringView(format).mid(position);
    return result;
}
