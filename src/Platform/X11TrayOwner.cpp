#include "X11TrayOwner.h"

#include <QGuiApplication>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

namespace Platform {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// The function of a declaration, from the library.
template <typename Function>
Function* find(QLibrary& library, Function*, const char* name) {
    return reinterpret_cast<Function*>(library.resolve(name));
}
#define FIND(function) find(m_library, &function, #function)

int screenOf(QLibrary& library) {
    int screen = 0;
    int display = 0;
    char* host = nullptr;
    auto* const parse = find(library, &xcb_parse_display, "xcb_parse_display");
    if (parse && parse(nullptr, &host, &display, &screen))
        std::free(host);
    return screen;
}

} // namespace

X11TrayOwner::X11TrayOwner(std::function<void()> changed)
    : m_changed(std::move(changed)), m_library(QStringLiteral("xcb"), 1) {
    auto* const application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    auto* const x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !m_library.load())
        return;
    m_connection = x11->connection();
    auto* const intern = FIND(xcb_intern_atom);
    auto* const internReply = FIND(xcb_intern_atom_reply);
    if (!m_connection || !intern || !internReply)
        return;
    const auto atom = [&](const QByteArray& name) {
        const auto cookie = intern(m_connection, 0, static_cast<uint16_t>(name.size()), name.constData());
        const std::unique_ptr<xcb_intern_atom_reply_t, Free> reply(internReply(m_connection, cookie, nullptr));
        return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
    };
    m_manager = atom("MANAGER");
    m_selection = atom("_NET_SYSTEM_TRAY_S" + QByteArray::number(screenOf(m_library)));
    application->installNativeEventFilter(this);
    readOwner();
}

X11TrayOwner::~X11TrayOwner() {
    if (QCoreApplication::instance())
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

void X11TrayOwner::readOwner() {
    auto* const ask = FIND(xcb_get_selection_owner);
    auto* const askReply = FIND(xcb_get_selection_owner_reply);
    auto* const select = FIND(xcb_change_window_attributes);
    auto* const flush = FIND(xcb_flush);
    if (!ask || !askReply || !select || !flush)
        return;
    const std::unique_ptr<xcb_get_selection_owner_reply_t, Free> reply(
        askReply(m_connection, ask(m_connection, m_selection), nullptr));
    m_owner = reply ? reply->owner : xcb_window_t(XCB_WINDOW_NONE);
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
