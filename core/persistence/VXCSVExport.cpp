#include "VXCSVExport.h"

#include "VXConfigurationKeys.h"
#include "VXDictionaryExtensions.h"
#include "VXEventStreamExtensions.h"
#include "VXListRows.h"
#include "VXPersistenceLogging.h"
#include "VXPropertyListSerialization.h"
#include "VXRegisteredDefaults.h"
#include "VXReportEventLogs.h"
#include "VXStringExtensions.h"
#include "VXUserDefaults.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

const QString &VXCSVHeader::kPoolNotes = VXPoolNotesKey;

namespace {

// The export writes every time with two fraction digits.
constexpr std::int16_t kFractionDigits = 2;

// How one time cell is written: the fixed-point text with the locale's decimal separator, in
// quotes when the separator makes that necessary. Made once per export; the same text as
// CSVStringWithString(localizedStringWithDouble(value, 2, false), separator), without making
// two strings per cell.
class TimeCellWriter
{
public:
    // The longest cell: a sign, 309 whole digits, the separator (a few bytes in some locales),
    // two fraction digits and two quotes.
    static constexpr std::size_t kLongestCell = 330;

    explicit TimeCellWriter(const QString &columnSeparator)
    {
        // The locale's separator as the formatting helpers write it: "0" + separator + "25".
        const QString sample = localizedStringWithDouble(0.25, kFractionDigits, false);
        const QString decimalPoint = sample.mid(1, sample.size() - 3);
        m_quoted = CSVStringWithString(sample, columnSeparator) != sample;
        QString point = decimalPoint;
        if (m_quoted)
            point.replace(QStringLiteral("\""), QStringLiteral("\"\""));
        m_decimalPoint = point.toStdString().substr(0, 8);
    }

    // Writes the cell at `out` (room for kLongestCell bytes) and answers its end.
    char *write(char *out, double value) const
    {
        if (m_quoted)
            *out++ = '"';
        char *end = writeHundredths(out, value);
        if (!end) {
            const std::to_chars_result result
                = std::to_chars(out, out + kLongestCell - 2, value, std::chars_format::fixed, kFractionDigits);
            end = result.ptr;
        }
        if (std::isfinite(value) && !(m_decimalPoint.size() == 1 && m_decimalPoint[0] == '.')) {
            // Put the locale's separator in place of the ".", before the two fraction digits.
            char *point = end - (kFractionDigits + 1);
            const char fraction[kFractionDigits] = {point[1], point[2]};
            std::memcpy(point, m_decimalPoint.data(), m_decimalPoint.size());
            point += m_decimalPoint.size();
            std::memcpy(point, fraction, kFractionDigits);
            end = point + kFractionDigits;
        }
        if (m_quoted)
            *end++ = '"';
        return end;
    }

private:
    // The value with two fraction digits and a ".", rounded as "%.2f" rounds (the exact binary
    // value to the nearest hundredth, ties to even), for the values a time can have: not
    // negative and below 2^52. Worked out exactly in whole numbers: value = m x 2^-s, so
    // value x 100 = (100 m) >> s, with the bits shifted out deciding the rounding. Nothing
    // (null) for other values.
    static char *writeHundredths(char *out, double value)
    {
        if (!(value >= 0.0) || !(value < 4503599627370496.0))
            return nullptr;
        if (value == 0.0) {
            std::memcpy(out, "0.00", 4);
            return out + 4;
        }
        const auto bits = std::bit_cast<std::uint64_t>(value);
        const int exponent = static_cast<int>((bits >> 52) & 0x7FF);
        if (exponent == 0)
            return nullptr;   // subnormal
        const std::uint64_t mantissa = (bits & ((std::uint64_t(1) << 52) - 1)) | (std::uint64_t(1) << 52);
        const int shift = 1075 - exponent;   // value = mantissa x 2^-shift
        if (shift <= 0 || shift > 60)
            return nullptr;
        const std::uint64_t scaled = mantissa * 100;   // below 2^60
        std::uint64_t hundredths = scaled >> shift;
        const std::uint64_t rest = scaled & ((std::uint64_t(1) << shift) - 1);
        const std::uint64_t half = std::uint64_t(1) << (shift - 1);
        if (rest > half || (rest == half && (hundredths & 1) != 0))
            ++hundredths;
        const std::to_chars_result whole = std::to_chars(out, out + 24, hundredths / 100);
        char *end = whole.ptr;
        const auto fraction = static_cast<unsigned>(hundredths % 100);
        end[0] = '.';
        end[1] = static_cast<char>('0' + fraction / 10);
        end[2] = static_cast<char>('0' + fraction % 10);
        return end + 3;
    }

