#include "VXBinaryPropertyListReader.h"

#include "VXMappedTable.h"

#include "VXPlistLogging.h"
#include "VXPropertyListSerialization.h"

#include <QStringDecoder>

#include <QSet>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <unordered_map>
#include <vector>

namespace {

constexpr std::size_t kHeaderSize = 8;
constexpr std::size_t kTrailerSize = 32;
// What the tree expands to, counting every object as often as it is reached, may not exceed this
// many times the file's size. Each reference a file holds takes at least a byte, so a file that
// shares nothing expands to at most its size; a writer that keeps shared containers shared (an
// application's windows listed by name and in its list) stays far below. Sixty levels of arrays
// that each refer twice to the one below fit in a few hundred bytes and expand to 2^60 objects:
// whatever walks the tree (the XML writer, a copy, an export) would never finish.
constexpr std::uint64_t kExpansionFactor = 8;

class Reader
{
public:
    explicit Reader(const QByteArray &data) :
        m_bytes(reinterpret_cast<const std::uint8_t *>(data.constData())), m_size(static_cast<std::size_t>(data.size()))
    {
    }

    // Reads the whole tree and, with `twin`, its twin (see VXBinaryPropertyListReader::read).
    VXValue read(VXValue *twin = nullptr)
    {
        if (twin)
            *twin = VXValue();
        if (!open())
            return VXValue();
        m_makeTwins = twin != nullptr;
        m_state.resize(m_objectCount);   // kUnread
        // Each object's state is read before it is written: its pages are made on another core.
        VXTablePopulation population(m_state.data(), m_state.size() * sizeof(std::uint32_t));
        VXValue root = object(m_topObject, 0);
        if (m_failed)
            return VXValue();
        if (twin && m_makeTwins)
            *twin = twinOf(m_topObject, root);
        return root;
    }

    // Checks the header and the trailer and readies the reading of single objects.
    bool open()
    {
        if (m_size < kHeaderSize + kTrailerSize + 1)
            return refuse("it is too short");
        if (std::memcmp(m_bytes, "bplist00", kHeaderSize) != 0)
            return refuse("it does not start with bplist00");
        const std::uint8_t *trailer = m_bytes + m_size - kTrailerSize;
        m_offsetWidth = trailer[6];
        m_refWidth = trailer[7];
        const std::uint64_t objectCount = bigEndian(trailer + 8, 8);
        const std::uint64_t topObject = bigEndian(trailer + 16, 8);
        const std::uint64_t tableOffset = bigEndian(trailer + 24, 8);
        if (m_offsetWidth < 1 || m_offsetWidth > 8 || m_refWidth < 1 || m_refWidth > 8)
            return refuse("its offset or reference width is out of range");
        const std::uint64_t objectArea = m_size - kTrailerSize;
        // Every object takes at least one byte and one table entry, which bounds the count.
        if (objectCount == 0 || objectCount > objectArea || topObject >= objectCount)
            return refuse("its object count or top object is out of range");
        if (tableOffset < kHeaderSize || tableOffset > objectArea
            || objectCount > (objectArea - tableOffset) / m_offsetWidth)
            return refuse("its offset table lies outside the data");
        m_objectCount = objectCount;
        m_topObject = topObject;
        m_table = m_bytes + tableOffset;
        m_tableOffset = tableOffset;
        // Well-formed files never overlap objects, so what they expand to is bounded by their
        // size; objects laid over each other could otherwise expand quadratically.
        m_budget = fullBudget();
        m_expansionLimit = kExpansionFactor * static_cast<std::uint64_t>(m_size);
        return true;
    }

    // Reading object by object, for a view: the same checks, met as the objects are.
    void becomeView() { m_view = true; }
    void becomeQuiet() { m_quiet = true; }
    bool failed() const { return m_failed; }
    std::uint64_t topObject() const { return m_topObject; }
    unsigned referenceWidth() const { return m_refWidth; }

    // The container at `index`: its count and where its references start. False for an object
    // of another type, and for damage (which fails the reader).
    bool containerAt(std::uint64_t index, int depth, bool &isDictionary, std::uint64_t &length,
                     const std::uint8_t *&references)
    {
        std::uint64_t position = 0;
        if (!objectAt(index, position))
            return false;
        const std::uint8_t marker = m_bytes[position++];
        const unsigned type = marker >> 4;
        if (type < 0xA || type > 0xD)
            return false;
        if (depth >= VXPropertyListSerialization::kMaximumDepth)
            return refuse("it is nested too deeply");
        if (!count(marker, position, length))
            return refuse("a container's count is malformed");
        isDictionary = type == 0xD;
        const std::uint64_t refs = isDictionary ? length * 2 : length;
        if (length > m_tableOffset || !fits(position, refs * m_refWidth))
            return refuse("a container's references run past the end of the objects");
        references = m_bytes + position;
        return true;
    }

    // The object a container's reference names; the object count (and a failed reader) when it
    // names none.
    std::uint64_t referenceAt(const std::uint8_t *references, std::uint64_t i)
    {
        const std::uint64_t child = reference(references + i * m_refWidth);
        if (child >= m_objectCount)
            refuse("a reference points past the last object");
        return m_failed ? m_objectCount : child;
    }

