#include "VXXMLPropertyListReader.h"
#include "VXCivilDate.h"

#include "VXPlistLogging.h"
#include "VXPropertyListSerialization.h"

#include <QStringDecoder>

#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <locale.h>
#include <string>
#include <string_view>

namespace {

// Text inside the document, already checked to be UTF-8. QString::fromUtf8 drops a leading
// U+FEFF as if it were a byte-order mark; inside a document it is a character of the string.
QString decodeText(const char *data, qsizetype size)
{
    QStringDecoder decoder(QStringConverter::Utf8,
                           QStringConverter::Flag::Stateless | QStringConverter::Flag::ConvertInitialBom);
    return decoder.decode(QByteArrayView(data, size));
}

enum class Element : std::uint8_t { Unknown, Plist, Dict, Array, Key, String, Integer, Real, True, False, Date, Data };

Element classify(const char *name, std::size_t length)
{
    const auto is = [name, length](std::string_view word) {
        return length == word.size() && std::memcmp(name, word.data(), length) == 0;
    };
    switch (length) {
    case 3:
        if (is("key"))
            return Element::Key;
        break;
    case 4:
        if (is("dict"))
            return Element::Dict;
        if (is("real"))
            return Element::Real;
        if (is("true"))
            return Element::True;
        if (is("date"))
            return Element::Date;
        if (is("data"))
            return Element::Data;
        break;
    case 5:
        if (is("array"))
            return Element::Array;
        if (is("false"))
            return Element::False;
        if (is("plist"))
            return Element::Plist;
        break;
    case 6:
        if (is("string"))
            return Element::String;
        break;
    case 7:
        if (is("integer"))
            return Element::Integer;
        break;
    default: break;
    }
    return Element::Unknown;
}

struct StartTag {
    const char *at = nullptr;   // the '<'
    const char *name = nullptr;
    std::size_t nameLength = 0;
    Element element = Element::Unknown;
    bool empty = false;   // <name/>
};

inline bool isSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\t' || c == '\r';
}

inline bool isNameStart(char c)
{
    const auto u = static_cast<unsigned char>(c);
    return (u >= 'a' && u <= 'z') || (u >= 'A' && u <= 'Z') || u == '_' || u == ':' || u >= 0x80;
}

inline bool isNameChar(char c)
{
    const auto u = static_cast<unsigned char>(c);
    return isNameStart(c) || (u >= '0' && u <= '9') || u == '-' || u == '.';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isSpace(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isSpace(text.back()))
        text.remove_suffix(1);
    return text;
}

// The first byte that is not part of strict UTF-8 (overlong forms, surrogates and code points
// past U+10FFFF are invalid) or is a NUL, which no XML document holds; null when all is well.
const char *findInvalidUtf8(const char *begin, const char *end)
{
    const auto *s = reinterpret_cast<const unsigned char *>(begin);
    const auto *e = reinterpret_cast<const unsigned char *>(end);
    constexpr std::uint64_t kHigh = 0x8080808080808080ull;
    constexpr std::uint64_t kOnes = 0x0101010101010101ull;
    while (s < e) {
        // Eight ASCII bytes at a time while none is NUL or has its high bit set.
        while (e - s >= 8) {
            std::uint64_t v;
            std::memcpy(&v, s, 8);
            if ((v & kHigh) != 0 || ((v - kOnes) & ~v & kHigh) != 0)
                break;
            s += 8;
        }
        if (s >= e)
            break;
        const unsigned char c = *s;
        if (c < 0x80) {
            if (c == 0)
                return reinterpret_cast<const char *>(s);
            ++s;
            continue;
        }
        int following;
        if (c >= 0xC2 && c <= 0xDF)
            following = 1;
        else if (c >= 0xE0 && c <= 0xEF)
            following = 2;
        else if (c >= 0xF0 && c <= 0xF4)
            following = 3;
        else
            return reinterpret_cast<const char *>(s);
        if (e - s <= following)
            return reinterpret_cast<const char *>(s);
        std::uint32_t code = c & (0x3Fu >> following);
        for (int i = 1; i <= following; ++i) {
            if ((s[i] & 0xC0) != 0x80)
                return reinterpret_cast<const char *>(s);
            code = (code << 6) | (s[i] & 0x3Fu);
        }
        if ((following == 2 && (code < 0x800 || (code >= 0xD800 && code <= 0xDFFF)))
            || (following == 3 && (code < 0x10000 || code > 0x10FFFF)))
            return reinterpret_cast<const char *>(s);
        s += following + 1;
    }
    return nullptr;
}

