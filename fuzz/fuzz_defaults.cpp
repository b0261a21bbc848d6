// libFuzzer target: the value of `wendle defaults write KEY VALUE...`, plain, as old-style
// property-list text, or typed (-int, -date, -array, -dict ...), and the text `read` prints for
// it. A refused value says why. A value written as old-style text prints as text that `write`
// takes back as the same setting (numbers as numbers: "1.0" prints as 1, which reads back as
// the integer 1).
//
// Input: the arguments after KEY, separated by NUL bytes (which no argument can hold).

#include "VXFuzzTargets.h"

#include "VXDefaultsCommand.h"

#include <QByteArrayList>

namespace {

const char kTarget[] = "defaults value reader";

bool sameSetting(const VXValue &a, const VXValue &b)
{
    if (a.isNumber() && b.isNumber())
        return a.toDouble() == b.toDouble();
    if (a.type() != b.type())
        return false;
    if (const VXArray *x = a.array()) {
        const VXArray &y = *b.array();
        if (x->size() != y.size())
            return false;
        for (std::size_t i = 0; i < x->size(); ++i)
            if (!sameSetting(x->at(i), y.at(i)))
                return false;
        return true;
    }
    if (const VXDictionary *x = a.dictionary()) {
        const VXDictionary &y = *b.dictionary();
        if (x->size() != y.size())
            return false;
        for (const VXDictionary::Entry &entry : *x)
            if (!y.contains(entry.key) || !sameSetting(entry.value, y.value(entry.key)))
                return false;
        return true;
    }
    return a == b;
}

}   // namespace

int VXFuzzDefaults(const std::uint8_t *data, std::size_t size)
{
    QStringList arguments;
    for (const QByteArray &argument :
         QByteArray(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size)).split('\0'))
        arguments.append(QString::fromUtf8(argument));

    QString error;
    const VXValue value = VXDefaultsCommand::valueFromArguments(arguments, &error);
    if (value.isNull()) {
        if (error.isEmpty())
            VXFuzzFail(kTarget, QStringLiteral("a value is refused without a reason"));
        return 0;
    }
    VXFuzzCountAccepted();
    const QString printed = VXDefaultsCommand::propertyListText(value);
    if (arguments.size() != 1 || !value.isContainer())
        return 0;
    const VXValue again = VXDefaultsCommand::valueFromArguments({printed}, &error);
    if (again.isNull())
        VXFuzzFail(kTarget, QStringLiteral("the printed value does not read back (%1):\n%2").arg(error, printed));
    if (!sameSetting(value, again))
        VXFuzzFail(kTarget,
                   QStringLiteral("the printed value reads back as another:\n%1\n--- read back:\n%2")
                       .arg(printed, VXDefaultsCommand::propertyListText(again)));
    return 0;
}

#ifndef WENDLE_FUZZ_NO_ENTRY
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    return VXFuzzDefaults(data, size);
}
#endif
