#include "VXBinaryPropertyListReader.h"

#include "VXMappedTable.h"

#include "VXPlistLogging.h"
#include "VXPropertyListSerialization.h"

#include <QStringDecoder>

#include <bit>
#include <cstring>
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

    VXValue read()
    {
        if (m_size < kHeaderSize + kTrailerSize + 1)
            return fail("it is too short");
        if (std::memcmp(m_bytes, "bplist00", kHeaderSize) != 0)
            return fail("it does not start with bplist00");
        const std::uint8_t *trailer = m_bytes + m_size - kTrailerSize;
        m_offsetWidth = trailer[6];
        m_refWidth = trailer[7];
        const std::uint64_t objectCount = bigEndian(trailer + 8, 8);
        const std::uint64_t topObject = bigEndian(trailer + 16, 8);
        const std::uint64_t tableOffset = bigEndian(trailer + 24, 8);
        if (m_offsetWidth < 1 || m_offsetWidth > 8 || m_refWidth < 1 || m_refWidth > 8)
            return fail("its offset or reference width is out of range");
        const std::uint64_t objectArea = m_size - kTrailerSize;
        // Every object takes at least one byte and one table entry, which bounds the count.
        if (objectCount == 0 || objectCount > objectArea || topObject >= objectCount)
            return fail("its object count or top object is out of range");
        if (tableOffset < kHeaderSize || tableOffset > objectArea
            || objectCount > (objectArea - tableOffset) / m_offsetWidth)
            return fail("its offset table lies outside the data");
        m_objectCount = objectCount;
        m_table = m_bytes + tableOffset;
        m_tableOffset = tableOffset;
        // References wider than needed for the count are allowed; values beyond it are not.
        m_state.resize(objectCount);   // kUnread
        // Well-formed files never overlap objects, so what they expand to is bounded by their
        // size; objects laid over each other could otherwise expand quadratically.
        m_budget = 2 * static_cast<std::uint64_t>(m_size) + 4096;
        m_expansionLimit = kExpansionFactor * static_cast<std::uint64_t>(m_size);

        VXValue root = object(topObject, 0);
        if (m_failed)
            return VXValue();
        return root;
    }

private:
    // Per object: unread, being read (a reference back to it is a cycle), or the index + 2 of its
    // value in m_cache (and of its expanded size in m_expanded). Only strings, data and containers
    // are cached: they are what files share.
    static constexpr std::uint32_t kUnread = 0;
    static constexpr std::uint32_t kReading = 1;

    VXValue fail(const char *reason)
    {
        if (!m_failed)
            qCWarning(lcPlist, "cannot read binary property list: %s", reason);
        m_failed = true;
        return VXValue();
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
        const std::uint32_t state = m_state[index];
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
            return cacheLeaf(index, VXValue(uid));
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

    VXValue cacheLeaf(std::uint64_t index, VXValue value)
    {
        if (m_failed)
            return VXValue();
        m_cache.push_back(value);
        m_expanded.push_back(1);
        m_state[index] = static_cast<std::uint32_t>(m_cache.size() + 1);
        return value;
    }

    // How many objects the object read last at `index` expands to: its cached count, else 1.
    std::uint64_t expandedSize(std::uint64_t index) const
    {
        const std::uint32_t state = m_state[index];
        return state >= 2 ? m_expanded[state - 2] : 1;
    }

    // Adds a child's expanded size to its container's; false beyond the limit.
    bool expand(std::uint64_t &total, std::uint64_t child)
    {
        total += child;
        return total <= m_expansionLimit;
    }

    bool spend(std::uint64_t amount)
    {
        if (amount > m_budget)
            return false;
        m_budget -= amount;
        return true;
    }

    std::uint64_t reference(const std::uint8_t *at) const { return bigEndian(at, m_refWidth); }

    // The event logs are arrays of millions of reals: a well-formed real or integer is appended
    // here without the general path's state and cache. Anything else (or anything damaged, which
    // the general path then reports) answers false.
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

        m_state[index] = kReading;
        VXValue result;
        std::uint64_t expanded = 1;
        const char *const expansion = "its shared objects expand to far more than its size";
        if (!isDictionary) {
            VXArrayRef array = VXMakeArray();
            std::vector<VXValue> &items = array->items();
            items.reserve(length);
            for (std::uint64_t i = 0; i < length; ++i) {
                const std::uint64_t child = reference(at + i * m_refWidth);
                if (number(child, items)) {
                    ++expanded;
                    continue;
                }
                VXValue item = object(child, depth + 1);
                if (m_failed)
                    return VXValue();
                if (!expand(expanded, expandedSize(child)))
                    return fail(expansion);
                items.push_back(std::move(item));
            }
            result = VXValue(std::move(array));
        } else {
            VXDictionaryRef dictionary = VXMakeDictionary();
            dictionary->reserve(length);
            const std::uint8_t *values = at + length * m_refWidth;
            for (std::uint64_t i = 0; i < length; ++i) {
                const VXValue key = object(reference(at + i * m_refWidth), depth + 1);
                if (m_failed)
                    return VXValue();
                if (!key.isString())
                    return fail("a dictionary key is not a string");
                const std::uint64_t child = reference(values + i * m_refWidth);
                VXValue item = object(child, depth + 1);
                if (m_failed)
                    return VXValue();
                if (!expand(expanded, 1 + expandedSize(child)))
                    return fail(expansion);
                dictionary->insertNew(key.stringRef(), std::move(item));
            }
            result = VXValue(std::move(dictionary));
        }
        m_cache.push_back(result);
        m_expanded.push_back(expanded);
        m_state[index] = static_cast<std::uint32_t>(m_cache.size() + 1);
        return result;
    }

    const std::uint8_t *m_bytes;
    std::size_t m_size;
    unsigned m_offsetWidth = 0;
    unsigned m_refWidth = 0;
    std::uint64_t m_objectCount = 0;
    std::uint64_t m_tableOffset = 0;
    const std::uint8_t *m_table = nullptr;
    VXMappedTable<std::uint32_t> m_state;
    std::vector<VXValue> m_cache;
    std::vector<std::uint64_t> m_expanded;
    std::uint64_t m_budget = 0;
    std::uint64_t m_expansionLimit = 0;
    bool m_failed = false;
};

}   // namespace

bool VXBinaryPropertyListReader::hasBinaryMagic(const QByteArray &data)
{
    return data.startsWith("bplist00");
}

VXValue VXBinaryPropertyListReader::read(const QByteArray &data)
{
    return Reader(data).read();
}
