#pragma once

#include "ArchiveValue.h"

namespace Platform {

/// The order in which the keys of a dictionary come out: that of the platform's open hash table, which depends on the
/// texts, their number and, where two want the same place, on the order of insertion.
class KeyOrder final {
public:
    static quint64 hash(QStringView key);

    /// The indices of the pairs in the order in which they come out; past the limit as inserted.
    std::vector<quint32> ofKeys(const ArchiveValue::Dictionary& pairs);
    /// @param hashes  of the keys, in the order of insertion; no two of equal keys
    std::vector<quint32> ofHashes(const std::vector<quint64>& hashes);
    /// True when texts made to collide took longer than any honest ones do.
    bool isExhausted() const { return m_probes > ProbeLimit; }

private:
    /// Looks at taken places; honest keys take a few each.
    static constexpr qint64 ProbeLimit = 1 << 25;

    std::vector<quint32> newOrder(const std::vector<quint64>& hashes);

    qint64 m_probes = 0;
    std::vector<quint64> m_hashes;
    std::vector<quint32> m_order;
};

} // namespace Platform
