#include "VXReportSnapshotParser.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXPersistenceLogging.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportSnapshotTimestampFormatter.h"

#include <QFile>

#include <array>
#include <cstdint>
#include <cstring>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

const QString VXReportSnapshotParser::kQuotedStringPlaceholder
    = QStringLiteral("[com.brasswing.VXReportSnapshotManager.QuotedStringPlaceholder]");
const QString VXReportSnapshotParser::kClosingQuoteMissingMessage = QStringLiteral("closing quote missing in CSV string: %@");
const QString VXReportSnapshotParser::kEmptyFileMessage = QStringLiteral("empty CSV file: %@");
const QString VXReportSnapshotParser::kNoHeadersMessage = QStringLiteral("no headers in CSV file: %@");
const QString VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage
    = QStringLiteral("no relevant event stream types in CSV file: %@");
const QString VXReportSnapshotParser::kNoEventStreamsMessage = QStringLiteral("no event streams in CSV file: %@");
const QString VXReportSnapshotParser::kColumnCountMessage = QStringLiteral("number of columns is not %lu in CSV line: %@");
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
const QString kAnyApplicationName = QStringLiteral("*");

// The columns the reader uses, as slots of a line's kept cells.
enum Slot : std::size_t { PoolSlot, ApplicationSlot, WindowSlot, ForegroundBeginSlot, ForegroundEndSlot,
                          TotalBeginSlot, TotalEndSlot, SlotCount };

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

// Whether the bytes are UTF-8 (no overlong forms, surrogates or values above U+10FFFF).
bool isValidUtf8(const unsigned char *s, std::size_t n)
{
    std::size_t i = 0;
    while (i < n) {
        if (i + 8 <= n) {
            std::uint64_t word;
            std::memcpy(&word, s + i, 8);
            if ((word & 0x8080808080808080ULL) == 0) {
                i += 8;
                continue;
            }
        }
        const unsigned char c = s[i];
        if (c < 0x80) {
            ++i;
        } else if (c < 0xC2) {
            return false;
        } else if (c < 0xE0) {
            if (i + 1 >= n || (s[i + 1] & 0xC0) != 0x80)
                return false;
            i += 2;
        } else if (c < 0xF0) {
            if (i + 2 >= n || (s[i + 1] & 0xC0) != 0x80 || (s[i + 2] & 0xC0) != 0x80)
                return false;
            if ((c == 0xE0 && s[i + 1] < 0xA0) || (c == 0xED && s[i + 1] >= 0xA0))
                return false;
            i += 3;
        } else if (c < 0xF5) {
            if (i + 3 >= n || (s[i + 1] & 0xC0) != 0x80 || (s[i + 2] & 0xC0) != 0x80 || (s[i + 3] & 0xC0) != 0x80)
                return false;
            if ((c == 0xF0 && s[i + 1] < 0x90) || (c == 0xF4 && s[i + 1] >= 0x90))
                return false;
            i += 4;
        } else {
            return false;
        }
    }
    return true;
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

void appendUnescaped(std::string &out, const char *begin, const char *end)
{
    for (const char *p = begin; p < end; ++p) {
        out.push_back(*p);
        if (*p == '"' && p + 1 < end && p[1] == '"')
            ++p;
    }
}

class Parser
{
public:
    Parser(std::string_view text, const QString &path, char separator)
        : m_begin(text.data()), m_end(text.data() + text.size()), m_p(m_begin), m_path(path), m_separator(separator)
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

    VXDictionaryRef parse();

private:
    struct Cell {
        const char *begin = nullptr;
        const char *end = nullptr;
        bool hasQuote = false;
    };
    enum class CellEnd { Separator, LineBreak, EndOfText };
    // A node a line's intervals go to, found by the line's pool, application and window.
    struct Target {
        VXDictionary *node = nullptr;
    };

    bool checkQuotes();
    CellEnd scanCell(Cell &cell);
    void skipLineBreaks();
    std::string_view cellText(const Cell &cell, std::string &scratch, bool keep);
    void appendPlain(std::string &out, const char *begin, const char *end, bool keep);
    void appendQuoted(std::string &out, const char *open, const char *close, bool keep);
    void appendPlaceholder(std::string &out, bool keep);
    bool readHeader();
    VXDictionary *targetFor(std::string_view pool, std::string_view application, std::string_view window);

    const char *m_begin;
    const char *m_end;
    const char *m_p;
    const QString &m_path;
    char m_separator;
    std::array<ByteClass, 256> m_classes;
    std::string m_placeholder;

    // Set when the file holds the placeholder's own text: every quoted text and every such
    // text is then a placeholder, replaced in file order by the quoted texts in file order.
    bool m_placeholderInText = false;
    std::vector<std::pair<const char *, const char *>> m_quotedTexts;
    std::size_t m_nextQuotedText = 0;

    // Header.
    std::size_t m_columnCount = 0;
    std::array<std::optional<std::size_t>, SlotCount> m_columns;
    std::vector<std::pair<std::size_t, Slot>> m_keptColumns;   // by column index

    // The tree.
    VXDictionaryRef m_root;
    std::deque<std::string> m_keys;
    std::unordered_map<std::string_view, Target> m_targets;
    std::string m_key;
    std::size_t m_intervals = 0;
};

bool Parser::checkQuotes()
{
    // Every quoted text uses an even number of quotes (the opening one, pairs, the closing
    // one), so an odd count means one is left open: the last opened one.
    const std::size_t quotes = static_cast<std::size_t>(std::count(m_begin, m_end, '"'));
    if (quotes % 2 != 0) {
        const char *open = nullptr;
        for (const char *p = m_begin; p < m_end;) {
            p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(m_end - p)));
            if (!p)
                break;
            open = p;
            p = afterClosingQuote(p, m_end);
        }
        qCWarning(lcPersistence).noquote()
            << VXFillFormat(VXReportSnapshotParser::kClosingQuoteMissingMessage, {excerpt(open ? open + 1 : m_end, m_end)});
        return false;
    }
    const std::string_view text(m_begin, static_cast<std::size_t>(m_end - m_begin));
    m_placeholderInText = text.find(m_placeholder) != std::string_view::npos;
    if (m_placeholderInText) {
        for (const char *p = m_begin; p < m_end;) {
            p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(m_end - p)));
            if (!p)
                break;
            const char *after = afterClosingQuote(p, m_end);
            m_quotedTexts.emplace_back(p + 1, after - 1);
            p = after;
        }
    }
    return true;
}

