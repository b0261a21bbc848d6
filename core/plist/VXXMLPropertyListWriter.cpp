#include "VXXMLPropertyListWriter.h"
#include "VXCivilDate.h"

#include "VXPlistLogging.h"
#include "VXPropertyListSerialization.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include <sys/mman.h>

namespace {

constexpr char kHeader[]
    = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n";
constexpr char kFooter[] = "</plist>\n";

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// Dates further than this from 1970 (about 300 million years) have no civil form worth writing.
constexpr double kLargestDateMagnitude = 1e16;

// One growing buffer that every piece of the document is appended to: no temporary strings per
// value. Space is claimed with claim(), filled through the returned pointer, and kept with
// commit().
class Output
{
public:
    // `expected` is a bound on the document's size: room for all of it is claimed at once (only
    // the pages written become memory), so that the buffer never moves while it grows.
    explicit Output(std::size_t expected)
    {
        m_data.resize(static_cast<qsizetype>(std::max<std::size_t>(expected, 64 * 1024)));
        m_base = m_data.data();
        adviseHugePages();
    }

    char *claim(qsizetype count)
    {
        if (m_used + count > m_data.size())
            grow(count);
        return m_base + m_used;
    }
    void commit(char *end) { m_used = end - m_base; }

    void append(const char *text, qsizetype length)
    {
        char *p = claim(length);
        std::memcpy(p, text, static_cast<std::size_t>(length));
        m_used += length;
    }
    template <std::size_t N> void append(const char (&literal)[N]) { append(literal, N - 1); }

    QByteArray take()
    {
        m_data.truncate(m_used);
        return std::move(m_data);
    }

private:
    void grow(qsizetype count)
    {
        qsizetype capacity = m_data.size() * 2;
        while (capacity < m_used + count)
            capacity *= 2;
        m_data.resize(capacity);
        m_base = m_data.data();
        adviseHugePages();
    }

    // A year of event logs makes a document of a hundred megabytes or more: filling it in huge
    // pages takes a few page faults instead of tens of thousands. Only the whole huge pages
    // inside the buffer (which comes from QByteArray's allocator) are advised. The advice splits
    // the mapping, which the kernel then will not move: growing copies instead, which is why the
    // buffer is sized for the whole document first.
    void adviseHugePages()
    {
        constexpr std::uintptr_t kHugePage = 2 * 1024 * 1024;
        const auto begin = reinterpret_cast<std::uintptr_t>(m_base);
        const std::uintptr_t end = begin + static_cast<std::uintptr_t>(m_data.size());
        const std::uintptr_t first = (begin + kHugePage - 1) & ~(kHugePage - 1);
        const std::uintptr_t last = end & ~(kHugePage - 1);
        if (last > first)
            ::madvise(reinterpret_cast<void *>(first), last - first, MADV_HUGEPAGE);
    }

    QByteArray m_data;
    char *m_base = nullptr;
    qsizetype m_used = 0;
};

// An upper bound on the bytes writing `value` at `level` takes, from the longest text each kind
// of value can have. Stops counting at `limit` (a tree that shares containers can expand beyond
// any buffer; the writer then grows its buffer as it goes).
class SizeBound
{
public:
    static constexpr std::size_t kLimit = std::size_t(1) << 31;

    std::size_t of(const VXValue &root)
    {
        add(root, 0);
        return m_total;
    }

private:
    // Indentation plus the longest element text of each kind.
    static constexpr std::size_t kBoolean = 9;   // <false/>\n
    static constexpr std::size_t kInteger = 40;   // <integer>, 20 digits and a sign, </integer>\n
    static constexpr std::size_t kReal = 40;   // <real>, 24 characters, </real>\n
    static constexpr std::size_t kDate = 64;   // <date>, a year of up to 20 digits, </date>\n
    static constexpr std::size_t kMarkup = 20;   // <string></string>\n, <key></key>\n
    static constexpr std::size_t kUnitBytes = 5;   // "&amp;" or "&#13;" for one UTF-16 unit