    // The dictionary key at `index`, read once to be compared with several keys: its ASCII
    // bytes, or (stored otherwise) its decoded text in `decoded`. False, failing, for a key that
    // is no string.
    bool keyText(std::uint64_t index, QLatin1StringView &ascii, VXValue &decoded)
    {
        std::uint64_t position = 0;
        if (!objectAt(index, position))
            return false;
        const std::uint8_t marker = m_bytes[position++];
        if ((marker >> 4) == 0x5) {
            std::uint64_t length = 0;
            if (!count(marker, position, length) || !fits(position, length))
                return refuse("a string runs past the end of the objects");
            // Every key of every item is read: eight bytes at a time.
            const std::uint8_t *bytes = m_bytes + position;
            std::uint64_t high = 0;
            std::uint64_t i = 0;
            for (; i + 8 <= length; i += 8)
                high |= load<std::uint64_t>(bytes + i);
            for (; i < length; ++i)
                high |= bytes[i];
            if (high & 0x8080808080808080ULL)
                return refuse("an ASCII string holds a byte above 127");
            ascii = QLatin1StringView(reinterpret_cast<const char *>(bytes), static_cast<qsizetype>(length));
            return true;
        }
        m_budget = fullBudget();
        decoded = object(index, 0);
        if (m_failed)
            return false;
        if (!decoded.isString())
            return refuse("a dictionary key is not a string");
        return true;
    }

    // The number at `index` as VXValue::toDouble answers it (0 for what is no number).
    double numberAt(std::uint64_t index)
    {
        std::uint64_t position = 0;
        if (!objectAt(index, position))
            return 0.0;
        const std::uint8_t marker = m_bytes[position];
        if (marker == 0x23 && fits(position + 1, 8))
            return std::bit_cast<double>(load<std::uint64_t>(m_bytes + position + 1));
        m_budget = fullBudget();
        return object(index, 0).toDouble();
    }

    // The object at `index` and everything below it, `depth` levels down from the root, with
    // the dictionary entries under `skippedKeys` left out at every level.
    VXValue decode(std::uint64_t index, int depth, const QSet<QString> *skippedKeys)
    {
        // Each decoding shares nothing with the previous one (their keys left out may differ).
        // Most decode a single text, which leaves no state: clearing an empty table would still
        // wipe every bucket an earlier large decoding made.
        if (!m_viewState.empty())
            m_viewState.clear();
        m_cache.clear();
        m_expanded.clear();
        m_skippedKeys = skippedKeys;
        m_budget = fullBudget();
        VXValue value = object(index, depth);
        m_skippedKeys = nullptr;
        return m_failed ? VXValue() : value;
    }

private:
    // Where the object at `index` begins; false (failing) when it lies outside the objects.
    bool objectAt(std::uint64_t index, std::uint64_t &position)
    {
        if (m_failed)
            return false;
        if (index >= m_objectCount)
            return refuse("a reference points past the last object");
        if (!offsetOf(index, position))
            return refuse("an object offset lies outside the data");
        return true;
    }

    // Per object: unread, being read (a reference back to it is a cycle), or the index + 2 of its
    // value in m_cache (and of its expanded size in m_expanded). Only strings, data and containers
    // are cached: they are what files share.
    static constexpr std::uint32_t kUnread = 0;
    static constexpr std::uint32_t kReading = 1;

    VXValue fail(const char *reason)
    {
        refuse(reason);
        return VXValue();
    }
    bool refuse(const char *reason)
    {
        if (!m_failed && !m_quiet)
            qCWarning(lcPlist, "cannot read binary property list: %s", reason);
        m_failed = true;
        return false;
    }

    // Offsets, references and numbers are 1, 2, 4 or 8 bytes wide, one width per table: those
    // are single loads (the branch always goes the same way), other widths a loop.
    static std::uint64_t bigEndian(const std::uint8_t *at, unsigned width)
    {
        switch (width) {
        case 1: return at[0];
        case 2: return load<std::uint16_t>(at);
        case 4: return load<std::uint32_t>(at);
        case 8: return load<std::uint64_t>(at);
        default: break;
        }
        std::uint64_t value = 0;
        for (unsigned i = 0; i < width; ++i)
            value = (value << 8) | at[i];
        return value;
    }

    template <class T> static std::uint64_t load(const std::uint8_t *at)
    {
        T value;
        std::memcpy(&value, at, sizeof value);
        if constexpr (std::endian::native == std::endian::little) {
            if constexpr (sizeof(T) == 2)
                value = __builtin_bswap16(value);
            else if constexpr (sizeof(T) == 4)
                value = __builtin_bswap32(value);
            else
                value = __builtin_bswap64(value);
        }
        return value;
    }

    bool offsetOf(std::uint64_t index, std::uint64_t &offset)
    {
        offset = bigEndian(m_table + index * m_offsetWidth, m_offsetWidth);
        // Objects lie between the header and the offset table.
        return offset >= kHeaderSize && offset < m_tableOffset;
    }

