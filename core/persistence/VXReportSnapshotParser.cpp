#include "VXReportSnapshotParser.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXMappedTable.h"
#include "VXPersistenceLogging.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportSnapshotTimestampFormatter.h"

#include <QFile>
#include <QStringDecoder>

#include <array>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif
#include <bit>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

const QString VXReportSnapshotParser::kQuotedStringPlaceholder
    = QStringLiteral("[com.brasswing.VXReportSnapshotManager.QuotedStringPlaceholder]");
const QString VXReportSnapshotParser::kClosingQuoteMissingMessage
    = QStringLiteral("closing quote missing in CSV string: %@");
const QString VXReportSnapshotParser::kEmptyFileMessage = QStringLiteral("empty CSV file: %@");
const QString VXReportSnapshotParser::kNoHeadersMessage = QStringLiteral("no headers in CSV file: %@");
const QString VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage
    = QStringLiteral("no relevant event stream types in CSV file: %@");
const QString VXReportSnapshotParser::kNoEventStreamsMessage = QStringLiteral("no event streams in CSV file: %@");
const QString VXReportSnapshotParser::kColumnCountMessage
    = QStringLiteral("number of columns is not %lu in CSV line: %@");
const QString VXReportSnapshotParser::kNoSignificantTimestampsMessage
    = QStringLiteral("no significant timestamps in CSV file: %@");

namespace {

constexpr double kTolerance = 0.001;
// Lines with another number of cells are logged one by one up to this many, then counted.
constexpr int kLoggedColumnCountLines = 20;
// Text quoted in a log line is cut to this many bytes.
constexpr std::size_t kLoggedTextLength = 200;

const QString kApplicationGroupName = VXApplicationsKey;
const QString kPoolGroupName = VXPoolsKey;
// The application of a line that names a window but no application.
constexpr std::string_view kAnyApplicationName = "*";

// The columns the reader uses, as slots of a line's kept cells.
enum Slot : std::size_t {
    PoolSlot,
    ApplicationSlot,
    WindowSlot,
    ForegroundBeginSlot,
    ForegroundEndSlot,
    TotalBeginSlot,
    TotalEndSlot,
    SlotCount
};

enum ByteClass : std::uint8_t { Plain, Separator, Quote, LineBreak, LineBreakLead };

void logRefusal(const QString &format, const QString &path)
{
    qCWarning(lcPersistence).noquote() << VXFillFormat(format, {path});
}

QString excerpt(const char *begin, const char *end)
{
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(end - begin), kLoggedTextLength);
    QString text = QString::fromUtf8(begin, static_cast<qsizetype>(length));
    if (length < static_cast<std::size_t>(end - begin))
        text += QStringLiteral("...");
    return text;
}

// The length of the UTF-8 character that starts with the byte s[i] (at or above 0x80), or 0
// when it is no valid one: an overlong form, a surrogate, a value above U+10FFFF, or bytes
// missing before n.
int utf8CharacterLength(const unsigned char *s, std::size_t i, std::size_t n)
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

// The length of the line break at p: "\n", "\v", "\f", "\r", U+0085, U+2028 or U+2029; 0 for none.
int lineBreakLength(const char *p, const char *end)
{
    const auto c = static_cast<unsigned char>(*p);
    if (c >= 0x0A && c <= 0x0D)
        return 1;
    if (c == 0xC2 && end - p >= 2 && static_cast<unsigned char>(p[1]) == 0x85)
        return 2;
    if (c == 0xE2 && end - p >= 3 && static_cast<unsigned char>(p[1]) == 0x80
        && (static_cast<unsigned char>(p[2]) == 0xA8 || static_cast<unsigned char>(p[2]) == 0xA9))
        return 3;
    return 0;
}

// Every non-overlapping occurrence of the word taken out, left to right, in one pass.
void removeOccurrences(std::string &text, std::string_view word)
{
    std::string result;
    result.reserve(text.size());
    std::size_t position = 0;
    for (;;) {
        const std::size_t found = text.find(word, position);
        if (found == std::string::npos)
            break;
        result.append(text, position, found - position);
        position = found + word.size();
    }
    result.append(text, position, std::string::npos);
    text.swap(result);
}

// The position just after the quote that closes the quoted text opened at `open`: the next
// quote that does not start a pair of quotes. `end` when there is none.
const char *afterClosingQuote(const char *open, const char *end)
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

// The number of double quotes in the bytes.
std::size_t countQuotes(const char *begin, const char *end)
{
    std::size_t quotes = 0;
    for (const char *p = begin; p < end; ++p, ++quotes) {
        p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(end - p)));
        if (!p)
            break;
    }
    return quotes;
}

