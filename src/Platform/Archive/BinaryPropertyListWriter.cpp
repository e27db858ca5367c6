#include "BinaryFormat.h"
#include "KeyOrder.h"
#include "PropertyList.h"
#include "PropertyListLimits.h"
#include "SharedObjects.h"
#include "ValueCount.h"

#include <QtEndian>

#include <algorithm>
#include <bit>
#include <numeric>

namespace Platform {

namespace {

using namespace BinaryFormat;

/// Bytes for a number: 1, 2, 4 or 8.
int width(quint64 number) {
    if (number <= 0xff)
        return 1;
    if (number <= 0xffff)
        return 2;
    return number <= 0xffffffff ? 4 : 8;
}

void append(QByteArray& bytes, quint64 number, int size) {
    char all[8];
    qToBigEndian(number, all);
    bytes.append(all + 8 - size, size);
}

/// Builds the object table, each container before its contents. What refers to other objects gets its references last
/// of all, since how wide these are depends on how many objects there are.
class BinaryWriter {
public:
    QByteArray write(const ArchiveValue& root, PropertyList::RootKeys rootKeys) {
        size_t values = 1;
        if (!countValues(root, 0, values))
            return {};
        if (rootKeys == PropertyList::RootKeys::AsInserted)
            addArchive(root);
        else
            add(root);
        if (!m_isWhole || m_order.isExhausted() || m_objects.size() > PropertyListLimits::Objects)
            return {};
        const QByteArray file = laidOut();
        const bool canBeRead =
            file.size() <= PropertyListLimits::FileSize && values <= PropertyListLimits::values(file.size());
        return canBeRead ? file : QByteArray();
    }

private:
    /// Where the bytes and the references of an object begin; those of the next one follow.
    struct Object {
        qsizetype bytes;
        size_t references;
    };

    quint32 begin() {
        m_objects.push_back({m_bytes.size(), m_references.size()});
        m_isWhole = m_isWhole && m_bytes.size() <= PropertyListLimits::FileSize;
        return static_cast<quint32>(m_objects.size() - 1);
    }

    /// A new object with room for @p references.
    quint32 beginContainer(quint8 marker, size_t count, size_t references) {
        const quint32 object = begin();
        writeHead(marker, static_cast<qsizetype>(count));
        m_references.resize(m_references.size() + references);
        return object;
    }

    /// The object's number in the table.
    quint32 add(const ArchiveValue& value) {
        if (value.isArray())
            return addArray(value.array());
        if (value.isDictionary())
            return addDictionary(value);
        const auto next = static_cast<quint32>(m_objects.size());
        const quint32 shared = m_shared.numberOf(value, next);
        // As the platform does: a boolean that was added before is referred to, and yet a copy goes to the table.
        if (shared == next || value.isBoolean())
            addScalar(value);
        return shared;
    }

    quint32 addArray(const ArchiveValue::Array& items) {
        const quint32 object = beginContainer(Array, items.size(), items.size());
        const size_t first = m_objects[object].references;
        for (size_t i = 0; i < items.size() && m_isWhole; ++i) {
            const quint32 item = add(items[i]);
            m_references[first + i] = item;
        }
        return object;
    }

    quint32 addDictionary(const ArchiveValue& value) {
        if (const auto uid = uidOf(value))
            return addUid(*uid);
        const ArchiveValue::Dictionary& pairs = value.dictionary();
        return addPairs(pairs, m_order.ofKeys(pairs), [this](const ArchiveValue& inner) { return add(inner); });
    }

    /// The dictionary of an archive keeps its order, and shares none of its own numbers and texts.
    void addArchive(const ArchiveValue& archive) {
        std::vector<quint32> order(archive.dictionary().size());
        std::iota(order.begin(), order.end(), 0u);
        addPairs(archive.dictionary(), order, [this](const ArchiveValue& inner) {
            return inner.isArray() || inner.isDictionary() ? add(inner) : addScalar(inner);
        });
    }

    template <typename AddValue>
    quint32 addPairs(const ArchiveValue::Dictionary& pairs, const std::vector<quint32>& order, AddValue addValue) {
        const quint32 object = beginContainer(Dictionary, order.size(), order.size() * 2);
        const size_t first = m_objects[object].references;
        for (size_t i = 0; i < order.size() && m_isWhole; ++i) {
            const quint32 key = addKey(pairs[order[i]]);
            m_references[first + i] = key;
        }
        for (size_t i = 0; i < order.size() && m_isWhole; ++i) {
            const quint32 inner = addValue(pairs[order[i]].value);
            m_references[first + order.size() + i] = inner;
        }
        return object;
    }

