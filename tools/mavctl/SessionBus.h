#pragma once

#include <QString>
#include <QVariant>

/// Questions to the user's session bus. The bus and each answer have two seconds; no service is ever started.
namespace SessionBus {

/// First value of the answer; invalid without one.
QVariant ask(const QString& service, const QString& path, const QString& interface, const QString& method,
    const QVariantList& arguments = {});
/// The same of the bus itself.
QVariant askBus(const QString& method, const QVariantList& arguments = {});
/// There is one, whether it answers or not.
bool isThere();

} // namespace SessionBus