// A quick 64-bit hash of the bytes: sixteen at a time in two independent lanes (the
// multiplications of one step do not wait for each other), the last eight read where they end.
std::uint64_t hashOf(std::string_view bytes)
{
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15ULL;
    constexpr std::uint64_t kOtherMultiplier = 0xC2B2AE3D27D4EB4FULL;
    const char *data = bytes.data();
    const std::size_t size = bytes.size();
    std::uint64_t a = size * kMultiplier;
    std::uint64_t b = ~size * kOtherMultiplier;
    const auto load = [data](std::size_t at) {
        std::uint64_t word;
        std::memcpy(&word, data + at, 8);
        return word;
    };
    std::size_t i = 0;
    for (; i + 16 <= size; i += 16) {
        a = (a ^ load(i)) * kMultiplier;
        b = (b ^ load(i + 8)) * kOtherMultiplier;
        a ^= a >> 32;
        b ^= b >> 29;
    }
    if (i + 8 <= size) {
        a = (a ^ load(i)) * kMultiplier;
        a ^= a >> 32;
        i += 8;
    }
    std::uint64_t tail = 0;
    if (i < size) {
        if (size >= 8) {
            tail = load(size - 8);
        } else {
            for (std::size_t k = i; k < size; ++k)
                tail = (tail << 8) | static_cast<unsigned char>(data[k]);
        }
    }
    std::uint64_t hash = ((a ^ tail) * kMultiplier) ^ b;
    hash ^= hash >> 29;
    hash *= 0xBF58476D1CE4E5B9ULL;
    return hash ^ (hash >> 32);
}

void appendUnescaped(std::string &out, const char *begin, const char *end)
{
    for (const char *p = begin; p < end; ++p) {
        out.push_back(*p);
        if (*p == '"' && p + 1 < end && p[1] == '"')
            ++p;
    }
}

// Reads cells and lines in one range of the text. Each part of a file read in parallel has its
// own.
class Scanner
{
public:
    struct Cell {
        const char *begin = nullptr;
        const char *end = nullptr;
        bool hasQuote = false;
    };
    enum class CellEnd { Separator, LineBreak, EndOfText };
    using KeptColumns = std::vector<std::pair<std::size_t, Slot>>;

    Scanner(const char *begin, const char *end, char separator) : m_p(begin), m_end(end), m_separator(separator)
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

    const char *position() const { return m_p; }
    void setPosition(const char *p) { m_p = p; }
    bool atEnd() const { return m_p >= m_end; }
    const char *end() const { return m_end; }
    const std::string &placeholder() const { return m_placeholder; }

    // Every quoted text and every copy of the placeholder's own text become placeholders,
    // replaced in file order by the quoted texts in file order.
    void usePlaceholders(std::vector<std::pair<const char *, const char *>> quotedTexts)
    {
        m_placeholderInText = true;
        m_quotedTexts = std::move(quotedTexts);
    }
    bool usesPlaceholders() const { return m_placeholderInText; }

    CellEnd scanCell(Cell &cell);
    void skipLineBreaks();
    std::string_view cellText(const Cell &cell, std::string &scratch, bool keep);
    // The line's cells, keeping those of the kept columns; answers the number of cells.
    std::size_t readLine(const KeptColumns &kept, std::array<std::string_view, SlotCount> &cells);
    // Whether the last line's cells all lie in the text (none is a copy in the scanner's own
    // buffers, which the next line overwrites).
    bool lastLineWasPlain() const { return m_lastLinePlain; }

private:
    const char *skipPlain(const char *p) const;
#if defined(__SSE2__)
    std::uint64_t stopMask(const char *p) const;
#endif
    bool readPlainLine(const KeptColumns &kept, std::array<std::string_view, SlotCount> &cells, std::size_t *columns);
    void appendPlain(std::string &out, const char *begin, const char *end, bool keep);
    void appendQuoted(std::string &out, const char *open, const char *close, bool keep);
    void appendPlaceholder(std::string &out, bool keep);

    const char *m_p;
    const char *m_end;
    char m_separator;
    std::array<ByteClass, 256> m_classes;
    std::string m_placeholder;
    bool m_placeholderInText = false;
    std::vector<std::pair<const char *, const char *>> m_quotedTexts;
    std::size_t m_nextQuotedText = 0;
    std::array<std::string, SlotCount> m_scratch;
    std::string m_unused;
    bool m_lastLinePlain = false;
};

Scanner::CellEnd Scanner::scanCell(Cell &cell)
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
const char *Scanner::skipPlain(const char *p) const
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
std::uint64_t Scanner::stopMask(const char *p) const
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
bool Scanner::readPlainLine(const KeptColumns &keptColumns, std::array<std::string_view, SlotCount> &cells,
                            std::size_t *columns)
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

std::size_t Scanner::readLine(const KeptColumns &keptColumns, std::array<std::string_view, SlotCount> &cells)
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

void Scanner::skipLineBreaks()
{
    while (m_p < m_end) {
        const int length = lineBreakLength(m_p, m_end);
        if (length == 0)
            return;
        m_p += length;
    }
}

void Scanner::appendPlaceholder(std::string &out, bool keep)
{
    const std::size_t index = m_nextQuotedText++;
    if (!keep)
        return;
    if (index < m_quotedTexts.size())
        appendUnescaped(out, m_quotedTexts[index].first, m_quotedTexts[index].second);
    else
        out.append(m_placeholder);
}

void Scanner::appendPlain(std::string &out, const char *begin, const char *end, bool keep)
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

void Scanner::appendQuoted(std::string &out, const char *open, const char *close, bool keep)
{
    if (m_placeholderInText)
        appendPlaceholder(out, keep);
    else if (keep)
        appendUnescaped(out, open + 1, close);
}

std::string_view Scanner::cellText(const Cell &cell, std::string &scratch, bool keep)
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

