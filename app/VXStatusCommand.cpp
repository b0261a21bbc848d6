#include "VXStatusCommand.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXItemSorting.h"
#include "VXLibraryFolders.h"
#include "VXRecordReading.h"
#include "VXSingleInstance.h"
#include "VXStringExtensions.h"
#include "VXTerminalText.h"

#include <QCoreApplication>
#include <QTextStream>

const QString VXStatusCommand::kName = QStringLiteral("status");

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("VXStatusCommand", text);
}

// The items in the order the lists show them: by the user's sort column.
VXArrayRef sortedItems(const VXValue &container)
{
    VXArrayRef items = VXMakeArray();
    if (const VXDictionary *dictionary = container.dictionary()) {
        for (const VXDictionary::Entry &entry : *dictionary)
            if (entry.value.isDictionary())
                items->append(entry.value);
    } else if (const VXArray *array = container.array()) {
        for (const VXValue &item : *array)
            if (item.isDictionary())
                items->append(item);
    }
    VXSortItemArray(*items, VXCurrentSortColumn());
    return items;
}

// An application's windows: the listed ones when the tick made them, else all it has seen.
VXArrayRef windowsOf(const VXDictionary &application)
{
    const VXValue &children = application.value(VXChildrenKey);
    return children.isArray() ? sortedItems(children) : sortedItems(application.value(VXWindowsByNameKey));
}

class Table
{
    Q_DECLARE_TR_FUNCTIONS(VXStatusCommand)

public:
    void row(int depth, const QString &name, const VXDictionary &item)
    {
        QString label = QString(depth * 2, QLatin1Char(' ')) + name;
        if (boolForKey(item, VXFrontActiveKey))
            label += QStringLiteral("  ") + bulletString();
        m_rows.push_back({label, time(item, VXFrontTimeKey), time(item, VXTimeKey)});
    }
    void heading(const QString &text) { m_rows.push_back({text, QString(), QString()}); }

    void print(QTextStream &out) const
    {
        // Names are cut to this many terminal columns.
        constexpr qsizetype kLongestName = 60;
        qsizetype nameWidth = 0;
        qsizetype frontWidth = VXDisplayWidth(tr("Front Time"));
        qsizetype timeWidth = VXDisplayWidth(tr("Time"));
        for (const Row &row : m_rows) {
            nameWidth = std::max(nameWidth, std::min(VXDisplayWidth(row.name), kLongestName));
            frontWidth = std::max(frontWidth, VXDisplayWidth(row.front));
            timeWidth = std::max(timeWidth, VXDisplayWidth(row.time));
        }
        out << QString(nameWidth, QLatin1Char(' ')) << "  " << VXPadToWidth(tr("Front Time"), frontWidth, true) << "  "
            << VXPadToWidth(tr("Time"), timeWidth, true) << '\n';
        for (const Row &row : m_rows) {
            const QString name = VXTerminalCell(row.name, kLongestName);
            if (row.front.isEmpty() && row.time.isEmpty())
                out << name << '\n';
            else
                out << VXPadToWidth(name, nameWidth) << "  " << VXPadToWidth(row.front, frontWidth, true) << "  "
                    << VXPadToWidth(row.time, timeWidth, true) << '\n';
        }
    }

private:
    static QString time(const VXDictionary &item, const QString &key)
    {
        return item.contains(key) ? stringWithTimeInterval(timeIntervalForKey(item, key), false) : QString();
    }

    struct Row {
        QString name;
        QString front;
        QString time;
    };
    std::vector<Row> m_rows;
};

}   // namespace

