#pragma once

// Reading a CSV file (an export, or one a person or a spreadsheet edited) into a snapshot
// configuration (VXReportSnapshotDictionaryExtensions.h). The reader is lenient: it guesses the
// column separator and the decimal separator, finds its columns by their header names in any
// order, and skips lines it cannot use. It refuses a file, with one log line naming it, when:
//
//     the file is not UTF-8 text, or cannot be read          "empty CSV file: %@"
//     a quoted text has no closing quote                     "closing quote missing in CSV string: %@"
//     it has fewer than two lines                            "empty CSV file: %@"
//     the header has no cells                                "no headers in CSV file: %@"
//     no "Pool", "Application" or "Window" column            "no relevant event stream types in CSV file: %@"
//     no complete begin and end pair of columns              "no event streams in CSV file: %@"
//     no interval longer than 0.001 s                        "no significant timestamps in CSV file: %@"
//     it is beyond the limits below                          (a line saying which)
//
// and skips, with a log line, each line whose number of cells differs from the header's
// ("number of columns is not %lu in CSV line: %@"; after 20 such lines, one line counts the
// rest). Cells longer than kMaximumCellLength are cut, with one line counting them.
//
// Separator: the file's first character once every "Pool", "Application" and "Window" is
// taken out of it, when that is ",", ";" or a tab; else the fallback (the user's setting).
// Quoted texts may hold separators, quotes (doubled) and line breaks, and may stand anywhere
// in a cell. Lines end at any line-break character ("\r\n" makes an empty line, which is
// skipped like every empty line).
//
//     Window;Application;Foreground Begin (Unix Time);Foreground End (Unix Time)\r\n
//     "Report; draft ""2""";Editor;1700000000,00;1700000300,00\r\n
//     -> Applications / Editor / Report; draft "2": +1700000000, -1700000300
//
// The work is done on the UTF-8 bytes, keeping only the cells of the columns it uses, so memory
// stays bounded by the file and the tree it makes. A large file is read in parts side by side
// once its first interval has settled how times are written; the parts are joined in file
// order, so the tree and the log lines are those of one reading from start to end. Safe to run
// on any thread.
//
//     VXReportSnapshotScanner   cells and lines, the quoting rules, the survey of the text
//     VXReportSnapshotPart      one range of lines: its items, periods and log lines
//     VXReportSnapshotParser    the header, the parts side by side, their merge into the tree

#include "VXValue.h"

#include <QByteArrayView>
#include <QString>

#include <cstddef>
#include <string_view>

class VXReportSnapshotParser
{
public:
    // Stands for a quoted text while lines and cells are cut. The file's own text never needs
    // it; a file that holds it anyway gets it replaced like the real ones, in order.
    static const QString
        kQuotedStringPlaceholder;   // "[com.brasswing.VXReportSnapshotManager.QuotedStringPlaceholder]"

    static const QString kClosingQuoteMissingMessage;   // "closing quote missing in CSV string: %@"
    static const QString kEmptyFileMessage;   // "empty CSV file: %@"
    static const QString kNoHeadersMessage;   // "no headers in CSV file: %@"
    static const QString kNoRelevantEventStreamTypesMessage;   // "no relevant event stream types in CSV file: %@"
    static const QString kNoEventStreamsMessage;   // "no event streams in CSV file: %@"
    static const QString kColumnCountMessage;   // "number of columns is not %lu in CSV line: %@"
    static const QString kNoSignificantTimestampsMessage;   // "no significant timestamps in CSV file: %@"

    // Limits against hostile files: the size read, the intervals kept, and the items (different
    // pool, application and window triples) made.
    static constexpr qint64 kMaximumFileSize = qint64(1) << 30;
    static constexpr std::size_t kMaximumIntervals = std::size_t(1) << 24;
    static constexpr std::size_t kMaximumItems = std::size_t(1) << 20;
    // A longer cell is cut (on a character boundary) to this many bytes, as long as the longest
    // window title the tracker keeps: names, not documents.
    static constexpr std::size_t kMaximumCellLength = 4096;

    // The file's snapshot configuration ("Path" = path), or null after the log line; `reason`,
    // when given, receives that line's text (the first refusal) for a person to read.
    // `fallbackSeparator` is the column separator of the user's setting.
    static VXDictionaryRef reportSnapshotConfigurationFromCSVFile(const QString &path, QChar fallbackSeparator,
                                                                  QString *reason = nullptr);

    // The same for text already in memory; `path` names the file in the tree and the log.
    // `parts` is how many parts the lines are read in, side by side (0: by the size of the
    // text and the machine's cores); the result is the same in any case.
    static VXDictionaryRef reportSnapshotConfigurationFromCSVData(QByteArrayView data, const QString &path,
                                                                  QChar fallbackSeparator, int parts = 0,
                                                                  QString *reason = nullptr);

    // Texts from this size on are read in parts on several cores.
    static constexpr std::size_t kParallelReadingSize = std::size_t(8) << 20;

    // The column separator the reader uses for this text.
    static char columnSeparatorForText(std::string_view text, char fallbackSeparator);
};