    std::string m_decimalPoint;
    bool m_quoted = false;
};

// Copies a few bytes without a call: two overlapping words for up to sixteen bytes.
inline char *copyBytes(char *to, const char *from, std::size_t count)
{
    if (count >= 8 && count <= 16) {
        std::uint64_t head;
        std::uint64_t tail;
        std::memcpy(&head, from, 8);
        std::memcpy(&tail, from + count - 8, 8);
        std::memcpy(to, &head, 8);
        std::memcpy(to + count - 8, &tail, 8);
    } else if (count < 8) {
        for (std::size_t i = 0; i < count; ++i)
            to[i] = from[i];
    } else {
        std::memcpy(to, from, count);
    }
    return to + count;
}

// A growing buffer written through a pointer, for the millions of small pieces of an export.
class Writer
{
public:
    explicit Writer(std::size_t capacity) :
        m_data(static_cast<qsizetype>(std::max<std::size_t>(capacity, 64)), Qt::Uninitialized)
    {
    }

    // Room for `bytes` more at the answer.
    char *reserve(std::size_t bytes)
    {
        if (static_cast<std::size_t>(m_data.size() - m_used) < bytes)
            m_data.resize(std::max(m_data.size() * 2, m_used + static_cast<qsizetype>(bytes)));
        return m_data.data() + m_used;
    }
    void commit(char *end) { m_used = end - m_data.data(); }
    void append(const QByteArray &bytes)
    {
        char *at = reserve(static_cast<std::size_t>(bytes.size()));
        std::memcpy(at, bytes.constData(), static_cast<std::size_t>(bytes.size()));
        commit(at + bytes.size());
    }
    qsizetype size() const { return m_used; }
    const char *data() const { return m_data.constData(); }
    void clear() { m_used = 0; }
    QByteArray take()
    {
        m_data.truncate(m_used);
        return std::move(m_data);
    }

private:
    QByteArray m_data;
    qsizetype m_used = 0;
};

// How the lines are written: the header, each item's label cells (quoted, each followed by the
// separator) and each line's time cells.
class LineFormat
{
public:
    explicit LineFormat(const VXExportSettings &settings) :
        m_settings(settings), m_cells(settings.columnSeparator), m_columnSeparator(settings.columnSeparator.toUtf8()),
        m_rowSeparator(settings.rowSeparator.toUtf8())
    {
        char zeroCell[TimeCellWriter::kLongestCell];
        m_zero.assign(zeroCell, m_cells.write(zeroCell, 0.0));
        const std::size_t pairs = (settings.front ? 1 : 0) + (settings.total ? 1 : 0);
        m_timeBytes = pairs * 2 * (TimeCellWriter::kLongestCell + static_cast<std::size_t>(m_columnSeparator.size()))
            + static_cast<std::size_t>(m_rowSeparator.size());
    }

    // The header row: cells as they are.
    QByteArray header() const
    {
        QStringList header;
        if (m_settings.pool)
            header << VXCSVHeader::kPool;
        if (m_settings.poolNotes)
            header << VXCSVHeader::kPoolNotes;
        if (m_settings.application)
            header << VXCSVHeader::kApplication;
        if (m_settings.window)
            header << VXCSVHeader::kWindow;
        if (m_settings.front)
            header << VXCSVHeader::kForegroundBegin << VXCSVHeader::kForegroundEnd;
        if (m_settings.total)
            header << VXCSVHeader::kTotalBegin << VXCSVHeader::kTotalEnd;
        return header.join(m_settings.columnSeparator).toUtf8() + m_rowSeparator;
    }

    QByteArray prefix(const VXSnapshotLineLabels &labels) const
    {
        const QString &separator = m_settings.columnSeparator;
        QString prefix;
        const auto addCell = [&](const QString &value) {
            // A NUL ends the text for many readers of CSV: a title saved before titles were
            // cleaned shows U+FFFD there instead.
            if (value.contains(QChar(0)))
                prefix += CSVStringWithString(QString(value).replace(QChar(0), QChar::ReplacementCharacter), separator);
            else
                prefix += CSVStringWithString(value, separator);
            prefix += separator;
        };
        if (m_settings.pool)
            addCell(labels.pool);
        if (m_settings.poolNotes)
            addCell(labels.poolNotes);
        if (m_settings.application)
            addCell(labels.application);
        if (m_settings.window)
            addCell(labels.window);
        return prefix.toUtf8();
    }

