#pragma once

#include <functional>
#include <memory>

namespace Platform {

class BusConnection;

/// Tells whether the desktop has a place for tray items, and follows it.
///
/// The toolkit asks for a tray host once in a process and remembers "no", so a tray item must be made only while this
/// says yes. A host is one that a StatusNotifierWatcher on the session bus knows of, or the owner of the screen's tray
/// selection under X11. Nothing is polled. Main thread.
class TrayHost final {
public:
    /// @param bus  outlives this object
    explicit TrayHost(BusConnection& bus);
    ~TrayHost();
    TrayHost(const TrayHost&) = delete;
    TrayHost& operator=(const TrayHost&) = delete;

    /// Begins to watch and calls @p changed from the event loop: once when the first answer is there, then at each
    /// change. Once.
    void start(std::function<void(bool isAvailable)> changed);
    /// False before start() and until the first answer.
    bool isAvailable() const;

private:
    class Watch;
    BusConnection& m_bus;
    std::unique_ptr<Watch> m_watch;
};

} // namespace Platform