    void add(const VXValue &value, int level)
    {
        if (m_total >= kLimit || level >= VXPropertyListSerialization::kMaximumDepth) {
            m_total = kLimit;
            return;
        }
        const auto indent = static_cast<std::size_t>(level);
        switch (value.type()) {
        case VXValue::Type::Null: break;
        case VXValue::Type::Boolean: m_total += indent + kBoolean; break;
        case VXValue::Type::Integer: m_total += indent + kInteger; break;
        case VXValue::Type::Real: m_total += indent + kReal; break;
        case VXValue::Type::Date: m_total += indent + kDate; break;
        case VXValue::Type::String:
            m_total += indent + kMarkup + kUnitBytes * static_cast<std::size_t>(value.stringRef().size());
            break;
        case VXValue::Type::Data: {
            // Lines of at least 12 bytes as 16 characters, each indented and ended.
            const auto size = static_cast<std::size_t>(value.dataRef().size());
            m_total += 2 * (indent + kMarkup) + (size / 12 + 1) * (indent + 17);
            break;
        }
        case VXValue::Type::Array:
            m_total += 2 * (indent + kMarkup);
            for (const VXValue &item : *value.array()) {
                add(item, level + 1);
                if (m_total >= kLimit)
                    return;
            }
            break;
        case VXValue::Type::Dictionary:
            m_total += 2 * (indent + kMarkup);
            for (const VXDictionary::Entry &entry : *value.dictionary()) {
                m_total += indent + 1 + kMarkup + kUnitBytes * static_cast<std::size_t>(entry.key.text().size());
                add(entry.value, level + 1);
                if (m_total >= kLimit)
                    return;
            }
            break;
        }
    }

    std::size_t m_total = 0;
};

class Writer
{
public:
    explicit Writer(std::size_t expected) : m_out(expected) { }

    bool writeDocument(const VXValue &root)
    {
        m_out.append(kHeader);
        if (!writeValue(root, 0))
            return false;
        m_out.append(kFooter);
        if (m_replaced > 0) {
            qCWarning(lcPlist).noquote()
                << QStringLiteral("XML property list: %1 characters that XML cannot carry written as U+FFFD, the first "
                                  "in \"%2\"")
                       .arg(m_replaced)
                       .arg(m_firstReplacedIn);
        }
        return true;
    }

    QByteArray take() { return m_out.take(); }

private:
    bool fail(const QString &reason)
    {
        qCWarning(lcPlist).noquote() << QStringLiteral("cannot write XML property list: %1").arg(reason);
        return false;
    }

    void indent(int level)
    {
        char *p = m_out.claim(level);
        std::memset(p, '\t', static_cast<std::size_t>(level));
        m_out.commit(p + level);
    }

    template <std::size_t N> void line(int level, const char (&literal)[N])
    {
        indent(level);
        m_out.append(literal);
    }

    bool writeValue(const VXValue &value, int level)
    {
        switch (value.type()) {
        case VXValue::Type::Null: return fail(QStringLiteral("the tree holds a null value"));
        case VXValue::Type::Boolean:
            if (value.toBool())
                line(level, "<true/>\n");
            else
                line(level, "<false/>\n");
            return true;
        case VXValue::Type::Integer: writeInteger(value, level); return true;
        case VXValue::Type::Real: writeReal(value.realValue(), level); return true;
        case VXValue::Type::Date: return writeDate(value.dateAsUnixTime(), level);
        case VXValue::Type::String: writeString("<string>", "</string>\n", value.stringRef(), level); return true;
        case VXValue::Type::Data: writeData(value.dataRef(), level); return true;
        case VXValue::Type::Array: return writeArray(*value.array(), level);
        case VXValue::Type::Dictionary: return writeDictionary(*value.dictionary(), level);
        }
        return fail(QStringLiteral("the tree holds a value of unknown type"));
    }

    // Containers are the only way to nest, so checking them bounds the recursion; it also stops
    // a tree that (by mistake) contains itself.
    bool enterContainer(int level)
    {
        if (level >= VXPropertyListSerialization::kMaximumDepth)
            return fail(QStringLiteral("the tree is nested deeper than %1 levels")
                            .arg(VXPropertyListSerialization::kMaximumDepth));
        return true;
    }

    bool writeArray(const VXArray &array, int level)
    {
        if (!enterContainer(level))
            return false;
        if (array.isEmpty()) {
            line(level, "<array/>\n");
            return true;
        }
        line(level, "<array>\n");
        for (const VXValue &item : array) {
            if (!writeValue(item, level + 1))
                return false;
        }
        line(level, "</array>\n");
        return true;
    }

