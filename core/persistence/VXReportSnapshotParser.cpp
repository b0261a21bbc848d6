#include "VXReportSnapshotParser.h"

#include "VXCSVExport.h"
#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXPersistenceLogging.h"
#include "VXReportSnapshotDictionaryExtensions.h"
#include "VXReportSnapshotPart.h"
#include "VXReportSnapshotScanner.h"

#include <QFile>
#include <QStringDecoder>

#include <algorithm>
#include <array>
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

const QString kApplicationGroupName = VXApplicationsKey;
const QString kPoolGroupName = VXPoolsKey;

// A refusal goes to the log; the first of a file's reasons is also kept for whoever asked to
// read it (an earlier reason is the more precise one: "cannot read" before "empty").
void refuse(QString *reason, const QString &message)
{
    qCWarning(lcPersistence).noquote() << message;
    if (reason && reason->isEmpty())
        *reason = message;
}

void refuse(QString *reason, const QString &format, const QString &path)
{
    refuse(reason, VXFillFormat(format, {path}));
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

// A name's text. A leading U+FEFF stays (QString::fromUtf8 drops it as a byte-order mark): names
// apart in their bytes are apart items, and each item needs a node of its own.
QString textOf(std::string_view text)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::ConvertInitialBom);
    return decoder(QByteArrayView(text.data(), static_cast<qsizetype>(text.size())));
}

class Parser
{
public:
    Parser(std::string_view text, const QString &path, char separator, int parts,
           const VXReportSnapshotScanner::Survey &survey, QString *reason) :
        m_begin(text.data()),
        m_end(text.data() + text.size()), m_path(path), m_separator(separator), m_parts(parts), m_survey(survey),
        m_reason(reason)
    {
    }

    VXDictionaryRef parse();

private:
    // An item of the whole file: its node and how many periods of each stream it has.
    struct Target {
        VXDictionary *node = nullptr;
        std::uint32_t counts[2] = {0, 0};
    };

    bool checkQuotes(VXReportSnapshotScanner &scanner);
    bool readHeader(VXReportSnapshotScanner &scanner);
    std::vector<const char *> partBoundaries(const char *begin) const;
    VXDictionary *nodeFor(std::string_view key);
    bool merge(std::vector<VXReportSnapshotPart> &parts);

    const char *m_begin;
    const char *m_end;
    const QString &m_path;
    char m_separator;
    int m_parts;
    VXReportSnapshotScanner::Survey m_survey;
    QString *m_reason;
    VXReportSnapshotHeader m_header;
    VXDictionaryRef m_root;
    std::vector<Target> m_targets;
};

bool Parser::checkQuotes(VXReportSnapshotScanner &scanner)
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
            p = VXReportSnapshotScanner::afterClosingQuote(p, m_end);
        }
        refuse(m_reason,
               VXFillFormat(VXReportSnapshotParser::kClosingQuoteMissingMessage,
                            {VXReportSnapshotScanner::excerpt(open ? open + 1 : m_end, m_end)}));
        return false;
    }
    if (m_survey.placeholder) {
        std::vector<std::pair<const char *, const char *>> quotedTexts;
        for (const char *p = m_begin; p < m_end;) {
            p = static_cast<const char *>(std::memchr(p, '"', static_cast<std::size_t>(m_end - p)));
            if (!p)
                break;
            const char *after = VXReportSnapshotScanner::afterClosingQuote(p, m_end);
            quotedTexts.emplace_back(p + 1, after - 1);
            p = after;
        }
        scanner.usePlaceholders(std::move(quotedTexts));
    }
    return true;
}

bool Parser::readHeader(VXReportSnapshotScanner &scanner)
{
    const std::array<std::pair<const QString *, VXReportSnapshotSlot>, VXSlotCount> names = {{
        {&VXCSVHeader::kPool, VXPoolSlot},
        {&VXCSVHeader::kApplication, VXApplicationSlot},
        {&VXCSVHeader::kWindow, VXWindowSlot},
        {&VXCSVHeader::kForegroundBegin, VXForegroundBeginSlot},
        {&VXCSVHeader::kForegroundEnd, VXForegroundEndSlot},
        {&VXCSVHeader::kTotalBegin, VXTotalBeginSlot},
        {&VXCSVHeader::kTotalEnd, VXTotalEndSlot},
    }};
    std::array<std::string, VXSlotCount> utf8Names;
    for (const auto &[name, slot] : names)
        utf8Names[slot] = name->toStdString();

    std::string scratch;
    VXReportSnapshotScanner::Cell cell;
    VXReportSnapshotScanner::CellEnd ending;
    do {
        ending = scanner.scanCell(cell);
        const std::string_view text = scanner.cellText(cell, scratch, true);
        for (std::size_t slot = 0; slot < VXSlotCount; ++slot) {
            if (!m_header.columns[slot] && text == utf8Names[slot])
                m_header.columns[slot] = m_header.columnCount;
        }
        ++m_header.columnCount;
    } while (ending == VXReportSnapshotScanner::CellEnd::Separator);
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
            quotes += VXReportSnapshotScanner::countQuotes(counted, p);
        for (; p < m_end; ++p) {
            if (*p == '"')
                ++quotes;
            else if (quotes % 2 == 0 && VXReportSnapshotScanner::lineBreakLength(p, m_end) > 0)
                break;
        }
        // No line break outside quoted text from there on: the rest is one part. (Searching on
        // from a later place would count the quotes up to the end twice and could cut inside a
        // quoted text.)
        if (p == m_end)
            break;
        counted = p;
        boundaries.push_back(p);
    }
    boundaries.push_back(m_end);
    return boundaries;
}

