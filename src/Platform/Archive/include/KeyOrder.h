#pragma once

#include <QStringView>

#include <span>
#include <vector>

namespace Platform {

class ArchiveValue;

/// The order in which the keys of a dictionary or archived object come out: that of the platform's open hash table,
/// which depends on the texts, their number and, where two want the same place, on the order of insertion.
///
/// Keeps its tables between calls; not for two threads at once.
class KeyOrder final {
public:
    /// Looks at taken places before a set of keys counts as made to collide; honest ones take a few for each key.
    static constexpr qint64 ProbeLimit = 1 << 25;

    static quint64 hash(QStringView key);

    /// @param hashes  of the keys, in the order of insertion; no two of equal keys
    /// @returns the indices of the keys in the order in which they come out, good until the next call; empty when texts
    /// made to
    ///          collide would take longer than ProbeLimit
    std::span<const quint32> arranged(std::span<const quint64> hashes);

    /// The order of the keys of a dictionary, as read or by hash; false as above.
    bool arrange(const ArchiveValue& dictionary, std::vector<quint32>& order);
    /// The same for the fields of an object; the index that follows the last one stands for "$class".
    bool arrangeFields(const ArchiveValue& object, std::vector<quint32>& order);

    /// Places of the table that holds @p count keys.
    static quint32 tableSize(quint32 count);

private:
    void put(quint32 index);
    void grow();

    bool arrangeHashes(std::vector<quint32>& order);

    std::vector<quint64> m_keyHashes;
    /// Those whose order m_order holds.
    std::vector<quint64> m_lastHashes;
    std::span<const quint64> m_hashes;
    std::vector<quint32> m_table;
    std::vector<quint32> m_order;
    size_t m_size = 0;
    qint64 m_probes = 0;
};

} // namespace Platform
