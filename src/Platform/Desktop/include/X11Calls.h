#pragma once

#include <QByteArray>
#include <QLibrary>

#include <cstdlib>
#include <memory>

#include <xcb/xcb.h>

/// The X library's functions, resolved at run time: the library is there whenever the toolkit shows windows under X11,
/// and need not be otherwise.
namespace Platform::X11 {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

/// The function of a declaration, from the library; null when it has none.
template <typename Function>
Function* find(QLibrary& library, const char* name) {
    return reinterpret_cast<Function*>(library.resolve(name));
}

/// Number of the screen that the display variable names.
inline int screenOf(QLibrary& library) {
    int screen = 0;
    int display = 0;
    char* host = nullptr;
    auto* const parse = find<decltype(xcb_parse_display)>(library, "xcb_parse_display");
    if (parse && parse(nullptr, &host, &display, &screen))
        std::free(host);
    return screen;
}

/// The atom of a name; none when the server cannot be asked.
inline xcb_atom_t atom(QLibrary& library, xcb_connection_t* connection, const QByteArray& name) {
    auto* const intern = find<decltype(xcb_intern_atom)>(library, "xcb_intern_atom");
    auto* const internReply = find<decltype(xcb_intern_atom_reply)>(library, "xcb_intern_atom_reply");
    if (!intern || !internReply)
        return XCB_ATOM_NONE;
    const auto cookie = intern(connection, 0, static_cast<uint16_t>(name.size()), name.constData());
    const Owned<xcb_intern_atom_reply_t> reply(internReply(connection, cookie, nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

/// The window that owns a selection; none when nobody does.
inline xcb_window_t selectionOwner(QLibrary& library, xcb_connection_t* connection, xcb_atom_t selection) {
    auto* const ask = find<decltype(xcb_get_selection_owner)>(library, "xcb_get_selection_owner");
    auto* const askReply = find<decltype(xcb_get_selection_owner_reply)>(library, "xcb_get_selection_owner_reply");
    if (!ask || !askReply)
        return XCB_WINDOW_NONE;
    const Owned<xcb_get_selection_owner_reply_t> reply(askReply(connection, ask(connection, selection), nullptr));
    return reply ? reply->owner : xcb_window_t(XCB_WINDOW_NONE);
}

} // namespace Platform::X11
