// libFuzzer target: the CSV snapshot reader. Each input is read whole and in parts side by side,
// which must give the same tree and the same log lines; an accepted file spans more than its
// tolerance.
//
// Input: one byte that picks the separator setting (",", ";" or tab) and the number of parts
// (2 to 5), then the file's text.

#include "VXFuzzTargets.h"

#include "VXConfigurationKeys.h"
#include "VXReportSnapshotParser.h"

#include <QMutex>
#include <QStringList>

namespace {

const char kTarget[] = "CSV snapshot reader";
const QString kPath = QStringLiteral("/home/someone/snapshot.csv");

// The log lines of one reading (the parts may log from their own threads).
QMutex logMutex;
QStringList *logLines = nullptr;

void capture(QtMsgType, const QMessageLogContext &, const QString &message)
{
    const QMutexLocker locker(&logMutex);
    if (logLines)
        logLines->append(message);
}

VXDictionaryRef read(QByteArrayView text, QChar separator, int parts, QStringList *lines)
{
    logLines = lines;
    const QtMessageHandler previous = qInstallMessageHandler(capture);
    VXDictionaryRef root
        = VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(text, kPath, separator, parts);
    qInstallMessageHandler(previous);
    logLines = nullptr;
    return root;
}

}   // namespace

int VXFuzzCSV(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const QChar separator = u",;\t"[data[0] % 3];
    const int parts = 2 + (data[0] / 3) % 4;
    // No copy: reading past the end of the text is then a fault the sanitizer sees.
    const QByteArrayView text(data + 1, static_cast<qsizetype>(size - 1));

    QStringList wholeLog;
    QStringList partsLog;
    const VXDictionaryRef whole = read(text, separator, 1, &wholeLog);
    const VXDictionaryRef inParts = read(text, separator, parts, &partsLog);
    if (bool(whole) != bool(inParts))
        VXFuzzFail(kTarget,
                   QStringLiteral("read whole the file is %1, in %2 parts it is %3")
                       .arg(whole ? QStringLiteral("accepted") : QStringLiteral("refused"))
                       .arg(parts)
                       .arg(inParts ? QStringLiteral("accepted") : QStringLiteral("refused")));
    if (whole && VXValue(whole) != VXValue(inParts))
        VXFuzzFail(kTarget, QStringLiteral("read in %1 parts the tree differs from one reading").arg(parts));
    if (wholeLog != partsLog)
        VXFuzzFail(kTarget,
                   QStringLiteral("read in %1 parts the log differs from one reading:\n%2\n--- in parts:\n%3")
                       .arg(parts)
                       .arg(wholeLog.join(u'\n'), partsLog.join(u'\n')));
    if (!whole)
        return 0;
    VXFuzzCountAccepted();
    if (!(whole->value(VXLastTimestampKey).toDouble() - whole->value(VXFirstTimestampKey).toDouble() > 0.001))
        VXFuzzFail(kTarget, QStringLiteral("an accepted file spans no significant time"));
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzCSV(data, size);
}
#endif