    quint32 addKey(const ArchiveEntry& pair) {
        const auto next = static_cast<quint32>(m_objects.size());
        const quint32 shared = m_shared.numberOfKey(pair, next);
        if (shared == next) {
            begin();
            writeText(pair.key);
        }
        return shared;
    }

    /// Like a boolean.
    quint32 addUid(quint32 number) {
        const quint32 object = begin();
        m_bytes.append(static_cast<char>(Uid | (width(number) - 1)));
        append(m_bytes, number, width(number));
        const auto first = m_uids.constFind(number);
        return first == m_uids.cend() ? *m_uids.insert(number, object) : *first;
    }

    quint32 addScalar(const ArchiveValue& value) {
        const quint32 object = begin();
        switch (value.type()) {
        case ArchiveValue::Type::Boolean:
            m_bytes.append(static_cast<char>(value.boolean() ? True : False));
            break;
        case ArchiveValue::Type::Integer:
            writeInteger(value.integer());
            break;
        case ArchiveValue::Type::Unsigned:
            m_bytes.append(static_cast<char>(Integer | 4)).append(8, '\0');
            append(m_bytes, value.unsignedInteger(), 8);
            break;
        case ArchiveValue::Type::Double:
        case ArchiveValue::Type::Date:
            m_bytes.append(static_cast<char>((value.isDate() ? Date : Real) | 3));
            append(m_bytes, std::bit_cast<quint64>(value.number()), 8);
            break;
        case ArchiveValue::Type::Data:
            writeHead(Data, value.data().size());
            m_bytes.append(value.data());
            break;
        case ArchiveValue::Type::String:
            writeText(value.string());
            break;
        default:
            m_isWhole = false; // null, and objects of classes of their own
        }
        return object;
    }

    /// Negative numbers take all 8 bytes.
    void writeInteger(qint64 number) {
        const int size = number < 0 ? 8 : width(static_cast<quint64>(number));
        m_bytes.append(static_cast<char>(Integer | std::countr_zero(static_cast<unsigned>(size))));
        append(m_bytes, static_cast<quint64>(number), size);
    }

    void writeHead(quint8 marker, qsizetype count) {
        m_bytes.append(static_cast<char>(marker | std::min<qsizetype>(count, CountFollows)));
        if (count >= CountFollows)
            writeInteger(count);
    }

    void writeText(const QString& text) {
        if (std::all_of(text.begin(), text.end(), [](QChar unit) { return unit < QChar(0x80); })) {
            writeHead(Text, text.size());
            m_bytes.append(text.toLatin1());
        } else {
            writeHead(WideText, text.size());
            for (const QChar unit : text)
                append(m_bytes, unit.unicode(), 2);
        }
    }

    QByteArray laidOut() {
        const auto count = m_objects.size();
        // By the number of objects, not by the highest reference: 256 objects already take two bytes.
        const int referenceSize = width(count);
        m_objects.push_back({m_bytes.size(), m_references.size()});
        QByteArray file(Magic, sizeof Magic);
        std::vector<qsizetype> offsets;
        for (size_t i = 0; i < count; ++i) {
            const auto& [bytes, references] = m_objects[i];
            offsets.push_back(file.size());
            file.append(m_bytes.constData() + bytes, m_objects[i + 1].bytes - bytes);
            for (size_t reference = references; reference < m_objects[i + 1].references; ++reference)
                append(file, m_references[reference], referenceSize);
        }
        const auto table = static_cast<quint64>(file.size());
        for (const qsizetype offset : offsets)
            append(file, static_cast<quint64>(offset), width(table));
        constexpr qsizetype UnusedAndSortVersion = 6;
        file.append(UnusedAndSortVersion, '\0');
        append(file, static_cast<quint64>(width(table)), 1);
        append(file, static_cast<quint64>(referenceSize), 1);
        append(file, count, 8);
        append(file, 0, 8);
        append(file, table, 8);
        return file;
    }

    QByteArray m_bytes;
    std::vector<Object> m_objects;
    std::vector<quint32> m_references;
    QHash<quint32, quint32> m_uids;
    SharedObjects m_shared;
    KeyOrder m_order;
    bool m_isWhole = true;
};

} // namespace

QByteArray PropertyList::binaryData(const ArchiveValue& root, RootKeys rootKeys) {
    return BinaryWriter().write(root, rootKeys);
}

} // namespace Platform
