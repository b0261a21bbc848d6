// libFuzzer target: the requests on the single-instance socket. Any line is read without
// fault; a request to open files, as a second start sends it, reads back with the same files.
//
// Input: the bytes a client sends, read up to the first line break as the server does; the whole
// input is also taken as a list of file names separated by NUL bytes (which no path can hold).

#include "VXFuzzTargets.h"

#include "VXSingleInstance.h"

#include <QByteArrayList>

namespace {

const char kTarget[] = "single-instance request reader";

}   // namespace

int VXFuzzInstanceRequest(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const qsizetype lineEnd = bytes.indexOf('\n');
    if (VXSingleInstance::requestFromLine(QByteArrayView(bytes).first(lineEnd < 0 ? bytes.size() : lineEnd)))
        VXFuzzCountAccepted();

    VXInstanceRequest sent {VXInstanceRequest::Kind::Open, {}};
    for (const QByteArray &path : bytes.split('\0'))
        if (!path.isEmpty())   // a path is never empty
            sent.files.append(QString::fromUtf8(path));
    if (sent.files.isEmpty())
        return 0;
    QByteArray line = VXSingleInstance::lineForRequest(sent);
    if (line.indexOf('\n') != line.size() - 1)
        VXFuzzFail(kTarget, QStringLiteral("the request <%1> is not one line").arg(QString::fromUtf8(line)));
    line.chop(1);
    // A request over the size limit is refused as a whole; below it, every name arrives whole.
    if (line.size() > VXSingleInstance::kMaximumRequest)
        return 0;
    const std::optional<VXInstanceRequest> read = VXSingleInstance::requestFromLine(line);
    if (!read || read->kind != sent.kind || read->files != sent.files)
        VXFuzzFail(kTarget,
                   QStringLiteral("the files <%1> are sent as <%2> and read back as <%3>")
                       .arg(sent.files.join(QStringLiteral("> <")), QString::fromUtf8(line),
                            read ? read->files.join(QStringLiteral("> <")) : QStringLiteral("nothing")));
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzInstanceRequest(data, size);
}
#endif
