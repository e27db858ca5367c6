#pragma once

#include <QStringView>

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

    /// The indices of the keys in the order in which they come out, the last one past those of an object's fields
    /// standing for "$class". Past the limit they come out as inserted.
    std::vector<quint32> ofKeys(const ArchiveValue& dictionaryOrObject);
    /// @param hashes  of the keys, in the order of insertion; no two of equal keys
    std::vector<quint32> ofHashes(std::vector<quint64> hashes);
    /// True when texts made to collide took longer than ProbeLimit since clear().
    bool isExhausted() const { return m_probes > ProbeLimit; }
    void clear();

private:
    void put(quint32 index);
    void grow();
    void fillTable();
    const std::vector<quint32>& orderOfWanted();

    std::vector<quint64> m_wanted;
    /// Those whose order m_order holds.
    std::vector<quint64> m_hashes;
    std::vector<quint32> m_order;
    std::vector<quint32> m_table;
    size_t m_size = 0;
    qint64 m_probes = 0;
};

} // namespace Platform
