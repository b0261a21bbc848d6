// The record ends at its last tick: `wendle summary` and `wendle export` count a period still
// open in the saved record up to that tick and no further, and a range beyond the record holds
// nothing (an empty result, not an error). Checked against the same record with the period
// closed at the last tick, which every reading must agree with.

#include "VXConfigurationKeys.h"
#include "VXExportCommand.h"
#include "VXPropertyListSerialization.h"
#include "VXSettingsTestSupport.h"
#include "VXVirtualScheduler.h"

#include <QTemporaryDir>
#include <QTextStream>

#include <gtest/gtest.h>

namespace {

constexpr double kNine = 1'763'625'600.0;   // 2025-11-20 08:00 UTC
constexpr double kLast = kNine + 3600.0;

// Mail, open and in front since nine; at the last tick still open (`closed` false) or closed.
VXDictionaryRef record(bool closed)
{
    VXDictionaryRef mail = VXMakeDictionary();
    mail->insert(VXNameKey, QStringLiteral("Mail"));
    mail->insert(VXPathKey, QStringLiteral("/mail"));
    for (const QString &key : {VXActiveLogKey, VXFrontActiveLogKey}) {
        VXArrayRef log = VXMakeArray();
        log->append(kNine);
        if (closed)
            log->append(-kLast);
        mail->insert(key, log);
    }
    if (!closed) {
        mail->insert(VXActiveKey, true);
        mail->insert(VXFrontActiveKey, true);
    }
    VXDictionaryRef applications = VXMakeDictionary();
    applications->insert(QStringLiteral("org.example.Mail"), mail);
    VXDictionaryRef configuration = VXMakeDictionary();
    configuration->insert(VXFirstTimestampKey, kNine);
    configuration->insert(VXFirstPoolTimestampKey, kNine);
    configuration->insert(VXLastTimestampKey, kLast);
    configuration->insert(VXApplicationsKey, applications);
    return configuration;
}

QString fromUnixTime(double timestamp)
{
    return QDateTime::fromSecsSinceEpoch(qint64(timestamp), QTimeZone::utc())
        .toString(QStringLiteral("yyyy-MM-dd HH:mm"));
}

}   // namespace

TEST(VXRecordRange, PeriodsEndWhereTheRecordEnds)
{
    VXEnsureCoreApplication();
    QTemporaryDir folder;
    ASSERT_TRUE(folder.isValid());
    VXVirtualScheduler clock(kLast + 86400.0, QTimeZone::utc());
    struct Range {
        const char *what;
        double begin;
        double end;
        bool empty;
    } ranges[] = {
        {"across the end", kNine - 3600.0, kLast + 3 * 3600.0, false},
        {"ending at the last tick", kNine, kLast, false},
        {"wholly after the record", kLast + 3600.0, kLast + 7200.0, true},
    };
    for (const Range &range : ranges) {
        SCOPED_TRACE(range.what);
        const QString open = VXExportCommand::summaryTable(*record(false), range.begin, range.end, 1);
        EXPECT_EQ(open, VXExportCommand::summaryTable(*record(true), range.begin, range.end, 1));
        EXPECT_EQ(open.isEmpty(), range.empty) << open.toStdString();

        // The command itself, on the saved file, for both readings.
        QStringList outputs;
        for (bool closed : {false, true}) {
            const QString path = folder.filePath(QStringLiteral("Default.plist"));
            ASSERT_TRUE(writeToBinaryFile(VXValue(record(closed)), path, true));
            VXExportCommand::Environment environment;
            environment.clock = &clock;
            environment.settingsFolder = folder.filePath(QStringLiteral("config"));
            environment.socketPath = folder.filePath(QStringLiteral("no-wendle-runs.socket"));
            environment.configurationPath = path;
            QString out;
            QString err;
            QTextStream outStream(&out);
            QTextStream errStream(&err);
            const QStringList arguments {QStringLiteral("--from"), fromUnixTime(range.begin), QStringLiteral("--to"),
                                         fromUnixTime(range.end)};
            ASSERT_EQ(VXExportCommand::runExport(arguments, outStream, errStream, environment), 0) << err.toStdString();
            outputs.append(out);
        }
        EXPECT_EQ(outputs[0], outputs[1]);
        // A header alone when the range holds nothing, a row per period otherwise.
        EXPECT_EQ(outputs[0].trimmed().count(u'\n') == 0, range.empty) << outputs[0].toStdString();
    }
}
