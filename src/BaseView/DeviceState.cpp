#include "DeviceState.h"

QString deviceStateKey(qint64 state) {
    switch (state) {
    case -8:
        return QStringLiteral("Deviceapproved");
    case -7:
        return QStringLiteral("Devicelogout");
    case -6:
        return QStringLiteral("Devicerejected");
    case -5:
        return QStringLiteral("Devicereview");
    case -4:
        return QStringLiteral("DevicenoRegister");
    case -3:
        return QStringLiteral("Faillogin");
    case -2:
        return QStringLiteral("NotLogin");
    default:
        return {};
    }
}
