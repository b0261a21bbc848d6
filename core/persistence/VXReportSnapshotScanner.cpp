#include "VXReportSnapshotScanner.h"

#include "VXReportSnapshotParser.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <algorithm>
#include <bit>
#include <cstring>
#include <thread>

namespace {

// Text quoted in a log line is cut to this many bytes.
constexpr std::size_t kLoggedTextLength = 200;

using Survey = VXReportSnapshotScanner::Survey;

// The number of bits set in a block's mask, which is mostly 0 (quotes are rare).
int bitCount(unsigned mask)
{
    int count = 0;
    for (; mask != 0; mask &= mask - 1)
        ++count;
    return count;
}

// The survey of the bytes [begin, end) of the text, in one pass: sixteen bytes at a time, their
// quotes counted together, stopping only at non-ASCII bytes (a character to check) and at "["
// (where the placeholder's text may start). An occurrence of the placeholder that starts in the
// range counts, wherever it ends.
Survey surveyRange(std::string_view text, std::size_t begin, std::size_t end, std::string_view placeholder)
{
    Survey result;
    const auto *s = reinterpret_cast<const unsigned char *>(text.data());
    const char first = placeholder.front();
    const auto placeholderAt = [&](std::size_t at) {
        return text.size() - at >= placeholder.size()
            && std::memcmp(text.data() + at, placeholder.data(), placeholder.size()) == 0;
    };
    // The byte at i, which is not a quote: a character to check, or "[" to look at.
    const auto special = [&](std::size_t &i) {
        if (s[i] < 0x80) {
            if (s[i] == static_cast<unsigned char>(first) && !result.placeholder && placeholderAt(i))
                result.placeholder = true;
            ++i;
            return true;
        }
        // Text that is not ASCII comes in runs (a word, a title): checked in one go.
        do {
            const int length = VXReportSnapshotScanner::utf8CharacterLength(s, i, end);
            if (length == 0)
                return false;
            i += static_cast<std::size_t>(length);
        } while (i < end && s[i] >= 0x80);
        return true;
    };
    std::size_t i = begin;
#if defined(__SSE2__)
    const __m128i quoteBytes = _mm_set1_epi8('"');
    const __m128i firstBytes = _mm_set1_epi8(first);
    while (end - i >= 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(s + i));
        const auto stops = static_cast<unsigned>(_mm_movemask_epi8(bytes))
            | static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, firstBytes)));
        const auto quotes = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, quoteBytes)));
        if (stops == 0) {
            result.quotes += static_cast<std::size_t>(bitCount(quotes));
            i += 16;
            continue;
        }
        // The quotes before the first stop, then the stop; the next block starts after it.
        const int at = std::countr_zero(stops);
        result.quotes += static_cast<std::size_t>(bitCount(quotes & ((1u << at) - 1)));
        i += static_cast<std::size_t>(at);
        if (!special(i)) {
            result.valid = false;   // the text is refused: the rest does not matter
            return result;
        }
    }
#endif
    while (i < end) {
        if (s[i] == '"') {
            ++result.quotes;
            ++i;
        } else if (s[i] < 0x80 && s[i] != static_cast<unsigned char>(first)) {
            ++i;
        } else if (!special(i)) {
            result.valid = false;
            return result;
        }
    }
    return result;
}

}   // namespace

QString VXReportSnapshotScanner::excerpt(const char *begin, const char *end)
{
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(end - begin), kLoggedTextLength);
    QString text = QString::fromUtf8(begin, static_cast<qsizetype>(length));
    if (length < static_cast<std::size_t>(end - begin))
        text += QStringLiteral("...");
    return text;
}

int VXReportSnapshotScanner::utf8CharacterLength(const unsigned char *s, std::size_t i, std::size_t n)
{
    const unsigned char c = s[i];
    if (c < 0xC2)
        return 0;
    if (c < 0xE0)
        return (i + 1 >= n || (s[i + 1] & 0xC0) != 0x80) ? 0 : 2;
    if (c < 0xF0) {
        if (i + 2 >= n || (s[i + 1] & 0xC0) != 0x80 || (s[i + 2] & 0xC0) != 0x80)
            return 0;
        if ((c == 0xE0 && s[i + 1] < 0xA0) || (c == 0xED && s[i + 1] >= 0xA0))
            return 0;
        return 3;
    }
    if (c < 0xF5) {
        if (i + 3 >= n || (s[i + 1] & 0xC0) != 0x80 || (s[i + 2] & 0xC0) != 0x80 || (s[i + 3] & 0xC0) != 0x80)
            return 0;
        if ((c == 0xF0 && s[i + 1] < 0x90) || (c == 0xF4 && s[i + 1] >= 0x90))
            return 0;
        return 4;
    }
    return 0;
}

