#include "VXTerminalText.h"

#include <QChar>

#include <algorithm>

namespace {

// Unicode's wide and full-width blocks (East Asian Width W and F) and the emoji blocks that
// terminals draw two columns wide.
bool isWide(char32_t c)
{
    static constexpr struct {
        char32_t first;
        char32_t last;
    } ranges[] = {
        {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},   {0x2614, 0x2615},
        {0x2648, 0x2653},   {0x26A1, 0x26A1},   {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},
        {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F5},   {0x26FA, 0x26FD},   {0x2705, 0x2705},
        {0x2728, 0x2728},   {0x274C, 0x274C},   {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},
        {0x27B0, 0x27B0},   {0x27BF, 0x27BF},   {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},
        {0x2E80, 0x303E},   {0x3041, 0x33FF},   {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},
        {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},
        {0xFF00, 0xFF60},   {0xFFE0, 0xFFE6},   {0x16FE0, 0x16FE4}, {0x17000, 0x18CFF}, {0x1B000, 0x1B2FF},
        {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F251},
        {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F7E0, 0x1F7EB}, {0x1F90C, 0x1F9FF}, {0x1FA70, 0x1FAFF},
        {0x20000, 0x2FFFD}, {0x30000, 0x3FFFD},
    };
    for (const auto &range : ranges) {
        if (c < range.first)
            return false;
        if (c <= range.last)
            return true;
    }
    return false;
}

bool isLineBreakOrControl(char32_t c)
{
    if (c < 0x80)
        return c < 0x20 || c == 0x7F;
    return QChar::category(c) == QChar::Other_Control || c == 0x2028 || c == 0x2029;
}

int widthOf(char32_t c)
{
    if (c < 0x80)
        return 1;   // printable, or a control shown as a blank
    if (isLineBreakOrControl(c))
        return 1;   // shown as a blank
    switch (QChar::category(c)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format: return 0;
    default: return isWide(c) ? 2 : 1;
    }
}

// Calls `visit` with each code point (a lone surrogate as itself); stops when it answers false.
template <typename Visit> void forEachCodePoint(QStringView text, Visit visit)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        char32_t c = text[i].unicode();
        if (QChar::isHighSurrogate(c) && i + 1 < text.size() && text[i + 1].isLowSurrogate()) {
            c = QChar::surrogateToUcs4(text[i], text[i + 1]);
            ++i;
        }
        if (!visit(c))
            return;
    }
}

}   // namespace

qsizetype VXDisplayWidth(QStringView text)
{
    qsizetype width = 0;
    forEachCodePoint(text, [&](char32_t c) {
        width += widthOf(c);
        return true;
    });
    return width;
}

QString VXTerminalCell(QStringView text, qsizetype maximumWidth, qsizetype *cellWidth)
{
    // Printable ASCII, most titles: a column a character, nothing to replace.
    if (maximumWidth > 0
        && std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() >= 0x20 && c.unicode() < 0x7F; })) {
        if (text.size() <= maximumWidth) {
            if (cellWidth)
                *cellWidth = text.size();
            return text.toString();
        }
        if (cellWidth)
            *cellWidth = maximumWidth;
        return text.left(maximumWidth - 1).toString() + QChar(0x2026);
    }
    const bool cut = VXDisplayWidth(text) > maximumWidth;
    const qsizetype room = cut ? maximumWidth - 1 : maximumWidth;   // the ellipsis takes one
    // No character becomes more than it was: the text's length and the ellipsis are room enough.
    QString cell(text.size() + 1, Qt::Uninitialized);
    QChar *end = cell.data();
    qsizetype width = 0;
    forEachCodePoint(text, [&](char32_t c) {
        const int columns = widthOf(c);
        if (width + columns > room)
            return false;
        width += columns;
        if (isLineBreakOrControl(c)) {
            *end++ = u' ';
        } else if (c < 0xD800) {
            *end++ = QChar(c);
        } else {
            const QString character = QString::fromUcs4(&c, 1);
            end = std::copy(character.cbegin(), character.cend(), end);
        }
        return true;
    });
    if (cut) {
        *end++ = QChar(0x2026);
        ++width;
    }
    cell.truncate(end - cell.constData());
    if (cellWidth)
        *cellWidth = width;
    return cell;
}

QString VXPadToWidth(const QString &text, qsizetype width, bool alignRight)
{
    const qsizetype missing = width - VXDisplayWidth(text);
    if (missing <= 0)
        return text;
    return alignRight ? QString(missing, u' ') + text : text + QString(missing, u' ');
}
