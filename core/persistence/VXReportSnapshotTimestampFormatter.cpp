#include "VXReportSnapshotTimestampFormatter.h"

#include "VXPersistenceLogging.h"

#include <QString>

#include <charconv>

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

double decimalNumber(std::string_view cell, char decimal, char grouping)
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

} // namespace

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
        qCInfo(lcPersistence).noquote() << VXFillFormat(kInferredMessage, {QString(m_decimal), QString(m_grouping)});
    } else {
        m_kind = Kind::Localized;
        m_locale = QLocale();
        m_decimal = separator;
        m_grouping = QChar();
        qCInfo(lcPersistence).noquote() << VXFillFormat(kLocalizedMessage, {QString(separator)});
    }
    return true;
}

double VXReportSnapshotTimestampFormatter::numberFromCell(std::string_view cell) const
{
    switch (m_kind) {
    case Kind::None:
        return 0.0;
    case Kind::Decimal:
        return decimalNumber(cell, static_cast<char>(m_decimal.unicode()), static_cast<char>(m_grouping.unicode()));
    case Kind::Localized: {
        if (cell.size() > kLongestNumber)
            return 0.0;
        bool ok = false;
        const double value = m_locale.toDouble(
            QString::fromUtf8(cell.data(), static_cast<qsizetype>(cell.size())).trimmed(), &ok);
        return ok ? value : 0.0;
    }
    }
    return 0.0;
}