QString VXStatusCommand::statusText(const VXStatusSnapshot &snapshot)
{
    QString text;
    QTextStream out(&text);
    out << snapshot.source << '\n';
    if (!snapshot.damagedRecordPath.isEmpty())
        out << tr("The saved record could not be read when Wendle started; it is kept as <%1>.")
                   .arg(snapshot.damagedRecordPath)
            << '\n';
    if (snapshot.running)
        out << tr("State: ")
            << (snapshot.hibernating  ? tr("hibernating")
                    : snapshot.paused ? tr("paused")
                                      : tr("tracking"))
            << '\n';
    if (!snapshot.configuration) {
        out << tr("Nothing has been tracked yet.") << '\n';
        return text;
    }
    const VXArrayRef applications
        = snapshot.applications ? snapshot.applications : sortedItems(snapshot.configuration->value(VXApplicationsKey));
    const VXArrayRef pools = snapshot.pools ? snapshot.pools : sortedItems(snapshot.configuration->value(VXPoolsKey));

    QString frontApplication;
    QString frontWindow;
    Table table;
    table.heading(tr("Applications"));
    for (const VXValue &value : *applications) {
        const VXDictionary &application = *value.dictionary();
        const QString name = itemName(application);
        table.row(1, name, application);
        if (snapshot.running && boolForKey(application, VXFrontActiveKey))
            frontApplication = name;
        const VXArrayRef windows = windowsOf(application);   // held: the loop must not outlive it
        for (const VXValue &window : *windows) {
            const QString title = itemName(*window.dictionary());
            table.row(2, title, *window.dictionary());
            if (snapshot.running && boolForKey(*window.dictionary(), VXFrontActiveKey)
                && boolForKey(application, VXFrontActiveKey))
                frontWindow = title;
        }
    }
    if (!pools->isEmpty()) {
        table.heading(tr("Pools"));
        for (const VXValue &value : *pools) {
            table.row(1, itemName(*value.dictionary()), *value.dictionary());
            const VXValue &members = value.dictionary()->value(VXChildrenKey);
            if (const VXArray *list = members.array())
                for (const VXValue &member : *list)
                    if (member.isDictionary())
                        table.row(2, itemName(*member.dictionary()), *member.dictionary());
        }
    }
    if (snapshot.running) {
        out << tr("Front: ")
            << (frontApplication.isEmpty()  ? tr("no tracked application")
                    : frontWindow.isEmpty() ? frontApplication
                                            : frontApplication + spacedDashString() + frontWindow)
            << '\n';
    }
    out << '\n';
    table.print(out);
    return text;
}

int VXStatusCommand::run(const QStringList &arguments, QTextStream &out, QTextStream &err, const QString &socketPath,
                         const QString &configurationPath)
{
    if (!arguments.isEmpty()) {
        const bool help = arguments.first() == QStringLiteral("--help") || arguments.first() == QStringLiteral("-h");
        (help ? out : err) << tr("Usage: wendle status\n"
                                 "Shows what the running Wendle sees now; without one, the saved record.\n");
        return help ? Success : UsageError;
    }
    if (const std::optional<QByteArray> reply
        = VXSingleInstance::send(socketPath, {VXInstanceRequest::Kind::Status, {}})) {
        out << QString::fromUtf8(*reply);
        return Success;
    }
    const QString path = configurationPath.isEmpty()
        ? VXLibraryFolderPath() + QLatin1Char('/') + VXConfigurationsFolderName + QStringLiteral("/Default.plist")
        : configurationPath;
    VXStatusSnapshot snapshot;
    const VXRecordReading reading = VXReadRecordFile(path);
    if (reading.tooLarge) {
        err << tr("Wendle is not running, and its saved record cannot be shown: %1.").arg(reading.problem) << '\n';
        return Failure;
    }
    if (!reading.problem.isEmpty()) {
        err << tr("Wendle is not running, and its saved record <%1> cannot be read.").arg(path) << '\n';
        return Failure;
    }
    snapshot.configuration = reading.configuration;
    // Read once and dropped at exit: the system frees it faster than a walk over it does.
    if (snapshot.configuration)
        VXKeepUntilExit(VXValue(snapshot.configuration));
    snapshot.source = tr("Wendle is not running; this is the record saved in <%1>.").arg(path);
    out << statusText(snapshot);
    return Success;
}
