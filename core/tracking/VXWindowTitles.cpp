#include "VXWindowTitles.h"

#include <algorithm>

namespace {

bool isControl(char16_t c)
{
    return c < 0x20 || (c >= 0x7F && c <= 0x9F);
}

bool isBreak(char16_t c)
{
    return c == u'\t' || c == u'\n' || c == u'\r' || c == 0x0B || c == 0x0C || c == 0x85;
}

// UTF-8 bytes of one UTF-16 code unit run: a surrogate pair is 4 bytes, counted on its high half.
qsizetype utf8Length(char16_t c)
{
    if (c < 0x80)
        return 1;
    if (c < 0x800)
        return 2;
    if (QChar::isLowSurrogate(c))
        return 0;
    return QChar::isHighSurrogate(c) ? 4 : 3;
}

// The length of the longest prefix of `bytes` within `limit` bytes that ends on a character
// boundary (before a lead byte, never inside a sequence).
qsizetype boundaryAtOrBefore(QByteArrayView bytes, qsizetype limit)
{
    qsizetype end = std::min(limit, bytes.size());
    if (end == bytes.size())
        return end;
    while (end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80)
        --end;
    return end;
}

// Where a sequence left incomplete at the very end begins; bytes.size() when the last sequence
// is complete (or not a sequence at all).
qsizetype incompleteTail(QByteArrayView bytes)
{
    const qsizetype size = bytes.size();
    for (qsizetype back = 1; back <= 3 && back <= size; ++back) {
        const auto byte = static_cast<unsigned char>(bytes[size - back]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const qsizetype needed = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return needed > back ? size - back : size;
    }
    return size;
}

}   // namespace

QString VXWindowTitleFromUtf8(QByteArrayView bytes, bool truncated)
{
    const bool cut = bytes.size() > kVXMaxWindowTitleBytes;
    bytes = bytes.first(boundaryAtOrBefore(bytes, kVXMaxWindowTitleBytes));
    if (truncated && !cut)
        bytes = bytes.first(incompleteTail(bytes));
    return VXCleanWindowTitle(QString::fromUtf8(bytes));
}

QString VXCleanWindowTitle(const QString &title)
{
    // The common title is already clean and short: share it rather than copy it.
    bool clean = title.size() * 3 <= kVXMaxWindowTitleBytes;
    for (qsizetype i = 0; clean && i < title.size(); ++i) {
        const char16_t c = title[i].unicode();
        clean = !isControl(c) && !QChar::isSurrogate(c);
    }
    if (clean)
        return title;

    QString result;
    result.reserve(std::min<qsizetype>(title.size(), kVXMaxWindowTitleBytes));
    qsizetype bytes = 0;
    for (qsizetype i = 0; i < title.size(); ++i) {
        char16_t c = title[i].unicode();
        const bool pair
            = QChar::isHighSurrogate(c) && i + 1 < title.size() && QChar::isLowSurrogate(title[i + 1].unicode());
        if (QChar::isSurrogate(c) && !pair)
            c = QChar::ReplacementCharacter;
        else if (isControl(c)) {
            if (!isBreak(c))
                continue;
            c = u' ';
        }
        bytes += utf8Length(c);
        if (bytes > kVXMaxWindowTitleBytes)
            break;
        result.append(QChar(c));
        if (pair)
            result.append(title[++i]);
    }
    return result;
}