Parser::CellEnd Parser::scanCell(Cell &cell)
{
    cell.begin = m_p;
    cell.hasQuote = false;
    for (;;) {
        while (m_p < m_end && m_classes[static_cast<unsigned char>(*m_p)] == Plain)
            ++m_p;
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
        case LineBreak:
            cell.end = m_p;
            return CellEnd::LineBreak;
        case LineBreakLead:
            if (lineBreakLength(m_p, m_end) > 0) {
                cell.end = m_p;
                return CellEnd::LineBreak;
            }
            ++m_p;
            break;
        case Plain:
            break;
        }
    }
}

void Parser::skipLineBreaks()
{
    while (m_p < m_end) {
        const int length = lineBreakLength(m_p, m_end);
        if (length == 0)
            return;
        m_p += length;
    }
}

void Parser::appendPlaceholder(std::string &out, bool keep)
{
    const std::size_t index = m_nextQuotedText++;
    if (!keep)
        return;
    if (index < m_quotedTexts.size())
        appendUnescaped(out, m_quotedTexts[index].first, m_quotedTexts[index].second);
    else
        out.append(m_placeholder);
}

void Parser::appendPlain(std::string &out, const char *begin, const char *end, bool keep)
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

void Parser::appendQuoted(std::string &out, const char *open, const char *close, bool keep)
{
    if (m_placeholderInText)
        appendPlaceholder(out, keep);
    else if (keep)
        appendUnescaped(out, open + 1, close);
}

std::string_view Parser::cellText(const Cell &cell, std::string &scratch, bool keep)
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