    // Reads the count that follows a marker: the low nibble, or an integer object after it.
    bool count(std::uint8_t marker, std::uint64_t &position, std::uint64_t &result)
    {
        const unsigned low = marker & 0x0F;
        if (low != 0x0F) {
            result = low;
            return true;
        }
        if (position >= m_tableOffset)
            return false;
        const std::uint8_t intMarker = m_bytes[position];
        if ((intMarker & 0xF0) != 0x10 || (intMarker & 0x0F) > 3)
            return false;
        const unsigned width = 1u << (intMarker & 0x0F);
        if (position + 1 + width > m_tableOffset)
            return false;
        result = bigEndian(m_bytes + position + 1, width);
        position += 1 + width;
        return true;
    }

    // The bytes [position, position + length) lie inside the object area.
    bool fits(std::uint64_t position, std::uint64_t length) const
    {
        return position <= m_tableOffset && length <= m_tableOffset - position;
    }

    VXValue object(std::uint64_t index, int depth)
    {
        if (m_failed)
            return VXValue();
        if (index >= m_objectCount)
            return fail("a reference points past the last object");
        const std::uint32_t state = stateOf(index);
        if (state == kReading)
            return fail("its references form a cycle");
        if (state != kUnread)
            return m_cache[state - 2];

        std::uint64_t position = 0;
        if (!offsetOf(index, position))
            return fail("an object offset lies outside the data");
        const std::uint8_t marker = m_bytes[position++];
        const unsigned low = marker & 0x0F;

        switch (marker >> 4) {
        case 0x0:
            if (marker == 0x08 || marker == 0x09)
                return VXValue(marker == 0x09);
            return fail("it holds a null or fill object, which a property-list tree cannot hold");
        case 0x1: {
            if (low > 4)
                return fail("an integer has an unknown width");
            const unsigned width = 1u << low;
            if (!fits(position, width))
                return fail("an integer runs past the end of the objects");
            return integer(m_bytes + position, width);
        }
        case 0x2: {
            if (low != 2 && low != 3)
                return fail("a real has an unknown width");
            const unsigned width = 1u << low;
            if (!fits(position, width))
                return fail("a real runs past the end of the objects");
            if (width == 4)
                return VXValue(static_cast<double>(
                    std::bit_cast<float>(static_cast<std::uint32_t>(bigEndian(m_bytes + position, 4)))));
            return VXValue(std::bit_cast<double>(bigEndian(m_bytes + position, 8)));
        }
        case 0x3:
            if (marker != 0x33 || !fits(position, 8))
                return fail("a date is malformed");
            return VXValue::dateSince2001(std::bit_cast<double>(bigEndian(m_bytes + position, 8)));
        case 0x4:
        case 0x5:
        case 0x6:
        case 0x7: return cacheLeaf(index, leaf(marker, position));
        case 0x8: {
            // A keyed archiver's UID, kept in the form XML gives it.
            const unsigned width = low + 1;
            if (width > 8 || !fits(position, width))
                return fail("a UID is malformed");
            VXDictionaryRef uid = VXMakeDictionary();
            uid->insert(QStringLiteral("CF$UID"), VXValue::unsignedInteger(bigEndian(m_bytes + position, width)));
            VXValue twin;
            if (m_makeTwins)
                twin = VXValue(uid->copyWith([](const VXDictionary::Entry &entry) { return entry.value; }));
            return cacheLeaf(index, VXValue(uid), std::move(twin));
        }
        case 0xA:
        case 0xB:
        case 0xC:
        case 0xD: return container(index, marker, position, depth);
        default: return fail("it holds an object of unknown type");
        }
    }

    VXValue integer(const std::uint8_t *at, unsigned width)
    {
        if (width < 8)
            return VXValue(static_cast<long long>(bigEndian(at, width)));
        if (width == 8)
            return VXValue(static_cast<long long>(bigEndian(at, 8)));
        // 16 bytes: a two's-complement 128-bit number. Keep what fits 64 bits, signed or not.
        const std::uint64_t high = bigEndian(at, 8);
        const std::uint64_t lowBits = bigEndian(at + 8, 8);
        if (high == 0)
            return VXValue::unsignedInteger(lowBits);
        if (high == ~std::uint64_t(0) && (lowBits >> 63))
            return VXValue(static_cast<long long>(lowBits));
        return fail("an integer does not fit in 64 bits");
    }

