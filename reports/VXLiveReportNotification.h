#pragma once

// "com.brasswing.Wendle.Live Report <- Update": posted when the live report must be drawn now
// whatever its window's state (the tray panel that embeds it has just shown). The program's
// live report observes it with updateRegardless().

#include <QObject>
#include <QString>

class VXLiveReportNotification : public QObject
{
    Q_OBJECT
public:
    static const QString kName;   // "com.brasswing.Wendle.Live Report <- Update"

    // The program's one notification object, made on first use, owned by the application.
    static VXLiveReportNotification *defaultCenter();

    void post(QObject *sender = nullptr) { Q_EMIT posted(sender); }

Q_SIGNALS:
    void posted(QObject *sender);

private:
    using QObject::QObject;
};