// What the header says: how many cells a line has and where the used columns are.
struct Header {
    std::size_t columnCount = 0;
    std::array<std::optional<std::size_t>, SlotCount> columns;
    Scanner::KeptColumns kept;   // by column index
    bool hasForeground = false;
    bool hasTotal = false;
};

// One part of the file's lines, read on its own: the items it names (by their names, each
// once, in the order they first appear), its periods, and its log lines, in order.
struct Part {
    struct Item {
        std::uint32_t nameOffset = 0;   // the names' key in `names`
        std::uint32_t nameLength = 0;
        std::uint32_t counts[2] = {0, 0};   // periods of each stream, once collectCounts() ran
    };
    // The table from a line's names to their item: open addressing over the names' hash.
    static constexpr std::uint32_t kNoItem = 0xFFFFFFFF;
    static constexpr std::size_t kPrefixLength = 48;
    // One cache line per entry, with the start of the names in it and the item's period counts,
    // so that finding an item and counting its period usually touch this line alone. A key holds
    // each name after its length, so a key that starts with another whole key is that key: equal
    // prefixes of keys that fit them are equal keys.
    struct alignas(64) TableEntry {
        std::uint32_t hash = 0;
        std::uint32_t item = kNoItem;
        std::uint32_t counts[2] = {0, 0};
        char prefix[kPrefixLength] = {};
    };
    static_assert(sizeof(TableEntry) == 64);
    struct Period {
        std::uint32_t item;
        std::uint32_t stream;   // 0 foreground, 1 total
        double begin;
        double end;
    };
    struct Message {
        bool countsAsWrongLine;
        QString text;
    };

    std::vector<Item> items;
    std::vector<TableEntry> table;
    std::string names;
    std::string key;
    VXMappedTable<Period> periods;   // in huge pages: millions of them for a year
    std::vector<Message> messages;
    std::size_t wrongLines = 0;
    double first = -1.0;
    double last = -1.0;
    bool foregroundActivity = false;
    bool totalActivity = false;
    bool tooMany = false;
    VXReportSnapshotTimestampFormatter formatter;
    bool resetFormatter = true;

    std::uint32_t itemFor(std::string_view pool, std::string_view application, std::string_view window);
    // The same in two steps: the key of the names (each after its length) and its hash, then the
    // item of the key.
    static std::uint32_t makeKey(std::string &key, std::string_view pool, std::string_view application,
                                 std::string_view window);
    TableEntry &entryForKey(const std::string &lineKey, std::uint32_t hash);
    // The counts kept in the table put into the items.
    void collectCounts();
    // Starts loading the table entry where the key's lookup begins.
    void prefetch(std::uint32_t hash) const
    {
        if (!table.empty())
            __builtin_prefetch(&table[hash & (table.size() - 1)]);
    }
    void growTable();
};

std::uint32_t Part::makeKey(std::string &key, std::string_view pool, std::string_view application,
                            std::string_view window)
{
    key.resize(3 * sizeof(std::uint32_t) + pool.size() + application.size() + window.size());
    char *bytes = key.data();
    for (const std::string_view part : {pool, application, window}) {
        const auto length = static_cast<std::uint32_t>(part.size());
        std::memcpy(bytes, &length, sizeof length);
        bytes += sizeof length;
        if (!part.empty())
            std::memcpy(bytes, part.data(), part.size());
        bytes += part.size();
    }
    return static_cast<std::uint32_t>(hashOf(key));
}

std::uint32_t Part::itemFor(std::string_view pool, std::string_view application, std::string_view window)
{
    // One lookup per line: the three names, each after its length.
    const std::uint32_t hash = makeKey(key, pool, application, window);
    return entryForKey(key, hash).item;
}

void Part::collectCounts()
{
    for (const TableEntry &entry : table) {
        if (entry.item != kNoItem)
            std::copy(std::begin(entry.counts), std::end(entry.counts), items[entry.item].counts);
    }
}

// The key's entry, made for a new item when it has none. Valid until the next call.
Part::TableEntry &Part::entryForKey(const std::string &lineKey, std::uint32_t hash)
{
    if (table.empty() || (items.size() + 1) * 3 > table.size() * 2)
        growTable();
    const std::size_t mask = table.size() - 1;
    const std::size_t inLine = std::min(lineKey.size(), kPrefixLength);
    std::size_t index = hash & mask;
    for (;; index = (index + 1) & mask) {
        TableEntry &entry = table[index];
        if (entry.item == kNoItem)
            break;
        if (entry.hash != hash || std::memcmp(entry.prefix, lineKey.data(), inLine) != 0)
            continue;
        if (lineKey.size() <= kPrefixLength)
            return entry;
        const Item &known = items[entry.item];
        if (known.nameLength == lineKey.size()
            && std::memcmp(names.data() + known.nameOffset + kPrefixLength, lineKey.data() + kPrefixLength,
                           lineKey.size() - kPrefixLength)
                == 0)
            return entry;
    }
    TableEntry &made = table[index];
    made.hash = hash;
    made.item = static_cast<std::uint32_t>(items.size());
    std::memcpy(made.prefix, lineKey.data(), inLine);
    items.push_back({static_cast<std::uint32_t>(names.size()), static_cast<std::uint32_t>(lineKey.size()), {0, 0}});
    names.append(lineKey);
    return made;
}