    bool writeDictionary(const VXDictionary &dictionary, int level)
    {
        if (!enterContainer(level))
            return false;
        if (dictionary.isEmpty()) {
            line(level, "<dict/>\n");
            return true;
        }
        line(level, "<dict>\n");
        const std::vector<VXDictionary::Entry> &entries = dictionary.entries();
        for (std::size_t index : dictionary.sortedEntryIndexes()) {
            const VXDictionary::Entry &entry = entries[index];
            writeString("<key>", "</key>\n", entry.key, level + 1);
            if (!writeValue(entry.value, level + 1))
                return false;
        }
        line(level, "</dict>\n");
        return true;
    }

    void writeInteger(const VXValue &value, int level)
    {
        line(level, "<integer>");
        char *p = m_out.claim(24);
        const std::to_chars_result result = value.isUnsignedInteger()
            ? std::to_chars(p, p + 24, static_cast<std::uint64_t>(value.integerBits()))
            : std::to_chars(p, p + 24, value.integerBits());
        m_out.commit(result.ptr);
        m_out.append("</integer>\n");
    }

    void writeReal(double real, int level)
    {
        line(level, "<real>");
        char *p = m_out.claim(40);
        m_out.commit(formatReal(real, p));
        m_out.append("</real>\n");
    }

    // Most reals in a configuration are timestamps and durations with a few decimals (the clock's
    // milliseconds). Their shortest text is found here without the general algorithm; any other
    // number answers null and takes the general path.
    //
    // While |real| * 10^p < 2^48, the decimals that read back as `real` lie in an interval
    // narrower than 10^-p / 16, so at most one multiple of 10^-p does, and it is within 0.05 of
    // the computed product (both roundings included): the integer nearest the product is the only
    // candidate, and one division tells whether it reads back. A text with fewer decimals that
    // reads back is also such a multiple, so testing the largest p allowed (up to 6) answers for
    // every shorter one: the shortest text is the candidate without its trailing zeros, and there
    // is none when the candidate fails. Numbers from 1 to 2^48 are written in fixed notation by
    // repr(), so the text is those digits with the point put in.
    static char *formatShortDecimal(double real, char *out)
    {
        static constexpr double kScales[] = {1.0, 10.0, 100.0, 1e3, 1e4, 1e5, 1e6};
        constexpr double kLimit = 281474976710656.0;   // 2^48
        const double magnitude = std::fabs(real);
        if (!(magnitude >= 1.0) || !(magnitude < kLimit))   // NaN too
            return nullptr;
        int p = 6;
        double scaled = magnitude * kScales[p];
        while (!(scaled < kLimit))
            scaled = magnitude * kScales[--p];
        const double below = std::floor(scaled);
        const double nearest = scaled - below < 0.5 ? below : below + 1.0;
        if (nearest / kScales[p] != magnitude)
            return nullptr;
        auto digits = static_cast<std::uint64_t>(nearest);
        while (p > 0 && digits % 10 == 0) {
            digits /= 10;
            --p;
        }
        if (real < 0)
            *out++ = '-';
        std::uint64_t scale = 1;
        for (int i = 0; i < p; ++i)
            scale *= 10;
        out = std::to_chars(out, out + 24, digits / scale).ptr;
        *out++ = '.';
        if (p == 0) {
            *out++ = '0';
            return out;
        }
        std::uint64_t decimals = digits % scale;
        for (int i = p - 1; i >= 0; --i) {
            out[i] = static_cast<char>('0' + decimals % 10);
            decimals /= 10;
        }
        return out + p;
    }