const char *VXReportSnapshotScanner::afterClosingQuote(const char *open, const char *end)
{
    const char *q = open + 1;
    while (q < end) {
        q = static_cast<const char *>(std::memchr(q, '"', static_cast<std::size_t>(end - q)));
        if (!q)
            return end;
        if (q + 1 < end && q[1] == '"') {
            q += 2;
            continue;
        }
        return q + 1;
    }
    return end;
}

std::size_t VXReportSnapshotScanner::countQuotes(const char *begin, const char *end)
{
    std::size_t quotes = 0;
    for (const char *p = begin; p < end; ++p, ++quotes) {
        p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(end - p)));
        if (!p)
            break;
    }
    return quotes;
}

void VXReportSnapshotScanner::appendUnescaped(std::string &out, const char *begin, const char *end)
{
    for (const char *p = begin; p < end; ++p) {
        out.push_back(*p);
        if (*p == '"' && p + 1 < end && p[1] == '"')
            ++p;
    }
}

VXReportSnapshotScanner::VXReportSnapshotScanner(const char *begin, const char *end, char separator) :
    m_p(begin), m_end(end), m_separator(separator)
{
    m_classes.fill(Plain);
    m_classes[static_cast<unsigned char>(separator)] = Separator;
    m_classes[static_cast<unsigned char>('"')] = Quote;
    for (unsigned char c = 0x0A; c <= 0x0D; ++c)
        m_classes[c] = LineBreak;
    m_classes[0xC2] = LineBreakLead;
    m_classes[0xE2] = LineBreakLead;
    m_placeholder = VXReportSnapshotParser::kQuotedStringPlaceholder.toStdString();
}

void VXReportSnapshotScanner::usePlaceholders(std::vector<std::pair<const char *, const char *>> quotedTexts)
{
    m_placeholderInText = true;
    m_quotedTexts = std::move(quotedTexts);
}

VXReportSnapshotScanner::CellEnd VXReportSnapshotScanner::scanCell(Cell &cell)
{
    cell.begin = m_p;
    cell.hasQuote = false;
    for (;;) {
        m_p = skipPlain(m_p);
        if (m_p == m_end) {
            cell.end = m_p;
            return CellEnd::EndOfText;
        }
        switch (m_classes[static_cast<unsigned char>(*m_p)]) {
        case Separator:
            cell.end = m_p;
            ++m_p;
            return CellEnd::Separator;
        case Quote:
            cell.hasQuote = true;
            m_p = afterClosingQuote(m_p, m_end);
            break;
        case LineBreak: cell.end = m_p; return CellEnd::LineBreak;
        case LineBreakLead:
            if (lineBreakLength(m_p, m_end) > 0) {
                cell.end = m_p;
                return CellEnd::LineBreak;
            }
            ++m_p;
            break;
        case Plain:
            // Flagged by the fast skip (a control character, or a lead byte that starts no line
            // break): text like any other.
            ++m_p;
            break;
        }
    }
}

// The first byte at or after p that may not be plain text: the separator, a quote, a control
// character (0x0A to 0x0D end lines) or the lead byte of U+0085, U+2028 or U+2029 (which end
// lines too), or the end. Sixteen (or eight) bytes at a time while far enough from the end.
const char *VXReportSnapshotScanner::skipPlain(const char *p) const
{
#if defined(__SSE2__)
    const __m128i separatorBytes = _mm_set1_epi8(m_separator);
    const __m128i quoteBytes = _mm_set1_epi8('"');
    const __m128i lead85Bytes = _mm_set1_epi8(static_cast<char>(0xC2));
    const __m128i lead2028Bytes = _mm_set1_epi8(static_cast<char>(0xE2));
    const __m128i controlBytes = _mm_set1_epi8(0x0D);
    while (m_end - p >= 16) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const __m128i special = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi8(bytes, separatorBytes), _mm_cmpeq_epi8(bytes, quoteBytes)),
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, lead85Bytes), _mm_cmpeq_epi8(bytes, lead2028Bytes)),
                         _mm_cmpeq_epi8(_mm_min_epu8(bytes, controlBytes), bytes)));
        const int mask = _mm_movemask_epi8(special);
        if (mask != 0)
            return p + std::countr_zero(static_cast<unsigned>(mask));
        p += 16;
    }