bool Parser::readHeader()
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
    Cell cell;
    CellEnd ending;
    do {
        ending = scanCell(cell);
        const std::string_view text = cellText(cell, scratch, true);
        for (std::size_t slot = 0; slot < SlotCount; ++slot) {
            if (!m_columns[slot] && text == utf8Names[slot])
                m_columns[slot] = m_columnCount;
        }
        ++m_columnCount;
    } while (ending == CellEnd::Separator);
    return true;
}

QString textOf(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

VXDictionary *Parser::targetFor(std::string_view pool, std::string_view application, std::string_view window)
{
    // One lookup per line: the three names, each after its length.
    m_key.clear();
    for (const std::string_view part : {pool, application, window}) {
        const auto length = static_cast<std::uint32_t>(part.size());
        m_key.append(reinterpret_cast<const char *>(&length), sizeof length);
        m_key.append(part);
    }
    const auto found = m_targets.find(std::string_view(m_key));
    if (found != m_targets.end())
        return found->second.node;

    VXDictionary *node = nullptr;
    if (!pool.empty()) {
        VXDictionary &pools = reportSnapshotChildWithName(*m_root, kPoolGroupName, true, QString());
        node = &reportSnapshotChildWithName(pools, textOf(pool), true, VXPoolPathMarker);
    }
    if (!application.empty()) {
        const bool poolSide = node != nullptr;
        VXDictionary &parent = poolSide ? *node : reportSnapshotChildWithName(*m_root, kApplicationGroupName, false, QString());
        const QString name = textOf(application);
        node = &reportSnapshotChildWithName(parent, name, poolSide, name);
        if (!window.empty())
            node = &reportSnapshotChildWithName(*node, textOf(window), poolSide, VXWindowPathMarker);
    }
    m_keys.emplace_back(m_key);
    m_targets.emplace(std::string_view(m_keys.back()), Target{node});
    return node;
}

VXDictionaryRef Parser::parse()
{
    if (!checkQuotes())
        return VXDictionaryRef();

    // The header: the first line that is not empty. Then at least one more line.
    skipLineBreaks();
    if (m_p == m_end) {
        logRefusal(VXReportSnapshotParser::kEmptyFileMessage, m_path);
        return VXDictionaryRef();
    }
    readHeader();
    skipLineBreaks();
    if (m_p == m_end) {
        logRefusal(VXReportSnapshotParser::kEmptyFileMessage, m_path);
        return VXDictionaryRef();
    }
    if (m_columnCount == 0) {
        logRefusal(VXReportSnapshotParser::kNoHeadersMessage, m_path);
        return VXDictionaryRef();
    }
    if (!m_columns[PoolSlot] && !m_columns[ApplicationSlot] && !m_columns[WindowSlot]) {
        logRefusal(VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage, m_path);
        return VXDictionaryRef();
    }
    const bool hasForeground = m_columns[ForegroundBeginSlot] && m_columns[ForegroundEndSlot];
    const bool hasTotal = m_columns[TotalBeginSlot] && m_columns[TotalEndSlot];
    if (!hasForeground && !hasTotal) {
        logRefusal(VXReportSnapshotParser::kNoEventStreamsMessage, m_path);
        return VXDictionaryRef();
    }
    for (std::size_t slot = 0; slot < SlotCount; ++slot) {
        const bool used = (slot <= WindowSlot) || ((slot == ForegroundBeginSlot || slot == ForegroundEndSlot) && hasForeground)
            || ((slot == TotalBeginSlot || slot == TotalEndSlot) && hasTotal);
        if (used && m_columns[slot])
            m_keptColumns.emplace_back(*m_columns[slot], static_cast<Slot>(slot));
    }
    std::sort(m_keptColumns.begin(), m_keptColumns.end());

    m_root = VXMakeDictionary();
    double first = -1.0;
    double last = -1.0;
    bool foregroundActivity = false;
    bool totalActivity = false;
    bool resetFormatter = true;
    VXReportSnapshotTimestampFormatter formatter;
    int wrongLines = 0;

    std::array<std::string, SlotCount> scratch;
    std::string unused;
    std::array<std::string_view, SlotCount> cells;
    while (m_p < m_end) {
        skipLineBreaks();
        if (m_p == m_end)
            break;
        const char *lineBegin = m_p;
        cells.fill(std::string_view());
        std::size_t column = 0;
        auto kept = m_keptColumns.begin();
        Cell cell;
        CellEnd ending;
        do {
            ending = scanCell(cell);
            const bool keep = kept != m_keptColumns.end() && kept->first == column;
            const std::string_view text = cellText(cell, keep ? scratch[kept->second] : unused, keep);
            if (keep) {
                cells[kept->second] = text;
                ++kept;
            }
            ++column;
        } while (ending == CellEnd::Separator);

        if (column != m_columnCount) {
            if (++wrongLines <= kLoggedColumnCountLines) {
                qCWarning(lcPersistence).noquote()
                    << VXFillFormat(VXReportSnapshotParser::kColumnCountMessage,
                                    {QString::number(m_columnCount), excerpt(lineBegin, m_p)});
            }
            continue;
        }

        const std::string_view pool = cells[PoolSlot];
        std::string_view application = cells[ApplicationSlot];
        const std::string_view window = cells[WindowSlot];
        if (!window.empty() && application.empty())
            application = "*";
        if (pool.empty() && application.empty())
            continue;
        VXDictionary *node = targetFor(pool, application, window);
        if (m_targets.size() > VXReportSnapshotParser::kMaximumItems) {
            qCWarning(lcPersistence).noquote()
                << QStringLiteral("more than %1 items in CSV file: %2").arg(VXReportSnapshotParser::kMaximumItems).arg(m_path);
            return VXDictionaryRef();
        }
        if (hasForeground
            && addReportSnapshotTimestampsAtBeginIndex(*node, ForegroundBeginSlot, ForegroundEndSlot, cells, true,
                                                       &first, &last, formatter, resetFormatter)) {
            foregroundActivity = true;
            resetFormatter = false;
            ++m_intervals;
        }
        if (hasTotal
            && addReportSnapshotTimestampsAtBeginIndex(*node, TotalBeginSlot, TotalEndSlot, cells, false, &first,
                                                       &last, formatter, resetFormatter)) {
            totalActivity = true;
            resetFormatter = false;
            ++m_intervals;
        }
        if (m_intervals > VXReportSnapshotParser::kMaximumIntervals) {
            qCWarning(lcPersistence).noquote() << QStringLiteral("more than %1 intervals in CSV file: %2")
                                                      .arg(VXReportSnapshotParser::kMaximumIntervals)
                                                      .arg(m_path);
            return VXDictionaryRef();
        }
    }
    if (wrongLines > kLoggedColumnCountLines) {
        qCWarning(lcPersistence).noquote() << QStringLiteral("%1 more lines whose number of columns is not %2 in CSV file: %3")
                                                  .arg(wrongLines - kLoggedColumnCountLines)
                                                  .arg(m_columnCount)
                                                  .arg(m_path);
    }

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
        qCWarning(lcPersistence).noquote() << QStringLiteral("cannot read CSV file <%1>: %2").arg(file.fileName(), file.errorString());
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

} // namespace

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
                                                                               QChar fallbackSeparator)
{
    std::string_view text(data.data(), static_cast<std::size_t>(data.size()));
    // A byte-order mark marks the encoding; it is no part of the first cell.
    if (text.substr(0, 3) == "\xEF\xBB\xBF")
        text.remove_prefix(3);
    if (!isValidUtf8(reinterpret_cast<const unsigned char *>(text.data()), text.size())) {
        qCWarning(lcPersistence).noquote() << QStringLiteral("CSV file is not UTF-8 text: %1").arg(path);
        logRefusal(kEmptyFileMessage, path);
        return VXDictionaryRef();
    }
    const char fallback = fallbackSeparator == u';' ? ';' : fallbackSeparator == u'\t' ? '\t' : ',';
    Parser parser(text, path, columnSeparatorForText(text, fallback));
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
