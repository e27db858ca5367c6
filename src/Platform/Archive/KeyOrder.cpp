#include "KeyOrder.h"

#include <QVarLengthArray>

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
        for (const qsizetype first : {qsizetype{0}, length / 2 - Part / 2, length - Part})
            result = mixed(result, units + first, Part);
    }
    return result + (result << (length & 31));
}

std::vector<quint32> KeyOrder::ofHashes(const std::vector<quint64>& hashes) {
    // Lists of dictionaries that all have the same keys are the rule.
    if (hashes != m_hashes) {
        m_order = newOrder(hashes);
        m_hashes = hashes;
    }
    return m_order;
}

std::vector<quint32> KeyOrder::newOrder(const std::vector<quint64>& hashes) {
    size_t size = 0;
    QVarLengthArray<quint32, 64> table;
    const auto clear = [&table](quint32 places) {
        table.resize(places);
        std::fill(table.begin(), table.end(), Free);
    };
    clear(Sizes[0].places);
    const auto put = [&](quint32 index) {
        auto place = static_cast<qsizetype>(hashes[index] % static_cast<quint64>(table.size()));
        while (table[place] != Free) {
            ++m_probes;
            if (++place == table.size())
                place = 0;
        }
        table[place] = index;
    };
    const auto grow = [&] {
        const QVarLengthArray<quint32, 64> old(table.begin(), table.end());
        clear(Sizes[++size].places);
        for (const quint32 index : old) {
            if (index != Free)
                put(index);
        }
    };
    for (quint32 index = 0; index < hashes.size() && !isExhausted(); ++index) {
        if (index == table.size())
            grow();
        put(index);
        if (index + 1 > Sizes[size].capacity)
            grow();
    }
    std::vector<quint32> order(hashes.size());
    if (isExhausted())
        std::iota(order.begin(), order.end(), 0u);
    else
        std::copy_if(table.begin(), table.end(), order.begin(), [](quint32 index) { return index != Free; });
    return order;
}

std::vector<quint32> KeyOrder::ofKeys(const ArchiveValue::Dictionary& pairs) {
    std::vector<quint64> hashes;
    hashes.reserve(pairs.size());
    for (const ArchiveEntry& pair : pairs)
        hashes.push_back(hash(pair.key));
    return ofHashes(hashes);
}

} // namespace Platform
