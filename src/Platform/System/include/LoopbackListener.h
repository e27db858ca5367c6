#pragma once

#include <QByteArray>
#include <QList>

namespace Platform {

/// Users whose processes listen for IPv4 connections to the loopback address at @p port; empty without a listener.
/// @param tcp, tcp6  the kernel's tables of sockets, as /proc/net/tcp and /proc/net/tcp6 have them
QList<uint> listenersAt(quint16 port, const QByteArray& tcp, const QByteArray& tcp6);

/// True when there is a listener at the loopback port and every one belongs to root or to this user: nobody else may
/// take an agent's port over after it ended.
bool isTrustedListener(quint16 port);

} // namespace Platform
