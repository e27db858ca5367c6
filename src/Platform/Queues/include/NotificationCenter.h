#pragma once

#include <QString>
#include <QVariant>

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace Platform {

struct Notification {
    QString name;
    /// What the sender attached; invalid when it attached nothing.
    QVariant object;
};

/// Delivers notifications synchronously on the posting thread, in the order of registration.
///
/// Two threads that post at once call a handler at once. An observer that touches widgets hops to the main queue by
/// itself. Must outlive its observers.
class NotificationCenter final {
public:
    using Handler = std::function<void(const Notification&)>;

    /// Registration of one handler; ends it when it goes, waiting for deliveries that run on other threads.
    using Observer = std::shared_ptr<void>;

    static NotificationCenter& defaultCenter();

    /// Any thread.
    [[nodiscard]] Observer observe(const QString& name, Handler handler);
    /// Any thread; returns once every observer of @p name has been called.
    void post(const QString& name, const QVariant& object = {});

private:
    struct Entry;
    std::mutex m_mutex;
    std::map<QString, std::vector<std::weak_ptr<Entry>>> m_entries;
};

} // namespace Platform
