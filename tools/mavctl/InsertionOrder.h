#pragma once

#include "ArchiveValue.h"

#include <unordered_set>

/// Finds out in which order the pairs of a dictionary or the fields of an object may have been inserted, so that their
/// keys come out as they were read: what is written from a listing in that order is the same file again.
///
/// More than one order does. The search is bounded, over all calls together, and always ends in the same order. For
/// keys in an order that no writer of the platform makes it gives one that stays as it is once it has been written.
class InsertionOrder final {
public:
    /// Indices of the pairs or fields of @p value.
    std::vector<quint32> of(const Platform::ArchiveValue& value);
    /// To be called for each value and key in the order of archiving, which is that of dictionary(): a field that
    /// refers to an earlier object could stand anywhere.
    void saw(quint64 instance) { m_seen.insert(instance); }

private:
    bool search(const Platform::ArchiveValue& value, std::vector<quint32>& order);

    std::unordered_set<quint64> m_seen;
    qint64 m_workLeft = 30'000'000;
};
