#include "NotificationCenter.h"

namespace Platform {

struct NotificationCenter::Observer::Entry {
    explicit Entry(Handler h) : handler(std::move(h)) {}
    // Recursive: a handler may post again or end its own observer.
    std::recursive_mutex running;
    bool ended = false;
    Handler handler;
};

NotificationCenter::Observer::~Observer() {
    end();
}

NotificationCenter::Observer& NotificationCenter::Observer::operator=(Observer&& other) noexcept {
    if (this != &other) {
        end();
        m_entry = std::move(other.m_entry);
    }
    return *this;
}

void NotificationCenter::Observer::end() {
    if (!m_entry)
        return;
    {
        const std::lock_guard lock(m_entry->running);
        m_entry->ended = true;
    }
    m_entry.reset();
}

NotificationCenter& NotificationCenter::defaultCenter() {
    static auto* center = new NotificationCenter;
    return *center;
}

NotificationCenter::Observer NotificationCenter::observe(const QString& name, Handler handler) {
    auto entry = std::make_shared<Observer::Entry>(std::move(handler));
    const std::lock_guard lock(m_mutex);
    auto& entries = m_entries[name];
    std::erase_if(entries, [](const auto& known) { return known.expired(); });
    entries.push_back(entry);
    return Observer(std::move(entry));
}

void NotificationCenter::post(const QString& name, const QVariant& object) {
    std::vector<std::shared_ptr<Observer::Entry>> receivers;
    {
        const std::lock_guard lock(m_mutex);
        const auto found = m_entries.find(name);
        if (found == m_entries.end())
            return;
        for (const auto& entry : found->second) {
            if (auto receiver = entry.lock())
                receivers.push_back(std::move(receiver));
        }
    }
    const Notification notification{name, object};
    for (const auto& receiver : receivers) {
        const std::lock_guard lock(receiver->running);
        if (!receiver->ended)
            receiver->handler(notification);
    }
}

} // namespace Platform
