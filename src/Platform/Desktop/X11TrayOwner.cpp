#include "X11TrayOwner.h"

#include "X11Calls.h"

#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace Platform {

X11TrayOwner::X11TrayOwner(std::function<void()> changed) : m_changed(std::move(changed)), m_library(u"xcb"_s, 1) {
    auto* const application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    auto* const x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !m_library.load())
        return;
    m_connection = x11->connection();
    if (!m_connection)
        return;
    m_manager = X11::atom(m_library, m_connection, "MANAGER");
    m_selection =
        X11::atom(m_library, m_connection, "_NET_SYSTEM_TRAY_S" + QByteArray::number(X11::screenOf(m_library)));
    application->installNativeEventFilter(this);
    readOwner();
}

X11TrayOwner::~X11TrayOwner() {
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

void X11TrayOwner::readOwner() {
    auto* const select = X11::find<decltype(xcb_change_window_attributes)>(m_library, "xcb_change_window_attributes");
    auto* const flush = X11::find<decltype(xcb_flush)>(m_library, "xcb_flush");
    if (!select || !flush)
        return;
    m_owner = X11::selectionOwner(m_library, m_connection, m_selection);
    if (!m_owner)
        return;
    // Its end comes as an event. The toolkit wants the same of the same window, so that neither undoes the other's
    // choice.
    const uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    select(m_connection, m_owner, XCB_CW_EVENT_MASK, &events);
    flush(m_connection);
}

bool X11TrayOwner::nativeEventFilter(const QByteArray& eventType, void* message, qintptr*) {
    if (eventType != "xcb_generic_event_t")
        return false;
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    const int type = event->response_type & ~0x80;
    bool isOurs = false;
    if (type == XCB_CLIENT_MESSAGE) {
        // A new owner tells everybody; the toolkit listens at the root window for that.
        const auto* notice = reinterpret_cast<const xcb_client_message_event_t*>(event);
        isOurs = notice->type == m_manager && notice->data.data32[1] == m_selection;
    } else if (type == XCB_DESTROY_NOTIFY) {
        isOurs = m_owner && reinterpret_cast<const xcb_destroy_notify_event_t*>(event)->window == m_owner;
    }
    if (isOurs) {
        readOwner();
        m_changed();
    }
    return false;
}

} // namespace Platform