    void writeLine(Writer &out, const QByteArray &prefix, VXSnapshotStream stream, double begin, double end) const
    {
        const char *separatorBytes = m_columnSeparator.constData();
        const auto separatorSize = static_cast<std::size_t>(m_columnSeparator.size());
        char *w = out.reserve(static_cast<std::size_t>(prefix.size()) + m_timeBytes);
        w = copyBytes(w, prefix.constData(), static_cast<std::size_t>(prefix.size()));
        const auto writePair = [&](bool own) {
            if (own) {
                w = m_cells.write(w, begin);
                w = copyBytes(w, separatorBytes, separatorSize);
                w = m_cells.write(w, end);
            } else {
                w = copyBytes(w, m_zero.data(), m_zero.size());
                w = copyBytes(w, separatorBytes, separatorSize);
                w = copyBytes(w, m_zero.data(), m_zero.size());
            }
        };
        if (m_settings.front)
            writePair(stream == VXSnapshotStream::Foreground);
        if (m_settings.front && m_settings.total)
            w = copyBytes(w, separatorBytes, separatorSize);
        if (m_settings.total)
            writePair(stream == VXSnapshotStream::Total);
        out.commit(copyBytes(w, m_rowSeparator.constData(), static_cast<std::size_t>(m_rowSeparator.size())));
    }

private:
    const VXExportSettings &m_settings;
    TimeCellWriter m_cells;
    QByteArray m_columnSeparator;
    QByteArray m_rowSeparator;
    std::string m_zero;
    std::size_t m_timeBytes = 0;
};

// At most one line per two numbers of every log the export may read, and one more per log (the
// range's ends can add a number to each): room made once.
std::size_t linesAtMost(const VXDictionary &configuration, const VXExportSettings &settings)
{
    std::size_t numbers = 0;
    std::size_t logs = 0;
    const auto count = [&](const VXDictionary &item) {
        for (const auto &[wanted, key] :
             {std::pair {settings.front, &VXFrontActiveLogKey}, std::pair {settings.total, &VXActiveLogKey}}) {
            if (const VXArray *log = wanted ? item.value(*key).array() : nullptr) {
                numbers += log->size();
                ++logs;
            }
        }
    };
    if (const VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary()) {
        for (const VXDictionary::Entry &entry : *applications) {
            const VXDictionary *application = entry.value.dictionary();
            if (!application)
                continue;
            count(*application);
            if (const VXDictionary *windows = application->value(VXWindowsByNameKey).dictionary())
                for (const VXDictionary::Entry &window : *windows)
                    if (const VXDictionary *item = window.value.dictionary())
                        count(*item);
        }
    }
    if (const VXArray *pools = configuration.value(VXPoolsKey).array()) {
        for (const VXValue &pool : *pools) {
            if (!pool.dictionary())
                continue;
            count(*pool.dictionary());
            if (const VXArray *members = pool.dictionary()->value(VXChildrenKey).array()) {
                for (const VXValue &member : *members) {
                    if (!member.dictionary())
                        continue;
                    count(*member.dictionary());
                    if (const VXArray *entries = member.dictionary()->value(VXChildrenKey).array())
                        for (const VXValue &entry : *entries)
                            if (entry.dictionary())
                                count(*entry.dictionary());
                }
            }
        }
    }
    return numbers / 2 + logs;
}

bool isListed(const VXExportSettings &settings, const VXListRows *rows, const VXDictionary &item, bool poolSide)
{
    if (settings.exportedReportContent == 1 || !rows)
        return true;
    return poolSide ? rows->poolListHasRowForItem(item) : rows->applicationListHasRowForItem(item);
}

// The numbers of a log read in place, a block at a time: the walks go through a log from its
// start, one log after another, so one block shared by all logs serves them.
struct NumberBlock {
    const std::uint8_t *log = nullptr;   // the references of the log the block holds
    std::uint64_t first = 0;
    std::size_t count = 0;
    double numbers[512];
};
struct LogNumbers {
    VXBinaryPropertyListView *view;
    VXBinaryPropertyListView::Container log;
    NumberBlock *block;
    double operator()(std::size_t i) const
    {
        if (block->log != log.references || i < block->first || i >= block->first + block->count) {
            block->log = log.references;
            block->first = i;
            block->count = view->numbersAt(log, i, std::size(block->numbers), block->numbers);
            if (block->count == 0)
                return 0.0;
        }
        return block->numbers[i - block->first];
    }
};
using LogClipper = VXEventStreamClipper<LogNumbers>;

// One stream of one item of a record read in place, with periods inside the range.
struct InPlaceStream {
    std::uint32_t prefix;   // index of the item's label cells
    VXSnapshotStream stream;
    VXBinaryPropertyListView::Container log;
    // A log whose periods are out of time order (hand-made or damaged) has its periods here,
    // sorted, instead of being walked again.
    std::vector<std::pair<double, double>> sorted;
};

// The periods of one stream for the merge, one at a time.
class StreamCursor
{
public:
    StreamCursor(VXBinaryPropertyListView &view, NumberBlock &block, const InPlaceStream &stream, double begin,
                 double end) :
        m_stream(&stream),
        m_clipper(stream.log.count, LogNumbers {&view, stream.log, &block}, begin, end)
    {
    }