void Part::growTable()
{
    std::vector<TableEntry> grown(std::max<std::size_t>(64, table.size() * 2));
    const std::size_t mask = grown.size() - 1;
    for (const TableEntry &entry : table) {
        if (entry.item == kNoItem)
            continue;
        std::size_t index = entry.hash & mask;
        while (grown[index].item != kNoItem)
            index = (index + 1) & mask;
        grown[index] = entry;
    }
    table.swap(grown);
}

// Whether the cell holds nothing but zeros, points and commas (an empty cell included): a time
// that reads as 0 with any decimal and grouping separators.
bool isZeroTime(std::string_view cell)
{
    for (const char c : cell) {
        if (c != '0' && c != '.' && c != ',')
            return false;
    }
    return true;
}

// A line read and checked, waiting for its item and periods.
struct LineNames {
    std::array<std::string_view, SlotCount> cells;
    std::string key;
    std::uint32_t hash = 0;
};

// The line's item and periods. False when the part holds too many items or intervals.
bool finishLine(const Header &header, Part &part, const LineNames &line)
{
    Part::TableEntry &entry = part.entryForKey(line.key, line.hash);
    const std::uint32_t item = entry.item;
    if (part.items.size() > VXReportSnapshotParser::kMaximumItems) {
        part.tooMany = true;
        return false;
    }
    const auto addPeriod = [&](Slot beginSlot, Slot endSlot, std::uint32_t stream) {
        // An export writes zeros into the columns of the stream a line is not about: once the
        // formatter is settled, a begin that is only zeros and separators reads as 0 whatever
        // the separators are, and the interval is refused without reading it.
        if (!part.resetFormatter && part.formatter.isBuilt() && isZeroTime(line.cells[beginSlot]))
            return false;
        double begin = 0.0;
        double end = 0.0;
        if (!part.formatter.intervalFromCells(line.cells[beginSlot], line.cells[endSlot], part.resetFormatter, &begin,
                                              &end))
            return false;
        if (begin < part.first || part.first < 0)
            part.first = begin;
        if (end > part.last)
            part.last = end;
        part.periods.push_back({item, stream, begin, end});
        ++entry.counts[stream];
        part.resetFormatter = false;
        return true;
    };
    if (header.hasForeground && addPeriod(ForegroundBeginSlot, ForegroundEndSlot, 0))
        part.foregroundActivity = true;
    if (header.hasTotal && addPeriod(TotalBeginSlot, TotalEndSlot, 1))
        part.totalActivity = true;
    if (part.periods.size() > VXReportSnapshotParser::kMaximumIntervals) {
        part.tooMany = true;
        return false;
    }
    return true;
}

// Reads lines until the scanner's end, or, with `untilFirstInterval`, until the line that gives
// the file's first interval has been read (the formatter is settled then).
//
// Lines name their items in no particular order, so looking one up mostly waits for memory: each
// line's lookup is started (its table entry fetched) and finished while the next line is read.
// A line whose cells are copies (it has quoted text, which the next line's reading overwrites)
// is finished at once, as is every line until the formatter is settled; the lines and the log
// lines come out in file order either way.
void readLines(Scanner &scanner, const Header &header, Part &part, bool untilFirstInterval)
{
    if (!untilFirstInterval) {
        // Room for a period per short line, so that the list is not copied as it grows.
        part.periods.reserve(part.periods.size() + static_cast<std::size_t>(scanner.end() - scanner.position()) / 40);
    }
    // Lookups under way: the lines read but not yet finished, oldest first, in a ring.
    constexpr std::size_t kAhead = 3;
    std::array<LineNames, kAhead + 1> lines;
    std::size_t oldest = 0;
    std::size_t pending = 0;
    const auto finishOldest = [&] {
        const LineNames &line = lines[oldest];
        oldest = (oldest + 1) % lines.size();
        --pending;
        return finishLine(header, part, line);
    };
    const auto finishPending = [&] {
        while (pending > 0) {
            if (!finishOldest())
                return false;
        }
        return true;
    };
    while (!scanner.atEnd()) {
        if (untilFirstInterval && !part.resetFormatter)
            return;
        scanner.skipLineBreaks();
        if (scanner.atEnd())
            break;
        const char *lineBegin = scanner.position();
        LineNames &line = lines[(oldest + pending) % lines.size()];
        const std::size_t columns = scanner.readLine(header.kept, line.cells);
        if (columns != header.columnCount) {
            if (!finishPending())
                return;
            if (++part.wrongLines <= kLoggedColumnCountLines) {
                part.messages.push_back(
                    {true,
                     VXFillFormat(VXReportSnapshotParser::kColumnCountMessage,
                                  {QString::number(header.columnCount), excerpt(lineBegin, scanner.position())})});
            }
            continue;
        }

        const std::string_view pool = line.cells[PoolSlot];
        std::string_view application = line.cells[ApplicationSlot];
        const std::string_view window = line.cells[WindowSlot];
        if (!window.empty() && application.empty())
            application = kAnyApplicationName;
        if (pool.empty() && application.empty())
            continue;
        line.hash = Part::makeKey(line.key, pool, application, window);
        part.prefetch(line.hash);
        if (untilFirstInterval || part.resetFormatter || !scanner.lastLineWasPlain()) {
            if (!finishPending() || !finishLine(header, part, line))
                return;
            continue;
        }
        if (pending == kAhead && !finishOldest())
            return;
        ++pending;   // the line's slot is the one after the pending ones
    }
    finishPending();
}

