// libFuzzer target: the requests on the single-instance socket. Any line is read without
// fault; a request to open files, as a second start sends it, reads back with the same files.
//
// Input: the line as the socket holds it, which is also taken as a list of files separated by
// NUL bytes (which no path can hold).

#include "VXFuzzTargets.h"

#include "VXSingleInstance.h"

#include <QByteArrayList>

namespace {

const char kTarget[] = "single-instance request reader";

}   // namespace

int VXFuzzInstanceRequest(const std::uint8_t *data, std::size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    if (VXSingleInstance::requestFromLine(bytes).kind != VXSingleInstance::Request::Kind::Unknown)
        VXFuzzCountAccepted();

    QStringList files;
    for (const QByteArray &path : bytes.split('\0'))
        files.append(QString::fromUtf8(path));
    const QByteArray line = VXSingleInstance::lineForRequest(QStringList {VXSingleInstance::kOpenRequest} + files);
    const VXSingleInstance::Request request = VXSingleInstance::requestFromLine(line);
    if (request.kind != VXSingleInstance::Request::Kind::Open || request.files != files)
        VXFuzzFail(kTarget,
                   QStringLiteral("the files <%1> are sent as <%2> and read back as <%3>")
                       .arg(files.join(QStringLiteral("> <")), QString::fromUtf8(line),
                            request.files.join(QStringLiteral("> <"))));
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzInstanceRequest(data, size);
}
#endif
