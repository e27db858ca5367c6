#include "NetworkLook.h"

using namespace Qt::StringLiterals;

std::optional<NetworkLook> networkLook(int status) {
    switch (status) {
    case 1:
    case 2:
        return NetworkLook{u"Mav-icon"_s, u"MavSuccess"_s, true};
    case 0:
    case -1:
        return NetworkLook{u"Mav-gray"_s, u"ReconnectServer"_s};
    default:
        return std::nullopt;
    }
}
