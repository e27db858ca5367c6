#include "Compositing.h"

#include "X11Calls.h"

#include <QGuiApplication>

using namespace Qt::StringLiterals;

namespace Platform {

bool hasCompositing() {
    auto* const application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    auto* const x11 = application ? application->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    if (!x11 || !x11->connection())
        return true;
    QLibrary library(u"xcb"_s, 1);
    if (!library.load())
        return false;
    const QByteArray manager = "_NET_WM_CM_S" + QByteArray::number(X11::screenOf(library));
    const xcb_atom_t selection = X11::atom(library, x11->connection(), manager);
    return selection && X11::selectionOwner(library, x11->connection(), selection);
}

} // namespace Platform