// What the whole text holds, found before reading it: whether it is UTF-8, how many quotes it
// has, and whether the placeholder's own text is in it. Worked out in `parts` ranges side by
// side, cut before ASCII bytes (which never sit inside a character).
struct Survey {
    bool valid = true;
    std::size_t quotes = 0;
    bool placeholder = false;
};

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
            const int length = utf8CharacterLength(s, i, end);
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

Survey surveyOf(std::string_view text, int parts)
{
    const std::string placeholder = VXReportSnapshotParser::kQuotedStringPlaceholder.toStdString();
    const auto survey = [&](std::size_t begin, std::size_t end) { return surveyRange(text, begin, end, placeholder); };
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
        threads.emplace_back([&, i] { results[i] = survey(cuts[i], cuts[i + 1]); });
    results[0] = survey(cuts[0], cuts[1]);
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

// A name's text. A leading U+FEFF stays (QString::fromUtf8 would drop it as a byte-order mark):
// names that differ in it are different items, and each item needs a node of its own.
QString textOf(std::string_view text)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
}

class Parser
{
public:
    Parser(std::string_view text, const QString &path, char separator, int parts, const Survey &survey) :
        m_begin(text.data()), m_end(text.data() + text.size()), m_path(path), m_separator(separator), m_parts(parts),
        m_survey(survey)
    {
    }

    VXDictionaryRef parse();

private:
    // An item of the whole file: its node and how many periods of each stream it has.
    struct Target {
        VXDictionary *node = nullptr;
        std::uint32_t counts[2] = {0, 0};
    };

    bool checkQuotes(Scanner &scanner);
    bool readHeader(Scanner &scanner);
    std::vector<const char *> partBoundaries(const char *begin) const;
    VXDictionary *nodeFor(std::string_view key);
    bool merge(std::vector<Part> &parts);

    const char *m_begin;
    const char *m_end;
    const QString &m_path;
    char m_separator;
    int m_parts;
    Survey m_survey;
    Header m_header;
    VXDictionaryRef m_root;
    std::vector<Target> m_targets;
};

bool Parser::checkQuotes(Scanner &scanner)
{
    // Every quoted text uses an even number of quotes (the opening one, pairs, the closing
    // one), so an odd count means one is left open: the last opened one.
    if (m_survey.quotes % 2 != 0) {
        const char *open = nullptr;
        for (const char *p = m_begin; p < m_end;) {
            p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(m_end - p)));
            if (!p)
                break;
            open = p;
            p = afterClosingQuote(p, m_end);
        }
        qCWarning(lcPersistence).noquote() << VXFillFormat(VXReportSnapshotParser::kClosingQuoteMissingMessage,
                                                           {excerpt(open ? open + 1 : m_end, m_end)});
        return false;
    }
    if (m_survey.placeholder) {
        std::vector<std::pair<const char *, const char *>> quotedTexts;
        for (const char *p = m_begin; p < m_end;) {
            p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(m_end - p)));
            if (!p)
                break;
            const char *after = afterClosingQuote(p, m_end);
            quotedTexts.emplace_back(p + 1, after - 1);
            p = after;
        }
        scanner.usePlaceholders(std::move(quotedTexts));
    }
    return true;
}

bool Parser::readHeader(Scanner &scanner)
{
    const std::array<std::pair<const QString *, Slot>, SlotCount> names = {{
        {&VXCSVHeader::kPool, PoolSlot},
        {&VXCSVHeader::kApplication, ApplicationSlot},
        {&VXCSVHeader::kWindow, WindowSlot},
        {&VXCSVHeader::kForegroundBegin, ForegroundBeginSlot},
        {&VXCSVHeader::kForegroundEnd, ForegroundEndSlot},
        {&VXCSVHeader::kTotalBegin, TotalBeginSlot},
        {&VXCSVHeader::kTotalEnd, TotalEndSlot},
    }};
    std::array<std::string, SlotCount> utf8Names;
    for (const auto &[name, slot] : names)
        utf8Names[slot] = name->toStdString();

    std::string scratch;
    Scanner::Cell cell;
    Scanner::CellEnd ending;
    do {
        ending = scanner.scanCell(cell);
        const std::string_view text = scanner.cellText(cell, scratch, true);
        for (std::size_t slot = 0; slot < SlotCount; ++slot) {
            if (!m_header.columns[slot] && text == utf8Names[slot])
                m_header.columns[slot] = m_header.columnCount;
        }
        ++m_header.columnCount;
    } while (ending == Scanner::CellEnd::Separator);
    return true;
}

// Where the lines from `begin` on are cut into parts: at line breaks outside quoted text (an
// even number of quotes before them), near equal sizes.
std::vector<const char *> Parser::partBoundaries(const char *begin) const
{
    std::vector<const char *> boundaries {begin};
    const std::size_t size = static_cast<std::size_t>(m_end - begin);
    std::size_t quotes = 0;
    const char *counted = begin;
    for (int k = 1; k < m_parts; ++k) {
        const char *p = begin + size * static_cast<std::size_t>(k) / static_cast<std::size_t>(m_parts);
        if (p <= boundaries.back())
            continue;
        // A text without quotes (an export of names that need none) has no quoted line breaks
        // to step over: nothing to count.
        if (m_survey.quotes != 0)
            quotes += countQuotes(counted, p);
        for (; p < m_end; ++p) {
            if (*p == '"')
                ++quotes;
            else if (quotes % 2 == 0 && lineBreakLength(p, m_end) > 0)
                break;
        }
        counted = p;
        if (p < m_end)
            boundaries.push_back(p);
    }
    boundaries.push_back(m_end);
    return boundaries;
}

