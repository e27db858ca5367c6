#include "BinaryFormat.h"
#include "ObjectReader.h"
#include "PropertyList.h"

#include <QtEndian>

#include <bit>
#include <cstring>

using namespace Qt::StringLiterals;

namespace Platform {

namespace {

using namespace BinaryFormat;

quint64 bigEndian(const uchar* bytes, unsigned size) {
    quint64 value = 0;
    for (unsigned i = 0; i < size; ++i)
        value = value << 8 | bytes[i];
    return value;
}

/// Every offset and count is checked before use. All texts and data together never become longer than two such files,
/// however the objects overlap.
class BinaryReader final : ObjectReader {
public:
    explicit BinaryReader(QByteArrayView file)
        : m_begin(reinterpret_cast<const uchar*>(file.data())), m_size(file.size()), m_textLeft(2 * file.size()) {}

    std::optional<ArchiveValue> read() {
        if (m_size < qsizetype{sizeof Magic + TrailerSize} || m_size > PropertyListLimits::FileSize ||
            std::memcmp(m_begin, Magic, sizeof Magic) != 0)
            return std::nullopt;
        const uchar* trailer = m_begin + m_size - TrailerSize;
        m_offsetSize = trailer[6];
        m_referenceSize = trailer[7];
        const auto count = qFromBigEndian<quint64>(trailer + 8);
        const auto table = qFromBigEndian<quint64>(trailer + 24);
        const auto tableEnd = static_cast<quint64>(m_size) - TrailerSize;
        if (m_offsetSize < 1 || m_offsetSize > 8 || m_referenceSize < 1 || m_referenceSize > 8 ||
            count > PropertyListLimits::Objects || table > tableEnd || count * m_offsetSize > tableEnd - table)
            return std::nullopt;
        m_end = m_begin + table;
        start(count, m_size);
        ArchiveValue root;
        return readObject(qFromBigEndian<quint64>(trailer + 16), 0, root) == Broken ? std::nullopt
                                                                                    : std::optional(root);
    }

private:
    int readObject(quint64 number, int depth, ArchiveValue& result) {
        return readOnce(number, depth, result, [&](ArchiveValue& value) {
            const quint64 offset = bigEndian(m_end + number * m_offsetSize, m_offsetSize);
            return offset >= sizeof Magic && offset < static_cast<quint64>(m_end - m_begin)
                ? readAt(m_begin + offset, depth, value)
                : Broken;
        });
    }

    int readAt(const uchar* place, int depth, ArchiveValue& value) {
        const quint8 marker = *place & 0xf0;
        const quint8 low = *place & 0x0f;
        ++place;
        switch (marker) {
        case 0:
            value = low == True;
            return low == False || low == True ? 0 : Broken;
        case Integer:
        case Real:
        case Date:
            return low <= 4 && m_end - place >= (1 << low) && readNumber(marker, place, 1u << low, value) ? 0 : Broken;
        case Uid:
            if (m_end - place <= low || low >= 8)
                return Broken;
            return readUid(bigEndian(place, low + 1u), value);
        default:
            break;
        }
        const auto count = countAt(low, place);
        if (!count)
            return Broken;
        const auto left = static_cast<quint64>(m_end - place);
        switch (marker) {
        case Data:
        case Text:
            return *count <= left ? readBytes(marker, place, *count, value) : Broken;
        case WideText:
            return *count <= left / 2 ? readWideText(place, *count, value) : Broken;
        case Array:
            return *count <= left / m_referenceSize ? readArrayAt(place, *count, depth, value) : Broken;
        case Dictionary:
            return *count <= left / m_referenceSize / 2 ? readDictionaryAt(place, *count, depth, value) : Broken;
        default:
            return Broken;
        }
    }

    /// Moves @p place behind a count that stands there.
    std::optional<quint64> countAt(quint8 low, const uchar*& place) const {
        if (low != CountFollows)
            return low;
        if (place >= m_end || (*place & 0xfc) != Integer)
            return std::nullopt;
        const unsigned size = 1u << (*place & 3);
        if (m_end - ++place < qsizetype{size})
            return std::nullopt;
        place += size;
        return bigEndian(place - size, size);
    }

