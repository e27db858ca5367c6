#include "NetworkLook.h"

std::optional<NetworkLook> networkLook(int status) {
    switch (status) {
    case 1:
    case 2:
        return NetworkLook{QStringLiteral("Mav-icon"), QStringLiteral("MavSuccess")};
    case 0:
    case -1:
        return NetworkLook{QStringLiteral("Mav-gray"), QStringLiteral("ReconnectServer")};
    default:
        return std::nullopt;
    }
}