    VXValue leaf(std::uint8_t marker, std::uint64_t position)
    {
        std::uint64_t length = 0;
        if (!count(marker, position, length))
            return fail("a length is malformed");
        if (!spend(length))
            return fail("its objects overlap and expand beyond its size");
        const char *at = reinterpret_cast<const char *>(m_bytes + position);
        switch (marker >> 4) {
        case 0x4:
            if (!fits(position, length))
                return fail("data runs past the end of the objects");
            return VXValue(QByteArray(at, static_cast<qsizetype>(length)));
        case 0x5: {
            if (!fits(position, length))
                return fail("a string runs past the end of the objects");
            for (std::uint64_t i = 0; i < length; ++i) {
                if (static_cast<std::uint8_t>(at[i]) >= 0x80)
                    return fail("an ASCII string holds a byte above 127");
            }
            return VXValue(QString::fromLatin1(at, static_cast<qsizetype>(length)));
        }
        case 0x6: {
            if (length > m_tableOffset / 2 || !fits(position, length * 2))
                return fail("a string runs past the end of the objects");
            QString string(static_cast<qsizetype>(length), Qt::Uninitialized);
            char16_t *units = reinterpret_cast<char16_t *>(string.data());
            for (std::uint64_t i = 0; i < length; ++i)
                units[i] = static_cast<char16_t>((std::uint8_t(at[2 * i]) << 8) | std::uint8_t(at[2 * i + 1]));
            if (!validUtf16(units, length))
                return fail("a string is not valid UTF-16");
            return VXValue(string);
        }
        default: {
            // 0x7: UTF-8 text, counted in bytes.
            if (!fits(position, length))
                return fail("a string runs past the end of the objects");
            // A leading U+FEFF is a character of the string, not a byte-order mark to drop.
            QStringDecoder decoder(QStringDecoder::Utf8,
                                   QStringDecoder::Flag::Stateless | QStringDecoder::Flag::ConvertInitialBom);
            QString string = decoder.decode(QByteArrayView(at, static_cast<qsizetype>(length)));
            if (decoder.hasError())
                return fail("a string is not valid UTF-8");
            return VXValue(string);
        }
        }
    }

    static bool validUtf16(const char16_t *units, std::uint64_t length)
    {
        for (std::uint64_t i = 0; i < length; ++i) {
            const char16_t c = units[i];
            if (c >= 0xD800 && c <= 0xDBFF) {
                if (i + 1 >= length || units[i + 1] < 0xDC00 || units[i + 1] > 0xDFFF)
                    return false;
                ++i;
            } else if (c >= 0xDC00 && c <= 0xDFFF) {
                return false;
            }
        }
        return true;
    }

    VXValue cacheLeaf(std::uint64_t index, VXValue value, VXValue twin = VXValue())
    {
        if (m_failed)
            return VXValue();
        // Single objects read from a view are not shared with anything read later.
        if (!m_view) {
            if (m_makeTwins) {
                // A text that another thread could change in place (one without storage of its
                // own asks for some when its terminated form is wanted) is copied for the twin.
                if (value.isString() && !VXArray::isShareableElement(value))
                    twin = VXValue(VXTextWithOwnStorage(value.stringRef()));
                m_twinCache.push_back(std::move(twin));
            }
            m_cache.push_back(value);
            m_expanded.push_back(1);
            setState(index, static_cast<std::uint32_t>(m_cache.size() + 1));
        }
        return value;
    }

    // The twin of the object at `index`, read as `value`: its own copy for a container or a text
    // that needs one, the value itself otherwise.
    const VXValue &twinOf(std::uint64_t index, const VXValue &value) const
    {
        if (!value.isContainer() && !value.isString())
            return value;
        const VXValue &twin = m_twinCache[stateOf(index) - 2];
        return twin.isNull() ? value : twin;
    }

    // How many objects the object read last at `index` expands to: its cached count, else 1.
    std::uint64_t expandedSize(std::uint64_t index) const
    {
        const std::uint32_t state = stateOf(index);
        return state >= 2 ? m_expanded[state - 2] : 1;
    }

    // Adds a child's expanded size to its container's; false beyond the limit.
    bool expand(std::uint64_t &total, std::uint64_t child)
    {
        total += child;
        return total <= m_expansionLimit;
    }

    // Well-formed files never overlap objects, so what one reading decodes is bounded by their size.
    std::uint64_t fullBudget() const { return 2 * static_cast<std::uint64_t>(m_size) + 4096; }

    bool spend(std::uint64_t amount)
    {
        if (amount > m_budget)
            return false;
        m_budget -= amount;
        return true;
    }

    std::uint64_t reference(const std::uint8_t *at) const { return bigEndian(at, m_refWidth); }

    // The event logs are arrays of millions of reals, read packed without the general path's
    // state and cache: the leading well-formed reals of an array whose `length` references start
    // at `references`, appended to `reals`; answers how many there were. The widths are the
    // loop's constants and the reader's fields its locals.
    std::uint64_t readReals(const std::uint8_t *references, std::uint64_t length, std::vector<double> &reals) const
    {
        // 1, 2, 4 and 8 bytes wide, as one table's offsets and the containers' references are
        // in every file a writer makes; other widths take the general loop.
        const auto width = [](unsigned bytes) {
            return bytes == 1 || bytes == 2 || bytes == 4 || bytes == 8 ? std::countr_zero(bytes) : -1;
        };
        const int offsetWidth = width(m_offsetWidth);
        const int refWidth = width(m_refWidth);
        if (offsetWidth < 0 || refWidth < 0)
            return readRealsOf<0, 0>(references, length, reals);
        switch (offsetWidth * 4 + refWidth) {
        case 0: return readRealsOf<1, 1>(references, length, reals);
        case 1: return readRealsOf<1, 2>(references, length, reals);
        case 2: return readRealsOf<1, 4>(references, length, reals);
        case 3: return readRealsOf<1, 8>(references, length, reals);
        case 4: return readRealsOf<2, 1>(references, length, reals);
        case 5: return readRealsOf<2, 2>(references, length, reals);
        case 6: return readRealsOf<2, 4>(references, length, reals);
        case 7: return readRealsOf<2, 8>(references, length, reals);
        case 8: return readRealsOf<4, 1>(references, length, reals);
        case 9: return readRealsOf<4, 2>(references, length, reals);
        case 10: return readRealsOf<4, 4>(references, length, reals);
        case 11: return readRealsOf<4, 8>(references, length, reals);
        case 12: return readRealsOf<8, 1>(references, length, reals);
        case 13: return readRealsOf<8, 2>(references, length, reals);
        case 14: return readRealsOf<8, 4>(references, length, reals);
        default: return readRealsOf<8, 8>(references, length, reals);
        }
    }