    bool next()
    {
        if (m_stream->sorted.empty())
            return VXNextPeriod(m_clipper, m_opening, m_begin, m_end);
        if (m_sortedAt >= m_stream->sorted.size())
            return false;
        std::tie(m_begin, m_end) = m_stream->sorted[m_sortedAt++];
        return true;
    }
    double begin() const { return m_begin; }
    double end() const { return m_end; }
    const InPlaceStream &stream() const { return *m_stream; }

private:
    const InPlaceStream *m_stream;
    LogClipper m_clipper;
    double m_opening = -1.0;
    double m_begin = 0.0;
    double m_end = 0.0;
    std::size_t m_sortedAt = 0;
};

// The export of a record read in place, in two steps: a walk over the items that finds the
// streams with periods in the range (and reads every number the export writes, so that damage
// is found before anything is written), then the streams' lines in the export's order.
class InPlaceExport
{
public:
    InPlaceExport(VXBinaryPropertyListView &view, double begin, double end, const VXExportSettings &settings) :
        m_view(view), m_begin(begin), m_end(end), m_settings(settings), m_format(settings)
    {
    }

    // Finds the streams; false when the record is damaged.
    bool walk()
    {
        const VXBinaryPropertyListView::Object root = m_view.root();
        if (m_settings.application) {
            for (const auto &application :
                 VXItemsOf(m_view, root, VXApplicationsKey, VXBinaryPropertyListView::Kind::Dictionary)) {
                const VXDictionaryRef item = VXItemWithoutLogs(m_view, application);
                if (!item)
                    continue;
                const QString name = itemName(*item);
                addStreams(application, {QString(), QString(), name, QString()});
                if (!m_settings.window)
                    continue;
                for (const auto &window :
                     VXItemsOf(m_view, application, VXWindowsByNameKey, VXBinaryPropertyListView::Kind::Dictionary)) {
                    if (const VXDictionaryRef windowItem = VXItemWithoutLogs(m_view, window))
                        addStreams(window, {QString(), QString(), name, itemName(*windowItem)});
                }
            }
        }
        if (m_settings.pool) {
            for (const auto &pool : VXItemsOf(m_view, root, VXPoolsKey, VXBinaryPropertyListView::Kind::Array)) {
                const VXDictionaryRef poolItem = VXItemWithoutLogs(m_view, pool);
                if (!poolItem)
                    continue;
                const QString poolName = itemName(*poolItem);
                const VXValue &notesValue = poolItem->value(VXPoolNotesKey);
                const QString notes = notesValue.isString() ? notesValue.stringRef() : QString();
                addStreams(pool, {poolName, notes, QString(), QString()});
                if (!m_settings.application)
                    continue;
                for (const auto &member :
                     VXItemsOf(m_view, pool, VXChildrenKey, VXBinaryPropertyListView::Kind::Array)) {
                    const VXDictionaryRef memberItem = VXItemWithoutLogs(m_view, member);
                    if (!memberItem)
                        continue;
                    const QString memberName = itemName(*memberItem);
                    addStreams(member, {poolName, notes, memberName, QString()});
                    if (!m_settings.window)
                        continue;
                    for (const auto &entry :
                         VXItemsOf(m_view, member, VXChildrenKey, VXBinaryPropertyListView::Kind::Array)) {
                        if (const VXDictionaryRef entryItem = VXItemWithoutLogs(m_view, entry))
                            addStreams(entry, {poolName, notes, memberName, itemName(*entryItem)});
                    }
                }
            }
        }
        return !m_view.isDamaged();
    }

