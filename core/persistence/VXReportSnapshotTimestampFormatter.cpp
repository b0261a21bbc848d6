#include "VXReportSnapshotTimestampFormatter.h"

#include "VXPersistenceLogging.h"

#include <QString>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

const QString VXReportSnapshotTimestampFormatter::kInferredMessage
    = QStringLiteral("decimal separator: <%@> (inferred grouping separator: <%@>)");
const QString VXReportSnapshotTimestampFormatter::kLocalizedMessage
    = QStringLiteral("decimal separator: <%@> (falling back to localized formatting)");

namespace {

// The shortest cell that can hold a separator before two fraction digits: "0.00".
constexpr qsizetype kShortestTimeCell = 4;
// Longer numbers are no times: refuse them rather than copy them.
constexpr std::size_t kLongestNumber = 64;

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

// Times at or below this are no times.
constexpr double kTolerance = 0.001;

// Powers of ten that a double holds exactly.
constexpr double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                        1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};

// The long way, for numbers with more digits than a double holds exactly.
double decimalNumberByConversion(std::string_view cell, char decimal, char grouping)
{
    cell = trimmed(cell);
    char digits[kLongestNumber + 2];
    std::size_t length = 0;
    std::size_t i = 0;
    bool negative = false;
    if (i < cell.size() && (cell[i] == '+' || cell[i] == '-')) {
        negative = cell[i] == '-';
        ++i;
    }
    bool hasDigits = false;
    bool hasPoint = false;
    for (; i < cell.size(); ++i) {
        const char c = cell[i];
        if (c >= '0' && c <= '9') {
            hasDigits = true;
        } else if (c == decimal && !hasPoint) {
            hasPoint = true;
        } else if (c == grouping && !hasPoint && hasDigits) {
            continue;
        } else {
            return 0.0;
        }
        if (length >= kLongestNumber)
            return 0.0;
        digits[length++] = c == decimal ? '.' : c;
    }
    if (!hasDigits)
        return 0.0;
    double value = 0.0;
    const std::from_chars_result result = std::from_chars(digits, digits + length, value, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != digits + length)
        return 0.0;
    return negative ? -value : value;
}

// Whether the eight bytes are all ASCII digits.
bool areEightDigits(std::uint64_t word)
{
    return (((word & 0xF0F0F0F0F0F0F0F0ULL) | (((word + 0x0606060606060606ULL) & 0xF0F0F0F0F0F0F0F0ULL) >> 4))
            == 0x3333333333333333ULL);
}

// The value of eight ASCII digits loaded from memory into a little-endian word.
std::uint64_t eightDigitsValue(std::uint64_t word)
{
    word -= 0x3030303030303030ULL;
    word = (word * 10) + (word >> 8);
    word = (((word & 0x000000FF000000FFULL) * (100 + (1000000ULL << 32)))
            + (((word >> 16) & 0x000000FF000000FFULL) * (1 + (10000ULL << 32))))
        >> 32;
    return word & 0xFFFFFFFFULL;
}

// The number in one pass: the digits as a whole number M and the count k of fraction digits;
// when M is below 2^53 it is exact, and M / 10^k is then the one correctly rounded division,
// the same double as any exact conversion gives.
double decimalNumber(std::string_view cell, char decimal, char grouping)
{
    const char *p = cell.data();
    const char *end = p + cell.size();
    while (p < end && *p == ' ')
        ++p;
    while (end > p && end[-1] == ' ')
        --end;
    bool negative = false;
    if (p < end && (*p == '+' || *p == '-')) {
        negative = *p == '-';
        ++p;
    }
    // 15 digits always fit below 2^53.
    constexpr int kExactDigits = 15;
    std::uint64_t mantissa = 0;
    int digits = 0;
    int fractionDigits = -1;   // none before the decimal separator
    // Runs of digits eight at a time (the whole seconds of a time are ten digits), at the start
    // and after the decimal separator; single characters otherwise.
    bool runStart = true;
    while (p < end) {
        if constexpr (std::endian::native == std::endian::little) {
            if (runStart) {
                runStart = false;
                std::uint64_t word;
                while (end - p >= 8 && digits <= kExactDigits && (std::memcpy(&word, p, 8), areEightDigits(word))) {
                    mantissa = mantissa * 100000000ULL + eightDigitsValue(word);
                    digits += 8;
                    p += 8;
                }
                if (p == end)
                    break;
            }
        }
        const unsigned digit = static_cast<unsigned char>(*p) - unsigned('0');
        ++p;
        if (digit < 10) {
            mantissa = mantissa * 10 + digit;
            ++digits;
            continue;
        }
        const char c = p[-1];
        if (c == decimal && fractionDigits < 0) {
            fractionDigits = digits;
            runStart = true;
            continue;
        }
        if (c == grouping && fractionDigits < 0 && digits > 0) {
            runStart = true;
            continue;
        }
        return 0.0;
    }
    if (digits == 0)
        return 0.0;
    if (digits > kExactDigits)
        return decimalNumberByConversion(cell, decimal, grouping);
    const int scale = fractionDigits < 0 ? 0 : digits - fractionDigits;
    const double value = static_cast<double>(mantissa) / kExactPowersOfTen[scale];
    return negative ? -value : value;
}

}   // namespace