// The node of a key (three names, each after its length), made in its place on first use.
VXDictionary *Parser::nodeFor(std::string_view key)
{
    const auto [pool, application, window] = VXReportSnapshotPart::namesOfKey(key);
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
bool Parser::merge(std::vector<VXReportSnapshotPart> &parts)
{
    // The log lines, in order; bad lines named up to the limit, the rest counted.
    std::size_t wrongLines = 0;
    for (const VXReportSnapshotPart &part : parts) {
        for (const VXReportSnapshotPart::Message &message : part.messages) {
            if (!message.countsAsWrongLine)
                qCInfo(lcPersistence).noquote() << message.text;
            else if (++wrongLines <= VXReportSnapshotPart::kLoggedColumnCountLines)
                qCWarning(lcPersistence).noquote() << message.text;
        }
        wrongLines
            += part.wrongLines - std::min<std::size_t>(part.wrongLines, VXReportSnapshotPart::kLoggedColumnCountLines);
    }
    if (wrongLines > VXReportSnapshotPart::kLoggedColumnCountLines) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("%1 more lines whose number of columns is not %2 in CSV file: %3")
                   .arg(wrongLines - VXReportSnapshotPart::kLoggedColumnCountLines)
                   .arg(m_header.columnCount)
                   .arg(m_path);
    }

    std::size_t cutCells = 0;
    for (const VXReportSnapshotPart &part : parts)
        cutCells += part.cutCells;
    if (cutCells > 0) {
        qCWarning(lcPersistence).noquote()
            << QStringLiteral("cells longer than %1 bytes cut to that length in CSV file: %2 (%3 of them)")
                   .arg(VXReportSnapshotParser::kMaximumCellLength)
                   .arg(m_path)
                   .arg(cutCells);
    }

    std::size_t intervals = 0;
    for (const VXReportSnapshotPart &part : parts)
        intervals += part.periods.size();
    if (intervals > VXReportSnapshotParser::kMaximumIntervals) {
        refuse(m_reason,
               QStringLiteral("more than %1 intervals in CSV file: %2")
                   .arg(VXReportSnapshotParser::kMaximumIntervals)
                   .arg(m_path));
        return false;
    }

    for (VXReportSnapshotPart &part : parts)
        part.collectCounts();

    // The file's items in the order they first appear, each part's items mapped to them.
    VXReportSnapshotPart whole;
    std::vector<std::vector<std::uint32_t>> targetOfItem(parts.size());
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const VXReportSnapshotPart &part = parts[i];
        targetOfItem[i].reserve(part.items.size());
        for (const VXReportSnapshotPart::Item &item : part.items) {
            const std::string_view key(part.names.data() + item.nameOffset, item.nameLength);
            const std::array<std::string_view, 3> names = VXReportSnapshotPart::namesOfKey(key);
            const std::uint32_t target = whole.itemFor(names[0], names[1], names[2]);
            if (target == m_targets.size())
                m_targets.push_back({nodeFor(key), {0, 0}});
            targetOfItem[i].push_back(target);
            if (m_targets.size() > VXReportSnapshotParser::kMaximumItems) {
                refuse(m_reason,
                       QStringLiteral("more than %1 items in CSV file: %2")
                           .arg(VXReportSnapshotParser::kMaximumItems)
                           .arg(m_path));
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
        const VXReportSnapshotPart &part = parts[i];
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
        const VXReportSnapshotPart::Period *periods = parts[i].periods.data();
        const std::size_t count = parts[i].periods.size();
        VXValue **itemCursors = cursors[i].data();
        for (std::size_t k = 0; k < count; ++k) {
            if (k + kAhead < count) {
                const VXReportSnapshotPart::Period &later = periods[k + kAhead];
                __builtin_prefetch(itemCursors[std::size_t(later.item) * 2 + later.stream], 1);
            }
            const VXReportSnapshotPart::Period &period = periods[k];
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
    VXReportSnapshotScanner scanner(m_begin, m_end, m_separator);
    if (!checkQuotes(scanner))
        return VXDictionaryRef();

    // The header: the first line that is not empty. Then at least one more line.
    scanner.skipLineBreaks();
    if (scanner.atEnd()) {
        refuse(m_reason, VXReportSnapshotParser::kEmptyFileMessage, m_path);
        return VXDictionaryRef();
    }
    readHeader(scanner);
    scanner.skipLineBreaks();
    if (scanner.atEnd()) {
        refuse(m_reason, VXReportSnapshotParser::kEmptyFileMessage, m_path);
        return VXDictionaryRef();
    }
    if (m_header.columnCount == 0) {
        refuse(m_reason, VXReportSnapshotParser::kNoHeadersMessage, m_path);
        return VXDictionaryRef();
    }
    const auto &columns = m_header.columns;
    if (!columns[VXPoolSlot] && !columns[VXApplicationSlot] && !columns[VXWindowSlot]) {
        refuse(m_reason, VXReportSnapshotParser::kNoRelevantEventStreamTypesMessage, m_path);
        return VXDictionaryRef();
    }
    m_header.hasForeground = columns[VXForegroundBeginSlot] && columns[VXForegroundEndSlot];
    m_header.hasTotal = columns[VXTotalBeginSlot] && columns[VXTotalEndSlot];
    if (!m_header.hasForeground && !m_header.hasTotal) {
        refuse(m_reason, VXReportSnapshotParser::kNoEventStreamsMessage, m_path);
        return VXDictionaryRef();
    }
    for (std::size_t slot = 0; slot < VXSlotCount; ++slot) {
        const bool used = (slot <= VXWindowSlot)
            || ((slot == VXForegroundBeginSlot || slot == VXForegroundEndSlot) && m_header.hasForeground)
            || ((slot == VXTotalBeginSlot || slot == VXTotalEndSlot) && m_header.hasTotal);
        if (used && columns[slot])
            m_header.kept.emplace_back(*columns[slot], static_cast<VXReportSnapshotSlot>(slot));
    }
    std::sort(m_header.kept.begin(), m_header.kept.end());

    // The lines up to the file's first interval, which settles how times are read; then the
    // rest, in parts read side by side when the file is large (each part with the settled
    // formatter), or on in the same part.
    std::vector<VXReportSnapshotPart> parts(1);
    // The formatter's lines take their place among the part's other log lines.
    parts[0].formatter.setMessageSink([&parts](const QString &text) { parts[0].messages.push_back({false, text}); });
    const bool inParts = m_parts > 1 && !scanner.usesPlaceholders();
    parts[0].readLines(scanner, m_header, inParts);
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
            VXReportSnapshotScanner partScanner(boundaries[i - 1], boundaries[i], m_separator);
            parts[i].readLines(partScanner, m_header, false);
        };
        std::vector<std::thread> threads;
        for (std::size_t i = 2; i <= count; ++i)
            threads.emplace_back(read, i);
        read(1);
        for (std::thread &thread : threads)
            thread.join();
    }
    for (const VXReportSnapshotPart &part : parts) {
        if (part.tooMany) {
            refuse(m_reason,
                   QStringLiteral("more than %1 items or %2 intervals in CSV file: %3")
                       .arg(VXReportSnapshotParser::kMaximumItems)
                       .arg(VXReportSnapshotParser::kMaximumIntervals)
                       .arg(m_path));
            return VXDictionaryRef();
        }
    }

    double first = -1.0;
    double last = -1.0;
    bool foregroundActivity = false;
    bool totalActivity = false;
    for (const VXReportSnapshotPart &part : parts) {
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
        refuse(m_reason, VXReportSnapshotParser::kNoSignificantTimestampsMessage, m_path);
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
std::optional<QByteArray> readFile(QFile &file, QByteArrayView *text, QString *reason)
{
    if (!file.open(QIODevice::ReadOnly)) {
        refuse(reason, QStringLiteral("cannot read CSV file <%1>: %2").arg(file.fileName(), file.errorString()));
        return std::nullopt;
    }
    const qint64 size = file.size();
    if (size > VXReportSnapshotParser::kMaximumFileSize) {
        refuse(reason,
               QStringLiteral("CSV file <%1> is larger than %2 bytes")
                   .arg(file.fileName())
                   .arg(VXReportSnapshotParser::kMaximumFileSize));
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
        refuse(reason,
               QStringLiteral("CSV file <%1> is larger than %2 bytes")
                   .arg(file.fileName())
                   .arg(VXReportSnapshotParser::kMaximumFileSize));
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
                                                                               QChar fallbackSeparator, int parts,
                                                                               QString *reason)
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
    const VXReportSnapshotScanner::Survey survey = VXReportSnapshotScanner::survey(text, parts);
    if (!survey.valid) {
        refuse(reason, QStringLiteral("CSV file is not UTF-8 text: %1").arg(path));
        refuse(reason, kEmptyFileMessage, path);
        return VXDictionaryRef();
    }
    const char fallback = fallbackSeparator == u';' ? ';' : fallbackSeparator == u'\t' ? '\t' : ',';
    Parser parser(text, path, columnSeparatorForText(text, fallback), parts, survey, reason);
    return parser.parse();
}

VXDictionaryRef VXReportSnapshotParser::reportSnapshotConfigurationFromCSVFile(const QString &path,
                                                                               QChar fallbackSeparator, QString *reason)
{
    QFile file(path);
    QByteArrayView text;
    const std::optional<QByteArray> data = readFile(file, &text, reason);
    if (!data) {
        refuse(reason, kEmptyFileMessage, path);
        return VXDictionaryRef();
    }
    return reportSnapshotConfigurationFromCSVData(text, path, fallbackSeparator, 0, reason);
}