    // Writes the header and the lines, in the order of sortSnapshotLines: foreground lines before
    // total ones, each by begin, equal ones in the order the walk found them. Each stream's
    // periods come in time order (or were sorted by the walk), so a slice of time holds, from
    // every stream, the lines that follow those of the slices before it.
    bool write(const std::function<bool(const char *data, qsizetype size)> &sink)
    {
        constexpr qsizetype kChunk = 1 << 20;
        Writer out(kChunk + 4096);
        out.append(m_format.header());
        // The range cut in slices of time holding about kSliceLines lines each (on average):
        // the lines of a slice are gathered stream by stream, in the walk's order, and sorted
        // stably by begin, which is the export's order for them.
        constexpr std::size_t kSliceLines = 1 << 16;
        const std::size_t slices = std::max<std::size_t>(1, m_lines / kSliceLines);
        const double lo = std::min(m_begin, m_end);
        const double width = (std::max(m_begin, m_end) - lo) / double(slices);
        struct Line {
            double begin;
            double end;
            std::uint32_t prefix;
        };
        std::vector<Line> lines;
        for (const VXSnapshotStream stream : {VXSnapshotStream::Foreground, VXSnapshotStream::Total}) {
            std::vector<StreamCursor> cursors;
            for (const InPlaceStream &found : m_streams) {
                if (found.stream != stream)
                    continue;
                cursors.emplace_back(m_view, m_block, found, m_begin, m_end);
                if (!cursors.back().next())
                    cursors.pop_back();
            }
            for (std::size_t slice = 0; slice < slices && !cursors.empty(); ++slice) {
                const bool last = slice + 1 == slices;
                const double sliceEnd = lo + width * double(slice + 1);
                lines.clear();
                std::size_t kept = 0;
                for (StreamCursor &cursor : cursors) {
                    bool more = true;
                    while (more && (last || cursor.begin() < sliceEnd)) {
                        lines.push_back({cursor.begin(), cursor.end(), cursor.stream().prefix});
                        more = cursor.next();
                    }
                    if (more)
                        cursors[kept++] = std::move(cursor);
                }
                cursors.erase(cursors.begin() + static_cast<std::ptrdiff_t>(kept), cursors.end());
                std::stable_sort(lines.begin(), lines.end(),
                                 [](const Line &a, const Line &b) { return a.begin < b.begin; });
                for (const Line &line : lines) {
                    m_format.writeLine(out, m_prefixes[line.prefix], stream, line.begin, line.end);
                    if (out.size() >= kChunk) {
                        if (!sink(out.data(), out.size()))
                            return false;
                        out.clear();
                    }
                }
            }
        }
        return sink(out.data(), out.size());
    }

private:
    // The item's streams with periods in the range, checked for time order.
    void addStreams(VXBinaryPropertyListView::Object object, const VXSnapshotLineLabels &labels)
    {
        const VXBinaryPropertyListView::Container item = m_view.container(object);
        std::optional<std::uint32_t> prefix;   // the item's label cells, made once for both streams
        for (const auto &[wanted, stream, key] :
             {std::tuple {m_settings.front, VXSnapshotStream::Foreground, &VXFrontActiveLogKey},
              std::tuple {m_settings.total, VXSnapshotStream::Total, &VXActiveLogKey}}) {
            if (!wanted)
                continue;
            InPlaceStream found {0, stream, m_view.container(m_view.valueForKey(item, *key)), {}};
            if (found.log.kind != VXBinaryPropertyListView::Kind::Array)
                continue;
            std::size_t periods = 0;
            double previous = 0.0;
            bool inOrder = true;
            forEachPeriod(found.log, [&](double begin, double) {
                inOrder = inOrder && (periods == 0 || begin >= previous);
                previous = begin;
                ++periods;
            });
            if (m_view.isDamaged() || periods == 0)
                continue;
            m_lines += periods;
            if (!inOrder) {
                forEachPeriod(found.log, [&](double begin, double end) { found.sorted.emplace_back(begin, end); });
                std::stable_sort(found.sorted.begin(), found.sorted.end(),
                                 [](const auto &a, const auto &b) { return a.first < b.first; });
            }
            if (!prefix) {
                prefix = static_cast<std::uint32_t>(m_prefixes.size());
                m_prefixes.push_back(m_format.prefix(labels));
            }
            found.prefix = *prefix;
            m_streams.push_back(std::move(found));
        }
    }

