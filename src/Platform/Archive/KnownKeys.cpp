#include "KnownKeys.h"

#include "KeyedArchiveFormat.h"

#include <algorithm>

namespace Platform {

namespace {

bool areSame(const ArchiveValue::Dictionary& left, const ArchiveValue::Dictionary& right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](const auto& a, const auto& b) {
        return a.keyInstance == b.keyInstance && a.key.size() == b.key.size() &&
            (a.key.constData() == b.key.constData() || a.key == b.key);
    });
}

} // namespace

template <typename MakeOrder>
std::shared_ptr<KnownKeys::Keys> KnownKeys::known(const ArchiveValue::Dictionary& pairs, MakeOrder makeOrder) {
    std::shared_ptr<Keys>& last = m_last[pairs.size() % m_last.size()];
    if (!last || !areSame(*last->pairs, pairs)) {
        last = std::make_shared<Keys>(Keys{&pairs, makeOrder(), {}});
        last->numbers.reserve(last->order.size());
    }
    return last;
}

std::shared_ptr<KnownKeys::Keys> KnownKeys::of(const ArchiveValue::Dictionary& pairs) {
    return known(pairs, [&] { return m_order.ofKeys(pairs); });
}

std::shared_ptr<KnownKeys::Keys> KnownKeys::ofFields(const ArchiveValue::Dictionary& fields) {
    return known(fields, [&] {
        std::vector<quint64> hashes;
        hashes.reserve(fields.size() + 1);
        for (const ArchiveEntry& field : fields)
            hashes.push_back(KeyOrder::hash(fieldKey(field.key)));
        hashes.push_back(KeyOrder::hash(KeyedArchiveFormat::ClassKey));
        return m_order.ofHashes(hashes);
    });
}

} // namespace Platform