#endif
    if constexpr (std::endian::native == std::endian::little) {
        constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
        constexpr std::uint64_t kHighs = 0x8080808080808080ULL;
        const std::uint64_t separators = kOnes * static_cast<unsigned char>(m_separator);
        const std::uint64_t quotes = kOnes * static_cast<unsigned char>('"');
        while (m_end - p >= 8) {
            std::uint64_t word;
            std::memcpy(&word, p, 8);
            const std::uint64_t separator = word ^ separators;
            const std::uint64_t quote = word ^ quotes;
            const std::uint64_t lead85 = word ^ (kOnes * 0xC2);
            const std::uint64_t lead2028 = word ^ (kOnes * 0xE2);
            // A byte is flagged when it is zero in one of the compared words or is below 0x0E;
            // only the lowest flag is exact, which is the one taken.
            const std::uint64_t flags = ((separator - kOnes) & ~separator) | ((quote - kOnes) & ~quote)
                | ((lead85 - kOnes) & ~lead85) | ((lead2028 - kOnes) & ~lead2028) | ((word - kOnes * 0x0E) & ~word);
            const std::uint64_t special = flags & kHighs;
            if (special)
                return p + (std::countr_zero(special) >> 3);
            p += 8;
        }
    }
    while (p < m_end && m_classes[static_cast<unsigned char>(*p)] == Plain)
        ++p;
    return p;
}

#if defined(__SSE2__)
// Bit k is set when p[k] is a byte skipPlain() stops at, for the 64 bytes from p.
std::uint64_t VXReportSnapshotScanner::stopMask(const char *p) const
{
    const __m128i separatorBytes = _mm_set1_epi8(m_separator);
    const __m128i quoteBytes = _mm_set1_epi8('"');
    const __m128i lead85Bytes = _mm_set1_epi8(static_cast<char>(0xC2));
    const __m128i lead2028Bytes = _mm_set1_epi8(static_cast<char>(0xE2));
    const __m128i controlBytes = _mm_set1_epi8(0x0D);
    std::uint64_t mask = 0;
    for (int k = 0; k < 4; ++k) {
        const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 16 * k));
        const __m128i special = _mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi8(bytes, separatorBytes), _mm_cmpeq_epi8(bytes, quoteBytes)),
            _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(bytes, lead85Bytes), _mm_cmpeq_epi8(bytes, lead2028Bytes)),
                         _mm_cmpeq_epi8(_mm_min_epu8(bytes, controlBytes), bytes)));
        mask |= static_cast<std::uint64_t>(static_cast<unsigned>(_mm_movemask_epi8(special))) << (16 * k);
    }
    return mask;
}
#endif

// A line without quotes, read in one pass. False, with nothing read, at the first quote: such
// a line is read cell by cell.
bool VXReportSnapshotScanner::readPlainLine(const KeptColumns &keptColumns, Cells &cells, std::size_t *columns)
{
    const char *p = m_p;
    const char *cellBegin = p;
    std::size_t column = 0;
    auto kept = keptColumns.begin();
    std::size_t nextKept = kept != keptColumns.end() ? kept->first : std::size_t(-1);
    const auto endCell = [&](const char *cellEnd) {
        if (column == nextKept) {
            cells[kept->second] = std::string_view(cellBegin, static_cast<std::size_t>(cellEnd - cellBegin));
            ++kept;
            nextKept = kept != keptColumns.end() ? kept->first : std::size_t(-1);
        }
        ++column;
    };
    // What one byte that skipPlain() stops at does to the line: ends a cell, ends the line, or
    // nothing (a control character or a lead byte that starts no line break). False at a quote.
    bool lineEnded = false;
    const auto stop = [&](const char *at) {
        const auto c = static_cast<unsigned char>(*at);
        if (c == static_cast<unsigned char>(m_separator)) {
            endCell(at);
            cellBegin = at + 1;
        } else if (c == '"') {
            return false;
        } else if ((c >= 0x0A && c <= 0x0D) || (c >= 0x80 && lineBreakLength(at, m_end) > 0)) {
            p = at;
            lineEnded = true;
        }
        return true;
    };
#if defined(__SSE2__)
    // Sixty-four bytes at a time while far enough from the end: one mask of the bytes to stop
    // at, taken bit by bit (a line's cells are short, so this saves a search per cell).
    for (const char *block = p; !lineEnded; block += 64) {
        if (m_end - block < 64) {
            p = block;
            break;
        }
        for (std::uint64_t mask = stopMask(block); mask != 0 && !lineEnded; mask &= mask - 1) {
            if (!stop(block + std::countr_zero(mask)))
                return false;
        }
    }
#endif
    while (!lineEnded) {
        p = skipPlain(p);
        if (p == m_end)
            break;
        if (!stop(p))
            return false;
        if (!lineEnded)
            ++p;
    }
    endCell(p);
    m_p = p;
    *columns = column;
    return true;
}

