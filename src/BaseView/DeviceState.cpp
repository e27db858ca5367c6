#include "DeviceState.h"

using namespace Qt::StringLiterals;

QString deviceStateKey(qint64 state) {
    switch (state) {
    case -8:
        return u"Deviceapproved"_s;
    case -7:
        return u"Devicelogout"_s;
    case -6:
        return u"Devicerejected"_s;
    case -5:
        return u"Devicereview"_s;
    case -4:
        return u"DevicenoRegister"_s;
    case -3:
        return u"Faillogin"_s;
    case -2:
        return u"NotLogin"_s;
    default:
        return {};
    }
}