    // readReals() with the offsets' and references' widths known (0: the reader's own).
    template <unsigned OffsetWidth, unsigned RefWidth>
    std::uint64_t readRealsOf(const std::uint8_t *references, std::uint64_t length, std::vector<double> &reals) const
    {
        const unsigned offsetWidth = OffsetWidth ? OffsetWidth : m_offsetWidth;
        const unsigned refWidth = RefWidth ? RefWidth : m_refWidth;
        const std::uint8_t *const bytes = m_bytes;
        const std::uint8_t *const table = m_table;
        const std::uint64_t objectCount = m_objectCount;
        const std::uint64_t tableOffset = m_tableOffset;
        std::uint64_t i = 0;
        for (; i < length; ++i) {
            const std::uint64_t index = bigEndian(references + i * refWidth, refWidth);
            if (index >= objectCount)
                break;
            const std::uint64_t position = bigEndian(table + index * offsetWidth, offsetWidth);
            // As offsetOf() and fits() check it: the marker and eight bytes inside the objects.
            if (position < kHeaderSize || position >= tableOffset || bytes[position] != 0x23
                || tableOffset - position - 1 < 8)
                break;
            if (i == 0)
                reals.reserve(length);
            reals.push_back(std::bit_cast<double>(load<std::uint64_t>(bytes + position + 1)));
        }
        return i;
    }

    // A well-formed real or integer of an array that is not packed is appended here, without the
    // general path's state and cache. Anything else (or anything damaged, which the general path
    // then reports) answers false.
    bool number(std::uint64_t index, std::vector<VXValue> &items)
    {
        std::uint64_t position = 0;
        if (index >= m_objectCount || !offsetOf(index, position))
            return false;
        const std::uint8_t marker = m_bytes[position++];
        if (marker == 0x23) {
            if (!fits(position, 8))
                return false;
            items.emplace_back(std::bit_cast<double>(load<std::uint64_t>(m_bytes + position)));
            return true;
        }
        if ((marker & 0xF0) == 0x10 && (marker & 0x0F) <= 3) {
            const unsigned width = 1u << (marker & 0x0F);
            if (!fits(position, width))
                return false;
            items.emplace_back(static_cast<long long>(bigEndian(m_bytes + position, width)));
            return true;
        }
        return false;
    }

    VXValue container(std::uint64_t index, std::uint8_t marker, std::uint64_t position, int depth)
    {
        if (depth >= VXPropertyListSerialization::kMaximumDepth)
            return fail("it is nested too deeply");
        std::uint64_t length = 0;
        if (!count(marker, position, length))
            return fail("a container's count is malformed");
        const bool isDictionary = (marker >> 4) == 0xD;
        const std::uint64_t refs = isDictionary ? length * 2 : length;
        if (length > m_tableOffset || !fits(position, refs * m_refWidth))
            return fail("a container's references run past the end of the objects");
        if (!spend(refs))
            return fail("its objects overlap and expand beyond its size");
        const std::uint8_t *at = m_bytes + position;

        setState(index, kReading);
        VXValue result;
        VXValue twin;
        std::uint64_t expanded = 1;
        const char *const expansion = "its shared objects expand to far more than its size";
        // The twins of the children that have one of their own (texts and containers), in order.
        const std::size_t mark = m_twinStack.size();
        if (!isDictionary) {
            // An array of reals alone (an event log) is read packed; at its first other element
            // the reals read so far become the start of an ordinary one.
            std::vector<double> reals;
            std::uint64_t i = readReals(at, length, reals);
            expanded += i;
            VXArrayRef array = i == length ? VXArray::fromReals(std::move(reals)) : VXMakeArray();
            std::vector<VXValue> *items = nullptr;
            if (i < length) {
                items = &array->items();
                items->reserve(length);
                items->assign(reals.begin(), reals.end());
                reals = std::vector<double>();
            }
            // Numbers, dates and texts of their own storage may be shared with a copy.
            bool shareable = true;
            for (; i < length; ++i) {
                const std::uint64_t child = reference(at + i * m_refWidth);
                if (number(child, *items)) {
                    ++expanded;
                    continue;
                }
                VXValue item = object(child, depth + 1);
                if (m_failed)
                    return VXValue();
                if (!expand(expanded, expandedSize(child)))
                    return fail(expansion);
                shareable = shareable && VXArray::isShareableElement(item);
                if (m_makeTwins && (item.isString() || item.isContainer()))
                    m_twinStack.push_back(twinOf(child, item));
                items->push_back(std::move(item));
            }
            // An event log is looked at by every copy that would share it: told here, none does.
            if (shareable)
                array->markElementsShareable();
            if (m_makeTwins)
                twin = twinOfArray(*array, shareable, mark);
            result = VXValue(std::move(array));
        } else {
            VXDictionaryRef dictionary = VXMakeDictionary();
            dictionary->reserve(length);
            const std::uint8_t *values = at + length * m_refWidth;
            for (std::uint64_t i = 0; i < length; ++i) {
                VXKey key = keyAt(reference(at + i * m_refWidth), depth + 1);
                if (m_failed)
                    return VXValue();
                if (m_skippedKeys && m_skippedKeys->contains(key.text()))
                    continue;
                const std::uint64_t child = reference(values + i * m_refWidth);
                VXValue item = object(child, depth + 1);
                if (m_failed)
                    return VXValue();
                if (!expand(expanded, 1 + expandedSize(child)))
                    return fail(expansion);
                if (m_makeTwins) {
                    m_twinStack.push_back(twinOf(child, item));
                }
                dictionary->insertNew(std::move(key), std::move(item));
            }
            if (m_makeTwins)
                twin = twinOfDictionary(*dictionary, mark);
            result = VXValue(std::move(dictionary));
        }
        if (m_makeTwins)
            m_twinCache.push_back(std::move(twin));
        m_cache.push_back(result);
        m_expanded.push_back(expanded);
        setState(index, static_cast<std::uint32_t>(m_cache.size() + 1));
        return result;
    }

