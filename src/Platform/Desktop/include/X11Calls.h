#pragma once

#include <QByteArray>

#include <xcb/xcb.h>

/// What we ask of the X server.
namespace Platform::X11 {

/// The toolkit's connection; null where it shows no windows under X11. Main thread.
xcb_connection_t* applicationConnection();
/// The atom of a name; none when the server cannot be asked.
xcb_atom_t atom(xcb_connection_t* connection, const QByteArray& name);
/// The atom of a name that ends in the number of the screen that the display variable names.
xcb_atom_t screenAtom(xcb_connection_t* connection, const QByteArray& name);
/// The window that owns a selection; none when nobody does.
xcb_window_t selectionOwner(xcb_connection_t* connection, xcb_atom_t selection);

} // namespace Platform::X11
