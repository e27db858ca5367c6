#include "MavResources.h"

#include <QtCore/qglobal.h>

// A resource in a static library is dropped by the linker unless somebody asks for it by name.
void initMavResources() {
    Q_INIT_RESOURCE(i18n);
    Q_INIT_RESOURCE(bundle);
    Q_INIT_RESOURCE(pictures);
    Q_INIT_RESOURCE(help);
    Q_INIT_RESOURCE(animations);
}