    // The key of a dictionary entry: the text of the string object at `index`, shared with every
    // dictionary that names that object. A key met before is taken from the cache in place (two
    // million entries name a few hundred keys); an empty key (failing) for what is no string.
    VXKey keyAt(std::uint64_t index, int depth)
    {
        if (!m_failed && index < m_objectCount) {
            const std::uint32_t state = stateOf(index);
            if (state >= 2) {
                const VXValue &cached = m_cache[state - 2];
                if (!cached.isString()) {
                    refuse("a dictionary key is not a string");
                    return VXKey();
                }
                return VXKey::ofValue(cached);
            }
        }
        const VXValue key = object(index, depth);
        if (m_failed)
            return VXKey();
        if (!key.isString()) {
            refuse("a dictionary key is not a string");
            return VXKey();
        }
        return VXKey::ofValue(key);
    }

    // The twin of an array just read, from the twins its children left on the stack from `mark`:
    // one over the same elements when they may all be shared, a copy of them otherwise.
    VXValue twinOfArray(const VXArray &array, bool shareable, std::size_t mark)
    {
        VXArrayRef copy;
        if (shareable) {
            copy = array.copySharingElements();
        } else {
            copy = VXMakeArray();
            copy->reserve(array.size());
            std::size_t next = mark;
            for (const VXValue &item : array)
                copy->append(item.isString() || item.isContainer() ? std::move(m_twinStack[next++]) : item);
        }
        m_twinStack.resize(mark);
        return VXValue(std::move(copy));
    }

    // The twin of a dictionary just read, sharing its keys (texts have no twins of their own),
    // from its values' twins on the stack from `mark`. Equal keys (the last one's value kept)
    // leave the entries and the stack apart: the reading then makes no twin at all, and the caller
    // copies the tree instead.
    VXValue twinOfDictionary(const VXDictionary &dictionary, std::size_t mark)
    {
        VXValue twin;
        if (m_twinStack.size() - mark != dictionary.size()) {
            m_makeTwins = false;
        } else {
            std::size_t next = mark;
            // copyWith asks for the values in the entries' order.
            twin = VXValue(
                dictionary.copyWith([&](const VXDictionary::Entry &) { return std::move(m_twinStack[next++]); }));
        }
        m_twinStack.resize(mark);
        return twin;
    }

    // Per object state: a table for the whole file when reading it all; for a view, which reads
    // few objects of a large file, only those it met.
    std::uint32_t stateOf(std::uint64_t index) const
    {
        if (!m_view)
            return m_state[index];
        const auto found = m_viewState.find(index);
        return found == m_viewState.end() ? kUnread : found->second;
    }
    void setState(std::uint64_t index, std::uint32_t state)
    {
        if (m_view)
            m_viewState[index] = state;
        else
            m_state[index] = state;
    }

    const std::uint8_t *m_bytes;
    std::size_t m_size;
    bool m_view = false;
    bool m_quiet = false;
    std::unordered_map<std::uint64_t, std::uint32_t> m_viewState;
    const QSet<QString> *m_skippedKeys = nullptr;   // left out of dictionaries (a view's reading)
    std::uint64_t m_topObject = 0;
    unsigned m_offsetWidth = 0;
    unsigned m_refWidth = 0;
    std::uint64_t m_objectCount = 0;
    std::uint64_t m_tableOffset = 0;
    const std::uint8_t *m_table = nullptr;
    VXMappedTable<std::uint32_t> m_state;
    std::vector<VXValue> m_cache;
    std::vector<std::uint64_t> m_expanded;
    // With twins: each cached object's twin (null for one that is its own twin), and the
    // children's twins of the containers being read.
    bool m_makeTwins = false;
    std::vector<VXValue> m_twinCache;
    std::vector<VXValue> m_twinStack;
    std::uint64_t m_budget = 0;
    std::uint64_t m_expansionLimit = 0;
    bool m_failed = false;
};

}   // namespace