    // The text Python's repr() gives a float: the shortest digits that read back as the same
    // number, in fixed notation (with ".0" when integral) while the decimal exponent is in
    // [-4, 16), in scientific notation with a signed two-digit-or-more exponent otherwise.
    static char *formatReal(double real, char *out)
    {
        if (char *end = formatShortDecimal(real, out))
            return end;
        if (std::isnan(real)) {
            std::memcpy(out, "nan", 3);
            return out + 3;
        }
        if (std::isinf(real)) {
            if (real < 0)
                *out++ = '-';
            std::memcpy(out, "inf", 3);
            return out + 3;
        }
        char scientific[32];
        const std::to_chars_result result
            = std::to_chars(scientific, scientific + sizeof scientific, real, std::chars_format::scientific);
        const char *p = scientific;
        if (*p == '-') {
            *out++ = '-';
            ++p;
        }
        char digits[20];
        int digitCount = 0;
        for (; *p != 'e'; ++p) {
            if (*p != '.')
                digits[digitCount++] = *p;
        }
        ++p;
        int exponent = 0;
        std::from_chars(*p == '+' ? p + 1 : p, result.ptr, exponent);

        if (exponent >= -4 && exponent < 16) {
            const int point = exponent + 1;   // digits before the decimal point
            if (point <= 0) {
                *out++ = '0';
                *out++ = '.';
                for (int i = 0; i < -point; ++i)
                    *out++ = '0';
                std::memcpy(out, digits, static_cast<std::size_t>(digitCount));
                out += digitCount;
            } else if (point >= digitCount) {
                std::memcpy(out, digits, static_cast<std::size_t>(digitCount));
                out += digitCount;
                for (int i = digitCount; i < point; ++i)
                    *out++ = '0';
                *out++ = '.';
                *out++ = '0';
            } else {
                std::memcpy(out, digits, static_cast<std::size_t>(point));
                out += point;
                *out++ = '.';
                std::memcpy(out, digits + point, static_cast<std::size_t>(digitCount - point));
                out += digitCount - point;
            }
            return out;
        }
        *out++ = digits[0];
        if (digitCount > 1) {
            *out++ = '.';
            std::memcpy(out, digits + 1, static_cast<std::size_t>(digitCount - 1));
            out += digitCount - 1;
        }
        *out++ = 'e';
        *out++ = exponent < 0 ? '-' : '+';
        const int magnitude = exponent < 0 ? -exponent : exponent;
        if (magnitude < 10)
            *out++ = '0';
        return std::to_chars(out, out + 4, magnitude).ptr;
    }

    // Whole seconds in UTC, the fraction dropped toward the earlier second, as plistlib writes a
    // datetime. Years outside 0-9999 keep all their digits and a leading "-" when negative, which
    // the reader accepts back.
    bool writeDate(double unixTime, int level)
    {
        if (!std::isfinite(unixTime) || std::fabs(unixTime) > kLargestDateMagnitude)
            return fail(QStringLiteral("the date %1 has no calendar form").arg(unixTime));
        const auto seconds = static_cast<std::int64_t>(std::floor(unixTime));
        std::int64_t days = seconds / 86400;
        std::int64_t secondOfDay = seconds % 86400;
        if (secondOfDay < 0) {
            secondOfDay += 86400;
            --days;
        }
        const auto [year, month, day] = VXCivilFromDays(days);

        line(level, "<date>");
        char *p = m_out.claim(48);
        std::uint64_t yearMagnitude = static_cast<std::uint64_t>(year < 0 ? -year : year);
        if (year < 0)
            *p++ = '-';
        char yearDigits[24];
        const int yearLength = static_cast<int>(
            std::to_chars(yearDigits, yearDigits + sizeof yearDigits, yearMagnitude).ptr - yearDigits);
        for (int i = yearLength; i < 4; ++i)
            *p++ = '0';
        std::memcpy(p, yearDigits, static_cast<std::size_t>(yearLength));
        p += yearLength;
        const auto twoDigits = [&p](int value, char before) {
            *p++ = before;
            *p++ = static_cast<char>('0' + value / 10);
            *p++ = static_cast<char>('0' + value % 10);
        };
        twoDigits(month, '-');
        twoDigits(day, '-');
        twoDigits(static_cast<int>(secondOfDay / 3600), 'T');
        twoDigits(static_cast<int>(secondOfDay / 60 % 60), ':');
        twoDigits(static_cast<int>(secondOfDay % 60), ':');
        *p++ = 'Z';
        m_out.commit(p);
        m_out.append("</date>\n");
        return true;
    }

    // Base64 in lines whose length depends on the indentation, as plistlib wraps it: 76 columns
    // less 8 per tab, never under 16, each line indented like the <data> element.
    void writeData(const QByteArray &data, int level)
    {
        line(level, "<data>\n");
        const int lineLength = std::max(16, 76 - 8 * level);
        const qsizetype bytesPerLine = lineLength / 4 * 3;
        const auto *bytes = reinterpret_cast<const unsigned char *>(data.constData());
        const qsizetype size = data.size();
        for (qsizetype start = 0; start < size; start += bytesPerLine) {
            const qsizetype count = std::min(bytesPerLine, size - start);
            indent(level);
            char *p = m_out.claim(lineLength + 1);
            const unsigned char *in = bytes + start;
            qsizetype i = 0;
            for (; i + 3 <= count; i += 3) {
                const std::uint32_t group = (std::uint32_t(in[i]) << 16) | (std::uint32_t(in[i + 1]) << 8) | in[i + 2];
                *p++ = kBase64Alphabet[group >> 18];
                *p++ = kBase64Alphabet[(group >> 12) & 63];
                *p++ = kBase64Alphabet[(group >> 6) & 63];
                *p++ = kBase64Alphabet[group & 63];
            }
            if (i < count) {
                const bool two = i + 1 < count;
                const std::uint32_t group = (std::uint32_t(in[i]) << 16) | (two ? std::uint32_t(in[i + 1]) << 8 : 0);
                *p++ = kBase64Alphabet[group >> 18];
                *p++ = kBase64Alphabet[(group >> 12) & 63];
                *p++ = two ? kBase64Alphabet[(group >> 6) & 63] : '=';
                *p++ = '=';
            }
            *p++ = '\n';
            m_out.commit(p);
        }
        line(level, "</data>\n");
    }

