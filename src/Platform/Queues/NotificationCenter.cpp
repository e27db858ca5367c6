#include "NotificationCenter.h"

#include <algorithm>
#include <condition_variable>
#include <thread>

namespace Platform {

// No lock is held while a handler runs: two handlers that post to each other from two threads would wait for ever.
struct NotificationCenter::Entry {
    explicit Entry(Handler h) : handler(std::move(h)) {}

    void deliver(const Notification& notification);
    void end();

    const Handler handler;
    std::mutex mutex;
    std::condition_variable returned;
    bool ended = false;
    /// The threads inside the handler, once for each call.
    std::vector<std::thread::id> inside;
};

void NotificationCenter::Entry::deliver(const Notification& notification) {
    const auto self = std::this_thread::get_id();
    {
        const std::lock_guard lock(mutex);
        if (ended)
            return;
        inside.push_back(self);
    }
    handler(notification);
    const std::lock_guard lock(mutex);
    inside.erase(std::find(inside.begin(), inside.end(), self));
    returned.notify_all();
}

void NotificationCenter::Entry::end() {
    std::unique_lock lock(mutex);
    ended = true;
    // A handler may end its own observer: its own calls are not waited for.
    const auto isOwn = [self = std::this_thread::get_id()](std::thread::id thread) { return thread == self; };
    returned.wait(lock, [&] { return std::all_of(inside.begin(), inside.end(), isOwn); });
}

NotificationCenter& NotificationCenter::defaultCenter() {
    static auto* center = new NotificationCenter;
    return *center;
}

NotificationCenter::Observer NotificationCenter::observe(const QString& name, Handler handler) {
    const auto entry = std::make_shared<Entry>(std::move(handler));
    const std::lock_guard lock(m_mutex);
    auto& entries = m_entries[name];
    std::erase_if(entries, [](const auto& known) { return known.expired(); });
    entries.push_back(entry);
    return Observer(entry.get(), [entry](void*) { entry->end(); });
}

void NotificationCenter::post(const QString& name, const QVariant& object) {
    std::vector<std::shared_ptr<Entry>> receivers;
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
    for (const auto& receiver : receivers)
        receiver->deliver(notification);
}

} // namespace Platform
