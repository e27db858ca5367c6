#pragma once

#include <QSslConfiguration>
#include <QString>

#include <optional>

namespace Reference {

/// The server's key and self-signed certificate for this machine's loopback names, "server.key" and "server.crt" in
/// `folder`; made when one of them is missing. @param why  receives the reason when nothing is returned
std::optional<QSslConfiguration> serverIdentity(const QString& folder, QString* why);

} // namespace Reference