std::size_t VXReportSnapshotScanner::readLine(const KeptColumns &keptColumns, Cells &cells)
{
    cells.fill(std::string_view());
    std::size_t column = 0;
    m_lastLinePlain = !m_placeholderInText && readPlainLine(keptColumns, cells, &column);
    if (m_lastLinePlain)
        return column;
    cells.fill(std::string_view());
    auto kept = keptColumns.begin();
    Cell cell;
    CellEnd ending;
    do {
        ending = scanCell(cell);
        const bool keep = kept != keptColumns.end() && kept->first == column;
        const std::string_view text = cellText(cell, keep ? m_scratch[kept->second] : m_unused, keep);
        if (keep) {
            cells[kept->second] = text;
            ++kept;
        }
        ++column;
    } while (ending == CellEnd::Separator);
    return column;
}

void VXReportSnapshotScanner::appendPlaceholder(std::string &out, bool keep)
{
    const std::size_t index = m_nextQuotedText++;
    if (!keep)
        return;
    if (index < m_quotedTexts.size())
        appendUnescaped(out, m_quotedTexts[index].first, m_quotedTexts[index].second);
    else
        out.append(m_placeholder);
}

void VXReportSnapshotScanner::appendPlain(std::string &out, const char *begin, const char *end, bool keep)
{
    if (m_placeholderInText) {
        const std::string_view text(begin, static_cast<std::size_t>(end - begin));
        std::size_t position = 0;
        for (;;) {
            const std::size_t found = text.find(m_placeholder, position);
            if (found == std::string_view::npos)
                break;
            if (keep)
                out.append(text.substr(position, found - position));
            appendPlaceholder(out, keep);
            position = found + m_placeholder.size();
        }
        if (keep)
            out.append(text.substr(position));
        return;
    }
    if (keep)
        out.append(begin, end);
}

void VXReportSnapshotScanner::appendQuoted(std::string &out, const char *open, const char *close, bool keep)
{
    if (m_placeholderInText)
        appendPlaceholder(out, keep);
    else if (keep)
        appendUnescaped(out, open + 1, close);
}

std::string_view VXReportSnapshotScanner::cellText(const Cell &cell, std::string &scratch, bool keep)
{
    if (!cell.hasQuote && !m_placeholderInText)
        return std::string_view(cell.begin, static_cast<std::size_t>(cell.end - cell.begin));
    if (!keep && !m_placeholderInText)
        return {};
    scratch.clear();
    const char *p = cell.begin;
    while (p < cell.end) {
        const char *quote = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(cell.end - p)));
        if (!quote) {
            appendPlain(scratch, p, cell.end, keep);
            break;
        }
        appendPlain(scratch, p, quote, keep);
        const char *after = afterClosingQuote(quote, cell.end);
        appendQuoted(scratch, quote, after - 1, keep);
        p = after;
    }
    return scratch;
}

VXReportSnapshotScanner::Survey VXReportSnapshotScanner::survey(std::string_view text, int parts)
{
    const std::string placeholder = VXReportSnapshotParser::kQuotedStringPlaceholder.toStdString();
    const auto surveyPart
        = [&](std::size_t begin, std::size_t end) { return surveyRange(text, begin, end, placeholder); };
    std::vector<std::size_t> cuts {0};
    for (int k = 1; k < parts; ++k) {
        std::size_t cut = text.size() * static_cast<std::size_t>(k) / static_cast<std::size_t>(parts);
        while (cut < text.size() && static_cast<unsigned char>(text[cut]) >= 0x80)
            ++cut;
        if (cut > cuts.back() && cut < text.size())
            cuts.push_back(cut);
    }
    cuts.push_back(text.size());
    std::vector<Survey> results(cuts.size() - 1);
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < results.size(); ++i)
        threads.emplace_back([&, i] { results[i] = surveyPart(cuts[i], cuts[i + 1]); });
    results[0] = surveyPart(cuts[0], cuts[1]);
    for (std::thread &thread : threads)
        thread.join();
    Survey whole;
    for (const Survey &result : results) {
        whole.valid = whole.valid && result.valid;
        whole.quotes += result.quotes;
        whole.placeholder = whole.placeholder || result.placeholder;
    }
    return whole;
}
