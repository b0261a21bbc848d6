#include "VXRecordReading.h"

#include "VXPropertyListSerialization.h"

#include <QFile>
#include <QLocale>

#ifdef __GLIBC__
#include <malloc.h>
#endif

#include <vector>

qint64 VXMemoryNeededForRecord(qint64 fileSize)
{
    return fileSize * 2;
}

qint64 VXAvailableMemory()
{
    QFile meminfo(QStringLiteral("/proc/meminfo"));
    if (!meminfo.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : meminfo.readAll().split('\n')) {
        if (line.startsWith("MemAvailable:"))
            return line.mid(13).trimmed().split(' ').value(0).toLongLong() * 1024;
    }
    return -1;
}

VXRecordReading VXReadRecordFile(const QString &path)
{
    VXRecordReading reading;
    QFile file(path);
    reading.exists = file.exists();
    if (!reading.exists)
        return reading;
    if (!file.open(QIODevice::ReadOnly)) {
        reading.problem = QStringLiteral("cannot read <%1>: %2").arg(path, file.errorString());
        return reading;
    }
    const qint64 size = file.size();
    const qint64 available = VXAvailableMemory();
    if (available >= 0 && VXMemoryNeededForRecord(size) > available) {
        const QLocale locale = QLocale::system();
        reading.tooLarge = true;
        reading.problem = QStringLiteral("the record <%1> is %2, too large to load in the %3 of memory available")
                              .arg(path, locale.formattedDataSize(size), locale.formattedDataSize(available));
        return reading;
    }
    if (size == 0)
        return reading;
    // Mapped, the file's pages are the system's cache, not a copy of this process's own.
    if (uchar *mapped = file.map(0, size)) {
        reading.configuration
            = deeplyMutableDictionaryWithData(QByteArray::fromRawData(reinterpret_cast<const char *>(mapped), size));
        file.unmap(mapped);
    } else {
        reading.configuration = deeplyMutableDictionaryWithData(file.readAll());
    }
    if (!reading.configuration)
        reading.problem = QStringLiteral("<%1> is damaged or not a record").arg(path);
#ifdef __GLIBC__
    // The decoder's tables are freed by now: give their pages back rather than keep them for
    // the life of the program.
    malloc_trim(0);
#endif
    return reading;
}

void VXKeepUntilExit(const VXValue &value)
{
    static auto *const kept = new std::vector<VXValue>();
    kept->push_back(value);
}
