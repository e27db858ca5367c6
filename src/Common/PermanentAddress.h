#pragma once

#include <QByteArray>
#include <QString>

/// The address that a network interface was made with, whatever it goes by at present: wireless ones change theirs for
/// each network. Any thread; nothing needs privilege.
namespace PermanentAddress {

/// Twelve upper-case hexadecimal digits; empty when nobody knows, as for interfaces that are made by software, within
/// half a second.
QString ofInterface(const QString& name);

/// The same out of the kernel's answer about one interface; empty for an answer that is cut short or none at all.
QString inAnswer(const QByteArray& answer);

} // namespace PermanentAddress
