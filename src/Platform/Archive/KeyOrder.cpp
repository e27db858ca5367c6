#include "KeyOrder.h"

#include "ArchiveValue.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace Platform {

namespace {

struct Size {
    quint32 places;
    quint32 capacity;
};

// The last holds as many keys as an archive can have.
constexpr Size Sizes[] = {{3, 3}, {7, 6}, {13, 11}, {23, 19}, {41, 32}, {71, 52}, {127, 85}, {191, 118}, {251, 155},
    {383, 237}, {631, 390}, {1087, 672}, {1723, 1065}, {2803, 1732}, {4523, 2795}, {7351, 4543}, {11959, 7391},
    {19447, 12019}, {31231, 19302}, {50683, 31324}, {81919, 50629}, {132607, 81956}, {214519, 132580}, {346607, 214215},
    {561109, 346784}};
constexpr quint32 Free = std::numeric_limits<quint32>::max();

/// Over this many units only the first, middle and last Part units count.
constexpr qsizetype WholeLimit = 96;
constexpr qsizetype Part = 32;

quint64 mixed(quint64 result, const char16_t* units, qsizetype count) {
    const char16_t* const end = units + count;
    const char16_t* const end4 = units + (count & ~qsizetype{3});
    for (; units < end4; units += 4) {
        const quint32 four = ((units[0] * 257u + units[1]) * 257u + units[2]) * 257u + units[3];
        result = result * 67503105u + four;
    }
    for (; units < end; ++units)
        result = result * 257u + *units;
    return result;
}

} // namespace

quint64 KeyOrder::hash(QStringView key) {
    const char16_t* units = key.utf16();
    const qsizetype length = key.size();
    auto result = static_cast<quint64>(length);
    if (length <= WholeLimit) {
        result = mixed(result, units, length);
    } else {
        result = mixed(result, units, Part);
        result = mixed(result, units + length / 2 - Part / 2, Part);
        result = mixed(result, units + length - Part, Part);
    }
    return result + (result << (length & 31));
}

quint32 KeyOrder::tableSize(quint32 count) {
    for (const Size& size : Sizes) {
        if (count <= size.capacity)
            return size.places;
    }
    return Sizes[std::size(Sizes) - 1].places;
}

void KeyOrder::put(quint32 index) {
    size_t place = m_hashes[index] % m_table.size();
    while (m_table[place] != Free) {
        ++m_probes;
        if (++place == m_table.size())
            place = 0;
    }
    m_table[place] = index;
}

void KeyOrder::grow() {
    std::swap(m_table, m_order);
    m_table.assign(Sizes[++m_size].places, Free);
    for (const quint32 index : m_order) {
        if (index != Free)
            put(index);
    }
}

std::span<const quint32> KeyOrder::arranged(std::span<const quint64> hashes) {
    m_hashes = hashes;
    m_lastHashes.clear();
    m_size = 0;
    m_probes = 0;
    m_table.assign(Sizes[0].places, Free);
    for (quint32 index = 0; index < hashes.size(); ++index) {
        if (index == m_table.size())
            grow();
        put(index);
        if (index + 1 > Sizes[m_size].capacity)
            grow();
        if (m_probes > ProbeLimit) {
            m_order.clear();
            return m_order;
        }
    }
    m_order.clear();
    std::copy_if(
        m_table.begin(), m_table.end(), std::back_inserter(m_order), [](quint32 index) { return index != Free; });
    return m_order;
}

bool KeyOrder::arrangeHashes(std::vector<quint32>& order) {
    // Lists of dictionaries with the same keys are the rule.
    if (m_keyHashes != m_lastHashes) {
        arranged(m_keyHashes);
        m_lastHashes = m_keyHashes;
        m_hashes = m_lastHashes;
    }
    order = m_order;
    return order.size() == m_keyHashes.size();
}

bool KeyOrder::arrange(const ArchiveValue& dictionary, std::vector<quint32>& order) {
    const ArchiveValue::Dictionary& entries = dictionary.dictionary();
    if (entries.size() < 2 || ArchiveLayout::isAsStored(dictionary)) {
        order.resize(entries.size());
        std::iota(order.begin(), order.end(), 0u);
        return true;
    }
    m_keyHashes.clear();
    for (const ArchiveEntry& entry : entries)
        m_keyHashes.push_back(hash(entry.key));
    return arrangeHashes(order);
}

bool KeyOrder::arrangeFields(const ArchiveValue& object, std::vector<quint32>& order) {
    static const quint64 ClassHash = hash(u"$class");
    const ArchiveValue::Dictionary& fields = object.dictionary();
    const auto count = static_cast<quint32>(fields.size());
    if (ArchiveLayout::isAsStored(object)) {
        order.assign(count + 1, count);
        bool isWhole = true;
        for (quint32 i = 0; i < count; ++i) {
            isWhole = isWhole && fields[i].place <= count && order[fields[i].place] == count;
            if (isWhole)
                order[fields[i].place] = i;
        }
        if (isWhole)
            return true;
    }
    m_keyHashes.clear();
    for (const ArchiveEntry& field : fields)
        m_keyHashes.push_back(hash(field.key.startsWith(u'$') ? u'$' + field.key : field.key));
    m_keyHashes.push_back(ClassHash);
    return arrangeHashes(order);
}

} // namespace Platform