    // A character XML 1.0 cannot hold (a control character, an unpaired surrogate, U+FFFE or
    // U+FFFF) is written as U+FFFD: one damaged title must not keep the whole tree from being
    // written. They are counted for the document's one log line.
    char *replacement(char *p, const QString &text)
    {
        if (m_replaced++ == 0)
            m_firstReplacedIn = text.left(40);
        *p++ = static_cast<char>(0xEF);
        *p++ = static_cast<char>(0xBF);
        *p++ = static_cast<char>(0xBD);
        return p;
    }

    // Escapes & < > as plistlib does and keeps a carriage return as a character reference (an
    // XML reader would turn a literal one into a newline).
    void writeString(const char *open, const char *close, const QString &text, int level)
    {
        indent(level);
        const std::size_t openLength = std::strlen(open);
        const std::size_t closeLength = std::strlen(close);
        const qsizetype length = text.size();
        // Five bytes is the most one UTF-16 unit can become ("&amp;", "&#13;").
        char *const start = m_out.claim(static_cast<qsizetype>(openLength + closeLength) + 5 * length);
        char *p = start;
        std::memcpy(p, open, openLength);
        p += openLength;
        // (Never utf16(): over a literal it makes a copy in place, and the writer thread reads
        // texts the main thread reads too.)
        const char16_t *units = reinterpret_cast<const char16_t *>(text.constData());
        for (qsizetype i = 0; i < length; ++i) {
            const char16_t c = units[i];
            if (c < 0x80) {
                if (c >= 0x20) {
                    switch (c) {
                    case u'&':
                        std::memcpy(p, "&amp;", 5);
                        p += 5;
                        break;
                    case u'<':
                        std::memcpy(p, "&lt;", 4);
                        p += 4;
                        break;
                    case u'>':
                        std::memcpy(p, "&gt;", 4);
                        p += 4;
                        break;
                    default: *p++ = static_cast<char>(c); break;
                    }
                } else if (c == u'\t' || c == u'\n') {
                    *p++ = static_cast<char>(c);
                } else if (c == u'\r') {
                    std::memcpy(p, "&#13;", 5);
                    p += 5;
                } else {
                    p = replacement(p, text);
                }
            } else if (c < 0x800) {
                *p++ = static_cast<char>(0xC0 | (c >> 6));
                *p++ = static_cast<char>(0x80 | (c & 0x3F));
            } else if (c >= 0xD800 && c <= 0xDFFF) {
                if (c > 0xDBFF || i + 1 == length || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF) {
                    p = replacement(p, text);
                    continue;
                }
                const char32_t code = 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(units[i + 1]) - 0xDC00);
                ++i;
                *p++ = static_cast<char>(0xF0 | (code >> 18));
                *p++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
                *p++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
                *p++ = static_cast<char>(0x80 | (code & 0x3F));
            } else if (c >= 0xFFFE) {
                p = replacement(p, text);
            } else {
                *p++ = static_cast<char>(0xE0 | (c >> 12));
                *p++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
                *p++ = static_cast<char>(0x80 | (c & 0x3F));
            }
        }
        std::memcpy(p, close, closeLength);
        m_out.commit(p + closeLength);
    }

    Output m_out;
    int m_replaced = 0;
    QString m_firstReplacedIn;
};

}   // namespace

std::optional<QByteArray> VXXMLPropertyListWriter::write(const VXValue &value)
{
    // Past the limit the bound says nothing: start small and grow.
    const std::size_t bound = SizeBound().of(value);
    Writer writer(bound < SizeBound::kLimit ? bound + sizeof kHeader + sizeof kFooter : 0);
    if (!writer.writeDocument(value))
        return std::nullopt;
    return writer.take();
}
