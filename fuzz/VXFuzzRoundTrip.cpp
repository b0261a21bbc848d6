#include "VXFuzzRoundTrip.h"

#include "VXPropertyListSerialization.h"

#include <QString>

#include <cmath>
#include <optional>
#include <unordered_set>

namespace {

using VXPropertyListSerialization::Format;

[[noreturn]] void fail(const char *what)
{
    VXFuzzFail("property-list round trip failed", QString::fromUtf8(what));
}

// What XML does to a string: a bare "\r" and "\r\n" read back as "\n", and what XML cannot
// carry (controls but tab and line breaks, U+FFFE, U+FFFF, lone surrogates) reads back as U+FFFD.
QString throughXML(const QString &text)
{
    QString normal = text;
    normal.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    normal.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    for (qsizetype i = 0; i < normal.size(); ++i) {
        const char16_t c = normal.at(i).unicode();
        if ((c < 0x20 && c != u'\t' && c != u'\n') || c >= 0xFFFE)
            normal[i] = QChar::ReplacementCharacter;
    }
    return QString::fromUtf8(normal.toUtf8());
}

bool equalThroughXML(const VXValue &a, const VXValue &b, int depth)
{
    if (a.type() != b.type() || depth > 2 * VXPropertyListSerialization::kMaximumDepth)
        return false;
    switch (a.type()) {
    case VXValue::Type::Date: {
        const double x = a.dateSince2001();
        const double y = b.dateSince2001();
        if (!std::isfinite(x) || !std::isfinite(y))
            return std::isfinite(x) == std::isfinite(y);
        return std::fabs(x - y) < 1.0;
    }
    case VXValue::Type::String: return throughXML(a.stringRef()) == throughXML(b.stringRef());
    case VXValue::Type::Array: {
        const VXArray &x = *a.array();
        const VXArray &y = *b.array();
        if (x.size() != y.size())
            return false;
        for (std::size_t i = 0; i < x.size(); ++i)
            if (!equalThroughXML(x.at(i), y.at(i), depth + 1))
                return false;
        return true;
    }
    case VXValue::Type::Dictionary: {
        const VXDictionary &x = *a.dictionary();
        const VXDictionary &y = *b.dictionary();
        if (x.size() != y.size())
            return false;
        for (const VXDictionary::Entry &entry : x) {
            const VXValue *other = y.contains(entry.key) ? &y.value(entry.key) : nullptr;
            if (!other) {
                // Keys go through XML like strings.
                bool found = false;
                for (const VXDictionary::Entry &candidate : y)
                    if (throughXML(candidate.key) == throughXML(entry.key)) {
                        other = &candidate.value;
                        found = true;
                        break;
                    }
                if (!found)
                    return false;
            }
            if (!equalThroughXML(entry.value, *other, depth + 1))
                return false;
        }
        return true;
    }
    default: return a == b;
    }
}

// Turns every array of the tree into the ordinary form in place (a packed log's reals become
// VXValues), each container once however often the tree holds it.
void unpackEveryArray(const VXValue &value, std::unordered_set<const void *> &seen)
{
    if (VXArray *array = value.array()) {
        if (seen.insert(array).second) {
            for (const VXValue &item : array->items())
                unpackEveryArray(item, seen);
        }
    } else if (VXDictionary *dictionary = value.dictionary()) {
        if (seen.insert(dictionary).second) {
            for (const VXDictionary::Entry &entry : *dictionary)
                unpackEveryArray(entry.value, seen);
        }
    }
}

}   // namespace

bool VXFuzzReadAndRoundTrip(const std::uint8_t *data, std::size_t size, VXValue (*reader)(const QByteArray &))
{
    // No copy: reading past the end of the input is then a fault the sanitizer sees.
    const QByteArray input
        = QByteArray::fromRawData(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const VXValue value = reader(input);
    if (value.isNull())
        return false;
    VXFuzzCountAccepted();

    const std::optional<QByteArray> binary = VXPropertyListSerialization::dataFromValue(value, Format::Binary);
    if (!binary)
        fail("the binary writer refused a value a reader produced");
    const VXValue fromBinary = VXPropertyListSerialization::valueFromBinaryData(*binary);
    if (fromBinary.isNull())
        fail("the binary reader refused the binary writer's output");
    if (fromBinary != value)
        fail("the value read back from binary differs");
    const std::optional<QByteArray> binaryAgain
        = VXPropertyListSerialization::dataFromValue(fromBinary, Format::Binary);
    if (!binaryAgain || *binaryAgain != *binary)
        fail("encoding the value read back from binary gives other bytes");

    // The same tree with no array packed: equal, and written to the same bytes.
    std::unordered_set<const void *> seen;
    unpackEveryArray(value, seen);
    if (fromBinary != value || VXPropertyListSerialization::dataFromValue(value, Format::Binary) != binary)
        fail("a packed array and its ordinary form differ");

    // XML refuses some values (a null anywhere); what it writes it must read back.
    const std::optional<QByteArray> xml = VXPropertyListSerialization::dataFromValue(value, Format::XML);
    if (xml) {
        const VXValue fromXML = VXPropertyListSerialization::valueFromXMLData(*xml);
        if (fromXML.isNull())
            fail("the XML reader refused the XML writer's output");
        if (!equalThroughXML(value, fromXML, 0))
            fail("the value read back from XML differs");
    }
    return true;
}
