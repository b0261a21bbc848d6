#pragma once

// Reading and writing property lists in every form Wendle meets: binary ("bplist00"), XML and
// the old-style text form for reading; binary version 1.0 and XML for writing. Failures are not
// exceptions: a reader answers a null value and writes one log line (category "wendle.plist"),
// a writer answers an empty optional.

#include "VXValue.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace VXPropertyListSerialization {

enum class Format { Binary, XML, OpenStep };

// Limits that keep hostile input bounded. Nesting deeper than this is refused by every reader.
inline constexpr int kMaximumDepth = 512;

// Recognises the form by its first bytes (binary magic, then XML, else old-style text) and reads
// it. On success, `format` (when given) tells which form it was.
VXValue valueFromData(const QByteArray &data, Format *format = nullptr);

// Each reader alone.
VXValue valueFromBinaryData(const QByteArray &data);
VXValue valueFromXMLData(const QByteArray &data);
VXValue valueFromOpenStepData(const QByteArray &data);

// Encodes any value except null (and, in XML, except a tree holding a null anywhere).
std::optional<QByteArray> dataFromValue(const VXValue &value, Format format);

}   // namespace VXPropertyListSerialization

// The helpers the rest of the program uses for property-list data.

// The value encoded as a binary property list, or nothing.
std::optional<QByteArray> propertyListData(const VXValue &value);

// Writes the data to the path, atomically when asked (a temporary file beside it, then renamed
// over it, so a crash leaves the previous file intact), with file mode 0600. Answers success.
// A failure is logged, or, when `error` is given, described there for the caller to report.
bool writeDataToFile(const QByteArray &data, const QString &path, bool atomically, QString *error = nullptr);

// Encodes the value as a binary property list and writes it. Answers success, as above.
bool writeToBinaryFile(const VXValue &value, const QString &path, bool atomically, QString *error = nullptr);

// Reads data in any form into a tree whose root must be a dictionary; anything else gives null.
// Every container is mutable; one that a binary file refers to from two places stays one shared
// object, as it was when written.
VXDictionaryRef deeplyMutableDictionaryWithData(const QByteArray &data);