// The node of a key (three names, each after its length), made in its place on first use.
VXDictionary *Parser::nodeFor(std::string_view key)
{
    std::array<std::string_view, 3> parts;
    for (std::string_view &part : parts) {
        std::uint32_t length = 0;
        std::memcpy(&length, key.data(), sizeof length);
        part = key.substr(sizeof length, length);
        key.remove_prefix(sizeof length + length);
    }
    const auto &[pool, application, window] = parts;
    VXDictionary *node = nullptr;
    if (!pool.empty()) {
        VXDictionary &pools = reportSnapshotChildWithName(*m_root, kPoolGroupName, true, QString());
        node = &reportSnapshotChildWithName(pools, textOf(pool), true, VXPoolPathMarker);
    }
    if (!application.empty()) {
        const bool poolSide = node != nullptr;
        VXDictionary &parent
            = poolSide ? *node : reportSnapshotChildWithName(*m_root, kApplicationGroupName, false, QString());
        const QString name = textOf(application);
        node = &reportSnapshotChildWithName(parent, name, poolSide, name);
        if (!window.empty())
            node = &reportSnapshotChildWithName(*node, textOf(window), poolSide, VXWindowPathMarker);
    }
    return node;
}

// The parts, in file order, into the tree: the nodes made as their names first appear, the
// periods into their nodes' logs as +begin, -end (each log made at its size), the log lines
// written. False when the file has too many items or intervals.
bool Parser::merge(std::vector<Part> &parts)
{
    // The log lines, in order; bad lines named up to the limit, the rest counted.
    std::size_t wrongLines = 0;
    for (const Part &part : parts) {
        for (const Part::Message &message : part.messages) {
            if (!message.countsAsWrongLine)
                qCInfo(lcPersistence).noquote() << message.text;
            else if (++wrongLines <= kLoggedColumnCountLines)
                qCWarning(lcPersistence).noquote() << message.text;
        }
        wrongLines += part.wrongLines - std::min<std::size_t>(part.wrongLines, kLoggedColumnCountLines);
    }
    if (wrongLines > kLoggedColumnCountLines) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("%1 more lines whose number of columns is not %2 in CSV file: %3")
                   .arg(wrongLines - kLoggedColumnCountLines)
                   .arg(m_header.columnCount)
                   .arg(m_path);
    }

    std::size_t intervals = 0;
    for (const Part &part : parts)
        intervals += part.periods.size();
    if (intervals > VXReportSnapshotParser::kMaximumIntervals) {
        qCWarning(lcPersistence).noquote() << QStringLiteral("more than %1 intervals in CSV file: %2")
                                                  .arg(VXReportSnapshotParser::kMaximumIntervals)
                                                  .arg(m_path);
        return false;
    }

    for (Part &part : parts)
        part.collectCounts();

    // The file's items in the order they first appear, each part's items mapped to them.
    Part whole;
    std::vector<std::vector<std::uint32_t>> targetOfItem(parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Part &part = parts[i];
        targetOfItem[i].reserve(part.items.size());
        for (const Part::Item &item : part.items) {
            const std::string_view key(part.names.data() + item.nameOffset, item.nameLength);
            std::array<std::string_view, 3> names;
            std::string_view rest = key;
            for (std::string_view &name : names) {
                std::uint32_t length = 0;
                std::memcpy(&length, rest.data(), sizeof length);
                name = rest.substr(sizeof length, length);
                rest.remove_prefix(sizeof length + length);
            }
            const std::uint32_t target = whole.itemFor(names[0], names[1], names[2]);
            if (target == m_targets.size())
                m_targets.push_back({nodeFor(key), {0, 0}});
            targetOfItem[i].push_back(target);
            if (m_targets.size() > VXReportSnapshotParser::kMaximumItems) {
                qCWarning(lcPersistence).noquote() << QStringLiteral("more than %1 items in CSV file: %2")
                                                          .arg(VXReportSnapshotParser::kMaximumItems)
                                                          .arg(m_path);
                return false;
            }
        }
        for (std::size_t j = 0; j < part.items.size(); ++j) {
            for (std::size_t stream = 0; stream < 2; ++stream)
                m_targets[targetOfItem[i][j]].counts[stream] += part.items[j].counts[stream];
        }
    }

    // Each log made at its size, each part given where its periods of each log go (after those
    // of the parts before it), and the parts' periods put there side by side: the numbers are
    // made in place over the empty values the log was made with (which hold nothing to release).
    static const QString *const keys[] = {&VXFrontActiveLogKey, &VXActiveLogKey};
    std::vector<VXValue *> next(m_targets.size() * 2, nullptr);
    for (std::size_t t = 0; t < m_targets.size(); ++t) {
        for (std::size_t stream = 0; stream < 2; ++stream) {
            const std::uint32_t count = m_targets[t].counts[stream];
            if (count == 0)
                continue;
            VXArrayRef log = VXMakeArray();
            log->items().resize(std::size_t(count) * 2);
            next[t * 2 + stream] = log->items().data();
            m_targets[t].node->insert(*keys[stream], std::move(log));
        }
    }
    std::vector<std::vector<VXValue *>> cursors(parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const Part &part = parts[i];
        cursors[i].resize(part.items.size() * 2);
        for (std::size_t j = 0; j < part.items.size(); ++j) {
            for (std::size_t stream = 0; stream < 2; ++stream) {
                VXValue *&at = next[std::size_t(targetOfItem[i][j]) * 2 + stream];
                cursors[i][j * 2 + stream] = at;
                if (at)
                    at += std::size_t(part.items[j].counts[stream]) * 2;
            }
        }
    }
    const auto fill = [&](std::size_t i) {
        // Periods come in file order and go to logs all over the tree: where the one a few
        // places on will go is fetched ahead, so that writing it does not wait for memory.
        constexpr std::size_t kAhead = 8;
        const Part::Period *periods = parts[i].periods.data();
        const std::size_t count = parts[i].periods.size();
        VXValue **itemCursors = cursors[i].data();
        for (std::size_t k = 0; k < count; ++k) {
            if (k + kAhead < count) {
                const Part::Period &later = periods[k + kAhead];
                __builtin_prefetch(itemCursors[std::size_t(later.item) * 2 + later.stream], 1);
            }
            const Part::Period &period = periods[k];
            VXValue *&cursor = itemCursors[std::size_t(period.item) * 2 + period.stream];
            new (cursor++) VXValue(period.begin);
            new (cursor++) VXValue(-period.end);
        }
        parts[i].periods.release();
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 2; i < parts.size(); ++i)
        threads.emplace_back(fill, i);
    for (std::size_t i = 0; i < std::min<std::size_t>(2, parts.size()); ++i)
        fill(i);
    for (std::thread &thread : threads)
        thread.join();
    return true;
}