    static bool readNumber(quint8 marker, const uchar* place, unsigned size, ArchiveValue& value) {
        // Of 16 bytes the upper half only tells the sign: nothing that was 64 bits wide has more in it.
        const auto bits = bigEndian(place + (size == 16 ? 8 : 0), std::min(size, 8u));
        if (marker == Integer && size < 16) {
            value = static_cast<qint64>(bits);
        } else if (marker == Integer) {
            const auto high = qFromBigEndian<qint64>(place);
            value = high == 0 ? ArchiveValue::unsignedInteger(bits) : ArchiveValue(static_cast<qint64>(bits));
            return high == 0 || (high == -1 && value.integer() < 0);
        } else if (size == 8) {
            const auto real = std::bit_cast<double>(bits);
            value = marker == Date ? ArchiveValue::date(real) : ArchiveValue(real);
        } else if (size == 4 && marker == Real) {
            value = double{std::bit_cast<float>(static_cast<quint32>(bits))};
        } else {
            return false;
        }
        return true;
    }

    static int readUid(quint64 number, ArchiveValue& value) {
        if (number > 0xffffffff)
            return Broken;
        value = uidValue(static_cast<quint32>(number));
        return 0;
    }

    bool take(quint64 length) {
        if (length > static_cast<quint64>(m_textLeft))
            return false;
        m_textLeft -= static_cast<qsizetype>(length);
        return true;
    }

    int readBytes(quint8 marker, const uchar* place, quint64 count, ArchiveValue& value) {
        if (!take(count))
            return Broken;
        const QByteArrayView bytes(place, static_cast<qsizetype>(count));
        value = marker == Data ? ArchiveValue(bytes.toByteArray()) : ArchiveValue::text(QString::fromLatin1(bytes));
        return 0;
    }

    int readWideText(const uchar* place, quint64 count, ArchiveValue& value) {
        if (!take(count * 2))
            return Broken;
        QString text(static_cast<qsizetype>(count), Qt::Uninitialized);
        qFromBigEndian<quint16>(place, text.size(), text.data());
        value = ArchiveValue::text(std::move(text));
        return 0;
    }

    int readReference(const uchar* references, quint64 position, int depth, ArchiveValue& value) {
        return readObject(bigEndian(references + position * m_referenceSize, m_referenceSize), depth, value);
    }

    int readArrayAt(const uchar* references, quint64 count, int depth, ArchiveValue& value) {
        return readArray(count, depth, value,
            [&](quint32 i, ArchiveValue& item) { return readReference(references, i, depth + 1, item); });
    }

    /// All keys stand before all values.
    int readDictionaryAt(const uchar* references, quint64 count, int depth, ArchiveValue& value) {
        return readDictionary(count, depth, value, [&](quint32 i, ArchiveEntry& entry) {
            ArchiveValue key;
            if (readReference(references, i, depth + 1, key) == Broken || !key.isString())
                return Broken;
            entry.key = key.string();
            return readReference(references, count + i, depth + 1, entry.value);
        });
    }

    const uchar* m_begin;
    const qsizetype m_size;
    /// Of the objects; the offset table follows.
    const uchar* m_end = nullptr;
    unsigned m_offsetSize = 0;
    unsigned m_referenceSize = 0;
    /// Bytes of texts and data that may still come.
    qsizetype m_textLeft;
};

} // namespace

std::optional<quint32> BinaryFormat::uidOf(const ArchiveValue& value) {
    const ArchiveValue::Dictionary& entries = value.dictionary();
    if (!value.isDictionary() || entries.size() != 1 || entries[0].value.type() != ArchiveValue::Type::Integer ||
        entries[0].key != UidKey || !std::in_range<quint32>(entries[0].value.integer()))
        return std::nullopt;
    return static_cast<quint32>(entries[0].value.integer());
}

std::optional<ArchiveValue> PropertyList::decoded(const QByteArray& bytes) {
    return bytes.startsWith("bplist") ? decodedBinary(bytes) : decodedXml(bytes);
}

std::optional<ArchiveValue> PropertyList::decodedBinary(const QByteArray& bytes) {
    return BinaryReader(bytes).read();
}

} // namespace Platform
