#include "VXOpenStepPropertyListReader.h"
#include "VXCivilDate.h"

#include "VXPlistLogging.h"
#include "VXPropertyListSerialization.h"

#include <QStringDecoder>

#include <charconv>
#include <string>

namespace {

// Octal escapes above 0177 name characters of the NeXTSTEP character set (0x80-0xFF), which
// map onto Unicode as follows (the two unassigned codes read as U+FFFD).
constexpr char16_t kNextStepUpperHalf[128] = {
    0x00A0, 0x00C0, 0x00C1, 0x00C2, 0x00C3, 0x00C4, 0x00C5, 0x00C7, 0x00C8, 0x00C9, 0x00CA, 0x00CB, 0x00CC,
    0x00CD, 0x00CE, 0x00CF, 0x00D0, 0x00D1, 0x00D2, 0x00D3, 0x00D4, 0x00D5, 0x00D6, 0x00D9, 0x00DA, 0x00DB,
    0x00DC, 0x00DD, 0x00DE, 0x00B5, 0x00D7, 0x00F7, 0x00A9, 0x00A1, 0x00A2, 0x00A3, 0x2044, 0x00A5, 0x0192,
    0x00A7, 0x00A4, 0x2019, 0x201C, 0x00AB, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x00AE, 0x2013, 0x2020, 0x2021,
    0x00B7, 0x00A6, 0x00B6, 0x2022, 0x201A, 0x201E, 0x201D, 0x00BB, 0x2026, 0x2030, 0x00AC, 0x00BF, 0x00B9,
    0x02CB, 0x00B4, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x00A8, 0x00B2, 0x02DA, 0x00B8, 0x00B3, 0x02DD,
    0x02DB, 0x02C7, 0x2014, 0x00B1, 0x00BC, 0x00BD, 0x00BE, 0x00E0, 0x00E1, 0x00E2, 0x00E3, 0x00E4, 0x00E5,
    0x00E7, 0x00E8, 0x00E9, 0x00EA, 0x00EB, 0x00EC, 0x00C6, 0x00ED, 0x00AA, 0x00EE, 0x00EF, 0x00F0, 0x00F1,
    0x0141, 0x00D8, 0x0152, 0x00BA, 0x00F2, 0x00F3, 0x00F4, 0x00F5, 0x00F6, 0x00E6, 0x00F9, 0x00FA, 0x00FB,
    0x0131, 0x00FC, 0x00FD, 0x0142, 0x00F8, 0x0153, 0x00DF, 0x00FE, 0x00FF, 0xFFFD, 0xFFFD,
};

inline bool isUnquotedCharacter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') || c == u'_' || c == u'$'
        || c == u'+' || c == u'/' || c == u':' || c == u'.' || c == u'-';
}

