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

void KeyOrder::clear() {
    m_probes = 0;
    m_hashes.clear();
    m_order.clear();
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

void KeyOrder::fillTable() {
    m_size = 0;
    m_table.assign(Sizes[0].places, Free);
    for (quint32 index = 0; index < m_hashes.size() && !isExhausted(); ++index) {
        if (index == m_table.size())
            grow();
        put(index);
        if (index + 1 > Sizes[m_size].capacity)
            grow();
    }
}

std::vector<quint32> KeyOrder::ofHashes(std::vector<quint64> hashes) {
    m_wanted = std::move(hashes);
    return orderOfWanted();
}

const std::vector<quint32>& KeyOrder::orderOfWanted() {
    // Lists of dictionaries with the same keys are the rule.
    if (m_wanted != m_hashes) {
        m_hashes.swap(m_wanted);
        fillTable();
        m_order.clear();
        std::copy_if(
            m_table.begin(), m_table.end(), std::back_inserter(m_order), [](quint32 index) { return index != Free; });
    }
    if (isExhausted()) {
        m_order.resize(m_hashes.size());
        std::iota(m_order.begin(), m_order.end(), 0u);
    }
    return m_order;
}

std::vector<quint32> KeyOrder::ofKeys(const ArchiveValue& dictionaryOrObject) {
    static const quint64 ClassHash = hash(u"$class");
    const bool isObject = dictionaryOrObject.isObject();
    m_wanted.clear();
    for (const auto& [key, value, instance] : dictionaryOrObject.dictionary())
        m_wanted.push_back(hash(isObject && key.startsWith(u'$') ? u'$' + key : key));
    if (isObject)
        m_wanted.push_back(ClassHash);
    return orderOfWanted();
}

} // namespace Platform
