#pragma once

#include "KeyOrder.h"

#include <array>

namespace Platform {

/// The keys of dictionaries in the order in which they come out, remembered for the next ones with the same keys: lists
/// of dictionaries that all have the same are the rule. The dictionaries must outlive it.
class KnownKeys final {
public:
    struct Keys {
        const ArchiveValue::Dictionary* pairs;
        /// Indices of the pairs; their count stands for "$class".
        std::vector<quint32> order;
        /// Of the keys in that order, for whoever gives them numbers.
        std::vector<quint32> numbers;
    };

    std::shared_ptr<Keys> of(const ArchiveValue::Dictionary& pairs);
    /// The keys of the fields of an object in an archive, "$class" the last of them.
    std::shared_ptr<Keys> ofFields(const ArchiveValue::Dictionary& fields);
    /// As KeyOrder::isExhausted().
    bool isExhausted() const { return m_order.isExhausted(); }

    /// The key under which an archive has a field.
    static QString fieldKey(const QString& name) { return name.startsWith(u'$') ? u'$' + name : name; }

private:
    template <typename MakeOrder>
    std::shared_ptr<Keys> known(const ArchiveValue::Dictionary& pairs, MakeOrder makeOrder);

    KeyOrder m_order;
    /// By count of pairs.
    std::array<std::shared_ptr<Keys>, 8> m_last;
};

} // namespace Platform