bool VXBinaryPropertyListReader::hasBinaryMagic(const QByteArray &data)
{
    return data.startsWith("bplist00");
}

VXValue VXBinaryPropertyListReader::read(const QByteArray &data, VXValue *twin)
{
    return Reader(data).read(twin);
}

struct VXBinaryPropertyListView::Impl : Reader {
    using Reader::Reader;

    // What the view remembers of the dictionaries that the last Keys were asked of. Writers keep
    // one object for equal keys, and items alike list the same keys in the same order, so that a
    // walk asking every item for the same keys meets few key objects and few lists of them:
    // - which asked key each key object met is (-1: none), so that its text is read once;
    // - where the asked keys are in the lists of key references met last, so that an item whose
    //   list is one of them is read without a look at its keys.
    static constexpr std::size_t kKeyMemoSize = 32;
    static constexpr std::size_t kLayoutMemoSize = 8;
    struct Layout {
        std::vector<std::uint8_t> keyReferences;
        std::vector<std::uint64_t> places;   // of each asked key; ~0 for one that is missing
    };
    std::uint64_t memoSerial = 0;
    std::vector<std::pair<std::uint64_t, int>> memoSlots;
    std::vector<Layout> layouts;
    std::size_t nextLayout = 0;   // the one replaced next, once they are all taken
    std::size_t lastLayout = 0;   // the one that matched last

    const int *memoSlot(std::uint64_t key) const
    {
        for (const auto &[index, slot] : memoSlots) {
            if (index == key)
                return &slot;
        }
        return nullptr;
    }
    // Items of one kind follow each other in a walk: the layout that matched last is tried first.
    const Layout *layoutOf(const std::uint8_t *keyReferences, std::size_t size)
    {
        const auto matches = [&](const Layout &layout) {
            return layout.keyReferences.size() == size
                && std::memcmp(layout.keyReferences.data(), keyReferences, size) == 0;
        };
        if (lastLayout < layouts.size() && matches(layouts[lastLayout]))
            return &layouts[lastLayout];
        for (std::size_t i = 0; i < layouts.size(); ++i) {
            if (i != lastLayout && matches(layouts[i])) {
                lastLayout = i;
                return &layouts[i];
            }
        }
        return nullptr;
    }
    void rememberLayout(const std::uint8_t *keyReferences, std::size_t size, const std::vector<std::uint64_t> &places)
    {
        if (layouts.size() < kLayoutMemoSize) {
            layouts.emplace_back();
            nextLayout = layouts.size() - 1;
        }
        Layout &layout = layouts[nextLayout];
        layout.keyReferences.assign(keyReferences, keyReferences + size);
        layout.places = places;
        nextLayout = (nextLayout + 1) % kLayoutMemoSize;
    }
};

VXBinaryPropertyListView::VXBinaryPropertyListView(const QByteArray &data) : VXBinaryPropertyListView(data, false) { }

VXBinaryPropertyListView::VXBinaryPropertyListView(const QByteArray &data, bool quiet) :
    m_data(data), m_reader(std::make_unique<Impl>(data))
{
    m_reader->becomeView();
    if (quiet)
        m_reader->becomeQuiet();
    m_reader->open();
}

std::unique_ptr<VXBinaryPropertyListView> VXBinaryPropertyListView::quietSibling() const
{
    return std::unique_ptr<VXBinaryPropertyListView>(new VXBinaryPropertyListView(m_data, true));
}

VXBinaryPropertyListView::~VXBinaryPropertyListView() = default;

bool VXBinaryPropertyListView::isDamaged() const
{
    return m_reader->failed();
}

VXBinaryPropertyListView::Object VXBinaryPropertyListView::root() const
{
    return m_reader->failed() ? Object() : Object {m_reader->topObject(), 0};
}

VXBinaryPropertyListView::Container VXBinaryPropertyListView::container(Object object)
{
    Container result;
    if (object.isNull())
        return result;
    bool isDictionary = false;
    if (m_reader->containerAt(object.index, object.depth, isDictionary, result.count, result.references)) {
        result.kind = isDictionary ? Kind::Dictionary : Kind::Array;
        result.depth = object.depth;
    } else {
        result.count = 0;
    }
    return result;
}

VXBinaryPropertyListView::Object VXBinaryPropertyListView::itemAt(const Container &array, std::uint64_t i)
{
    if (array.kind != Kind::Array || i >= array.count)
        return Object();
    return childAt(array, i);
}

VXBinaryPropertyListView::Object VXBinaryPropertyListView::valueAt(const Container &dictionary, std::uint64_t i)
{
    if (dictionary.kind != Kind::Dictionary || i >= dictionary.count)
        return Object();
    return childAt(dictionary, dictionary.count + i);
}

VXBinaryPropertyListView::Object VXBinaryPropertyListView::valueForKey(const Container &dictionary, QStringView key)
{
    Object found;
    findKeys(dictionary, &key, 1, &found, false);
    return found;
}