VXDictionaryRef Parser::parse()
{
    Scanner scanner(m_begin, m_end, m_separator);
    if (!checkQuotes(scanner))
        return VXDictionaryRef();

    // The header: the first line that is not empty. Then at least one more line.
    scanner.skipLineBreaks();
    if (scanner.atEnd()) {
        logRefusal(VXReportSnapshotParser::kEmptyFileMessage, m_path);
        return VXDictionaryRef();
    }
    readHeader(scanner);
    scanner.skipLineBreaks();
    if (scanner.atEnd()) {
        logRefusal(VXReportSnapshotParser::kEmptyFileMessage, m_path);
        return VXDictionaryRef();
    }
    if (m_header.columnCount == 0) {
        logRefusal(VXReportSnapshotParser::kNoHeadersMessage, m_path);
        return VXDictionaryRef();
    }
    const auto &columns = m_header.columns;
    if (!columns[PoolSlot] && !columns[ApplicationSlot] && !columns[WindowSlot]) {
        logRefusal(VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage, m_path);
        return VXDictionaryRef();
    }
    m_header.hasForeground = columns[ForegroundBeginSlot] && columns[ForegroundEndSlot];
    m_header.hasTotal = columns[TotalBeginSlot] && columns[TotalEndSlot];
    if (!m_header.hasForeground && !m_header.hasTotal) {
        logRefusal(VXReportSnapshotParser::kNoEventStreamsMessage, m_path);
        return VXDictionaryRef();
    }
    for (std::size_t slot = 0; slot < SlotCount; ++slot) {
        const bool used = (slot <= WindowSlot)
            || ((slot == ForegroundBeginSlot || slot == ForegroundEndSlot) && m_header.hasForeground)
            || ((slot == TotalBeginSlot || slot == TotalEndSlot) && m_header.hasTotal);
        if (used && columns[slot])
            m_header.kept.emplace_back(*columns[slot], static_cast<Slot>(slot));
    }
    std::sort(m_header.kept.begin(), m_header.kept.end());

    // The lines up to the file's first interval, which settles how times are read; then the
    // rest, in parts read side by side when the file is large (each part with the settled
    // formatter), or on in the same part.
    std::vector<Part> parts(1);
    // The formatter's lines take their place among the part's other log lines.
    parts[0].formatter.setMessageSink([&parts](const QString &text) { parts[0].messages.push_back({false, text}); });
    const bool inParts = m_parts > 1 && !scanner.usesPlaceholders();
    readLines(scanner, m_header, parts[0], inParts);
    parts[0].formatter.setMessageSink({});
    if (!parts[0].tooMany && !scanner.atEnd()) {
        const std::vector<const char *> boundaries = partBoundaries(scanner.position());
        const std::size_t count = boundaries.size() - 1;
        parts.resize(1 + count);
        for (std::size_t i = 1; i <= count; ++i) {
            parts[i].formatter = parts[0].formatter;
            parts[i].resetFormatter = false;
        }
        const auto read = [&](std::size_t i) {
            Scanner partScanner(boundaries[i - 1], boundaries[i], m_separator);
            readLines(partScanner, m_header, parts[i], false);
        };
        std::vector<std::thread> threads;
        for (std::size_t i = 2; i <= count; ++i)
            threads.emplace_back(read, i);
        read(1);
        for (std::thread &thread : threads)
            thread.join();
    }
    for (const Part &part : parts) {
        if (part.tooMany) {
            qCWarning(lcPersistence).noquote() << QStringLiteral("more than %1 items or %2 intervals in CSV file: %3")
                                                      .arg(VXReportSnapshotParser::kMaximumItems)
                                                      .arg(VXReportSnapshotParser::kMaximumIntervals)
                                                      .arg(m_path);
            return VXDictionaryRef();
        }
    }

    double first = -1.0;
    double last = -1.0;
    bool foregroundActivity = false;
    bool totalActivity = false;
    for (const Part &part : parts) {
        if (part.first >= 0 && (first < 0 || part.first < first))
            first = part.first;
        last = std::max(last, part.last);
        foregroundActivity = foregroundActivity || part.foregroundActivity;
        totalActivity = totalActivity || part.totalActivity;
    }
    m_root = VXMakeDictionary();
    if (!merge(parts))
        return VXDictionaryRef();
    if (first < kTolerance || last - first < kTolerance) {
        logRefusal(VXReportSnapshotParser::kNoSignificantTimestampsMessage, m_path);
        return VXDictionaryRef();
    }
    setBool(*m_root, foregroundActivity, VXForegroundActivityKey);
    setBool(*m_root, totalActivity, VXTotalActivityKey);
    m_root->insert(VXPathKey, m_path);
    m_root->insert(VXFirstTimestampKey, first);
    m_root->insert(VXLastTimestampKey, last);
    return m_root;
}