    template <class Period> void forEachPeriod(const VXBinaryPropertyListView::Container &log, Period &&period)
    {
        LogClipper clipper(log.count, LogNumbers {&m_view, log, &m_block}, m_begin, m_end);
        double opening = -1.0;
        double begin = 0.0;
        double end = 0.0;
        while (VXNextPeriod(clipper, opening, begin, end))
            period(begin, end);
    }

    VXBinaryPropertyListView &m_view;
    double m_begin;
    double m_end;
    const VXExportSettings &m_settings;
    LineFormat m_format;
    std::vector<InPlaceStream> m_streams;
    std::vector<QByteArray> m_prefixes;   // one per item with periods
    std::size_t m_lines = 0;
    NumberBlock m_block;
};

}   // namespace

QString VXColumnSeparatorForValue(std::int64_t value)
{
    switch (value) {
    case 1: return QStringLiteral(";");
    case 2: return QStringLiteral("\t");
    default: return QStringLiteral(",");
    }
}

QString VXRowSeparatorForValue(std::int64_t value)
{
    switch (value) {
    case 1: return QStringLiteral("\r");
    case 2: return QStringLiteral("\r\n");
    default: return QStringLiteral("\n");
    }
}

VXExportSettings VXExportSettings::fromDefaults(const VXUserDefaults &defaults)
{
    VXExportSettings settings;
    settings.pool = defaults.boolForKey(VXDefaultsKey::kExportColumnPool);
    settings.poolNotes = defaults.boolForKey(VXExportKey::kExportColumnPoolNotes);
    settings.application = defaults.boolForKey(VXDefaultsKey::kExportColumnApplication);
    settings.window = defaults.boolForKey(VXDefaultsKey::kExportColumnWindow);
    settings.front = defaults.boolForKey(VXDefaultsKey::kExportColumnFront);
    settings.total = defaults.boolForKey(VXExportKey::kExportColumnTotal);
    settings.exportedReportContent = defaults.integerForKey(VXDefaultsKey::kExportedReportContent);
    settings.columnSeparator
        = VXColumnSeparatorForValue(defaults.integerForKey(VXExportKey::kExportedReportColumnSeparator));
    settings.rowSeparator = VXRowSeparatorForValue(defaults.integerForKey(VXExportKey::kExportedReportRowSeparator));
    return settings;
}