VXBinaryPropertyListView::Keys::Keys(std::initializer_list<QStringView> keys)
{
    static std::atomic<std::uint64_t> serials {0};
    m_serial = ++serials;
    m_keys.reserve(keys.size());
    for (const QStringView key : keys)
        m_keys.push_back(key.toString());
    m_views.assign(m_keys.cbegin(), m_keys.cend());
}

void VXBinaryPropertyListView::valuesForKeys(const Container &dictionary, const Keys &keys, Object *values)
{
    if (m_reader->memoSerial != keys.m_serial) {
        m_reader->memoSerial = keys.m_serial;
        m_reader->memoSlots.clear();
        m_reader->layouts.clear();
        m_reader->lastLayout = 0;
    }
    findKeys(dictionary, keys.m_views.data(), keys.m_views.size(), values, true);
}

void VXBinaryPropertyListView::findKeys(const Container &dictionary, const QStringView *keys, std::size_t count,
                                        Object *values, bool remembered)
{
    std::fill(values, values + count, Object());
    if (dictionary.kind != Kind::Dictionary)
        return;
    // Key objects the memo knows were read whole: equal references name the same texts.
    const std::size_t referencesSize = std::size_t(dictionary.count) * m_reader->referenceWidth();
    if (const Impl::Layout *layout = remembered ? m_reader->layoutOf(dictionary.references, referencesSize) : nullptr) {
        // The places are the dictionary's own (its key list is the layout's): each value is a
        // reference read and checked, without the general path's checks of the place.
        const std::uint8_t *valueReferences
            = dictionary.references + std::size_t(dictionary.count) * m_reader->referenceWidth();
        for (std::size_t k = 0; k < count; ++k) {
            const std::uint64_t place = layout->places[k];
            if (place == ~std::uint64_t(0))
                continue;
            const std::uint64_t child = m_reader->referenceAt(valueReferences, place);
            if (m_reader->failed())
                break;
            values[k] = Object {child, dictionary.depth + 1};
        }
    } else {
        std::vector<std::uint64_t> places(remembered ? count : 0, ~std::uint64_t(0));
        bool whole = true;
        // The last of equal keys, as the tree keeps it.
        for (std::uint64_t i = 0; i < dictionary.count && whole; ++i) {
            const Object name = childAt(dictionary, i);
            if (name.isNull())
                break;
            const int *known = remembered ? m_reader->memoSlot(name.index) : nullptr;
            int slot = known ? *known : -1;
            if (!known) {
                QLatin1StringView ascii;
                VXValue decoded;
                whole = m_reader->keyText(name.index, ascii, decoded);
                for (std::size_t k = 0; whole && k < count && slot < 0; ++k) {
                    // Lengths first: most keys differ in theirs.
                    const bool same = decoded.isNull() ? ascii.size() == keys[k].size() && ascii == keys[k]
                                                       : decoded.stringRef() == keys[k];
                    if (same)
                        slot = int(k);
                }
                if (whole && remembered && m_reader->memoSlots.size() < Impl::kKeyMemoSize)
                    m_reader->memoSlots.emplace_back(name.index, slot);
            }
            if (slot >= 0) {
                values[slot] = valueAt(dictionary, i);
                if (remembered)
                    places[std::size_t(slot)] = i;
            }
        }
        if (remembered && !m_reader->failed())
            m_reader->rememberLayout(dictionary.references, referencesSize, places);
    }
    if (m_reader->failed())
        std::fill(values, values + count, Object());
}

VXBinaryPropertyListView::Object VXBinaryPropertyListView::valueForKey(Object dictionary, QStringView key)
{
    return valueForKey(container(dictionary), key);
}

double VXBinaryPropertyListView::numberAt(const Container &array, std::uint64_t i)
{
    // Called for every log of a walk, several times for some: one reference read, not itemAt()'s
    // object made and taken apart again.
    if (array.kind != Kind::Array || i >= array.count)
        return 0.0;
    const std::uint64_t child = m_reader->referenceAt(array.references, i);
    return m_reader->failed() ? 0.0 : m_reader->numberAt(child);
}

std::size_t VXBinaryPropertyListView::numbersAt(const Container &array, std::uint64_t first, std::size_t count,
                                                double *out)
{
    if (array.kind != Kind::Array || first >= array.count)
        return 0;
    const std::size_t read = static_cast<std::size_t>(std::min<std::uint64_t>(count, array.count - first));
    for (std::size_t i = 0; i < read; ++i) {
        const std::uint64_t child = m_reader->referenceAt(array.references, first + i);
        out[i] = m_reader->failed() ? 0.0 : m_reader->numberAt(child);
    }
    return read;
}

VXValue VXBinaryPropertyListView::value(Object object, const QSet<QString> &skippedKeys)
{
    if (object.isNull())
        return VXValue();
    return m_reader->decode(object.index, object.depth, skippedKeys.isEmpty() ? nullptr : &skippedKeys);
}

VXBinaryPropertyListView::Object VXBinaryPropertyListView::childAt(const Container &container, std::uint64_t reference)
{
    const std::uint64_t child = m_reader->referenceAt(container.references, reference);
    if (m_reader->failed())
        return Object();
    return Object {child, container.depth + 1};
}
