#pragma once

// Helpers for the settings-store tests: an application object for timers and file watches,
// waiting on the event loop, and Python's plistlib as an independent reader of the files.

#include "VXTestProcess.h"
#include "VXTestSupport.h"
#include "VXValue.h"
#include "VXValueBuilders.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QThread>

#include <functional>
#include <optional>

// plistlib's reading of an XML property-list file, each value tagged with its type so that
// integers, reals and booleans stay apart.
inline constexpr char kPlistlibToJSON[] = R"PY(
import datetime, json, plistlib, sys
def tag(v):
    if isinstance(v, bool): return {"bool": v}
    if isinstance(v, int): return {"int": v}
    if isinstance(v, float): return {"real": v}
    if isinstance(v, str): return {"string": v}
    if isinstance(v, bytes): return {"data": v.hex()}
    if isinstance(v, datetime.datetime): return {"date": v.replace(tzinfo=datetime.timezone.utc).timestamp()}
    if isinstance(v, list): return {"array": [tag(x) for x in v]}
    if isinstance(v, dict): return {"dict": {k: tag(x) for k, x in v.items()}}
    raise TypeError(type(v))
with open(sys.argv[1], "rb") as f:
    print(json.dumps(tag(plistlib.load(f, fmt=plistlib.FMT_XML))))
)PY";

inline VXValue VXValueFromTaggedJSON(const QJsonObject &object)
{
    const QString tag = object.keys().value(0);
    const QJsonValue value = object.value(tag);
    if (tag == QStringLiteral("bool"))
        return VXValue(value.toBool());
    if (tag == QStringLiteral("int"))
        return VXValue(static_cast<long long>(value.toInteger()));
    if (tag == QStringLiteral("real"))
        return VXValue(value.toDouble());
    if (tag == QStringLiteral("string"))
        return VXValue(value.toString());
    if (tag == QStringLiteral("data"))
        return VXValue(QByteArray::fromHex(value.toString().toLatin1()));
    if (tag == QStringLiteral("date"))
        return VXValue::dateFromUnixTime(value.toDouble());
    if (tag == QStringLiteral("array")) {
        VXArrayRef array = VXMakeArray();
        for (const QJsonValue &element : value.toArray())
            array->append(VXValueFromTaggedJSON(element.toObject()));
        return VXValue(array);
    }
    if (tag == QStringLiteral("dict")) {
        VXDictionaryRef dictionary = VXMakeDictionary();
        const QJsonObject entries = value.toObject();
        for (auto it = entries.begin(); it != entries.end(); ++it)
            dictionary->insert(it.key(), VXValueFromTaggedJSON(it.value().toObject()));
        return VXValue(dictionary);
    }
    return VXValue();
}

// The file as plistlib reads it (XML form required), or nothing when it cannot.
inline std::optional<VXValue> VXReadWithPlistlib(const QString &path, QString *failure = nullptr)
{
    const VXProcessResult result
        = VXRunProcess(VXTestPython(), {QStringLiteral("-c"), QString::fromUtf8(kPlistlibToJSON), path});
    if (!result.started || result.exitCode != 0) {
        if (failure)
            *failure = QString::fromUtf8(result.standardError);
        return std::nullopt;
    }
    return VXValueFromTaggedJSON(QJsonDocument::fromJson(result.standardOutput).object());
}

// Writes the dictionary given as Python literal text to the path with plistlib (XML), by
// renaming a finished file over it (`atomically`) or by rewriting it in place.
inline bool VXWriteWithPlistlib(const QString &path, const QString &pythonDictionary, bool atomically)
{
    const QString script = QStringLiteral("import os, plistlib, sys, datetime\n"
                                          "value = %1\n"
                                          "target = sys.argv[1]\n"
                                          "name = target + '.tmp' if %2 else target\n"
                                          "with open(name, 'wb') as f:\n"
                                          "    plistlib.dump(value, f, fmt=plistlib.FMT_XML)\n"
                                          "if name != target:\n"
                                          "    os.replace(name, target)\n")
                               .arg(pythonDictionary, atomically ? QStringLiteral("True") : QStringLiteral("False"));
    const VXProcessResult result = VXRunProcess(VXTestPython(), {QStringLiteral("-c"), script, path});
    return result.started && result.exitCode == 0;
}
