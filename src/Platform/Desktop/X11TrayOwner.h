#pragma once

#include <QAbstractNativeEventFilter>
#include <QLibrary>

#include <functional>

struct xcb_connection_t;

namespace Platform {

/// Follows the owner of the screen's tray selection. Without an X11 display there is never one. Main thread.
class X11TrayOwner final : public QAbstractNativeEventFilter {
public:
    /// @param changed  called when an owner may have come or gone
    explicit X11TrayOwner(std::function<void()> changed);
    ~X11TrayOwner() override;

    bool exists() const { return m_owner != 0; }

    bool nativeEventFilter(const QByteArray& eventType, void* message, qintptr* result) override;

private:
    void readOwner();

    const std::function<void()> m_changed;
    // Resolved at run time: the library is there whenever the toolkit shows windows under X11, and need not be
    // otherwise.
    QLibrary m_library;
    xcb_connection_t* m_connection = nullptr;
    quint32 m_manager = 0;
    quint32 m_selection = 0;
    quint32 m_owner = 0;
};

} // namespace Platform