VXSnapshotLines snapshotLinesBetweenTimestamp(const VXDictionary &configuration, double beginTimestamp,
                                              double endTimestamp, const VXExportSettings &settings,
                                              const VXListRows *rows)
{
    VXSnapshotLines lines;
    if (!settings.hasRelevantColumns())
        return lines;
    lines.lines.reserve(linesAtMost(configuration, settings));

    const auto addLines = [&](const VXDictionary &item, const QString &pool, const QString &poolNotes,
                              const QString &application, const QString &window) {
        if (settings.front)
            addEventStream(lines, item, VXSnapshotStream::Foreground, beginTimestamp, endTimestamp, pool, poolNotes,
                           application, window);
        if (settings.total)
            addEventStream(lines, item, VXSnapshotStream::Total, beginTimestamp, endTimestamp, pool, poolNotes,
                           application, window);
    };

    // Applications and their windows. A window is checked against the list by itself, also
    // when its application is not listed.
    if (settings.application) {
        if (const VXDictionary *applications = configuration.value(VXApplicationsKey).dictionary()) {
            for (const VXDictionary::Entry &applicationEntry : *applications) {
                const VXDictionary *application = applicationEntry.value.dictionary();
                if (!application)
                    continue;
                const QString name = itemName(*application);
                if (isListed(settings, rows, *application, false))
                    addLines(*application, QString(), QString(), name, QString());
                if (!settings.window)
                    continue;
                const VXDictionary *windows = application->value(VXWindowsByNameKey).dictionary();
                if (!windows)
                    continue;
                for (const VXDictionary::Entry &windowEntry : *windows) {
                    const VXDictionary *window = windowEntry.value.dictionary();
                    if (window && isListed(settings, rows, *window, false))
                        addLines(*window, QString(), QString(), name, itemName(*window));
                }
            }
        }
    }

    // Pools, their members and the members' window entries. An unlisted pool or member takes
    // the items below it along.
    if (settings.pool) {
        if (const VXArray *pools = configuration.value(VXPoolsKey).array()) {
            for (const VXValue &poolValue : *pools) {
                const VXDictionary *pool = poolValue.dictionary();
                if (!pool || !isListed(settings, rows, *pool, true))
                    continue;
                const QString poolName = itemName(*pool);
                const VXValue &notesValue = pool->value(VXPoolNotesKey);
                const QString notes = notesValue.isString() ? notesValue.stringRef() : QString();
                addLines(*pool, poolName, notes, QString(), QString());
                if (!settings.application)
                    continue;
                const VXArray *members = pool->value(VXChildrenKey).array();
                if (!members)
                    continue;
                for (const VXValue &memberValue : *members) {
                    const VXDictionary *member = memberValue.dictionary();
                    if (!member || !isListed(settings, rows, *member, true))
                        continue;
                    const QString memberName = itemName(*member);
                    addLines(*member, poolName, notes, memberName, QString());
                    if (!settings.window)
                        continue;
                    const VXArray *entries = member->value(VXChildrenKey).array();
                    if (!entries)
                        continue;
                    for (const VXValue &entryValue : *entries) {
                        if (const VXDictionary *entry = entryValue.dictionary())
                            addLines(*entry, poolName, notes, memberName, itemName(*entry));
                    }
                }
            }
        }
    }

    sortSnapshotLines(lines);
    return lines;
}

QByteArray CSVDataWithSnapshotLines(const VXSnapshotLines &lines, const VXExportSettings &settings)
{
    const LineFormat format(settings);
    // Each item's label cells, once per item.
    std::vector<QByteArray> prefixes;
    prefixes.reserve(lines.labels.size());
    std::size_t prefixBytes = 0;
    for (const VXSnapshotLineLabels &labels : lines.labels) {
        prefixes.push_back(format.prefix(labels));
        prefixBytes += static_cast<std::size_t>(prefixes.back().size());
    }
    const std::size_t averagePrefix = prefixes.empty() ? 0 : prefixBytes / prefixes.size();
    Writer out(lines.lines.size() * (averagePrefix + 72) + 256);
    out.append(format.header());
    for (const VXSnapshotLine &line : lines.lines)
        format.writeLine(out, prefixes[line.labels], line.stream, line.begin, line.end);
    return out.take();
}

std::optional<QByteArray> CSVDataWithBeginTimestamp(const VXDictionary *configuration, double beginTimestamp,
                                                    double endTimestamp, const VXExportSettings &settings,
                                                    const VXListRows *rows)
{
    if (!settings.hasRelevantColumns()) {
        qCWarning(lcPersistence).noquote() << VXNothingToExportMessage;
        return std::nullopt;
    }
    VXSnapshotLines lines;
    if (configuration)
        lines = snapshotLinesBetweenTimestamp(*configuration, beginTimestamp, endTimestamp, settings, rows);
    return CSVDataWithSnapshotLines(lines, settings);
}

bool exportCSVWithBeginTimestamp(const VXDictionary *configuration, double beginTimestamp, double endTimestamp,
                                 const QString &path, const VXExportSettings &settings, const VXListRows *rows)
{
    const std::optional<QByteArray> data
        = CSVDataWithBeginTimestamp(configuration, beginTimestamp, endTimestamp, settings, rows);
    if (!data)
        return false;
    return writeDataToFile(*data, path, true);
}

bool VXWriteCSVInPlace(VXBinaryPropertyListView &view, double beginTimestamp, double endTimestamp,
                       const VXExportSettings &settings,
                       const std::function<bool(const char *data, qsizetype size)> &sink, bool *damaged)
{
    *damaged = false;
    if (!settings.hasRelevantColumns()) {
        qCWarning(lcPersistence).noquote() << VXNothingToExportMessage;
        return false;
    }
    InPlaceExport exporter(view, beginTimestamp, endTimestamp, settings);
    if (!exporter.walk()) {
        *damaged = true;
        return false;
    }
    return exporter.write(sink);
}
