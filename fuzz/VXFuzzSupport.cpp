#include "VXFuzzTargets.h"

#include <QtGlobal>

#include <cstdio>
#include <cstdlib>

namespace {

std::size_t acceptedInputs = 0;

}   // namespace

void VXFuzzFail(const char *target, const QString &what)
{
    std::fprintf(stderr, "%s: %s\n", target, qUtf8Printable(what));
    std::abort();
}

void VXFuzzCountAccepted()
{
    ++acceptedInputs;
}

std::size_t VXFuzzAcceptedInputs()
{
    return acceptedInputs;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
// Readers log every refusal; at thousands of inputs a second that is only noise.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}
#endif