bool VXReportSnapshotTimestampFormatter::intervalFromCells(std::string_view beginCell, std::string_view endCell,
                                                           bool resetFormatter, double *begin, double *end)
{
    if ((resetFormatter || !isBuilt()) && !rebuildWithCell(beginCell))
        return false;
    const double first = numberFromCell(beginCell);
    if (!(first > kTolerance) || !std::isfinite(first))
        return false;
    const double last = numberFromCell(endCell);
    if (!(last > kTolerance) || !std::isfinite(last) || !(last - first > kTolerance))
        return false;
    *begin = first;
    *end = last;
    return true;
}

void VXReportSnapshotTimestampFormatter::report(const QString &message) const
{
    if (m_messageSink)
        m_messageSink(message);
    else
        qCInfo(lcPersistence).noquote() << message;
}

bool VXReportSnapshotTimestampFormatter::rebuildWithCell(std::string_view cell)
{
    m_kind = Kind::None;
    const QString text = QString::fromUtf8(cell.data(), static_cast<qsizetype>(cell.size()));
    if (text.size() < kShortestTimeCell)
        return false;
    const QChar separator = text.at(text.size() - 3);
    if (separator == u'.' || separator == u',') {
        m_kind = Kind::Decimal;
        m_decimal = separator;
        m_grouping = separator == u'.' ? QChar(u',') : QChar(u'.');
        report(VXFillFormat(kInferredMessage, {QString(m_decimal), QString(m_grouping)}));
    } else {
        m_kind = Kind::Localized;
        m_locale = QLocale();
        m_decimal = separator;
        m_grouping = QChar();
        report(VXFillFormat(kLocalizedMessage, {QString(separator)}));
    }
    return true;
}

double VXReportSnapshotTimestampFormatter::numberFromCell(std::string_view cell) const
{
    switch (m_kind) {
    case Kind::None: return 0.0;
    case Kind::Decimal:
        // The form every export writes, whole seconds and two fraction digits, read directly.
        if (cell.size() >= 4 && cell.size() <= 18 && cell[cell.size() - 3] == static_cast<char>(m_decimal.unicode())) {
            const std::size_t whole = cell.size() - 3;
            std::uint64_t mantissa = 0;
            std::size_t i = 0;
            for (; i < whole; ++i) {
                const unsigned digit = static_cast<unsigned char>(cell[i]) - unsigned('0');
                if (digit >= 10)
                    break;
                mantissa = mantissa * 10 + digit;
            }
            const unsigned tenths = static_cast<unsigned char>(cell[whole + 1]) - unsigned('0');
            const unsigned hundredths = static_cast<unsigned char>(cell[whole + 2]) - unsigned('0');
            if (i == whole && tenths < 10 && hundredths < 10)
                return static_cast<double>(mantissa * 100 + tenths * 10 + hundredths) / 100.0;
        }
        return decimalNumber(cell, static_cast<char>(m_decimal.unicode()), static_cast<char>(m_grouping.unicode()));
    case Kind::Localized: {
        if (cell.size() > kLongestNumber)
            return 0.0;
        bool ok = false;
        const double value
            = m_locale.toDouble(QString::fromUtf8(cell.data(), static_cast<qsizetype>(cell.size())).trimmed(), &ok);
        return ok ? value : 0.0;
    }
    }
    return 0.0;
}