void appendUtf8(std::string &out, char32_t code)
{
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

// Decimal or "0x" hexadecimal, with an optional sign, from -2^63 to 2^64 - 1.
bool parseInteger(std::string_view text, VXValue &out)
{
    text = trimmed(text);
    bool negative = false;
    if (!text.empty() && (text.front() == '-' || text.front() == '+')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    int base = 10;
    if (text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X')) {
        base = 16;
        text.remove_prefix(2);
    }
    if (text.empty())
        return false;
    std::uint64_t magnitude = 0;
    const std::from_chars_result result = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
    // from_chars would take a sign of its own; only digits may follow ours.
    if (result.ec != std::errc() || result.ptr != text.data() + text.size() || text.front() == '-')
        return false;
    if (negative) {
        constexpr std::uint64_t kLargestNegative = std::uint64_t(1) << 63;
        if (magnitude > kLargestNegative)
            return false;
        out = VXValue(static_cast<long long>(0 - magnitude));
    } else {
        out = VXValue::unsignedInteger(magnitude);
    }
    return true;
}

// Numbers as C reads them, with inf, infinity and nan in any case and either sign. Beyond the
// range of a double a number reads as infinity or zero, as strtod gives it.
bool parseReal(std::string_view text, double &out)
{
    text = trimmed(text);
    if (text.empty())
        return false;
    std::string_view digits = text;
    if (digits.front() == '+') {
        digits.remove_prefix(1);
        if (digits.empty() || digits.front() == '-' || digits.front() == '+')
            return false;
    }
    const char *end = digits.data() + digits.size();
    const std::from_chars_result result = std::from_chars(digits.data(), end, out);
    if (result.ec == std::errc::result_out_of_range && result.ptr == end) {
        static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
        const std::string copy(digits);
        char *parsedEnd = nullptr;
        out = strtod_l(copy.c_str(), &parsedEnd, cLocale);
        return parsedEnd == copy.c_str() + copy.size();
    }
    return result.ec == std::errc() && result.ptr == end;
}

int daysInMonth(std::int64_t year, int month)
{
    static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

// ISO 8601 in UTC: YYYY[-MM[-DD[THH[:MM[:SS[.fraction]]]]]]Z, as plistlib and CoreFoundation
// write it. Years may have fewer or more than four digits or a leading "-" (the writer's form for
// dates outside 0-9999).
bool parseDate(std::string_view text, double &since2001)
{
    text = trimmed(text);
    const char *p = text.data();
    const char *const end = p + text.size();
    const auto number = [&p, end](int minimumDigits, int maximumDigits, std::int64_t &value) {
        const char *start = p;
        value = 0;
        while (p < end && *p >= '0' && *p <= '9' && p - start < maximumDigits)
            value = value * 10 + (*p++ - '0');
        return p - start >= minimumDigits && !(p < end && *p >= '0' && *p <= '9');
    };
    bool negativeYear = false;
    if (p < end && *p == '-') {
        negativeYear = true;
        ++p;
    }
    std::int64_t year = 0, month = 1, day = 1, hour = 0, minute = 0, second = 0;
    double fraction = 0.0;
    // plistutil writes years before 1000 without leading zeros.
    if (!number(1, 9, year))
        return false;
    if (negativeYear)
        year = -year;
    const auto part = [&p, end, &number](char separator, std::int64_t &value) {
        if (p >= end || *p != separator)
            return false;
        ++p;
        return number(2, 2, value);
    };
    if (p < end && *p == '-') {
        if (!part('-', month))
            return false;
        if (p < end && *p == '-') {
            if (!part('-', day))
                return false;
            if (p < end && *p == 'T') {
                if (!part('T', hour))
                    return false;
                if (p < end && *p == ':') {
                    if (!part(':', minute))
                        return false;
                    if (p < end && *p == ':') {
                        if (!part(':', second))
                            return false;
                        if (p < end && *p == '.') {
                            const char *start = p;
                            ++p;
                            while (p < end && *p >= '0' && *p <= '9')
                                ++p;
                            if (p - start < 2)
                                return false;
                            std::from_chars(start, p, fraction);
                        }
                    }
                }
            }
        }
    }
    if (p + 1 != end || *p != 'Z')
        return false;
    if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, static_cast<int>(month)) || hour > 23
        || minute > 59 || second > 59)
        return false;
    const std::int64_t seconds = VXDaysFromCivil(year, static_cast<int>(month), static_cast<int>(day)) * 86400
        + hour * 3600 + minute * 60 + second;
    since2001 = static_cast<double>(seconds - static_cast<std::int64_t>(VXValue::kUnixTimeOf2001)) + fraction;
    return true;
}

// Base64, ignoring whitespace; padding may be left out, but nothing may follow it.
bool decodeBase64(std::string_view text, QByteArray &out)
{
    static const std::array<std::int8_t, 256> kTable = [] {
        std::array<std::int8_t, 256> table {};
        table.fill(-1);
        for (int i = 0; i < 64; ++i)
            table[static_cast<unsigned char>("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[i])]
                = static_cast<std::int8_t>(i);
        for (char c : {' ', '\t', '\n', '\r'})
            table[static_cast<unsigned char>(c)] = -2;
        return table;
    }();
    out.resize(static_cast<qsizetype>(text.size() / 4 * 3 + 3));
    char *o = out.data();
    std::uint32_t group = 0;
    int count = 0;
    int padding = 0;
    for (const char c : text) {
        const std::int8_t v = kTable[static_cast<unsigned char>(c)];
        if (v >= 0) {
            if (padding)
                return false;
            group = (group << 6) | static_cast<std::uint32_t>(v);
            if (++count == 4) {
                *o++ = static_cast<char>(group >> 16);
                *o++ = static_cast<char>(group >> 8);
                *o++ = static_cast<char>(group);
                count = 0;
                group = 0;
            }
        } else if (v == -2) {
            continue;
        } else if (c == '=') {
            if (count < 2 || count + ++padding > 4)
                return false;
        } else {
            return false;
        }
    }
    if (count == 1 || (padding && count + padding != 4))
        return false;
    if (count == 2) {
        *o++ = static_cast<char>(group >> 4);
    } else if (count == 3) {
        *o++ = static_cast<char>(group >> 10);
        *o++ = static_cast<char>(group >> 2);
    }
    out.truncate(o - out.constData());
    return true;
}

class Parser
{
public:
    Parser(const char *begin, const char *end) : m_begin(begin), m_p(begin), m_end(end) { }

    VXValue readDocument()
    {
        if (const char *bad = findInvalidUtf8(m_begin, m_end)) {
            fail(bad, QStringLiteral("the text is not valid UTF-8"));
            return {};
        }
        if (!skipProlog())
            return {};
        if (m_p >= m_end || *m_p != '<')
            return failed(m_p, QStringLiteral("no root element"));
        StartTag tag;
        if (!readStartTag(tag))
            return {};
        VXValue root;
        if (tag.element == Element::Plist) {
            if (tag.empty || !skipMisc())
                return tag.empty ? failed(tag.at, QStringLiteral("empty <plist> element")) : VXValue();
            if (m_p >= m_end)
                return failed(m_p, QStringLiteral("unexpected end of data inside <plist>"));
            if (*m_p != '<')
                return failed(m_p, QStringLiteral("unexpected text inside <plist>"));
            if (m_end - m_p > 1 && m_p[1] == '/')
                return failed(m_p, QStringLiteral("empty <plist> element"));
            StartTag inner;
            if (!readStartTag(inner) || !parseElement(inner, 1, root) || !skipMisc())
                return {};
            if (!expectEndTag(tag))
                return {};
        } else if (!parseElement(tag, 1, root)) {
            return {};
        }
        if (!skipMisc())
            return {};
        if (m_p != m_end)
            return failed(m_p, QStringLiteral("unexpected content after the root element"));
        return root;
    }

private:
    bool fail(const char *at, const QString &message)
    {
        int line = 1;
        for (const char *p = m_begin; p < at && p < m_end; ++p)
            line += *p == '\n' ? 1 : 0;
        qCWarning(lcPlist).noquote()
            << QStringLiteral("cannot read XML property list: %1 at line %2").arg(message, QString::number(line));
        return false;
    }
    VXValue failed(const char *at, const QString &message)
    {
        fail(at, message);
        return {};
    }

    QString nameOf(const StartTag &tag) const
    {
        return QString::fromUtf8(tag.name, static_cast<qsizetype>(tag.nameLength));
    }

    bool startsWith(const char *p, std::string_view text) const
    {
        return static_cast<std::size_t>(m_end - p) >= text.size() && std::memcmp(p, text.data(), text.size()) == 0;
    }

    const char *find(const char *from, std::string_view text) const
    {
        const std::string_view rest(from, static_cast<std::size_t>(m_end - from));
        const std::size_t at = rest.find(text);
        return at == std::string_view::npos ? nullptr : from + at;
    }

    // Comments and processing instructions may stand anywhere between elements.
    bool skipMarkupAt(const char *&p)
    {
        if (startsWith(p, "<!--")) {
            const char *close = find(p + 4, "-->");
            if (!close)
                return fail(p, QStringLiteral("unterminated comment"));
            p = close + 3;
        } else {
            const char *close = find(p + 2, "?>");
            if (!close)
                return fail(p, QStringLiteral("unterminated processing instruction"));
            p = close + 2;
        }
        return true;
    }

    bool skipMisc()
    {
        for (;;) {
            while (m_p < m_end && isSpace(*m_p))
                ++m_p;
            if (!startsWith(m_p, "<!--") && !startsWith(m_p, "<?"))
                return true;
            if (!skipMarkupAt(m_p))
                return false;
        }
    }

    // The XML declaration, comments and the document type before the root element. An internal
    // subset could declare entities, which property lists never use: it is refused outright.
    bool skipProlog()
    {
        if (startsWith(m_p, "\xEF\xBB\xBF"))
            m_p += 3;
        for (;;) {
            if (!skipMisc())
                return false;
            if (!startsWith(m_p, "<!DOCTYPE"))
                return true;
            const char *p = m_p + 9;
            while (p < m_end && *p != '>') {
                if (*p == '"' || *p == '\'') {
                    const void *close = std::memchr(p + 1, *p, static_cast<std::size_t>(m_end - p - 1));
                    if (!close)
                        break;
                    p = static_cast<const char *>(close);
                } else if (*p == '[') {
                    return fail(p,
                                QStringLiteral("document type declarations with an internal subset are not supported"));
                }
                ++p;
            }
            if (p >= m_end)
                return fail(m_p, QStringLiteral("unterminated document type declaration"));
            m_p = p + 1;
        }
    }

    bool readStartTag(StartTag &tag)
    {
        tag.at = m_p;
        const char *p = m_p + 1;
        const char *name = p;
        if (p >= m_end || !isNameStart(*p))
            return fail(m_p, QStringLiteral("malformed tag"));
        while (p < m_end && isNameChar(*p))
            ++p;
        tag.name = name;
        tag.nameLength = static_cast<std::size_t>(p - name);
        tag.element = classify(name, tag.nameLength);
        // Attributes (version="1.0" on <plist>) are checked for form and otherwise ignored.
        for (;;) {
            const char *beforeSpace = p;
            while (p < m_end && isSpace(*p))
                ++p;
            if (p >= m_end)
                return fail(tag.at, QStringLiteral("unexpected end of data inside a tag"));
            if (*p == '>') {
                tag.empty = false;
                m_p = p + 1;
                return true;
            }
            if (*p == '/') {
                if (p + 1 < m_end && p[1] == '>') {
                    tag.empty = true;
                    m_p = p + 2;
                    return true;
                }
                return fail(p, QStringLiteral("malformed tag <%1>").arg(nameOf(tag)));
            }
            const char *attribute = p;
            while (p < m_end && isNameChar(*p))
                ++p;
            if (p == attribute || attribute == beforeSpace || !isNameStart(*attribute))
                return fail(p, QStringLiteral("malformed tag <%1>").arg(nameOf(tag)));
            while (p < m_end && isSpace(*p))
                ++p;
            if (p >= m_end || *p != '=')
                return fail(p, QStringLiteral("malformed attribute in <%1>").arg(nameOf(tag)));
            ++p;
            while (p < m_end && isSpace(*p))
                ++p;
            if (p >= m_end || (*p != '"' && *p != '\''))
                return fail(p, QStringLiteral("malformed attribute in <%1>").arg(nameOf(tag)));
            const void *close = std::memchr(p + 1, *p, static_cast<std::size_t>(m_end - p - 1));
            if (!close)
                return fail(tag.at, QStringLiteral("unexpected end of data inside a tag"));
            if (std::memchr(p + 1, '<', static_cast<std::size_t>(static_cast<const char *>(close) - p - 1)))
                return fail(p, QStringLiteral("malformed attribute in <%1>").arg(nameOf(tag)));
            p = static_cast<const char *>(close) + 1;
        }
    }

    // The end of "</name>" when one starts at p, else null.
    const char *matchEndTag(const char *p, const StartTag &tag) const
    {
        if (static_cast<std::size_t>(m_end - p) < tag.nameLength + 3 || p[0] != '<' || p[1] != '/'
            || std::memcmp(p + 2, tag.name, tag.nameLength) != 0)
            return nullptr;
        p += 2 + tag.nameLength;
        while (p < m_end && isSpace(*p))
            ++p;
        return p < m_end && *p == '>' ? p + 1 : nullptr;
    }

    bool expectEndTag(const StartTag &tag)
    {
        const char *after = matchEndTag(m_p, tag);
        if (!after) {
            if (m_p >= m_end)
                return fail(m_p, QStringLiteral("unexpected end of data inside <%1>").arg(nameOf(tag)));
            return fail(m_p, QStringLiteral("expected </%1>").arg(nameOf(tag)));
        }
        m_p = after;
        return true;
    }

    // The character data of a leaf element, up to and including its end tag. Plain text is
    // handed back in place; text with references, CDATA, comments or carriage returns (which XML
    // reads as newlines) is assembled in the scratch buffer.
    bool readText(const StartTag &tag, std::string_view &text)
    {
        if (tag.empty) {
            text = {};
            return true;
        }
        const char *start = m_p;
        const auto *lt = static_cast<const char *>(std::memchr(start, '<', static_cast<std::size_t>(m_end - start)));
        if (!lt)
            return fail(m_end, QStringLiteral("unexpected end of data inside <%1>").arg(nameOf(tag)));
        const auto length = static_cast<std::size_t>(lt - start);
        if (!std::memchr(start, '&', length) && !std::memchr(start, '\r', length)) {
            if (const char *after = matchEndTag(lt, tag)) {
                text = std::string_view(start, length);
                m_p = after;
                return true;
            }
        }
        return readTextSlowly(tag, text);
    }

    bool readTextSlowly(const StartTag &tag, std::string_view &text)
    {
        m_scratch.clear();
        const char *p = m_p;
        for (;;) {
            const char *run = p;
            while (p < m_end && *p != '<' && *p != '&' && *p != '\r')
                ++p;
            m_scratch.append(run, static_cast<std::size_t>(p - run));
            if (p >= m_end)
                return fail(p, QStringLiteral("unexpected end of data inside <%1>").arg(nameOf(tag)));
            if (*p == '\r') {
                m_scratch += '\n';
                ++p;
                if (p < m_end && *p == '\n')
                    ++p;
            } else if (*p == '&') {
                if (!readReference(p))
                    return false;
            } else if (startsWith(p, "<![CDATA[")) {
                const char *close = find(p + 9, "]]>");
                if (!close)
                    return fail(p, QStringLiteral("unterminated CDATA section"));
                for (const char *c = p + 9; c < close; ++c) {
                    if (*c != '\r')
                        m_scratch += *c;
                    else if (c + 1 == close || c[1] != '\n')
                        m_scratch += '\n';
                }
                p = close + 3;
            } else if (startsWith(p, "<!--") || startsWith(p, "<?")) {
                if (!skipMarkupAt(p))
                    return false;
            } else if (const char *after = matchEndTag(p, tag)) {
                text = m_scratch;
                m_p = after;
                return true;
            } else {
                return fail(p, QStringLiteral("unexpected markup inside <%1>").arg(nameOf(tag)));
            }
        }
    }

    // One of the five predefined entities or a character reference; p is on the '&'.
    bool readReference(const char *&p)
    {
        const std::size_t window = std::min<std::size_t>(static_cast<std::size_t>(m_end - p), 16);
        const auto *semicolon = static_cast<const char *>(std::memchr(p, ';', window));
        if (!semicolon)
            return fail(p, QStringLiteral("malformed entity reference"));
        const std::string_view name(p + 1, static_cast<std::size_t>(semicolon - p - 1));
        char32_t code = 0;
        if (name == "amp") {
            code = '&';
        } else if (name == "lt") {
            code = '<';
        } else if (name == "gt") {
            code = '>';
        } else if (name == "quot") {
            code = '"';
        } else if (name == "apos") {
            code = '\'';
        } else if (name.size() >= 2 && name[0] == '#') {
            const bool hex = name[1] == 'x';
            const std::string_view digits = name.substr(hex ? 2 : 1);
            std::uint32_t value = 0;
            const std::from_chars_result result
                = std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
            if (digits.empty() || result.ec != std::errc() || result.ptr != digits.data() + digits.size()
                || digits.front() == '-' || value == 0 || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
                return fail(p,
                            QStringLiteral("invalid character reference &%1;")
                                .arg(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()))));
            code = value;
        } else {
            return fail(p,
                        QStringLiteral("unknown entity &%1;")
                            .arg(QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()))));
        }
        appendUtf8(m_scratch, code);
        p = semicolon + 1;
        return true;
    }

    // Strings repeat a great deal in property lists (every dictionary has the same keys): short
    // ones are shared through a small cache, which saves decoding and memory alike.
    QString makeString(std::string_view text)
    {
        if (text.empty())
            return QString();
        if (text.size() > kCachedLength)
            return decodeText(text.data(), static_cast<qsizetype>(text.size()));
        std::uint64_t hash = 14695981039346656037ull;
        for (const char c : text)
            hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211ull;
        CacheEntry &entry = m_cache[hash & (kCacheSize - 1)];
        if (entry.bytes != text) {
            entry.bytes.assign(text);
            entry.string = decodeText(text.data(), static_cast<qsizetype>(text.size()));
        }
        return entry.string;
    }

    bool parseElement(const StartTag &tag, int depth, VXValue &out)
    {
        std::string_view text;
        switch (tag.element) {
        case Element::Dict: return parseDictionary(tag, depth, out);
        case Element::Array: return parseArray(tag, depth, out);
        case Element::String:
            if (!readText(tag, text))
                return false;
            out = VXValue(makeString(text));
            return true;
        case Element::Integer:
            if (!readText(tag, text))
                return false;
            if (!parseInteger(text, out))
                return fail(tag.at, QStringLiteral("invalid <integer> \"%1\"").arg(shown(text)));
            return true;
        case Element::Real: {
            if (!readText(tag, text))
                return false;
            double real = 0.0;
            if (!parseReal(text, real))
                return fail(tag.at, QStringLiteral("invalid <real> \"%1\"").arg(shown(text)));
            out = VXValue(real);
            return true;
        }
        case Element::True:
        case Element::False:
            if (!readText(tag, text))
                return false;
            if (!trimmed(text).empty())
                return fail(tag.at, QStringLiteral("unexpected text inside <%1>").arg(nameOf(tag)));
            out = VXValue(tag.element == Element::True);
            return true;
        case Element::Date: {
            if (!readText(tag, text))
                return false;
            double since2001 = 0.0;
            if (!parseDate(text, since2001))
                return fail(tag.at, QStringLiteral("invalid <date> \"%1\"").arg(shown(text)));
            out = VXValue::dateSince2001(since2001);
            return true;
        }
        case Element::Data: {
            if (!readText(tag, text))
                return false;
            QByteArray bytes;
            if (!decodeBase64(text, bytes))
                return fail(tag.at, QStringLiteral("invalid base64 in <data>"));
            out = VXValue(bytes);
            return true;
        }
        case Element::Key: return fail(tag.at, QStringLiteral("unexpected <key> outside a dictionary"));
        case Element::Plist: return fail(tag.at, QStringLiteral("unexpected <plist> inside the document"));
        case Element::Unknown: break;
        }
        return fail(tag.at, QStringLiteral("unexpected element <%1>").arg(nameOf(tag)));
    }

    static QString shown(std::string_view text)
    {
        const std::string_view start = text.substr(0, 40);
        return decodeText(start.data(), static_cast<qsizetype>(start.size()));
    }

    bool enterContainer(const StartTag &tag, int depth)
    {
        if (depth > VXPropertyListSerialization::kMaximumDepth)
            return fail(
                tag.at,
                QStringLiteral("nesting deeper than %1 levels").arg(VXPropertyListSerialization::kMaximumDepth));
        return true;
    }

    // After whitespace and comments inside a container: true with `atEnd` set when the
    // container's end tag follows, true with `child` read when an element follows.
    bool nextChild(const StartTag &container, bool &atEnd, StartTag &child)
    {
        if (!skipMisc())
            return false;
        if (m_p >= m_end)
            return fail(m_p, QStringLiteral("unexpected end of data inside <%1>").arg(nameOf(container)));
        if (*m_p != '<')
            return fail(m_p, QStringLiteral("unexpected text inside <%1>").arg(nameOf(container)));
        if (m_end - m_p > 1 && m_p[1] == '/') {
            atEnd = true;
            return expectEndTag(container);
        }
        atEnd = false;
        return readStartTag(child);
    }

    bool parseArray(const StartTag &tag, int depth, VXValue &out)
    {
        if (!enterContainer(tag, depth))
            return false;
        VXArrayRef array = VXMakeArray();
        if (!tag.empty) {
            std::vector<VXValue> &items = array->items();
            for (;;) {
                bool atEnd = false;
                StartTag child;
                if (!nextChild(tag, atEnd, child))
                    return false;
                if (atEnd)
                    break;
                items.emplace_back();
                if (!parseElement(child, depth + 1, items.back()))
                    return false;
            }
        }
        out = VXValue(std::move(array));
        return true;
    }

    bool parseDictionary(const StartTag &tag, int depth, VXValue &out)
    {
        if (!enterContainer(tag, depth))
            return false;
        VXDictionaryRef dictionary = VXMakeDictionary();
        if (!tag.empty) {
            for (;;) {
                bool atEnd = false;
                StartTag keyTag;
                if (!nextChild(tag, atEnd, keyTag))
                    return false;
                if (atEnd)
                    break;
                if (keyTag.element != Element::Key)
                    return fail(keyTag.at,
                                QStringLiteral("expected <key> inside <dict>, found <%1>").arg(nameOf(keyTag)));
                std::string_view keyText;
                if (!readText(keyTag, keyText))
                    return false;
                QString key = makeString(keyText);
                StartTag valueTag;
                if (!nextChild(tag, atEnd, valueTag))
                    return false;
                if (atEnd)
                    return fail(m_p, QStringLiteral("missing value for key \"%1\"").arg(key));
                VXValue value;
                if (!parseElement(valueTag, depth + 1, value))
                    return false;
                // A repeated key replaces the earlier value.
                dictionary->insertNew(std::move(key), std::move(value));
            }
        }
        out = VXValue(std::move(dictionary));
        return true;
    }

    struct CacheEntry {
        std::string bytes;
        QString string;
    };
    static constexpr std::size_t kCachedLength = 48;
    static constexpr std::size_t kCacheSize = 1024;

    const char *const m_begin;
    const char *m_p;
    const char *const m_end;
    std::string m_scratch;
    std::vector<CacheEntry> m_cache = std::vector<CacheEntry>(kCacheSize);
};

}   // namespace

VXValue VXXMLPropertyListReader::read(const QByteArray &data)
{
    // UTF-16 documents (with their byte-order mark) are read through a UTF-8 copy.
    const bool littleEndian = data.startsWith("\xFF\xFE");
    if (littleEndian || data.startsWith("\xFE\xFF")) {
        QStringDecoder decoder(littleEndian ? QStringConverter::Utf16LE : QStringConverter::Utf16BE,
                               QStringConverter::Flag::Stateless);
        const QString text = decoder.decode(data);
        if (decoder.hasError()) {
            qCWarning(lcPlist).noquote() << QStringLiteral(
                "cannot read XML property list: the text is not valid UTF-16");
            return {};
        }
        const QByteArray utf8 = text.toUtf8();
        return Parser(utf8.constData(), utf8.constData() + utf8.size()).readDocument();
    }
    return Parser(data.constData(), data.constData() + data.size()).readDocument();
}
