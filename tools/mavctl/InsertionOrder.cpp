#include "InsertionOrder.h"

#include "ArchiveLayout.h"
#include "KeyOrder.h"

#include <algorithm>
#include <numeric>

using Platform::ArchiveEntry;
using Platform::ArchiveLayout;
using Platform::ArchiveValue;
using Platform::KeyOrder;

namespace {

/// Beyond this the table is so large that a search would be long and nobody looks.
constexpr size_t MostKeys = 512;
constexpr qint64 WorkOfOne = 2'000'000;

/// Swaps keys of an order of insertion as long as that brings no more keys out of place.
class OrderSearch {
public:
    /// @param hashes  of the keys, by number; the last @p tail ones are always inserted last
    /// @param wanted  the numbers in the order in which the keys were read
    /// @param isBound  numbers that have to keep their order among themselves, being numbered by it
    OrderSearch(std::vector<quint64> hashes, std::vector<quint32> wanted, std::vector<bool> isBound, size_t tail)
        : m_hashes(std::move(hashes)), m_wanted(std::move(wanted)), m_isBound(std::move(isBound)),
          m_movable(m_hashes.size() - tail), m_order(m_hashes.size()) {
        std::iota(m_order.begin(), m_order.end(), 0u);
    }

    /// @param workLeft  keys that may still be put into a table
    bool run(qint64& workLeft) {
        const auto count = static_cast<qint64>(m_hashes.size());
        const qint64 end = std::max<qint64>(0, workLeft - WorkOfOne);
        size_t misplaced = misplacedBy(m_order);
        for (; misplaced > 0 && workLeft > end && m_movable > 1; workLeft -= count) {
            std::vector<quint32> changed = m_order;
            change(changed);
            const size_t now = misplacedBy(changed);
            if (now <= misplaced) {
                misplaced = now;
                m_order = std::move(changed);
            }
        }
        return misplaced == 0;
    }

    const std::vector<quint32>& order() const { return m_order; }

private:
    size_t misplacedBy(const std::vector<quint32>& order) {
        m_inserted.clear();
        for (const quint32 number : order)
            m_inserted.push_back(m_hashes[number]);
        const auto out = m_keyOrder.arranged(m_inserted);
        size_t misplaced = m_wanted.size() - out.size();
        for (size_t i = 0; i < out.size(); ++i)
            misplaced += order[out[i]] != m_wanted[i];
        return misplaced;
    }

    void change(std::vector<quint32>& order) {
        const size_t from = random();
        const size_t to = random();
        if (m_seed >> 40 & 1)
            std::swap(order[from], order[to]);
        else if (from < to)
            std::rotate(order.begin() + qsizetype(from), order.begin() + qsizetype(from) + 1,
                order.begin() + qsizetype(to) + 1);
        else
            std::rotate(
                order.begin() + qsizetype(to), order.begin() + qsizetype(from), order.begin() + qsizetype(from) + 1);
        std::vector<quint32> bound;
        std::copy_if(order.begin(), order.end(), std::back_inserter(bound),
            [this](quint32 number) { return m_isBound[number]; });
        std::sort(bound.begin(), bound.end());
        auto next = bound.begin();
        for (quint32& number : order) {
            if (m_isBound[number])
                number = *next++;
        }
    }

    size_t random() {
        m_seed = m_seed * 6364136223846793005u + 1442695040888963407u;
        return (m_seed >> 33) % m_movable;
    }

    std::vector<quint64> m_hashes;
    std::vector<quint32> m_wanted;
    std::vector<bool> m_isBound;
    size_t m_movable;
    std::vector<quint32> m_order;
    std::vector<quint64> m_inserted;
    KeyOrder m_keyOrder;
    quint64 m_seed = 1;
};

} // namespace

/// @param order  indices of the entries in the order in which their keys are to come out; then in the order of
/// insertion
bool InsertionOrder::search(const ArchiveValue& value, std::vector<quint32>& order) {
    const ArchiveValue::Dictionary& entries = value.dictionary();
    std::vector<quint64> hashes;
    std::vector<bool> isBound;
    std::vector<quint32> wanted(entries.size());
    std::iota(wanted.begin(), wanted.end(), 0u);
    if (value.isObject())
        KeyOrder().arrangeFields(value, wanted);
    for (const quint32 index : order) {
        const ArchiveEntry& entry = entries[index];
        const bool isEscaped = value.isObject() && entry.key.startsWith(u'$');
        hashes.push_back(KeyOrder::hash(isEscaped ? u'$' + entry.key : entry.key));
        isBound.push_back(value.isObject() && !entry.value.isNumber() && !entry.value.isNothing() &&
            !m_seen.contains(ArchiveLayout::instance(entry.value)));
    }
    if (value.isObject()) {
        hashes.push_back(KeyOrder::hash(u"$class"));
        isBound.push_back(false);
    }
    OrderSearch orders(std::move(hashes), std::move(wanted), std::move(isBound), value.isObject() ? 1 : 0);
    if (!orders.run(m_workLeft))
        return false;
    std::vector<quint32> inserted;
    for (const quint32 number : orders.order()) {
        if (number < order.size())
            inserted.push_back(order[number]);
    }
    order = std::move(inserted);
    return true;
}

std::vector<quint32> InsertionOrder::of(const ArchiveValue& value) {
    const ArchiveValue::Dictionary& entries = value.dictionary();
    std::vector<quint32> order(entries.size());
    std::iota(order.begin(), order.end(), 0u);
    if (entries.size() > MostKeys || !ArchiveLayout::isAsStored(value) || search(value, order) || value.isObject())
        return order;
    // Nobody's order: that in which the keys would come out of the table, and how that comes about.
    std::vector<quint32> arranged;
    if (KeyOrder().arrange(ArchiveValue(entries), arranged)) {
        order = std::move(arranged);
        search(value, order);
    }
    return order;
}
