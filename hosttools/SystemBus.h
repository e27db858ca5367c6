#pragma once

#include "Facts.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariant>

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <thread>

/// Questions to services of the system bus, at its socket below the root.
namespace SystemBus {

using Milliseconds = std::chrono::milliseconds;

/// Whether the bus has a socket at all.
bool isThere(const Facts& facts);
/// A connection, or one that is not connected.
QDBusConnection connect(const Facts& facts);
/// The first value of the answer; invalid when there is none in time.
QVariant call(const QDBusConnection& bus, const QDBusMessage& message, Milliseconds limit);
/// A property of an object; invalid as above.
QVariant property(const QDBusConnection& bus, const QString& service, const QString& path, const QString& interface,
    const QString& name, Milliseconds limit);

/// What @p question makes of the bus; @p fallback when it has not within @p limit, or without a bus. Connecting itself
/// knows no limit, so the question runs on a thread of its own, which is left behind if it is late: the program must
/// then end without waiting for threads.
template <typename T>
T ask(const Facts& facts, Milliseconds limit, T fallback, std::function<T(const QDBusConnection& bus)> question) {
    if (!isThere(facts))
        return fallback;
    auto answer = std::make_shared<std::promise<T>>();
    std::future<T> future = answer->get_future();
    std::thread([answer, facts, fallback, question = std::move(question)] {
        const QDBusConnection bus = connect(facts);
        answer->set_value(bus.isConnected() ? question(bus) : fallback);
    }).detach();
    return future.wait_for(limit) == std::future_status::ready ? future.get() : fallback;
}

} // namespace SystemBus
