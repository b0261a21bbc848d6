#pragma once

// The bytes of a CSV snapshot cut into cells and lines: where the quoting rules of the reader
// live. A quoted text starts at any double quote and ends at the next double quote that does
// not start a pair; inside it, separators and line breaks are text and each pair stands for one
// quote. Lines end at "\n", "\v", "\f", "\r", U+0085, U+2028 or U+2029, outside quotes.
//
//     Mail,"Inbox, ""new""",1.00\r\n   ->  [Mail] [Inbox, "new"] [1.00]   then an empty line
//     Mail,part "one,"two,1.00        ->  [Mail] [part one,two] [1.00]  (quotes anywhere in a cell)
//
// A scanner reads one range of the text (each part of a file read in parallel has its own). The
// cells it answers point into the text when they need no change, else into its own buffers,
// which the next line overwrites.
//
// When the file holds the placeholder's own text, the reader is in placeholder mode: every
// quoted text and every copy of the placeholder become placeholders, replaced in file order by
// the quoted texts in file order (a placeholder with none left keeps the placeholder's text).

#include <QString>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// The columns the reader uses, as slots of a line's kept cells.
enum VXReportSnapshotSlot : std::size_t {
    VXPoolSlot,
    VXApplicationSlot,
    VXWindowSlot,
    VXForegroundBeginSlot,
    VXForegroundEndSlot,
    VXTotalBeginSlot,
    VXTotalEndSlot,
    VXSlotCount
};

class VXReportSnapshotScanner
{
public:
    struct Cell {
        const char *begin = nullptr;
        const char *end = nullptr;
        bool hasQuote = false;
    };
    enum class CellEnd { Separator, LineBreak, EndOfText };
    // The columns whose cells a line keeps, by column index, and the slot each goes to.
    using KeptColumns = std::vector<std::pair<std::size_t, VXReportSnapshotSlot>>;
    using Cells = std::array<std::string_view, VXSlotCount>;

    // What a whole text holds, found before reading it: whether it is UTF-8, how many quotes it
    // has, and whether the placeholder's own text is in it.
    struct Survey {
        bool valid = true;
        std::size_t quotes = 0;
        bool placeholder = false;
    };
    // Worked out in `parts` ranges side by side, cut before ASCII bytes (which never sit inside
    // a character).
    static Survey survey(std::string_view text, int parts);

    VXReportSnapshotScanner(const char *begin, const char *end, char separator);

    const char *position() const { return m_p; }
    bool atEnd() const { return m_p >= m_end; }
    const char *end() const { return m_end; }

    // Switches to placeholder mode with the file's quoted texts (between their quotes, pairs
    // still doubled), in file order.
    void usePlaceholders(std::vector<std::pair<const char *, const char *>> quotedTexts);
    bool usesPlaceholders() const { return m_placeholderInText; }

    // One cell from the position on, and what ended it (the separator is stepped over, a line
    // break is not).
    CellEnd scanCell(Cell &cell);
    void skipLineBreaks()
    {
        while (m_p < m_end) {
            const int length = lineBreakLength(m_p, m_end);
            if (length == 0)
                return;
            m_p += length;
        }
    }
    // The cell's text with its quotes resolved, in `scratch` when it needs a change. Nothing
    // when not `keep` (the placeholders are counted all the same).
    std::string_view cellText(const Cell &cell, std::string &scratch, bool keep);
    // The line's cells, keeping those of the kept columns; answers the number of cells.
    std::size_t readLine(const KeptColumns &kept, Cells &cells);
    // Whether the last line's cells all lie in the text (none is a copy in the scanner's own
    // buffers, which the next line overwrites).
    bool lastLineWasPlain() const { return m_lastLinePlain; }

    // ---- The text rules, on their own

    // The length of the line break at p, 0 for none.
    static int lineBreakLength(const char *p, const char *end)
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
    // The position just after the quote that closes the quoted text opened at `open`. `end`
    // when there is none.
    static const char *afterClosingQuote(const char *open, const char *end);
    // The number of double quotes in the bytes.
    static std::size_t countQuotes(const char *begin, const char *end);
    // The bytes of a quoted text's inside, each pair of quotes as one.
    static void appendUnescaped(std::string &out, const char *begin, const char *end);
    // The length of the UTF-8 character that starts with s[i] (at or above 0x80), or 0 when it
    // is no valid one: an overlong form, a surrogate, a value above U+10FFFF, or bytes missing
    // before n.
    static int utf8CharacterLength(const unsigned char *s, std::size_t i, std::size_t n);
    // The bytes as text for a log line, cut to a couple of hundred bytes.
    static QString excerpt(const char *begin, const char *end);

private:
    enum ByteClass : std::uint8_t { Plain, Separator, Quote, LineBreak, LineBreakLead };

    const char *skipPlain(const char *p) const;
#if defined(__SSE2__)
    std::uint64_t stopMask(const char *p) const;
#endif
    bool readPlainLine(const KeptColumns &kept, Cells &cells, std::size_t *columns);
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
    std::array<std::string, VXSlotCount> m_scratch;
    std::string m_unused;
    bool m_lastLinePlain = false;
};