// A file is read through a memory map where it can be, else read whole; at most the limit.
std::optional<QByteArray> readFile(QFile &file, QByteArrayView *text)
{
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("cannot read CSV file <%1>: %2").arg(file.fileName(), file.errorString());
        return std::nullopt;
    }
    const qint64 size = file.size();
    if (size > VXReportSnapshotParser::kMaximumFileSize) {
        qCWarning(lcPersistence).noquote() << QStringLiteral("CSV file <%1> is larger than %2 bytes")
                                                  .arg(file.fileName())
                                                  .arg(VXReportSnapshotParser::kMaximumFileSize);
        return std::nullopt;
    }
    if (size > 0 && !file.isSequential()) {
        if (const uchar *mapped = file.map(0, size)) {
            *text = QByteArrayView(reinterpret_cast<const char *>(mapped), size);
            return QByteArray();
        }
    }
    QByteArray data = file.read(VXReportSnapshotParser::kMaximumFileSize + 1);
    if (data.size() > VXReportSnapshotParser::kMaximumFileSize) {
        qCWarning(lcPersistence).noquote() << QStringLiteral("CSV file <%1> is larger than %2 bytes")
                                                  .arg(file.fileName())
                                                  .arg(VXReportSnapshotParser::kMaximumFileSize);
        return std::nullopt;
    }
    *text = QByteArrayView(data);
    return data;
}

}   // namespace

char VXReportSnapshotParser::columnSeparatorForText(std::string_view text, char fallbackSeparator)
{
    static constexpr std::string_view kWords[] = {"Pool", "Application", "Window"};
    // Only the first character of the text without the words matters. Taking the words out of
    // a prefix gives the same result, except near the prefix's end where a word may be cut
    // (at most the words' lengths together): grow the prefix until the result reaches beyond
    // that, or the prefix is the whole text.
    constexpr std::size_t kUncertainTail = 32;
    for (std::size_t length = 4096;; length *= 2) {
        const bool whole = length >= text.size();
        std::string prefix(text.substr(0, std::min(length, text.size())));
        for (const std::string_view word : kWords)
            removeOccurrences(prefix, word);
        if (whole || prefix.size() > kUncertainTail) {
            if (prefix.empty())
                return fallbackSeparator;
            const char first = prefix.front();
            return (first == ',' || first == ';' || first == '\t') ? first : fallbackSeparator;
        }
    }
}

VXDictionaryRef VXReportSnapshotParser::reportSnapshotConfigurationFromCSVData(QByteArrayView data, const QString &path,
                                                                               QChar fallbackSeparator, int parts)
{
    std::string_view text(data.data(), static_cast<std::size_t>(data.size()));
    // A byte-order mark marks the encoding; it is no part of the first cell.
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        text.remove_prefix(3);
    if (parts <= 0) {
        // Large files are read on every core, in up to four parts; small ones are not worth it.
        const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
        parts = text.size() >= kParallelReadingSize ? static_cast<int>(std::min(cores, 4u)) : 1;
    }
    const Survey survey = surveyOf(text, parts);
    if (!survey.valid) {
        qCWarning(lcPersistence).noquote() << QStringLiteral("CSV file is not UTF-8 text: %1").arg(path);
        logRefusal(kEmptyFileMessage, path);
        return VXDictionaryRef();
    }
    const char fallback = fallbackSeparator == u';' ? ';' : fallbackSeparator == u'\t' ? '\t' : ',';
    Parser parser(text, path, columnSeparatorForText(text, fallback), parts, survey);
    return parser.parse();
}

VXDictionaryRef VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(const QString &path,
                                                                               QChar fallbackSeparator)
{
    QFile file(path);
    QByteArrayView text;
    const std::optional<QByteArray> data = readFile(file, &text);
    if (!data) {
        logRefusal(kEmptyFileMessage, path);
        return VXDictionaryRef();
    }
    return reportSnapshotConfigurationFromCSVData(text, path, fallbackSeparator);
}
