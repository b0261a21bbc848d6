#include "VXPropertyListSerialization.h"

#include "VXBinaryPropertyListReader.h"
#include "VXBinaryPropertyListWriter.h"
#include "VXOpenStepPropertyListReader.h"
#include "VXPlistLogging.h"
#include "VXXMLPropertyListReader.h"
#include "VXXMLPropertyListWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace VXPropertyListSerialization {

namespace {

// XML is recognised by its first markup: a declaration, a doctype, a comment or an element.
// Old-style text may also start with "<" (data), but then a hex digit or blank follows.
bool looksLikeXML(const QByteArray &data)
{
    qsizetype i = 0;
    if (data.startsWith("\xEF\xBB\xBF"))
        i = 3;
    while (i < data.size() && (data[i] == ' ' || data[i] == '\t' || data[i] == '\r' || data[i] == '\n'))
        ++i;
    if (i + 1 >= data.size() || data[i] != '<')
        return false;
    const char next = data[i + 1];
    return next == '?' || next == '!' || (next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z');
}

}   // namespace

VXValue valueFromData(const QByteArray &data, Format *format)
{
    Format found = Format::OpenStep;
    VXValue value;
    if (VXBinaryPropertyListReader::hasBinaryMagic(data)) {
        found = Format::Binary;
        value = VXBinaryPropertyListReader::read(data);
    } else if (looksLikeXML(data)) {
        found = Format::XML;
        value = VXXMLPropertyListReader::read(data);
    } else {
        value = VXOpenStepPropertyListReader::read(data);
    }
    if (format && !value.isNull())
        *format = found;
    return value;
}

VXValue valueFromBinaryData(const QByteArray &data)
{
    return VXBinaryPropertyListReader::read(data);
}

VXValue valueFromXMLData(const QByteArray &data)
{
    return VXXMLPropertyListReader::read(data);
}

VXValue valueFromOpenStepData(const QByteArray &data)
{
    return VXOpenStepPropertyListReader::read(data);
}

std::optional<QByteArray> dataFromValue(const VXValue &value, Format format)
{
    switch (format) {
    case Format::Binary: return VXBinaryPropertyListWriter::write(value);
    case Format::XML: return VXXMLPropertyListWriter::write(value);
    case Format::OpenStep: break;
    }
    qCWarning(lcPlist, "cannot write the old-style text form of property lists");
    return std::nullopt;
}

}   // namespace VXPropertyListSerialization

std::optional<QByteArray> propertyListData(const VXValue &value)
{
    return VXPropertyListSerialization::dataFromValue(value, VXPropertyListSerialization::Format::Binary);
}

namespace {

bool writeAll(int fd, const QByteArray &data)
{
    const char *at = data.constData();
    qsizetype left = data.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, at, static_cast<size_t>(left));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        at += written;
        left -= written;
    }
    return true;
}

// "cannot write <path>: reason", logged or handed to the caller.
bool failed(const QString &path, int errorNumber, QString *error)
{
    const QString text
        = QStringLiteral("cannot write <%1>: %2").arg(path, QString::fromLocal8Bit(std::strerror(errorNumber)));
    if (error)
        *error = text;
    else
        qCWarning(lcPlist).noquote() << text;
    return false;
}

}   // namespace

bool writeDataToFile(const QByteArray &data, const QString &path, bool atomically, QString *error)
{
    const QByteArray target = QFile::encodeName(path);
    if (!atomically) {
        const int fd = ::open(target.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (fd < 0)
            return failed(path, errno, error);
        // An existing file keeps its mode through O_TRUNC: window titles are private.
        const bool ok = ::fchmod(fd, 0600) == 0 && writeAll(fd, data);
        const int errorNumber = errno;
        ::close(fd);
        return ok || failed(path, errorNumber, error);
    }

    // Atomic: write a temporary file beside the target, flush it to the disk, rename it over
    // the target, then flush the folder so that the rename itself survives a power cut.
    QByteArray temporary = target + ".XXXXXX";
    const int fd = ::mkostemp(temporary.data(), O_CLOEXEC);
    if (fd < 0)
        return failed(path, errno, error);
    bool ok = ::fchmod(fd, 0600) == 0 && writeAll(fd, data) && ::fsync(fd) == 0;
    int errorNumber = errno;
    if (::close(fd) != 0 && ok) {
        ok = false;
        errorNumber = errno;
    }
    if (ok && ::rename(temporary.constData(), target.constData()) != 0) {
        ok = false;
        errorNumber = errno;
    }
    if (!ok) {
        ::unlink(temporary.constData());
        return failed(path, errorNumber, error);
    }
    const QByteArray folder = QFile::encodeName(QFileInfo(path).absolutePath());
    const int folderFd = ::open(folder.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folderFd >= 0) {
        ::fsync(folderFd);
        ::close(folderFd);
    }
    return true;
}

bool writeToBinaryFile(const VXValue &value, const QString &path, bool atomically, QString *error)
{
    const std::optional<QByteArray> data = propertyListData(value);
    if (!data) {
        if (error)
            *error = QStringLiteral("cannot encode the property list for <%1>").arg(path);
        return false;
    }
    return writeDataToFile(*data, path, atomically, error);
}

VXDictionaryRef deeplyMutableDictionaryWithData(const QByteArray &data)
{
    if (data.isEmpty())
        return VXDictionaryRef();
    VXValue value = VXPropertyListSerialization::valueFromData(data);
    if (!value.isDictionary()) {
        if (!value.isNull())
            qCWarning(lcPlist, "cannot use a property list whose root is a %s as a dictionary",
                      VXValue::typeName(value.type()));
        return VXDictionaryRef();
    }
    return value.dictionaryRef();
}
