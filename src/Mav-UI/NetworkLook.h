#pragma once

#include <QString>

#include <optional>

/// Picture and text key of the network line.
struct NetworkLook {
    QString picture;
    QString key;
    bool isOnline = false;

    bool operator==(const NetworkLook&) const = default;
};

/// @param status  -1 unknown, 0 not reachable, 1 mobile, 2 Wi-Fi
/// @returns nothing for any other status: the line stays as it is
std::optional<NetworkLook> networkLook(int status);
