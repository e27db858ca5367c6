#include "X11Calls.h"

#include "Compositing.h"

#include <QGuiApplication>

#include <cstdlib>
#include <memory>

namespace Platform {

namespace {

template <typename Reply>
using Owned = std::unique_ptr<Reply, decltype(&std::free)>;

} // namespace

xcb_connection_t* X11::applicationConnection() {
    auto* const application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    auto* const x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    return x11 ? x11->connection() : nullptr;
}

xcb_atom_t X11::atom(xcb_connection_t* connection, const QByteArray& name) {
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

xcb_atom_t X11::screenAtom(xcb_connection_t* connection, const QByteArray& name) {
    int screen = 0;
    int display = 0;
    char* host = nullptr;
    if (xcb_parse_display(nullptr, &host, &display, &screen))
        std::free(host);
    return atom(connection, name + QByteArray::number(screen));
}

xcb_window_t X11::selectionOwner(xcb_connection_t* connection, xcb_atom_t selection) {
    const auto cookie = xcb_get_selection_owner(connection, selection);
    const Owned<xcb_get_selection_owner_reply_t> reply(
        xcb_get_selection_owner_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->owner : xcb_window_t(XCB_WINDOW_NONE);
}

bool hasCompositing() {
    xcb_connection_t* const connection = X11::applicationConnection();
    return !connection || X11::selectionOwner(connection, X11::screenAtom(connection, "_NET_WM_CM_S"));
}

} // namespace Platform