inline int hexValue(char16_t c)
{
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

// GNUstep's date form "YYYY-MM-DD HH:MM:SS +HHMM", every field at its fixed place.
bool parseGNUstepDate(const std::string &text, double &since2001)
{
    static constexpr char kPattern[] = "dddd-dd-dd dd:dd:dd sdddd";
    if (text.size() != sizeof kPattern - 1)
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool ok = kPattern[i] == 'd' ? (c >= '0' && c <= '9')
            : kPattern[i] == 's'           ? (c == '+' || c == '-')
                                           : c == kPattern[i];
        if (!ok)
            return false;
    }
    const auto field = [&text](std::size_t at, std::size_t length) {
        int value = 0;
        for (std::size_t i = at; i < at + length; ++i)
            value = value * 10 + (text[i] - '0');
        return value;
    };
    const int year = field(0, 4), month = field(5, 2), day = field(8, 2);
    const int hour = field(11, 2), minute = field(14, 2), second = field(17, 2);
    const int zoneHours = field(21, 2), zoneMinutes = field(23, 2);
    static constexpr int kDaysInMonth[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leapYear = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    if (month < 1 || month > 12 || day < 1 || day > kDaysInMonth[month - 1] || (month == 2 && day == 29 && !leapYear)
        || hour > 23 || minute > 59 || second > 59 || zoneMinutes > 59)
        return false;
    const int offset = (zoneHours * 3600 + zoneMinutes * 60) * (text[20] == '-' ? -1 : 1);
    const std::int64_t local = VXDaysFromCivil(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
    since2001 = static_cast<double>(local - offset - static_cast<std::int64_t>(VXValue::kUnixTimeOf2001));
    return true;
}

class Parser
{
public:
    explicit Parser(const QString &text) :
        m_begin(reinterpret_cast<const char16_t *>(text.utf16())), m_p(m_begin), m_end(m_begin + text.size())
    {
    }

    VXValue readDocument()
    {
        if (m_begin == m_end)
            return failed(m_p, QStringLiteral("the text is empty"));
        const char16_t *const start = m_p;
        // Only whitespace and comments: an empty strings file.
        if (!advanceToNonSpace())
            return VXValue(VXMakeDictionary());
        VXValue root;
        if (!parseRequiredObject(1, root))
            return {};
        if (!advanceToNonSpace())
            return root;
        // More after a leading string: the text is a strings file, key = value; pairs without
        // braces. Read it again as one.
        if (!root.isString())
            return failed(m_p, QStringLiteral("unexpected content after the root value"));
        m_p = start;
        VXDictionaryRef dictionary = VXMakeDictionary();
        if (!parseDictionaryContent(1, false, *dictionary))
            return {};
        if (advanceToNonSpace())
            return failed(m_p, QStringLiteral("unexpected character '%1' in a strings file").arg(QChar(*m_p)));
        return VXValue(std::move(dictionary));
    }

private:
    enum class Result { Found, Absent, Failed };

    bool fail(const char16_t *at, const QString &message)
    {
        // Lines as the format counts them: \r\n, \r and \n each end one.
        int line = 1;
        for (const char16_t *p = m_begin; p < at && p < m_end; ++p) {
            if (*p == u'\r') {
                ++line;
                if (p + 1 < at && p[1] == u'\n')
                    ++p;
            } else if (*p == u'\n') {
                ++line;
            }
        }
        qCWarning(lcPlist).noquote()
            << QStringLiteral("cannot read old-style property list: %1 at line %2").arg(message, QString::number(line));
        return false;
    }
    VXValue failed(const char16_t *at, const QString &message)
    {
        fail(at, message);
        return {};
    }

    // Skips whitespace (with the Unicode line and paragraph separators) and comments; false at
    // the end of the text. An unterminated /* comment runs to the end.
    bool advanceToNonSpace()
    {
        while (m_p < m_end) {
            const char16_t c = *m_p;
            if ((c >= 9 && c <= 0x0D) || c == u' ' || c == 0x2028 || c == 0x2029) {
                ++m_p;
            } else if (c == u'/' && m_p + 1 < m_end && m_p[1] == u'/') {
                m_p += 2;
                while (m_p < m_end && *m_p != u'\n' && *m_p != u'\r' && *m_p != 0x2028 && *m_p != 0x2029)
                    ++m_p;
            } else if (c == u'/' && m_p + 1 < m_end && m_p[1] == u'*') {
                m_p += 2;
                while (m_p < m_end && !(*m_p == u'*' && m_p + 1 < m_end && m_p[1] == u'/'))
                    ++m_p;
                m_p = m_p < m_end ? m_p + 2 : m_end;
            } else {
                return true;
            }
        }
        return false;
    }

    QString describeHere() const
    {
        if (m_p >= m_end)
            return QStringLiteral("unexpected end of data");
        return QStringLiteral("unexpected character '%1'").arg(QChar(*m_p));
    }

    bool parseRequiredObject(int depth, VXValue &out)
    {
        const Result result = parseObject(depth, out);
        if (result == Result::Absent)
            return fail(m_p, describeHere());
        return result == Result::Found;
    }

    Result parseObject(int depth, VXValue &out)
    {
        if (!advanceToNonSpace())
            return Result::Absent;
        const char16_t c = *m_p;
        bool ok = true;
        if (c == u'{') {
            ++m_p;
            ok = parseDictionary(depth, out);
        } else if (c == u'(') {
            ++m_p;
            ok = parseArray(depth, out);
        } else if (c == u'<') {
            ++m_p;
            ok = parseData(out);
        } else if (c == u'"' || c == u'\'' || isUnquotedCharacter(c)) {
            QString text;
            ok = parseString(text) == Result::Found;
            if (ok)
                out = VXValue(text);
        } else {
            return Result::Absent;
        }
        return ok ? Result::Found : Result::Failed;
    }

    // A quoted or unquoted string after optional whitespace; Absent when none starts here.
    Result parseString(QString &out)
    {
        if (!advanceToNonSpace())
            return Result::Absent;
        const char16_t c = *m_p;
        if (c == u'"' || c == u'\'')
            return parseQuotedString(out) ? Result::Found : Result::Failed;
        if (!isUnquotedCharacter(c))
            return Result::Absent;
        const char16_t *start = m_p;
        while (m_p < m_end && isUnquotedCharacter(*m_p))
            ++m_p;
        out = QString(reinterpret_cast<const QChar *>(start), m_p - start);
        return Result::Found;
    }

    bool parseQuotedString(QString &out)
    {
        const char16_t *const opening = m_p;
        const char16_t quote = *m_p++;
        out.clear();
        const char16_t *mark = m_p;
        while (m_p < m_end && *m_p != quote) {
            if (*m_p != u'\\') {
                ++m_p;
                continue;
            }
            out.append(reinterpret_cast<const QChar *>(mark), m_p - mark);
            ++m_p;
            if (m_p >= m_end)
                break;
            out.append(QChar(escapedCharacter()));
            mark = m_p;
        }
        if (m_p >= m_end)
            return fail(opening, QStringLiteral("unterminated quoted string"));
        out.append(reinterpret_cast<const QChar *>(mark), m_p - mark);
        ++m_p;
        // \U escapes may spell a surrogate pair in two halves, but not half of one.
        if (hasUnpairedSurrogate(out))
            return fail(opening, QStringLiteral("a \\U escape that is half of a surrogate pair"));
        return true;
    }

    static bool hasUnpairedSurrogate(const QString &text)
    {
        for (qsizetype i = 0; i < text.size(); ++i) {
            const QChar c = text.at(i);
            if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
                ++i;
            else if (c.isSurrogate())
                return true;
        }
        return false;
    }

    // The character after a backslash; m_p is on it.
    char16_t escapedCharacter()
    {
        const char16_t c = *m_p++;
        switch (c) {
        case u'0':
        case u'1':
        case u'2':
        case u'3':
        case u'4':
        case u'5':
        case u'6':
        case u'7': {
            // At most three digits, the value kept to one byte as the format has always done.
            auto byte = static_cast<std::uint8_t>(c - u'0');
            for (int i = 0; i < 2 && m_p < m_end && *m_p >= u'0' && *m_p <= u'7'; ++i)
                byte = static_cast<std::uint8_t>((byte << 3) + (*m_p++ - u'0'));
            return byte < 0x80 ? char16_t(byte) : kNextStepUpperHalf[byte - 0x80];
        }
        case u'U': {
            char16_t value = 0;
            for (int i = 0; i < 4 && m_p < m_end && hexValue(*m_p) >= 0; ++i)
                value = static_cast<char16_t>((value << 4) | hexValue(*m_p++));
            return value;
        }
        case u'a': return u'\a';
        case u'b': return u'\b';
        case u'f': return u'\f';
        case u'n': return u'\n';
        case u'r': return u'\r';
        case u't': return u'\t';
        case u'v': return u'\v';
        default: return c;   // \" \' \\ and any other character stand for themselves
        }
    }

    bool enterContainer(int depth)
    {
        if (depth > VXPropertyListSerialization::kMaximumDepth)
            return fail(
                m_p, QStringLiteral("nesting deeper than %1 levels").arg(VXPropertyListSerialization::kMaximumDepth));
        return true;
    }

    bool parseArray(int depth, VXValue &out)
    {
        if (!enterContainer(depth))
            return false;
        VXArrayRef array = VXMakeArray();
        VXValue item;
        Result result = parseObject(depth + 1, item);
        while (result == Result::Found) {
            array->append(std::move(item));
            item = VXValue();
            if (!advanceToNonSpace())
                return fail(m_p, QStringLiteral("expected ',' or ')' in an array"));
            if (*m_p != u',')
                break;
            ++m_p;
            result = parseObject(depth + 1, item);
        }
        if (result == Result::Failed)
            return false;
        if (!advanceToNonSpace() || *m_p != u')')
            return fail(m_p, QStringLiteral("expected ')' at the end of an array, found %1").arg(describeHere()));
        ++m_p;
        out = VXValue(std::move(array));
        return true;
    }

    bool parseDictionary(int depth, VXValue &out)
    {
        if (!enterContainer(depth))
            return false;
        VXDictionaryRef dictionary = VXMakeDictionary();
        if (!parseDictionaryContent(depth, true, *dictionary))
            return false;
        if (!advanceToNonSpace() || *m_p != u'}')
            return fail(m_p, QStringLiteral("expected '}' at the end of a dictionary, found %1").arg(describeHere()));
        ++m_p;
        out = VXValue(std::move(dictionary));
        return true;
    }

    // key = value; pairs up to the first thing that is not a key. "key;" stands for key = key.
    // Inside braces the last ";" may be missing.
    bool parseDictionaryContent(int depth, bool braces, VXDictionary &dictionary)
    {
        for (;;) {
            QString key;
            const Result keyResult = parseString(key);
            if (keyResult == Result::Failed)
                return false;
            if (keyResult == Result::Absent)
                return true;
            if (!advanceToNonSpace())
                return fail(m_p, QStringLiteral("missing ';' after key \"%1\"").arg(key));
            VXValue value;
            if (*m_p == u';') {
                value = VXValue(key);
            } else if (*m_p == u'=') {
                ++m_p;
                if (!parseRequiredObject(depth + 1, value))
                    return false;
            } else {
                return fail(m_p, QStringLiteral("expected '=' or ';' after key \"%1\"").arg(key));
            }
            dictionary.insert(key, std::move(value));
            if (!advanceToNonSpace())
                return fail(m_p, QStringLiteral("missing ';' after the value of \"%1\"").arg(key));
            if (*m_p == u';')
                ++m_p;
            else if (braces && *m_p == u'}')
                return true;
            else
                return fail(m_p, QStringLiteral("missing ';' after the value of \"%1\"").arg(key));
        }
    }

    // Hex bytes in pairs, whitespace allowed between pairs, up to '>'; m_p is after the '<'.
    bool parseData(VXValue &out)
    {
        if (m_p < m_end && *m_p == u'*')
            return parseTypedValue(out);
        QByteArray bytes;
        while (m_p < m_end) {
            const char16_t c = *m_p;
            if (c == u'>') {
                ++m_p;
                out = VXValue(bytes);
                return true;
            }
            const int high = hexValue(c);
            if (high >= 0) {
                const int low = m_p + 1 < m_end ? hexValue(m_p[1]) : -1;
                if (low < 0)
                    return fail(m_p, QStringLiteral("odd number of hex digits in data"));
                bytes.append(static_cast<char>((high << 4) | low));
                m_p += 2;
            } else if (c == u' ' || c == u'\n' || c == u'\t' || c == u'\r' || c == 0x2028 || c == 0x2029) {
                ++m_p;
            } else {
                return fail(m_p, QStringLiteral("invalid character '%1' in data").arg(QChar(c)));
            }
        }
        return fail(m_p, QStringLiteral("unterminated data"));
    }

    // GNUstep's <*I...>, <*R...>, <*BY>, <*BN> and <*D...>; m_p is on the '*'.
    bool parseTypedValue(VXValue &out)
    {
        const char16_t *const start = m_p - 1;
        const char16_t *close = m_p;
        while (close < m_end && *close != u'>')
            ++close;
        if (close >= m_end || close - m_p < 2)
            return fail(start, QStringLiteral("unterminated typed value"));
        const char16_t type = m_p[1];
        const QString body = QString(reinterpret_cast<const QChar *>(m_p + 2), close - m_p - 2).trimmed();
        const std::string text = body.toStdString();
        const char *const begin = text.c_str();
        const char *const end = begin + text.size();
        bool ok = false;
        switch (type) {
        case u'I': {
            std::int64_t value = 0;
            std::uint64_t large = 0;
            if (std::from_chars_result r = std::from_chars(begin, end, value);
                !text.empty() && r.ec == std::errc() && r.ptr == end) {
                out = VXValue(static_cast<long long>(value));
                ok = true;
            } else if (std::from_chars_result u = std::from_chars(begin, end, large);
                       !text.empty() && u.ec == std::errc() && u.ptr == end) {
                out = VXValue::unsignedInteger(large);
                ok = true;
            }
            break;
        }
        case u'R': {
            double value = 0.0;
            const char *digits = !text.empty() && text.front() == '+' ? begin + 1 : begin;
            const std::from_chars_result r = std::from_chars(digits, end, value);
            ok = !text.empty() && r.ec == std::errc() && r.ptr == end && (digits == begin || *digits != '-');
            if (ok)
                out = VXValue(value);
            break;
        }
        case u'B':
            ok = text == "Y" || text == "N";
            if (ok)
                out = VXValue(text == "Y");
            break;
        case u'D': {
            double since2001 = 0.0;
            ok = parseGNUstepDate(text, since2001);
            if (ok)
                out = VXValue::dateSince2001(since2001);
            break;
        }
        default: return fail(start, QStringLiteral("unknown typed value <*%1").arg(QChar(type)));
        }
        if (!ok)
            return fail(start, QStringLiteral("invalid typed value <*%1%2>").arg(QChar(type)).arg(body.left(40)));
        m_p = close + 1;
        return true;
    }

    const char16_t *const m_begin;
    const char16_t *m_p;
    const char16_t *const m_end;
};

}   // namespace

VXValue VXOpenStepPropertyListReader::read(const QByteArray &data)
{
    const bool littleEndian = data.startsWith("\xFF\xFE");
    const bool utf16 = littleEndian || data.startsWith("\xFE\xFF");
    QStringDecoder decoder(utf16 ? (littleEndian ? QStringConverter::Utf16LE : QStringConverter::Utf16BE)
                                 : QStringConverter::Utf8,
                           QStringConverter::Flag::Stateless);
    const QString text = decoder.decode(data);
    if (decoder.hasError()) {
        qCWarning(lcPlist).noquote() << QStringLiteral("cannot read old-style property list: the text is not valid %1")
                                            .arg(utf16 ? QStringLiteral("UTF-16") : QStringLiteral("UTF-8"));
        return {};
    }
    return Parser(text).readDocument();
}
